// YDecimatorMeshConverter: mesh exchange files to the engine's triangle mesh and back.
#include "YDecimatorMeshConverter.h"

#include <cmath>
#include <cstdint>
#include <string>
#include <utility>

#include "io/KVKelIO.h"
#include "native/KVDiskServer.h"

YDecimatorAxisFlags YDecimatorAxisFlags::fromBits(int bits) {
    YDecimatorAxisFlags a;
    a.flipX = (bits & 1) != 0;
    a.flipY = (bits & 2) != 0;
    a.flipZ = (bits & 4) != 0;
    a.switchYZ = (bits & 8) != 0;
    return a;
}

KVVector3f YDecimatorAxisFlags::toWorkingFrame(const KVVector3f& p) const {
    KVVector3f q{flipX ? -p.x : p.x, flipY ? -p.y : p.y, flipZ ? -p.z : p.z};
    if (switchYZ) std::swap(q.y, q.z);
    return q;
}

KVVector3f YDecimatorAxisFlags::toFileFrame(const KVVector3f& p) const {
    KVVector3f q = p;
    if (switchYZ) std::swap(q.y, q.z);
    if (flipX) q.x = -q.x;
    if (flipY) q.y = -q.y;
    if (flipZ) q.z = -q.z;
    return q;
}

namespace {

bool isFinite(const KVVector3f& p) { return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z); }

}  // namespace

bool YDecimatorMeshConverter::readMeshFile(const KVString& path, const YDecimatorAxisFlags& axes,
                                           DecimationMesh& mesh, YDecimatorMeshBlocks& blocks, std::string& error) {
    const KVString valid(path.getValidFilePath());
    if (valid.isEmpty() || !KVDiskServer::fileExists(valid)) {
        error = std::string("mesh file not found: ") + path.c_str();
        return false;
    }
    KVKelMesh kel;
    if (!KVKelIO::readVtxFace4UV4AndMRGBBlocs(valid, kel.points, kel.faces, kel.uvs, kel.colors) ||
        !KVKelIO::readMaskBloc(valid, kel.mask)) {
        error = std::string("not a readable mesh file (bad header): ") + path.c_str();
        return false;
    }
    if (!fromKelMesh(kel, axes, mesh, blocks, error)) {
        error += std::string(": ") + path.c_str();
        return false;
    }
    return true;
}

bool YDecimatorMeshConverter::fromKelMesh(const KVKelMesh& kel, const YDecimatorAxisFlags& axes,
                                          DecimationMesh& mesh, YDecimatorMeshBlocks& blocks, std::string& error) {
    mesh = DecimationMesh();
    blocks = YDecimatorMeshBlocks();
    const int numPoints = kel.points.getCount();
    const int numFaces = kel.faces.getCount() / 4;
    if (numPoints <= 0) {
        error = "malformed mesh file: no vertices";
        return false;
    }
    if (numFaces <= 0 || kel.faces.getCount() % 4 != 0) {
        error = "malformed mesh file: no faces";
        return false;
    }
    if (!kel.uvs.isEmpty() && kel.uvs.getCount() != 4 * numFaces) {
        error = "malformed mesh file: the UV block does not match the faces";
        return false;
    }
    if (!kel.colors.isEmpty() && kel.colors.getCount() != numPoints) {
        error = "malformed mesh file: the colour block does not match the vertices";
        return false;
    }
    if (!kel.mask.isEmpty() && kel.mask.getCount() != numPoints) {
        error = "malformed mesh file: the mask block does not match the vertices";
        return false;
    }
    blocks.uvs = !kel.uvs.isEmpty();
    blocks.colors = !kel.colors.isEmpty();
    blocks.mask = !kel.mask.isEmpty();

    mesh.points.resize(static_cast<std::size_t>(numPoints));
    for (int i = 0; i < numPoints; ++i) {
        if (!isFinite(kel.points[i])) {
            error = "malformed mesh file: a vertex coordinate is not a finite number";
            return false;
        }
        mesh.points[static_cast<std::size_t>(i)] = axes.toWorkingFrame(kel.points[i]);
    }

    const bool mirror = axes.mirrors();
    mesh.triangles.reserve(static_cast<std::size_t>(numFaces) * 3);
    if (blocks.uvs) mesh.cornerUVs.reserve(static_cast<std::size_t>(numFaces) * 3);
    // Corners of the (at most) two triangles of a face: a quad is split along its 0-2 diagonal.
    static const int kCorners[2][3] = {{0, 1, 2}, {0, 2, 3}};
    for (int f = 0; f < numFaces; ++f) {
        const int* idx = &kel.faces[4 * f];
        for (int c = 0; c < 3; ++c) {
            if (idx[c] < 0 || idx[c] >= numPoints) {
                error = "malformed mesh file: face " + std::to_string(f) + " has a vertex index out of range";
                return false;
            }
        }
        const bool quad = idx[3] >= 0;
        if (quad && idx[3] >= numPoints) {
            error = "malformed mesh file: face " + std::to_string(f) + " has a vertex index out of range";
            return false;
        }
        for (int t = 0; t < (quad ? 2 : 1); ++t) {
            int corner[3] = {kCorners[t][0], kCorners[t][1], kCorners[t][2]};
            if (mirror) std::swap(corner[1], corner[2]);
            const int a = idx[corner[0]], b = idx[corner[1]], c = idx[corner[2]];
            // A face that uses a vertex twice has no area and no orientation: the engine gets none.
            if (a == b || b == c || a == c) continue;
            mesh.triangles.push_back(a);
            mesh.triangles.push_back(b);
            mesh.triangles.push_back(c);
            if (blocks.uvs) {
                for (int k = 0; k < 3; ++k) mesh.cornerUVs.push_back(kel.uvs[4 * f + corner[k]]);
            }
        }
    }
    if (mesh.triangles.empty()) {
        error = "malformed mesh file: every face is degenerate";
        return false;
    }
    if (blocks.colors) mesh.colors.assign(kel.colors.begin(), kel.colors.end());
    if (blocks.mask) mesh.mask.assign(kel.mask.begin(), kel.mask.end());
    return true;
}

bool YDecimatorMeshConverter::toKelMesh(const DecimationMesh& mesh, const YDecimatorAxisFlags& axes,
                                        const YDecimatorMeshBlocks& blocks, KVKelMesh& kel, std::string& error) {
    kel = KVKelMesh();
    const std::size_t numPoints = mesh.points.size();
    const std::size_t numTriangles = mesh.triangles.size() / 3;
    // The file's counts are 32-bit and the arrays hold int-sized counts of 4 x faces.
    if (numPoints > 0x1FFFFFFF || numTriangles > 0x1FFFFFFF || mesh.triangles.size() % 3 != 0) {
        error = "result mesh too large for a mesh file";
        return false;
    }
    if (blocks.uvs && mesh.cornerUVs.size() != mesh.triangles.size()) {
        error = "the engine returned no UVs for a mesh that has them";
        return false;
    }
    if (blocks.colors && mesh.colors.size() != numPoints) {
        error = "the engine returned no colours for a mesh that has them";
        return false;
    }
    if (blocks.mask && mesh.mask.size() != numPoints) {
        error = "the engine returned no mask for a mesh that has one";
        return false;
    }
    kel.points.resize(static_cast<int>(numPoints));
    for (std::size_t i = 0; i < numPoints; ++i) kel.points[static_cast<int>(i)] = axes.toFileFrame(mesh.points[i]);

    const bool mirror = axes.mirrors();
    kel.faces.resize(static_cast<int>(numTriangles * 4));
    if (blocks.uvs) kel.uvs.resize(static_cast<int>(numTriangles * 4), KVVector2f{0.0f, 0.0f});
    for (std::size_t t = 0; t < numTriangles; ++t) {
        int corner[3] = {0, 1, 2};
        if (mirror) std::swap(corner[1], corner[2]);
        const int out = static_cast<int>(t * 4);
        for (int k = 0; k < 3; ++k) {
            const std::int32_t v = mesh.triangles[t * 3 + static_cast<std::size_t>(corner[k])];
            if (v < 0 || static_cast<std::size_t>(v) >= numPoints) {
                error = "the engine returned a triangle with a vertex index out of range";
                return false;
            }
            kel.faces[out + k] = v;
            if (blocks.uvs) kel.uvs[out + k] = mesh.cornerUVs[t * 3 + static_cast<std::size_t>(corner[k])];
        }
        kel.faces[out + 3] = -1;
    }
    if (blocks.colors) {
        kel.colors.resize(static_cast<int>(numPoints));
        for (std::size_t i = 0; i < numPoints; ++i) kel.colors[static_cast<int>(i)] = mesh.colors[i];
    }
    if (blocks.mask) {
        kel.mask.resize(static_cast<int>(numPoints));
        for (std::size_t i = 0; i < numPoints; ++i) kel.mask[static_cast<int>(i)] = mesh.mask[i];
    }
    return true;
}
