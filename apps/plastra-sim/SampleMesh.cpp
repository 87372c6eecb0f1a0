// SampleMesh: the built-in sample mesh and its texture.
#include "SampleMesh.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace {

constexpr float kPi = 3.14159265358979f;
constexpr float kMajorRadius = 1.0f;
constexpr float kMinorRadius = 0.4f;

// Bumps of several sizes, periodic around both circles so the surface closes without a seam.
float bump(float a, float b) {
    return 0.06f * std::sin(7.0f * a) * std::sin(5.0f * b) + 0.025f * std::sin(23.0f * a + 3.0f * b) +
           0.012f * std::sin(61.0f * b) * std::cos(41.0f * a);
}

std::uint8_t toByte(float c) { return static_cast<std::uint8_t>(std::min(255.0f, std::max(0.0f, c * 255.0f + 0.5f))); }

void putLE(std::vector<std::uint8_t>& out, std::uint32_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<std::uint8_t>((v >> (8 * i)) & 0xff));
}

}  // namespace

ObjMesh SampleMesh::make(int rings, int segments) {
    rings = std::max(3, rings);
    segments = std::max(3, segments);
    ObjMesh mesh;
    mesh.name = "sample";
    const std::size_t n = static_cast<std::size_t>(rings) * static_cast<std::size_t>(segments);
    mesh.points.reserve(n);
    mesh.colors.reserve(n);
    for (int i = 0; i < rings; ++i) {
        const float a = 2.0f * kPi * static_cast<float>(i) / static_cast<float>(rings);
        for (int j = 0; j < segments; ++j) {
            const float b = 2.0f * kPi * static_cast<float>(j) / static_cast<float>(segments);
            const float h = bump(a, b);
            const float r = kMinorRadius + h;
            const float ring = kMajorRadius + r * std::cos(b);
            mesh.points.push_back({ring * std::cos(a), ring * std::sin(a), r * std::sin(b)});
            // Warm on the bumps, cool in the hollows.
            const float t = std::min(1.0f, std::max(0.0f, 0.5f + h * 6.0f));
            mesh.colors.push_back((static_cast<std::uint32_t>(toByte(0.2f + 0.75f * t)) << 16) |
                                  (static_cast<std::uint32_t>(toByte(0.35f + 0.3f * t)) << 8) |
                                  toByte(0.9f - 0.7f * t));
        }
    }
    mesh.faces.reserve(4 * n);
    mesh.uvs.reserve(4 * n);
    auto index = [segments](int i, int j) { return i * segments + j; };
    for (int i = 0; i < rings; ++i) {
        const int i1 = (i + 1) % rings;
        const float u0 = static_cast<float>(i) / static_cast<float>(rings);
        const float u1 = static_cast<float>(i + 1) / static_cast<float>(rings);
        for (int j = 0; j < segments; ++j) {
            const int j1 = (j + 1) % segments;
            const float v0 = static_cast<float>(j) / static_cast<float>(segments);
            const float v1 = static_cast<float>(j + 1) / static_cast<float>(segments);
            // Counter-clockwise seen from outside.
            mesh.faces.insert(mesh.faces.end(), {index(i, j), index(i1, j), index(i1, j1), index(i, j1)});
            mesh.uvs.insert(mesh.uvs.end(), {KVVector2f{u0, v0}, KVVector2f{u1, v0}, KVVector2f{u1, v1}, KVVector2f{u0, v1}});
        }
    }
    return mesh;
}

bool SampleMesh::writeTexture(const std::string& path, int size) {
    size = std::max(1, size);
    const std::uint32_t rowBytes = (static_cast<std::uint32_t>(size) * 3 + 3) & ~3u;
    const std::uint32_t dataBytes = rowBytes * static_cast<std::uint32_t>(size);
    std::vector<std::uint8_t> out;
    out.reserve(54 + dataBytes);
    out.push_back('B');
    out.push_back('M');
    putLE(out, 54 + dataBytes, 4);
    putLE(out, 0, 4);
    putLE(out, 54, 4);
    putLE(out, 40, 4);
    putLE(out, static_cast<std::uint32_t>(size), 4);
    putLE(out, static_cast<std::uint32_t>(size), 4);  // bottom-up rows
    putLE(out, 1, 2);
    putLE(out, 24, 2);
    putLE(out, 0, 4);
    putLE(out, dataBytes, 4);
    putLE(out, 2835, 4);
    putLE(out, 2835, 4);
    putLE(out, 0, 4);
    putLE(out, 0, 4);
    // A checker of sixteen squares with a soft gradient, so UV seams and flips show at a glance.
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const bool dark = ((x * 16 / size) + (y * 16 / size)) % 2 == 1;
            const float fx = static_cast<float>(x) / static_cast<float>(size);
            const float fy = static_cast<float>(y) / static_cast<float>(size);
            const float k = dark ? 0.55f : 1.0f;
            out.push_back(toByte(k * (0.4f + 0.5f * fy)));  // blue
            out.push_back(toByte(k * 0.75f));               // green
            out.push_back(toByte(k * (0.5f + 0.5f * fx)));  // red
        }
        for (std::uint32_t p = static_cast<std::uint32_t>(size) * 3; p < rowBytes; ++p) out.push_back(0);
    }
    FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) return false;
    const bool ok = std::fwrite(out.data(), 1, out.size(), f) == out.size();
    return std::fclose(f) == 0 && ok;
}
