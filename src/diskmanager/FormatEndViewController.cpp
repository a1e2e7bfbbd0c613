#include "diskmanager/FormatEndViewController.h"

#include "diskmanager/DiskManagerTexts.h"
#include "ui/FlatButton.h"

FormatEndViewController::FormatEndViewController(QWidget* parent)
    : MessagePanel(Arrangement::Heading, QStringLiteral("erase"), DiskManagerTexts::formatEndTitle(),
                   parent) {
    setText(DiskManagerTexts::formatEndBody());
    addButton(DiskManagerTexts::okButton())->setObjectName(QStringLiteral("okButton"));
}
