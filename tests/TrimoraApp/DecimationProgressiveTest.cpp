// Progressive meshes: build once, serialize, parse hostile buffers, replay to many targets.
#include <gtest/gtest.h>

#include "DecimationTestMeshes.h"

using namespace dtest;

namespace {

std::vector<std::uint8_t> build(const DecimationMesh& in, const DecimationOptions& o, ProgressiveMesh& pm) {
    DecimationResult r = buildProgressiveMesh(in, o, pm);
    EXPECT_TRUE(r.ok) << r.error;
    std::vector<std::uint8_t> bytes;
    EXPECT_TRUE(pm.serialize(bytes));
    return bytes;
}

TEST(DecimationProgressive, RoundTripReplaysToEveryTarget) {
    DecimationMesh in = sphere(40, 64, 0.08, true, true);
    DecimationOptions o;
    o.keepUVs = o.useColors = true;
    ProgressiveMesh pm;
    std::vector<std::uint8_t> bytes = build(in, o, pm);
    EXPECT_EQ(pm.fullVertexCount(), std::int64_t(in.points.size()));
    EXPECT_LT(pm.baseVertexCount(), 100);

    ProgressiveMesh parsed;
    std::string error;
    ASSERT_TRUE(parsed.parse(bytes.data(), bytes.size(), &error)) << error;
    std::vector<std::uint8_t> again;
    ASSERT_TRUE(parsed.serialize(again));
    EXPECT_EQ(bytes, again);

    for (std::int64_t target : {2000, 1000, 500, 250, 120}) {
        DecimationMesh out;
        DecimationResult r = parsed.decimate(target, out);
        ASSERT_TRUE(r.ok) << r.error;
        EXPECT_TRUE(withinPercent(out.vertexCount(), target)) << out.vertexCount() << " for " << target;
        EXPECT_EQ(topologyDefects(out), 0);
        EXPECT_EQ(flippedAgainst(in, out), 0) << target;
        EXPECT_EQ(std::int64_t(out.vertexCount()) * 2 - 4, std::int64_t(out.triangleCount()));
        ASSERT_EQ(out.cornerUVs.size(), out.triangles.size());
        ASSERT_EQ(out.colors.size(), out.points.size());
        EXPECT_EQ(seamSpanning(out), 0);
    }
    // Beyond the ends: the full mesh, and the base.
    DecimationMesh out;
    ASSERT_TRUE(parsed.decimate(1 << 30, out).ok);
    EXPECT_EQ(out.vertexCount(), in.points.size());
    EXPECT_EQ(out.triangleCount(), in.triangleCount());
    ASSERT_TRUE(parsed.decimate(0, out).ok);
    EXPECT_EQ(std::int64_t(out.vertexCount()), parsed.baseVertexCount());
}

// The history records exactly the collapses of the direct run, including those of the passes
// applied block by block in parallel, with their UV moves.
TEST(DecimationProgressive, ReplayToTheBuildTargetEqualsDirectDecimation) {
    DecimationMesh in = sphere(64, 96, 0.08, true, true);
    DecimationOptions o;
    o.keepUVs = o.useColors = true;
    o.numThreads = 2;
    o.targetVertices = 400;
    ProgressiveMesh pm;
    build(in, o, pm);
    DecimationMesh replayed, direct;
    ASSERT_TRUE(pm.decimate(o.targetVertices, replayed).ok);
    ASSERT_TRUE(decimateMesh(in, o, direct).ok);
    expectSameMesh(replayed, direct);
    ASSERT_EQ(replayed.cornerUVs.size(), direct.cornerUVs.size());
    EXPECT_EQ(0, std::memcmp(replayed.cornerUVs.data(), direct.cornerUVs.data(), direct.cornerUVs.size() * sizeof(KVVector2f)));
}

TEST(DecimationProgressive, ReplayKeepsLocksAndSymmetry) {
    DecimationMesh in = sphere(30, 48, 0.1);
    in.mask.assign(in.points.size(), 0);
    for (std::size_t v = 0; v < in.points.size(); ++v) in.mask[v] = in.points[v].z > 0.6f;
    DecimationOptions o;
    o.useMask = true;
    o.symmetry = SymmetryMode::X;
    ProgressiveMesh pm;
    build(in, o, pm);
    std::set<std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>> masked;
    for (std::size_t v = 0; v < in.points.size(); ++v)
        if (in.mask[v]) masked.insert(bits(in.points[v]));
    for (std::int64_t target : {900, 601, 450}) {  // 385 vertices are masked
        DecimationMesh out;
        ASSERT_TRUE(pm.decimate(target, out).ok);
        EXPECT_TRUE(withinPercent(out.vertexCount(), target)) << out.vertexCount() << " for " << target;
        std::size_t kept = 0;
        for (const KVVector3f& p : out.points) kept += masked.count(bits(p));
        EXPECT_EQ(kept, masked.size());
        EXPECT_EQ(unmirrored(out, 0, 1e-4), 0);
    }
}

TEST(DecimationProgressive, ParseRejectsTruncatedAndCorruptBuffers) {
    DecimationMesh in = sphere(12, 16, 0.05, true, true);
    in.mask.assign(in.points.size(), 0);
    DecimationOptions o;
    o.keepUVs = true;
    ProgressiveMesh pm;
    std::vector<std::uint8_t> bytes = build(in, o, pm);
    ProgressiveMesh p;
    std::string error;
    // Every prefix (copied flush against the end of its allocation) is refused.
    for (std::size_t n = 0; n < bytes.size(); ++n) {
        std::vector<std::uint8_t> cut(bytes.begin(), bytes.begin() + n);
        EXPECT_FALSE(p.parse(cut.empty() ? nullptr : cut.data(), cut.size(), &error)) << n;
        EXPECT_TRUE(p.empty());
    }
    // The zero bytes after the mask keep the later records aligned; anything else there is refused.
    const std::size_t vertices = pm.fullVertexCount();
    ASSERT_EQ(bytes[8], 1 | 2 | 4);  // UVs, colours and mask
    if (vertices % 4 != 0) {
        std::vector<std::uint8_t> padded = bytes;
        padded[32 + (12 + 4 + 1) * vertices] = 1;
        EXPECT_FALSE(p.parse(padded.data(), padded.size(), &error));
        EXPECT_EQ(error, "padding not zero");
    }
    std::vector<std::uint8_t> longer = bytes;
    longer.push_back(0);
    EXPECT_FALSE(p.parse(longer.data(), longer.size()));
    // Huge counts must not allocate or read: the vertex count field says 2^31 - 1.
    std::vector<std::uint8_t> huge = bytes;
    std::uint32_t big = 0x7FFFFFFF;
    std::memcpy(&huge[12], &big, 4);
    EXPECT_FALSE(p.parse(huge.data(), huge.size(), &error));
    // A byte flipped anywhere either parses into something replayable or is refused.
    int refused = 0;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::vector<std::uint8_t> bad = bytes;
        bad[i] ^= 0xA5;
        if (!p.parse(bad.data(), bad.size())) {
            ++refused;
            continue;
        }
        DecimationMesh out;
        for (std::int64_t target : {0, 50, 100}) {
            ASSERT_TRUE(p.decimate(target, out).ok);
            for (std::int32_t v : out.triangles) ASSERT_LT(std::size_t(v), out.points.size());
        }
    }
    EXPECT_GT(refused, 0);
    ProgressiveMesh none;
    DecimationMesh out;
    EXPECT_FALSE(none.decimate(10, out).ok);
    std::vector<std::uint8_t> nothing;
    EXPECT_FALSE(none.serialize(nothing));
}

TEST(DecimationProgressive, BuildCanBeCancelled) {
    DecimationMesh in = sphere(30, 48);
    ProgressiveMesh pm;
    DecimationCallbacks cb;
    cb.progress = [](std::int64_t, std::int64_t) { return false; };
    DecimationResult r = buildProgressiveMesh(in, DecimationOptions(), pm, cb);
    EXPECT_FALSE(r.ok);
    EXPECT_TRUE(r.cancelled);
    EXPECT_TRUE(pm.empty());
}

}  // namespace
