#pragma once
#include <QObject>

class TestCommandRunner : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void formatsDocumentedLinesUnchanged_data();
    void formatsDocumentedLinesUnchanged();
    void rejectsLinesLongerThanTheirBuffer();
    void eachRunnerWritesItsOwnFile();
    void staleOutputIsRemovedBeforeTheRun();
    void nullLineTouchesNothing();
    void hostileNamesReachTheToolLiterally_data();
    void hostileNamesReachTheToolLiterally();
    void doCommandWritesWhereItIsTold();
    void callersSharingARunnerReadTheirOwnAnswers();
    void failureToRunIsLoggedOnlyWhenNamed();
    void hungToolIsStoppedAtItsLimit();
};
