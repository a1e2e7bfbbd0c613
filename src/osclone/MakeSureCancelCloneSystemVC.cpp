#include "osclone/MakeSureCancelCloneSystemVC.h"

#include "osclone/OsCloneTexts.h"
#include "ui/FlatButton.h"

#include <QHBoxLayout>

MakeSureCancelCloneSystemVC::MakeSureCancelCloneSystemVC(QWidget* parent)
    : MessagePanel(Arrangement::Heading, QStringLiteral("ic_warning"), OsCloneTexts::stopTitle(), parent),
      m_cancel(new FlatButton(OsCloneTexts::cancel(), FlatButton::Kind::Secondary)),
      m_continue(new FlatButton(OsCloneTexts::continueButton(), FlatButton::Kind::Primary)) {
    m_cancel->setObjectName(QStringLiteral("cancelButton"));
    m_continue->setObjectName(QStringLiteral("continueButton"));
    setText(OsCloneTexts::stopBody());
    auto* row = new QWidget;
    auto* buttons = new QHBoxLayout(row);
    buttons->setContentsMargins(0, 6, 0, 0);
    buttons->setSpacing(10);
    buttons->addStretch(1);
    buttons->addWidget(m_cancel);
    buttons->addWidget(m_continue);
    addContent(row);
    connect(m_cancel, &QAbstractButton::clicked, this, &MakeSureCancelCloneSystemVC::cancelButtonAction);
    connect(m_continue, &QAbstractButton::clicked, this, &MakeSureCancelCloneSystemVC::continueButtonAction);
}

void MakeSureCancelCloneSystemVC::cancelButtonAction() {
    MakeSureCancelCloneSystemDelegate* delegate = m_delegate;
    closeWindow();
    if (delegate)
        delegate->cancelToCopySystem();
}

void MakeSureCancelCloneSystemVC::continueButtonAction() {
    closeWindow();
}
