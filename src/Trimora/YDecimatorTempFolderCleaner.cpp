// YDecimatorTempFolderCleaner: folder scan and deletion of left-over job files.
#include "Trimora/YDecimatorTempFolderCleaner.h"

#include <dirent.h>

#include "log/KVLogServer.h"
#include "native/KVDiskServer.h"

bool YDecimatorTempFolderCleaner::isLeftOver(const KVString& path, bool withProgMeshCaches) {
    static const KVString before[] = {".ydc", ".log", ".running", ".ymesh", ".data"};
    static const KVString after[] = {".kel", ".obj", ".obj.colors"};
    static const KVString caches(".ypm");
    for (const KVString& ext : before)
        if (path.endsWith(ext, true)) return true;
    if (withProgMeshCaches && path.endsWith(caches, true)) return true;
    for (const KVString& ext : after)
        if (path.endsWith(ext, true)) return true;
    return false;
}

bool YDecimatorTempFolderCleaner::listLeftOvers(const char* folder, bool withProgMeshCaches,
                                                KVArray<KVString>& paths) {
    paths.clear();
    paths.reserve(1024);
    if (folder == nullptr) return false;
    DIR* dir = opendir(folder);
    if (dir == nullptr) return false;
    const KVString prefix = KVString(folder) + "/";
    while (const dirent* entry = readdir(dir)) {
        KVString path = prefix + entry->d_name;
        if (isLeftOver(path, withProgMeshCaches)) paths.add(static_cast<KVString&&>(path));
    }
    closedir(dir);
    return true;
}

int YDecimatorTempFolderCleaner::removeFiles(const KVArray<KVString>& paths) {
    int removed = 0;
    for (const KVString& path : paths) {
        if (KVDiskServer::deleteFile(path)) ++removed;
        KVLogServer::printLine("Clean : RemovingFile:%s", path.c_str());
    }
    return removed;
}
