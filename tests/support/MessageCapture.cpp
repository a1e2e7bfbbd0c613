#include "MessageCapture.h"

#include <QMutex>

namespace {

QMutex capturedLock;
QStringList captured;

void capture(QtMsgType, const QMessageLogContext&, const QString& text) {
    QMutexLocker lock(&capturedLock);
    captured << text;
}

} // namespace

MessageCapture::MessageCapture() {
    {
        QMutexLocker lock(&capturedLock);
        captured.clear();
    }
    m_previous = qInstallMessageHandler(capture);
}

MessageCapture::~MessageCapture() {
    qInstallMessageHandler(m_previous);
}

QStringList MessageCapture::lines() const {
    QMutexLocker lock(&capturedLock);
    return captured;
}
