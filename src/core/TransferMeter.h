#pragma once

#include <QString>

#include <cstdint>
#include <deque>
#include <optional>

// Turns "bytes done of bytes to do" readings, taken over time, into what a person watching a
// long copy wants to know: how far it has come, how fast it goes and about how long is left.
//
// The rate is the bytes moved over a sliding window of about ten seconds, so a pause or a burst
// moves it gently. The time left is given only once the job has run five seconds and the rate
// has held steady (within 15 %) for the last three; from then on it is given while data moves.
// It is rounded as a person says it: "about 47 s", "about 3 min", "about 1 h 10 min".
//
// Times are milliseconds on any steady clock the caller chooses; readings come in time order.
// The owner takes a reading whenever it likes (a screen: on every report and on a timer of its
// own, so that a stall shows as a falling rate).
class TransferMeter {
public:
    static constexpr std::int64_t kWindowMs = 10000;
    static constexpr std::int64_t kTimeLeftAfterMs = 5000;
    static constexpr std::int64_t kSteadyForMs = 3000;

    // Starts over: nothing done yet, at nowMs. bytesToDo may be -1 (not known yet).
    void start(std::int64_t nowMs, std::int64_t bytesToDo = -1);
    void setBytesToDo(std::int64_t bytesToDo) { m_bytesToDo = bytesToDo; }
    // A reading: bytes done so far, at nowMs.
    void update(std::int64_t nowMs, std::int64_t bytesDone);

    std::int64_t bytesDone() const { return m_bytesDone; }
    std::int64_t bytesToDo() const { return m_bytesToDo; }
    // Done of to do, 0 to 1; nothing while the bytes to do are not known.
    std::optional<double> fraction() const;
    // Bytes a second over the window; nothing before a second of readings.
    std::optional<double> bytesPerSecond() const;
    // Seconds left at the current rate, under the rules above.
    std::optional<double> secondsLeft() const;

    // "1.24 GB of 5.24 GB · 85.3 MB/s · about 47 s left"; the parts not known yet are left out
    // ("1.24 GB" alone when neither the bytes to do nor the rate are known).
    QString line() const;

    // "85.3 MB/s" (decimal units, one decimal).
    static QString rateText(double bytesPerSecond);
    // "about 47 s", "about 3 min", "about 1 h 10 min".
    static QString timeLeftText(double seconds);
    // "0:07", "12:34", "1:02:03".
    static QString elapsedText(std::int64_t seconds);
    // What is left of a job that did fraction (0 to 1] of its work in elapsedMs, at the same pace.
    static double secondsLeftAt(std::int64_t elapsedMs, double fraction);

private:
    struct Reading {
        std::int64_t ms;
        std::int64_t bytes;
    };
    struct RateAt {
        std::int64_t ms;
        double rate;
    };
    bool steady() const;

    std::int64_t m_startMs = 0;
    std::int64_t m_nowMs = 0;
    std::int64_t m_bytesDone = 0;
    std::int64_t m_bytesToDo = -1;
    std::deque<Reading> m_readings; // the window, and the last reading before it
    std::deque<RateAt> m_rates;     // the rate after each reading, over the steady span
    bool m_timeLeftShown = false;
};
