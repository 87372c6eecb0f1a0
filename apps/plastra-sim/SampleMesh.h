// SampleMesh: the built-in sample, a dense bumpy closed mesh with UVs, vertex colours and a texture.
#pragma once

#include <string>

#include "ObjScene.h"

class SampleMesh {
public:
    // Ring and segment counts of the default sample: 1000 x 1000 quads, one million faces.
    static constexpr int kDefaultRings = 1000;
    static constexpr int kDefaultSegments = 1000;

    // A closed bumpy torus of rings x segments quads (each at least 3), named "sample": every point
    // shared by its four quads, UVs per corner running 0..1 around both circles (the seams get
    // u = 1 and v = 1 on their closing side), a colour per point that follows the bumps.
    static ObjMesh make(int rings = kDefaultRings, int segments = kDefaultSegments);

    // Writes the sample's texture, a 24-bit BMP of size x size pixels, to `path`.
    static bool writeTexture(const std::string& path, int size = 256);
};
