// KVTrimoraDefs: the default thread-count rule.
#include "ProgressiveMesh/KVTrimoraDefs.h"

#include "native/KVPlatform.h"

int getNumProc() { return KVPlatform::processorsScheduled(); }

int numDefaultThreadsFor(int n) {
    if (n < 3) return n;
    if (n <= 4) return 3;
    if (n <= 6) return 4;
    if (n <= 8) return 6;
    // Keep two processors for the host and the system on large machines.
    return n - 2;
}

int getNumDefaultThreads() { return numDefaultThreadsFor(getNumProc()); }
