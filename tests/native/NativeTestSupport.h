// Helpers for the native tests: a temporary folder removed at the end, small file utilities,
// the folder of the running test executable, and running a check as the unprivileged user.
#pragma once

#include <ftw.h>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "PluginHost.h"

namespace nativetest {

// The test host's temporary folder: removed with everything in it, protected folders included.
using TempFolder = ::TempFolder;

inline bool writeBytes(const std::string& path, const std::vector<unsigned char>& bytes) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) return false;
    const bool ok = bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return std::fclose(f) == 0 && ok;
}

inline bool writeText(const std::string& path, const std::string& text) {
    return writeBytes(path, std::vector<unsigned char>(text.begin(), text.end()));
}

inline bool readBytes(const std::string& path, std::vector<unsigned char>& bytes) {
    bytes.clear();
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return false;
    unsigned char chunk[65536];
    std::size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0) bytes.insert(bytes.end(), chunk, chunk + n);
    const bool ok = !std::ferror(f);
    std::fclose(f);
    return ok;
}

inline std::string readText(const std::string& path) {
    std::vector<unsigned char> bytes;
    readBytes(path, bytes);
    return std::string(bytes.begin(), bytes.end());
}

// Deterministic pseudo-random bytes.
inline std::vector<unsigned char> patternBytes(std::size_t size, unsigned seed) {
    std::vector<unsigned char> bytes(size);
    unsigned x = seed * 2654435761u + 1u;
    for (std::size_t i = 0; i < size; ++i) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        bytes[i] = static_cast<unsigned char>(x >> 11);
    }
    return bytes;
}

// Folder of the running test executable (where the helper programs are built).
inline std::string executableFolder() {
    char buffer[4096];
    const ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (n <= 0) return std::string();
    std::string exe(buffer, static_cast<std::size_t>(n));
    return exe.substr(0, exe.rfind('/'));
}

constexpr uid_t kNobody = 65534;

// Runs `check` in a forked child as user and group 65534 and answers its exit status
// (0 = passed), or -1 when the child could not be started or did not exit normally.
// Permissions do not block root, so tests that need a real permission failure go through here.
template <typename Check>
int runAsNobody(Check check) {
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid < 0) return -1;
    if (pid == 0) {
        if (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0) _exit(100);
        if (geteuid() != kNobody) _exit(101);
        _exit(check());
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Runs `check` as nobody when the tests run as root, directly otherwise.
template <typename Check>
int runUnprivileged(Check check) {
    return geteuid() == 0 ? runAsNobody(check) : check();
}

}  // namespace nativetest
