// Hostile block headers: huge counts, lengths below 16, lengths that disagree with counts.
#include <gtest/gtest.h>

#include <cstring>

#include "KelTestSupport.h"
#include "io/KVKelIO_Core.h"

using keltest::KelBytes;
using K = KVKelIO_Core;

namespace {

const std::vector<KVVector3f> kPoints = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12}};
const std::vector<int> kFaces = {0, 1, 2, -1, 1, 2, 3, 0};
const std::vector<KVVector2f> kUVs = {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}};
const std::vector<unsigned int> kColors = {0x11u, 0x22u, 0x33u, 0x44u};

class KelHostile : public ::testing::Test {
protected:
    KVString save(const KelBytes& b, const char* name = "h.kel") {
        const std::string path = dir / name;
        EXPECT_TRUE(b.save(path));
        return KVString(path.c_str());
    }
    void SetUp() override { ASSERT_TRUE(dir.ok()); }
    TempFolder dir;
};

// Runs every reader on the file; each must report the file as read (its header is valid).
void readAll(const KVString& p, KVArray<KVVector3f>& points, KVArray<int>& faces, KVArray<KVVector2f>& uvs,
             KVArray<unsigned int>& colors, KVArray<unsigned char>& mask) {
    bool hasUV = false;
    EXPECT_TRUE(K::readMaskBloc(p, mask));
    EXPECT_TRUE(K::readMRGBBloc(p, colors));
    EXPECT_TRUE(K::readUV4Bloc(p, uvs));
    EXPECT_TRUE(K::readFace4Bloc(p, faces, hasUV));
    EXPECT_TRUE(K::readVertexAndFace4Blocs(p, points, faces));
    EXPECT_TRUE(K::readVertexAndFace4AndMRGBBlocs(p, points, faces, colors));
    EXPECT_TRUE(K::readVtxFace4AndUV4Blocs(p, points, faces, uvs));
    EXPECT_TRUE(K::readVtxFace4UV4AndMRGBBlocs(p, points, faces, uvs, colors));
    EXPECT_TRUE(K::readVertexBloc(p, points));
}

}  // namespace

TEST_F(KelHostile, LengthsBelowSixteenEndTheWalk) {
    // A length below 16 would seek backwards onto the same header for ever; the walk ends
    // there, as at a truncated file, and nothing behind it is read.
    for (std::uint32_t length : {0u, 1u, 15u}) {
        for (std::uint32_t tag : {77u, K::kTagPoints, K::kTagFace4, K::kTagUV4, K::kTagMRGB, K::kTagMask}) {
            const KVString p = save(KelBytes()
                                        .fileHeader()
                                        .block(K::kTagFace4, 2, kFaces)
                                        .header(tag, length, 1)
                                        .block(K::kTagPoints, 4, kPoints)
                                        .block(K::kTagUV4, 2, kUVs)
                                        .end());
            KVArray<KVVector3f> points;
            KVArray<int> faces;
            KVArray<KVVector2f> uvs;
            KVArray<unsigned int> colors;
            KVArray<unsigned char> mask;
            EXPECT_TRUE(K::readVtxFace4AndUV4Blocs(p, points, faces, uvs)) << tag;
            EXPECT_EQ(8, faces.getCount());
            EXPECT_TRUE(points.isEmpty()) << length << " " << tag;
            EXPECT_TRUE(uvs.isEmpty());
            readAll(p, points, faces, uvs, colors, mask);
            EXPECT_TRUE(points.isEmpty());
            // The box reads by count alone, so a broken length on the Points block itself does
            // not stop it; on any other block the walk ends before the points.
            BBox box;
            EXPECT_EQ(tag == K::kTagPoints, K::readBBox(p, box)) << length << " " << tag;
            EXPECT_FALSE(K::replaceUV4BlocInFile(p, KVArray<KVVector2f>(8)));
        }
    }
}

TEST_F(KelHostile, LengthsBeyondTheFileEndTheWalk) {
    // An unknown block claiming 4 GB, and one whose signed offset would be negative.
    for (std::uint32_t length : {0xFFFFFFFFu, 0x80000010u, 0x80000000u}) {
        const KVString p = save(KelBytes().fileHeader().header(5, length, 0).block(K::kTagPoints, 4, kPoints).end());
        KVArray<KVVector3f> points;
        EXPECT_TRUE(K::readVertexBloc(p, points));
        EXPECT_TRUE(points.isEmpty());
        BBox box;
        EXPECT_FALSE(K::readBBox(p, box));
    }
}

TEST_F(KelHostile, ShortLengthZeroFillsAndKeepsThePosition) {
    // Points claims 4 vertices but its length covers 2: the array has 4 elements, the last two
    // zero, and the next block starts where the length says.
    const KVString p = save(KelBytes()
                                .fileHeader()
                                .header(K::kTagPoints, 16 + 24, 4)
                                .raw(kPoints.data(), 24)
                                .block(K::kTagFace4, 2, kFaces)
                                .block(K::kTagMRGB, 4, kColors)
                                .end());
    KVArray<KVVector3f> points;
    KVArray<int> faces;
    KVArray<unsigned int> colors;
    EXPECT_TRUE(K::readVertexAndFace4AndMRGBBlocs(p, points, faces, colors));
    ASSERT_EQ(4, points.getCount());
    EXPECT_EQ(4.0f, points[1].x);
    EXPECT_EQ(0.0f, points[2].x);
    EXPECT_EQ(0.0f, points[3].z);
    ASSERT_EQ(8, faces.getCount());
    EXPECT_EQ(0, std::memcmp(faces.getData(), kFaces.data(), 32));
    ASSERT_EQ(4, colors.getCount());
    EXPECT_EQ(0x44u, colors[3]);
    // The box reads by count alone: 4 points from the payload position, the last two taken
    // from the Face4 block header that follows.
    BBox box;
    EXPECT_TRUE(K::readBBox(p, box));
    EXPECT_EQ(0.0f, box.min.x);  // the Face4 header's reserved field
    EXPECT_EQ(4.0f, box.max.x);
    EXPECT_EQ(6.0f, box.max.z);
}

TEST_F(KelHostile, LongLengthStoresOnlyTheCountAndSkipsTheRest) {
    // Points claims 2 vertices but its length covers 4 (an overrun of the array if read
    // literally): 2 elements stored, the surplus stepped over, the next block read right.
    const KVString p = save(KelBytes()
                                .fileHeader()
                                .header(K::kTagPoints, 16 + 48, 2)
                                .raw(kPoints.data(), 48)
                                .block(K::kTagUV4, 2, kUVs)
                                .header(K::kTagFace4, 16 + 32 + 8, 1)
                                .raw(kFaces.data(), 32)
                                .u32(0xDEADu)
                                .u32(0xBEEFu)
                                .block(K::kTagMRGB, 4, kColors)
                                .end());
    KVArray<KVVector3f> points;
    KVArray<int> faces;
    KVArray<KVVector2f> uvs;
    KVArray<unsigned int> colors;
    EXPECT_TRUE(K::readVtxFace4UV4AndMRGBBlocs(p, points, faces, uvs, colors));
    ASSERT_EQ(2, points.getCount());
    EXPECT_EQ(4.0f, points[1].x);
    EXPECT_EQ(8, uvs.getCount());
    ASSERT_EQ(4, faces.getCount());
    EXPECT_EQ(-1, faces[3]);
    // The Face4 payload is 40 bytes for 16 stored: the MRGB block behind it is still found.
    ASSERT_EQ(4, colors.getCount());
    EXPECT_EQ(0x11u, colors[0]);
}

TEST_F(KelHostile, ReplaceNeverReadsPastTheGivenArray) {
    // The MRGB block's count matches the array, its length claims 2 more values: the 4 given
    // colours are written, the 2 extra payload values stay, the following block is still
    // found and replaced.
    const std::vector<unsigned int> extra = {0xA1u, 0xA2u, 0xA3u, 0xA4u, 0xEEu, 0xFFu};
    KelBytes b = KelBytes().fileHeader().header(K::kTagMRGB, 16 + 24, 4).raw(extra.data(), 24);
    b.block(K::kTagMRGB, 4, kColors).end();
    const KVString p = save(b);
    const keltest::Bytes original = keltest::load(p.c_str());
    KVArray<unsigned int> colors;
    for (unsigned int i = 0; i < 4; ++i) colors.add(0xC0u + i);
    EXPECT_TRUE(K::replaceColorBlocInFile(p, colors));
    keltest::Bytes expected = original;
    std::memcpy(&expected[32 + 16], colors.getData(), 16);
    std::memcpy(&expected[32 + 16 + 24 + 16], colors.getData(), 16);
    EXPECT_EQ(expected, keltest::load(p.c_str()));

    // A length shorter than the count: only the length's bytes are written, the next header
    // stays intact.
    const KVString q = save(KelBytes().fileHeader().header(K::kTagMRGB, 16 + 4, 4).u32(0x99u)
                                .block(K::kTagMRGB, 4, kColors).end(), "short.kel");
    keltest::Bytes expectQ = keltest::load(q.c_str());
    EXPECT_TRUE(K::replaceColorBlocInFile(q, colors));
    std::memcpy(&expectQ[32 + 16], colors.getData(), 4);
    std::memcpy(&expectQ[32 + 20 + 16], colors.getData(), 16);
    EXPECT_EQ(expectQ, keltest::load(q.c_str()));
}
