#include "FuzzSupport.h"

#include "platform/Machine.h"

#include <QtGlobal>

#include <cstdio>
#include <cstdlib>

namespace {

void dropMessage(QtMsgType, const QMessageLogContext&, const QString&) {}

} // namespace

void fuzzCheck(bool holds, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "fuzz check failed: %s\n", what);
    std::abort();
}

QList<QByteArray> fuzzPieces(const std::uint8_t* data, std::size_t size) {
    const QByteArray all(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    QList<QByteArray> pieces;
    qsizetype from = 0;
    for (qsizetype at; (at = all.indexOf("\n%%\n", from)) >= 0; from = at + 4)
        pieces.append(all.mid(from, at - from));
    pieces.append(all.mid(from));
    return pieces;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    qInstallMessageHandler(dropMessage);
    Machine::setRoot(QStringLiteral("/nonexistent/tavrill-fuzz"));
    return 0;
}
