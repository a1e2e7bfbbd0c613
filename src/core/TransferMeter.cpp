#include "core/TransferMeter.h"

#include "core/QvPublicUtilities.h"

#include <algorithm>
#include <cmath>

namespace {

// How far a rate may wander, either way, and still count as steady.
constexpr double kSteadyWithin = 0.15;
// Readings closer together than this do not make a rate.
constexpr std::int64_t kShortestSpanMs = 1000;

const QString kSeparator = QStringLiteral(" \u00b7 ");

} // namespace

void TransferMeter::start(std::int64_t nowMs, std::int64_t bytesToDo) {
    m_startMs = nowMs;
    m_nowMs = nowMs;
    m_bytesDone = 0;
    m_bytesToDo = bytesToDo;
    m_readings = {{nowMs, 0}};
    m_rates.clear();
    m_timeLeftShown = false;
}

void TransferMeter::update(std::int64_t nowMs, std::int64_t bytesDone) {
    m_nowMs = nowMs;
    m_bytesDone = bytesDone;
    m_readings.push_back({nowMs, bytesDone});
    // One reading at or before the window's start stays, so the window spans all of it.
    while (m_readings.size() > 2 && m_readings[1].ms <= nowMs - kWindowMs)
        m_readings.pop_front();
    const std::optional<double> rate = bytesPerSecond();
    if (!rate)
        return;
    m_rates.push_back({nowMs, *rate});
    while (m_rates.size() > 1 && m_rates[1].ms <= nowMs - kSteadyForMs)
        m_rates.pop_front();
    if (!m_timeLeftShown && nowMs - m_startMs >= kTimeLeftAfterMs && steady())
        m_timeLeftShown = true;
}

std::optional<double> TransferMeter::fraction() const {
    if (m_bytesToDo < 0)
        return std::nullopt;
    if (m_bytesToDo == 0)
        return 1.0;
    return std::clamp(double(m_bytesDone) / double(m_bytesToDo), 0.0, 1.0);
}

std::optional<double> TransferMeter::bytesPerSecond() const {
    if (m_readings.size() < 2)
        return std::nullopt;
    const Reading& first = m_readings.front();
    const Reading& last = m_readings.back();
    if (last.ms - first.ms < kShortestSpanMs)
        return std::nullopt;
    return std::max(0.0, double(last.bytes - first.bytes) * 1000.0 / double(last.ms - first.ms));
}

bool TransferMeter::steady() const {
    if (m_rates.empty() || m_rates.front().ms > m_nowMs - kSteadyForMs)
        return false;
    const double now = m_rates.back().rate;
    if (now <= 0)
        return false;
    return std::all_of(m_rates.begin(), m_rates.end(),
                       [now](const RateAt& r) { return std::abs(r.rate - now) <= kSteadyWithin * now; });
}

std::optional<double> TransferMeter::secondsLeft() const {
    const std::optional<double> rate = bytesPerSecond();
    if (!m_timeLeftShown || m_bytesToDo < 0 || !rate || *rate <= 0)
        return std::nullopt;
    return std::max<double>(0, double(m_bytesToDo - m_bytesDone)) / *rate;
}

QString TransferMeter::line() const {
    QString text = QvPublicUtilities::longlongConvertVolSpace(m_bytesDone);
    if (m_bytesToDo >= 0)
        text += QStringLiteral(" of ") + QvPublicUtilities::longlongConvertVolSpace(m_bytesToDo);
    if (const std::optional<double> rate = bytesPerSecond())
        text += kSeparator + rateText(*rate);
    if (const std::optional<double> left = secondsLeft())
        text += kSeparator + timeLeftText(*left) + QStringLiteral(" left");
    return text;
}

QString TransferMeter::rateText(double bytesPerSecond) {
    struct Unit {
        double size;
        const char* name;
    };
    static const Unit units[] = {{1e12, "TB/s"}, {1e9, "GB/s"}, {1e6, "MB/s"}, {1e3, "KB/s"}};
    for (const Unit& unit : units) {
        if (bytesPerSecond >= unit.size)
            return QString::number(bytesPerSecond / unit.size, 'f', 1) + QLatin1Char(' ') +
                   QLatin1String(unit.name);
    }
    return QString::number(bytesPerSecond, 'f', 0) + QStringLiteral(" byte/s");
}

QString TransferMeter::timeLeftText(double seconds) {
    const long long s = std::max(1LL, std::llround(seconds));
    if (s < 60)
        return QStringLiteral("about %1 s").arg(s);
    const long long minutes = std::llround(seconds / 60);
    if (minutes < 60)
        return QStringLiteral("about %1 min").arg(minutes);
    // Past an hour, to the nearest ten minutes.
    const long long tens = std::llround(seconds / 600) * 10;
    if (tens % 60 == 0)
        return QStringLiteral("about %1 h").arg(tens / 60);
    return QStringLiteral("about %1 h %2 min").arg(tens / 60).arg(tens % 60);
}

QString TransferMeter::elapsedText(std::int64_t seconds) {
    seconds = std::max<std::int64_t>(0, seconds);
    const std::int64_t h = seconds / 3600;
    const QString mmss =
        QStringLiteral("%1:%2")
            .arg(h > 0 ? QStringLiteral("%1").arg((seconds / 60) % 60, 2, 10, QLatin1Char('0'))
                       : QString::number(seconds / 60))
            .arg(seconds % 60, 2, 10, QLatin1Char('0'));
    return h > 0 ? QString::number(h) + QLatin1Char(':') + mmss : mmss;
}

double TransferMeter::secondsLeftAt(std::int64_t elapsedMs, double fraction) {
    if (fraction <= 0)
        return -1;
    return double(elapsedMs) / 1000.0 * (1.0 - std::min(fraction, 1.0)) / fraction;
}
