#pragma once
#include <QObject>

class TestCommandRunner : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void formatsDocumentedLinesUnchanged_data();
    void formatsDocumentedLinesUnchanged();
    void rejectsLinesLongerThanTheirBuffer();
    void eachRunnerWritesItsOwnFile();
    void staleOutputIsRemovedAndNullLinesTouchNothing();
    void hostileNamesReachTheToolLiterally_data();
    void hostileNamesReachTheToolLiterally();
    void callersSharingARunnerReadTheirOwnAnswers();
    void failureToRunIsLoggedOnlyWhenNamed();
    void hungToolIsStoppedAtItsLimit();
};
