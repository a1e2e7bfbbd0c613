#pragma once

#include "ui/AttachedWindow.h"

#include <QPointer>
#include <QString>
#include <QWidget>

class FlatButton;
class QLabel;
class QVBoxLayout;

// A popup panel that carries one message: an icon, the message, optionally something under it
// (a busy bar) and at most one button, which closes the window hosting the panel. The panel is
// kWidth wide and grows downwards with its message.
class MessagePanel : public QWidget {
    Q_OBJECT
public:
    static constexpr int kWidth = 340;

    enum class Arrangement {
        Heading, // the icon beside a bold title, the message under both, the button at the right
        Centred  // the icon on top, the message centred under it, the button in the middle
    };

    // `title` is shown by the Heading arrangement only.
    MessagePanel(Arrangement arrangement, const QString& iconName, const QString& title = QString(),
                 QWidget* parent = nullptr);

    // Shows text as the message, as it is given; a longer one grows the panel instead of being cut.
    void setText(const QString& text);
    QString text() const;
    QLabel* textLabel() const { return m_text; }
    QLabel* titleLabel() const { return m_title; } // null in the Centred arrangement

    // Places a widget under the message and above the button.
    void addContent(QWidget* widget);
    // Adds the panel's one button (the accent-filled kind, the default one), which closes it.
    FlatButton* addButton(const QString& text);
    FlatButton* button() const { return m_button; }

    // The attached window hosting the panel, or null when it is not shown; closed() follows its
    // closing.
    void setSuperDelegate(AttachedWindow* host);
    AttachedWindow* superDelegate() const { return m_host; }
    // Closes the hosting attached window; a panel without one closes itself.
    void closeWindow();

Q_SIGNALS:
    void closed();

private:
    Arrangement m_arrangement;
    QLabel* m_title = nullptr;
    QLabel* m_text;
    FlatButton* m_button = nullptr;
    QVBoxLayout* m_column;
    int m_contentEnd = 0; // where the next content goes in the column
    QPointer<AttachedWindow> m_host;
};
