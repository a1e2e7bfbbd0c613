#include "app/AppDelegate.h"
#include "app/MainWindowController.h"
#include "app/MyNSApplication.h"
#include "core/ConsoleLog.h"
#include "platform/Machine.h"

#include <QTimer>

// Development settings (never set on a user's machine):
//   TAVRILL_MACHINE_ROOT     run on an emulated Mac in that folder
//   TAVRILL_SCREENSHOTS      once the window shows, save a picture of each tab in that folder
//   TAVRILL_SCREENSHOTS_QUIT with TAVRILL_SCREENSHOTS: end, as the close button does, after saving
//   TAVRILL_SERVICE_ORIGIN   ask a web server on this machine instead of the real sites for the
//                            network test and the update check (core/ServiceAddress.h)
namespace {

void takeScreenshots(MainWindowController* window, const QString& folder, bool quit) {
    // Let the window lay out and paint once before it is grabbed.
    QTimer::singleShot(500, window, [window, folder, quit] {
        const QStringList files = window->saveTabScreenshots(folder);
        for (const QString& file : files)
            QvConsoleLog("Saved %s", qPrintable(file));
        if (quit)
            window->closeWindow();
    });
}

} // namespace

int main(int argc, char** argv) {
    MyNSApplication app(argc, argv);
    MyNSApplication::setApplicationName(QStringLiteral("Tavrill"));
    MyNSApplication::setOrganizationDomain(QStringLiteral("kelvaro.com"));
    Machine::initFromEnvironment();

    AppDelegate delegate;
    if (!delegate.applicationDidFinishLaunching())
        return 0;

    const QString screenshots = qEnvironmentVariable("TAVRILL_SCREENSHOTS");
    if (!screenshots.isEmpty())
        takeScreenshots(delegate.mainWindowController(), screenshots,
                        !qEnvironmentVariable("TAVRILL_SCREENSHOTS_QUIT").isEmpty());
    return app.exec();
}
