// KVDiskServer on POSIX: existence tests, deletion, renaming, the permission-lending copy, path pieces.
#include "native/KVDiskServer.h"

#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

FILE* const KVDiskServer::s_invalidFile = nullptr;

namespace {

// The valid-file-path form of a string, never null (a null string is the empty path).
const char* validPath(const KVString& path) {
    const char* p = path.getValidFilePath();
    return p ? p : "";
}

// The path exactly as given, never null.
const char* givenPath(const KVString& path) { return path.c_str(); }

bool statIs(const char* path, mode_t typeBits) {
    if (path[0] == '\0' || access(path, F_OK) != 0) return false;
    struct stat st;
    if (stat(path, &st) != 0) return false;
    return (st.st_mode & S_IFMT) == typeBits;
}

constexpr std::size_t kCopyBufferSize = 1048576;  // 1 MiB

// Folder whose mode copyFile changed, and the mode to give back.
struct LentFolder {
    std::string path;
    std::uint16_t mode = 0;
    bool changed = false;

    void restore() {
        if (changed) {
            chmod(path.c_str(), static_cast<mode_t>(mode & 07777));
            changed = false;
        }
    }
};

}  // namespace

bool KVDiskServer::fileExists(const KVString& path) { return statIs(validPath(path), S_IFREG); }

bool KVDiskServer::folderExists(const KVString& path) { return statIs(validPath(path), S_IFDIR); }

bool KVDiskServer::deleteFile(const KVString& path) {
    const char* p = validPath(path);
    return p[0] != '\0' && std::remove(p) == 0;
}

bool KVDiskServer::deleteFolder(const KVString& path) {
    const char* p = validPath(path);
    return p[0] != '\0' && std::remove(p) == 0;
}

bool KVDiskServer::renameFile(const KVString& oldPath, const KVString& newPath) {
    const char* from = validPath(oldPath);
    const char* to = givenPath(newPath);
    if (from[0] == '\0' || to[0] == '\0') return false;
    return std::rename(from, to) == 0;
}

// The folder whose write permission is lent is cut from the target as given, like every mode
// operation here: a "file:" or "!:" target names no such folder, so nothing is lent for it.
bool KVDiskServer::copyFile(const KVString& source, const KVString& target) {
    const char* sourcePath = validPath(source);
    const char* targetPath = validPath(target);
    if (sourcePath[0] == '\0' || targetPath[0] == '\0') return false;

    // 1. Source.
    FILE* in = std::fopen(sourcePath, "rb");
    if (in == s_invalidFile) return false;

    // 2. Target.
    LentFolder folder;
    FILE* out = std::fopen(targetPath, "wb");
    if (out == s_invalidFile) {
        // 3. Lend write permission to the target's folder when there is one.
        const char* given = givenPath(target);
        const char* sep = std::strrchr(given, '/');
        const char* backSep = std::strrchr(given, '\\');
        if (backSep != nullptr && (sep == nullptr || backSep > sep)) sep = backSep;
        if (sep != nullptr && sep > given) {
            folder.path.assign(given, static_cast<std::size_t>(sep - given));
            folder.mode = getMode(KVString(folder.path.c_str()));
            // A mode of 0 means the folder's status could not be read: nothing to lend.
            if (folder.mode != 0 &&
                chmod(folder.path.c_str(), static_cast<mode_t>((folder.mode | 0222) & 07777)) == 0) {
                folder.changed = true;
            }
        }
        // 4. Second try.
        out = std::fopen(targetPath, "wb");
        if (out == s_invalidFile) {
            folder.restore();
            std::fclose(in);
            return false;
        }
    }

    // 5. Copy through a 1 MiB buffer.
    std::unique_ptr<unsigned char[]> buffer(new (std::nothrow) unsigned char[kCopyBufferSize]);
    bool ok = buffer != nullptr;
    while (ok) {
        const std::size_t got = std::fread(buffer.get(), 1, kCopyBufferSize, in);
        if (got == 0) break;
        if (std::fwrite(buffer.get(), 1, got, out) < got) ok = false;
    }
    if (ok && std::ferror(in)) ok = false;

    // 6./7. Close; a failed copy leaves no target behind.
    std::fclose(in);
    if (std::fclose(out) != 0) ok = false;
    if (!ok) std::remove(targetPath);
    folder.restore();
    return ok;
}

KVString KVDiskServer::getCurrentPath() {
    char buffer[512];
    if (getcwd(buffer, sizeof buffer) == nullptr) return KVString();
    return KVString(buffer);
}

bool KVDiskServer::openFolder(const KVString& path) {
    const char* p = validPath(path);
    return p[0] != '\0' && chdir(p) == 0;
}

bool KVDiskServer::createFolder(const KVString& path) {
    const char* p = givenPath(path);
    return p[0] != '\0' && mkdir(p, 0700) == 0;
}

bool KVDiskServer::removePathFromFilename(KVString& name) {
    const char* s = name.c_str();
    const char* slash = std::strrchr(s, '/');
    const char* back = std::strrchr(s, '\\');
    const char* sep = slash;
    if (back != nullptr && (sep == nullptr || back > sep)) sep = back;
    if (sep != nullptr) {
        const std::string tail(sep + 1);
        name = tail.c_str();
    }
    return true;
}

bool KVDiskServer::extractPathFromFilename(KVString& name) {
    const char* s = name.c_str();
    const char* slash = std::strrchr(s, '/');  // only '/' counts here, not '\'
    if (slash == nullptr) {
        name = KVString();
    } else {
        const std::string head(s, static_cast<std::size_t>(slash - s) + 1);
        name = head.c_str();
    }
    return true;
}

bool KVDiskServer::extractPathFromFilename(KVString& out, const KVString& in) {
    out = in;
    return extractPathFromFilename(out);
}

bool KVDiskServer::fileNameHasExtension(const KVString& name, const KVString& extension) {
    std::string ext = extension.c_str();
    if (ext.empty() || ext[0] != '.') ext.insert(ext.begin(), '.');
    const char* s = name.c_str();
    const std::size_t len = std::strlen(s);
    if (len < ext.size()) return false;
    return std::memcmp(s + (len - ext.size()), ext.data(), ext.size()) == 0;
}

std::uint16_t KVDiskServer::getMode(const KVString& path) {
    struct stat st;
    if (stat(givenPath(path), &st) != 0) return 0;
    return static_cast<std::uint16_t>(st.st_mode);
}

int KVDiskServer::setMode(const KVString& path, std::uint16_t mode) {
    return chmod(givenPath(path), static_cast<mode_t>(mode));
}

KVString KVDiskServer::getApplicationFolder() { return KVString("/Applications"); }
