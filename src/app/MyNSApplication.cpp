#include "app/MyNSApplication.h"

#include "ui/Accessibility.h"

#include <QComboBox>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTextEdit>

namespace {

// The text editor that answers edit actions for a widget: the widget itself, or the line
// editor inside an editable combo box.
QWidget* editorOf(QWidget* w) {
    if (qobject_cast<QLineEdit*>(w) || qobject_cast<QTextEdit*>(w) || qobject_cast<QPlainTextEdit*>(w))
        return w;
    if (auto* combo = qobject_cast<QComboBox*>(w))
        return combo->lineEdit();
    return nullptr;
}

// A password field keeps no undo history.
bool hasUndo(QWidget* editor) {
    if (auto* line = qobject_cast<QLineEdit*>(editor))
        return line->echoMode() == QLineEdit::Normal;
    if (auto* text = qobject_cast<QTextEdit*>(editor))
        return text->isUndoRedoEnabled();
    if (auto* plain = qobject_cast<QPlainTextEdit*>(editor))
        return plain->isUndoRedoEnabled();
    return false;
}

template <typename Editor> void perform(Editor* e, MyNSApplication::EditAction action) {
    using A = MyNSApplication::EditAction;
    switch (action) {
    case A::Cut:
        e->cut();
        break;
    case A::Copy:
        e->copy();
        break;
    case A::Paste:
        e->paste();
        break;
    case A::Undo:
        e->undo();
        break;
    case A::Redo:
        e->redo();
        break;
    case A::SelectAll:
        e->selectAll();
        break;
    case A::None:
        break;
    }
}

} // namespace

MyNSApplication::MyNSApplication(int& argc, char** argv) : QApplication(argc, argv) {
    Accessibility::install();
}

MyNSApplication::EditAction MyNSApplication::editActionForKey(const QKeyEvent& event) {
    // Only the modifier keys themselves count; the keypad flag says where a key sits.
    const Qt::KeyboardModifiers mods =
        event.modifiers() & (Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier);
    if (mods == Qt::ControlModifier || mods == (Qt::ControlModifier | Qt::ShiftModifier)) {
        switch (event.key()) {
        case Qt::Key_X:
            return EditAction::Cut;
        case Qt::Key_C:
            return EditAction::Copy;
        case Qt::Key_V:
            return EditAction::Paste;
        case Qt::Key_Z:
            return EditAction::Undo;
        case Qt::Key_A:
            return EditAction::SelectAll;
        default:
            return EditAction::None;
        }
    }
    // The character the key gives without the other modifiers, Shift kept: upper-case Z.
    if (event.key() == Qt::Key_Z && (mods & Qt::ShiftModifier))
        return EditAction::Redo;
    return EditAction::None;
}

bool MyNSApplication::sendEditAction(EditAction action, QWidget* focus) {
    if (action == EditAction::None)
        return false;
    for (QWidget* w = focus; w; w = w->isWindow() ? nullptr : w->parentWidget()) {
        QWidget* editor = editorOf(w);
        if (!editor)
            continue;
        if ((action == EditAction::Undo || action == EditAction::Redo) && !hasUndo(editor))
            return false;
        if (auto* line = qobject_cast<QLineEdit*>(editor))
            perform(line, action);
        else if (auto* text = qobject_cast<QTextEdit*>(editor))
            perform(text, action);
        else if (auto* plain = qobject_cast<QPlainTextEdit*>(editor))
            perform(plain, action);
        return true;
    }
    return false;
}

bool MyNSApplication::sendEvent(const QKeyEvent& event, QWidget* focus) {
    return sendEditAction(editActionForKey(event), focus);
}

bool MyNSApplication::notify(QObject* receiver, QEvent* event) {
    // A key press reaches the application once for the window and once for the widget that
    // has the focus, the first responder; it is routed at the widget.
    if (event->type() == QEvent::KeyPress && receiver->isWidgetType()) {
        if (sendEvent(*static_cast<QKeyEvent*>(event), static_cast<QWidget*>(receiver)))
            return true;
    }
    return QApplication::notify(receiver, event);
}
