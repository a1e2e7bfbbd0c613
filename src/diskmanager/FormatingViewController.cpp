#include "diskmanager/FormatingViewController.h"

#include "diskmanager/DiskManagerTexts.h"
#include "ui/ImageView.h"
#include "ui/KitStyle.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>

FormatingViewController::FormatingViewController(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_TranslucentBackground);
    setFixedWidth(340);
    auto* icon = new ImageView(QStringLiteral("erase"), this);
    icon->setFixedSize(36, 36);
    m_title = new QLabel(DiskManagerTexts::formattingTitle(), this);
    m_title->setFont(KitStyle::font(15, true));
    m_title->setStyleSheet(QStringLiteral("color: %1;").arg(KitStyle::css(KitStyle::textPrimary())));
    m_body = new QLabel(DiskManagerTexts::formattingBody(), this);
    m_body->setWordWrap(true);
    m_body->setFont(KitStyle::font(12));
    m_body->setStyleSheet(QStringLiteral("color: %1;").arg(KitStyle::css(KitStyle::textSecondary())));
    m_busy = new QProgressBar(this);
    m_busy->setObjectName(QStringLiteral("formatBusy"));
    m_busy->setRange(0, 0);
    m_busy->setTextVisible(false);
    m_busy->setFixedHeight(6);
    m_busy->setStyleSheet(
        QStringLiteral("QProgressBar { background: %1; border: none; border-radius: 3px; }"
                       " QProgressBar::chunk { background: %2; border-radius: 3px; }")
            .arg(KitStyle::css(KitStyle::trackBackground()), KitStyle::css(KitStyle::accent())));

    auto* heading = new QHBoxLayout;
    heading->setSpacing(12);
    heading->addWidget(icon);
    heading->addWidget(m_title, 1);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(22, 20, 22, 22);
    column->setSpacing(12);
    column->addLayout(heading);
    column->addWidget(m_body);
    column->addWidget(m_busy);
}

void FormatingViewController::closeWindow() {
    if (m_superDelegate)
        m_superDelegate->close();
}
