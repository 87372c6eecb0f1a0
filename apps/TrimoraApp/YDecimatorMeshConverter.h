// YDecimatorMeshConverter: mesh exchange files to the engine's triangle mesh and back.
#pragma once

#include <string>

#include "DecimationMesh.h"
#include "KVString.h"
#include "io/KVKelWriter.h"

// The job's four input-axis flags. On reading, the flips are applied first (each negates its
// axis), then Y and Z are swapped; writing undoes both in reverse order, so a result lands in the
// frame of the file it came from. The engine works in the transformed frame: "Symmetry" names an
// axis of that frame. An odd number of changes mirrors the mesh, and triangle winding is reversed
// with it so that front faces stay front faces in both frames.
struct YDecimatorAxisFlags {
    bool flipX = false;
    bool flipY = false;
    bool flipZ = false;
    bool switchYZ = false;

    bool mirrors() const { return ((flipX ? 1 : 0) + (flipY ? 1 : 0) + (flipZ ? 1 : 0) + (switchYZ ? 1 : 0)) % 2 == 1; }
    int toBits() const { return (flipX ? 1 : 0) | (flipY ? 2 : 0) | (flipZ ? 4 : 0) | (switchYZ ? 8 : 0); }
    static YDecimatorAxisFlags fromBits(int bits);
    KVVector3f toWorkingFrame(const KVVector3f& p) const;
    KVVector3f toFileFrame(const KVVector3f& p) const;
};

// The optional blocks a mesh file held; a result is written with the same ones.
struct YDecimatorMeshBlocks {
    bool uvs = false;
    bool colors = false;
    bool mask = false;
};

class YDecimatorMeshConverter {
public:
    // Reads a mesh file (Points, Face4, and UV4, MRGB, Mask when present) into `mesh`. Quads are
    // split along their first diagonal, per-face UVs become per-corner UVs, faces that repeat a
    // vertex are dropped. False, with a message in `error`, when the file is missing, unreadable
    // or malformed (no vertices or faces, an index out of range, a block whose count disagrees
    // with the mesh, a coordinate that is not finite).
    static bool readMeshFile(const KVString& path, const YDecimatorAxisFlags& axes, DecimationMesh& mesh,
                             YDecimatorMeshBlocks& blocks, std::string& error);
    // The same from a mesh already in memory.
    static bool fromKelMesh(const KVKelMesh& kel, const YDecimatorAxisFlags& axes, DecimationMesh& mesh,
                            YDecimatorMeshBlocks& blocks, std::string& error);

    // The engine's mesh as a mesh file's content: triangles (fourth index -1), back in the file's
    // frame, with exactly the optional blocks in `blocks`. False when a wanted block cannot be
    // formed from `mesh` (its array missing or of the wrong size) or an index is out of range.
    static bool toKelMesh(const DecimationMesh& mesh, const YDecimatorAxisFlags& axes,
                          const YDecimatorMeshBlocks& blocks, KVKelMesh& kel, std::string& error);
};
