// KVProgressiveMeshHeader: the 99-byte header at the start of every progressive-mesh cache (".ypm").
#pragma once

#include <cstdint>
#include <cstdio>

// The decimation application writes the caches; the library only reads the source-mesh counts and
// carries the other fields unchanged. On disk the fields are packed without gaps, little-endian,
// flags one byte each (0 false, anything else true, written as 1).
class KVProgressiveMeshHeader {
public:
    static constexpr int kSize = 99;

    // Byte offsets of the fields on disk.
    static constexpr int kOffsetValueA = 0;
    static constexpr int kOffsetValueB = 4;
    static constexpr int kOffsetFirstTriple = 8;
    static constexpr int kOffsetSecondTriple = 20;
    static constexpr int kOffsetFlags1To4 = 32;
    static constexpr int kOffsetValueE = 36;
    static constexpr int kOffsetPairs = 40;
    static constexpr int kOffsetValueF = 64;
    static constexpr int kOffsetFlags5To11 = 68;
    static constexpr int kOffsetTriangleCount = 75;
    static constexpr int kOffsetVertexCount = 79;
    static constexpr int kOffsetValueG = 83;
    static constexpr int kOffsetValueH = 87;
    static constexpr int kOffsetValueI = 91;
    static constexpr int kOffsetValueJ = 95;

    // Reads (writes) the fields one by one at the stream's current position; the stream is not
    // positioned. Transfer counts are not checked: a short read changes only the bytes it got.
    // A stream equal to KVDiskServer::s_invalidFile is skipped and the fields keep their values.
    // Both return 0.
    int read(FILE* stream);
    int write(FILE* stream) const;

    // The fields, in file order. Only the two source-mesh counts mean something to the library;
    // the triples have the shape of a bounding box's two corners.
    std::int32_t m_valueA = 0;
    std::int32_t m_valueB = 0;
    float m_firstTriple[3] = {0.0f, 0.0f, 0.0f};
    float m_secondTriple[3] = {0.0f, 0.0f, 0.0f};
    bool m_flags1To4[4] = {false, false, false, false};
    std::int32_t m_valueE = 0;
    std::int32_t m_pairs[6] = {0, 0, 0, 0, 0, 0};
    std::int32_t m_valueF = 0;
    bool m_flags5To11[7] = {false, false, false, false, false, false, false};
    std::int32_t m_originalTriangleCount = 0;
    std::int32_t m_originalVertexCount = 0;
    std::int32_t m_valueG = 0;
    std::int32_t m_valueH = 0;
    std::int32_t m_valueI = 0;
    std::int32_t m_valueJ = 0;
};
