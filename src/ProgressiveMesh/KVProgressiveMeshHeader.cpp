// KVProgressiveMeshHeader: field-by-field transfer of the cache header.
#include "ProgressiveMesh/KVProgressiveMeshHeader.h"

#include <cstring>

#include "native/KVDiskServer.h"

namespace {

void encode32(unsigned char out[4], std::uint32_t v) {
    out[0] = static_cast<unsigned char>(v & 0xFF);
    out[1] = static_cast<unsigned char>((v >> 8) & 0xFF);
    out[2] = static_cast<unsigned char>((v >> 16) & 0xFF);
    out[3] = static_cast<unsigned char>((v >> 24) & 0xFF);
}

std::uint32_t decode32(const unsigned char in[4]) {
    return static_cast<std::uint32_t>(in[0]) | (static_cast<std::uint32_t>(in[1]) << 8) |
           (static_cast<std::uint32_t>(in[2]) << 16) | (static_cast<std::uint32_t>(in[3]) << 24);
}

// Any 32-bit field as its raw bits, so floats and integers travel unchanged.
template <typename T>
std::uint32_t bitsOf(const T& value) {
    static_assert(sizeof(T) == 4, "32-bit fields only");
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

template <typename T>
void setBits(T& value, std::uint32_t bits) {
    static_assert(sizeof(T) == 4, "32-bit fields only");
    std::memcpy(&value, &bits, sizeof bits);
}

// One 32-bit field from the stream; bytes a short read did not deliver keep the field's old value.
template <typename T>
void read32(FILE* stream, T& value) {
    if (stream == KVDiskServer::s_invalidFile) return;
    unsigned char bytes[4];
    encode32(bytes, bitsOf(value));
    (void)std::fread(bytes, 1, sizeof bytes, stream);
    setBits(value, decode32(bytes));
}

template <typename T>
void write32(FILE* stream, const T& value) {
    if (stream == KVDiskServer::s_invalidFile) return;
    unsigned char bytes[4];
    encode32(bytes, bitsOf(value));
    (void)std::fwrite(bytes, 1, sizeof bytes, stream);
}

void readFlag(FILE* stream, bool& flag) {
    if (stream == KVDiskServer::s_invalidFile) return;
    unsigned char byte = flag ? 1 : 0;
    if (std::fread(&byte, 1, 1, stream) == 1) flag = byte != 0;
}

void writeFlag(FILE* stream, bool flag) {
    if (stream == KVDiskServer::s_invalidFile) return;
    const unsigned char byte = flag ? 1 : 0;
    (void)std::fwrite(&byte, 1, 1, stream);
}

}  // namespace

int KVProgressiveMeshHeader::read(FILE* stream) {
    read32(stream, m_valueA);
    read32(stream, m_valueB);
    for (float& v : m_firstTriple) read32(stream, v);
    for (float& v : m_secondTriple) read32(stream, v);
    for (bool& f : m_flags1To4) readFlag(stream, f);
    read32(stream, m_valueE);
    for (std::int32_t& v : m_pairs) read32(stream, v);
    read32(stream, m_valueF);
    for (bool& f : m_flags5To11) readFlag(stream, f);
    read32(stream, m_originalTriangleCount);
    read32(stream, m_originalVertexCount);
    read32(stream, m_valueG);
    read32(stream, m_valueH);
    read32(stream, m_valueI);
    read32(stream, m_valueJ);
    return 0;
}

int KVProgressiveMeshHeader::write(FILE* stream) const {
    write32(stream, m_valueA);
    write32(stream, m_valueB);
    for (const float& v : m_firstTriple) write32(stream, v);
    for (const float& v : m_secondTriple) write32(stream, v);
    for (bool f : m_flags1To4) writeFlag(stream, f);
    write32(stream, m_valueE);
    for (const std::int32_t& v : m_pairs) write32(stream, v);
    write32(stream, m_valueF);
    for (bool f : m_flags5To11) writeFlag(stream, f);
    write32(stream, m_originalTriangleCount);
    write32(stream, m_originalVertexCount);
    write32(stream, m_valueG);
    write32(stream, m_valueH);
    write32(stream, m_valueI);
    write32(stream, m_valueJ);
    return 0;
}
