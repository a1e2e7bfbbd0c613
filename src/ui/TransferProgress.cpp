#include "ui/TransferProgress.h"

#include "ui/StripedProgressBar.h"

#include <QLabel>
#include <QTimer>

TransferProgress::TransferProgress(StripedProgressBar* bar, QLabel* line, QObject* parent)
    : QObject(parent), m_bar(bar), m_line(line), m_tick(new QTimer(this)) {
    m_tick->setInterval(kTickMs);
    connect(m_tick, &QTimer::timeout, this, [this] {
        if (m_read) {
            const auto [done, toDo] = m_read();
            take(done, toDo);
        } else {
            take(m_meter.bytesDone(), m_meter.bytesToDo());
        }
    });
}

void TransferProgress::start(Reader read) {
    m_read = std::move(read);
    m_clock.start();
    m_meter.start(0);
    m_running = true;
    m_line->setText(QString());
    m_tick->start();
}

void TransferProgress::report(std::int64_t bytesDone, std::int64_t bytesToDo) {
    if (m_running)
        take(bytesDone, bytesToDo);
}

void TransferProgress::stop() {
    m_running = false;
    m_tick->stop();
}

void TransferProgress::clear() {
    stop();
    m_line->setText(QString());
}

void TransferProgress::take(std::int64_t bytesDone, std::int64_t bytesToDo) {
    // The pace is measured from when data begins to move, not from the checks and stages
    // before it.
    if (bytesDone == 0 && m_meter.bytesDone() == 0)
        m_meter.start(m_clock.elapsed(), bytesToDo);
    m_meter.setBytesToDo(bytesToDo);
    m_meter.update(m_clock.elapsed(), bytesDone);
    if (const std::optional<double> fraction = m_meter.fraction())
        m_bar->setDoubleValue(*fraction);
    m_line->setText(m_meter.line());
}
