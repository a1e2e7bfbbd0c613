#include "platform/SystemVersionSource.h"

#include "platform/Machine.h"

#include <QProcess>
#include <QRegularExpression>

std::optional<SystemVersionParts> parseProductVersion(const char* text) {
    if (!text)
        return std::nullopt;
    static const QRegularExpression pattern(
        QStringLiteral(R"(^\s*(\d{1,4})\.(\d{1,4})(?:\.(\d{1,4}))?\s*$)"));
    const QRegularExpressionMatch m = pattern.match(QString::fromUtf8(text));
    if (!m.hasMatch())
        return std::nullopt;
    SystemVersionParts parts;
    parts.major = m.captured(1).toInt();
    parts.minor = m.captured(2).toInt();
    parts.bugFix = m.captured(3).isEmpty() ? 0 : m.captured(3).toInt();
    return parts;
}

std::optional<SystemVersionParts> querySystemVersion(long* errorCode) {
    QProcess swVers;
    swVers.setProcessEnvironment(Machine::toolEnvironment());
    swVers.setProcessChannelMode(QProcess::SeparateChannels);
    swVers.start(Machine::hostPath(QStringLiteral("/usr/bin/sw_vers")), {QStringLiteral("-productVersion")});
    long code = 0;
    std::optional<SystemVersionParts> parts;
    if (!swVers.waitForStarted(5000)) {
        code = -1;
    } else if (!swVers.waitForFinished(5000)) {
        swVers.kill();
        swVers.waitForFinished(1000);
        code = -2;
    } else if (swVers.exitStatus() != QProcess::NormalExit || swVers.exitCode() != 0) {
        code = swVers.exitCode() != 0 ? swVers.exitCode() : -3;
    } else {
        parts = parseProductVersion(swVers.readAllStandardOutput().constData());
        if (!parts)
            code = -4;
    }
    if (errorCode)
        *errorCode = code;
    return parts;
}
