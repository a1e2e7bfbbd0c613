#include "app/QuitQuestionPanel.h"

#include "ui/FlatButton.h"

QString QuitQuestionPanel::titleFor(FeatureTab::Job job) {
    switch (job) {
    case FeatureTab::Job::Copy:
        return QStringLiteral("Stop copying and quit?");
    case FeatureTab::Job::Image:
        return QStringLiteral("Stop creating the image and quit?");
    default:
        return QStringLiteral("Stop cloning and quit?");
    }
}

QString QuitQuestionPanel::textFor(FeatureTab::Job job) {
    switch (job) {
    case FeatureTab::Job::Copy:
        return QStringLiteral("Tavrill is copying files. If you quit now, the copy stops; what was copied so "
                              "far stays in its folder on the destination drive.");
    case FeatureTab::Job::Image:
        return QStringLiteral(
            "Tavrill is creating a disk image. If you quit now, it stops and the unfinished "
            "image or archive is removed.");
    case FeatureTab::Job::CloneErased:
        return QStringLiteral(
            "Tavrill is cloning the system onto the drive. If you quit now, the drive is left "
            "erased and will not be able to start up a Mac.");
    default:
        return QStringLiteral(
            "Tavrill is preparing to clone the system. If you quit now, the clone stops and "
            "the drive is left as it was.");
    }
}

QuitQuestionPanel::QuitQuestionPanel(FeatureTab::Job job, QWidget* parent)
    : CloneQuestionPanel(titleFor(job), QStringLiteral("Keep Working"), QStringLiteral("Stop and Quit"),
                         parent) {
    setText(textFor(job));
    connect(keepWorkingButton(), &QAbstractButton::clicked, this, &QuitQuestionPanel::closeWindow);
    connect(stopAndQuitButton(), &QAbstractButton::clicked, this, [this] {
        closeWindow();
        Q_EMIT stopAndQuit();
    });
}
