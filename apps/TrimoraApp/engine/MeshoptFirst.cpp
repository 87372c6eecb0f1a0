// MeshoptFirst: the bulk of a plain reduction by meshopt_simplify in fixed spatial blocks, checked and repaired before our engine finishes it.
#include <meshoptimizer.h>

#include <algorithm>
#include <atomic>
#include <cmath>

#include "DecimationModel.h"
#include "WorkerPool.h"

namespace trimora_decimation {
namespace {

struct Normal {
    double x, y, z;
};

Normal faceNormal(const std::vector<KVVector3f>& p, const std::uint32_t* t) {
    const KVVector3f &a = p[t[0]], &b = p[t[1]], &c = p[t[2]];
    double ux = double(b.x) - a.x, uy = double(b.y) - a.y, uz = double(b.z) - a.z;
    double vx = double(c.x) - a.x, vy = double(c.y) - a.y, vz = double(c.z) - a.z;
    return {uy * vz - uz * vy, uz * vx - ux * vz, ux * vy - uy * vx};
}

double distance2(const KVVector3f& a, const Normal& c) {
    double x = a.x - c.x, y = a.y - c.y, z = a.z - c.z;
    return x * x + y * y + z * z;
}

// Vertex -> triangles, as offsets into one array.
struct Fans {
    std::vector<std::uint32_t> start, tris;
    void build(const std::vector<std::uint32_t>& triangles, std::size_t vertices) {
        groupByKey(triangles, vertices, start, tris);
        for (std::uint32_t& corner : tris) corner /= 3;
    }
};

// Whether face v leans less than about 70 degrees from the input's normals at its corners: folds
// fail it, and so do the needles meshopt_simplify leaves along lines of vertices (no area, no
// meaningful orientation), which would stand across the surface.
bool facesOutward(const std::vector<KVVector3f>& positions, const std::vector<Normal>& normal, const std::uint32_t* v,
                  double cos2 = 0.09) {
    const Normal n = faceNormal(positions, v);
    Normal r{0, 0, 0};
    for (int k = 0; k < 3; ++k) r.x += normal[v[k]].x, r.y += normal[v[k]].y, r.z += normal[v[k]].z;
    const double d = n.x * r.x + n.y * r.y + n.z * r.z;
    return d > 0 && d * d >= cos2 * (n.x * n.x + n.y * n.y + n.z * n.z) * (r.x * r.x + r.y * r.y + r.z * r.z);
}

// Faces of `triangles` that break what our engine guarantees: a directed edge used twice (an edge
// of three or more faces, or two faces of opposite orientation), a degenerate face, or a face
// turned against the input surface at its corners (`normal`: the input's unit vertex normals).
// meshopt_simplify checks orientation only against the faces it replaces, and not the link of
// an edge, so slivers (poles, thin parts) can fold. Only the first `checked` faces are looked at
// (the others are the input's own), for orientation too when `normal` is given.
std::vector<std::uint32_t> badFaces(const std::vector<std::uint32_t>& triangles, std::size_t checked,
                                    const std::vector<KVVector3f>& positions, const std::vector<Normal>* normal,
                                    double cos2 = 0) {
    const std::size_t count = triangles.size() / 3, vertices = positions.size();
    checked = std::min(checked, count);
    std::vector<std::uint8_t> wrong(checked, 0);
    for (std::size_t t = 0; t < checked; ++t) {
        const std::uint32_t* v = &triangles[3 * t];
        wrong[t] = v[0] == v[1] || v[1] == v[2] || v[0] == v[2] ||
                   (normal && !facesOutward(positions, *normal, v, cos2));
    }
    // Directed edges grouped by their first vertex: a repeat within a group is a defect.
    std::vector<std::uint32_t> start(vertices + 1, 0);
    for (std::uint32_t v : triangles) ++start[v + 1];
    for (std::size_t v = 0; v < vertices; ++v) start[v + 1] += start[v];
    std::vector<std::uint64_t> edges(triangles.size());  // end vertex << 32 | face
    for (std::size_t i = 0; i < triangles.size(); ++i) {
        const std::size_t t = i / 3, k = i % 3;
        edges[start[triangles[i]]++] = std::uint64_t(triangles[3 * t + (k + 1) % 3]) << 32 | t;
    }
    for (std::size_t v = vertices; v > 0; --v) start[v] = start[v - 1];
    start[0] = 0;
    for (std::size_t v = 0; v < vertices; ++v)
        for (std::uint32_t i = start[v] + 1; i < start[v + 1]; ++i)
            for (std::uint32_t j = start[v]; j < i; ++j)
                if (edges[i] >> 32 == edges[j] >> 32) {
                    const std::uint32_t f = std::uint32_t(edges[i]), g = std::uint32_t(edges[j]);
                    if (f < checked) wrong[f] = 1;
                    if (g < checked) wrong[g] = 1;
                }
    std::vector<std::uint32_t> bad;
    for (std::size_t t = 0; t < checked; ++t)
        if (wrong[t]) bad.push_back(std::uint32_t(t));
    return bad;
}

// Mends the first `checked` faces in place, where it takes one local change: a face and its mirror
// image (a fin: meshopt_simplify folds a thin part shut) both go; a face that faces the wrong way
// swaps its longest edge with the face across it, or merges a corner into a neighbour, or has a
// corner removed and its star filled again, whichever comes first with every new face facing
// outwards and no edge doubled. Inner vertices only: block outlines and borders stay. A vertex
// changes once per pass, so the fans stay true within a pass. Returns the new `checked`.
std::size_t mendFaces(std::vector<std::uint32_t>& faces, std::size_t checked, const std::vector<KVVector3f>& positions,
                      const std::vector<Normal>& normal) {
    const std::uint32_t kGone = ~0u;
    std::vector<std::uint8_t> touched(positions.size(), 0);
    Fans fans;
    for (int pass = 0; pass < 8; ++pass) {
        // Well-shaped repairs first; then any that at least faces outwards.
        const double accept = pass < 4 ? 0.09 : 0.0;
        // Nothing to mend at the stricter level is nothing at the looser one either.
        const std::vector<std::uint32_t> bad = badFaces(faces, checked, positions, &normal, accept);
        if (bad.empty()) break;
        fans.build(faces, positions.size());
        std::fill(touched.begin(), touched.end(), 0);
        auto faceWith = [&](std::uint32_t a, std::uint32_t b, std::uint32_t& found) {
            // The face holding directed edge a->b, when exactly one does.
            int n = 0;
            for (std::uint32_t i = fans.start[a]; i < fans.start[a + 1]; ++i) {
                const std::uint32_t* w = &faces[3 * fans.tris[i]];
                if (w[0] == kGone) continue;
                for (int j = 0; j < 3; ++j)
                    if (w[j] == a && w[(j + 1) % 3] == b) found = fans.tris[i], ++n;
            }
            return n == 1;
        };
        auto linked = [&](std::uint32_t a, std::uint32_t b) {
            for (std::uint32_t i = fans.start[a]; i < fans.start[a + 1]; ++i) {
                const std::uint32_t* w = &faces[3 * fans.tris[i]];
                if (w[0] != kGone && (w[0] == b || w[1] == b || w[2] == b)) return true;
            }
            return false;
        };
        std::vector<std::uint32_t> around, opposite;
        auto tryCollapse = [&](std::uint32_t p, std::uint32_t q) {
            if (touched[p] || touched[q]) return false;
            around.clear();
            opposite.clear();
            std::uint32_t unused = 0;
            for (std::uint32_t i = fans.start[p]; i < fans.start[p + 1]; ++i) {
                const std::uint32_t f = fans.tris[i];
                const std::uint32_t* w = &faces[3 * f];
                if (w[0] == kGone) continue;
                if (f >= checked) return false;
                const int k = w[0] == p ? 0 : w[1] == p ? 1 : 2;
                const std::uint32_t x = w[(k + 1) % 3], y = w[(k + 2) % 3];
                if (touched[x] || touched[y] || !faceWith(x, p, unused)) return false;
                if (x == q || y == q) {
                    opposite.push_back(x == q ? y : x);
                    continue;
                }
                const std::uint32_t moved[3] = {q, x, y};
                if (!facesOutward(positions, normal, moved, accept)) return false;
                around.push_back(x);
            }
            if (opposite.size() != 2) return false;
            // Link condition: the edge's only shared neighbours are its two opposite corners.
            for (std::uint32_t x : around)
                if (x != opposite[0] && x != opposite[1] && linked(q, x)) return false;
            for (std::uint32_t i = fans.start[p]; i < fans.start[p + 1]; ++i) {
                std::uint32_t* w = &faces[3 * fans.tris[i]];
                if (w[0] == kGone) continue;
                if (w[0] == q || w[1] == q || w[2] == q) {
                    w[0] = kGone;
                    continue;
                }
                for (int k = 0; k < 3; ++k)
                    if (w[k] == p) w[k] = q;
            }
            touched[p] = touched[q] = touched[opposite[0]] = touched[opposite[1]] = 1;
            for (std::uint32_t x : around) touched[x] = 1;
            return true;
        };
        // Removes inner vertex p and fills its star again by clipping ears, in the plane across the
        // input's normal at p: more ways out than a collapse onto one neighbour.
        std::vector<std::uint32_t> ring, slots;
        std::vector<double> px, py;
        auto tryRemove = [&](std::uint32_t p) {
            if (touched[p]) return false;
            ring.clear();
            slots.clear();
            std::uint32_t unused = 0;
            // Link cycle: face (p, x, y) leads from x to y.
            std::uint32_t first = kGone;
            for (std::uint32_t i = fans.start[p]; i < fans.start[p + 1]; ++i) {
                const std::uint32_t f = fans.tris[i];
                const std::uint32_t* w = &faces[3 * f];
                if (w[0] == kGone) continue;
                if (f >= checked) return false;
                slots.push_back(f);
                const int k = w[0] == p ? 0 : w[1] == p ? 1 : 2;
                if (touched[w[(k + 1) % 3]] || touched[w[(k + 2) % 3]] || !faceWith(w[(k + 1) % 3], p, unused)) return false;
                if (first == kGone) first = w[(k + 1) % 3];
            }
            if (slots.size() < 3 || slots.size() > 4096) return false;
            for (std::uint32_t x = first;;) {
                std::uint32_t f = kGone;
                if (!faceWith(p, x, f)) return false;
                const std::uint32_t* w = &faces[3 * f];
                const int k = w[0] == p ? 0 : w[1] == p ? 1 : 2;
                ring.push_back(x);
                x = w[(k + 2) % 3];
                if (x == first) break;
                if (ring.size() > slots.size()) return false;
            }
            if (ring.size() != slots.size()) return false;
            const Normal& n = normal[p];
            Normal u = std::fabs(n.x) < 0.6 ? Normal{0, -n.z, n.y} : Normal{-n.z, 0, n.x};
            const double ul = std::sqrt(u.x * u.x + u.y * u.y + u.z * u.z);
            if (!(ul > 0)) return false;
            u = Normal{u.x / ul, u.y / ul, u.z / ul};
            const Normal w2{n.y * u.z - n.z * u.y, n.z * u.x - n.x * u.z, n.x * u.y - n.y * u.x};
            px.clear();
            py.clear();
            for (std::uint32_t x : ring) {
                const KVVector3f& q = positions[x];
                px.push_back(q.x * u.x + q.y * u.y + q.z * u.z);
                py.push_back(q.x * w2.x + q.y * w2.y + q.z * w2.z);
            }
            std::vector<int> live(ring.size());
            for (std::size_t i = 0; i < live.size(); ++i) live[i] = int(i);
            std::vector<std::uint32_t> made;
            auto cross = [&](int a, int b, int c) {
                return (px[b] - px[a]) * (py[c] - py[a]) - (py[b] - py[a]) * (px[c] - px[a]);
            };
            while (live.size() > 3) {
                int pick = -1;
                double shortest = 0;
                for (std::size_t i = 0; i < live.size(); ++i) {
                    const int a = live[(i + live.size() - 1) % live.size()], b = live[i], c = live[(i + 1) % live.size()];
                    if (!(cross(a, b, c) > 0)) continue;
                    bool inside = false;
                    for (int x : live)
                        if (x != a && x != b && x != c && cross(a, b, x) >= 0 && cross(b, c, x) >= 0 && cross(c, a, x) >= 0)
                            inside = true;
                    if (inside) continue;
                    const std::uint32_t face[3] = {ring[a], ring[b], ring[c]};
                    if (ring[a] == ring[c] || linked(ring[a], ring[c]) || !facesOutward(positions, normal, face, accept)) continue;
                    const KVVector3f& qa = positions[ring[a]];
                    const double l = distance2(positions[ring[c]], Normal{qa.x, qa.y, qa.z});
                    if (pick < 0 || l < shortest) pick = int(i), shortest = l;
                }
                if (pick < 0) return false;
                const int a = live[(pick + live.size() - 1) % live.size()], b = live[pick], c = live[(pick + 1) % live.size()];
                made.insert(made.end(), {ring[a], ring[b], ring[c]});
                live.erase(live.begin() + pick);
            }
            const std::uint32_t last[3] = {ring[live[0]], ring[live[1]], ring[live[2]]};
            if (!facesOutward(positions, normal, last, accept)) return false;
            made.insert(made.end(), last, last + 3);
            for (std::size_t i = 0; i < slots.size(); ++i) {
                std::uint32_t* w = &faces[3 * slots[i]];
                if (3 * i < made.size()) std::copy(&made[3 * i], &made[3 * i] + 3, w);
                else w[0] = kGone;
            }
            touched[p] = 1;
            for (std::uint32_t x : ring) touched[x] = 1;
            return true;
        };
        bool changed = false;
        for (std::uint32_t t : bad) {
            std::uint32_t* v = &faces[3 * t];
            if (v[0] == kGone || touched[v[0]] || touched[v[1]] || touched[v[2]]) continue;
            std::uint32_t g = kGone;
            if (faceWith(v[1], v[0], g) && g < checked && g != t) {
                std::uint32_t* w = &faces[3 * g];
                int same = 0;
                for (int i = 0; i < 3; ++i) same += w[i] == v[0] || w[i] == v[1] || w[i] == v[2];
                if (same == 3) {
                    for (int k = 0; k < 3; ++k) touched[v[k]] = 1;
                    v[0] = w[0] = kGone;
                    changed = true;
                    continue;
                }
            }
            if (facesOutward(positions, normal, v, accept)) continue;
            int longest = 0;
            double best = -1;
            for (int k = 0; k < 3; ++k) {
                const KVVector3f &p = positions[v[k]], &q = positions[v[(k + 1) % 3]];
                const double l = distance2(p, Normal{q.x, q.y, q.z});
                if (l > best) best = l, longest = k;
            }
            const std::uint32_t a = v[longest], b = v[(longest + 1) % 3], c = v[(longest + 2) % 3];
            if (faceWith(b, a, g) && g < checked && g != t) {
                std::uint32_t* w = &faces[3 * g];
                const std::uint32_t d = w[0] != a && w[0] != b ? w[0] : w[1] != a && w[1] != b ? w[1] : w[2];
                const std::uint32_t f1[3] = {a, d, c}, f2[3] = {d, b, c};
                if (!touched[d] && d != c && !linked(c, d) && facesOutward(positions, normal, f1, accept) &&
                    facesOutward(positions, normal, f2, accept)) {
                    std::copy(f1, f1 + 3, v);
                    std::copy(f2, f2 + 3, w);
                    touched[a] = touched[b] = touched[c] = touched[d] = 1;
                    changed = true;
                    continue;
                }
            }
            // Otherwise one corner merges into another (an inner vertex, whose fan is all
            // reduced faces, onto a neighbour that keeps its place) when every face left faces
            // outwards; shortest edges first.
            int order[3] = {0, 1, 2};
            auto length = [&](int k) {
                const KVVector3f &p = positions[v[k]], &q = positions[v[(k + 1) % 3]];
                return distance2(p, Normal{q.x, q.y, q.z});
            };
            std::sort(order, order + 3, [&](int x, int y) { return length(x) < length(y); });
            for (int e = 0; e < 6; ++e) {
                const int k = order[e / 2];
                const std::uint32_t x = v[k], y = v[(k + 1) % 3];
                if (e % 2 == 0 ? tryCollapse(x, y) : tryCollapse(y, x)) {
                    changed = true;
                    break;
                }
            }
            if (v[0] == kGone || touched[v[0]] || touched[v[1]] || touched[v[2]]) continue;
            for (int k = 0; k < 3; ++k)
                if (tryRemove(v[k])) {
                    changed = true;
                    break;
                }
        }
        if (!changed && pass >= 4) break;
        if (!changed) {
            pass = 3;
            continue;
        }
        std::size_t out = 0, kept = 0;
        for (std::size_t t = 0; t < faces.size() / 3; ++t) {
            if (faces[3 * t] == kGone) continue;
            if (t < checked) ++kept;
            for (int k = 0; k < 3; ++k) faces[out++] = faces[3 * t + k];
        }
        faces.resize(out);
        checked = kept;
    }
    return checked;
}

// One block of the input: its triangles in local vertex ids.
struct Block {
    std::vector<std::uint32_t> vertices;   // local -> global
    std::vector<std::uint32_t> triangles;  // local ids
    std::vector<std::uint32_t> result;     // local ids, after reduction
    std::int64_t removed = 0;
};

constexpr int kRepairRounds = 3;

// Reduces one block. Where meshopt_simplify's result has bad faces, the input triangles around
// them are kept out of the next round (their outline locked, so the rest fits them), up to
// kRepairRounds; a block still bad after that stays as it came.
void reduceBlock(Block& b, double keep, bool lockBorder, const std::vector<KVVector3f>& allPositions) {
    const std::size_t n = b.vertices.size(), count = b.triangles.size() / 3;
    std::vector<KVVector3f> positions(n);
    for (std::size_t i = 0; i < n; ++i) positions[i] = allPositions[b.vertices[i]];
    // The input surface's unit vertex normals, for the orientation checks. On the block's outline
    // they come from its own side: the faces they judge lie on it.
    std::vector<Normal> normal(n, Normal{0, 0, 0});
    for (std::size_t t = 0; t < count; ++t) {
        const std::uint32_t* tri = &b.triangles[3 * t];
        const Normal f = faceNormal(positions, tri);
        const double l = std::sqrt(f.x * f.x + f.y * f.y + f.z * f.z);
        if (!(l > 0)) continue;
        for (int k = 0; k < 3; ++k) {
            Normal& a = normal[tri[k]];
            a.x += f.x / l, a.y += f.y / l, a.z += f.z / l;
        }
    }
    for (Normal& v : normal) {
        const double l = std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
        if (l > 0) v = Normal{v.x / l, v.y / l, v.z / l};
    }
    std::vector<std::uint8_t> excluded(count, 0);
    std::size_t excludedCount = 0;
    Fans fans;
    std::vector<std::uint32_t> depth;
    auto excludeAround = [&](const std::vector<std::uint32_t>& seeds, std::uint32_t rings) {
        if (depth.empty()) fans.build(b.triangles, n), depth.assign(n, ~0u);
        std::vector<std::uint32_t> queue;
        for (std::uint32_t x : seeds)
            if (depth[x] == ~0u) depth[x] = 0, queue.push_back(x);
        for (std::size_t q = 0; q < queue.size(); ++q) {
            const std::uint32_t x = queue[q];
            for (std::uint32_t i = fans.start[x]; i < fans.start[x + 1]; ++i) {
                const std::uint32_t t = fans.tris[i];
                if (!excluded[t]) excluded[t] = 1, ++excludedCount;
                for (int k = 0; k < 3; ++k) {
                    const std::uint32_t y = b.triangles[3 * t + k];
                    if (depth[y] == ~0u && depth[x] + 1 < rings) depth[y] = depth[x] + 1, queue.push_back(y);
                }
            }
        }
        for (std::uint32_t x : queue) depth[x] = ~0u;
    };
    for (int round = 0; round <= kRepairRounds; ++round) {
        if (round == kRepairRounds) {
            b.result = b.triangles;
            break;
        }
        std::vector<std::uint32_t> in, out;
        in.reserve(3 * (count - excludedCount));
        for (std::size_t t = 0; t < count; ++t)
            if (!excluded[t]) in.insert(in.end(), &b.triangles[3 * t], &b.triangles[3 * t + 3]);
        const std::size_t target = std::size_t(double(count) * keep) * 3;
        const std::size_t goal = target > 3 * excludedCount ? target - 3 * excludedCount : 0;
        out.resize(in.size());
        const unsigned int flags = lockBorder || round > 0 ? meshopt_SimplifyLockBorder : 0;
        out.resize(in.empty() ? 0
                              : meshopt_simplify(out.data(), in.data(), in.size(), &positions[0].x, n,
                                                 sizeof(KVVector3f), goal, 1.0f, flags, nullptr));
        std::size_t reducedFaces = out.size() / 3;
        for (std::size_t t = 0; t < count; ++t)
            if (excluded[t]) out.insert(out.end(), &b.triangles[3 * t], &b.triangles[3 * t + 3]);
        std::vector<std::uint32_t> bad = badFaces(out, reducedFaces, positions, &normal);
        if (!bad.empty()) {
            reducedFaces = mendFaces(out, reducedFaces, positions, normal);
            bad = badFaces(out, reducedFaces, positions, &normal);
        }
        if (bad.empty()) {
            b.result.swap(out);
            break;
        }
        // Keep out the input triangles within a few rings of a bad face's corners, more each round.
        std::vector<std::uint32_t> seeds;
        for (std::uint32_t f : bad) seeds.insert(seeds.end(), &out[3 * f], &out[3 * f + 3]);
        excludeAround(seeds, 2 + 2 * round);
    }
    std::vector<std::uint8_t> used(n, 0);
    for (std::uint32_t v : b.result) used[v] = 1;
    b.removed = std::int64_t(n) - std::count(used.begin(), used.end(), std::uint8_t(1));
}

// Fixed blocks: runs of cells of a 16x16x16 grid over the bounding box in Morton order
// (`cells`, from triangleCells with 4 bits), holding about equal triangle counts. They depend on
// the mesh only, never on the thread count.
std::vector<std::uint8_t> blockOfTriangles(const std::vector<std::uint32_t>& cells, std::size_t count, int blocks) {
    std::vector<std::uint8_t> block(count, 0);
    if (blocks <= 1) return block;
    std::vector<std::uint64_t> histogram(4097, 0);
    for (std::uint32_t c : cells) ++histogram[std::size_t(c) + 1];
    for (int c = 0; c < 4096; ++c) histogram[c + 1] += histogram[c];
    for (std::size_t t = 0; t < count; ++t)
        block[t] = std::uint8_t(std::min<std::uint64_t>(blocks - 1, histogram[cells[t]] * std::uint64_t(blocks) / count));
    return block;
}

}  // namespace

MeshoptOutcome meshoptReduce(WorkMesh& mesh, const DecimationOptions& options, std::int64_t intermediate,
                             std::int64_t floor, const DecimationCallbacks& callbacks, WorkerPool& pool) {
    const std::size_t vertices = mesh.positions.size(), count = mesh.triangles.size() / 3;
    if (vertices == 0 || count == 0 || intermediate <= 0 || std::size_t(intermediate) >= vertices)
        return MeshoptOutcome::Refused;
    // meshopt_simplify counts indices: each block keeps its share of the triangles. Every block
    // keeps at least kMeshoptBlockKeep vertices: locked outlines then stay a small share of what
    // it keeps, and our engine, which weighs collapses by the surface it is handed, is handed
    // enough of it. Where that is above the intermediate count, our engine takes the rest; a
    // reduction that would keep nearly everything is left to our engine alone.
    const int blockCount = int(std::min<std::size_t>(kMeshoptMaxBlocks, std::max<std::size_t>(1, count / kMeshoptBlockTriangles)));
    intermediate = std::max<std::int64_t>(intermediate, std::int64_t(blockCount) * kMeshoptBlockKeep);
    if (intermediate >= std::int64_t(vertices) * 9 / 10) return MeshoptOutcome::Refused;

    const double keep = double(intermediate) / double(vertices);
    std::vector<Block> blocks(static_cast<std::size_t>(blockCount));
    {
        // Triangles grouped by block (a counting sort, stable), so that each block reads only its
        // own. Within a block they keep a coherent file order (meshopt_simplify's result depends on
        // it); a scattered one goes cell by cell instead, which keeps neighbours near in memory.
        // A block is a run of cells, so either way its triangles are one range of `order`.
        const bool scattered = scatteredOrder(mesh);
        const std::vector<std::uint32_t> cells =
            blockCount > 1 || scattered ? triangleCells(mesh, 4) : std::vector<std::uint32_t>();
        const std::vector<std::uint8_t> blockOf = blockOfTriangles(cells, count, blockCount);
        std::vector<std::uint32_t> start, order;
        groupByKey(blockOf, std::size_t(blockCount), start, order);
        if (scattered) {
            std::vector<std::uint32_t> byCell;
            groupByKey(cells, 4096, byCell, order);
        }
        std::vector<std::uint32_t> local(vertices, ~0u);
        for (int b = 0; b < blockCount; ++b) {
            Block& block = blocks[std::size_t(b)];
            const std::uint32_t first = start[std::size_t(b)], end = start[std::size_t(b) + 1];
            // A closed surface has about half as many vertices as triangles; outlines add a few.
            block.vertices.reserve(std::size_t(end - first) / 2 + 64);
            block.triangles.resize(3 * std::size_t(end - first));
            std::uint32_t* out = block.triangles.data();
            for (std::uint32_t i = first; i < end; ++i) {
                const std::int32_t* tri = &mesh.triangles[3 * std::size_t(order[i])];
                for (int k = 0; k < 3; ++k) {
                    const std::uint32_t g = std::uint32_t(tri[k]);
                    if (local[g] == ~0u) local[g] = std::uint32_t(block.vertices.size()), block.vertices.push_back(g);
                    *out++ = local[g];
                }
            }
            for (std::uint32_t g : block.vertices) local[g] = ~0u;
        }
    }

    // Blocks go to the job's threads as they ask; the calling thread reports between its blocks,
    // so a cancel waits for one block at most.
    const bool lockBorder = options.freezeBorder || blockCount > 1;
    std::atomic<int> next(0);
    std::atomic<std::int64_t> removed(0);
    std::atomic<bool> stop(false);
    const std::int64_t total = std::int64_t(vertices) - std::max<std::int64_t>(floor, 0);
    pool.run(std::min(pool.size(), blockCount), [&](int worker) {
        for (;;) {
            if (stop.load()) return;
            const int b = next.fetch_add(1);
            if (b >= blockCount) return;
            reduceBlock(blocks[std::size_t(b)], keep, lockBorder, mesh.positions);
            removed += blocks[std::size_t(b)].removed;
            if (worker == 0 && callbacks.progress && !callbacks.progress(std::min(removed.load(), total), total))
                stop = true;
        }
    });
    if (stop.load()) return MeshoptOutcome::Cancelled;
    // Kept vertices are numbered by first use, block after block: our engine then finds a
    // vertex's neighbours near it in memory.
    std::vector<std::int32_t> map(vertices, -1);
    std::size_t faces = 0;
    std::int32_t kept = 0;
    for (const Block& b : blocks) {
        faces += b.result.size() / 3;
        for (std::uint32_t v : b.result)
            if (map[b.vertices[v]] < 0) map[b.vertices[v]] = kept++;
    }
    if (kept < floor) return MeshoptOutcome::Refused;
    std::vector<std::uint32_t> joined;  // the blocks' results in kept-vertex ids
    joined.reserve(3 * faces);
    for (const Block& b : blocks)
        for (std::uint32_t v : b.result) joined.push_back(std::uint32_t(map[b.vertices[v]]));
    std::vector<KVVector3f> positions(static_cast<std::size_t>(kept));
    for (std::size_t v = 0; v < vertices; ++v)
        if (map[v] >= 0) positions[std::size_t(map[v])] = mesh.positions[v];
    // Blocks meet on locked outlines, where two blocks could still build the same edge (counted
    // against the input's own defects, which our engine leaves alone): then our engine goes alone.
    if (blockCount > 1) {
        const std::size_t defects = badFaces(joined, faces, positions, nullptr).size();
        if (defects > 0) {
            std::vector<std::uint32_t> input(mesh.triangles.begin(), mesh.triangles.end());
            if (defects > badFaces(input, count, mesh.positions, nullptr).size()) return MeshoptOutcome::Refused;
        }
    }

    std::vector<std::uint32_t> colors;
    if (!mesh.colors.empty()) {
        colors.resize(std::size_t(kept));
        for (std::size_t v = 0; v < vertices; ++v)
            if (map[v] >= 0) colors[std::size_t(map[v])] = mesh.colors[v];
    }
    std::vector<std::uint8_t> mask;
    if (!mesh.mask.empty()) {
        mask.resize(std::size_t(kept));
        for (std::size_t v = 0; v < vertices; ++v)
            if (map[v] >= 0) mask[std::size_t(map[v])] = mesh.mask[v];
    }
    mesh.positions.swap(positions);
    mesh.triangles.assign(joined.begin(), joined.end());
    mesh.colors.swap(colors);
    mesh.mask.swap(mask);
    return MeshoptOutcome::Reduced;
}

}  // namespace trimora_decimation
