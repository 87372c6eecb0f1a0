// Fuzz target: every reader of the mesh exchange files, the bounding box and the in-place patches.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "FuzzSupport.h"
#include "io/KVKelIO.h"

namespace {

// A count that is no more than the file could hold: readers never invent elements.
template <typename T>
void checkFits(const KVArray<T>& a, std::size_t fileSize, std::size_t perElement) {
    FUZZ_CHECK(a.getCount() >= 0);
    FUZZ_CHECK(static_cast<std::size_t>(a.getCount()) * perElement <= fileSize);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string path = fuzz::scratchPath("kel");
    static const std::string copy = fuzz::scratchPath("kel_patch");
    if (!fuzz::writeFile(path, data, size)) return 0;
    const KVString p(path.c_str());

    KVArray<KVVector3f> points;
    KVArray<int> faces;
    KVArray<KVVector2f> uvs;
    KVArray<unsigned int> colors;
    KVArray<unsigned char> mask;
    bool hasUV = false;

    KVKelIO_Core::readVertexBloc(p, points);
    checkFits(points, size, sizeof(KVVector3f));
    KVKelIO_Core::readFace4Bloc(p, faces, hasUV);
    checkFits(faces, size, sizeof(int));
    FUZZ_CHECK(faces.getCount() % 4 == 0);
    KVKelIO_Core::readUV4Bloc(p, uvs);
    checkFits(uvs, size, sizeof(KVVector2f));
    KVKelIO_Core::readMRGBBloc(p, colors);
    checkFits(colors, size, sizeof(unsigned int));
    KVKelIO_Core::readMaskBloc(p, mask);
    checkFits(mask, size, 1);
    KVKelIO_Core::readVertexAndFace4Blocs(p, points, faces);
    checkFits(points, size, sizeof(KVVector3f));
    KVKelIO_Core::readVertexAndFace4AndMRGBBlocs(p, points, faces, colors);
    checkFits(colors, size, sizeof(unsigned int));
    KVKelIO_Core::readVtxFace4AndUV4Blocs(p, points, faces, uvs);
    checkFits(uvs, size, sizeof(KVVector2f));
    KVKelIO_Core::readVtxFace4UV4AndMRGBBlocs(p, points, faces, uvs, colors);
    checkFits(points, size, sizeof(KVVector3f));
    checkFits(faces, size, sizeof(int));

    BBox box;
    KVKelIO_Core::readBBox(p, box);

    // The patches run on a copy, with arrays sized to match the blocks just read, so the
    // overwrite path is taken; the file never grows.
    KVArray<KVVector3f> floats;
    KVKelIO_Core::convertMRGBBlocToColors3f(floats, colors);
    KVArray<unsigned int> back;
    KVKelIO_Core::convertColors3fToMRGBBloc(back, floats);
    FUZZ_CHECK(back.getCount() == colors.getCount());
    if (fuzz::writeFile(copy, data, size)) {
        const KVString c(copy.c_str());
        KVKelIO_Core::replaceColorBlocInFile(c, back);
        KVKelIO_Core::replaceUV4BlocInFile(c, uvs);
        FILE* f = std::fopen(copy.c_str(), "rb");
        FUZZ_CHECK(f != nullptr);
        std::fseek(f, 0, SEEK_END);
        FUZZ_CHECK(static_cast<std::size_t>(std::ftell(f)) == size);
        std::fclose(f);
    }
    return 0;
}
