#pragma once

#include <QString>

class QWidget;

// Pictures of the screens for people to look at. Each goes to
// <build>/screenshots/<folder>/<name>.png, where folder is the test folder that takes it
// ("ui", "volumes", "diskmanager", "app"); scripts/screenshots lists them all.

// The folder for a test folder's pictures, created if need be.
QString screenshotFolder(const QString& folder);
// Lets pending layouts settle, then saves a picture of the widget; answers whether it was saved.
// Every picture is also a check of what it shows: a label on screen whose text is cut without
// "…" fails the running test, naming the label.
bool saveScreenshot(QWidget* widget, const QString& folder, const QString& name);
