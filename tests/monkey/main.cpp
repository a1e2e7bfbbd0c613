#include "Monkey.h"
#include "app/MyNSApplication.h"

#include <QDir>

#if defined(__SANITIZE_ADDRESS__)
// The sanitizer keeps freed memory aside (its quarantine) and, each time that is full, gives a
// tenth of it back in the one free() that overflowed it. With the default 256 MB that tenth is
// tens of thousands of blocks: a pause of hundreds of milliseconds in whatever line happened to
// free a pixmap, which the stall check would blame on the application. 32 MB still holds every
// block freed in the last few actions and pauses for an eighth as long. ASAN_OPTIONS overrides it.
extern "C" __attribute__((used, visibility("default"))) const char* __asan_default_options() {
    return "quarantine_size_mb=32";
}
#endif

// tavrill_monkey [SEED] [ACTIONS] [ACTION-FILE]: the application on a fresh emulated Mac, driven by
// ACTIONS seeded random actions; exit status 0 when every check held. The actions are written to
// ACTION-FILE (default monkey-SEED.actions in the current folder) as they happen.
int main(int argc, char** argv) {
    MyNSApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    const quint32 seed = args.size() > 1 ? args.at(1).toUInt() : 1;
    const int actions = args.size() > 2 ? args.at(2).toInt() : 300;
    const QString file = args.size() > 3
                             ? args.at(3)
                             : QDir::current().filePath(QStringLiteral("monkey-%1.actions").arg(seed));
    Monkey monkey(seed, actions, file);
    return monkey.run();
}
