#include "Monkey.h"
#include "app/MyNSApplication.h"

#include <QDir>

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
