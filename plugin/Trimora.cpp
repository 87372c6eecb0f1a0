// Start-up commands.
#include "Trimora.h"

#include "ProgressiveMesh/KVTrimoraDefs.h"
#include "log/KVLogServer.h"

KVString gAppFullPath;

TRIMORA_COMMAND_OR(SetTrimoraAppPath, 0.0f) {
    KVLogServer::printLine("SetTrimoraAppPath called.");
    gAppFullPath = a.text;
    return 0.0f;
}

TRIMORA_COMMAND(GetDefaultNumThreads) {
    KVLogServer::printLine("GetDefaultNumThreads called.");
    return static_cast<float>(getNumDefaultThreads());
}
