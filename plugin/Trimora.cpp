// Start-up commands.
#include "Trimora.h"

#include <cstring>

#include "KVExceptionService.h"
#include "ProgressiveMesh/KVTrimoraDefs.h"
#include "ProgressiveMesh/KVTrimoraFolderServer.h"
#include "Trimora/YDecimatorPrefFileParser.h"
#include "Trimora/YDecimatorTempFolderCleaner.h"
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

TRIMORA_COMMAND_OR(InitTrimora, 0.0f) {
    if (a.text == nullptr) return 0.0f;
    const KVString text(a.text);
    if (text.isEmpty()) return 0.0f;
    const char* folder = text.getValidFilePath();

    // Same folder as before (null for both, or byte-equal): only say so.
    const char* stored = KVTrimoraFolderServer::getTemporaryFolder().getBuffer();
    if ((stored == nullptr && folder == nullptr) ||
        (stored != nullptr && folder != nullptr && std::strcmp(stored, folder) == 0)) {
        KVLogServer::printLine("...AlreadyInitialized!");
        return 0.2f;
    }

    KVTrimoraFolderServer::setTemporaryFolder(KVString(folder));
    KVExceptionService::init();
    KVLogServer::setLogFile("/tmp/TR_DebugLog_Dll.txt");
    KVLogServer::init(true);
    KVLogServer::printLine("KVLogServer::init in InitTrimora");
    KVLogServer::printLine("InitTrimora()");

    YDecimatorPrefFileParser prefs;
    prefs.parseFile(KVTrimoraFolderServer::getTemporaryFileName("YDecimator.ypr"));
    // The host passes room for the five floats; the declared size is not consulted.
    if (a.outBuf1 != nullptr) {
        const float values[5] = {plug::flag(prefs.m_uniformMesh), plug::biasedInt(prefs.m_numThread),
                                 prefs.m_colorRatio, plug::flag(prefs.m_cleanAtStart),
                                 plug::flag(prefs.m_backgroundPreprocess)};
        std::memcpy(a.outBuf1, values, sizeof values);
    }

    // The folder as given (not the stored form), listed first and deleted after it is closed.
    KVArray<KVString> leftOvers;
    YDecimatorTempFolderCleaner::listLeftOvers(folder, prefs.m_cleanAtStart, leftOvers);
    YDecimatorTempFolderCleaner::removeFiles(leftOvers);
    return 1.2f;
}
