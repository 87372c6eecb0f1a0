// KVTrimoraFolderServer: names in the temporary folder.
#include "ProgressiveMesh/KVTrimoraFolderServer.h"

#include "native/KVDiskServer.h"

KVString KVTrimoraFolderServer::s_temporaryFolder;

void KVTrimoraFolderServer::setTemporaryFolder(const KVString& folder) {
    s_temporaryFolder = folder;
    const int len = s_temporaryFolder.length();
    if (len > 0) {
        const char last = s_temporaryFolder[len - 1];
        if (last == '/' || last == '\\') s_temporaryFolder = s_temporaryFolder.subString(0, len - 1);
    }
}

const KVString& KVTrimoraFolderServer::getTemporaryFolder() { return s_temporaryFolder; }

KVString KVTrimoraFolderServer::getTemporaryFileName(const KVString& name) {
    if (s_temporaryFolder.isEmpty()) return name;
    return s_temporaryFolder + "/" + name;
}

KVString KVTrimoraFolderServer::buildUniqueTemporaryFileName(const KVString& name) {
    KVString candidate = getTemporaryFileName(name);
    while (KVDiskServer::fileExists(candidate)) candidate.fileNameAdvance();
    return candidate;
}
