// Meshopt-first reductions: which jobs take the path, the mended meshopt phase, threads and cancel on it.
#include <gtest/gtest.h>

#include <meshoptimizer.h>

#include "DecimationModel.h"
#include "DecimationTestMeshes.h"

using namespace dtest;
using namespace trimora_decimation;

namespace {

TEST(MeshoptFirst, OnlyJobsMeshoptimizerCanHonourTakeThePath) {
    const DecimationMesh plain = sphere(8, 12);
    const DecimationMesh dressed = sphere(8, 12, 0.08, true, true);
    DecimationMesh masked = plain, unmasked = plain;
    masked.mask.assign(masked.points.size(), 0);
    masked.mask[3] = 1;
    unmasked.mask.assign(unmasked.points.size(), 0);
    struct Case {
        const char* what;
        const DecimationMesh& mesh;
        void (*set)(DecimationOptions&);
        ReductionPath expected;
    };
    const Case cases[] = {
        {"plain", plain, [](DecimationOptions&) {}, ReductionPath::MeshoptFirst},
        {"frozen border", plain, [](DecimationOptions& o) { o.freezeBorder = true; }, ReductionPath::MeshoptFirst},
        {"no normal check", plain, [](DecimationOptions& o) { o.avoidNormalReverse = false; }, ReductionPath::MeshoptFirst},
        {"UVs kept", dressed, [](DecimationOptions& o) { o.keepUVs = true; }, ReductionPath::Engine},
        {"UVs asked, none there", plain, [](DecimationOptions& o) { o.keepUVs = true; }, ReductionPath::MeshoptFirst},
        {"colours weighed", dressed, [](DecimationOptions& o) { o.useColors = true, o.colorCoef = 50; }, ReductionPath::Engine},
        {"colours only carried", dressed, [](DecimationOptions& o) { o.useColors = true, o.colorCoef = 0; }, ReductionPath::MeshoptFirst},
        {"mask used", masked, [](DecimationOptions& o) { o.useMask = true; }, ReductionPath::Engine},
        {"mask not used", masked, [](DecimationOptions&) {}, ReductionPath::MeshoptFirst},
        {"mask all free", unmasked, [](DecimationOptions& o) { o.useMask = true; }, ReductionPath::MeshoptFirst},
        {"symmetry", plain, [](DecimationOptions& o) { o.symmetry = SymmetryMode::Automatic; }, ReductionPath::Engine},
        {"engine asked for", plain, [](DecimationOptions& o) { o.path = ReductionPath::Engine; }, ReductionPath::Engine},
    };
    for (const Case& c : cases) {
        DecimationOptions o;
        c.set(o);
        EXPECT_EQ(chooseReductionPath(c.mesh, o), c.expected) << c.what;
    }
}

// Directed edges used twice and faces against the input surface, as in the engine's result checks.
void expectSound(const DecimationMesh& input, const WorkMesh& m) {
    DecimationMesh out;
    writeOutput(m, out);
    EXPECT_EQ(topologyDefects(out), 0);
    EXPECT_EQ(flippedAgainst(input, out), 0);
}

// A sphere with poles of 160 slivers each: meshopt_simplify alone folds faces there and leaves
// fins; the meshopt phase must hand over a sound mesh, whole or in blocks.
TEST(MeshoptFirst, PhaseMendsWhatMeshoptimizerFolds) {
    const DecimationMesh in = sphere(70, 160, 0.08);
    std::vector<unsigned int> indices(in.triangles.begin(), in.triangles.end()), raw(indices.size());
    raw.resize(meshopt_simplify(raw.data(), indices.data(), indices.size(), &in.points[0].x, in.points.size(),
                                sizeof(KVVector3f), indices.size() / 10, 1.0f));
    DecimationMesh alone = in;
    alone.triangles.assign(raw.begin(), raw.end());
    ASSERT_GT(topologyDefects(alone) + flippedAgainst(in, alone), 0) << "meshopt_simplify no longer folds this mesh";

    for (std::int64_t intermediate : {1100, 400}) {
        DecimationOptions o;
        WorkMesh m;
        std::string error;
        WorkerPool pool(2);
        ASSERT_TRUE(buildWorkMesh(in, o, m, error, pool)) << error;
        ASSERT_EQ(meshoptReduce(m, o, intermediate, 100, {}, pool), MeshoptOutcome::Reduced);
        EXPECT_LT(m.positions.size(), in.points.size() / 4);
        EXPECT_GE(m.positions.size(), std::size_t(100));
        expectSound(in, m);
    }
}

TEST(MeshoptFirst, FrozenBordersStayThroughTheBlocks) {
    const DecimationMesh in = patch(260);  // 134k triangles: several blocks
    DecimationOptions o;
    o.freezeBorder = true;
    o.numThreads = 2;
    o.targetVertices = 3000;
    ASSERT_EQ(chooseReductionPath(in, o), ReductionPath::MeshoptFirst);
    DecimationMesh out;
    ASSERT_TRUE(decimateMesh(in, o, out).ok);
    EXPECT_TRUE(withinPercent(out.vertexCount(), 3000)) << out.vertexCount();
    const auto have = pointSet(out);
    int border = 0, kept = 0;
    for (const KVVector3f& p : in.points)
        if (std::fabs(p.x) == 1.0f || std::fabs(p.y) == 1.0f) ++border, kept += int(have.count(bits(p)));
    EXPECT_EQ(border, 4 * 259);
    EXPECT_EQ(kept, border);
    EXPECT_EQ(topologyDefects(out), 0);
}

// Blocks are fixed by the mesh, so the result does not depend on how many threads run them:
// with the hand-over count raised so that each block keeps enough vertices, and as asked.
TEST(MeshoptFirst, ThreadCountDoesNotChangeTheResult) {
    const DecimationMesh in = sphere(150, 320, 0.08);  // 95k triangles, two blocks
    for (std::int64_t target : {1000, 12000}) {
        DecimationOptions o;
        o.targetVertices = target;
        DecimationMesh results[3];
        const int threads[3] = {1, 2, 0};
        for (int i = 0; i < 3; ++i) {
            o.numThreads = threads[i];
            ASSERT_TRUE(decimateMesh(in, o, results[i]).ok);
        }
        EXPECT_TRUE(withinPercent(results[0].vertexCount(), target)) << results[0].vertexCount();
        EXPECT_EQ(topologyDefects(results[0]), 0);
        for (int i = 1; i < 3; ++i) {
            SCOPED_TRACE(target);
            expectSameMesh(results[0], results[i]);
        }
    }
}

// Between blocks the calling thread reports, and a refusal stops the job there.
TEST(MeshoptFirst, CancelDuringTheMeshoptPhaseStopsBeforeOurEngine) {
    const DecimationMesh in = sphere(150, 320, 0.08);
    DecimationOptions o;
    o.targetVertices = 2400;
    o.numThreads = 1;
    std::vector<std::pair<std::int64_t, std::int64_t>> calls;
    DecimationCallbacks cb;
    cb.progress = [&](std::int64_t done, std::int64_t total) {
        calls.push_back({done, total});
        return calls.size() < 3;
    };
    DecimationMesh out;
    const DecimationResult r = decimateMesh(in, o, out, cb);
    EXPECT_TRUE(r.cancelled);
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(out.vertexCount(), 0u);
    ASSERT_EQ(calls.size(), 3u);
    const std::int64_t total = std::int64_t(in.points.size()) - 2400;
    EXPECT_EQ(calls[0], std::make_pair(std::int64_t(0), total));
    // Blocks done count towards the total before our engine starts.
    EXPECT_GT(calls[1].first, 0);
    EXPECT_LE(calls[1].first, calls[2].first);
    EXPECT_LT(calls[2].first, total);
    EXPECT_EQ(calls[2].second, total);
}

}  // namespace
