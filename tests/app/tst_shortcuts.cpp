#include "TestMain.h"
#include "app/MyNSApplication.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTextEdit>
#include <QVBoxLayout>

namespace {

// Counts the key presses that reach a widget through normal dispatch. A routed shortcut is
// consumed before delivery, so the widget never sees it.
class KeyCounter : public QObject {
public:
    int presses = 0;

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() != QEvent::KeyPress)
            return false;
        // Only the keys themselves: a simulated click also presses its modifier keys.
        switch (static_cast<QKeyEvent*>(event)->key()) {
        case Qt::Key_Control:
        case Qt::Key_Shift:
        case Qt::Key_Alt:
        case Qt::Key_Meta:
            break;
        default:
            ++presses;
        }
        return false;
    }
};

// The Command key: Qt reports it as Control on macOS; elsewhere Control stands in for it.
constexpr Qt::KeyboardModifier kCommand = Qt::ControlModifier;

} // namespace

class TestShortcuts : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void commandKeysReachTheFocusedField() {
        QVERIFY(qobject_cast<MyNSApplication*>(QCoreApplication::instance()));
        QLineEdit field(QStringLiteral("hello world"));
        KeyCounter counter;
        field.installEventFilter(&counter);
        field.show();
        QGuiApplication::clipboard()->setText(QStringLiteral("unchanged"));

        QTest::keyClick(&field, Qt::Key_A, kCommand);
        QCOMPARE(field.selectedText(), QStringLiteral("hello world"));

        field.setSelection(0, 5);
        QTest::keyClick(&field, Qt::Key_C, kCommand);
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("hello"));

        field.setSelection(5, 6);
        QTest::keyClick(&field, Qt::Key_X, kCommand);
        QCOMPARE(field.text(), QStringLiteral("hello"));
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral(" world"));

        field.setCursorPosition(0);
        QTest::keyClick(&field, Qt::Key_V, kCommand);
        QCOMPARE(field.text(), QStringLiteral(" worldhello"));

        QTest::keyClick(&field, Qt::Key_Z, kCommand);
        QCOMPARE(field.text(), QStringLiteral("hello"));

        // With Shift added the same keys do the same.
        QTest::keyClick(&field, Qt::Key_A, kCommand | Qt::ShiftModifier);
        QCOMPARE(field.selectedText(), QStringLiteral("hello"));

        // Every one of them was routed, none went through the field's own key handling.
        QCOMPARE(counter.presses, 0);
        // Other modifier combinations are not shortcuts: Alt-A reaches the field.
        QTest::keyClick(&field, Qt::Key_A, Qt::AltModifier);
        QCOMPARE(counter.presses, 1);
    }

    void commandShiftZUndoesAndShiftZRedoes() {
        QLineEdit field;
        field.show();
        QTest::keyClicks(&field, QStringLiteral("abc"));
        QCOMPARE(field.text(), QStringLiteral("abc"));

        // Command-Shift-Z undoes (the toolkit's own binding would redo here).
        QTest::keyClick(&field, Qt::Key_Z, kCommand | Qt::ShiftModifier);
        QCOMPARE(field.text(), QString());

        // A plain upper-case Z redoes instead of being typed.
        QTest::keyClick(&field, Qt::Key_Z, Qt::ShiftModifier);
        QCOMPARE(field.text(), QStringLiteral("abc"));
        // Nothing left to redo: still no letter typed.
        QTest::keyClick(&field, Qt::Key_Z, Qt::ShiftModifier);
        QCOMPARE(field.text(), QStringLiteral("abc"));
        // Command-Z undoes; any other combination that gives an upper-case Z redoes.
        QTest::keyClick(&field, Qt::Key_Z, kCommand);
        QCOMPARE(field.text(), QString());
        QTest::keyClick(&field, Qt::Key_Z, Qt::ShiftModifier | Qt::AltModifier);
        QCOMPARE(field.text(), QStringLiteral("abc"));

        // A lower-case z is typed as usual.
        QTest::keyClick(&field, Qt::Key_Z);
        QCOMPARE(field.text(), QStringLiteral("abcz"));
    }

    void textEditorsAndParentsTakeActions() {
        QTextEdit rich;
        rich.setPlainText(QStringLiteral("first line"));
        KeyCounter counter;
        rich.installEventFilter(&counter);
        rich.show();
        QTest::keyClick(&rich, Qt::Key_A, kCommand);
        QCOMPARE(rich.textCursor().selectedText(), QStringLiteral("first line"));
        QCOMPARE(counter.presses, 0);

        QPlainTextEdit plain;
        plain.show();
        QTest::keyClicks(&plain, QStringLiteral("xy"));
        QTest::keyClick(&plain, Qt::Key_Z, kCommand | Qt::ShiftModifier);
        QCOMPARE(plain.toPlainText(), QString());
        QTest::keyClick(&plain, Qt::Key_Z, Qt::ShiftModifier);
        QCOMPARE(plain.toPlainText(), QStringLiteral("xy"));

        // The first responder is the widget the key goes to; the action travels up to the first
        // text editor among its parents.
        QLineEdit outer(QStringLiteral("outer text"));
        auto* inner = new QWidget(&outer);
        outer.show();
        QVERIFY(MyNSApplication::sendEditAction(MyNSApplication::EditAction::SelectAll, inner));
        QCOMPARE(outer.selectedText(), QStringLiteral("outer text"));
    }

    void keysNobodyTakesGoOnAsUsual() {
        // A password field keeps no undo history, so nobody takes the redo and the letter is typed.
        QLineEdit secret;
        secret.setEchoMode(QLineEdit::Password);
        secret.show();
        QTest::keyClick(&secret, 'Z', Qt::ShiftModifier);
        QCOMPARE(secret.text(), QStringLiteral("Z"));
        QPlainTextEdit noUndo;
        noUndo.setUndoRedoEnabled(false);
        noUndo.show();
        QTest::keyClick(&noUndo, 'Z', Qt::ShiftModifier);
        QCOMPARE(noUndo.toPlainText(), QStringLiteral("Z"));

        QWidget window;
        auto* layout = new QVBoxLayout(&window);
        auto* button = new QPushButton(QStringLiteral("Go"));
        layout->addWidget(button);
        window.show();
        KeyCounter counter;
        button->installEventFilter(&counter);

        // No text editor takes the action, so the key goes on to the button.
        QTest::keyClick(button, Qt::Key_A, kCommand);
        QTest::keyClick(button, Qt::Key_Z, Qt::ShiftModifier);
        QCOMPARE(counter.presses, 2);
        QVERIFY(!MyNSApplication::sendEditAction(MyNSApplication::EditAction::Copy, button));
        QVERIFY(!MyNSApplication::sendEditAction(MyNSApplication::EditAction::Copy, nullptr));
    }
};

TAVRILL_TEST(TestShortcuts)

#include "tst_shortcuts.moc"
