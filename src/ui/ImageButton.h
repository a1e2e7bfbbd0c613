#pragma once

#include <QAbstractButton>
#include <QColor>
#include <QString>

// A button drawn from artwork, with a look for each state: normal, under the pointer, pressed
// and disabled. A state without its own image uses the normal one (disabled: dimmed). An
// optional text is drawn centred over the image.
class ImageButton : public QAbstractButton {
    Q_OBJECT
public:
    explicit ImageButton(const QString& normalImage = QString(), QWidget* parent = nullptr);

    void setImages(const QString& normal, const QString& hover = QString(),
                   const QString& pressed = QString(), const QString& disabled = QString());
    QString normalImage() const { return m_normal; }
    // The image drawn right now, following the pointer and the pressed state.
    QString currentImage() const;
    bool isHovered() const { return m_hovered; }

    void setTextColor(const QColor& color);
    void setTextPointSize(double pointSize);
    // Draws the image stretched to the button instead of proportionally.
    void setStretch(bool stretch);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    QString m_normal;
    QString m_hover;
    QString m_pressed;
    QString m_disabled;
    QColor m_textColor;
    double m_textPointSize = 13;
    bool m_hovered = false;
    bool m_stretch = false;
};
