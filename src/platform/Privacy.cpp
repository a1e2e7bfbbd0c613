#include "platform/Privacy.h"

#include "platform/Machine.h"

#include <QFile>

bool Privacy::hasFullDiskAccess() {
    QFile database(Machine::hostPath(QStringLiteral("/Library/Application Support/com.apple.TCC/TCC.db")));
    return database.open(QIODevice::ReadOnly);
}
