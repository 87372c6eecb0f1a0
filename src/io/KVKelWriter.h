// KVKelWriter: writes a whole mesh exchange file, as the host application does.
#pragma once

#include "KVArray.h"
#include "KVString.h"
#include "KVVector.h"

// A mesh as the exchange file stores it. Faces hold 4 signed 0-based vertex indices each; a
// negative fourth index marks a triangle. The optional arrays are written only when non-empty.
struct KVKelMesh {
    KVArray<KVVector3f> points;
    KVArray<int> faces;              // 4 x face count
    KVArray<KVVector2f> uvs;         // empty, or 4 x face count (one pair per corner)
    KVArray<unsigned char> mask;     // empty, or one byte per point
    KVArray<unsigned int> colors;    // empty, or one MRGB value per point

    int getFaceCount() const { return faces.getCount() / 4; }
};

class KVKelWriter {
public:
    // Writes ("wb") the file header, then Points, Face4, UV4, Mask and MRGB blocks (the last
    // three only when their array is non-empty) and the end block. False, and no file left, when
    // the mesh is inconsistent (faces not a multiple of 4, uvs not 4 per face, mask or colours not
    // one per point, a block over 4 GB) or any write fails. Indices are not checked against the
    // point count: a writer of test files must be able to write bad ones.
    static bool writeFile(const KVString& path, const KVKelMesh& mesh);
};
