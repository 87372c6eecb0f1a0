// Progressive-mesh cache commands.
#include "TrimoraCaches.h"

#include <dirent.h>

#include <cstdio>

#include "ProgressiveMesh/KVProgressiveMeshHeader.h"
#include "log/KVLogServer.h"
#include "native/KVDiskServer.h"

KVString s_progMeshCachesDir;
KVArray<KVString> s_progMeshCachesToKeep;

namespace {

constexpr int kCacheListRoom = 1024;

// Reads the header of the cache named by `text`; false when the file cannot be opened.
bool readCacheHeader(const char* text, KVProgressiveMeshHeader& header) {
    const KVString path(text);
    const char* valid = path.getValidFilePath();
    FILE* f = std::fopen(valid ? valid : "", "rb");
    if (f == KVDiskServer::s_invalidFile) return false;
    header.read(f);
    std::fclose(f);
    return true;
}

}  // namespace

TRIMORA_COMMAND(GetPMeshOriginalKVertexCount) {
    KVLogServer::printLine("GetPMeshOriginalKVertexCount called.");
    KVProgressiveMeshHeader header;
    if (!readCacheHeader(a.text, header)) return -1.0f;
    return static_cast<float>(header.m_originalVertexCount) / 1000.0f;
}

TRIMORA_COMMAND(GetPMeshOriginalKTriangleCount) {
    KVLogServer::printLine("GetPMeshOriginalKTriangleCount called.");
    KVProgressiveMeshHeader header;
    if (!readCacheHeader(a.text, header)) return -1.0f;
    return static_cast<float>(header.m_originalTriangleCount) / 1000.0f;
}

TRIMORA_COMMAND(DeleteResultingKelFile) {
    if (a.text == nullptr) {
        KVLogServer::printLine("DeleteResultingKelFile called.");
        return -1.0f;
    }
    KVLogServer::printLine("DeleteResultingKelFile called : %s", a.text);
    return KVDiskServer::deleteFile(KVString(a.text)) ? 0.0f : -1.0f;
}

TRIMORA_COMMAND(DeclareProgMeshCachesDir) {
    KVLogServer::printLine("DeclareProgMeshCachesDir called : %s", a.text ? a.text : "");
    s_progMeshCachesDir = a.text;
    return 0.0f;
}

TRIMORA_COMMAND(DeclareProgMeshCachesToKeep) {
    KVLogServer::printLine("DeclareProgMeshCachesToKeep called : %s", a.text ? a.text : "");
    s_progMeshCachesToKeep.add(KVString(a.text));
    return 0.0f;
}

TRIMORA_COMMAND(DeleteAllProgMeshCaches) {
    KVLogServer::printLine("DeleteAllProgMeshCaches called.");
    KVArray<KVString> caches;
    caches.reserve(kCacheListRoom);

    const KVString folder(s_progMeshCachesDir.getValidFilePath());
    if (folder.isEmpty()) return 0.0f;

    // Collect first, delete after: deleting while the folder is read could skip entries.
    if (DIR* dir = opendir(folder.c_str())) {
        const KVString extension(".ypm");
        while (const dirent* entry = readdir(dir)) {
            const KVString path = folder + "/" + KVString(entry->d_name);
            if (path.endsWith(extension, true)) caches.add(path);
        }
        closedir(dir);
    }
    // Every cache goes, declared to keep or not; the result counts the attempts.
    for (const KVString& path : caches) KVDiskServer::deleteFile(path);
    return static_cast<float>(caches.getCount());
}
