// Helpers the command tests share: polling, file contents, hand-laid mesh files and the process table.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "PluginHost.h"

namespace testsupport {

using ::waitFor;  // the test host's

inline std::string contents(const std::string& path) {
    std::string bytes;
    return readFile(path, bytes) ? bytes : std::string("<missing>");
}

inline std::set<std::string> folderNames(const std::string& folder) {
    const std::vector<std::string> list = listFolder(folder);
    return std::set<std::string>(list.begin(), list.end());
}

// A mesh exchange file laid out by hand, for contents no writer makes: header, blocks, end block.
struct KelBlock {
    std::uint32_t tag, count;
    std::string payload;
};
template <typename T>
std::string bytesOf(const std::vector<T>& values) {
    return std::string(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T));
}
inline std::string kelBytes(const std::vector<KelBlock>& blocks) {
    std::string out = "Kelb" + std::string(28, '\0');
    auto blockBytes = [&out](std::uint32_t tag, std::uint32_t count, const std::string& payload) {
        out += bytesOf(std::vector<std::uint32_t>{tag, static_cast<std::uint32_t>(16 + payload.size()), count, 0});
        out += payload;
    };
    for (const KelBlock& b : blocks) blockBytes(b.tag, b.count, b.payload);
    blockBytes(0, 0, "");
    return out;
}

// One row of the process table.
struct Process {
    int pid, ppid;
    char state;
    std::string cmdline;  // arguments separated by NUL
};
inline std::vector<Process> processes() {
    std::vector<Process> all;
    for (const std::string& name : listFolder("/proc")) {
        if (name.empty() || name.find_first_not_of("0123456789") != std::string::npos) continue;
        Process p{std::stoi(name), 0, 0, ""};
        std::string stat;
        if (!readFile("/proc/" + name + "/stat", stat)) continue;
        const std::size_t paren = stat.rfind(')');
        if (paren == std::string::npos || std::sscanf(stat.c_str() + paren + 1, " %c %d", &p.state, &p.ppid) != 2)
            continue;
        readFile("/proc/" + name + "/cmdline", p.cmdline);
        all.push_back(p);
    }
    return all;
}
// Live processes (zombies have finished their work) whose command line holds `text`.
inline int processesMentioning(const std::string& text) {
    int n = 0;
    for (const Process& p : processes()) n += p.state != 'Z' && p.cmdline.find(text) != std::string::npos;
    return n;
}
inline bool noZombieChild() {
    for (const Process& p : processes())
        if (p.ppid == getpid() && p.state == 'Z') return false;
    return true;
}

}  // namespace testsupport
