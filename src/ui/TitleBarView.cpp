#include "ui/TitleBarView.h"

#include "ui/ImageButton.h"
#include "ui/ImageView.h"
#include "ui/KitStyle.h"

#include <QLabel>
#include <QMenu>
#include <QMouseEvent>
#include <QWindow>

TitleBarView::TitleBarView(QWidget* parent)
    : QWidget(parent), m_banner(new ImageView(QString(), this)),
      m_closeButton(new ImageButton(QString(), this)), m_menuButton(new ImageButton(QString(), this)),
      m_titleLabel(new QLabel(this)) {
    m_banner->setKeepAspect(true);
    m_banner->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_closeButton->setImages(QStringLiteral("btn_close"), QStringLiteral("btn_close_hover"),
                             QStringLiteral("btn_close_press"));
    m_closeButton->setToolTip(tr("Close"));
    m_closeButton->setAccessibleName(tr("Close the window"));
    m_closeButton->setFocusPolicy(Qt::TabFocus);
    connect(m_closeButton, &QAbstractButton::clicked, this, &TitleBarView::closeClicked);

    m_menuButton->setImages(QStringLiteral("btn_menu"), QStringLiteral("btn_menu_hover"),
                            QStringLiteral("btn_menu_hover"));
    m_menuButton->setToolTip(tr("Menu"));
    m_menuButton->setAccessibleName(tr("Open the menu"));
    m_menuButton->setFocusPolicy(Qt::TabFocus);
    m_menuButton->hide();
    connect(m_menuButton, &QAbstractButton::clicked, this, [this] {
        if (m_menu)
            m_menu->popup(m_menuButton->mapToGlobal(QPoint(0, m_menuButton->height() + 4)));
    });

    m_titleLabel->setFont(KitStyle::font(17, true));
    m_titleLabel->setStyleSheet(
        QStringLiteral("color: %1; background: transparent;").arg(KitStyle::css(KitStyle::textPrimary())));
    m_titleLabel->setAttribute(Qt::WA_TransparentForMouseEvents);
}

void TitleBarView::setBannerImage(const QString& name) {
    m_banner->setImageName(name);
}

void TitleBarView::setTitle(const QString& title) {
    m_titleLabel->setText(title);
    m_titleLabel->adjustSize();
    layoutChildren();
}

void TitleBarView::setMenu(QMenu* menu) {
    m_menu = menu;
    m_menuButton->setVisible(menu != nullptr);
}

void TitleBarView::resizeEvent(QResizeEvent*) {
    layoutChildren();
}

void TitleBarView::layoutChildren() {
    m_banner->setGeometry(rect());
    // Window buttons sit in the top strip, moved up by 3 points from its centre.
    const int button = 13;
    const int buttonY = (kButtonStripHeight - button) / 2 - 3 + 3; // centred in the strip after the offset
    m_closeButton->setGeometry(kButtonMargin, buttonY, button, button);
    m_menuButton->setGeometry(width() - kButtonMargin - 18, buttonY - 2, 18, 18);
    // The title sits beside the banner's mark, in the band below the button strip.
    const int bandTop = kButtonStripHeight - 4;
    const int bandHeight = height() - bandTop;
    m_titleLabel->adjustSize();
    m_titleLabel->move(64, bandTop + (bandHeight - m_titleLabel->height()) / 2);
}

void TitleBarView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return QWidget::mousePressEvent(event);
    QWidget* top = window();
    // The system moves the window where it can (Wayland allows nothing else); elsewhere the
    // window follows the pointer.
    if (top->windowHandle() && top->windowHandle()->startSystemMove())
        return;
    m_dragging = true;
    m_dragOffset = event->globalPosition().toPoint() - top->frameGeometry().topLeft();
}

void TitleBarView::mouseMoveEvent(QMouseEvent* event) {
    if (m_dragging)
        window()->move(event->globalPosition().toPoint() - m_dragOffset);
}

void TitleBarView::mouseReleaseEvent(QMouseEvent*) {
    m_dragging = false;
}
