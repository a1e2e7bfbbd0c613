#pragma once

#include <QColor>
#include <QString>
#include <QWidget>

// Shows one piece of artwork by name, scaled proportionally (or stretched) into the view and
// drawn as vectors, so it is sharp at any size and pixel density.
class ImageView : public QWidget {
    Q_OBJECT
    Q_PROPERTY(qreal opacity READ opacity WRITE setOpacity)
public:
    explicit ImageView(const QString& imageName = QString(), QWidget* parent = nullptr);

    QString imageName() const { return m_imageName; }
    void setImageName(const QString& name);
    void setKeepAspect(bool keep);
    // Recolours the artwork; an invalid colour draws it as it is.
    void setTint(const QColor& tint);
    qreal opacity() const { return m_opacity; }
    void setOpacity(qreal opacity);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_imageName;
    QColor m_tint;
    qreal m_opacity = 1.0;
    bool m_keepAspect = true;
};
