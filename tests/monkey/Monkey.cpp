#include "Monkey.h"

#include "EmulatedMac.h"
#include "MachineWatch.h"
#include "TreeCompare.h"
#include "UrlCatcher.h"
#include "app/AppDelegate.h"
#include "app/MainWindowController.h"
#include "ui/ElidedLabel.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QDesktopServices>
#include <QDialog>
#include <QDir>
#include <QDirIterator>
#include <QDropEvent>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QUrl>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cxxabi.h>
#include <execinfo.h>
#include <limits>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// Warnings of Qt that mean an object was used after it went away, and every critical message.
QStringList g_qtProblems;
QtMessageHandler g_previousHandler = nullptr;

void watchMessages(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    const QString lower = message.toLower();
    if (type == QtCriticalMsg || type == QtFatalMsg ||
        (type == QtWarningMsg &&
         (lower.contains(QLatin1String("destroyed")) || lower.contains(QLatin1String("deleted")) ||
          lower.contains(QLatin1String("dangling")))))
        g_qtProblems << message;
    if (g_previousHandler)
        g_previousHandler(type, context, message);
}

// The main thread's stack as a late tick's watcher asks for it (SIGUSR2): taken in the handler,
// named outside it.
std::atomic<int> g_frameCount{-1};
void* g_frames[48];

void takeFrames(int) {
    g_frameCount = backtrace(g_frames, 48);
}

QString nameFrame(const char* symbol) {
    // "library(mangled+0x12) [0x...]": the library's file name and the demangled function.
    const QString text = QString::fromLocal8Bit(symbol);
    const qsizetype open = text.indexOf(QLatin1Char('(')), plus = text.indexOf(QLatin1Char('+'), open);
    const QString library = text.left(open).section(QLatin1Char('/'), -1);
    if (open < 0 || plus <= open + 1)
        return library;
    const QByteArray mangled = text.mid(open + 1, plus - open - 1).toLatin1();
    int status = 0;
    char* plain = abi::__cxa_demangle(mangled.constData(), nullptr, nullptr, &status);
    const QString function = status == 0 && plain ? QString::fromLatin1(plain) : QString::fromLatin1(mangled);
    std::free(plain);
    return function.left(90);
}

// Words of the controls that back out rather than agree, as whole words: "Eject Backup" agrees.
bool backsOut(const QString& name) {
    static const QRegularExpression words(
        QStringLiteral("\\b(cancel|close|later|don't|remove|stop|back|help)\\b|\\bshow "),
        QRegularExpression::CaseInsensitiveOption);
    return words.match(name).hasMatch();
}

QString describe(QAccessibleInterface* i) {
    return QStringLiteral("%1 \"%2\"").arg(QString::number(int(i->role()), 16), i->text(QAccessible::Name));
}

// The texts a widget shows: labels (whole, not shortened), fields and its controls' names.
QString shownTexts(QWidget* w) {
    QStringList texts{w->accessibleName()};
    for (QLabel* label : w->findChildren<QLabel*>()) {
        if (!label->isVisible())
            continue;
        auto* elided = qobject_cast<ElidedLabel*>(label);
        texts << (elided ? elided->fullText() : label->text());
    }
    for (QLineEdit* field : w->findChildren<QLineEdit*>())
        if (field->isVisible())
            texts << field->text();
    for (QWidget* child : w->findChildren<QWidget*>())
        if (child->isVisible() && !child->accessibleName().isEmpty())
            texts << child->accessibleName();
    return texts.join(QLatin1Char('\n'));
}

const QStringList kHostileNames = {
    QStringLiteral(""),
    QStringLiteral(" "),
    QStringLiteral("a/b"),
    QStringLiteral("a:b"),
    QStringLiteral("../../etc"),
    QStringLiteral("\"quoted\" $(rm -rf /) `x` ;|&"),
    QStringLiteral("back\\slash*?<>|"),
    QStringLiteral("tab\tnew\nline"),
    QStringLiteral(".hidden"),
    QStringLiteral("lower case"),
    QStringLiteral("\u00c9t\u00e9 \u65e5\u672c \U0001F4BE"),
    QStringLiteral("e\u0301\u200b\u202eRTL"),
    QStringLiteral("NEW"),
    QStringLiteral("STICK"),
};

const QStringList kDisks = {
    QStringLiteral(
        R"({"mediaName":"Kingston DT","size":"32GB","scheme":"MBR","partitions":[{"fs":"FAT32","name":"KINGSTON","seed":{"files":4,"size":2000,"seed":21}}]})"),
    QStringLiteral(
        R"({"mediaName":"Lexar JumpDrive","size":"64GB","scheme":"GPT","partitions":[{"fs":"ExFAT","name":"LEXAR","seed":{"files":3,"size":3000,"seed":22}}]})"),
    QStringLiteral(
        R"({"mediaName":"Crucial X6","size":"500GB","scheme":"GPT","removable":false,"partitions":[{"fs":"JHFS+","name":"Crucial Backup","seed":{"files":5,"folders":2,"depth":2,"size":5000,"seed":23}}]})"),
    QStringLiteral(R"({"mediaName":"Blank Stick","size":"8GB","scheme":"MBR","partitions":[{}]})"),
    QStringLiteral(
        R"({"mediaName":"Odd \"Names\" Drive","size":"16GB","scheme":"MBR","partitions":[{"fs":"FAT32","name":"A:B","seed":{"files":2,"size":100,"seed":24}}]})"),
    QStringLiteral(
        R"({"mediaName":"","size":"4GB","scheme":"GPT","partitions":[{"fs":"APFS","volumes":[{"name":"Fast Volume With A Really Quite Long Name That Goes On"}]}]})"),
    QStringLiteral(
        R"({"mediaName":"Tiny Card","size":"200MB","scheme":"MBR","partitions":[{"fs":"FAT16","name":"TINY"}]})"),
};

} // namespace

StallMeter::StallMeter() : m_mainTid(::syscall(SYS_gettid)) {
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.setInterval(kIntervalMs);
    connect(&m_timer, &QTimer::timeout, this, &StallMeter::tick);
    m_clock.start();
    m_timer.start();
    // backtrace loads its unwinder on the first call: not in a signal handler.
    void* warm[2];
    backtrace(warm, 2);
    struct sigaction action = {};
    action.sa_handler = takeFrames;
    action.sa_flags = SA_RESTART;
    sigaction(SIGUSR2, &action, nullptr);
    m_mainThread = pthread_self();
    m_watcher = std::thread([this] { watch(); });
}

StallMeter::~StallMeter() {
    m_stop = true;
    m_watcher.join();
}

void StallMeter::watch() {
    const QString task = QStringLiteral("/proc/self/task/%1/").arg(m_mainTid);
    const auto read = [&](const char* name) {
        QFile f(task + QLatin1String(name));
        return f.open(QIODevice::ReadOnly) ? QString::fromLatin1(f.readAll()).trimmed() : QString();
    };
    while (!m_stop) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        if (!m_running || m_clock.nsecsElapsed() - m_beatNs < 150'000'000)
            continue;
        // The call's number and the function it sleeps in; "running" when it computes.
        QString seen =
            QStringLiteral("%1 / %2").arg(read("syscall").section(QLatin1Char(' '), 0, 0), read("wchan"));
        // Once a late gap, past 200 ms: the functions it is in, innermost first.
        if (m_clock.nsecsElapsed() - m_beatNs > 200'000'000 && m_stackBeat != m_beatNs) {
            m_stackBeat = qint64(m_beatNs);
            g_frameCount = -1;
            pthread_kill(m_mainThread, SIGUSR2);
            for (int i = 0; i < 50 && g_frameCount < 0; ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            if (const int n = g_frameCount; n > 0) {
                char** symbols = backtrace_symbols(g_frames, n);
                QStringList names;
                for (int i = 2; i < n && names.size() < 14; ++i)
                    if (const QString name = nameFrame(symbols[i]);
                        !name.startsWith(QLatin1String("libasan")))
                        names << name;
                std::free(symbols);
                seen += QStringLiteral(" [") + names.join(QStringLiteral(" < ")) + QLatin1Char(']');
            }
        }
        const std::lock_guard<std::mutex> locked(m_seenLock);
        if (!m_seen.contains(seen))
            m_seen += (m_seen.isEmpty() ? QString() : QStringLiteral(", ")) + seen;
    }
}

QString StallMeter::takeSeen() {
    const std::lock_guard<std::mutex> locked(m_seenLock);
    return std::exchange(m_seen, QString());
}

StallMeter::Sched StallMeter::readSched() const {
    // The run-queue wait of every thread of the process (the main thread also waits for helpers,
    // Qt's image threads and the engines' workers, that are themselves waiting for a CPU), and
    // the time the main thread itself ran.
    // The main thread's own file comes last: a wait for a CPU while reading the others is then
    // in this reading, and the caller reads the clock after it.
    Sched sched;
    const QDir tasks(QStringLiteral("/proc/self/task"));
    QStringList names = tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    names.removeAll(QString::number(m_mainTid));
    names << QString::number(m_mainTid);
    for (const QString& task : std::as_const(names)) {
        QFile f(tasks.filePath(task) + QStringLiteral("/schedstat"));
        if (!f.open(QIODevice::ReadOnly))
            continue;
        const QList<QByteArray> fields = f.readAll().split(' ');
        sched.waitNs.insert(task.toLong(), fields.value(1).toLongLong());
        if (task.toLong() == m_mainTid)
            sched.mainRunNs = fields.value(0).toLongLong();
    }
    // The machine is virtual: while its host runs something else on a CPU, the "steal" column of
    // /proc/stat grows (in clock ticks) and no thread of the machine waits on that CPU's run queue.
    QFile stat(QStringLiteral("/proc/stat"));
    if (stat.open(QIODevice::ReadOnly)) {
        const qint64 nsPerTick = 1'000'000'000 / ::sysconf(_SC_CLK_TCK);
        for (const QByteArray& line : stat.readAll().split('\n')) {
            const QList<QByteArray> fields = line.simplified().split(' ');
            if (fields.size() > 8 && fields[0].startsWith("cpu") && fields[0].size() > 3)
                sched.stealNs << fields[8].toLongLong() * nsPerTick;
        }
    }
    return sched;
}

void StallMeter::pause() {
    if (!m_paused)
        tick();
    m_paused = true;
    m_running = false;
}

void StallMeter::resume() {
    if (!m_paused)
        return;
    m_paused = false;
    m_lastSched = readSched();
    m_last = m_clock.nsecsElapsed();
    m_beatNs = m_last;
    takeSeen();
    m_running = true;
}

void StallMeter::tick() {
    if (m_paused)
        return;
    // The clock after the reading: the gap then ends where the waits were read.
    const Sched sched = readSched();
    const qint64 now = m_clock.nsecsElapsed();
    const qint64 rawMs = (now - m_last) / 1000000 - kIntervalMs;
    // Thread by thread: one that ended takes its waits with it, and must not cancel the waits of
    // the others (the main thread's own among them); one that began waited all its waits here.
    qint64 waited = 0;
    for (auto it = sched.waitNs.cbegin(); it != sched.waitNs.cend(); ++it)
        waited += it.value() - m_lastSched.waitNs.value(it.key());
    // Time the host held all the CPUs at once (the least any of them lost) stopped every thread
    // here, the main thread too, without a wait on a run queue.
    qint64 stolen = 0;
    if (!sched.stealNs.isEmpty() && sched.stealNs.size() == m_lastSched.stealNs.size()) {
        stolen = std::numeric_limits<qint64>::max();
        for (qsizetype cpu = 0; cpu < sched.stealNs.size(); ++cpu)
            stolen = std::min(stolen, sched.stealNs[cpu] - m_lastSched.stealNs[cpu]);
    }
    waited = std::clamp<qint64>(waited + std::max<qint64>(stolen, 0), 0, now - m_last);
    const qint64 stallMs = (now - m_last - waited) / 1000000 - kIntervalMs;
    const QString seen = takeSeen();
    if (stallMs > m_worst) {
        m_worst = stallMs;
        m_worstCpu = (sched.mainRunNs - m_lastSched.mainRunNs) / 1000000;
        m_worstStolen = stolen / 1000000;
        m_worstSeen = seen;
    }
    m_beatNs = now;
    m_last = now;
    m_lastSched = sched;
    m_worstEver = std::max(m_worstEver, stallMs);
    m_worstRawEver = std::max(m_worstRawEver, rawMs);
}

qint64 StallMeter::takeWorst() {
    const qint64 w = m_worst;
    m_worst = 0;
    m_worstCpu = 0;
    m_worstStolen = 0;
    m_worstSeen.clear();
    return w;
}

Monkey::Monkey(quint32 seed, int actions, const QString& actionFile)
    : m_seed(seed), m_actions(actions), m_rng(seed), m_log(actionFile) {
    m_stepTimer.setSingleShot(true);
    connect(&m_stepTimer, &QTimer::timeout, this, &Monkey::step);
}

Monkey::~Monkey() = default;

void Monkey::record(const QString& line) {
    const QString full = QStringLiteral("%1 %2").arg(m_done).arg(line);
    m_history << full;
    m_log.write(full.toUtf8() + '\n');
    m_log.flush();
}

void Monkey::fail(const QString& why) {
    if (m_result >= 0)
        return;
    m_result = 1;
    std::fprintf(stderr, "monkey: FAILED at action %d (seed %u): %s\n", m_done, m_seed, qPrintable(why));
    std::fprintf(stderr, "monkey: the actions so far are in %s; run again with: scripts/monkey %u %d\n",
                 qPrintable(m_log.fileName()), m_seed, m_done);
    record(QStringLiteral("FAILED ") + why);
    // The application is left as it is: no teardown that could hide or blur what went wrong.
    std::fflush(stderr);
    std::_Exit(1);
}

QString Monkey::emuctl(const QStringList& args) {
    const EmulatedMac::Run r = m_mac->emuctl(args);
    return QString::fromUtf8(r.out).trimmed() +
           (r.code == 0 ? QString() : QStringLiteral(" [exit %1]").arg(r.code));
}

int Monkey::run() {
    g_previousHandler = qInstallMessageHandler(watchMessages);
    if (!m_log.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        std::fprintf(stderr, "monkey: cannot write %s\n", qPrintable(m_log.fileName()));
        return 2;
    }
    m_mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    if (!m_mac || !m_mac->isValid()) {
        std::fprintf(stderr, "monkey: no emulated Mac: %s\n", m_mac ? qPrintable(m_mac->error()) : "");
        return 2;
    }
    // No browser, no real web site: the addresses are caught, the service is a closed port.
    UrlCatcher urls;
    for (const QString& scheme : {QStringLiteral("http"), QStringLiteral("https"), QStringLiteral("mailto")})
        QDesktopServices::setUrlHandler(scheme, &urls, "openUrl");
    qputenv("TAVRILL_SERVICE_ORIGIN", "http://127.0.0.1:9");

    m_watch = std::make_unique<MachineWatch>(*m_mac);
    QTemporaryDir snapshot;
    if (!m_watch->snapshot(snapshot.path())) {
        std::fprintf(stderr, "monkey: cannot copy the volumes aside\n");
        return 2;
    }
    QElapsedTimer clock;
    clock.start();
    launch();
    m_meter.resume();
    m_stepTimer.start(300);
    QApplication::exec();
    if (m_result < 0)
        m_result = 0;
    std::fprintf(
        stderr,
        "monkey: seed %u, %d actions, %d changed the machine, %d destructive tool calls, %d launches, "
        "worst stall %lld ms (raw lateness %lld ms), %.1f s: %s\n",
        m_seed, m_done, m_machineChanges, m_watch->destructiveCalls(), m_launches, m_meter.worstEverMs(),
        m_meter.worstRawMs(), clock.elapsed() / 1000.0, m_result == 0 ? "passed" : "FAILED");
    return m_result;
}

void Monkey::launch() {
    ++m_launches;
    m_exitRequested = false;
    m_app = std::make_unique<AppDelegate>();
    if (!m_app->applicationDidFinishLaunching()) {
        fail(QStringLiteral("the application did not start"));
        return;
    }
    m_app->mainWindowController()->setProcessExit([this](int code) {
        // The process would be gone from here on: what its objects still do is not a stall.
        m_meter.pause();
        record(QStringLiteral("the application ends with status %1").arg(code));
        m_exitRequested = true;
    });
    // Modal windows of the menu run as they would; the monkey answers them like any window.
    record(QStringLiteral("launch"));
    // Starting is not an answer to a user: the window's first showing and painting come before
    // the meter runs again.
    QWidget* window = m_app->mainWindowController()->window();
    if (!window || !QTest::qWaitForWindowExposed(window))
        fail(QStringLiteral("the window did not show within 5 s of the start"));
    QCoreApplication::processEvents();
}

QList<QAccessibleInterface*> Monkey::reachable() const {
    QList<QWidget*> roots;
    if (QWidget* popup = QApplication::activePopupWidget())
        roots << popup;
    else if (QWidget* modal = QApplication::activeModalWidget())
        roots << modal;
    else
        for (QWidget* w : QApplication::topLevelWidgets())
            if (w->isVisible())
                roots << w;
    QList<QAccessibleInterface*> out;
    std::function<void(QAccessibleInterface*, int)> walk = [&](QAccessibleInterface* i, int depth) {
        if (!i || !i->isValid() || depth > 40)
            return;
        const QAccessible::State s = i->state();
        if (s.invisible)
            return;
        out << i;
        // Item views: the first rows are enough to reach.
        const int n = std::min(i->childCount(), 60);
        for (int c = 0; c < n; ++c)
            walk(i->child(c), depth + 1);
    };
    for (QWidget* root : roots)
        walk(QAccessible::queryAccessibleInterface(root), 0);
    return out;
}

void Monkey::confirmFrom(QWidget* widget, const QString& ownName) {
    if (backsOut(ownName))
        return;
    // The closest texts that name a volume: the control's own name, then its row, its panel...
    QStringList ids = m_watch->confirm(ownName, m_done, 60);
    for (QWidget* w = widget ? widget->parentWidget() : nullptr; ids.isEmpty() && w; w = w->parentWidget())
        ids = m_watch->confirm(shownTexts(w), m_done, 60);
    if (!ids.isEmpty())
        record(QStringLiteral("  confirms %1").arg(ids.join(QLatin1Char(' '))));
}

bool Monkey::pressSomething() {
    QList<QAccessibleInterface*> candidates;
    for (QAccessibleInterface* i : reachable()) {
        if (i->state().disabled)
            continue;
        QAccessibleActionInterface* a = i->actionInterface();
        if (!a)
            continue;
        QStringList names = a->actionNames();
        names.removeAll(QAccessibleActionInterface::setFocusAction());
        if (!names.isEmpty())
            candidates << i;
    }
    if (candidates.isEmpty())
        return false;
    QAccessibleInterface* i = candidates.at(pick(int(candidates.size())));
    QStringList names = i->actionInterface()->actionNames();
    names.removeAll(QAccessibleActionInterface::setFocusAction());
    const QString action = names.at(pick(int(names.size())));
    record(QStringLiteral("%1 %2").arg(action, describe(i)));
    auto* widget = qobject_cast<QWidget*>(i->object());
    if (action == QAccessibleActionInterface::pressAction() ||
        action == QAccessibleActionInterface::toggleAction())
        confirmFrom(widget, i->text(QAccessible::Name));
    m_meter.resume();
    i->actionInterface()->doAction(action);
    return true;
}

bool Monkey::pressNamed(const QString& prefix) {
    QList<QAccessibleInterface*> found;
    for (QAccessibleInterface* i : reachable())
        if (!i->state().disabled && i->text(QAccessible::Name).startsWith(prefix) && i->actionInterface())
            found << i;
    if (found.isEmpty())
        return false;
    QAccessibleInterface* i = found.at(pick(int(found.size())));
    record(QStringLiteral("press %1").arg(describe(i)));
    confirmFrom(qobject_cast<QWidget*>(i->object()), i->text(QAccessible::Name));
    m_meter.resume();
    i->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    return true;
}

bool Monkey::keyPress() {
    // An open menu takes the keys, so Escape can back out of it as it would for a user.
    QWidget* target = QApplication::activePopupWidget();
    if (!target)
        target = QApplication::focusWidget();
    if (!target)
        target = QApplication::activeModalWidget() ? QApplication::activeModalWidget()
                                                   : QApplication::activeWindow();
    if (!target)
        return false;
    static const QList<std::pair<Qt::Key, const char*>> keys = {
        {Qt::Key_Tab, "Tab"},     {Qt::Key_Tab, "Tab"},       {Qt::Key_Backtab, "Shift+Tab"},
        {Qt::Key_Space, "Space"}, {Qt::Key_Return, "Return"}, {Qt::Key_Escape, "Escape"},
        {Qt::Key_Down, "Down"},   {Qt::Key_Up, "Up"},         {Qt::Key_Left, "Left"},
        {Qt::Key_Right, "Right"}};
    const auto& [key, name] = keys.at(pick(int(keys.size())));
    record(QStringLiteral("key %1 on %2 \"%3\"")
               .arg(QLatin1String(name), QLatin1String(target->metaObject()->className()),
                    target->accessibleName()));
    if (key == Qt::Key_Space || key == Qt::Key_Return) {
        const bool acts = (qobject_cast<QAbstractButton*>(target) != nullptr) ||
                          (key == Qt::Key_Return && qobject_cast<QLineEdit*>(target));
        if (acts || target->inherits("PressableView"))
            confirmFrom(target, target->accessibleName().isEmpty() ? QString() : target->accessibleName());
    }
    m_meter.resume();
    safeKey(target, key, key == Qt::Key_Backtab ? Qt::ShiftModifier : Qt::NoModifier);
    return true;
}

void Monkey::safeKey(const QPointer<QWidget>& target, Qt::Key key, Qt::KeyboardModifiers modifiers) {
    // Press and release as two events: the press may close the window that had the focus.
    if (target)
        QTest::keyPress(target.data(), key, modifiers);
    if (target)
        QTest::keyRelease(target.data(), key, modifiers);
}

QString Monkey::randomName() {
    switch (pick(4)) {
    case 0:
        return QString(pick(2) ? 300 : 40, QLatin1Char("AbX9_ -."[pick(8)]));
    case 1: {
        QString s;
        for (int n = pick(20) + 1; n > 0; --n)
            s += QChar(0x20 + pick(0x5f));
        return s;
    }
    default:
        return kHostileNames.at(pick(int(kHostileNames.size())));
    }
}

bool Monkey::typeText() {
    QList<QAccessibleInterface*> fields;
    for (QAccessibleInterface* i : reachable())
        if (i->role() == QAccessible::EditableText && !i->state().disabled && !i->state().readOnly)
            fields << i;
    if (fields.isEmpty())
        return false;
    QAccessibleInterface* i = fields.at(pick(int(fields.size())));
    auto* field = qobject_cast<QWidget*>(i->object());
    if (!field)
        return false;
    const QString text = randomName();
    record(QStringLiteral("type %1 chars into %2: %3")
               .arg(text.size())
               .arg(describe(i), QString::fromLatin1(text.left(60).toUtf8().toPercentEncoding(" "))));
    const bool selectAll = pick(3) == 0;
    const bool thenReturn = pick(2) == 0;
    if (thenReturn) {
        record(QStringLiteral("  then Return"));
        confirmFrom(field, field->accessibleName());
    }
    m_meter.resume();
    // Key by key, as typed: a field that goes away in between gets no more keys.
    const QPointer<QWidget> guard(field);
    field->setFocus();
    if (selectAll)
        safeKey(guard, Qt::Key_A, Qt::ControlModifier);
    // Each key is measured on its own: a person's keys come apart, not 300 in one go.
    for (qsizetype at = 0; at < text.size() && guard; ++at) {
        const qsizetype n = text.at(at).isHighSurrogate() && at + 1 < text.size() ? 2 : 1;
        m_meter.resume();
        if (const QChar c = text.at(at); c.unicode() < 0x20 || c.unicode() > 0x7e) {
            // No key types a tab or a line feed into a field, and Qt's test keyboard knows ASCII
            // only (it asserts on "é"): the event carries the text, as a paste or an input
            // method's would (the Tab key itself is one of the keys pressed on their own).
            QKeyEvent press(QEvent::KeyPress, Qt::Key_unknown, Qt::NoModifier, text.mid(at, n));
            QApplication::sendEvent(guard.data(), &press);
        } else {
            QTest::keyClicks(guard.data(), text.mid(at, n));
        }
        m_meter.pause();
        at += n - 1;
    }
    m_meter.resume();
    if (thenReturn && guard && guard->isVisible())
        safeKey(guard, Qt::Key_Return, Qt::NoModifier);
    return true;
}

QStringList Monkey::randomHostFiles(int count) {
    QStringList all;
    for (const QString& top : {QStringLiteral("/Users/alex"), QStringLiteral("/Volumes")}) {
        QDirIterator it(m_mac->host(top), QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden,
                        QDirIterator::Subdirectories);
        while (it.hasNext() && all.size() < 400) {
            const QString path = it.next();
            if (!path.contains(QLatin1String("/Volumes/Macintosh HD")))
                all << path;
        }
    }
    QStringList picked;
    for (int n = 0; n < count && !all.isEmpty(); ++n)
        picked << all.at(pick(int(all.size())));
    if (pick(6) == 0)
        picked << m_mac->host(QStringLiteral("/Users/alex/gone-") + QString::number(pick(1000)));
    return picked;
}

bool Monkey::dropFiles() {
    QList<QWidget*> targets;
    for (QAccessibleInterface* i : reachable()) {
        auto* w = qobject_cast<QWidget*>(i->object());
        if (w && w->inherits("DragView") && w->acceptDrops() && w->isVisible())
            targets << w;
    }
    if (targets.isEmpty())
        return false;
    QWidget* target = targets.at(pick(int(targets.size())));
    const QStringList files = randomHostFiles(pick(3) + 1);
    record(QStringLiteral("drop on \"%1\": %2")
               .arg(target->accessibleName(), files.join(QStringLiteral(" | "))));
    QMimeData data;
    QList<QUrl> urls;
    for (const QString& f : files)
        urls << QUrl::fromLocalFile(f);
    data.setUrls(urls);
    m_meter.resume();
    const QPointF at(target->width() / 2.0, target->height() / 2.0);
    const QPointer<QWidget> guard(target);
    QDragEnterEvent enter(at.toPoint(), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &enter);
    if (!guard)
        return true;
    QDropEvent drop(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &drop);
    return true;
}

bool Monkey::machineEvent() {
    m_meter.pause();
    QString what;
    const QList<MachineWatch::Volume> volumes = m_watch->volumes();
    QStringList mounted;
    for (const MachineWatch::Volume& v : volumes)
        if (!v.whole && v.mounted && v.mountPoint.startsWith(QLatin1String("/Volumes/")) &&
            v.name != QLatin1String("Macintosh HD"))
            mounted << v.name;
    // A Mac has only so many ports: at that many plugged disks a plug becomes a pull, so the
    // number stays that of a desk with a hub, not one that grows with the run's length.
    constexpr int kMaxPlugged = 10;
    int roll = pick(9);
    if (roll < 2 && m_pluggedDisks.size() >= kMaxPlugged)
        roll = 2;
    switch (roll) {
    case 0:
    case 1: {
        QString disk = kDisks.at(pick(int(kDisks.size())));
        disk.insert(1, QStringLiteral("\"name\":\"m%1\",").arg(++m_nextDisk));
        what = QStringLiteral("plug m%1: %2").arg(m_nextDisk).arg(emuctl({QStringLiteral("plug"), disk}));
        m_pluggedDisks << QStringLiteral("m%1").arg(m_nextDisk);
        break;
    }
    case 2: {
        QStringList pullable = m_pluggedDisks;
        pullable << QStringLiteral("stick") << QStringLiteral("small");
        const QString disk = pullable.at(pick(int(pullable.size())));
        what = QStringLiteral("unplug %1: %2").arg(disk, emuctl({QStringLiteral("unplug"), disk}));
        m_pluggedDisks.removeAll(disk);
        break;
    }
    case 3:
        if (mounted.isEmpty())
            break;
        {
            const QString volume = mounted.at(pick(int(mounted.size())));
            what = QStringLiteral("busy %1: %2")
                       .arg(volume, emuctl({QStringLiteral("busy"), volume,
                                            QString::number(2000 + pick(5000)), QStringLiteral("/bin/zsh")}));
            m_busyVolumes << volume;
        }
        break;
    case 4:
        if (m_busyVolumes.isEmpty())
            break;
        {
            const QString volume = m_busyVolumes.takeAt(pick(int(m_busyVolumes.size())));
            what = QStringLiteral("release %1: %2").arg(volume, emuctl({QStringLiteral("release"), volume}));
        }
        break;
    case 5:
    case 6: {
        static const QStringList tools = {QStringLiteral("diskutil"), QStringLiteral("diskutil"),
                                          QStringLiteral("hdiutil"), QStringLiteral("zip")};
        static const QStringList verbs = {
            QStringLiteral("info"),   QStringLiteral("list"),   QStringLiteral("eraseVolume"),
            QStringLiteral("rename"), QStringLiteral("eject"),  QStringLiteral("unmount"),
            QStringLiteral("create"), QStringLiteral("attach"), QString()};
        static const QStringList modes = {QStringLiteral("silent"), QStringLiteral("garbage"),
                                          QStringLiteral("truncated"), QStringLiteral("hang"),
                                          QStringLiteral("fail")};
        QJsonObject fault{{QStringLiteral("tool"), tools.at(pick(int(tools.size())))},
                          {QStringLiteral("mode"), modes.at(pick(int(modes.size())))},
                          {QStringLiteral("times"), pick(3) + 1}};
        const QString verb = verbs.at(pick(int(verbs.size())));
        if (!verb.isEmpty())
            fault.insert(QStringLiteral("verb"), verb);
        if (fault.value(QStringLiteral("mode")).toString() == QLatin1String("hang"))
            fault.insert(QStringLiteral("seconds"), pick(4) + 1);
        const QString json = QString::fromUtf8(QJsonDocument(fault).toJson(QJsonDocument::Compact));
        what = QStringLiteral("fault %1: %2").arg(json, emuctl({QStringLiteral("fault"), json}));
        break;
    }
    case 7:
        what = QStringLiteral("clear-faults: %1").arg(emuctl({QStringLiteral("clear-faults")}));
        break;
    case 8: {
        static const QStringList answers = {QStringLiteral("approve"), QStringLiteral("approve"),
                                            QStringLiteral("deny"), QStringLiteral("cancel")};
        const QString answer = answers.at(pick(int(answers.size())));
        what = QStringLiteral("authorize %1: %2").arg(answer, emuctl({QStringLiteral("authorize"), answer}));
        if (pick(2) == 0)
            what += QStringLiteral("; asr failAt: ") +
                    emuctl({QStringLiteral("asr"), QStringLiteral("failAt"), QString::number(pick(101))});
        break;
    }
    }
    m_meter.resume();
    if (what.isEmpty())
        return false;
    ++m_machineChanges;
    record(QStringLiteral("machine ") + what);
    return true;
}

bool Monkey::closeWindow() {
    return pressNamed(QStringLiteral("Close the window"));
}

void Monkey::step() {
    if (m_result >= 0 || (m_ending && !m_exitRequested))
        return;
    check();
    if (m_result >= 0)
        return;
    if (m_exitRequested) {
        // The process would end here; the next launch starts once no window's own loop runs.
        if (QThread::currentThread()->loopLevel() > 1) {
            // Windows that hold their own loop would have gone with the process: closed here, as
            // nobody is left to answer them.
            if (++m_loopWaits > 400) {
                fail(QStringLiteral("a window's own loop went on for 20 s after the application ended"));
                return;
            }
            // A dialog ends at once, as with the process: its own way out may take its time (the
            // update window fades out, and each reject would start the fade again).
            if (QWidget* popup = QApplication::activePopupWidget())
                popup->close();
            else if (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget()))
                dialog->done(QDialog::Rejected);
            m_stepTimer.start(50);
            return;
        }
        m_loopWaits = 0;
        m_meter.pause();
        waitUntilToolsEnd();
        const QStringList problems = m_watch->endProblems(runningTools());
        if (!problems.isEmpty()) {
            fail(problems.join(QStringLiteral("; ")));
            return;
        }
        m_app.reset();
        if (m_ending) {
            QCoreApplication::exit(0);
            return;
        }
        launch();
        m_meter.resume();
        m_stepTimer.start(300);
        return;
    }
    if (m_done >= m_actions) {
        finish();
        return;
    }
    ++m_done;
    // The action runs from the event loop, so that a window it opens with its own loop leaves
    // the monkey free to go on inside that loop, as a user would.
    QTimer::singleShot(0, this, &Monkey::act);
    m_stepTimer.start(10 + pick(90));
}

void Monkey::act() {
    if (m_result >= 0 || m_exitRequested)
        return;
    // Finding a control is the monkey's time; each action resumes the meter as it hands over.
    m_meter.pause();
    const int roll = pick(100);
    bool done = false;
    if (roll < 45)
        done = pressSomething();
    else if (roll < 55)
        done = keyPress();
    else if (roll < 63)
        done = typeText();
    else if (roll < 69)
        done = dropFiles();
    else if (roll < 77)
        done = pressNamed(QStringLiteral("Show "));
    else if (roll < 92)
        done = machineEvent();
    else if (roll < 99) {
        const int ms = 100 + pick(900);
        record(QStringLiteral("wait %1 ms").arg(ms));
        m_stepTimer.start(ms);
        done = true;
    } else
        done = closeWindow();
    if (!done)
        record(QStringLiteral("nothing to do for roll %1").arg(roll));
    m_meter.resume();
}

void Monkey::check() {
    m_meter.pause();
    if (!g_qtProblems.isEmpty()) {
        fail(QStringLiteral("Qt said: ") + g_qtProblems.join(QStringLiteral(" | ")));
        return;
    }
    const QStringList calls = m_watch->checkNewCalls(m_done);
    if (!calls.isEmpty()) {
        fail(calls.join(QStringLiteral("; ")));
        return;
    }
    checkStaleEjectQuestions();
    if (m_result >= 0)
        return;
    m_meter.resume();
    const qint64 onCpu = m_meter.worstOnCpuMs();
    const qint64 stolen = m_meter.worstStolenMs();
    const QString seenIn = m_meter.worstSeenIn();
    const qint64 stall = m_meter.takeWorst();
    if (stall > 250)
        fail(QStringLiteral("the main thread stalled for %1 ms (it ran for %2 ms of it, the host held "
                            "every CPU for %3 ms besides; seen in: %4)")
                 .arg(stall)
                 .arg(onCpu)
                 .arg(stolen)
                 .arg(seenIn.isEmpty() ? QStringLiteral("-") : seenIn));
}

void Monkey::checkStaleEjectQuestions() {
    // A question that a volume is in use, or whether to force its eject, has nothing to ask once
    // the volume is gone; a moment to close is fine, three looks are not. Both questions name the
    // volume in quotes in their title, which also tells a one-letter name from any other letter.
    QStringList mounted;
    for (const MachineWatch::Volume& v : m_watch->volumes())
        if (!v.whole && v.mounted && !v.name.isEmpty())
            mounted << QStringLiteral("“%1”").arg(v.name);
    bool stale = false;
    for (QWidget* top : QApplication::topLevelWidgets()) {
        for (QWidget* w : top->findChildren<QWidget*>()) {
            if (!w->isVisible() || (w->objectName() != QLatin1String("volumeInUse") &&
                                    w->objectName() != QLatin1String("forceEject")))
                continue;
            const QString texts = shownTexts(w);
            if (std::none_of(mounted.begin(), mounted.end(),
                             [&](const QString& n) { return texts.contains(n); }))
                stale = true;
        }
    }
    m_staleQuestionLooks = stale ? m_staleQuestionLooks + 1 : 0;
    if (m_staleQuestionLooks >= 3)
        fail(QStringLiteral("an eject question about a volume that is no longer mounted stays visible"));
}

void Monkey::waitUntilToolsEnd() {
    QElapsedTimer t;
    t.start();
    while (!runningTools().isEmpty() && t.elapsed() < 3000)
        QThread::msleep(100);
}

QList<qint64> Monkey::runningTools() const {
    // caffeinate -w waits for the process to end, which here goes on after the application.
    QList<qint64> pids;
    for (const QString& tool : {QStringLiteral("diskutil"), QStringLiteral("asr"), QStringLiteral("hdiutil"),
                                QStringLiteral("zip"), QStringLiteral("osascript"), QStringLiteral("killall"),
                                QStringLiteral("chmod"), QStringLiteral("sw_vers")})
        pids += m_mac->runningCallPids(tool);
    return pids;
}

void Monkey::finish() {
    // Back out of every window that holds its own loop, then close; "Stop and Quit" when asked.
    if (!m_ending) {
        m_ending = true;
        m_endClock.start();
        record(QStringLiteral("finish"));
    }
    if (m_result >= 0)
        return;
    check();
    if (m_exitRequested || !m_app) {
        step();
        return;
    }
    if (m_endClock.elapsed() > 120000) {
        fail(QStringLiteral("the application did not end within 120 s of closing"));
        return;
    }
    if (QWidget* popup = QApplication::activePopupWidget()) {
        record(QStringLiteral("key Escape on the open menu"));
        safeKey(popup, Qt::Key_Escape, Qt::NoModifier);
    } else if (++m_endTries > 40) {
        // No close button within reach after many tries: quit as the system's menu would.
        record(QStringLiteral("quit through the window's controller"));
        m_app->mainWindowController()->closeWindow();
    } else if (!pressNamed(QStringLiteral("Stop and Quit")) && !closeWindow() &&
               !pressNamed(QStringLiteral("Cancel")) && !pressNamed(QStringLiteral("Close")) &&
               !pressNamed(QStringLiteral("OK")) && !pressNamed(QStringLiteral("Done"))) {
        keyPress();
    }
    QTimer::singleShot(500, this, &Monkey::finish);
}
