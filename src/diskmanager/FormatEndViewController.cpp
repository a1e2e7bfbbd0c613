#include "diskmanager/FormatEndViewController.h"

#include "diskmanager/DiskManagerTexts.h"
#include "ui/FlatButton.h"

#include <QLabel>

FormatEndViewController::FormatEndViewController(QWidget* parent)
    : MessagePanel(Arrangement::Heading, QStringLiteral("erase"), DiskManagerTexts::formatEndTitle(),
                   parent) {
    setText(DiskManagerTexts::formatEndBody());
    addButton(DiskManagerTexts::okButton())->setObjectName(QStringLiteral("okButton"));
}

void FormatEndViewController::setOutcome(bool succeeded, const QString& message) {
    titleLabel()->setText(succeeded ? DiskManagerTexts::formatEndTitle()
                                    : DiskManagerTexts::formatFailedTitle());
    setText(succeeded ? DiskManagerTexts::formatEndBody() : message);
}
