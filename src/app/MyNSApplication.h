#pragma once

#include <QApplication>

class QKeyEvent;
class QWidget;

// The application object. Besides the usual event dispatch it routes the standard editing
// shortcuts itself, so that they act on whatever text field has the focus, in every window:
//
// - Command (Control off macOS), alone or with Shift, plus X, C, V, Z or A sends cut, copy,
//   paste, undo or select-all. Command-Shift-Z therefore undoes as well.
// - With any other combination of modifiers, including none, a key whose character is the
//   upper-case "Z" sends redo: Shift-Z typed into a field redoes instead of typing the letter.
//   This is the program's long-standing behaviour and is kept on purpose.
//
// An action goes to the focus widget and up its parents to the first text editor; when none
// takes it the key goes on to normal dispatch.
class MyNSApplication : public QApplication {
    Q_OBJECT
public:
    enum class EditAction { None, Cut, Copy, Paste, Undo, Redo, SelectAll };

    MyNSApplication(int& argc, char** argv);

    bool notify(QObject* receiver, QEvent* event) override;

    // The action a key press stands for (None for every other key).
    static EditAction editActionForKey(const QKeyEvent& event);
    // Sends the action to the first responder from `focus` upwards; true when one took it.
    static bool sendEditAction(EditAction action, QWidget* focus);
    // sendEvent: the routing above for one event; true when the event was consumed.
    static bool sendEvent(const QKeyEvent& event, QWidget* focus);
};
