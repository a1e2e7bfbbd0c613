#include "diskmanager/FormatEndViewController.h"

#include "diskmanager/DiskManagerTexts.h"
#include "ui/FlatButton.h"
#include "ui/ImageView.h"
#include "ui/KitStyle.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

FormatEndViewController::FormatEndViewController(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_TranslucentBackground);
    setFixedWidth(340);
    auto* icon = new ImageView(QStringLiteral("erase"), this);
    icon->setFixedSize(36, 36);
    auto* title = new QLabel(DiskManagerTexts::formatEndTitle(), this);
    title->setFont(KitStyle::font(15, true));
    title->setStyleSheet(QStringLiteral("color: %1;").arg(KitStyle::css(KitStyle::textPrimary())));
    auto* body = new QLabel(DiskManagerTexts::formatEndBody(), this);
    body->setWordWrap(true);
    body->setFont(KitStyle::font(12));
    body->setStyleSheet(QStringLiteral("color: %1;").arg(KitStyle::css(KitStyle::textSecondary())));
    m_ok = new FlatButton(DiskManagerTexts::okButton(), FlatButton::Kind::Primary, this);
    m_ok->setObjectName(QStringLiteral("okButton"));
    m_ok->setDefault(true);

    auto* heading = new QHBoxLayout;
    heading->setSpacing(12);
    heading->addWidget(icon);
    heading->addWidget(title, 1);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_ok);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(22, 20, 22, 18);
    column->setSpacing(12);
    column->addLayout(heading);
    column->addWidget(body);
    column->addLayout(buttons);

    connect(m_ok, &QAbstractButton::clicked, this, &FormatEndViewController::closeWindow);
}

void FormatEndViewController::closeWindow() {
    if (m_superDelegate)
        m_superDelegate->close();
}
