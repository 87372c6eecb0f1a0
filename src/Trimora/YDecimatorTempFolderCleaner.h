// YDecimatorTempFolderCleaner: start-up removal of what earlier jobs left in the temporary folder.
#pragma once

#include "KVArray.h"
#include "KVString.h"

// Files removed at start-up, by name ending (any case): ".ydc", ".log", ".running", ".ymesh",
// ".data", ".ypm" (only when progressive-mesh caches are cleaned too), ".kel", ".obj",
// ".obj.colors". Everything else, the preferences file ".ypr" among it, is kept.
class YDecimatorTempFolderCleaner {
public:
    // Whether a path is one that start-up removes.
    static bool isLeftOver(const KVString& path, bool withProgMeshCaches);
    // folder + "/" + name for each entry of the folder (no recursion, any entry type) that
    // isLeftOver, in reading order. False, with an empty list, when the folder cannot be opened.
    static bool listLeftOvers(const char* folder, bool withProgMeshCaches, KVArray<KVString>& paths);
    // Deletes the paths in order, logging "Clean : RemovingFile:<path>" for each, removed or not.
    // Returns how many were actually removed.
    static int removeFiles(const KVArray<KVString>& paths);
};
