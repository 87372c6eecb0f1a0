// KVTrimoraDefs: names and thread-count rules shared by the plug-in and the decimation application.
#pragma once

// Processors the system schedules work on.
int getNumProc();
// Default worker count for n = getNumProc(): n below 3, then 3, 4, 6 for up to 4, 6, 8, then n - 2.
int getNumDefaultThreads();
// The same rule for a given processor count.
int numDefaultThreadsFor(int numProcessors);
