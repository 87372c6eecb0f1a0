// KVLogServer: silent log service; the margin and the start stamp stay live.
#include "log/KVLogServer.h"

#include <cstdarg>
#include <cstdio>

bool KVLogServer::m_initialized = false;
timeval KVLogServer::m_startTime = {0, 0};
int KVLogServer::m_curMarginOffset = 0;
KVString KVLogServer::m_curMarginOffsetString;

void KVLogServer::init(bool enable) {
    m_initialized = enable;
    gettimeofday(&m_startTime, nullptr);
}

void KVLogServer::setLogFile(const KVString&) {}

void KVLogServer::printLine(const char* format, ...) {
#if defined(TRIMORA_LOG_OUTPUT)
    if (format == nullptr) return;
    char line[1024];
    va_list args;
    va_start(args, format);
    vsnprintf(line, sizeof line, format, args);
    va_end(args);
    std::fprintf(stderr, "%s%s\n", m_curMarginOffsetString.c_str(), line);
#else
    (void)format;
#endif
}

bool KVLogServer::outputEnabled() {
#if defined(TRIMORA_LOG_OUTPUT)
    return true;
#else
    return false;
#endif
}

void KVLogServer::showLogWindow(bool) {}
void KVLogServer::enableLogWindow(bool) {}
void KVLogServer::clear() {}

void KVLogServer::incrMarginOffset(int n) {
    m_curMarginOffset += n;
    rebuildMargin();
}

void KVLogServer::decrMarginOffset(int n) {
    m_curMarginOffset -= n;
    if (m_curMarginOffset < 0) m_curMarginOffset = 0;
    rebuildMargin();
}

void KVLogServer::setMarginOffset(int n) {
    m_curMarginOffset = n < 0 ? 0 : n;
    rebuildMargin();
}

void KVLogServer::rebuildMargin() {
    // A level raised past zero by incrMarginOffset(negative) still yields no margin.
    m_curMarginOffsetString.create(m_curMarginOffset > 0 ? 2 * m_curMarginOffset : 0, ' ');
}
