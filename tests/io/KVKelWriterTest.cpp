// Whole-mesh files written by KVKelWriter and read back by the readers.
#include <gtest/gtest.h>

#include <cstring>

#include "KelTestSupport.h"
#include "io/KVKelIO_Core.h"
#include "io/KVKelWriter.h"

using K = KVKelIO_Core;

namespace {

KVKelMesh quadAndTriangle() {
    KVKelMesh m;
    m.points.add(KVVector3f{0, 0, 0});
    m.points.add(KVVector3f{1, 0, 0});
    m.points.add(KVVector3f{1, 1, 0});
    m.points.add(KVVector3f{0, 1, 2});
    for (int i : {0, 1, 2, 3, 0, 2, 3, -1}) m.faces.add(i);
    return m;
}

// The tags of the blocks in file order, up to and including the end block.
std::vector<std::uint32_t> tagsOf(const std::string& path) {
    std::vector<std::uint32_t> tags;
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return tags;
    Kel_Header h;
    if (K::readFileHeader(f)) {
        while (K::readBlockHeader(f, h)) {
            tags.push_back(h.tag);
            if (h.tag == 0 || !K::skipBlock(f, h)) break;
        }
    }
    std::fclose(f);
    return tags;
}

}  // namespace

class KelWriter : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(dir.ok()); }
    TempFolder dir;
};

TEST_F(KelWriter, MinimalAndEmptyMeshesHavePointsFacesAndEnd) {
    const std::string path = dir / "mesh.kel";
    const KVString p(path.c_str());
    const KVKelMesh m = quadAndTriangle();
    ASSERT_TRUE(KVKelWriter::writeFile(p, m));
    EXPECT_EQ((std::vector<std::uint32_t>{K::kTagPoints, K::kTagFace4, 0}), tagsOf(path));
    EXPECT_EQ(32u + 16 + 48 + 16 + 32 + 16, keltest::load(path).size());

    // The contents are compared in the full round trip; here what a bare mesh must not claim.
    KVArray<int> faces;
    bool hasUV = true;
    ASSERT_TRUE(K::readFace4Bloc(p, faces, hasUV));
    EXPECT_FALSE(hasUV);
    BBox box;
    ASSERT_TRUE(K::readBBox(p, box));
    EXPECT_EQ(2.0f, box.max.z);

    ASSERT_TRUE(KVKelWriter::writeFile(p, KVKelMesh()));
    EXPECT_EQ((std::vector<std::uint32_t>{K::kTagPoints, K::kTagFace4, 0}), tagsOf(path));
    EXPECT_TRUE(K::readBBox(p, box));
    EXPECT_TRUE(box.isEmpty());
}

TEST_F(KelWriter, FullMeshRoundTripsEveryBlock) {
    const std::string path = dir / "full.kel";
    KVKelMesh m = quadAndTriangle();
    for (int i = 0; i < 8; ++i) m.uvs.add(KVVector2f{i * 0.125f, 1.0f - i * 0.125f});
    for (unsigned char c : {0, 10, 200, 255}) m.mask.add(c);
    for (unsigned int c : {0xFF000000u, 0x00FF0000u, 0x0000FF00u, 0x000000FFu}) m.colors.add(c);
    ASSERT_TRUE(KVKelWriter::writeFile(KVString(path.c_str()), m));
    EXPECT_EQ((std::vector<std::uint32_t>{K::kTagPoints, K::kTagFace4, K::kTagUV4, K::kTagMask, K::kTagMRGB, 0}),
              tagsOf(path));

    const KVString p(path.c_str());
    KVArray<KVVector3f> points;
    KVArray<int> faces;
    KVArray<KVVector2f> uvs;
    KVArray<unsigned int> colors;
    KVArray<unsigned char> mask;
    ASSERT_TRUE(K::readVtxFace4UV4AndMRGBBlocs(p, points, faces, uvs, colors));
    ASSERT_TRUE(K::readMaskBloc(p, mask));
    EXPECT_EQ(0, std::memcmp(points.getData(), m.points.getData(), 48));
    EXPECT_EQ(keltest::toVector(m.faces), keltest::toVector(faces));
    ASSERT_EQ(8, uvs.getCount());
    EXPECT_EQ(0, std::memcmp(uvs.getData(), m.uvs.getData(), 64));
    EXPECT_EQ(keltest::toVector(m.colors), keltest::toVector(colors));
    EXPECT_EQ(keltest::toVector(m.mask), keltest::toVector(mask));
}

TEST_F(KelWriter, InconsistentMeshesAndFailedWritesLeaveNoFile) {
    const std::string path = dir / "bad.kel";
    KVKelMesh ragged = quadAndTriangle(), badUVs = ragged, badMask = ragged, badColors = ragged;
    ragged.faces.add(1);
    badUVs.uvs.add(KVVector2f{0, 0});
    badMask.mask.add(1);
    badColors.colors = KVArray<unsigned int>(5, 0u);
    for (const KVKelMesh* m : {&ragged, &badUVs, &badMask, &badColors}) {
        EXPECT_FALSE(KVKelWriter::writeFile(KVString(path.c_str()), *m));
        EXPECT_FALSE(pathExists(path));
    }
    // A write that fails half-way leaves no file either.
    const std::string missingFolder = dir / "none/x.kel";
    EXPECT_FALSE(KVKelWriter::writeFile(KVString(missingFolder.c_str()), quadAndTriangle()));
    EXPECT_FALSE(pathExists(missingFolder));
    KVKelMesh big;
    big.points = KVArray<KVVector3f>(100000);
    {
        keltest::FileSizeLimit limit(4096);
        ASSERT_TRUE(limit.ok());
        EXPECT_FALSE(KVKelWriter::writeFile(KVString(path.c_str()), big));
    }
    EXPECT_FALSE(pathExists(path));
}
