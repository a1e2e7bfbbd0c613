#pragma once

#include "core/TransferMeter.h"

#include <QElapsedTimer>
#include <QObject>

#include <cstdint>
#include <functional>

class QLabel;
class QTimer;
class StripedProgressBar;

// Shows a job's bytes on a progress bar and in the line under it ("1.24 GB of 5.24 GB · 85.3
// MB/s · about 47 s left"). The figures come from the job's reports and, where the job lets its
// counters be read, from a reading every half second, so the rate and the time left move on
// also while a large file is written or the job stalls.
//
// The bar draws the byte fraction once the bytes to do are known; until then the screen sets it
// from the job's own percentages.
class TransferProgress : public QObject {
    Q_OBJECT
public:
    static constexpr int kTickMs = 500;
    // Bytes done and bytes to do (-1: not known yet), read when asked.
    using Reader = std::function<std::pair<std::int64_t, std::int64_t>()>;

    TransferProgress(StripedProgressBar* bar, QLabel* line, QObject* parent);

    // A new job: empty line, readings every half second through read (when given) from now on.
    void start(Reader read = {});
    // A report from the job.
    void report(std::int64_t bytesDone, std::int64_t bytesToDo);
    // The job has ended: no more readings; the line keeps its last text.
    void stop();
    // Empties the line, as before a job.
    void clear();
    // Whether the bar shows the byte fraction.
    bool drawsBytes() const { return m_running && m_meter.fraction().has_value(); }
    const TransferMeter& meter() const { return m_meter; }

private:
    void take(std::int64_t bytesDone, std::int64_t bytesToDo);

    StripedProgressBar* m_bar;
    QLabel* m_line;
    QTimer* m_tick;
    Reader m_read;
    TransferMeter m_meter;
    QElapsedTimer m_clock;
    bool m_running = false;
};
