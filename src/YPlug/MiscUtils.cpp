// MiscUtils: folder and tool-file stacks, empty files, logged copies, filtered cleaning, undo numbers.
#include "YPlug/MiscUtils.h"

#include <dirent.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Trimora/YDecimatorTempFolderCleaner.h"
#include "log/KVLogServer.h"
#include "native/KVDiskServer.h"

KVArray<KVString> s_currentFolderHeap;
KVArray<KVString> s_fileHeap1;
KVArray<KVString> s_fileHeap2;
KVString s_fileCopySrc;

namespace MiscUtils {

bool pushCurrentFolder(const KVString& folder) {
    s_currentFolderHeap.add(KVDiskServer::getCurrentPath());
    return KVDiskServer::openFolder(folder);
}

bool popCurrentFolder(bool& popped) {
    popped = false;
    if (s_currentFolderHeap.isEmpty()) return false;
    const KVString folder = s_currentFolderHeap.getLast();
    s_currentFolderHeap.removeLast();
    popped = true;
    return KVDiskServer::openFolder(folder);
}

KVString findAsideName(const KVString& path) {
    // Host tool files end in a four-character extension such as ".ytl"; the number goes before it.
    const int len = path.length();
    if (len >= kNameBufferSize) return path;  // no candidate fits the buffer: nothing is put aside
    const int baseLen = len >= 4 ? len - 4 : 0;
    const char* text = path.c_str();
    const char* ext = text + baseLen;

    char name[kNameBufferSize];
    std::snprintf(name, sizeof name, "%.*s%s", baseLen, text, ext);
    for (int n = 1; KVDiskServer::fileExists(KVString(name)); ++n) {
        char digits[16];
        const int numLen = std::snprintf(digits, sizeof digits, "%d", n);
        // A name longer than the buffer would be cut and tried again forever: stop with the path.
        if (n == INT_MAX || baseLen + numLen + (len - baseLen) >= kNameBufferSize) return path;
        std::snprintf(name, sizeof name, "%.*s%s%s", baseLen, text, digits, ext);
    }
    return KVString(name);
}

void pushToolFile(const KVString& path) {
    const KVString aside = findAsideName(path);
    s_fileHeap1.add(path);
    s_fileHeap2.add(aside);
    if (KVString::cmp(aside.c_str(), path.c_str()) != 0) KVDiskServer::renameFile(path, aside);
}

bool popToolFile() {
    if (s_fileHeap1.isEmpty() || s_fileHeap2.isEmpty()) return false;
    const KVString path = s_fileHeap1.getLast();
    const KVString aside = s_fileHeap2.getLast();
    s_fileHeap1.removeLast();
    s_fileHeap2.removeLast();
    KVDiskServer::deleteFile(path);
    // When nothing was put aside, the file written since the push is just deleted.
    if (KVString::cmp(aside.c_str(), path.c_str()) != 0) KVDiskServer::renameFile(aside, path);
    return true;
}

bool createEmptyFile(const char* path) {
    if (path == nullptr) return false;
    const KVString copy(path);
    const char* valid = copy.getValidFilePath();
    if (valid == nullptr) return false;
    FILE* f = std::fopen(valid, "w");
    if (f == KVDiskServer::s_invalidFile) return false;
    std::fclose(f);
    return true;
}

bool copyToTarget(const KVString& target) {
    if (KVDiskServer::copyFile(s_fileCopySrc, target)) {
        KVLogServer::printLine("Copy done : %s", s_fileCopySrc.c_str());
        KVLogServer::printLine("  -> %s", target.c_str());
        return true;
    }
    KVLogServer::printLine("*** Copy ERROR *** : %s", s_fileCopySrc.c_str());
    KVLogServer::printLine("   -> %s", target.c_str());
    return false;
}

KVString filterOf(const KVString& path) {
    KVString name = path;
    KVDiskServer::removePathFromFilename(name);
    const int dot = name.findLastCharOf(".");
    return dot >= 0 ? name.subString(dot) : name;
}

bool listFilesWithFilter(const KVString& path, KVArray<KVString>& files) {
    files.clear();
    files.reserve(1024);
    const KVString filter = filterOf(path);
    KVString folder;
    KVDiskServer::extractPathFromFilename(folder, path);
    DIR* dir = opendir(folder.c_str());
    if (dir == nullptr) return false;
    const KVString prefix = folder + "/";
    while (const dirent* entry = readdir(dir)) {
        KVString full = prefix + entry->d_name;
        if (full.endsWith(filter, true)) files.add(static_cast<KVString&&>(full));
    }
    closedir(dir);
    return true;
}

int removeAllFilesWithFilterAndFolder(const char* text) {
    const KVString given(text);
    const KVString path(given.getValidFilePath());
    KVArray<KVString> files;
    if (!listFilesWithFilter(path, files)) return 0;
    // Same deletion and "Clean : RemovingFile:" lines as the start-up cleaning.
    return YDecimatorTempFolderCleaner::removeFiles(files);
}

int undoNumberFromButtonName(const char* name) {
    if (name == nullptr) return -1;
    const char* blank = std::strchr(name, ' ');
    if (blank == nullptr) return -1;
    // As "%d" reads it: leading white space, a sign, decimal digits.
    const char* start = blank + 1;
    char* end = nullptr;
    const long n = std::strtol(start, &end, 10);
    if (end == start) return -1;
    if (n > INT_MAX) return INT_MAX;
    if (n < INT_MIN) return INT_MIN;
    return static_cast<int>(n);
}

}  // namespace MiscUtils
