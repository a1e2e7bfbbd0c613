#include "osclone/MakeSureToCloneSystemVC.h"

#include "osclone/OsCloneTexts.h"
#include "ui/FlatButton.h"

#include <QHBoxLayout>

MakeSureToCloneSystemVC::MakeSureToCloneSystemVC(QWidget* parent)
    : MessagePanel(Arrangement::Heading, QStringLiteral("ic_warning"), OsCloneTexts::confirmTitle(), parent),
      m_cancel(new FlatButton(OsCloneTexts::cancel(), FlatButton::Kind::Secondary)),
      m_clone(new FlatButton(OsCloneTexts::cloneNow(), FlatButton::Kind::Primary)) {
    m_cancel->setObjectName(QStringLiteral("cancelButton"));
    m_clone->setObjectName(QStringLiteral("cloneButton"));
    auto* row = new QWidget;
    auto* buttons = new QHBoxLayout(row);
    buttons->setContentsMargins(0, 6, 0, 0);
    buttons->setSpacing(10);
    buttons->addStretch(1);
    buttons->addWidget(m_cancel);
    buttons->addWidget(m_clone);
    addContent(row);
    connect(m_cancel, &QAbstractButton::clicked, this, &MakeSureToCloneSystemVC::cancelButtonAction);
    connect(m_clone, &QAbstractButton::clicked, this, &MakeSureToCloneSystemVC::cloneButtonAction);
}

void MakeSureToCloneSystemVC::setDrive(const QString& modelName, const QString& sizeText) {
    setText(OsCloneTexts::confirmBody(modelName, sizeText));
}

void MakeSureToCloneSystemVC::cancelButtonAction() {
    closeWindow();
}

void MakeSureToCloneSystemVC::cloneButtonAction() {
    MakeSureToCloneSystemDelegate* delegate = m_delegate;
    closeWindow();
    if (delegate)
        delegate->beginToCopySystem();
}
