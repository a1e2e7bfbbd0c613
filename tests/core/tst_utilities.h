#pragma once
#include <QObject>

class TestUtilities : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void sizeTexts_data();
    void sizeTexts();
    void sizeFromText_data();
    void sizeFromText();
    void moreThan2GB();
    void parsingUnderACommaDecimalLocale();
    void versionFromSwVers_data();
    void versionFromSwVers();
    void settingsReadAndWrite();
    void linkFallsBackToEnglish();
    void diskInfoGoesThroughItsRunner();
    void smallHelpers();
};
