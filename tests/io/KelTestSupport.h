// Helpers for the mesh exchange file tests: a file-size cap, raw file building, allocation watch.
#pragma once

#include <sys/resource.h>

#include <csignal>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "KVArray.h"
#include "PluginHost.h"

namespace keltest {

// Caps the size of the files this process writes while the object lives: writes past the cap
// fail (EFBIG) instead of raising SIGXFSZ. A real short write on a real file, which a device
// like /dev/full cannot give safely: the writers delete their file on failure.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        m_handler = std::signal(SIGXFSZ, SIG_IGN);
        if (getrlimit(RLIMIT_FSIZE, &m_old) != 0) return;
        rlimit r = m_old;
        r.rlim_cur = bytes;
        m_ok = setrlimit(RLIMIT_FSIZE, &r) == 0;
    }
    ~FileSizeLimit() {
        if (m_ok) setrlimit(RLIMIT_FSIZE, &m_old);
        std::signal(SIGXFSZ, m_handler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    bool ok() const { return m_ok; }

private:
    rlimit m_old{};
    void (*m_handler)(int) = SIG_DFL;
    bool m_ok = false;
};

using Bytes = std::string;

// Builds a file byte by byte, so tests can write headers no writer would.
class KelBytes {
public:
    KelBytes& fileHeader(const char* magic = "Kelb") { return raw(magic, 4).raw(std::string(28, '\0').data(), 28); }
    KelBytes& u32(std::uint32_t v) { return raw(&v, 4); }
    KelBytes& raw(const void* data, std::size_t n) {
        m_bytes.append(static_cast<const char*>(data), n);
        return *this;
    }
    KelBytes& header(std::uint32_t tag, std::uint32_t length, std::uint32_t count) {
        return u32(tag).u32(length).u32(count).u32(0);
    }
    // A well-formed block: length = 16 + payload size.
    template <typename T>
    KelBytes& block(std::uint32_t tag, std::uint32_t count, const std::vector<T>& payload) {
        header(tag, static_cast<std::uint32_t>(16 + payload.size() * sizeof(T)), count);
        if (!payload.empty()) raw(payload.data(), payload.size() * sizeof(T));
        return *this;
    }
    KelBytes& end() { return header(0, 16, 0); }
    const Bytes& bytes() const { return m_bytes; }
    std::size_t size() const { return m_bytes.size(); }

    bool save(const std::string& path) const { return writeFile(path, m_bytes); }

private:
    Bytes m_bytes;
};

inline Bytes load(const std::string& path) {
    Bytes bytes;
    return readFile(path, bytes) ? bytes : Bytes();
}

template <typename T>
std::vector<T> toVector(const KVArray<T>& a) {
    return std::vector<T>(a.begin(), a.end());
}

// The test binary replaces operator new. Bytes held through operator new now, and their highest mark since resetPeakHeldBytes().
std::size_t heldBytes();
std::size_t peakHeldBytes();
void resetPeakHeldBytes();

}  // namespace keltest
