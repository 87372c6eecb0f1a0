// YDecimatorApp: runs one job file, from the command line to the removal of its running file.
#pragma once

class YDecimatorApp {
public:
    enum ExitStatus { kExitDone = 0, kExitFailed = 1, kExitCancelled = 2, kExitUsage = 64 };

    // `TrimoraApp JOBFILE`. Reads the job, runs its meshes in a worker thread while this thread
    // watches the running file, reports errors on standard error and in JOBFILE.log, and removes
    // JOBFILE.running before returning, whatever happened. Never throws.
    static int run(int argc, char** argv);
};
