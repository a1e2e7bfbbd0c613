#pragma once

#include <QPushButton>

// The program's text button: a rounded, flat button, either the accent-filled primary action
// ("Copy Now", "Done") or a quiet secondary one ("Cancel").
class FlatButton : public QPushButton {
    Q_OBJECT
public:
    enum class Kind { Primary, Secondary };
    explicit FlatButton(const QString& text, Kind kind = Kind::Primary, QWidget* parent = nullptr);

    Kind kind() const { return m_kind; }
    void setKind(Kind kind);

    QSize sizeHint() const override;

private:
    void applyStyle();
    Kind m_kind;
};
