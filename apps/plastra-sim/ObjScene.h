// ObjScene: meshes as the host holds them before it writes its exchange files.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "KVVector.h"

// One mesh: points, faces of 4 signed 0-based indices (a negative fourth index marks a
// triangle), optional per-corner UVs (4 pairs a face, triangles included) and optional
// per-point MRGB colours (red in bits 16-23, green 8-15, blue 0-7).
struct ObjMesh {
    std::string name;
    std::string material;     // name of the first material its faces use; empty when none
    std::string texturePath;  // the material's diffuse texture, resolved against the MTL's folder
    std::vector<KVVector3f> points;
    std::vector<int> faces;
    std::vector<KVVector2f> uvs;          // empty, or 4 x face count
    std::vector<std::uint32_t> colors;    // empty, or one per point

    std::size_t faceCount() const { return faces.size() / 4; }
    std::size_t triangleCount() const;
};

struct ObjScene {
    std::vector<ObjMesh> meshes;
    // Things the reader stepped over that a person may want to know about.
    std::vector<std::string> warnings;

    std::size_t vertexCount() const;
    std::size_t faceCount() const;
};
