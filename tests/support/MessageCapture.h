#pragma once

#include <QStringList>
#include <QtGlobal>

// Collects every message logged (from any thread) while the object lives, then puts the
// previous handler back.
class MessageCapture {
public:
    MessageCapture();
    ~MessageCapture();
    MessageCapture(const MessageCapture&) = delete;
    MessageCapture& operator=(const MessageCapture&) = delete;

    // The messages so far, in order; the capture goes on.
    QStringList lines() const;

private:
    QtMessageHandler m_previous;
};
