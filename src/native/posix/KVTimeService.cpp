// KVTimeService on POSIX: nanosleep, clock() and the monotonic clock.
#include "native/KVTimeService.h"

#include <cerrno>
#include <ctime>

void KVTimeService::sleep(int milliseconds) {
    if (milliseconds <= 0) return;
    timespec left;
    left.tv_sec = milliseconds / 1000;
    left.tv_nsec = static_cast<long>(milliseconds % 1000) * 1000000L;
    // A signal cuts the sleep short; go on sleeping for what is left.
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

long KVTimeService::processorClock() { return static_cast<long>(std::clock()); }

long KVTimeService::processorClocksPerSecond() { return static_cast<long>(CLOCKS_PER_SEC); }

std::int64_t KVTimeService::monotonicMilliseconds() {
    timespec now;
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) return 0;
    return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}
