// Generated meshes and mesh checks shared by the decimation engine tests.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <set>
#include <tuple>
#include <utility>

#include "DecimationEngine.h"

namespace dtest {

inline std::tuple<std::uint32_t, std::uint32_t, std::uint32_t> bits(const KVVector3f& p) {
    std::uint32_t a, b, c;
    std::memcpy(&a, &p.x, 4), std::memcpy(&b, &p.y, 4), std::memcpy(&c, &p.z, 4);
    return {a, b, c};
}

// Latitude-longitude sphere of `rings` x `segments` (segments a multiple of 4) with bumps; quad
// diagonals mirror across x = 0, so the mesh is symmetric across x (and only x). UVs wrap
// with a seam on the first meridian; colour is red above `colourSplit` in z, blue below.
inline DecimationMesh sphere(int rings, int segments, double bumps = 0.08, bool uvs = false, bool colours = false,
                             double colourSplit = 0.0) {
    const double pi = 3.14159265358979323846;
    DecimationMesh m;
    auto at = [&](int i, int j) { return 1 + (i - 1) * segments + (j % segments); };
    m.points.push_back({0, 0, 1});
    for (int i = 1; i < rings; ++i)
        for (int j = 0; j < segments; ++j) {
            double th = pi * i / rings, ph = 2 * pi * j / segments;
            double r = 1 + bumps * (std::sin(5 * th) * std::cos(4 * ph) + 0.5 * std::sin(3 * th) * std::sin(ph));
            m.points.push_back({float(r * std::sin(th) * std::cos(ph)), float(r * std::sin(th) * std::sin(ph)),
                                float(r * std::cos(th))});
        }
    m.points.push_back({0, 0, -1});
    const int south = int(m.points.size()) - 1;
    // Exact mirror images across x = 0: column j pairs with column segments/2 - j.
    for (int i = 1; i < rings; ++i)
        for (int j = 0; j < segments; ++j) {
            int k = ((segments / 2 - j) % segments + segments) % segments;
            if (j < k || (j == k)) continue;
            KVVector3f p = m.points[at(i, k)];
            m.points[at(i, j)] = {-p.x, p.y, p.z};
        }
    for (int i = 1; i < rings; ++i) {
        m.points[at(i, segments / 4)].x = 0;
        m.points[at(i, 3 * segments / 4)].x = 0;
    }
    auto uvOf = [&](int i, int j) { return KVVector2f{float(double(j) / segments), float(double(i) / rings)}; };
    auto tri = [&](int a, int b, int c, KVVector2f ua, KVVector2f ub, KVVector2f uc) {
        m.triangles.insert(m.triangles.end(), {a, b, c});
        if (uvs) m.cornerUVs.insert(m.cornerUVs.end(), {ua, ub, uc});
    };
    for (int j = 0; j < segments; ++j) {
        tri(0, at(1, j), at(1, j + 1), {float((j + 0.5) / segments), 0}, uvOf(1, j), uvOf(1, j + 1));
        tri(south, at(rings - 1, j + 1), at(rings - 1, j), {float((j + 0.5) / segments), 1}, uvOf(rings - 1, j + 1),
            uvOf(rings - 1, j));
    }
    for (int i = 1; i + 1 < rings; ++i)
        for (int j = 0; j < segments; ++j) {
            int a = at(i, j), b = at(i + 1, j), c = at(i + 1, j + 1), d = at(i, j + 1);
            KVVector2f ua = uvOf(i, j), ub = uvOf(i + 1, j), uc = uvOf(i + 1, j + 1), ud = uvOf(i, j + 1);
            if ((j % (segments / 2)) < segments / 4) {
                tri(a, b, c, ua, ub, uc), tri(a, c, d, ua, uc, ud);
            } else {
                tri(a, b, d, ua, ub, ud), tri(b, c, d, ub, uc, ud);
            }
        }
    if (colours)
        for (const KVVector3f& p : m.points) m.colors.push_back(p.z > colourSplit ? 0xFFE01010u : 0xFF1020C0u);
    return m;
}

// Open height-field patch of n x n vertices over [-1, 1]^2.
inline DecimationMesh patch(int n) {
    DecimationMesh m;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
            double x = -1 + 2.0 * i / (n - 1), y = -1 + 2.0 * j / (n - 1);
            m.points.push_back({float(x), float(y), float(0.15 * std::sin(3 * x) * std::cos(2 * y))});
        }
    for (int i = 0; i + 1 < n; ++i)
        for (int j = 0; j + 1 < n; ++j) {
            int a = i * n + j, b = a + n, c = b + 1, d = a + 1;
            m.triangles.insert(m.triangles.end(), {a, b, c, a, c, d});
        }
    return m;
}

inline KVVector3f normalOf(const DecimationMesh& m, std::size_t t) {
    const KVVector3f &a = m.points[m.triangles[3 * t]], &b = m.points[m.triangles[3 * t + 1]],
                     &c = m.points[m.triangles[3 * t + 2]];
    float ux = b.x - a.x, uy = b.y - a.y, uz = b.z - a.z, vx = c.x - a.x, vy = c.y - a.y, vz = c.z - a.z;
    return {uy * vz - uz * vy, uz * vx - ux * vz, ux * vy - uy * vx};
}

// Edges used by more than two triangles, or twice in the same direction, or degenerate faces.
inline int topologyDefects(const DecimationMesh& m) {
    std::map<std::pair<int, int>, int> directed;
    int defects = 0;
    for (std::size_t t = 0; t < m.triangleCount(); ++t) {
        const std::int32_t* v = &m.triangles[3 * t];
        if (v[0] == v[1] || v[1] == v[2] || v[0] == v[2]) ++defects;
        for (int k = 0; k < 3; ++k)
            if (++directed[{v[k], v[(k + 1) % 3]}] > 1) ++defects;
    }
    return defects;
}

inline std::size_t nearestPoint(const DecimationMesh& m, const KVVector3f& c) {
    std::size_t best = 0;
    double bestD = 1e300;
    for (std::size_t v = 0; v < m.points.size(); ++v) {
        const KVVector3f& p = m.points[v];
        double d = (p.x - c.x) * (p.x - c.x) + (p.y - c.y) * (p.y - c.y) + (p.z - c.z) * (p.z - c.z);
        if (d < bestD) bestD = d, best = v;
    }
    return best;
}

// Faces whose normal points against the input's surface near them: the unit vertex normals of
// the input vertices nearest to the face's corners and centre, summed.
inline int flippedAgainst(const DecimationMesh& input, const DecimationMesh& out) {
    std::vector<KVVector3f> vn(input.points.size(), KVVector3f{0, 0, 0});
    for (std::size_t t = 0; t < input.triangleCount(); ++t) {
        KVVector3f n = normalOf(input, t);
        for (int k = 0; k < 3; ++k) {
            KVVector3f& a = vn[input.triangles[3 * t + k]];
            a.x += n.x, a.y += n.y, a.z += n.z;
        }
    }
    for (KVVector3f& n : vn) {
        float l = std::sqrt(n.x * n.x + n.y * n.y + n.z * n.z);
        if (l > 0) n.x /= l, n.y /= l, n.z /= l;
    }
    auto nearest = [&](const KVVector3f& c) { return vn[nearestPoint(input, c)]; };
    int flipped = 0;
    for (std::size_t t = 0; t < out.triangleCount(); ++t) {
        KVVector3f c{0, 0, 0}, ref{0, 0, 0};
        for (int k = 0; k < 3; ++k) {
            const KVVector3f& p = out.points[out.triangles[3 * t + k]];
            c.x += p.x / 3, c.y += p.y / 3, c.z += p.z / 3;
            KVVector3f n = nearest(p);
            ref.x += n.x, ref.y += n.y, ref.z += n.z;
        }
        KVVector3f n = nearest(c);
        ref.x += n.x, ref.y += n.y, ref.z += n.z;
        n = normalOf(out, t);
        if (n.x * ref.x + n.y * ref.y + n.z * ref.z <= 0) ++flipped;
    }
    return flipped;
}

// Bit patterns of every position, for "this vertex is still there, unmoved" checks.
inline std::set<std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>> pointSet(const DecimationMesh& m) {
    std::set<std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>> s;
    for (const KVVector3f& p : m.points) s.insert(bits(p));
    return s;
}

// Points with no partner within `tol` mirrored through the plane `axis` = 0.
inline int unmirrored(const DecimationMesh& m, int axis, double tol) {
    int unpaired = 0;
    for (const KVVector3f& p : m.points) {
        KVVector3f q = p;
        (&q.x)[axis] = -(&q.x)[axis];
        double best = 1e300;
        for (const KVVector3f& r : m.points)
            best = std::min(best, double((r.x - q.x) * (r.x - q.x) + (r.y - q.y) * (r.y - q.y) + (r.z - q.z) * (r.z - q.z)));
        unpaired += std::sqrt(best) >= tol;
    }
    return unpaired;
}

// Triangles whose u values span half the texture: dragged across the seam.
inline int seamSpanning(const DecimationMesh& m) {
    int spanning = 0;
    for (std::size_t t = 0; t < m.triangleCount(); ++t) {
        float lo = 2, hi = -2;
        for (int k = 0; k < 3; ++k) lo = std::min(lo, m.cornerUVs[3 * t + k].u), hi = std::max(hi, m.cornerUVs[3 * t + k].u);
        spanning += hi - lo >= 0.5f;
    }
    return spanning;
}

// Same triangles, bit-identical positions and the same colours.
inline void expectSameMesh(const DecimationMesh& a, const DecimationMesh& b) {
    EXPECT_EQ(a.triangles, b.triangles);
    EXPECT_EQ(a.colors, b.colors);
    ASSERT_EQ(a.points.size(), b.points.size());
    EXPECT_EQ(0, std::memcmp(a.points.data(), b.points.data(), a.points.size() * sizeof(KVVector3f)));
}

inline bool withinPercent(std::size_t got, std::int64_t want) {
    return std::fabs(double(got) - double(want)) <= 0.01 * double(want) + 1;
}

}  // namespace dtest
