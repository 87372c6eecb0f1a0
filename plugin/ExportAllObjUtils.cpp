// OBJ export commands.
#include "ExportAllObjUtils.h"

#include <cstdint>
#include <cstdio>

#include "KVVector.h"
#include "YPlug/ExportAllUtils.h"
#include "io/KVKelIO.h"
#include "io/KVObjTextWriter.h"
#include "log/KVLogServer.h"
#include "native/KVDiskServer.h"

namespace {

const char kObjHeaderLine[] = "# File exported by Plastra version 3.1\n";
const char kMakerAddressLine[] = "# https://www.plastra.example\n";

// Elements (points, UV pairs, faces) read from a mesh file at a time.
constexpr int kStreamChunk = 65536;

// Offsets are the int sums of the counts read, wrapping like the int arithmetic they stand for.
std::int32_t addCount(std::int32_t offset, int count) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(offset) + static_cast<std::uint32_t>(count));
}

// Streams one block kind of every mesh, in order, through `write`; the result holds, per mesh,
// the number of elements before it (the offset its faces add).
template <typename T, typename Write>
KVArray<std::int32_t> streamEveryMesh(const KVArray<KVString>& kelFiles,
                                      bool (*stream)(const KVString&, int, const std::function<void(const T*, int)>&),
                                      Write&& write) {
    const int meshCount = kelFiles.getCount();
    KVArray<std::int32_t> offsets(meshCount, 0);
    for (int i = 0; i < meshCount; ++i) {
        int count = 0;
        stream(kelFiles[i], kStreamChunk, [&](const T* data, int n) {
            write(data, n);
            count += n;
        });
        if (i + 1 < meshCount) offsets[i + 1] = addCount(offsets[i], count);
    }
    return offsets;
}

bool textureAt(const KVArray<KVString>& textures, int i) {
    return i < textures.getCount() && ExportAllObjUtils::isTextured(textures[i]);
}

// Writes the MTL file; false when it cannot be opened (the OBJ then names no materials).
bool writeMaterials(const KVString& mtlPath, const KVArray<KVString>& textures, int meshCount) {
    FILE* file = std::fopen(mtlPath.c_str(), "w");
    if (file == nullptr) return false;
    {
        KVObjTextWriter mtl(file, 64 * 1024);
        mtl.writeText("# File created by Plastra\n");
        mtl.writeText("# ToolType: PolyMesh3D\n");
        mtl.writeText(kMakerAddressLine);
        mtl.writeText("\n");
        mtl.writeText("newmtl defaultMat\n");
        mtl.writeText("Kd 0.7 0.7 0.7\n");
        mtl.writeText("\n");
        for (int i = 0; i < meshCount; ++i) {
            if (!textureAt(textures, i)) continue;
            KVString name = textures[i];
            KVDiskServer::removePathFromFilename(name);
            mtl.writeNewMaterial(i + 1);
            mtl.writeKeywordLine("map_Kd", name.c_str());
            mtl.writeText("\n");
        }
    }
    std::fclose(file);
    return true;
}

}  // namespace

KVString ExportAllObjUtils::mtlPathFor(const KVString& objPath) {
    const int length = objPath.length();
    // A path shorter than its three-letter extension loses what it has.
    KVString path = objPath.subString(0, length >= 3 ? length - 3 : 0);
    path += "mtl";
    return path;
}

KVString ExportAllObjUtils::nameAfterLastSeparator(const KVString& path) {
    const int sep = path.findLastCharOf("/\\");
    return sep < 0 ? path : path.subString(sep + 1);
}

bool ExportAllObjUtils::exportDeclaredKel(const KVString& objPath, const KVArray<KVString>& kelFiles,
                                          const KVArray<KVString>& textures) {
    const char* valid = objPath.getValidFilePath();
    if (valid == nullptr) return false;
    const KVString path(valid);
    FILE* file = std::fopen(path.c_str(), "w");
    if (file == nullptr) return false;
    const bool written = writeObj(file, path, kelFiles, textures);
    // Buffered text reaches the disk at close: a failing close is a short write too.
    const bool closed = std::fclose(file) == 0;
    return written && closed;
}

bool ExportAllObjUtils::writeObj(FILE* file, const KVString& path, const KVArray<KVString>& kelFiles,
                                 const KVArray<KVString>& textures) {
    // Written on the host's script thread: a command starts no thread of its own in the host.
    KVObjTextWriter obj(file, KVObjTextWriter::kDefaultBufferSize);
    obj.writeText(kObjHeaderLine);
    obj.writeText(kMakerAddressLine);

    const int meshCount = kelFiles.getCount();
    bool haveMaterials = false;
    if (meshCount > 0) {
        bool anyTextured = false;
        for (int i = 0; i < meshCount; ++i) anyTextured = anyTextured || textureAt(textures, i);
        if (anyTextured) {
            const KVString mtlPath = mtlPathFor(path);
            haveMaterials = writeMaterials(mtlPath, textures, meshCount);
            if (haveMaterials) obj.writeKeywordLine("mtllib", nameAfterLastSeparator(mtlPath).c_str());
        }
    }

    // One mesh at a time, each block streamed in chunks: memory stays the same whatever the
    // meshes' sizes, and never holds the whole text.
    const KVArray<std::int32_t> vertexOffsets = streamEveryMesh<KVVector3f>(
        kelFiles, &KVKelIO::streamVertexBloc, [&](const KVVector3f* points, int n) { obj.writeVertices(points, n); });
    const KVArray<std::int32_t> uvOffsets = streamEveryMesh<KVVector2f>(
        kelFiles, &KVKelIO::streamUV4Bloc, [&](const KVVector2f* uvs, int n) { obj.writeUVs(uvs, n); });
    for (int i = 0; i < meshCount; ++i) {
        // An unreadable or empty mesh is an empty group.
        obj.writeSubToolGroup(i + 1);
        if (haveMaterials) {
            if (textureAt(textures, i))
                obj.writeUseMaterial(i + 1);
            else
                obj.writeText("usemtl defaultMat\n");
        }
        // Faces go out as the mesh file stores them: a host that exported a broken mesh gets it
        // back as it was, never a silently thinned one. Each chunk continues the UV slots where
        // the last one stopped (facesDone <= INT_MAX / 4, as the file's face count is bounded).
        bool hasUV = false;
        std::int32_t facesDone = 0;
        KVKelIO::streamFace4Bloc(kelFiles[i], kStreamChunk, hasUV, [&](const int* faces, int n) {
            obj.writeFaces(faces, n / 4, vertexOffsets[i], hasUV, addCount(uvOffsets[i], 4 * facesDone));
            facesDone += n / 4;
        });
    }
    return obj.flush();
}

TRIMORA_COMMAND_OR(ExportOBJAllDeclaredKel, 0.0f) {
    KVLogServer::printLine("ExportOBJAllDeclaredKel called ");
    KVLogServer::printLine(" -> %s", a.text != nullptr ? a.text : "");
    ExportAllObjUtils::exportDeclaredKel(KVString(a.text), getDeclaredKelFileNames(), getDeclaredTextureFileNames());
    return 0.0f;
}
