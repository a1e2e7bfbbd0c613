#include "diskimage/DMGMakeSureWC.h"

#include "diskimage/DiskImageTexts.h"
#include "ui/AttachedWindow.h"
#include "ui/FlatButton.h"
#include "ui/ImageView.h"
#include "ui/KitStyle.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

DMGMakeSureWC::DMGMakeSureWC(const QString& text, QWidget* parent)
    : QWidget(parent), m_text(new QLabel(text, this)),
      m_ok(new FlatButton(DiskImageTexts::createImage(), FlatButton::Kind::Primary, this)),
      m_cancel(new FlatButton(DiskImageTexts::cancel(), FlatButton::Kind::Secondary, this)) {
    setFixedWidth(360);
    auto* title = new QLabel(DiskImageTexts::title(), this);
    title->setFont(KitStyle::font(14, true));
    title->setStyleSheet(QStringLiteral("color: %1;").arg(KitStyle::css(KitStyle::textPrimary())));
    m_text->setWordWrap(true);
    m_text->setTextFormat(Qt::PlainText);
    m_text->setFont(KitStyle::font(12));
    m_text->setStyleSheet(QStringLiteral("color: %1;").arg(KitStyle::css(KitStyle::textSecondary())));
    auto* icon = new ImageView(QStringLiteral("ic_dmg"), this);
    icon->setFixedSize(40, 40);

    auto* head = new QHBoxLayout;
    head->addWidget(icon);
    head->addWidget(title, 1);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_cancel);
    buttons->addWidget(m_ok);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(20, 18, 20, 16);
    column->setSpacing(12);
    column->addLayout(head);
    column->addWidget(m_text);
    column->addLayout(buttons);
    m_ok->setDefault(true);

    connect(m_cancel, &QPushButton::clicked, this, &DMGMakeSureWC::closeWindow);
    connect(m_ok, &QPushButton::clicked, this, [this] {
        std::function<void()> accepted = m_accepted;
        closeWindow();
        if (accepted)
            accepted();
    });
}

DMGMakeSureWC* DMGMakeSureWC::showOn(QWidget* mainWindow, const QString& text,
                                     std::function<void()> accepted) {
    auto* panel = new DMGMakeSureWC(text);
    panel->m_accepted = std::move(accepted);
    panel->adjustSize();
    new AttachedWindow(panel, AttachedWindow::middleTop(mainWindow), mainWindow);
    return panel;
}

void DMGMakeSureWC::closeWindow() {
    m_accepted = nullptr;
    if (auto* host = qobject_cast<AttachedWindow*>(parentWidget()))
        host->close();
    else
        close();
}
