// trimora_argdump: writes how it was started into argv[1] + ".out", for the launch tests.
// Lines: "argc=N", "arg=<argv[1]>", "session=0|1" (getsid(0) == getpid()), "pid=N",
// "stdin=<target of fd 0>", "fds=a,b,c" (open descriptors, without the one reading the list).
// The report is written to a temporary name and renamed, so a reader sees it whole.
#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    if (argc < 2) return 2;

    std::vector<int> fds;
    if (DIR* dir = opendir("/proc/self/fd")) {
        const int own = dirfd(dir);
        while (dirent* entry = readdir(dir)) {
            char* end = nullptr;
            const long fd = std::strtol(entry->d_name, &end, 10);
            if (end == entry->d_name || *end != '\0' || fd == own) continue;
            fds.push_back(static_cast<int>(fd));
        }
        closedir(dir);
    }
    std::sort(fds.begin(), fds.end());

    char target[4096];
    const ssize_t n = readlink("/proc/self/fd/0", target, sizeof target - 1);
    target[n < 0 ? 0 : n] = '\0';

    std::string report = "argc=" + std::to_string(argc) + "\n";
    report += "arg=" + std::string(argv[1]) + "\n";
    report += std::string("session=") + (getsid(0) == getpid() ? "1" : "0") + "\n";
    report += "pid=" + std::to_string(getpid()) + "\n";
    report += "stdin=" + std::string(target) + "\n";
    report += "fds=";
    for (std::size_t i = 0; i < fds.size(); ++i) report += (i ? "," : "") + std::to_string(fds[i]);
    report += "\n";

    const std::string out = std::string(argv[1]) + ".out";
    const std::string tmp = out + ".tmp";
    FILE* f = std::fopen(tmp.c_str(), "wb");
    if (f == nullptr) return 3;
    const bool written = std::fwrite(report.data(), 1, report.size(), f) == report.size();
    if (std::fclose(f) != 0 || !written) return 4;
    if (std::rename(tmp.c_str(), out.c_str()) != 0) return 5;

    // Linger a moment so the tests see a live child that must then be reaped.
    usleep(100 * 1000);
    return 0;
}
