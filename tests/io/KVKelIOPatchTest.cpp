// Bounding box chunks, in-place colour and UV replacement, the colour file writer, conversions.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "KelTestSupport.h"
#include "io/KVKelIO.h"

using keltest::KelBytes;
using K = KVKelIO_Core;

namespace {

class KelPatch : public ::testing::Test {
protected:
    KVString save(const KelBytes& b, const char* name = "p.kel") {
        const std::string path = dir / name;
        EXPECT_TRUE(b.save(path));
        return KVString(path.c_str());
    }
    void SetUp() override { ASSERT_TRUE(dir.ok()); }
    TempFolder dir;
};

// Points on a small lattice, with one point far outside it at `extreme`.
std::vector<KVVector3f> latticeWithExtreme(int n, int extreme) {
    std::vector<KVVector3f> pts(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) {
        pts[i] = KVVector3f{static_cast<float>(i % 7), static_cast<float>(i % 11) - 5.0f, static_cast<float>(i % 3)};
    }
    if (extreme >= 0 && extreme < n) pts[extreme] = KVVector3f{-100.0f, 200.0f, -300.0f};
    return pts;
}

}  // namespace

TEST_F(KelPatch, BoundingBoxAcrossTheChunkEdge) {
    // Counts around the 65,536-point buffer, with the outlying point placed right before,
    // on, and after the chunk boundary and at the very end.
    const int counts[] = {1, 65535, 65536, 65537, 2 * 65536, 2 * 65536 + 3};
    for (int n : counts) {
        for (int extreme : {n - 1, 65535, 65536, 0}) {
            const std::vector<KVVector3f> pts = latticeWithExtreme(n, extreme);
            const KVString p = save(KelBytes().fileHeader().block(7u, 1, std::vector<int>{1, 2}).block(K::kTagPoints, n, pts).end());
            BBox expected;
            expected.setEmpty();
            for (const KVVector3f& v : pts) expected.add(v);
            BBox box;
            box.min = box.max = KVVector3f{1000, 1000, 1000};
            ASSERT_TRUE(K::readBBox(p, box)) << n;
            EXPECT_EQ(0, std::memcmp(&expected, &box, sizeof box)) << n << " extreme at " << extreme;
        }
    }
}

TEST_F(KelPatch, BoundingBoxNeedsEveryCountedPoint) {
    // One point short of the count, in the first chunk and after a whole chunk.
    for (int n : {3, 65536, 65537}) {
        const std::vector<KVVector3f> pts = latticeWithExtreme(n, -1);
        KelBytes b = KelBytes().fileHeader().header(K::kTagPoints, 16 + 12 * n, n);
        b.raw(pts.data(), (pts.size() - 1) * 12);
        BBox box;
        EXPECT_FALSE(K::readBBox(save(b), box)) << n;
    }
    // A Points block of zero points is a box with nothing in it, and a success.
    BBox box;
    box.min = box.max = KVVector3f{1, 2, 3};
    EXPECT_TRUE(K::readBBox(save(KelBytes().fileHeader().header(K::kTagPoints, 16, 0).end()), box));
    EXPECT_TRUE(box.isEmpty());
}

TEST_F(KelPatch, ReplaceColoursOverwritesEveryMatchingBlockOnly) {
    const std::vector<unsigned int> three = {1, 2, 3};
    const std::vector<unsigned int> two = {7, 8};
    KelBytes b = KelBytes()
                     .fileHeader()
                     .block(K::kTagMRGB, 3, three)
                     .block(K::kTagMRGB, 2, two)  // count differs: untouched
                     .block(K::kTagMask, 3, std::vector<unsigned char>{1, 2, 3})
                     .block(4242u, 3, three)  // another tag with the same count: untouched
                     .block(K::kTagMRGB, 3, three)
                     .end()
                     .block(K::kTagMRGB, 3, three);  // after the end block: untouched
    const KVString p = save(b);
    keltest::Bytes expected = b.bytes();
    KVArray<unsigned int> colors;
    for (unsigned int c : {0xFF00FF00u, 0x12345678u, 0x0u}) colors.add(c);
    EXPECT_TRUE(K::replaceColorBlocInFile(p, colors));
    std::memcpy(&expected[32 + 16], colors.getData(), 12);
    const std::size_t third = 32 + 28 + 24 + 19 + 28 + 16;
    std::memcpy(&expected[third], colors.getData(), 12);
    EXPECT_EQ(expected, keltest::load(p.c_str()));

    // No block holds 4 or 2 colours: nothing written, false, the file unchanged.
    EXPECT_FALSE(K::replaceColorBlocInFile(p, KVArray<unsigned int>(4, 1u)));
    EXPECT_FALSE(K::replaceColorBlocInFile(p, KVArray<unsigned int>(1, 9u)));
    EXPECT_EQ(expected, keltest::load(p.c_str()));
}

TEST_F(KelPatch, ReplaceUVsMatchesFourPairsPerFace) {
    const std::vector<KVVector2f> uv2(8, KVVector2f{0.5f, 0.5f});
    const std::vector<KVVector2f> uv1(4, KVVector2f{0.25f, 0.25f});
    KelBytes b = KelBytes()
                     .fileHeader()
                     .block(K::kTagUV4, 2, uv2)
                     .block(K::kTagUV4, 1, uv1)
                     .block(K::kTagPoints, 8, std::vector<KVVector3f>(8, KVVector3f{1, 1, 1}))
                     .block(K::kTagUV4, 2, uv2)
                     .end();
    const KVString p = save(b);
    keltest::Bytes expected = b.bytes();
    KVArray<KVVector2f> uvs;
    for (int i = 0; i < 8; ++i) uvs.add(KVVector2f{static_cast<float>(i), static_cast<float>(-i)});
    EXPECT_TRUE(K::replaceUV4BlocInFile(p, uvs));
    std::memcpy(&expected[32 + 16], uvs.getData(), 64);
    std::memcpy(&expected[32 + 80 + 48 + 112 + 16], uvs.getData(), 64);
    EXPECT_EQ(expected, keltest::load(p.c_str()));
    // 8 pairs are 2 faces, never 8 faces: a Points-like count must not match.
    KVArray<KVVector2f> readBack;
    EXPECT_TRUE(K::readUV4Bloc(p, readBack));
    ASSERT_EQ(8, readBack.getCount());
    EXPECT_EQ(-7.0f, readBack[7].v);
    // 7 pairs match nothing.
    uvs.removeLast();
    EXPECT_FALSE(K::replaceUV4BlocInFile(p, uvs));
    EXPECT_EQ(expected, keltest::load(p.c_str()));
}

TEST_F(KelPatch, ReplaceRefusesBadFiles) {
    KVArray<unsigned int> colors(2, 1u);
    KVArray<KVVector2f> uvs(4);
    const KVString missing((dir / "missing.kel").c_str());
    EXPECT_FALSE(K::replaceColorBlocInFile(missing, colors));
    EXPECT_FALSE(pathExists(missing.c_str()));
    const KVString magic = save(KelBytes().fileHeader("KELB").block(K::kTagMRGB, 2, std::vector<unsigned int>{3, 4}).end());
    const keltest::Bytes before = keltest::load(magic.c_str());
    EXPECT_FALSE(K::replaceColorBlocInFile(magic, colors));
    EXPECT_EQ(before, keltest::load(magic.c_str()));
    const KVString noBlock = save(KelBytes().fileHeader(), "noblock.kel");
    EXPECT_FALSE(K::replaceUV4BlocInFile(noBlock, uvs));
    EXPECT_EQ(32u, keltest::load(noBlock.c_str()).size());
}

TEST_F(KelPatch, ColourFileWriterLayoutReadBackAndFailures) {
    const KVString p((dir / "c.kel").c_str());
    KVArray<unsigned int> colors;
    for (unsigned int c : {0xAB102030u, 0x00FFFFFFu, 0x01000000u}) colors.add(c);  // the M byte survives
    ASSERT_TRUE(K::writeMRGBBloc(p, colors));
    const keltest::Bytes expected =
        KelBytes().fileHeader().block(K::kTagMRGB, 3, std::vector<unsigned int>(colors.begin(), colors.end())).end().bytes();
    EXPECT_EQ(expected, keltest::load(p.c_str()));
    KVArray<unsigned int> back;
    ASSERT_TRUE(K::readMRGBBloc(p, back));
    EXPECT_EQ(keltest::toVector(colors), keltest::toVector(back));

    // An empty array still makes a valid file with an empty block.
    KVArray<unsigned int> none;
    ASSERT_TRUE(K::writeMRGBBloc(p, none));
    EXPECT_EQ(32u + 16u + 16u, keltest::load(p.c_str()).size());

    // A folder that does not exist, and a write cut short: false and no file left.
    const std::string bad = dir / "no/such/folder.kel";
    EXPECT_FALSE(K::writeMRGBBloc(KVString(bad.c_str()), colors));
    EXPECT_FALSE(pathExists(bad));
    KVArray<unsigned int> many(100000, 0x01020304u);
    {
        keltest::FileSizeLimit limit(1000);
        ASSERT_TRUE(limit.ok());
        EXPECT_FALSE(K::writeMRGBBloc(p, many));
    }
    EXPECT_FALSE(pathExists(p.c_str()));
    // The same call without the cap succeeds: the cap was the only cause.
    EXPECT_TRUE(K::writeMRGBBloc(p, many));
    EXPECT_EQ(32u + 16u + 400000u + 16u, keltest::load(p.c_str()).size());
}

TEST(KelColours, ConversionsRoundTripAndTruncate) {
    KVArray<unsigned int> in;
    for (unsigned int c : {0x00FF8000u, 0xEE0000FFu, 0u}) in.add(c);  // red 255, green 128; the M byte ignored
    KVArray<KVVector3f> colors(7, KVVector3f{5, 5, 5});
    K::convertMRGBBlocToColors3f(colors, in);
    ASSERT_EQ(3, colors.getCount());
    EXPECT_EQ(1.0f, colors[0].x);
    EXPECT_EQ(128.0f / 255.0f, colors[0].y);
    EXPECT_EQ(0.0f, colors[0].z);
    EXPECT_EQ(0.0f, colors[1].x);
    EXPECT_EQ(1.0f, colors[1].z);

    KVArray<unsigned int> back(9, 0xFFFFFFFFu);
    K::convertColors3fToMRGBBloc(back, colors);
    ASSERT_EQ(3, back.getCount());
    EXPECT_EQ(0x000000FFu, back[1]);  // M written as 0

    // Every byte value survives the round trip.
    KVArray<unsigned int> all;
    for (unsigned int v = 0; v < 256; ++v) all.add((v << 16) | ((255 - v) << 8) | (v ^ 0x5Au));
    K::convertMRGBBlocToColors3f(colors, all);
    K::convertColors3fToMRGBBloc(back, colors);
    EXPECT_EQ(keltest::toVector(all), keltest::toVector(back));

    // Truncation toward zero, low 8 bits, no clamping.
    KVArray<KVVector3f> odd;
    odd.add(KVVector3f{0.999f, 0.0039f, 1.0f / 255.0f});
    odd.add(KVVector3f{2.0f, -1.0f, 1.5f});       // 510 -> 0xFE, -255 -> 0x01, 382 -> 0x7E
    odd.add(KVVector3f{-0.001f, NAN, 1e30f});     // -0.255 -> 0; NaN and huge values give 0
    K::convertColors3fToMRGBBloc(back, odd);
    ASSERT_EQ(3, back.getCount());
    EXPECT_EQ((254u << 16) | (0u << 8) | 1u, back[0]);
    EXPECT_EQ((0xFEu << 16) | (0x01u << 8) | 0x7Eu, back[1]);
    EXPECT_EQ(0u, back[2]);
}
