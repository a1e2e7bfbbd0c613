#include "ui/SetpFViewController.h"

SetpFViewController::SetpFViewController(QWidget* parent)
    : StepIndicatorView(4, QStringLiteral("oc_step"), defaultLabels(), parent) {}

QStringList SetpFViewController::defaultLabels() {
    return {QStringLiteral("Select Drive"), QStringLiteral("Erase Drive"), QStringLiteral("Clone System"),
            QStringLiteral("Finished")};
}
