// Helpers for the native tests: pattern bytes, the folder of the running test executable (read
// here, not through the code under test), and running a check as the unprivileged user.
#pragma once

#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "PluginHost.h"

namespace nativetest {

// A file's bytes, empty when it cannot be read.
inline std::string readText(const std::string& path) {
    std::string bytes;
    return readFile(path, bytes) ? bytes : std::string();
}

// Deterministic pseudo-random bytes.
inline std::string patternBytes(std::size_t size, unsigned seed) {
    std::string bytes(size, '\0');
    unsigned x = seed * 2654435761u + 1u;
    for (std::size_t i = 0; i < size; ++i) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        bytes[i] = static_cast<char>(x >> 11);
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
