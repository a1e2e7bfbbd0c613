#include "diskmanager/FormatingViewController.h"

#include "diskmanager/DiskManagerTexts.h"
#include "ui/KitStyle.h"

#include <QProgressBar>

FormatingViewController::FormatingViewController(QWidget* parent)
    : MessagePanel(Arrangement::Heading, QStringLiteral("erase"), DiskManagerTexts::formattingTitle(),
                   parent),
      m_busy(new QProgressBar(this)) {
    setText(DiskManagerTexts::formattingBody());
    m_busy->setObjectName(QStringLiteral("formatBusy"));
    m_busy->setRange(0, 0);
    m_busy->setTextVisible(false);
    m_busy->setFixedHeight(6);
    m_busy->setStyleSheet(
        QStringLiteral("QProgressBar { background: %1; border: none; border-radius: 3px; }"
                       " QProgressBar::chunk { background: %2; border-radius: 3px; }")
            .arg(KitStyle::css(KitStyle::trackBackground()), KitStyle::css(KitStyle::accent())));
    addContent(m_busy);
}
