// YDecimatorProgress: the application's side of the running file, and the host's cancel seen through it.
#pragma once

#include <atomic>
#include <chrono>
#include <mutex>

#include "KVString.h"
#include "ProgressBar/KVProgressBar.h"

// Wraps the writer half of KVProgressBar for a job that runs in a worker thread while the main
// thread watches the file. Every call is serialised; none throws. The host cancels a job by
// deleting the running file: watch() notices, confirms through verifyProgressBarExist(), and
// from then on cancelRequested() is true.
class YDecimatorProgress {
public:
    YDecimatorProgress() = default;
    ~YDecimatorProgress();
    YDecimatorProgress(const YDecimatorProgress&) = delete;
    YDecimatorProgress& operator=(const YDecimatorProgress&) = delete;

    // Attaches to the running file: the one the library created before the launch, or a new one
    // when the application runs by hand. False (and an in-memory bar, never cancelled) when the
    // file can neither be opened nor created.
    bool attach(const KVString& runningFile);

    void start(const char* title);
    void startStep(const char* title, long long total);
    void setCount(long long count);
    void endStep();

    // Checks the running file now; true when the job may go on.
    bool watch();
    // Like watch(), but looks at the disk at most every `interval`: cheap enough for a hot loop.
    bool pollCancel(std::chrono::milliseconds interval = std::chrono::milliseconds(100));
    bool cancelRequested() const { return m_cancelled.load(); }

    // Ends the task and closes the bar, which deletes the running file; the file is removed even
    // when the bar never attached to it. Safe to call twice.
    void finish();

private:
    // Counts past int range are scaled down, totals and counts together.
    int scaled(long long n) const;

    std::mutex m_mutex;
    KVProgressBar m_bar;
    KVString m_runningFile;
    bool m_watching = false;
    bool m_stepActive = false;
    int m_shift = 0;
    std::atomic<bool> m_cancelled{false};
    std::chrono::steady_clock::time_point m_lastPoll{};
};
