#include "update/QvCheckUpdateWindowController.h"

#include "core/ConsoleLog.h"
#include "core/MainThread.h"
#include "core/QvPublicUtilities.h"
#include "core/WorkerPool.h"
#include "ui/BackgroundView.h"
#include "ui/FlatButton.h"
#include "ui/ImageView.h"
#include "ui/KitStyle.h"
#include "ui/StripedProgressBar.h"
#include "ui/TitleBarView.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QDesktopServices>
#include <QFontMetrics>
#include <QLabel>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPropertyAnimation>
#include <QScrollArea>
#include <QScrollBar>
#include <QThreadPool>
#include <QTimer>

#include <algorithm>
#include <limits>

namespace {

// The window's own texts.
const char* const kWindowTitle = "Software Update";
const char* const kChecking = "Checking for updates\u2026";
const char* const kNoNetworkTitle = "No Internet Connection";
const char* const kNoNetworkDetail =
    "Tavrill could not reach the Internet. Check your network connection and try again.";
const char* const kNoUpdateTitle = "Tavrill Is Up to Date";
const char* const kNoUpdateDetail = "There is no newer version of Tavrill.";
const char* const kNewFeatures = "New features of version %1:";
const char* const kInstallNow = "Install Now";
const char* const kLater = "Later";
const char* const kOk = "OK";

constexpr int kWindowWidth = 480;
constexpr int kWindowHeight = 330;
constexpr int kTitleBarHeight = 38;
constexpr int kBodyHeight = kWindowHeight - kTitleBarHeight;
constexpr int kMargin = 23;
constexpr int kListBorder = 5;

// Rows of the list: at least this high, measured at these widths and sizes.
constexpr int kListRowMinimum = 30;
constexpr int kListMeasureWidth = 200;
constexpr double kListMeasurePoints = 10;
constexpr int kLineMinimum = 20;
constexpr int kLineMeasureWidth = 400;
constexpr double kLinePoints = 12;
// Room between the list's edge and its text; the text stays at least as wide as it was measured.
constexpr int kLineIndent = QvCheckUpdateWindowController::kListWidth - kLineMeasureWidth - 6;

// A run of this many characters without a break opportunity gets a zero-width space, so that a
// line without blanks wraps inside the list instead of running off its edge.
constexpr int kLongestUnbrokenRun = 24;

QString breakableText(const QString& text) {
    QString out;
    out.reserve(text.size() + text.size() / kLongestUnbrokenRun);
    int run = 0;
    for (const QChar c : text) {
        out.append(c);
        run = c.isSpace() ? 0 : run + 1;
        if (run >= kLongestUnbrokenRun && !c.isHighSurrogate()) {
            out.append(QChar(0x200B));
            run = 0;
        }
    }
    return out;
}

QLabel* makeLabel(const QString& text, double points, bool bold, const QColor& colour, QWidget* parent) {
    auto* label = KitStyle::label(text, points, bold, colour, parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    return label;
}

// One of the two answer views without a list: artwork, a heading, a sentence and an OK button.
QWidget* makeMessageView(const QString& image, const char* title, const char* detail, QWidget* parent,
                         QvCheckUpdateWindowController* controller) {
    auto* view = new QWidget(parent);
    view->setGeometry(0, kTitleBarHeight, kWindowWidth, kBodyHeight);
    auto* art = new ImageView(image, view);
    art->setGeometry((kWindowWidth - 56) / 2, 28, 56, 56);
    QLabel* heading = makeLabel(QString::fromUtf8(title), 15, true, KitStyle::textPrimary(), view);
    heading->setAlignment(Qt::AlignHCenter);
    heading->setGeometry(kMargin, 100, kWindowWidth - 2 * kMargin, 24);
    QLabel* sentence = makeLabel(QString::fromUtf8(detail), 12, false, KitStyle::textSecondary(), view);
    sentence->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    sentence->setGeometry(kMargin + 20, 132, kWindowWidth - 2 * kMargin - 40, 48);
    auto* ok = new FlatButton(QString::fromUtf8(kOk), FlatButton::Kind::Primary, view);
    ok->setGeometry((kWindowWidth - 110) / 2, kBodyHeight - 32 - 22, 110, 32);
    QObject::connect(ok, &QAbstractButton::clicked, controller,
                     &QvCheckUpdateWindowController::closeWindowAction);
    view->hide();
    return view;
}

} // namespace

QvCheckUpdateWindowController::QvCheckUpdateWindowController(QWidget* parent)
    : QDialog(parent), m_terminate([] { QCoreApplication::quit(); }) {
    awakeFromNib();
    windowDidLoad();
}

QvCheckUpdateWindowController::~QvCheckUpdateWindowController() {
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
    }
}

void QvCheckUpdateWindowController::awakeFromNib() {
    m_shuttingDown = false;
    setWindowFlags(Qt::Dialog | Qt::FramelessWindowHint);
    setAttribute(Qt::WA_TranslucentBackground);
    m_fade = new QPropertyAnimation(this, "windowOpacity", this);
    m_fade->setDuration(kFadeMs);
    connect(m_fade, &QPropertyAnimation::finished, this, [this] { animationDidStop(true); });
    // Hidden windows start clear and fade in when they show (showEvent).
    if (!isVisible())
        setWindowOpacity(0.0);
}

void QvCheckUpdateWindowController::windowDidLoad() {
    setWindowTitle(QString::fromUtf8(kWindowTitle));
    setFixedSize(kWindowWidth, kWindowHeight);
    auto* background = new BackgroundView(KitStyle::panelBackground(), this);
    background->setBorder(KitStyle::panelBorder());
    background->setCornerRadius(8);
    background->setGeometry(rect());

    // The title bar: the close button at the left and the title centred. Dragging it moves
    // the window.
    m_titleBarView = new TitleBarView(this);
    m_titleBarView->setGeometry(0, 0, kWindowWidth, kTitleBarHeight);
    connect(m_titleBarView, &TitleBarView::closeClicked, this,
            &QvCheckUpdateWindowController::closeWindowAction);
    QLabel* title = makeLabel(windowTitle(), 13, true, KitStyle::textPrimary(), m_titleBarView);
    title->setAlignment(Qt::AlignCenter);
    title->setAttribute(Qt::WA_TransparentForMouseEvents);
    title->setGeometry(0, 0, kWindowWidth, kTitleBarHeight);

    // Checking: a busy bar, nearly full, whose stripes drift while the question is out.
    m_checkProgressView = new QWidget(this);
    m_checkProgressView->setGeometry(0, kTitleBarHeight, kWindowWidth, kBodyHeight);
    QLabel* checking =
        makeLabel(QString::fromUtf8(kChecking), 14, false, KitStyle::textPrimary(), m_checkProgressView);
    checking->setAlignment(Qt::AlignHCenter);
    checking->setGeometry(kMargin, 96, kWindowWidth - 2 * kMargin, 24);
    m_progressBar = new StripedProgressBar(m_checkProgressView);
    m_progressBar->setGeometry(90, 134, kWindowWidth - 180, 10);
    m_progressBar->setAnimated(false);
    m_progressBar->setDoubleValue(0.999);
    m_progressBar->setAnimated(true);

    m_noNetworkView =
        makeMessageView(QStringLiteral("ic_warning"), kNoNetworkTitle, kNoNetworkDetail, this, this);
    m_noUpdateView =
        makeMessageView(QStringLiteral("ic_disk_main"), kNoUpdateTitle, kNoUpdateDetail, this, this);

    // An update: the version, the list of what is new, "Install Now".
    m_haveUpdateView = new QWidget(this);
    m_haveUpdateView->setGeometry(0, kTitleBarHeight, kWindowWidth, kBodyHeight);
    m_versionLabel = makeLabel(QString(), 13, true, KitStyle::textPrimary(), m_haveUpdateView);
    m_versionLabel->setWordWrap(false);
    m_versionLabel->setGeometry(kMargin, 10, kWindowWidth - 2 * kMargin, 22);
    m_changeValueScrollView = new QScrollArea(m_haveUpdateView);
    m_changeValueScrollView->setObjectName(QStringLiteral("changeValueScrollView"));
    m_changeValueScrollView->setGeometry(kMargin, 38, kWindowWidth - 2 * kMargin, 176);
    m_changeValueScrollView->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_changeValueScrollView->setStyleSheet(
        QStringLiteral("QScrollArea#changeValueScrollView { border: %1px solid %2; background: %3; }")
            .arg(kListBorder)
            .arg(KitStyle::css(KitStyle::error()), KitStyle::css(KitStyle::fieldBackground())) +
        KitStyle::thinScrollBar());
    m_showVersionScrollView = new QWidget;
    m_showVersionScrollView->setAutoFillBackground(true);
    QPalette listPalette = m_showVersionScrollView->palette();
    listPalette.setColor(QPalette::Window, KitStyle::fieldBackground());
    m_showVersionScrollView->setPalette(listPalette);
    m_showVersionScrollView->setFixedSize(kListWidth, kListMinimumHeight);
    m_changeValueScrollView->setWidget(m_showVersionScrollView);

    auto* later = new FlatButton(QString::fromUtf8(kLater), FlatButton::Kind::Secondary, m_haveUpdateView);
    m_installButton =
        new FlatButton(QString::fromUtf8(kInstallNow), FlatButton::Kind::Primary, m_haveUpdateView);
    m_installButton->setEnabled(true);
    m_installButton->setDefault(true);
    m_installButton->setGeometry(kWindowWidth - kMargin - 120, kBodyHeight - 32 - 22, 120, 32);
    later->setGeometry(m_installButton->x() - 10 - 110, m_installButton->y(), 110, 32);
    connect(m_installButton, &QAbstractButton::clicked, this,
            &QvCheckUpdateWindowController::updateClickHereAction);
    connect(later, &QAbstractButton::clicked, this, &QvCheckUpdateWindowController::closeWindowAction);
    m_haveUpdateView->hide();

    m_fetchTimer = new QTimer(this);
    m_fetchTimer->setSingleShot(true);
    connect(m_fetchTimer, &QTimer::timeout, this, [this] {
        if (m_reply) {
            QvConsoleLog("Update check: no answer within %d ms", m_fetchTimeLimitMs);
            m_reply->abort();
        }
    });
    m_changeValueScrollView->verticalScrollBar()->setValue(0);
}

void QvCheckUpdateWindowController::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    if (m_started)
        return;
    m_started = true;
    fadeTo(1.0);
    showState(State::Checking);
    getVersionChange();
}

void QvCheckUpdateWindowController::getVersionChange() {
    // The network test blocks for up to its time limit, so it runs on a worker thread; the
    // answer comes back to the main thread, where the window may be gone by then.
    QPointer<QvCheckUpdateWindowController> self(this);
    workerPool()->start([self] {
        const bool usable = QvPublicUtilities::isCanBeUseNetWork();
        onMain([self, usable] {
            if (self)
                self->networkTested(usable);
        });
    });
}

void QvCheckUpdateWindowController::networkTested(bool usable) {
    if (m_closed)
        return;
    if (!usable) {
        showState(State::NoNetwork);
        return;
    }
    const QUrl address(updateInformationAddress());
    if (!address.isValid() || address.isEmpty()) {
        whatIsNewVersionDiff(std::nullopt);
        return;
    }
    if (!m_network)
        m_network = new QNetworkAccessManager(this);
    QNetworkRequest request(address);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setMaximumRedirectsAllowed(5);
    m_tooLarge = false;
    m_reply = m_network->get(request);
    // A file larger than any update information is cut off as soon as that is known.
    connect(m_reply, &QNetworkReply::downloadProgress, this, [this](qint64 received, qint64 total) {
        if (m_reply &&
            (received > UpdateInfoReader::kMaxFileBytes || total > UpdateInfoReader::kMaxFileBytes)) {
            m_tooLarge = true;
            m_reply->abort();
        }
    });
    connect(m_reply, &QNetworkReply::finished, this, &QvCheckUpdateWindowController::fetchFinished);
    m_fetchTimer->start(m_fetchTimeLimitMs);
}

void QvCheckUpdateWindowController::fetchFinished() {
    m_fetchTimer->stop();
    QNetworkReply* reply = m_reply;
    m_reply = nullptr;
    if (!reply)
        return;
    reply->deleteLater();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    std::optional<UpdateInfo> fetched;
    if (reply->error() == QNetworkReply::NoError && !m_tooLarge && status >= 200 && status < 300)
        fetched = UpdateInfoReader::read(reply->readAll());
    else
        QvConsoleLog("Update check: no update information (HTTP %d, %s)", status,
                     qPrintable(m_tooLarge ? QStringLiteral("file too large") : reply->errorString()));
    whatIsNewVersionDiff(fetched);
}

void QvCheckUpdateWindowController::whatIsNewVersionDiff(const std::optional<UpdateInfo>& fetched) {
    if (!isNewerVersion(fetched, localBuildNumber())) {
        showState(State::NoUpdate);
        return;
    }
    m_versionLabel->setText(QString::fromUtf8(kNewFeatures).arg(fetched->version));
    fillList(fetched->lines);
    showState(State::HaveUpdate);
}

void QvCheckUpdateWindowController::fillList(const QStringList& lines) {
    qDeleteAll(m_showVersionScrollView->findChildren<QLabel*>(Qt::FindDirectChildrenOnly));

    // The list is as high as its rows at their measured heights, never lower than the minimum.
    const QFont measureFont = KitStyle::font(kListMeasurePoints);
    int listHeight = 0;
    for (const QString& line : lines)
        listHeight += std::max(kListRowMinimum,
                               heightForStringDrawing(breakableText(line), measureFont, kListMeasureWidth));
    listHeight = std::max(listHeight, kListMinimumHeight);

    // Each line as "n:text", one below the other from the top, grey on the list's background.
    // The line itself is its tool tip; tool tips read markup, so it goes in escaped.
    const QFont lineFont = KitStyle::font(kLinePoints);
    int top = 0;
    for (int i = 1; i <= lines.size(); ++i) {
        const QString& line = lines.at(i - 1);
        const QString text = breakableText(QStringLiteral("%1:%2").arg(i).arg(line));
        const int height = std::max(kLineMinimum, heightForStringDrawing(text, lineFont, kLineMeasureWidth));
        QLabel* field = makeLabel(text, kLinePoints, false, KitStyle::heading(), m_showVersionScrollView);
        field->setStyleSheet(
            QStringLiteral("color: %1; background: %2;")
                .arg(KitStyle::css(KitStyle::heading()), KitStyle::css(KitStyle::fieldBackground())));
        field->setAlignment(Qt::AlignLeft | Qt::AlignTop);
        field->setContentsMargins(kLineIndent, 0, 0, 0);
        field->setToolTip(line.isEmpty() ? QString() : QStringLiteral("<p>%1</p>").arg(line.toHtmlEscaped()));
        field->setGeometry(0, top, kListWidth, height);
        top += height;
    }
    m_showVersionScrollView->setFixedSize(kListWidth, std::max(listHeight, top));
    m_changeValueScrollView->verticalScrollBar()->setValue(0);
}

int QvCheckUpdateWindowController::heightForStringDrawing(const QString& text, const QFont& font, int width) {
    const QFontMetrics metrics(font);
    const QRect bounds(0, 0, width, std::numeric_limits<int>::max() / 2);
    return metrics.boundingRect(bounds, Qt::TextWordWrap, text).height();
}

void QvCheckUpdateWindowController::showState(State state) {
    m_state = state;
    m_checkProgressView->setVisible(state == State::Checking);
    m_noNetworkView->setVisible(state == State::NoNetwork);
    m_noUpdateView->setVisible(state == State::NoUpdate);
    m_haveUpdateView->setVisible(state == State::HaveUpdate);
    if (state != State::Checking)
        Q_EMIT stateChanged(state);
}

void QvCheckUpdateWindowController::closeWindow() {
    m_closed = true;
    m_fade->stop();
    done(QDialog::Accepted);
}

void QvCheckUpdateWindowController::closeWindowAction() {
    close();
}

void QvCheckUpdateWindowController::reject() {
    closeWindowAction();
}

void QvCheckUpdateWindowController::updateClickHereAction() {
    const QString address = updateDownloadAddress();
    if (!address.isEmpty())
        QDesktopServices::openUrl(QUrl(address));
}

void QvCheckUpdateWindowController::closeEvent(QCloseEvent* event) {
    if (m_closed) {
        event->accept();
        return;
    }
    event->ignore();
    windowShouldClose();
}

bool QvCheckUpdateWindowController::windowShouldClose() {
    fadeTo(0.0);
    return false;
}

void QvCheckUpdateWindowController::fadeTo(double opacity) {
    m_fade->stop();
    m_fade->setStartValue(windowOpacity());
    m_fade->setEndValue(opacity);
    m_fade->start();
}

void QvCheckUpdateWindowController::animationDidStop(bool finished) {
    if (!finished || windowOpacity() != 0.0)
        return;
    closeWindow();
    if (m_shuttingDown && m_terminate)
        m_terminate();
}

bool QvCheckUpdateWindowController::applicationShouldTerminate() {
    if (m_shuttingDown || m_closed)
        return true;
    m_shuttingDown = true;
    fadeTo(0.0);
    return false;
}
