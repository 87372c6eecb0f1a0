// KVDiskServer: file existence, deletion, renaming, copying, folders and path pieces.
#pragma once

#include <cstdint>
#include <cstdio>

#include "KVString.h"

// Paths go through KVString::getValidFilePath unless an operation says "as given".
// Every operation reports through its result and never prints.
class KVDiskServer {
public:
    // The handle value that a failed open returns.
    static FILE* const s_invalidFile;

    static bool fileExists(const KVString& path);
    static bool folderExists(const KVString& path);
    static bool deleteFile(const KVString& path);
    static bool deleteFolder(const KVString& path);
    // The new path is used exactly as given.
    static bool renameFile(const KVString& oldPath, const KVString& newPath);
    // Lends write permission to a protected target folder for the copy, then gives it back.
    static bool copyFile(const KVString& source, const KVString& target);
    static KVString getCurrentPath();
    static bool openFolder(const KVString& path);
    // mkdir of the path as given, mode 0700; no intermediate folders.
    static bool createFolder(const KVString& path);

    static bool removePathFromFilename(KVString& name);
    static bool extractPathFromFilename(KVString& name);
    static bool extractPathFromFilename(KVString& out, const KVString& in);
    static bool fileNameHasExtension(const KVString& name, const KVString& extension);

    // Path as given. 0 when the status cannot be read.
    static std::uint16_t getMode(const KVString& path);
    static int setMode(const KVString& path, std::uint16_t mode);

    static KVString getApplicationFolder();
};
