// KVProgressBar: the 176-byte progress record shared by the plug-in (reader) and the decimation application (writer).
#pragma once

#include <cstdint>

#include "KVString.h"

// The record is the whole content of the progress-bar file: no header, no version, integers
// little-endian. It is encoded and decoded field by field at fixed offsets, never as a struct image,
// so the file layout does not depend on the compiler. Both processes rewrite and read all of it
// without locks; a record read from the file is treated as hostile (titles may lack their NUL).
class KVProgressBar {
public:
    static constexpr int kRecordSize = 176;
    static constexpr int kTitleSize = 80;  // bytes of each title field, NUL included

    // Byte offsets of the fields in the file.
    static constexpr int kOffsetOpen = 0;
    static constexpr int kOffsetStarted = 1;
    static constexpr int kOffsetStepActive = 2;
    static constexpr int kOffsetTaskTitle = 3;
    static constexpr int kOffsetStepTitle = 83;
    static constexpr int kOffsetAlignment = 163;
    static constexpr int kOffsetStepTotal = 164;
    static constexpr int kOffsetStepCount = 168;
    static constexpr int kOffsetStopAllowed = 172;
    static constexpr int kOffsetShowRemainingTime = 173;
    static constexpr int kOffsetReserved = 174;
    static constexpr int kOffsetStopAll = 175;

    // Clock units (processor time) between two file writes of setCount, and the writer's wait at end.
    static constexpr std::uint32_t kThrottleClocks = 501;
    static constexpr std::uint32_t kExistWaitClocks = 500;

    KVProgressBar();
    ~KVProgressBar() = default;
    KVProgressBar(const KVProgressBar&) = delete;
    KVProgressBar& operator=(const KVProgressBar&) = delete;

    // Reader side.
    // Closes, then creates (truncates) the file and writes a fresh record (open byte set).
    bool create(const KVString& name);
    // Attaches an in-memory bar without a file; false if already open.
    bool open();
    // Attaches to an existing file and reads it; true when the record's open byte is set.
    bool open(const KVString& name);
    // Reads the whole record from the file; a file that cannot be opened closes the bar (false).
    bool updateFromProgressBarFile();
    // Clears the record; deletes the file if one is attached. False when not open.
    bool close();

    // Writer side: each change that succeeds rewrites the file.
    bool start(const char* title);
    bool startStep(const char* title, int total);
    // Rewrites the file only once kThrottleClocks have passed since the last write.
    bool setCount(int count);
    bool endStep();
    bool showRemainingTime(bool flag);
    bool enableStop(bool flag);
    bool end();
    // Writes the record in place ("r+b"); never creates the file.
    bool updateProgressBarFile();
    // Waits actively for the file; when it stays missing, raises the stop-all byte (false).
    bool verifyProgressBarExist();

    // The record, field by field. Titles are cut at their 80 bytes even without a NUL.
    bool isOpen() const { return m_open != 0; }
    bool isStarted() const { return m_started != 0; }
    bool isStepActive() const { return m_stepActive != 0; }
    KVString getTaskTitle() const;
    KVString getStepTitle() const;
    int getStepTotal() const { return m_stepTotal; }
    int getStepCount() const { return m_stepCount; }
    bool isStopAllowed() const { return m_stopAllowed != 0; }
    bool isShowRemainingTime() const { return m_showRemainingTime != 0; }
    bool isStopAllRequested() const { return m_stopAll != 0; }
    const KVString& getFileName() const { return m_fileName; }
    std::uint32_t getLastUpdateTime() const { return m_lastUpdateTime; }

    // The record as the file holds it, and back. decode takes exactly kRecordSize bytes.
    void encode(unsigned char out[kRecordSize]) const;
    void decode(const unsigned char in[kRecordSize]);

    // The throttle rule, on the 32-bit clock that wraps around.
    static bool throttleElapsed(std::uint32_t lastUpdate, std::uint32_t now) {
        return static_cast<std::uint32_t>(now - lastUpdate) >= kThrottleClocks;
    }
    static std::uint32_t clockNow();

private:
    void clearRecord();
    static void copyTitle(char dest[kTitleSize], const char* title);

    [[maybe_unused]] std::int32_t m_one = 1;  // set once, never changed
    KVString m_fileName;

    // The shared record.
    std::uint8_t m_open = 0;
    std::uint8_t m_started = 0;
    std::uint8_t m_stepActive = 0;
    char m_taskTitle[kTitleSize];
    char m_stepTitle[kTitleSize];
    std::uint8_t m_alignment = 0;
    std::int32_t m_stepTotal = 0;
    std::int32_t m_stepCount = 0;
    std::uint8_t m_stopAllowed = 0;
    std::uint8_t m_showRemainingTime = 0;
    std::uint8_t m_reserved = 0;
    std::uint8_t m_stopAll = 0;

    std::uint32_t m_lastUpdateTime = 0;
};
