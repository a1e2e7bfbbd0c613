#pragma once

#include <QObject>

class QProcess;

// Keeps the Mac from sleeping while a long job runs: "/usr/bin/caffeinate -i -w <our pid>"
// runs from begin() to end(). Should Tavrill end without end(), caffeinate ends by itself, as
// it waits for our process. Lives on the main thread.
class KeepAwake : public QObject {
    Q_OBJECT
public:
    static constexpr const char* kTool = "/usr/bin/caffeinate";

    explicit KeepAwake(QObject* parent = nullptr);
    ~KeepAwake() override; // ends caffeinate

    // Starts caffeinate unless it runs already.
    void begin();
    // Ends it and waits for it to leave.
    void end();
    bool isActive() const;

private:
    QProcess* m_process;
};
