// KVLogServer: the process-wide log. Silent unless built with TRIMORA_LOG_OUTPUT.
#pragma once

#include <sys/time.h>

#include "KVString.h"

// Every call is made as if the log were live: the lines are composed at the call sites,
// the start stamp and the indentation are kept; only the output is switched off.
class KVLogServer {
public:
    static void init(bool enable);
    static void setLogFile(const KVString& path);
    static void printLine(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static void showLogWindow(bool show);
    static void enableLogWindow(bool enable);
    static void clear();

    static void incrMarginOffset(int n);
    static void decrMarginOffset(int n);
    static void setMarginOffset(int n);

    static bool isInitialized() { return m_initialized; }
    static const timeval& getStartTime() { return m_startTime; }
    static int getMarginOffset() { return m_curMarginOffset; }
    static const KVString& getMarginOffsetString() { return m_curMarginOffsetString; }
    // Whether this build writes the lines anywhere.
    static bool outputEnabled();

private:
    static void rebuildMargin();

    static bool m_initialized;
    static timeval m_startTime;
    static int m_curMarginOffset;
    static KVString m_curMarginOffsetString;
};
