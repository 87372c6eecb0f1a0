// KVTimeService: sleeping and the clocks the library reads.
#pragma once

#include <cstdint>

class KVTimeService {
public:
    // Sleeps the calling thread.
    static void sleep(int milliseconds);
    // Processor time used by the process, in clock ticks (the C library's clock()).
    static long processorClock();
    static long processorClocksPerSecond();
    // Wall-clock time since an unspecified start, in milliseconds, never going back.
    static std::int64_t monotonicMilliseconds();
};
