#pragma once

#include <QObject>

class TestCopyResume : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void resumeRecopiesOnlyWhatIsMissingOrCutShort();
};
