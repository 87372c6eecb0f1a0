// KVExceptionService: the process-wide exception service, started by InitTrimora.
#pragma once

// Commands already catch everything at their boundary (plug::guard); this service only records
// that start-up ran, so a later command or a test can tell a started plug-in from a fresh one.
class KVExceptionService {
public:
    // Starts the service; may be called at every full initialisation.
    static void init();
    static bool isInitialized() { return s_initCount > 0; }
    // How many times init ran in this process.
    static int getInitCount() { return s_initCount; }

private:
    static int s_initCount;
};
