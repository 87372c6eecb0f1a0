// Block walking and the readers of KVKelIO_Core, on well-formed and damaged files.
#include <gtest/gtest.h>

#include "KelTestSupport.h"
#include "io/KVKelIO.h"

using keltest::KelBytes;
using K = KVKelIO_Core;

namespace {

const std::vector<KVVector3f> kPoints = {{1, 2, 3}, {-4, 5, 6}, {7, -8, 9}, {0.5f, 0.25f, -0.125f}};
const std::vector<KVVector3f> kPoints2 = {{10, 10, 10}};
const std::vector<int> kFaces = {0, 1, 2, -1, 0, 2, 3, 1};
const std::vector<KVVector2f> kUVs = {{0, 0}, {1, 0}, {1, 1}, {9, 9}, {0.5f, 0}, {0, 0.5f}, {1, 0.5f}, {0.5f, 1}};
const std::vector<KVVector2f> kUVs2 = {{7, 7}, {6, 6}, {5, 5}, {4, 4}};
const std::vector<unsigned int> kColors = {0x01FF8000u, 0x00000000u, 0xFFFFFFFFu, 0x7F102030u};
const std::vector<unsigned int> kColors2 = {1};
const std::vector<unsigned char> kMask = {0, 255, 17, 128};
const std::vector<unsigned char> kMask2 = {3};
// An unknown block whose payload looks like a Points header: a walker that reads it instead
// of seeking over it picks up the wrong points.
const std::vector<std::uint32_t> kDecoy = {K::kTagPoints, 16 + 12, 1, 0, 0x41414141u, 0x42424242u, 0x43434343u};

// Arrays compared as their bytes (the vector types have no ==).
template <typename T>
std::string raw(const std::vector<T>& v) {
    return std::string(reinterpret_cast<const char*>(v.data()), v.size() * sizeof(T));
}
template <typename T>
std::string raw(const KVArray<T>& a) {
    return raw(keltest::toVector(a));
}

// What every reader gives for one file. Outputs start filled with junk to prove each reader
// empties them on entry. single: the one-block readers; pair: points and faces; walk: the full
// geometry reader, which the two smaller geometry readers must agree with.
struct Reads {
    bool ok = true, hasUV = true, box = false;
    std::string points, faces, uvs, colors, mask, pairPoints, pairFaces, walkPoints, walkFaces, walkUVs, walkColors;
};

Reads readAll(const std::string& path) {
    const KVString p(path.c_str());
    Reads r;
    KVArray<KVVector3f> points(3, KVVector3f{9, 9, 9}), points2(3, KVVector3f{9, 9, 9});
    KVArray<int> faces(5, 7), faces2(5, 7);
    KVArray<KVVector2f> uvs(2, KVVector2f{3, 3});
    KVArray<unsigned int> colors(4, 0xABCDEFu);
    KVArray<unsigned char> mask(6, 1);
    r.ok = K::readVertexBloc(p, points);
    r.points = raw(points);
    EXPECT_EQ(r.ok, K::readFace4Bloc(p, faces, r.hasUV));
    r.faces = raw(faces);
    EXPECT_EQ(r.ok, K::readUV4Bloc(p, uvs));
    r.uvs = raw(uvs);
    EXPECT_EQ(r.ok, K::readMRGBBloc(p, colors));
    r.colors = raw(colors);
    EXPECT_EQ(r.ok, K::readMaskBloc(p, mask));
    r.mask = raw(mask);
    // The streaming readers give the same elements, in chunks of at most the size asked for
    // (whole faces for the Face4 block), whatever the chunk size.
    for (int chunk : {1, 3, 1000}) {
        SCOPED_TRACE(chunk);
        std::string streamed;
        auto collect = [&](const void* data, int n, std::size_t size, int most) {
            EXPECT_GT(n, 0);
            EXPECT_LE(n, most);
            streamed.append(static_cast<const char*>(data), static_cast<std::size_t>(n) * size);
        };
        EXPECT_EQ(r.ok, K::streamVertexBloc(p, chunk, [&](const KVVector3f* d, int n) {
            collect(d, n, sizeof(KVVector3f), chunk);
        }));
        EXPECT_EQ(streamed, r.points);
        streamed.clear();
        bool streamedUV = !r.hasUV;
        EXPECT_EQ(r.ok, K::streamFace4Bloc(p, chunk, streamedUV, [&](const int* d, int n) {
            EXPECT_EQ(n % 4, 0);
            collect(d, n, sizeof(int), 4 * chunk);
        }));
        EXPECT_EQ(streamed, r.faces);
        EXPECT_EQ(streamedUV, r.hasUV);
        streamed.clear();
        EXPECT_EQ(r.ok, K::streamUV4Bloc(p, chunk, [&](const KVVector2f* d, int n) {
            collect(d, n, sizeof(KVVector2f), chunk);
        }));
        EXPECT_EQ(streamed, r.uvs);
    }
    EXPECT_EQ(r.ok, K::readVertexAndFace4Blocs(p, points, faces));
    r.pairPoints = raw(points);
    r.pairFaces = raw(faces);
    EXPECT_EQ(r.ok, K::readVtxFace4UV4AndMRGBBlocs(p, points, faces, uvs, colors));
    r.walkPoints = raw(points);
    r.walkFaces = raw(faces);
    r.walkUVs = raw(uvs);
    r.walkColors = raw(colors);
    EXPECT_EQ(r.ok, K::readVertexAndFace4AndMRGBBlocs(p, points, faces2, colors));
    EXPECT_EQ(r.walkPoints + r.walkFaces + r.walkColors, raw(points) + raw(faces2) + raw(colors));
    EXPECT_EQ(r.ok, K::readVtxFace4AndUV4Blocs(p, points2, faces, uvs));
    EXPECT_EQ(r.walkPoints + r.walkFaces + r.walkUVs, raw(points2) + raw(faces) + raw(uvs));
    BBox box;
    box.min = box.max = KVVector3f{1, 1, 1};
    r.box = K::readBBox(p, box);
    if (r.box) {
        EXPECT_EQ(raw(std::vector<KVVector3f>{box.min, box.max}), raw(std::vector<KVVector3f>{{-4, -8, -0.125f}, {7, 5, 9}}));
    } else {
        EXPECT_TRUE(box.isEmpty());
    }
    return r;
}

// The readers' view of a file holding the given arrays everywhere, before exceptions.
Reads holding(const std::vector<KVVector3f>& points, const std::vector<int>& faces, bool hasUV,
              const std::vector<KVVector2f>& uvs, const std::vector<unsigned int>& colors,
              const std::vector<unsigned char>& mask) {
    Reads r;
    r.hasUV = hasUV;
    r.box = !points.empty();
    r.points = r.pairPoints = r.walkPoints = raw(points);
    r.faces = r.pairFaces = r.walkFaces = raw(faces);
    r.uvs = r.walkUVs = raw(uvs);
    r.colors = r.walkColors = raw(colors);
    r.mask = raw(mask);
    return r;
}

void expectReads(const Reads& got, const Reads& want) {
    EXPECT_EQ(got.ok, want.ok);
    EXPECT_EQ(got.hasUV, want.hasUV);
    EXPECT_EQ(got.box, want.box);
    const std::pair<const std::string*, const std::string*> fields[] = {
        {&got.points, &want.points},         {&got.faces, &want.faces},         {&got.uvs, &want.uvs},
        {&got.colors, &want.colors},         {&got.mask, &want.mask},           {&got.pairPoints, &want.pairPoints},
        {&got.pairFaces, &want.pairFaces},   {&got.walkPoints, &want.walkPoints}, {&got.walkFaces, &want.walkFaces},
        {&got.walkUVs, &want.walkUVs},       {&got.walkColors, &want.walkColors}};
    for (std::size_t i = 0; i < sizeof fields / sizeof fields[0]; ++i)
        EXPECT_TRUE(*fields[i].first == *fields[i].second) << "output " << i;
}

class KelRead : public ::testing::Test {
protected:
    std::string save(const KelBytes& b, const char* name = "m.kel") {
        const std::string path = dir / name;
        EXPECT_TRUE(b.save(path));
        return path;
    }
    TempFolder dir;
};

}  // namespace

TEST_F(KelRead, EmptyAndRefusedFilesGiveEmptyArrays) {
    ASSERT_TRUE(dir.ok());
    const Reads empty = holding({}, {}, false, {}, {}, {});
    Reads refused = empty;
    refused.ok = false;
    KelBytes shortHeader;
    shortHeader.raw(KelBytes().fileHeader().end().bytes().data(), 31);
    const std::vector<std::pair<std::string, Reads>> table = {
        // Header and end block only; header alone; a header cut inside a block header.
        {save(KelBytes().fileHeader().end(), "end.kel"), empty},
        {save(KelBytes().fileHeader(), "header.kel"), empty},
        {save(KelBytes().fileHeader().u32(K::kTagPoints).u32(28), "cut.kel"), empty},
        {save(KelBytes().fileHeader("Kelc").block(K::kTagPoints, 4, kPoints).end(), "magic.kel"), refused},
        {save(KelBytes().fileHeader("kelb").block(K::kTagPoints, 4, kPoints).end(), "case.kel"), refused},
        {save(shortHeader, "short.kel"), refused},
        {dir / "missing.kel", refused},
        {std::string(), refused},
        {dir / "", refused},  // a folder, not a file
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.first);
        expectReads(readAll(row.first), row.second);
    }
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

    // The header bytes are pinned by the colour file writer's layout test; here the round trip.
    ASSERT_EQ(32u + 16u + 8u + 2u, keltest::load(path).size());

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

TEST_F(KelRead, EachReaderWalksTheBlocksAsItDefines) {
    ASSERT_TRUE(dir.ok());
    struct Row {
        const char* what;
        KelBytes file;
        Reads want;
    };
    std::vector<Row> table;
    // Blocks in an order no writer uses, unknown tags (with decoy payloads) between them.
    table.push_back({"unknown blocks between",
                     KelBytes().fileHeader().block(12345u, 7, kDecoy).block(K::kTagMRGB, 4, kColors)
                         .block(K::kTagUV4, 2, kUVs).block(1u, 0, std::vector<char>{}).block(K::kTagFace4, 2, kFaces)
                         .block(0xFFFFFFFFu, 3, kDecoy).block(K::kTagMask, 4, kMask).block(K::kTagPoints, 4, kPoints)
                         .block(99u, 1, kDecoy).end(),
                     holding(kPoints, kFaces, true, kUVs, kColors, kMask)});
    table.push_back({"nothing after the end block",
                     KelBytes().fileHeader().block(K::kTagFace4, 2, kFaces).end().block(K::kTagUV4, 2, kUVs)
                         .block(K::kTagPoints, 4, kPoints).block(K::kTagMRGB, 4, kColors).block(K::kTagMask, 4, kMask).end(),
                     holding({}, kFaces, false, {}, {}, {})});
    // hasUV: UV4 after the faces (the reader walks on), or a UV4 header with no payload.
    table.push_back({"uv after faces",
                     KelBytes().fileHeader().block(K::kTagFace4, 2, kFaces).block(55u, 1, kDecoy)
                         .block(K::kTagUV4, 2, kUVs).end(),
                     holding({}, kFaces, true, kUVs, {}, {})});
    table.push_back({"empty uv block",
                     KelBytes().fileHeader().header(K::kTagUV4, 16, 0).block(K::kTagFace4, 2, kFaces).end(),
                     holding({}, kFaces, true, {}, {}, {})});
    // Repeated blocks: the one-block readers keep the first; the UV reader and the walkers the
    // last; the pair reader stops once it has both points and faces.
    Reads repeated = holding(kPoints, kFaces, true, kUVs2, kColors, kMask);
    repeated.walkPoints = raw(kPoints2);
    repeated.walkColors = raw(kColors2);
    table.push_back({"repeated blocks",
                     KelBytes().fileHeader().block(K::kTagPoints, 4, kPoints).block(K::kTagUV4, 2, kUVs)
                         .block(K::kTagMRGB, 4, kColors).block(K::kTagMask, 4, kMask).block(K::kTagFace4, 2, kFaces)
                         .block(K::kTagPoints, 1, kPoints2).block(K::kTagUV4, 1, kUVs2).block(K::kTagMRGB, 1, kColors2)
                         .block(K::kTagMask, 1, kMask2).end(),
                     repeated});
    Reads facesFirst = holding(kPoints, kFaces, false, {}, {}, {});
    facesFirst.walkPoints = raw(kPoints2);
    table.push_back({"faces before repeated points",
                     KelBytes().fileHeader().block(K::kTagFace4, 2, kFaces).block(K::kTagPoints, 4, kPoints)
                         .block(K::kTagPoints, 1, kPoints2).end(),
                     facesFirst});
    // A Points block cut in its payload: what came before is kept, the points (which the file
    // cannot hold) stay empty, the walk ends without reading past the file.
    KelBytes cut = KelBytes().fileHeader().block(K::kTagFace4, 2, kFaces).block(K::kTagMRGB, 4, kColors);
    cut.header(K::kTagPoints, 16 + 48, 4).raw(kPoints.data(), 20);
    Reads cutReads = holding({}, kFaces, false, {}, kColors, {});
    table.push_back({"points payload cut", cut, cutReads});
    // A UV block shorter than its count with the file going on: the pairs it lacks read as zeros,
    // one of them cut in the middle.
    KelBytes shortUV = KelBytes().fileHeader().header(K::kTagUV4, 16 + 12, 1);
    shortUV.raw(kUVs.data(), 12).block(K::kTagPoints, 4, kPoints).end();
    table.push_back({"uv payload shorter than its count", shortUV,
                     holding(kPoints, {}, true, {kUVs[0], {kUVs[1].u, 0}, {0, 0}, {0, 0}}, {}, {})});
    for (const Row& row : table) {
        SCOPED_TRACE(row.what);
        expectReads(readAll(save(row.file)), row.want);
    }
}
