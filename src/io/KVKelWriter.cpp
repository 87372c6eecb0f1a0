// KVKelWriter: whole mesh exchange files, written block by block with the header operations.
#include "io/KVKelWriter.h"

#include <cstdint>
#include <cstdio>

#include "io/KVKelIO_Core.h"
#include "native/KVDiskServer.h"

namespace {

// One block: header then the payload in one transfer. count is the block's element count,
// items the array's element count (4 per face for Face4 and UV4).
template <typename T>
bool writeBlock(FILE* file, std::uint32_t tag, std::uint64_t count, const KVArray<T>& items) {
    const std::uint64_t payload = static_cast<std::uint64_t>(items.getCount()) * sizeof(T);
    if (payload > UINT32_MAX - KVKelIO_Core::kBlockHeaderSize || count > UINT32_MAX) return false;
    Kel_Header h;
    h.tag = tag;
    h.length = static_cast<std::uint32_t>(KVKelIO_Core::kBlockHeaderSize + payload);
    h.count = static_cast<std::uint32_t>(count);
    if (!KVKelIO_Core::writeBlockHeader(file, h)) return false;
    return payload == 0 || std::fwrite(items.getData(), 1, payload, file) == payload;
}

bool isConsistent(const KVKelMesh& mesh) {
    const int points = mesh.points.getCount();
    const int faceItems = mesh.faces.getCount();
    if (faceItems % 4 != 0) return false;
    if (!mesh.uvs.isEmpty() && mesh.uvs.getCount() != faceItems) return false;
    if (!mesh.mask.isEmpty() && mesh.mask.getCount() != points) return false;
    if (!mesh.colors.isEmpty() && mesh.colors.getCount() != points) return false;
    return true;
}

}  // namespace

bool KVKelWriter::writeFile(const KVString& path, const KVKelMesh& mesh) {
    if (!isConsistent(mesh)) return false;
    const char* p = path.getValidFilePath();
    if (p == nullptr || p[0] == '\0') return false;
    FILE* file = std::fopen(p, "wb");
    if (file == nullptr) return false;

    const std::uint64_t points = static_cast<std::uint64_t>(mesh.points.getCount());
    const std::uint64_t faces = static_cast<std::uint64_t>(mesh.getFaceCount());
    Kel_Header end;
    end.length = KVKelIO_Core::kBlockHeaderSize;
    bool ok = KVKelIO_Core::writeFileHeader(file) &&
              writeBlock(file, KVKelIO_Core::kTagPoints, points, mesh.points) &&
              writeBlock(file, KVKelIO_Core::kTagFace4, faces, mesh.faces) &&
              (mesh.uvs.isEmpty() || writeBlock(file, KVKelIO_Core::kTagUV4, faces, mesh.uvs)) &&
              (mesh.mask.isEmpty() || writeBlock(file, KVKelIO_Core::kTagMask, points, mesh.mask)) &&
              (mesh.colors.isEmpty() || writeBlock(file, KVKelIO_Core::kTagMRGB, points, mesh.colors)) &&
              KVKelIO_Core::writeBlockHeader(file, end);
    if (std::fclose(file) != 0) ok = false;
    if (!ok) KVDiskServer::deleteFile(path);
    return ok;
}
