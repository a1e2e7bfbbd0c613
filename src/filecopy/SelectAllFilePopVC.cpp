#include "filecopy/SelectAllFilePopVC.h"

#include "ui/KitStyle.h"

#include <QPushButton>
#include <QVBoxLayout>

QString SelectAllFilePopVC::typeText(int type) {
    return type == 0 ? QStringLiteral("Copy All Files") : QStringLiteral("Copy Some Files");
}

SelectAllFilePopVC::SelectAllFilePopVC(QWidget* parent) : QWidget(parent) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(6, 6, 6, 6);
    column->setSpacing(2);
    for (int type = 0; type < 2; ++type) {
        auto* row = new QPushButton(typeText(type), this);
        row->setObjectName(type == 0 ? QStringLiteral("copyAll") : QStringLiteral("copySome"));
        row->setCursor(Qt::PointingHandCursor);
        row->setFixedSize(180, 30);
        row->setFont(KitStyle::font(13));
        row->setStyleSheet(
            QStringLiteral("QPushButton { color: %1; background: transparent; border: none;"
                           " border-radius: 5px; text-align: left; padding-left: 12px; }"
                           " QPushButton:hover { background: %2; }")
                .arg(KitStyle::css(KitStyle::textPrimary()), KitStyle::css(KitStyle::rowHover())));
        connect(row, &QPushButton::clicked, this, [this, type] {
            if (m_delegate)
                m_delegate->selectFormatbyType(type);
        });
        column->addWidget(row);
        (type == 0 ? m_all : m_some) = row;
    }
}
