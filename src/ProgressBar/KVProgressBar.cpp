// KVProgressBar: reader and writer sides of the progress-bar file.
#include "ProgressBar/KVProgressBar.h"

#include <cstdio>
#include <cstring>
#include <limits>

#include "log/KVLogServer.h"
#include "native/KVDiskServer.h"
#include "native/KVTimeService.h"

namespace {

// Paths take the same valid form as in the disk server, so create, read and delete meet one file.
const char* filePath(const KVString& name) {
    const char* p = name.getValidFilePath();
    return p ? p : "";
}

void putInt32(unsigned char* out, std::int32_t value) {
    const std::uint32_t v = static_cast<std::uint32_t>(value);
    out[0] = static_cast<unsigned char>(v & 0xFF);
    out[1] = static_cast<unsigned char>((v >> 8) & 0xFF);
    out[2] = static_cast<unsigned char>((v >> 16) & 0xFF);
    out[3] = static_cast<unsigned char>((v >> 24) & 0xFF);
}

std::int32_t getInt32(const unsigned char* in) {
    const std::uint32_t v = static_cast<std::uint32_t>(in[0]) | (static_cast<std::uint32_t>(in[1]) << 8) |
                            (static_cast<std::uint32_t>(in[2]) << 16) | (static_cast<std::uint32_t>(in[3]) << 24);
    std::int32_t r;
    std::memcpy(&r, &v, sizeof r);
    return r;
}

// A title field as a string: at most its 80 bytes, whether or not a NUL ends it.
KVString boundedTitle(const char* field) {
    KVString s;
    const char* end = static_cast<const char*>(std::memchr(field, '\0', KVProgressBar::kTitleSize));
    s.create(field, end ? end : field + KVProgressBar::kTitleSize);
    return s;
}

}  // namespace

KVProgressBar::KVProgressBar() { clearRecord(); }

std::uint32_t KVProgressBar::clockNow() { return static_cast<std::uint32_t>(KVTimeService::processorClock()); }

void KVProgressBar::clearRecord() {
    m_open = 0;
    m_started = 0;
    m_stepActive = 0;
    std::memset(m_taskTitle, 0, sizeof m_taskTitle);
    std::memset(m_stepTitle, 0, sizeof m_stepTitle);
    m_alignment = 0;
    m_stepTotal = 0;
    m_stepCount = 0;
    m_stopAllowed = 0;
    m_showRemainingTime = 0;
    m_reserved = 0;
    m_stopAll = 0;
}

void KVProgressBar::copyTitle(char dest[kTitleSize], const char* title) {
    std::memset(dest, 0, kTitleSize);
    if (title == nullptr) return;
    // At most 79 characters, so the field always keeps its NUL.
    for (int i = 0; i < kTitleSize - 1 && title[i] != '\0'; ++i) dest[i] = title[i];
}

void KVProgressBar::encode(unsigned char out[kRecordSize]) const {
    std::memset(out, 0, kRecordSize);
    out[kOffsetOpen] = m_open;
    out[kOffsetStarted] = m_started;
    out[kOffsetStepActive] = m_stepActive;
    std::memcpy(out + kOffsetTaskTitle, m_taskTitle, kTitleSize);
    std::memcpy(out + kOffsetStepTitle, m_stepTitle, kTitleSize);
    out[kOffsetAlignment] = m_alignment;
    putInt32(out + kOffsetStepTotal, m_stepTotal);
    putInt32(out + kOffsetStepCount, m_stepCount);
    out[kOffsetStopAllowed] = m_stopAllowed;
    out[kOffsetShowRemainingTime] = m_showRemainingTime;
    out[kOffsetReserved] = m_reserved;
    out[kOffsetStopAll] = m_stopAll;
}

void KVProgressBar::decode(const unsigned char in[kRecordSize]) {
    m_open = in[kOffsetOpen];
    m_started = in[kOffsetStarted];
    m_stepActive = in[kOffsetStepActive];
    std::memcpy(m_taskTitle, in + kOffsetTaskTitle, kTitleSize);
    std::memcpy(m_stepTitle, in + kOffsetStepTitle, kTitleSize);
    m_alignment = in[kOffsetAlignment];
    m_stepTotal = getInt32(in + kOffsetStepTotal);
    m_stepCount = getInt32(in + kOffsetStepCount);
    m_stopAllowed = in[kOffsetStopAllowed];
    m_showRemainingTime = in[kOffsetShowRemainingTime];
    m_reserved = in[kOffsetReserved];
    m_stopAll = in[kOffsetStopAll];
}

KVString KVProgressBar::getTaskTitle() const { return boundedTitle(m_taskTitle); }

KVString KVProgressBar::getStepTitle() const { return boundedTitle(m_stepTitle); }

// ---- Reader side ----

bool KVProgressBar::create(const KVString& name) {
    close();
    FILE* f = std::fopen(filePath(name), "w");
    if (f == KVDiskServer::s_invalidFile) return false;
    m_open = 1;
    m_fileName = name;
    unsigned char bytes[kRecordSize];
    encode(bytes);
    // A short write is not a failure here: a reader of a short file keeps the rest of its record.
    std::fwrite(bytes, 1, kRecordSize, f);
    std::fclose(f);
    return true;
}

bool KVProgressBar::open() {
    if (isOpen()) return false;
    m_open = 1;
    m_fileName = KVString();
    return true;
}

bool KVProgressBar::open(const KVString& name) {
    if (isOpen()) return false;
    if (!KVDiskServer::fileExists(name)) return false;
    m_fileName = name;
    updateFromProgressBarFile();
    return isOpen();
}

bool KVProgressBar::updateFromProgressBarFile() {
    if (m_fileName.isEmpty()) return true;
    FILE* f = std::fopen(filePath(m_fileName), "rb");
    if (f == KVDiskServer::s_invalidFile) {
        close();
        return false;
    }
    // A short file overwrites only the bytes it holds; the rest of the record stays as it was.
    unsigned char bytes[kRecordSize];
    encode(bytes);
    const std::size_t got = std::fread(bytes, 1, kRecordSize, f);
    std::fclose(f);
    (void)got;
    decode(bytes);
    return true;
}

bool KVProgressBar::close() {
    if (!isOpen()) return false;
    clearRecord();
    if (!m_fileName.isEmpty()) {
        KVLogServer::printLine("Progress-bar close: delete the file");
        KVDiskServer::deleteFile(m_fileName);
        m_fileName = KVString();
    }
    return true;
}

// ---- Writer side ----

bool KVProgressBar::start(const char* title) {
    if (!isOpen() || isStarted()) return false;
    m_started = 1;
    copyTitle(m_taskTitle, title);
    updateProgressBarFile();
    return true;
}

bool KVProgressBar::startStep(const char* title, int total) {
    if (!isStarted() || isStepActive()) return false;
    m_stepActive = 1;
    copyTitle(m_stepTitle, title);
    m_stepTotal = total;
    m_stepCount = 0;
    updateProgressBarFile();
    return true;
}

bool KVProgressBar::setCount(int count) {
    if (!isStepActive()) return false;
    m_stepCount = count;
    if (throttleElapsed(m_lastUpdateTime, clockNow())) updateProgressBarFile();
    return true;
}

bool KVProgressBar::endStep() {
    if (!isStepActive()) return false;
    m_stepActive = 0;
    std::memset(m_stepTitle, 0, sizeof m_stepTitle);
    m_stepTotal = -1;
    updateProgressBarFile();
    return true;
}

bool KVProgressBar::showRemainingTime(bool flag) {
    if (!isOpen()) return false;
    const std::uint8_t b = flag ? 1 : 0;
    if (m_showRemainingTime != b) {
        m_showRemainingTime = b;
        updateProgressBarFile();
    }
    return true;
}

bool KVProgressBar::enableStop(bool flag) {
    if (!isOpen()) return false;
    const std::uint8_t b = flag ? 1 : 0;
    if (m_stopAllowed != b) {
        m_stopAllowed = b;
        updateProgressBarFile();
    }
    return true;
}

bool KVProgressBar::end() {
    if (!isStarted()) return false;
    m_started = 0;
    m_stepActive = 0;
    std::memset(m_taskTitle, 0, sizeof m_taskTitle);
    std::memset(m_stepTitle, 0, sizeof m_stepTitle);
    m_stepCount = 0;
    m_stopAllowed = 0;
    m_showRemainingTime = 0;
    m_reserved = 0;
    m_stepTotal = -1;
    verifyProgressBarExist();
    updateProgressBarFile();
    return true;
}

bool KVProgressBar::updateProgressBarFile() {
    if (m_fileName.isEmpty()) return true;
    bool ok = false;
    FILE* f = std::fopen(filePath(m_fileName), "r+b");
    if (f != KVDiskServer::s_invalidFile) {
        unsigned char bytes[kRecordSize];
        encode(bytes);
        ok = std::fwrite(bytes, 1, kRecordSize, f) == static_cast<std::size_t>(kRecordSize);
        if (std::fclose(f) != 0) ok = false;
    }
    m_lastUpdateTime = clockNow();
    return ok;
}

bool KVProgressBar::verifyProgressBarExist() {
    if (m_fileName.isEmpty()) return true;
    const std::uint32_t startTime = clockNow();
    // Close to the clock's wrap-around the wait could not be measured: take the not-found path.
    if (startTime <= std::numeric_limits<std::uint32_t>::max() - kExistWaitClocks) {
        // Active wait on purpose: the limit is processor time, which a sleep would not use up.
        for (;;) {
            const std::uint32_t waited = clockNow() - startTime;
            if (KVDiskServer::fileExists(m_fileName)) {
                KVLogServer::printLine("Progress-bar file found after %d clocks", static_cast<int>(waited));
                return true;
            }
            if (waited > kExistWaitClocks) break;
        }
    }
    KVLogServer::printLine("Progress-bar file not found: asks for STOP-ALL");
    m_stopAll = 1;
    return false;
}
