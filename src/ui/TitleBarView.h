#pragma once

#include <QPoint>
#include <QWidget>

class ImageButton;
class ImageView;
class QLabel;
class QMenu;

// The window's own title bar, for a window without the system frame: the banner artwork
// across its whole width, the close button at the left, the title, and (where the system has
// no global menu bar) a button that opens the application menu. Dragging the bar moves the
// window.
class TitleBarView : public QWidget {
    Q_OBJECT
public:
    // Height of the strip that holds the window buttons, in points.
    static constexpr int kButtonStripHeight = 25;
    // Left margin of the window buttons.
    static constexpr int kButtonMargin = 16;

    explicit TitleBarView(QWidget* parent = nullptr);

    void setBannerImage(const QString& name);
    void setTitle(const QString& title);
    QLabel* titleLabel() const { return m_titleLabel; }
    ImageButton* closeButton() const { return m_closeButton; }
    ImageView* bannerView() const { return m_banner; }
    // Shows a menu button at the right that opens menu; null hides it.
    void setMenu(QMenu* menu);
    ImageButton* menuButton() const { return m_menuButton; }

Q_SIGNALS:
    void closeClicked();

protected:
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void layoutChildren();

    ImageView* m_banner;
    ImageButton* m_closeButton;
    ImageButton* m_menuButton;
    QLabel* m_titleLabel;
    QMenu* m_menu = nullptr;
    QPoint m_dragOffset;
    bool m_dragging = false;
};
