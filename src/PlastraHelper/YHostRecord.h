// Host record access: the host's opaque types and reads and writes of host memory at byte positions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// The host's records, known to us only by the byte positions of the fields we use.
struct YWin;
struct YDoc;
struct YPulldownWin;
struct YUtility;
struct YTextureHolder;

namespace yhost {

// Host records are packed by the host's compiler, not ours: every field is copied out with memcpy,
// so no field is ever read through a pointer of the wrong alignment.
template <typename T>
inline T read(const void* record, std::size_t pos) {
    T value;
    std::memcpy(&value, static_cast<const unsigned char*>(record) + pos, sizeof(T));
    return value;
}

template <typename T>
inline void write(void* record, std::size_t pos, T value) {
    std::memcpy(static_cast<unsigned char*>(record) + pos, &value, sizeof(T));
}

// Pointers sit in the records as 64-bit values. A value this process cannot address reads as null.
inline void* readPtr(const void* record, std::size_t pos) {
    const std::uint64_t v = read<std::uint64_t>(record, pos);
    if constexpr (sizeof(std::uintptr_t) < sizeof(std::uint64_t)) {
        if (v > static_cast<std::uint64_t>(UINTPTR_MAX)) return nullptr;
    }
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(v));
}

inline void writePtr(void* record, std::size_t pos, const void* p) {
    write<std::uint64_t>(record, pos, static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(p)));
}

inline char* bytesAt(void* record, std::size_t pos) { return static_cast<char*>(record) + pos; }

}  // namespace yhost
