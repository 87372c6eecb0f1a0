// Utility commands: thin wrappers over MiscUtils, KVDiskServer and the platform services.
#include "UtilityCommands.h"

#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "ProgressiveMesh/KVTrimoraDefs.h"
#include "YPlug/MiscUtils.h"
#include "log/KVLogServer.h"
#include "native/KVDiskServer.h"
#include "native/KVPlatform.h"
#include "native/KVTimeService.h"

TRIMORA_COMMAND_OR(PushCurrentFolder, 0.0f) {
    return MiscUtils::pushCurrentFolder(KVString(a.text)) ? 1.0f : 0.0f;
}

TRIMORA_COMMAND_OR(PopCurrentFolder, 0.0f) {
    bool popped = false;
    return MiscUtils::popCurrentFolder(popped) ? 1.0f : 0.0f;
}

TRIMORA_COMMAND_OR(PushYTLFile, 0.0f) {
    MiscUtils::pushToolFile(KVString(a.text));
    return 0.0f;
}

TRIMORA_COMMAND_OR(PopYTLFile, 0.0f) {
    MiscUtils::popToolFile();
    return 0.0f;
}

TRIMORA_COMMAND(FileCreateEmpty) { return MiscUtils::createEmptyFile(a.text) ? 0.0f : -1.0f; }

TRIMORA_COMMAND(FileDelete) {
    if (a.text == nullptr) return -1.0f;
    return KVDiskServer::deleteFile(KVString(a.text)) ? 0.0f : -1.0f;
}

TRIMORA_COMMAND_OR(PrintInLog, 0.0f) {
    KVLogServer::printLine("Script: %s", a.text ? a.text : "");
    return 0.0f;
}

TRIMORA_COMMAND_OR(SetCopySrc, 0.0f) {
    s_fileCopySrc = a.text;
    return 0.0f;
}

TRIMORA_COMMAND_OR(DoCopyTo, 0.0f) {
    MiscUtils::copyToTarget(KVString(a.text));
    return 0.0f;
}

TRIMORA_COMMAND_OR(System, 0.0f) {
    // A null command would only ask whether a shell exists; there is nothing to run.
    if (a.text != nullptr) {
        const int status = std::system(a.text);
        (void)status;
    }
    return 0.0f;
}

TRIMORA_COMMAND(GetNumProcs) { return static_cast<float>(getNumProc()); }

TRIMORA_COMMAND_OR(Is64BitsDll, 0.0f) { return KVPlatform::is64BitBuild() ? 1.0f : 0.0f; }

TRIMORA_COMMAND_OR(Is64BitsSystem, 0.0f) { return 0.0f; }

TRIMORA_COMMAND_OR(YSleep, 0.0f) {
    const double ms = a.value + 0.2;
    // Truncation of a double outside the int range is undefined: clamp first; NaN sleeps 0.
    int count = 0;
    if (ms >= static_cast<double>(INT_MAX))
        count = INT_MAX;
    else if (ms > 0.0)
        count = static_cast<int>(ms);
    KVTimeService::sleep(count);
    return 0.0f;
}

TRIMORA_COMMAND_OR(IsFiniteValue, 0.0f) { return std::isfinite(a.value) ? 1.0f : 0.0f; }

TRIMORA_COMMAND_OR(RemoveAllFilesWithFilterAndFolder, 0.0f) {
    if (a.text != nullptr) MiscUtils::removeAllFilesWithFilterAndFolder(a.text);
    return 0.0f;
}

TRIMORA_COMMAND(GetUndoNumberFromButtonName) {
    return static_cast<float>(MiscUtils::undoNumberFromButtonName(a.text));
}

TRIMORA_COMMAND_OR(FixPlastraFreeze, 0.0f) { return 0.0f; }

TRIMORA_COMMAND_OR(GetPublicFolder, 0.0f) {
    const KVString folder = KVPlatform::publicFolder();
    if (folder.isEmpty() || a.outBuf1 == nullptr) return 0.0f;
    std::strcpy(a.outBuf1, folder.c_str());
    return 1.0f;
}

TRIMORA_COMMAND(CreateFolder) {
    if (a.text == nullptr) return -1.0f;
    return KVPlatform::createOneFolder(KVString(a.text)) ? 0.0f : -1.0f;
}
