// Helpers for the mesh exchange file tests: a temporary folder, raw file building, allocation watch.
#pragma once

#include <ftw.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "KVArray.h"
#include "PluginHost.h"

namespace keltest {

// The test host's temporary folder: removed with everything in it, protected folders included.
using TempFolder = ::TempFolder;

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

using Bytes = std::vector<unsigned char>;

// Builds a file byte by byte, so tests can write headers no writer would.
class KelBytes {
public:
    KelBytes& fileHeader(const char* magic = "Kelb") {
        m_bytes.insert(m_bytes.end(), magic, magic + 4);
        m_bytes.insert(m_bytes.end(), 28, 0);
        return *this;
    }
    KelBytes& u32(std::uint32_t v) {
        const unsigned char* p = reinterpret_cast<const unsigned char*>(&v);
        m_bytes.insert(m_bytes.end(), p, p + 4);
        return *this;
    }
    KelBytes& raw(const void* data, std::size_t n) {
        const unsigned char* p = static_cast<const unsigned char*>(data);
        m_bytes.insert(m_bytes.end(), p, p + n);
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

    bool save(const std::string& path) const {
        FILE* f = std::fopen(path.c_str(), "wb");
        if (f == nullptr) return false;
        const bool ok = m_bytes.empty() || std::fwrite(m_bytes.data(), 1, m_bytes.size(), f) == m_bytes.size();
        return std::fclose(f) == 0 && ok;
    }

private:
    Bytes m_bytes;
};

inline Bytes load(const std::string& path) {
    Bytes bytes;
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return bytes;
    unsigned char buf[4096];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) bytes.insert(bytes.end(), buf, buf + n);
    std::fclose(f);
    return bytes;
}

inline bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

template <typename T>
std::vector<T> toVector(const KVArray<T>& a) {
    return std::vector<T>(a.begin(), a.end());
}

// The test binary replaces operator new. Bytes held through operator new now, and their highest mark since resetPeakHeldBytes().
std::size_t heldBytes();
std::size_t peakHeldBytes();
void resetPeakHeldBytes();

}  // namespace keltest
