// Decimation engine: targets, locks, attributes, symmetry, orientation, threads and cancel.
#include <gtest/gtest.h>

#include <map>
#include <numeric>
#include <random>

#include "DecimationModel.h"
#include "DecimationTestMeshes.h"

using namespace dtest;

namespace {

DecimationMesh run(const DecimationMesh& in, DecimationOptions o) {
    DecimationMesh out;
    DecimationResult r = decimateMesh(in, o, out);
    EXPECT_TRUE(r.ok) << r.error;
    EXPECT_FALSE(r.cancelled);
    return out;
}

TEST(DecimationEngine, ReachesTargetsOnClosedSurfaceWithoutDefects) {
    DecimationMesh in = sphere(40, 64);
    for (std::int64_t target : {1200, 400, 60}) {
        DecimationOptions o;
        o.targetVertices = target;
        DecimationMesh out = run(in, o);
        EXPECT_TRUE(withinPercent(out.vertexCount(), target)) << out.vertexCount() << " for " << target;
        EXPECT_EQ(topologyDefects(out), 0);
        EXPECT_EQ(flippedAgainst(in, out), 0);
        // A closed surface stays closed: Euler characteristic of a sphere.
        EXPECT_EQ(std::int64_t(out.vertexCount()) * 2 - 4, std::int64_t(out.triangleCount()));
        for (const KVVector3f& p : out.points) {
            double r = std::sqrt(p.x * p.x + p.y * p.y + p.z * p.z);
            EXPECT_NEAR(r, 1.0, 0.15);
        }
    }
}

TEST(DecimationEngine, BordersFrozenBitExactAndOtherwiseKeptOnTheirLine) {
    DecimationMesh in = patch(40);
    std::vector<int> border;
    for (std::size_t v = 0; v < in.points.size(); ++v)
        if (std::fabs(in.points[v].x) == 1.0f || std::fabs(in.points[v].y) == 1.0f) border.push_back(int(v));
    ASSERT_EQ(border.size(), 156u);

    DecimationOptions o;
    o.targetVertices = 400;
    o.freezeBorder = true;
    DecimationMesh out = run(in, o);
    EXPECT_TRUE(withinPercent(out.vertexCount(), 400));
    auto have = pointSet(out);
    for (int v : border) EXPECT_TRUE(have.count(bits(in.points[v]))) << "border vertex " << v << " lost";
    EXPECT_EQ(topologyDefects(out), 0);
    EXPECT_EQ(flippedAgainst(in, out), 0);

    // Unfrozen, the border thins out but stays on the square's outline.
    o.freezeBorder = false;
    o.targetVertices = 150;
    out = run(in, o);
    EXPECT_TRUE(withinPercent(out.vertexCount(), 150));
    int onOutline = 0;
    for (const KVVector3f& p : out.points)
        onOutline += std::fabs(std::fabs(p.x) - 1) < 1e-4 || std::fabs(std::fabs(p.y) - 1) < 1e-4;
    EXPECT_GT(onOutline, 8);
    EXPECT_LT(onOutline, 156);
    for (const KVVector3f& p : out.points) {
        EXPECT_LE(std::fabs(p.x), 1.0001f);
        EXPECT_LE(std::fabs(p.y), 1.0001f);
    }
    EXPECT_EQ(topologyDefects(out), 0);
}

TEST(DecimationEngine, UVsFollowTheirChartAndSeamsStaySeams) {
    const double pi = 3.14159265358979323846;
    DecimationMesh in = sphere(30, 48, 0.05, true, true);
    DecimationOptions o;
    o.targetVertices = 300;
    o.keepUVs = true;
    o.useColors = true;
    DecimationMesh out = run(in, o);
    EXPECT_TRUE(withinPercent(out.vertexCount(), 300));
    ASSERT_EQ(out.cornerUVs.size(), out.triangles.size());
    ASSERT_EQ(out.colors.size(), out.points.size());
    EXPECT_EQ(topologyDefects(out), 0);
    std::map<int, std::set<std::pair<float, float>>> uvsAt;
    for (std::size_t c = 0; c < out.triangles.size(); ++c) {
        const KVVector2f uv = out.cornerUVs[c];
        ASSERT_TRUE(uv.u >= 0.0f && uv.u <= 1.0f && uv.v >= 0.0f && uv.v <= 1.0f) << uv.u << " " << uv.v;
        uvsAt[out.triangles[c]].insert({uv.u, uv.v});
        // u follows the azimuth, so a UV dragged across the seam or to another chart shows.
        const KVVector3f& p = out.points[out.triangles[c]];
        if (std::fabs(p.z) > 0.95f) continue;  // azimuth is meaningless at the poles
        double az = std::atan2(p.y, p.x) / (2 * pi);
        if (az < 0) az += 1;
        double d = std::fabs(az - uv.u);
        d = std::min(d, std::fabs(d - 1));
        EXPECT_LT(d, 0.04) << "corner " << c;
    }
    EXPECT_EQ(seamSpanning(out), 0);
    int seamVertices = 0;
    for (auto& e : uvsAt) {
        const KVVector3f& p = out.points[e.first];
        if (e.second.size() > 1 && std::fabs(p.z) < 0.95f) {
            ++seamVertices;
            EXPECT_GT(p.x, 0.0f);
            EXPECT_NEAR(p.y, 0.0f, 1e-5f);  // seams only live on the first meridian
        }
    }
    EXPECT_GE(seamVertices, 3);
    for (std::uint32_t c : out.colors) EXPECT_TRUE(c == 0xFFE01010u || c == 0xFF1020C0u ||
                                                   ((c >> 16 & 0xFF) >= 0x10 && (c >> 16 & 0xFF) <= 0xE0 &&
                                                    (c & 0xFF) >= 0x10 && (c & 0xFF) <= 0xC0));
}

// Mean colour error against the input colour at the nearest input vertex.
double colourError(const DecimationMesh& in, const DecimationMesh& out) {
    double sum = 0;
    for (std::size_t v = 0; v < out.points.size(); ++v) {
        const std::size_t best = nearestPoint(in, out.points[v]);
        for (int s = 0; s < 24; s += 8)
            sum += std::fabs(double(out.colors[v] >> s & 0xFF) - double(in.colors[best] >> s & 0xFF));
    }
    return sum / out.points.size();
}

TEST(DecimationEngine, ColourCoefficientKeepsColourBoundaries) {
    DecimationMesh in = sphere(30, 48, 0.0, false, true, 0.31);
    DecimationOptions o;
    o.targetVertices = 200;
    o.useColors = true;
    o.colorCoef = 0;
    double plain = colourError(in, run(in, o));
    o.colorCoef = 100;
    DecimationMesh out = run(in, o);
    double steered = colourError(in, out);
    EXPECT_TRUE(withinPercent(out.vertexCount(), 200));
    EXPECT_LT(steered, plain * 0.7) << plain << " vs " << steered;
}

TEST(DecimationEngine, SymmetricInputGivesSymmetricResult) {
    DecimationMesh in = sphere(30, 48, 0.1);
    DecimationOptions o;
    o.targetVertices = 250;
    o.symmetry = SymmetryMode::X;
    DecimationMesh out = run(in, o);
    EXPECT_TRUE(withinPercent(out.vertexCount(), 250));
    EXPECT_EQ(topologyDefects(out), 0);
    EXPECT_EQ(unmirrored(out, 0, 1e-4), 0);

    // The same surface turned so that its plane is y = 0: automatic symmetry finds it.
    DecimationMesh turned = in;
    for (KVVector3f& p : turned.points) std::swap(p.x, p.y);
    for (std::size_t t = 0; t < turned.triangleCount(); ++t) std::swap(turned.triangles[3 * t + 1], turned.triangles[3 * t + 2]);
    EXPECT_EQ(trimora_decimation::detectSymmetryAxis(turned.points), 1);
    o.symmetry = SymmetryMode::Automatic;
    out = run(turned, o);
    EXPECT_EQ(unmirrored(out, 1, 1e-4), 0);
    EXPECT_EQ(flippedAgainst(turned, out), 0);

    // Without symmetry the result is free to drift off the mirror image.
    o.symmetry = SymmetryMode::None;
    EXPECT_GT(unmirrored(run(in, o), 0, 1e-4), 0);
}

TEST(DecimationEngine, AsymmetricMeshHasNoAxis) {
    DecimationMesh in = sphere(20, 32, 0.1);
    for (KVVector3f& p : in.points) p.x += 0.2f * p.y * p.z + 0.05f * p.y;
    EXPECT_EQ(trimora_decimation::detectSymmetryAxis(in.points), -1);
    DecimationMesh flat = patch(10);  // its height is even in y
    EXPECT_EQ(trimora_decimation::detectSymmetryAxis(flat.points), 1);
    for (KVVector3f& p : flat.points) p.z += 0.1f * p.y;
    EXPECT_EQ(trimora_decimation::detectSymmetryAxis(flat.points), -1);
}

TEST(DecimationEngine, MaskedVerticesStayBitExact) {
    DecimationMesh in = sphere(30, 48);
    in.mask.assign(in.points.size(), 0);
    std::vector<int> masked;
    for (std::size_t v = 0; v < in.points.size(); ++v)
        if (in.points[v].z > 0.5f) in.mask[v] = 255, masked.push_back(int(v));
    ASSERT_GT(masked.size(), 100u);
    DecimationOptions o;
    o.targetVertices = 600;
    o.useMask = true;
    DecimationMesh out = run(in, o);
    EXPECT_TRUE(withinPercent(out.vertexCount(), 600));
    auto have = pointSet(out);
    for (int v : masked) EXPECT_TRUE(have.count(bits(in.points[v])));
    ASSERT_EQ(out.mask.size(), out.points.size());
    std::size_t maskedOut = 0;
    for (std::uint8_t m : out.mask) maskedOut += m != 0;
    EXPECT_EQ(maskedOut, masked.size());
    EXPECT_EQ(topologyDefects(out), 0);
}

// Scans often list vertices and triangles in scattered order; the engine orders them spatially, so
// any two scattered orders of one mesh (each triangle keeping its corner order) give one result,
// and so does any number of threads.
TEST(DecimationEngine, NeitherScatteredFileOrdersNorThreadCountChangeTheResult) {
    DecimationMesh in = sphere(60, 96, 0.08, true, true);
    auto scatter = [&](unsigned seed) {
        std::mt19937 rng(seed);
        std::vector<std::int32_t> vertexOrder(in.points.size()), triangleOrder(in.triangleCount());
        std::iota(vertexOrder.begin(), vertexOrder.end(), 0);
        std::iota(triangleOrder.begin(), triangleOrder.end(), 0);
        std::shuffle(vertexOrder.begin(), vertexOrder.end(), rng);
        std::shuffle(triangleOrder.begin(), triangleOrder.end(), rng);
        DecimationMesh m;
        std::vector<std::int32_t> newIndex(in.points.size());
        for (std::size_t i = 0; i < vertexOrder.size(); ++i) {
            newIndex[vertexOrder[i]] = std::int32_t(i);
            m.points.push_back(in.points[vertexOrder[i]]);
            m.colors.push_back(in.colors[vertexOrder[i]]);
        }
        for (std::int32_t t : triangleOrder)
            for (int k = 0; k < 3; ++k) {
                m.triangles.push_back(newIndex[in.triangles[3 * t + k]]);
                m.cornerUVs.push_back(in.cornerUVs[3 * t + k]);
            }
        return m;
    };
    DecimationOptions o;
    o.targetVertices = 500;
    o.keepUVs = o.useColors = true;
    o.numThreads = 1;
    const DecimationMesh a = run(scatter(1), o);
    EXPECT_TRUE(withinPercent(a.vertexCount(), 500));
    EXPECT_EQ(topologyDefects(a), 0);
    EXPECT_EQ(flippedAgainst(in, a), 0);
    for (int threads : {1, 2, 0}) {  // 0: all processors
        SCOPED_TRACE(threads);
        o.numThreads = threads;
        const DecimationMesh b = run(scatter(threads == 1 ? 2 : 1), o);
        expectSameMesh(a, b);
        EXPECT_EQ(a.cornerUVs.size(), b.cornerUVs.size());
    }
    for (const KVVector3f& p : a.points) EXPECT_NEAR(std::sqrt(p.x * p.x + p.y * p.y + p.z * p.z), 1.0, 0.15);
}

TEST(DecimationEngine, CancelStopsEarly) {
    DecimationMesh in = sphere(60, 96);
    DecimationOptions o;
    o.targetVertices = 100;
    for (int allowed : {0, 1, 2}) {
        int calls = 0;
        std::int64_t lastDone = -1, lastTotal = -1;
        DecimationCallbacks cb;
        cb.progress = [&](std::int64_t done, std::int64_t total) {
            lastDone = done, lastTotal = total;
            return calls++ < allowed;
        };
        DecimationMesh out;
        DecimationResult r = decimateMesh(in, o, out, cb);
        EXPECT_FALSE(r.ok);
        EXPECT_TRUE(r.cancelled);
        EXPECT_EQ(calls, allowed + 1);
        EXPECT_LT(lastDone, lastTotal);
        EXPECT_EQ(lastTotal, std::int64_t(in.points.size()) - 100);
    }
}

TEST(DecimationEngine, BadInputAnswersWithAnError) {
    DecimationMesh in = patch(5);
    DecimationMesh out;
    DecimationOptions o;
    o.targetVertices = 10;
    in.triangles.push_back(0);
    DecimationResult r = decimateMesh(in, o, out);
    EXPECT_FALSE(r.ok);
    EXPECT_FALSE(r.error.empty());
    in.triangles.insert(in.triangles.end(), {1, 999});
    r = decimateMesh(in, o, out);
    EXPECT_FALSE(r.ok);
    in = patch(5);
    in.colors.assign(3, 0);
    EXPECT_FALSE(decimateMesh(in, o, out).ok);
    in = patch(5);
    in.cornerUVs.assign(4, KVVector2f{0, 0});
    o.keepUVs = true;
    EXPECT_FALSE(decimateMesh(in, o, out).ok);
    in = patch(5);
    in.points[3].y = std::nanf("");
    EXPECT_FALSE(decimateMesh(in, o, out).ok);
    EXPECT_FALSE(decimateMesh(out, o, out).ok);
}

TEST(DecimationEngine, DuplicatePositionsAreWeldedAndTargetAboveSizeKeepsAll) {
    // Two triangles that repeat their shared corners, as split files store them.
    DecimationMesh in;
    in.points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {5, 5, 5}};
    in.triangles = {0, 1, 2, 3, 4, 5};
    DecimationOptions o;
    o.targetVertices = 100;
    DecimationMesh out = run(in, o);
    EXPECT_EQ(out.vertexCount(), 4u);
    EXPECT_EQ(out.triangleCount(), 2u);
    EXPECT_EQ(topologyDefects(out), 0);
}

// Enough points that every worker of the pool takes a share of the positions: each point must
// name the first point bit-identical to it whichever worker owns it, and signed zeros stay apart.
TEST(DecimationEngine, WeldNamesTheFirstIdenticalPointWhateverTheWorkerCount) {
    std::mt19937 rng(7);
    std::vector<KVVector3f> points;
    // Few distinct x and y: positions met while probing often differ in z alone.
    for (int i = 0; i < 150000; ++i) points.push_back({float(rng() % 2), float(rng() % 3), float(rng() % 100000)});
    for (int i = 0; i < 100000; ++i) points.push_back(points[rng() % points.size()]);
    points.push_back({0.0f, 1.0f, 2.0f});
    points.push_back({-0.0f, 1.0f, 2.0f});
    points.push_back({0.0f, 1.0f, 2.0f});
    std::map<std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>, std::uint32_t> first;
    std::vector<std::uint32_t> expected;
    for (std::uint32_t i = 0; i < points.size(); ++i) expected.push_back(first.emplace(bits(points[i]), i).first->second);
    for (int workers : {1, 3}) {
        trimora_decimation::WorkerPool pool(workers);
        EXPECT_EQ(trimora_decimation::weldPositions(points, pool), expected) << workers << " workers";
    }
    const std::size_t n = points.size();
    EXPECT_EQ(expected[n - 1], n - 3);
    EXPECT_EQ(expected[n - 2], n - 2);
}

}  // namespace
