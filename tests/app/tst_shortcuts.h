#pragma once

#include <QObject>

class TestShortcuts : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void commandKeysReachTheFocusedField();
    void commandShiftZUndoesAndShiftZRedoes();
    void textEditorsAndParentsTakeActions();
    void keysNobodyTakesGoOnAsUsual();
};
