// KVPlatform on Linux: processor count, application launch, public and host folders, folder creation.
#include "native/KVPlatform.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace KVPlatform {

int processorsScheduled() {
    const long n = sysconf(_SC_NPROCESSORS_ONLN);
    if (n < 1) return 1;
    if (n > 1000000) return 1000000;
    return static_cast<int>(n);
}

namespace {

bool isExecutableFile(const char* path) {
    if (path == nullptr || path[0] == '\0') return false;
    struct stat st;
    if (stat(path, &st) != 0 || !S_ISREG(st.st_mode)) return false;
    return access(path, X_OK) == 0;
}

// Keeps the host's own descriptors out of the child: only 0, 1 and 2 cross the exec.
int addCloseOtherDescriptors(posix_spawn_file_actions_t* actions) {
#if defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 34))
    return posix_spawn_file_actions_addclosefrom_np(actions, 3);
#else
    // Older C libraries: close, in the child, every descriptor open now. Descriptors opened by
    // other threads between this listing and the spawn may still be inherited.
    std::vector<int> fds;
    if (DIR* dir = opendir("/proc/self/fd")) {
        const int own = dirfd(dir);
        while (dirent* entry = readdir(dir)) {
            char* end = nullptr;
            const long fd = std::strtol(entry->d_name, &end, 10);
            if (end == entry->d_name || *end != '\0' || fd < 3 || fd == own) continue;
            fds.push_back(static_cast<int>(fd));
        }
        closedir(dir);
    }
    for (int fd : fds) {
        const int rc = posix_spawn_file_actions_addclose(actions, fd);
        if (rc != 0) return rc;
    }
    return 0;
#endif
}

// Keeps the module that holds this code loaded for the rest of the process. A reaper thread may
// outlive the host's dlclose of the plug-in (a decimation runs for minutes); its code must stay
// mapped until waitpid returns. In a program that links the library statically this does nothing.
void pinThisModule() {
    static std::once_flag once;
    std::call_once(once, []() {
        Dl_info info;
        if (dladdr(reinterpret_cast<void*>(&pinThisModule), &info) != 0 && info.dli_fname != nullptr) {
            // NOLOAD: only takes a reference to the module already loaded; NODELETE: never unmapped.
            dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
        }
    });
}

// Waits for the one child `pid` so that it never lingers as a zombie.
//
// Why a thread: the launch must not block the host's script thread, the host must not see a
// zombie of ours, and we may not touch the host's SIGCHLD disposition (setting SIG_IGN or
// SA_NOCLDWAIT would change how the host's own children are reaped). Double-spawning through an
// intermediate process would need a fork of the host or a shell. So a small detached thread
// waits for exactly this pid (never -1, so the host's children are left to the host). If the host
// reaps it first (its own waitpid(-1)) or ignores SIGCHLD, waitpid answers ECHILD and the thread
// simply ends.
void reapInBackground(pid_t pid) {
    try {
        pinThisModule();
        std::thread([pid]() {
            int status = 0;
            while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
            }
        }).detach();
    } catch (...) {
        // No thread could be started: the application still runs; it stays a zombie after it
        // exits until the host reaps its children. Nothing better is possible without a fork.
    }
}

}  // namespace

bool launchApplication(const KVString& applicationPath, const KVString& argument) {
    // The caller hands the application path already normalised; it is used as given.
    const std::string app = applicationPath.c_str();
    const std::string arg = argument.c_str();
    if (!isExecutableFile(app.c_str())) return false;

    posix_spawn_file_actions_t actions;
    if (posix_spawn_file_actions_init(&actions) != 0) return false;
    posix_spawnattr_t attr;
    if (posix_spawnattr_init(&attr) != 0) {
        posix_spawn_file_actions_destroy(&actions);
        return false;
    }

    bool ready = true;
    // Standard input from /dev/null; standard output and error are shared with the host.
    ready = ready && posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0) == 0;
    ready = ready && addCloseOtherDescriptors(&actions) == 0;

    // A session of its own (no controlling terminal, out of the host's process group), an empty
    // signal mask and default signal actions, whatever the host's thread blocks or ignores.
    sigset_t none;
    sigemptyset(&none);
    sigset_t all;
    sigfillset(&all);
    ready = ready && posix_spawnattr_setsigmask(&attr, &none) == 0;
    ready = ready && posix_spawnattr_setsigdefault(&attr, &all) == 0;
    ready = ready &&
            posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK |
                                                POSIX_SPAWN_SETSIGDEF) == 0;

    bool launched = false;
    if (ready) {
        // Exactly one argument: argv = { application, argument, NULL }.
        char* argv[3] = {const_cast<char*>(app.c_str()), const_cast<char*>(arg.c_str()), nullptr};
        pid_t pid = -1;
        // posix_spawn does not fork the host: glibc uses clone(CLONE_VM | CLONE_VFORK) and
        // reports a failed exec through its result.
        if (posix_spawn(&pid, app.c_str(), &actions, &attr, argv, environ) == 0 && pid > 0) {
            launched = true;
            reapInBackground(pid);
        }
    }

    posix_spawnattr_destroy(&attr);
    posix_spawn_file_actions_destroy(&actions);
    return launched;
}

KVString publicFolder() {
    struct stat st;
    if (stat("/home", &st) == 0 && S_ISDIR(st.st_mode)) return KVString("/home");
    return KVString();
}

KVString hostApplicationFolder() {
    std::vector<char> buffer(512);
    for (;;) {
        const ssize_t n = readlink("/proc/self/exe", buffer.data(), buffer.size());
        if (n < 0) return KVString();
        if (static_cast<std::size_t>(n) < buffer.size()) {
            std::string exe(buffer.data(), static_cast<std::size_t>(n));
            const std::size_t slash = exe.rfind('/');
            if (slash == std::string::npos) return KVString();
            if (slash == 0) return KVString("/");
            exe.resize(slash);
            return KVString(exe.c_str());
        }
        if (buffer.size() >= (1u << 20)) return KVString();
        buffer.resize(buffer.size() * 2);
    }
}

bool createOneFolder(const KVString& path) {
    const char* p = path.getValidFilePath();
    if (p == nullptr || p[0] == '\0') return false;
    return mkdir(p, 0755) == 0;
}

}  // namespace KVPlatform
