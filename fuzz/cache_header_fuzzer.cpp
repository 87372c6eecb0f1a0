// Fuzz target: the progressive-mesh cache header, read by the two count commands.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "FuzzSupport.h"
#include "ProgressiveMesh/KVProgressiveMeshHeader.h"
#include "TrimoraCaches.h"

namespace {

std::int32_t le32(const std::uint8_t* p) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
                                     static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string path = fuzz::scratchPath("ypm");
    if (!fuzz::writeFile(path, data, size)) return 0;
    std::string text = path;

    const float vertices = GetPMeshOriginalKVertexCount(&text[0], 0.0, nullptr, 0, nullptr, 0, nullptr);
    const float triangles = GetPMeshOriginalKTriangleCount(&text[0], 0.0, nullptr, 0, nullptr, 0, nullptr);
    // A whole header gives exactly its counts; a short one is not detected but stays a number.
    using H = KVProgressiveMeshHeader;
    if (size >= static_cast<std::size_t>(H::kSize)) {
        FUZZ_CHECK(vertices == static_cast<float>(le32(data + H::kOffsetVertexCount)) / 1000.0f);
        FUZZ_CHECK(triangles == static_cast<float>(le32(data + H::kOffsetTriangleCount)) / 1000.0f);
    } else {
        FUZZ_CHECK(vertices == vertices && triangles == triangles);
    }

    // The header round-trips through write and read.
    FILE* f = std::fopen(path.c_str(), "rb");
    FUZZ_CHECK(f != nullptr);
    H header;
    header.read(f);
    std::fclose(f);
    f = std::fopen(path.c_str(), "wb");
    FUZZ_CHECK(f != nullptr);
    header.write(f);
    std::fclose(f);
    f = std::fopen(path.c_str(), "rb");
    FUZZ_CHECK(f != nullptr);
    H again;
    again.read(f);
    std::fclose(f);
    FUZZ_CHECK(again.m_originalVertexCount == header.m_originalVertexCount);
    FUZZ_CHECK(again.m_originalTriangleCount == header.m_originalTriangleCount);
    FUZZ_CHECK(std::memcmp(again.m_pairs, header.m_pairs, sizeof header.m_pairs) == 0);
    return 0;
}
