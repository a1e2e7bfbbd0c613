#pragma once

#include <QAbstractButton>
#include <QString>

// One row of the main window's tab bar: an icon and a text on a transparent background (the
// highlight behind the chosen row is drawn by the window). The active row shows the icon's
// "_sel" form and a bright text; the others a quiet one (one weight for all, so the longest
// name fits the bar).
class SideTabButton : public QAbstractButton {
    Q_OBJECT
public:
    SideTabButton(const QString& text, const QString& iconImage, QWidget* parent = nullptr);

    void setActive(bool active);
    bool isActive() const { return m_active; }
    QString iconImage() const { return m_icon; }
    // The artwork drawn right now: the icon or its "_sel" form.
    QString currentIconImage() const;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    QString m_icon;
    bool m_active = false;
    bool m_hovered = false;
};
