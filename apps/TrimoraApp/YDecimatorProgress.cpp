// YDecimatorProgress: the application's side of the running file, and the host's cancel seen through it.
#include "YDecimatorProgress.h"

#include "native/KVDiskServer.h"

YDecimatorProgress::~YDecimatorProgress() { finish(); }

bool YDecimatorProgress::attach(const KVString& runningFile) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_runningFile = runningFile;
    // The library writes a fresh record (open byte set) before it starts us; any other record is
    // left over from elsewhere and is written anew.
    if (KVDiskServer::fileExists(runningFile) && m_bar.open(runningFile) && !m_bar.isStarted()) {
        m_watching = true;
    } else if (m_bar.create(runningFile)) {
        m_watching = true;
    } else {
        m_bar.open();
        m_watching = false;
    }
    m_bar.enableStop(true);
    return m_watching;
}

void YDecimatorProgress::start(const char* title) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_bar.start(title);
}

int YDecimatorProgress::scaled(long long n) const {
    if (n < 0) return 0;
    return static_cast<int>(n >> m_shift);
}

void YDecimatorProgress::startStep(const char* title, long long total) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_stepActive) m_bar.endStep();
    m_shift = 0;
    while ((total >> m_shift) > 0x3FFFFFFF) ++m_shift;
    m_bar.startStep(title, scaled(total));
    m_stepActive = true;
}

void YDecimatorProgress::setCount(long long count) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_stepActive) m_bar.setCount(scaled(count));
}

void YDecimatorProgress::endStep() {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_stepActive) m_bar.endStep();
    m_stepActive = false;
}

bool YDecimatorProgress::watch() {
    if (m_cancelled.load()) return false;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_lastPoll = std::chrono::steady_clock::now();
    if (!m_watching || KVDiskServer::fileExists(m_runningFile)) return true;
    // Gone at a glance; the bar's own wait rules out a file caught between two writes.
    if (m_bar.verifyProgressBarExist()) return true;
    m_cancelled.store(true);
    return false;
}

bool YDecimatorProgress::pollCancel(std::chrono::milliseconds interval) {
    if (m_cancelled.load()) return false;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (std::chrono::steady_clock::now() - m_lastPoll < interval) return true;
    }
    return watch();
}

void YDecimatorProgress::finish() {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_stepActive) m_bar.endStep();
    m_stepActive = false;
    if (m_bar.isStarted()) m_bar.end();
    m_bar.close();
    // The host knows the job is over only when this file is gone.
    if (!m_runningFile.isEmpty()) {
        KVDiskServer::deleteFile(m_runningFile);
        m_runningFile = KVString();
    }
    m_watching = false;
}
