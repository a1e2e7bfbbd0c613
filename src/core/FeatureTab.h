#pragma once

#include <functional>

// What the main window asks of the tab that shows a feature, and what a tab tells it.
class FeatureTabHost {
public:
    virtual ~FeatureTabHost() = default;
    // False while the tab runs a long job (the other tabs cannot be chosen), true when it ended.
    virtual void canChangeTab(bool allowed) = 0;
};

// The one contract between the main window and each of its tabs.
class FeatureTab {
public:
    // The long job a tab runs, as the quit question names it.
    enum class Job {
        None,
        Copy,
        Image,
        Clone,       // preparing: the target drive is still as it was
        CloneErased, // the target drive's erase has begun: stopping leaves it erased
    };

    virtual ~FeatureTab() = default;

    void setTabHost(FeatureTabHost* host) { m_tabHost = host; }
    FeatureTabHost* tabHost() const { return m_tabHost; }

    // The job under way, also while it is being stopped.
    virtual Job runningJob() const { return Job::None; }
    // Stops the job as its Cancel does, without asking. `stopped` runs once on the main thread
    // when the job has really ended: every tool it started has ended, what it mounted is ejected
    // and a partial result is removed. Without a job it runs at once.
    virtual void stopForQuit(std::function<void()> stopped) { stopped(); }

protected:
    // Tells the host, if there is one, whether the tabs may change.
    void tellTabHost(bool allowed) const {
        if (m_tabHost)
            m_tabHost->canChangeTab(allowed);
    }

private:
    FeatureTabHost* m_tabHost = nullptr;
};
