#pragma once

#include <QObject>

class TestIndicators : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void threeStepsColourOneLabelAndPickTheirPicture();
    void fourStepsColourOneLabelAndPickTheirPicture();
    void labelsSitUnderTheirMarks();
    void barGlidesClampsAndStripesOnlyWhileWorking();
    void imageButtonLooksFollowThePointer();
};
