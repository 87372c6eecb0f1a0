// Shared by the fuzz targets: the input bytes as a real file, since every reader opens a path.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzz {

// A file name private to this process, in memory-backed /dev/shm when there is one.
inline std::string scratchPath(const char* stem) {
    const char* dir = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    return std::string(dir) + "/trimora_fuzz_" + stem + "_" + std::to_string(getpid());
}

// Replaces the file with exactly these bytes; false when it cannot be written (the harness then
// has nothing to test for this input).
inline bool writeFile(const std::string& path, const std::uint8_t* data, std::size_t size) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) return false;
    const bool ok = (size == 0 || std::fwrite(data, 1, size, f) == size);
    return std::fclose(f) == 0 && ok;
}

// A broken invariant is a crash the fuzzer must report, in every build.
#define FUZZ_CHECK(cond)                                                        \
    do {                                                                        \
        if (!(cond)) {                                                          \
            std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
            std::abort();                                                       \
        }                                                                       \
    } while (0)

}  // namespace fuzz
