// Hostile counts and lengths: whatever a block header claims, the heap a reader holds stays within
// a small multiple of the file's size.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "KelTestSupport.h"
#include "io/KVKelIO_Core.h"

using keltest::KelBytes;
using K = KVKelIO_Core;

namespace {

struct Tag {
    std::uint32_t tag;
    std::uint32_t elementBytes;  // file bytes per counted element
};
const Tag kTags[] = {{K::kTagPoints, 12}, {K::kTagFace4, 16}, {K::kTagUV4, 32}, {K::kTagMRGB, 4}, {K::kTagMask, 1}};

// Each reader may hold up to four arrays, each no larger than the file; strings add a little.
// The bounding box adds its one fixed chunk of 65,536 points. With files of 4 KiB and more the
// bound is about five times the file: a reader that sizes anything from a count trips it.
constexpr std::size_t kArrays = 4;
constexpr std::size_t kSlack = 4 * 1024;
constexpr std::size_t kBBoxChunkBytes = 65536 * 12;

std::vector<std::uint32_t> hostileCounts(const Tag& t, std::uint32_t held) {
    std::vector<std::uint32_t> counts = {0u, 1u, held, held + 1, 0x7FFFFFFFu, 0xFFFFFFFFu};
    // Counts whose byte size wraps a 32-bit product to a small number.
    if (t.elementBytes > 1) {
        const std::uint64_t wrap = (1ull << 32) / t.elementBytes;
        counts.push_back(static_cast<std::uint32_t>(wrap));
        counts.push_back(static_cast<std::uint32_t>(wrap + 1));
    }
    if (t.tag == K::kTagFace4 || t.tag == K::kTagUV4) {
        // 4 x count elements: wraps in 32 bits as an element count too.
        counts.push_back(0x40000000u);
        counts.push_back(0x40000001u);
    }
    return counts;
}

std::vector<std::uint32_t> hostileLengths(std::uint32_t payload, std::uint32_t countBytes) {
    return {0u, 1u, 15u, 16u, 16u + payload, 16u + payload + 1, 16u + countBytes, 0x7FFFFFFFu, 0x80000010u, 0xFFFFFFFFu};
}

class AllocationBounds : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(dir.ok()); }
    TempFolder dir;
};

// Runs `read` with the peak reset, and checks the peak above what was held before.
template <typename Read>
void expectBounded(const char* what, std::size_t fileSize, std::size_t extra, Read&& read, const std::string& where) {
    const std::size_t before = keltest::heldBytes();
    keltest::resetPeakHeldBytes();
    read();
    const std::size_t grown = keltest::peakHeldBytes() - before;
    EXPECT_LE(grown, kArrays * fileSize + kSlack + extra) << what << " " << where;
}

}  // namespace

TEST_F(AllocationBounds, EveryReaderStaysWithinTheFileSize) {
    const std::string path = dir / "hostile.kel";
    const KVString p(path.c_str());
    // 4 KiB of real payload after the hostile header, then a well-formed points block and the
    // end, so readers that go on walking find something to read.
    for (const Tag& t : kTags) {
        const std::uint32_t held = 4096 / t.elementBytes;
        const std::uint32_t payload = held * t.elementBytes;
        for (std::uint32_t count : hostileCounts(t, held)) {
            const std::uint32_t countBytes = static_cast<std::uint32_t>(std::uint64_t{count} * t.elementBytes);
            for (std::uint32_t length : hostileLengths(payload, countBytes)) {
                KelBytes b = KelBytes().fileHeader().header(t.tag, length, count);
                b.raw(std::vector<unsigned char>(payload, 0x41).data(), payload);
                b.block(K::kTagPoints, 2, std::vector<KVVector3f>{{1, 2, 3}, {4, 5, 6}}).end();
                ASSERT_TRUE(b.save(path));
                const std::size_t size = b.size();
                const std::string where = "tag " + std::to_string(t.tag) + " count " + std::to_string(count) +
                                          " length " + std::to_string(length);
                bool hasUV = false;
                expectBounded("readVertexBloc", size, 0, [&] { KVArray<KVVector3f> a; K::readVertexBloc(p, a); }, where);
                expectBounded("readFace4Bloc", size, 0, [&] { KVArray<int> a; K::readFace4Bloc(p, a, hasUV); }, where);
                expectBounded("readUV4Bloc", size, 0, [&] { KVArray<KVVector2f> a; K::readUV4Bloc(p, a); }, where);
                expectBounded("readMRGBBloc", size, 0, [&] { KVArray<unsigned int> a; K::readMRGBBloc(p, a); }, where);
                expectBounded("readMaskBloc", size, 0, [&] { KVArray<unsigned char> a; K::readMaskBloc(p, a); }, where);
                expectBounded("readVtxFace4UV4AndMRGBBlocs", size, 0, [&] {
                    KVArray<KVVector3f> v;
                    KVArray<int> f;
                    KVArray<KVVector2f> u;
                    KVArray<unsigned int> c;
                    K::readVtxFace4UV4AndMRGBBlocs(p, v, f, u, c);
                    K::readVtxFace4AndUV4Blocs(p, v, f, u);
                    K::readVertexAndFace4AndMRGBBlocs(p, v, f, c);
                    K::readVertexAndFace4Blocs(p, v, f);
                }, where);
                expectBounded("readBBox", size, kBBoxChunkBytes, [&] { BBox box; K::readBBox(p, box); }, where);
                // The patches allocate nothing from the file: the arrays are the caller's.
                const KVArray<unsigned int> colors(static_cast<int>(held));
                const KVArray<KVVector2f> uvs(static_cast<int>(4 * held));
                expectBounded("replace", size, 0, [&] {
                    K::replaceColorBlocInFile(p, colors);
                    K::replaceUV4BlocInFile(p, uvs);
                }, where);
            }
        }
    }
}

TEST_F(AllocationBounds, CountsTheFileHoldsAreReadWhole) {
    // The bound must not come from refusing honest files: a block whose count matches its bytes
    // is read in full, and one more than the file holds (4,016 bytes follow the header: the
    // payload and the end block) leaves the array empty.
    const std::string path = dir / "honest.kel";
    const KVString p(path.c_str());
    std::vector<unsigned int> colors(1000);
    for (unsigned int i = 0; i < colors.size(); ++i) colors[i] = i * 2654435761u;
    for (std::uint32_t count : {1000u, 1005u}) {
        ASSERT_TRUE(KelBytes().fileHeader().header(K::kTagMRGB, 16 + 4000, count).raw(colors.data(), 4000).end().save(path));
        KVArray<unsigned int> got;
        EXPECT_TRUE(K::readMRGBBloc(p, got));
        if (count == 1000u) {
            EXPECT_EQ(keltest::toVector(got), colors);
        } else {
            EXPECT_EQ(0, got.getCount());
        }
    }
}
