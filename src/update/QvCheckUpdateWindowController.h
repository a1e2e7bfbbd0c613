#pragma once

#include "update/UpdateInfo.h"

#include <QDialog>
#include <QPointer>

#include <functional>
#include <optional>

class FlatButton;
class QLabel;
class QNetworkAccessManager;
class QNetworkReply;
class QPropertyAnimation;
class QScrollArea;
class QTimer;
class StripedProgressBar;
class TitleBarView;

// The "check for updates" window: asks the update service whether a newer version exists and,
// if so, lists what is new and offers "Install Now", which opens the download page in the
// browser. It runs modally; it fades in when shown and fades out before it closes, and a quit
// request while it is open waits for the fade.
//
// The check starts when the window is first shown: the network test runs on a worker thread,
// then the update information file is fetched without blocking the main thread, bounded by a
// time limit and a size limit. Every outcome ends in one of three views: no network, no update
// (also for a failed, slow or unusable fetch) or the update with its list of new features.
class QvCheckUpdateWindowController : public QDialog {
    Q_OBJECT
public:
    enum class State { Checking, NoNetwork, NoUpdate, HaveUpdate };

    static constexpr int kFetchTimeLimitMs = 20000;
    static constexpr int kFadeMs = 250;
    static constexpr int kListWidth = 414;
    static constexpr int kListMinimumHeight = 121;

    explicit QvCheckUpdateWindowController(QWidget* parent = nullptr);
    ~QvCheckUpdateWindowController() override;

    // The whole fetch, from the request to the last byte, ends after this long.
    void setFetchTimeLimit(int milliseconds) { m_fetchTimeLimitMs = milliseconds; }
    // What ends the application once a quit request has faded the window out (by default the
    // application's own quit).
    void setTerminateHandler(std::function<void()> terminate) { m_terminate = std::move(terminate); }

    // The request: network test, then the fetch of the update information file.
    void getVersionChange();
    // Shows the view that fits the fetched information (nothing when the fetch failed).
    void whatIsNewVersionDiff(const std::optional<UpdateInfo>& fetched);
    // Height of text laid out in font at width, with unbounded height.
    static int heightForStringDrawing(const QString& text, const QFont& font, int width);

    // Ends the modal run and closes the window at once.
    void closeWindow();
    // The window's buttons: fade out, then close.
    void closeWindowAction();
    // "Install Now": opens the download page.
    void updateClickHereAction();
    // A close request: starts the fade-out and answers false; the close follows when it ends.
    bool windowShouldClose();
    // The end of a fade: at alpha 0 the window closes and, when quitting, the application ends.
    void animationDidStop(bool finished);
    // A quit request while the window is open: true when the application may quit now; false
    // when it has to wait for the fade-out, which then ends the application.
    bool applicationShouldTerminate();

    State state() const { return m_state; }
    bool isShuttingDown() const { return m_shuttingDown; }
    QWidget* checkProgressView() const { return m_checkProgressView; }
    QWidget* noNetworkView() const { return m_noNetworkView; }
    QWidget* noUpdateView() const { return m_noUpdateView; }
    QWidget* haveUpdateView() const { return m_haveUpdateView; }
    QLabel* versionLabel() const { return m_versionLabel; }
    QScrollArea* changeValueScrollView() const { return m_changeValueScrollView; }
    QWidget* showVersionScrollView() const { return m_showVersionScrollView; }
    FlatButton* installButton() const { return m_installButton; }
    StripedProgressBar* progressBar() const { return m_progressBar; }
    TitleBarView* titleBarView() const { return m_titleBarView; }

Q_SIGNALS:
    // The check has ended in one of the three answer views.
    void stateChanged(QvCheckUpdateWindowController::State state);

public Q_SLOTS:
    void reject() override;

protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void awakeFromNib();
    void windowDidLoad();
    void networkTested(bool usable);
    void fetchFinished();
    void showState(State state);
    void fillList(const QStringList& lines);
    void fadeTo(double opacity);

    QPointer<QNetworkAccessManager> m_network;
    QPointer<QNetworkReply> m_reply;
    QTimer* m_fetchTimer = nullptr;
    QPropertyAnimation* m_fade = nullptr;
    std::function<void()> m_terminate;
    int m_fetchTimeLimitMs = kFetchTimeLimitMs;
    bool m_started = false;
    bool m_tooLarge = false;
    bool m_closed = false;
    bool m_shuttingDown = false;
    State m_state = State::Checking;

    TitleBarView* m_titleBarView = nullptr;
    QWidget* m_checkProgressView = nullptr;
    QWidget* m_noNetworkView = nullptr;
    QWidget* m_noUpdateView = nullptr;
    QWidget* m_haveUpdateView = nullptr;
    QLabel* m_versionLabel = nullptr;
    QScrollArea* m_changeValueScrollView = nullptr;
    QWidget* m_showVersionScrollView = nullptr;
    FlatButton* m_installButton = nullptr;
    StripedProgressBar* m_progressBar = nullptr;
};
