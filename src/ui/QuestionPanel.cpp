#include "ui/QuestionPanel.h"

#include "ui/FlatButton.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

QuestionPanel::QuestionPanel(const QString& title, const QString& quietButton, const QString& mainButton,
                             QWidget* parent)
    : MessagePanel(Arrangement::Heading, QStringLiteral("ic_warning"), title, parent),
      m_quiet(new FlatButton(quietButton, FlatButton::Kind::Secondary)),
      m_main(new FlatButton(mainButton, FlatButton::Kind::Primary)) {
    titleLabel()->setWordWrap(true);
    for (FlatButton* button : {m_quiet, m_main}) {
        button->setAutoDefault(false);
        button->setDefault(false);
    }
    auto* details = new QWidget;
    m_details = new QVBoxLayout(details);
    m_details->setContentsMargins(0, 0, 0, 0);
    addContent(details);
    auto* row = new QWidget;
    auto* buttons = new QHBoxLayout(row);
    buttons->setContentsMargins(0, 6, 0, 0);
    buttons->setSpacing(10);
    buttons->addStretch(1);
    buttons->addWidget(m_quiet);
    buttons->addWidget(m_main);
    addContent(row);
}

void QuestionPanel::addDetails(QWidget* widget) {
    m_details->addWidget(widget);
}

void QuestionPanel::showEvent(QShowEvent* event) {
    MessagePanel::showEvent(event);
    m_quiet->setFocus();
}
