// Block walking and the readers of KVKelIO_Core, on well-formed and damaged files.
#include <gtest/gtest.h>

#include <cstring>

#include "KelTestSupport.h"
#include "io/KVKelIO.h"

using keltest::KelBytes;
using K = KVKelIO_Core;

namespace {

const std::vector<KVVector3f> kPoints = {{1, 2, 3}, {-4, 5, 6}, {7, -8, 9}, {0.5f, 0.25f, -0.125f}};
const std::vector<int> kFaces = {0, 1, 2, -1, 0, 2, 3, 1};
const std::vector<KVVector2f> kUVs = {{0, 0}, {1, 0}, {1, 1}, {9, 9}, {0.5f, 0}, {0, 0.5f}, {1, 0.5f}, {0.5f, 1}};
const std::vector<unsigned int> kColors = {0x01FF8000u, 0x00000000u, 0xFFFFFFFFu, 0x7F102030u};
const std::vector<unsigned char> kMask = {0, 255, 17, 128};
// An unknown block whose payload looks like a Points header: a walker that reads it instead
// of seeking over it picks up the wrong points.
const std::vector<std::uint32_t> kDecoy = {K::kTagPoints, 16 + 12, 1, 0, 0x41414141u, 0x42424242u, 0x43434343u};

template <typename T>
bool same(const KVArray<T>& a, const std::vector<T>& b) {
    return a.getCount() == static_cast<int>(b.size()) &&
           (b.empty() || std::memcmp(a.getData(), b.data(), b.size() * sizeof(T)) == 0);
}

// Every reader's output, filled with junk before each call to prove it is emptied on entry.
struct AllArrays {
    KVArray<KVVector3f> points{3, KVVector3f{9, 9, 9}};
    KVArray<int> faces{5, 7};
    KVArray<KVVector2f> uvs{2, KVVector2f{3, 3}};
    KVArray<unsigned int> colors{4, 0xABCDEFu};
    KVArray<unsigned char> mask{6, 1};
};

// Runs all nine readers; results in order readVertexBloc, readFace4Bloc, readUV4Bloc,
// readMRGBBloc, readMaskBloc, then the four combined readers. Checks every array ends empty.
void expectAllReadersEmpty(const std::string& path, bool expected) {
    const KVString p(path.c_str());
    AllArrays a;
    bool hasUV = true;
    EXPECT_EQ(expected, K::readVertexBloc(p, a.points));
    EXPECT_TRUE(a.points.isEmpty());
    EXPECT_EQ(expected, K::readFace4Bloc(p, a.faces, hasUV));
    EXPECT_TRUE(a.faces.isEmpty());
    EXPECT_FALSE(hasUV);
    EXPECT_EQ(expected, K::readUV4Bloc(p, a.uvs));
    EXPECT_TRUE(a.uvs.isEmpty());
    EXPECT_EQ(expected, K::readMRGBBloc(p, a.colors));
    EXPECT_TRUE(a.colors.isEmpty());
    EXPECT_EQ(expected, K::readMaskBloc(p, a.mask));
    EXPECT_TRUE(a.mask.isEmpty());
    AllArrays b;
    EXPECT_EQ(expected, K::readVertexAndFace4Blocs(p, b.points, b.faces));
    EXPECT_TRUE(b.points.isEmpty() && b.faces.isEmpty());
    AllArrays c;
    EXPECT_EQ(expected, K::readVertexAndFace4AndMRGBBlocs(p, c.points, c.faces, c.colors));
    EXPECT_TRUE(c.points.isEmpty() && c.faces.isEmpty() && c.colors.isEmpty());
    AllArrays d;
    EXPECT_EQ(expected, K::readVtxFace4AndUV4Blocs(p, d.points, d.faces, d.uvs));
    EXPECT_TRUE(d.points.isEmpty() && d.faces.isEmpty() && d.uvs.isEmpty());
    AllArrays e;
    EXPECT_EQ(expected, K::readVtxFace4UV4AndMRGBBlocs(p, e.points, e.faces, e.uvs, e.colors));
    EXPECT_TRUE(e.points.isEmpty() && e.faces.isEmpty() && e.uvs.isEmpty() && e.colors.isEmpty());
    BBox box;
    box.min = box.max = KVVector3f{1, 1, 1};
    EXPECT_FALSE(K::readBBox(p, box));
    EXPECT_TRUE(box.isEmpty());
}

class KelRead : public ::testing::Test {
protected:
    std::string save(const KelBytes& b, const char* name = "m.kel") {
        const std::string path = dir / name;
        EXPECT_TRUE(b.save(path));
        return path;
    }
    keltest::TempFolder dir;
};

}  // namespace

TEST_F(KelRead, EmptyFilesAndFilesWithoutBlocksGiveEmptyArrays) {
    ASSERT_TRUE(dir.ok());
    // Header and end block only; header with nothing after it; a header cut inside a block
    // header: every reader reports the file as read, readBBox finds no points.
    expectAllReadersEmpty(save(KelBytes().fileHeader().end(), "end.kel"), true);
    expectAllReadersEmpty(save(KelBytes().fileHeader(), "header.kel"), true);
    expectAllReadersEmpty(save(KelBytes().fileHeader().u32(K::kTagPoints).u32(28), "cut.kel"), true);
}

TEST_F(KelRead, BadFileHeadersAreRefused) {
    ASSERT_TRUE(dir.ok());
    const KelBytes good = KelBytes().fileHeader().block(K::kTagPoints, 4, kPoints).end();
    expectAllReadersEmpty(save(KelBytes().fileHeader("Kelc").block(K::kTagPoints, 4, kPoints).end(), "magic.kel"), false);
    expectAllReadersEmpty(save(KelBytes().fileHeader("kelb").block(K::kTagPoints, 4, kPoints).end(), "case.kel"), false);
    KelBytes shortHeader;
    shortHeader.raw(good.bytes().data(), 31);
    expectAllReadersEmpty(save(shortHeader, "short.kel"), false);
    expectAllReadersEmpty(dir / "missing.kel", false);
    expectAllReadersEmpty(std::string(), false);
    expectAllReadersEmpty(dir / "", false);  // a folder, not a file
}

TEST_F(KelRead, HeaderOperationsOnStreams) {
    ASSERT_TRUE(dir.ok());
    EXPECT_FALSE(K::readFileHeader(nullptr));
    Kel_Header h;
    EXPECT_FALSE(K::readBlockHeader(nullptr, h));
    EXPECT_FALSE(K::writeFileHeader(nullptr));
    EXPECT_FALSE(K::writeBlockHeader(nullptr, h));
    EXPECT_FALSE(K::skipBlock(nullptr, h));

    const std::string path = dir / "ops.kel";
    FILE* f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(nullptr, f);
    Kel_Header w;
    w.tag = 0x11223344u;
    w.length = 16 + 8;
    w.count = 0xFFFFFFFFu;
    w.reserved = 5;
    EXPECT_TRUE(K::writeFileHeader(f));
    EXPECT_TRUE(K::writeBlockHeader(f, w));
    std::fwrite("ABCDEFGH", 1, 8, f);
    std::fwrite("\x01\x02", 1, 2, f);  // a block header cut short
    std::fclose(f);

    const keltest::Bytes bytes = keltest::load(path);
    ASSERT_EQ(32u + 16u + 8u + 2u, bytes.size());
    EXPECT_EQ(0, std::memcmp(bytes.data(), "Kelb", 4));
    for (int i = 4; i < 32; ++i) EXPECT_EQ(0, bytes[i]) << i;
    EXPECT_EQ(0x44, bytes[32]);  // little-endian fields
    EXPECT_EQ(5, bytes[44]);

    f = std::fopen(path.c_str(), "rb");
    ASSERT_NE(nullptr, f);
    EXPECT_TRUE(K::readFileHeader(f));
    ASSERT_TRUE(K::readBlockHeader(f, h));
    EXPECT_EQ(w.tag, h.tag);
    EXPECT_EQ(w.length, h.length);
    EXPECT_EQ(w.count, h.count);
    EXPECT_EQ(w.reserved, h.reserved);
    // A length below 16 would seek backwards into the header: refused, nothing moves.
    const long before = std::ftell(f);
    Kel_Header tiny = h;
    tiny.length = 15;
    EXPECT_FALSE(K::skipBlock(f, tiny));
    Kel_Header huge = h;
    huge.length = 0x80000010u;  // offset 2^31: not a signed 32-bit value
    EXPECT_FALSE(K::skipBlock(f, huge));
    EXPECT_EQ(before, std::ftell(f));
    EXPECT_TRUE(K::skipBlock(f, h));
    EXPECT_EQ(before + 8, std::ftell(f));
    EXPECT_FALSE(K::readBlockHeader(f, h));
    std::fclose(f);
}

TEST_F(KelRead, EveryReaderFindsItsBlocksAmongUnknownOnes) {
    ASSERT_TRUE(dir.ok());
    // Blocks in an order no writer uses, unknown tags (with decoy payloads) between them.
    const std::string path = save(KelBytes()
                                      .fileHeader()
                                      .block(12345u, 7, kDecoy)
                                      .block(K::kTagMRGB, 4, kColors)
                                      .block(K::kTagUV4, 2, kUVs)
                                      .block(1u, 0, std::vector<char>{})
                                      .block(K::kTagFace4, 2, kFaces)
                                      .block(0xFFFFFFFFu, 3, kDecoy)
                                      .block(K::kTagMask, 4, kMask)
                                      .block(K::kTagPoints, 4, kPoints)
                                      .block(99u, 1, kDecoy)
                                      .end());
    const KVString p(path.c_str());
    AllArrays a;
    bool hasUV = false;
    EXPECT_TRUE(K::readVertexBloc(p, a.points));
    EXPECT_TRUE(same(a.points, kPoints));
    EXPECT_TRUE(K::readFace4Bloc(p, a.faces, hasUV));
    EXPECT_TRUE(same(a.faces, kFaces));
    EXPECT_TRUE(hasUV);
    EXPECT_TRUE(K::readUV4Bloc(p, a.uvs));
    EXPECT_TRUE(same(a.uvs, kUVs));
    EXPECT_TRUE(K::readMRGBBloc(p, a.colors));
    EXPECT_TRUE(same(a.colors, kColors));
    EXPECT_TRUE(K::readMaskBloc(p, a.mask));
    EXPECT_TRUE(same(a.mask, kMask));

    AllArrays b;
    EXPECT_TRUE(K::readVertexAndFace4Blocs(p, b.points, b.faces));
    EXPECT_TRUE(same(b.points, kPoints));
    EXPECT_TRUE(same(b.faces, kFaces));
    AllArrays c;
    EXPECT_TRUE(K::readVertexAndFace4AndMRGBBlocs(p, c.points, c.faces, c.colors));
    EXPECT_TRUE(same(c.points, kPoints) && same(c.faces, kFaces) && same(c.colors, kColors));
    AllArrays d;
    EXPECT_TRUE(K::readVtxFace4AndUV4Blocs(p, d.points, d.faces, d.uvs));
    EXPECT_TRUE(same(d.points, kPoints) && same(d.faces, kFaces) && same(d.uvs, kUVs));
    AllArrays e;
    EXPECT_TRUE(K::readVtxFace4UV4AndMRGBBlocs(p, e.points, e.faces, e.uvs, e.colors));
    EXPECT_TRUE(same(e.points, kPoints) && same(e.faces, kFaces) && same(e.uvs, kUVs) && same(e.colors, kColors));
    BBox box;
    EXPECT_TRUE(K::readBBox(p, box));
    EXPECT_EQ(-4.0f, box.min.x);
    EXPECT_EQ(7.0f, box.max.x);
    EXPECT_EQ(-8.0f, box.min.y);
    EXPECT_EQ(5.0f, box.max.y);
    EXPECT_EQ(-0.125f, box.min.z);
    EXPECT_EQ(9.0f, box.max.z);
}

TEST_F(KelRead, NothingAfterTheEndBlockIsSeen) {
    ASSERT_TRUE(dir.ok());
    const std::string path = save(KelBytes()
                                      .fileHeader()
                                      .block(K::kTagFace4, 2, kFaces)
                                      .end()
                                      .block(K::kTagUV4, 2, kUVs)
                                      .block(K::kTagPoints, 4, kPoints)
                                      .block(K::kTagMRGB, 4, kColors)
                                      .block(K::kTagMask, 4, kMask)
                                      .end());
    const KVString p(path.c_str());
    AllArrays a;
    bool hasUV = true;
    EXPECT_TRUE(K::readFace4Bloc(p, a.faces, hasUV));
    EXPECT_TRUE(same(a.faces, kFaces));
    EXPECT_FALSE(hasUV);
    EXPECT_TRUE(K::readVertexBloc(p, a.points));
    EXPECT_TRUE(a.points.isEmpty());
    EXPECT_TRUE(K::readUV4Bloc(p, a.uvs));
    EXPECT_TRUE(a.uvs.isEmpty());
    EXPECT_TRUE(K::readMRGBBloc(p, a.colors));
    EXPECT_TRUE(a.colors.isEmpty());
    EXPECT_TRUE(K::readMaskBloc(p, a.mask));
    EXPECT_TRUE(a.mask.isEmpty());
    AllArrays e;
    EXPECT_TRUE(K::readVtxFace4UV4AndMRGBBlocs(p, e.points, e.faces, e.uvs, e.colors));
    EXPECT_TRUE(same(e.faces, kFaces));
    EXPECT_TRUE(e.points.isEmpty() && e.uvs.isEmpty() && e.colors.isEmpty());
    BBox box;
    EXPECT_FALSE(K::readBBox(p, box));
}

TEST_F(KelRead, HasUVFlagReflectsTheWholeFile) {
    ASSERT_TRUE(dir.ok());
    KVArray<int> faces;
    bool hasUV = false;
    // UV4 after the faces: the reader must walk on after reading them.
    const KVString after(save(KelBytes().fileHeader().block(K::kTagFace4, 2, kFaces).block(55u, 1, kDecoy)
                                  .block(K::kTagUV4, 2, kUVs).end(), "after.kel").c_str());
    EXPECT_TRUE(K::readFace4Bloc(after, faces, hasUV));
    EXPECT_TRUE(hasUV);
    EXPECT_TRUE(same(faces, kFaces));
    // UV4 before the faces.
    hasUV = false;
    const KVString before(save(KelBytes().fileHeader().block(K::kTagUV4, 2, kUVs)
                                   .block(K::kTagFace4, 2, kFaces).end(), "before.kel").c_str());
    EXPECT_TRUE(K::readFace4Bloc(before, faces, hasUV));
    EXPECT_TRUE(hasUV);
    EXPECT_TRUE(same(faces, kFaces));
    // No UV4 at all: the flag is cleared on entry, also when the file cannot be read.
    hasUV = true;
    const KVString none(save(KelBytes().fileHeader().block(K::kTagFace4, 2, kFaces).end(), "none.kel").c_str());
    EXPECT_TRUE(K::readFace4Bloc(none, faces, hasUV));
    EXPECT_FALSE(hasUV);
    hasUV = true;
    EXPECT_FALSE(K::readFace4Bloc(KVString((dir / "missing.kel").c_str()), faces, hasUV));
    EXPECT_FALSE(hasUV);
    // A UV4 block with a count of faces but no payload still counts as present.
    hasUV = false;
    const KVString empty(save(KelBytes().fileHeader().header(K::kTagUV4, 16, 0)
                                  .block(K::kTagFace4, 2, kFaces).end(), "emptyuv.kel").c_str());
    EXPECT_TRUE(K::readFace4Bloc(empty, faces, hasUV));
    EXPECT_TRUE(hasUV);
    EXPECT_TRUE(same(faces, kFaces));
}

TEST_F(KelRead, FirstOrLastBlockWinsAsEachReaderDefines) {
    ASSERT_TRUE(dir.ok());
    const std::vector<KVVector3f> second = {{10, 10, 10}};
    const std::vector<KVVector2f> secondUVs = {{7, 7}, {6, 6}, {5, 5}, {4, 4}};
    const std::vector<unsigned int> secondColors = {1};
    const std::vector<unsigned char> secondMask = {3};
    const KVString p(save(KelBytes()
                              .fileHeader()
                              .block(K::kTagPoints, 4, kPoints)
                              .block(K::kTagUV4, 2, kUVs)
                              .block(K::kTagMRGB, 4, kColors)
                              .block(K::kTagMask, 4, kMask)
                              .block(K::kTagFace4, 2, kFaces)
                              .block(K::kTagPoints, 1, second)
                              .block(K::kTagUV4, 1, secondUVs)
                              .block(K::kTagMRGB, 1, secondColors)
                              .block(K::kTagMask, 1, secondMask)
                              .end()).c_str());
    AllArrays a;
    EXPECT_TRUE(K::readVertexBloc(p, a.points));
    EXPECT_TRUE(same(a.points, kPoints));
    EXPECT_TRUE(K::readMRGBBloc(p, a.colors));
    EXPECT_TRUE(same(a.colors, kColors));
    EXPECT_TRUE(K::readMaskBloc(p, a.mask));
    EXPECT_TRUE(same(a.mask, kMask));
    // The UV reader walks to the end: the later block replaces the earlier one.
    EXPECT_TRUE(K::readUV4Bloc(p, a.uvs));
    EXPECT_TRUE(same(a.uvs, secondUVs));
    // Points then faces: the pair reader stops there and never sees the second Points block.
    AllArrays b;
    EXPECT_TRUE(K::readVertexAndFace4Blocs(p, b.points, b.faces));
    EXPECT_TRUE(same(b.points, kPoints));
    EXPECT_TRUE(same(b.faces, kFaces));
    // Faces first, then points: the stop comes after the first Points block as well.
    const KVString facesFirst(save(KelBytes().fileHeader().block(K::kTagFace4, 2, kFaces).block(K::kTagPoints, 4, kPoints)
                                       .block(K::kTagPoints, 1, second).end(), "facesfirst.kel").c_str());
    AllArrays c;
    EXPECT_TRUE(K::readVertexAndFace4Blocs(facesFirst, c.points, c.faces));
    EXPECT_TRUE(same(c.points, kPoints));
    EXPECT_TRUE(same(c.faces, kFaces));
    // The walking readers take the last of each.
    AllArrays e;
    EXPECT_TRUE(K::readVtxFace4UV4AndMRGBBlocs(p, e.points, e.faces, e.uvs, e.colors));
    EXPECT_TRUE(same(e.points, second) && same(e.uvs, secondUVs) && same(e.colors, secondColors));
}

TEST_F(KelRead, TruncatedPayloadEndsTheWalkWithoutReadingPastTheFile) {
    ASSERT_TRUE(dir.ok());
    // Faces complete, then a Points block cut in its payload: the faces are kept, the points
    // (which the file cannot hold) are left empty, the result stays true.
    KelBytes b = KelBytes().fileHeader().block(K::kTagFace4, 2, kFaces).block(K::kTagMRGB, 4, kColors);
    b.header(K::kTagPoints, 16 + 48, 4).raw(kPoints.data(), 20);
    const KVString p(save(b).c_str());
    AllArrays e;
    EXPECT_TRUE(K::readVtxFace4UV4AndMRGBBlocs(p, e.points, e.faces, e.uvs, e.colors));
    EXPECT_TRUE(same(e.faces, kFaces));
    EXPECT_TRUE(same(e.colors, kColors));
    EXPECT_TRUE(e.points.isEmpty());
    AllArrays a;
    EXPECT_TRUE(K::readVertexBloc(p, a.points));
    EXPECT_TRUE(a.points.isEmpty());
    BBox box;
    EXPECT_FALSE(K::readBBox(p, box));
}
