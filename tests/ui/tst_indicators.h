#pragma once

#include <QObject>

class TestIndicators : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void stepsColourOneLabelAndPickTheirPicture();
    void labelsSitUnderTheirMarks();
    void barGlidesClampsAndStripesOnlyWhileWorking();
    void imageButtonLooksFollowThePointer();
};
