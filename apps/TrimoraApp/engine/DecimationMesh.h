// The mesh the decimation engine works on: triangles with optional per-corner UVs, colours and mask.
#pragma once

#include <cstdint>
#include <vector>

#include "KVVector.h"

struct DecimationMesh {
    std::vector<KVVector3f> points;
    // Three vertex indices per triangle.
    std::vector<std::int32_t> triangles;
    // Optional: one (u, v) per triangle corner, 3 per triangle, same order as `triangles`.
    std::vector<KVVector2f> cornerUVs;
    // Optional: one packed colour per vertex (0xAARRGGBB as the mesh files store it).
    std::vector<std::uint32_t> colors;
    // Optional: one mask value per vertex (0 = free; anything else = masked, must not move).
    std::vector<std::uint8_t> mask;

    std::size_t vertexCount() const { return points.size(); }
    std::size_t triangleCount() const { return triangles.size() / 3; }
    bool hasUVs() const { return !cornerUVs.empty(); }
    bool hasColors() const { return !colors.empty(); }
    bool hasMask() const { return !mask.empty(); }
};
