// The table of every command the host scripts can call.
#pragma once

#include <cstddef>
#include <cstring>

namespace plug {

constexpr std::size_t kCommandCount = 59;

// Every exported command name, in the order of the host's command table. The module's
// export list (Trimora.map) names the same commands.
inline constexpr const char* kCommandNames[kCommandCount] = {
    "InitTrimora",
    "SetTrimoraAppPath",
    "SetItemPos",
    "GetDefaultNumThreads",
    "StartDeclareKelFiles",
    "AddOneKelFile",
    "SetTextureFileNameForLastKel",
    "DeclareLastKelInvisible",
    "DeclareLastKelOutputFile",
    "SetCurrentKelFile",
    "EndDeclareKelFiles",
    "DeleteDeclaredKelFiles",
    "SetTextureExt",
    "SetTextureQuality",
    "InitBBox3D",
    "AddBBox3D",
    "GetBBoxFromKelFile",
    "PushCurrentFolder",
    "PopCurrentFolder",
    "PushYTLFile",
    "PopYTLFile",
    "FileCreateEmpty",
    "FileDelete",
    "PrintInLog",
    "SetCopySrc",
    "DoCopyTo",
    "System",
    "GetNumProcs",
    "Is64BitsDll",
    "Is64BitsSystem",
    "YSleep",
    "IsFiniteValue",
    "RemoveAllFilesWithFilterAndFolder",
    "GetUndoNumberFromButtonName",
    "FixPlastraFreeze",
    "GetPublicFolder",
    "CreateFolder",
    "LaunchTrimoraApp",
    "LaunchTrimoraAppAndWait",
    "TrimoraAppIsRunning",
    "GetTrimoraAppProgressInfo",
    "GetPMeshOriginalKVertexCount",
    "GetPMeshOriginalKTriangleCount",
    "DeleteResultingKelFile",
    "DeclareProgMeshCachesDir",
    "DeclareProgMeshCachesToKeep",
    "DeleteAllProgMeshCaches",
    "ExportOBJAllDeclaredKel",
    "StartExportAllSubTools",
    "ExportOneSubToolVertices",
    "ExportOneSubToolUVs",
    "ExportOneSubToolFaces",
    "DeclareToolHasTexture",
    "DeclareTextureName",
    "EndExportAllSubTools",
    "BeforeGetMeshUVInfo",
    "AfterGetMeshUVInfo",
    "SaveAndClearImportedScaleFactorAndOffset",
    "RestoreImportedScaleFactorAndOffset",
};

// True when `name` is one of the commands.
inline bool isCommandName(const char* name) {
    if (name == nullptr) return false;
    for (const char* command : kCommandNames)
        if (std::strcmp(command, name) == 0) return true;
    return false;
}

}  // namespace plug
