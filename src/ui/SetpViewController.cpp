#include "ui/SetpViewController.h"

SetpViewController::SetpViewController(QWidget* parent)
    : StepIndicatorView(3, QStringLiteral("step"), defaultLabels(), parent) {}

QStringList SetpViewController::defaultLabels() {
    return {QStringLiteral("Select Drives"), QStringLiteral("In Progress"), QStringLiteral("Finished")};
}
