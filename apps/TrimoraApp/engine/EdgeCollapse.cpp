// EdgeCollapse: quadric edge collapse in passes of independent collapses, with colours, UV wedges, symmetry pairs and locks.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <atomic>
#include <functional>
#include <iterator>
#include <limits>

#include "DecimationModel.h"
#include "WorkerPool.h"

namespace trimora_decimation {
namespace {

inline void prefetch(const void* p) {
#if defined(__GNUC__)
    __builtin_prefetch(p);
#else
    (void)p;
#endif
}

struct Vec3 {
    double x, y, z;
};
inline Vec3 vec(const KVVector3f& p) { return {p.x, p.y, p.z}; }
inline Vec3 operator-(Vec3 a, Vec3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline Vec3 operator+(Vec3 a, Vec3 b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline Vec3 operator*(Vec3 a, double s) { return {a.x * s, a.y * s, a.z * s}; }
inline double dot(Vec3 a, Vec3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline Vec3 cross(Vec3 a, Vec3 b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

// Symmetric 4x4 plane quadric: xx xy xz xw yy yz yw zz zw ww.
struct Quadric {
    double q[10] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    void addPlane(Vec3 n, double d, double w) {
        q[0] += w * n.x * n.x; q[1] += w * n.x * n.y; q[2] += w * n.x * n.z; q[3] += w * n.x * d;
        q[4] += w * n.y * n.y; q[5] += w * n.y * n.z; q[6] += w * n.y * d;
        q[7] += w * n.z * n.z; q[8] += w * n.z * d; q[9] += w * d * d;
    }
    void add(const Quadric& o) {
        for (int i = 0; i < 10; ++i) q[i] += o.q[i];
    }
    // Nested form: the hottest arithmetic of evaluation, about half the multiplies of the expansion.
    double eval(Vec3 p) const {
        double r = p.x * (q[0] * p.x + 2 * (q[1] * p.y + q[2] * p.z + q[3])) +
                   p.y * (q[4] * p.y + 2 * (q[5] * p.z + q[6])) + p.z * (q[7] * p.z + 2 * q[8]) + q[9];
        return r > 0 ? r : 0;
    }
    // The point of least error, when the quadric is well conditioned.
    // The cofactors of the symmetric 3x3 part serve both the determinant and the solve.
    bool optimum(Vec3& p) const {
        double a = q[0], b = q[1], c = q[2], d = q[4], e = q[5], f = q[7];
        double c00 = d * f - e * e, c01 = c * e - b * f, c02 = b * e - c * d;
        double det = a * c00 + b * c01 + c * c02;
        double scale = a + d + f;
        if (!(std::fabs(det) > 1e-9 * scale * scale * scale)) return false;
        double c11 = a * f - c * c, c12 = b * c - a * e, c22 = a * d - b * b;
        double inv = -1.0 / det;
        double rx = q[3], ry = q[6], rz = q[8];
        p.x = inv * (c00 * rx + c01 * ry + c02 * rz);
        p.y = inv * (c01 * rx + c11 * ry + c12 * rz);
        p.z = inv * (c02 * rx + c12 * ry + c22 * rz);
        return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
    }
};

// Area-weighted colour spread: error(c) = area*|c|^2 - 2 c.sum + sq.
struct ColorQuadric {
    double area = 0, r = 0, g = 0, b = 0, sq = 0;
    void add(const ColorQuadric& o) { area += o.area; r += o.r; g += o.g; b += o.b; sq += o.sq; }
    double eval(const float c[4]) const {
        double e = area * (double(c[1]) * c[1] + double(c[2]) * c[2] + double(c[3]) * c[3]) -
                   2 * (c[1] * r + c[2] * g + c[3] * b) + sq;
        return e > 0 ? e : 0;
    }
};

inline void unpack(std::uint32_t c, float out[4]) {
    for (int i = 0; i < 4; ++i) out[i] = float((c >> (24 - 8 * i)) & 0xFF) / 255.0f;
}
inline std::uint32_t pack(const float c[4]) {
    std::uint32_t r = 0;
    for (int i = 0; i < 4; ++i) {
        float v = std::min(std::max(c[i], 0.0f), 1.0f);
        r |= std::uint32_t(v * 255.0f + 0.5f) << (24 - 8 * i);
    }
    return r;
}
inline std::uint32_t lerpColor(std::uint32_t a, std::uint32_t b, float t) {
    float ca[4], cb[4], c[4];
    unpack(a, ca);
    unpack(b, cb);
    for (int i = 0; i < 4; ++i) c[i] = ca[i] + (cb[i] - ca[i]) * t;
    return pack(c);
}

struct Neighbour {
    std::int32_t vertex;
    int count;        // triangles on the edge
    std::int32_t wedgeHere, wedgeThere;
    bool seam;        // the wedges differ between the edge's triangles
};

// Triangle ids in a buffer that only grows: rings are rebuilt hundreds of thousands of times.
struct TriangleList {
    std::vector<std::int32_t> buffer;
    std::size_t count = 0;
    const std::int32_t* begin() const { return buffer.data(); }
    const std::int32_t* end() const { return buffer.data() + count; }
    std::size_t size() const { return count; }
    bool empty() const { return count == 0; }
};

struct Ring {
    TriangleList tris;
    std::vector<Neighbour> nbs;
    int borderEdges = 0, seamEdges = 0;
    bool nonManifold = false;
    std::vector<std::int32_t> slot;  // vertex -> index in nbs while a large ring is built, else -1
    const Neighbour* find(std::int32_t x) const {
        for (const Neighbour& n : nbs)
            if (n.vertex == x) return &n;
        return nullptr;
    }
};

struct Candidate {
    float cost;
    std::int32_t v, u;
    float t;       // where the kept vertex lands between v (0) and u (1), for attributes
    bool full;     // the kept vertex moves to `p`
    KVVector3f p;
};

struct Undo {
    std::vector<std::int32_t> tris;        // id, 3 vertices, 3 wedges
    std::vector<std::pair<std::int32_t, KVVector2f>> uvs;
};

// Sorts 64-bit keys by their high 32 bits, stably: three counting passes of 11 bits each. A pass
// whose digit all keys share is skipped.
void sortByHighHalf(std::vector<std::uint64_t>& keys, std::vector<std::uint64_t>& scratch) {
    scratch.resize(keys.size());
    std::uint32_t count[2048];
    for (int shift : {32, 43, 54}) {
        std::fill(count, count + 2048, 0u);
        for (std::uint64_t k : keys) ++count[(k >> shift) & 2047];
        if (!keys.empty() && count[(keys[0] >> shift) & 2047] == keys.size()) continue;
        std::uint32_t sum = 0;
        for (std::uint32_t& c : count) {
            std::uint32_t n = c;
            c = sum;
            sum += n;
        }
        for (std::uint64_t k : keys) scratch[count[(k >> shift) & 2047]++] = k;
        keys.swap(scratch);
    }
}

class Collapser {
public:
    Collapser(WorkMesh& mesh, const DecimationOptions& options, CollapseLog* log, WorkerPool& pool)
        : m(mesh), o(options), log(log), pool(pool) {}

    DecimationResult run(std::int64_t target, const DecimationCallbacks& callbacks);

private:
    WorkMesh& m;
    const DecimationOptions& o;
    CollapseLog* log;
    WorkerPool& pool;  // the job's, for every pass
    std::int32_t vertexCount = 0;
    bool uvs = false, colors = false, colorsSteer = false;
    double colorWeight = 0;
    int mirrorAxis = -1;
    double mirrorCentre = 0;

    std::vector<Quadric> quadric;
    std::vector<ColorQuadric> colorQuadric;
    std::vector<Vec3> normalSum;        // original surface orientation each vertex stands for
    std::vector<std::uint8_t> alive, locked, feature, touched;
    // Each vertex's best collapse is kept between passes and evaluated again only when something
    // in its neighbourhood changed (`dirty`): a collapse changes quadrics, positions and
    // triangles only within the closed neighbourhoods of its two vertices. A neighbour of the kept
    // vertex that was not a neighbour of the removed one keeps its fan: only its edge to the kept
    // vertex changed (`dirtyVia`), and the rest of its previous evaluation still holds.
    enum : std::uint8_t { kClean = 0, kEdgeChanged = 1, kAllChanged = 2 };
    std::vector<Candidate> best;
    std::vector<std::uint8_t> hasBest, dirty;
    std::vector<std::int32_t> dirtyVia;
    void markEdge(std::int32_t w, std::int32_t via) {
        std::uint8_t& d = dirty[w];
        if (d == kClean) d = kEdgeChanged, dirtyVia[w] = via;
        else if (d == kEdgeChanged && dirtyVia[w] != via) d = kAllChanged;
    }
    // Evaluation picks the cheapest collapse unchecked (apply checks it anyway); a vertex whose
    // pick was refused is evaluated strictly from then on: its cheapest valid collapse.
    std::vector<std::uint8_t> strict;
    std::vector<std::int32_t> mirror;
    std::vector<std::int32_t> liveTris, adjStart, adjTris, mergeHead, mergeNext;

    Vec3 pos(std::int32_t v) const { return vec(m.positions[v]); }
    KVVector3f mirrored(KVVector3f p) const {
        float* c = &p.x;
        c[mirrorAxis] = float(2 * mirrorCentre - c[mirrorAxis]);
        return p;
    }
    void buildAdjacency();
    void ring(std::int32_t v, Ring& r) const;
    void setup();
    void computeMirror();
    bool symmetryAllows(std::int32_t v, std::int32_t u, bool& fullAllowed) const;
    bool validate(std::int32_t v, std::int32_t u, Vec3 p, bool full, const Ring& rv, Ring& ru,
                  std::vector<std::pair<std::int32_t, std::int32_t>>& wedgeMap) const;

    void prefetchAhead(const std::vector<Candidate>& candidates, const std::vector<std::uint32_t>& todo,
                       std::size_t j) const;
    bool flipsAny(std::int32_t moved, std::int32_t other, Vec3 p, const Ring& r) const;
    bool edgeCandidate(std::int32_t v, const Neighbour& nb, const Ring& rv, int features, Vec3 pv,
                       const float cv[4], Candidate& c) const;
    bool evaluate(std::int32_t v, std::int32_t via, bool had, Ring& rv, Ring& ru,
                  std::vector<std::pair<std::int32_t, std::int32_t>>& map, Candidate& out) const;
    int apply(const Candidate& c, Ring& rv, Ring& ru,
              std::vector<std::pair<std::int32_t, std::int32_t>>& map, Undo* undo,
              std::vector<WedgeStep>& wedgeSteps, CollapseStep& step, int block);
    void undoCollapse(const Candidate& c, const Undo& undo, const Quadric& q, const ColorQuadric& cq,
                      Vec3 n, KVVector3f p, std::uint32_t color);
    template <class F>
    void parallelFor(std::int32_t n, std::int32_t chunk, F f) const;

    static constexpr int kBlocks = 16;
    static constexpr std::int64_t kBlockedMinimum = 4096;
    enum { kRejected = 0, kApplied = 1, kOutsideBlock = 2 };
    struct BlockWork {
        std::vector<std::uint32_t> todo, deferred, crossing;        // candidate indices
        std::vector<std::pair<std::uint32_t, CollapseStep>> done;  // candidate index, step
        std::vector<WedgeStep> wedgeSteps;
    };
    std::vector<BlockWork> blocks = std::vector<BlockWork>(kBlocks);
    std::vector<std::uint8_t> block;  // spatial block of each vertex (assignBlocks)
    int blockOf(std::int32_t x) const { return block[x]; }
    void assignBlocks(const double lo[3], const double hi[3]);
};

// Hands out chunks of [0, n) to the threads as they ask for them: work is uneven (dead vertices,
// large fans) and the machine may be shared, so a fixed split would wait on the slowest thread.
template <class F>
void Collapser::parallelFor(std::int32_t n, std::int32_t chunk, F f) const {
    int k = std::max(1, std::min(pool.size(), int(n / chunk) + 1));
    if (k == 1) {
        f(0, 0, n);
        return;
    }
    std::atomic<std::int32_t> next(0);
    pool.run(k, [&](int i) {
        for (;;) {
            std::int32_t b = next.fetch_add(chunk);
            if (b >= n) break;
            f(i, b, std::min(n, b + chunk));
        }
    });
}

void Collapser::buildAdjacency() {
    std::vector<std::int32_t> compact;
    compact.reserve(liveTris.size());
    for (std::int32_t t : liveTris)
        if (m.triangles[3 * t] >= 0) compact.push_back(t);
    liveTris.swap(compact);
    std::fill(adjStart.begin(), adjStart.end(), 0);
    for (std::int32_t t : liveTris)
        for (int k = 0; k < 3; ++k) ++adjStart[m.triangles[3 * t + k] + 1];
    for (std::int32_t v = 0; v < vertexCount; ++v) adjStart[v + 1] += adjStart[v];
    adjTris.resize(liveTris.size() * 3);
    std::vector<std::int32_t> fill(adjStart.begin(), adjStart.end() - 1);
    for (std::int32_t t : liveTris)
        for (int k = 0; k < 3; ++k) adjTris[fill[m.triangles[3 * t + k]]++] = t;
    std::fill(mergeHead.begin(), mergeHead.end(), -1);
    std::fill(touched.begin(), touched.end(), 0);
}

void Collapser::ring(std::int32_t v, Ring& r) const {
    // Triangles around v: its own list plus those of the vertices merged into it this pass. The
    // merged lists still name triangles that no longer hold v; they are dropped without a branch.
    std::size_t n = 0;
    std::int32_t stack[64];
    int top = 0;
    stack[top++] = v;
    while (top > 0) {
        std::int32_t x = stack[--top];
        const std::int32_t* a = adjTris.data() + adjStart[x];
        const std::int32_t* e = adjTris.data() + adjStart[x + 1];
        if (r.tris.buffer.size() < n + std::size_t(e - a)) r.tris.buffer.resize(2 * (n + std::size_t(e - a)) + 32);
        std::int32_t* out = r.tris.buffer.data();
        for (const std::int32_t* i = a; i != e; ++i) prefetch(&m.triangles[3 * *i]);
        if (uvs)
            for (const std::int32_t* i = a; i != e; ++i) prefetch(&m.wedges[3 * *i]);
        for (const std::int32_t* i = a; i != e; ++i) {
            const std::int32_t* tri = &m.triangles[3 * *i];
            out[n] = *i;
            n += std::size_t((tri[0] == v) | (tri[1] == v) | (tri[2] == v));
        }
        for (std::int32_t y = mergeHead[x]; y >= 0 && top < 64; y = mergeNext[y]) stack[top++] = y;
    }
    r.tris.count = n;
    r.nbs.clear();
    r.borderEdges = r.seamEdges = 0;
    r.nonManifold = false;
    // Large fans (poles) look neighbours up in a per-thread slot table; small ones scan a packed
    // list of the ids met so far (no early exit: each id is met at most once in it).
    const bool big = n > 32;
    if (big && r.slot.size() != std::size_t(vertexCount)) r.slot.assign(vertexCount, -1);
    std::int32_t ids[64];
    int known = 0;
    static const int after[3][2] = {{1, 2}, {2, 0}, {0, 1}};
    for (std::int32_t t : r.tris) {
        const std::int32_t* tri = &m.triangles[3 * t];
        int k = tri[0] == v ? 0 : 1 + (tri[1] != v);
        const std::int32_t* w = uvs ? &m.wedges[3 * t] : nullptr;
        std::int32_t wv = w ? w[k] : -1;
        for (int j = 0; j < 2; ++j) {
            int kx = after[k][j];
            std::int32_t x = tri[kx];
            std::int32_t wx = w ? w[kx] : -1;
            int found = -1;
            if (big) {
                std::int32_t& slot = r.slot[x];
                found = slot;
                if (slot < 0) slot = std::int32_t(r.nbs.size());
            } else {
                for (int i = 0; i < known; ++i) found = ids[i] == x ? i : found;
                if (found < 0) ids[known++] = x;
            }
            if (found < 0) {
                r.nbs.push_back({x, 1, wv, wx, false});
            } else {
                Neighbour& nb = r.nbs[std::size_t(found)];
                ++nb.count;
                if (nb.wedgeHere != wv || nb.wedgeThere != wx) nb.seam = true;
            }
        }
    }
    if (big)
        for (const Neighbour& nb : r.nbs) r.slot[nb.vertex] = -1;
    for (const Neighbour& nb : r.nbs) {
        if (nb.count == 1) ++r.borderEdges;
        else if (nb.seam) ++r.seamEdges;
        if (nb.count > 2) r.nonManifold = true;
    }
}

void Collapser::computeMirror() {
    int axis = -1;
    if (o.symmetry == SymmetryMode::X) axis = 0;
    if (o.symmetry == SymmetryMode::Y) axis = 1;
    if (o.symmetry == SymmetryMode::Z) axis = 2;
    if (o.symmetry == SymmetryMode::Automatic) axis = detectSymmetryAxis(m.positions);
    if (axis < 0 || vertexCount == 0) return;
    mirrorAxis = axis;
    mirror = findMirrorPartners(m.positions, axis, mirrorCentre);
    // A locked vertex pins its partner, so that pairs can always move together.
    for (std::int32_t v = 0; v < vertexCount; ++v) {
        std::int32_t w = mirror[v];
        if (w >= 0 && (locked[v] || locked[w])) locked[v] = locked[w] = 1;
    }
}

void Collapser::setup() {
    vertexCount = std::int32_t(m.positions.size());
    uvs = !m.wedges.empty();
    colors = !m.colors.empty();
    colorsSteer = colors && o.useColors && o.colorCoef > 0;
    liveTris.clear();
    for (std::int32_t t = 0; t < std::int32_t(m.triangles.size() / 3); ++t)
        if (m.triangles[3 * t] >= 0) liveTris.push_back(t);
    // The per-vertex arrays are filled on the pool, largest first: on a large mesh, touching their
    // fresh pages costs as much as a pass.
    const std::size_t n = std::size_t(vertexCount);
    const std::function<void()> fills[] = {
        [&] { quadric.assign(n, Quadric()); },
        [&] { if (colors) colorQuadric.assign(n, ColorQuadric()); },
        [&] { best.assign(n, Candidate{}); },
        [&] { normalSum.assign(n, Vec3{0, 0, 0}); },
        [&] { adjStart.assign(n + 1, 0), mergeHead.assign(n, -1); },
        [&] { mergeNext.assign(n, -1), dirtyVia.assign(n, -1); },
        [&] {
            touched.assign(n, 0), hasBest.assign(n, 0), dirty.assign(n, kAllChanged), strict.assign(n, 0);
            alive.assign(n, 0), locked.assign(n, 0), feature.assign(n, 0);
        },
    };
    parallelFor(std::int32_t(std::size(fills)), 1, [&](int, std::int32_t b, std::int32_t e) {
        for (std::int32_t i = b; i < e; ++i) fills[i]();
    });
    buildAdjacency();

    double lo[3] = {1e300, 1e300, 1e300}, hi[3] = {-1e300, -1e300, -1e300};
    for (const KVVector3f& p : m.positions) {
        const float* c = &p.x;
        for (int i = 0; i < 3; ++i) lo[i] = std::min(lo[i], double(c[i])), hi[i] = std::max(hi[i], double(c[i]));
    }
    assignBlocks(lo, hi);
    double diag2 = 0;
    for (int i = 0; i < 3; ++i) diag2 += (hi[i] - lo[i]) * (hi[i] - lo[i]);
    double coef = std::min(std::max(double(o.colorCoef), 0.0), 100.0) / 100.0;
    colorWeight = coef * coef * 0.0025 * diag2;

    parallelFor(vertexCount, 2048, [&](int, std::int32_t b, std::int32_t e) {
        Ring r;
        for (std::int32_t v = b; v < e; ++v) {
            ring(v, r);
            if (r.tris.empty()) continue;
            alive[v] = 1;
            Quadric q;
            Vec3 nsum{0, 0, 0};
            double area = 0;
            Vec3 pv = pos(v);
            for (std::int32_t t : r.tris) {
                const std::int32_t* tri = &m.triangles[3 * t];
                Vec3 a = pos(tri[0]), bb = pos(tri[1]), c = pos(tri[2]);
                Vec3 n = cross(bb - a, c - a);
                double len = std::sqrt(dot(n, n));
                nsum = nsum + n;
                if (len <= 0) continue;
                Vec3 un = n * (1.0 / len);
                q.addPlane(un, -dot(un, a), 0.5 * len);
                area += 0.5 * len / 3;
                // Open edges get a plane across the face, so that borders keep their line.
                for (int k = 0; k < 3 && r.borderEdges > 0; ++k) {
                    std::int32_t x = tri[k];
                    if (x == v) continue;
                    const Neighbour* nb = r.find(x);
                    if (nb && nb->count == 1) {
                        Vec3 edge = pos(x) - pv;
                        Vec3 bn = cross(edge, un);
                        double bl = std::sqrt(dot(bn, bn));
                        if (bl > 0) {
                            bn = bn * (1.0 / bl);
                            q.addPlane(bn, -dot(bn, pv), 4 * dot(edge, edge));
                        }
                    }
                }
            }
            quadric[v] = q;
            normalSum[v] = nsum;
            bool seamVertex = false;
            if (uvs) {
                std::int32_t first = -1;
                for (std::int32_t t : r.tris) {
                    const std::int32_t* tri = &m.triangles[3 * t];
                    std::int32_t w = m.wedges[3 * t + (tri[0] == v ? 0 : tri[1] == v ? 1 : 2)];
                    if (first < 0) first = w;
                    else if (w != first) seamVertex = true;
                }
            }
            feature[v] = r.borderEdges > 0 || seamVertex || r.seamEdges > 0;
            locked[v] = r.nonManifold || (o.freezeBorder && r.borderEdges > 0) ||
                        (o.useMask && !m.mask.empty() && m.mask[v] != 0);
            if (colors) {
                float c[4];
                unpack(m.colors[v], c);
                ColorQuadric& cq = colorQuadric[v];
                cq.area = area;
                cq.r = area * c[1], cq.g = area * c[2], cq.b = area * c[3];
                cq.sq = area * (double(c[1]) * c[1] + double(c[2]) * c[2] + double(c[3]) * c[3]);
            }
        }
    });
    computeMirror();
}

// Blocks are runs of cells of a 16x16x16 grid over the bounding box, taken in Morton order and
// holding about equal vertex counts (a histogram, no sort): compact regions, so neighbours share a
// block whatever order the file lists its vertices in. Small meshes get fewer, larger blocks.
void Collapser::assignBlocks(const double lo[3], const double hi[3]) {
    const int cells = 4096;
    double scale[3];
    for (int i = 0; i < 3; ++i) scale[i] = hi[i] > lo[i] ? 16 / (hi[i] - lo[i]) : 0;
    auto cellOf = [&](std::int32_t v) {
        const float* p = &m.positions[v].x;
        int code = 0;
        for (int i = 0; i < 3; ++i) {
            int c = std::min(std::max(int((double(p[i]) - lo[i]) * scale[i]), 0), 15);
            for (int bit = 0; bit < 4; ++bit) code |= ((c >> bit) & 1) << (3 * bit + i);
        }
        return code;
    };
    const std::int64_t used = std::max<std::int64_t>(1, std::min<std::int64_t>(kBlocks, vertexCount / 8192));
    std::vector<std::int64_t> count(cells + 1, 0);
    std::vector<std::uint16_t> cellOfVertex(vertexCount);
    block.resize(vertexCount);
    for (std::int32_t v = 0; v < vertexCount; ++v) ++count[(cellOfVertex[v] = std::uint16_t(cellOf(v))) + 1];
    for (int c = 0; c < cells; ++c) count[c + 1] += count[c];
    std::vector<std::uint8_t> blockOfCell(cells);
    for (int c = 0; c < cells; ++c)
        blockOfCell[c] = std::uint8_t(std::min<std::int64_t>(used - 1, count[c] * used / std::max<std::int64_t>(vertexCount, 1)));
    for (std::int32_t v = 0; v < vertexCount; ++v) block[v] = blockOfCell[cellOfVertex[v]];
}

// Symmetric meshes collapse in mirrored pairs: a vertex on the plane only onto the plane, a
// vertex off it only where its partner can follow.
bool Collapser::symmetryAllows(std::int32_t v, std::int32_t u, bool& fullAllowed) const {
    if (mirror.empty()) return true;
    std::int32_t mv = mirror[v], mu = mirror[u];
    if ((mv < 0) != (mu < 0)) return false;
    if (mv < 0) return true;
    if (mv == v) {
        fullAllowed = false;
        return mu == u;
    }
    if (mv == u) return false;
    if (mu == u) fullAllowed = false;
    return true;
}

// Candidates in cost order lie scattered in memory, and an applied collapse reads records of a
// dozen vertices: while todo[j] is applied, the fan offsets of the candidate 8 ahead are asked
// for, and for the one 4 ahead (whose offsets have arrived) its fans and both vertices' records.
void Collapser::prefetchAhead(const std::vector<Candidate>& candidates, const std::vector<std::uint32_t>& todo,
                              std::size_t j) const {
    if (j + 8 < todo.size()) {
        const Candidate& f = candidates[todo[j + 8]];
        prefetch(&adjStart[f.v]), prefetch(&adjStart[f.u]), prefetch(&touched[f.v]), prefetch(&touched[f.u]);
    }
    if (j + 4 < todo.size()) {
        const Candidate& f = candidates[todo[j + 4]];
        if (touched[f.v] || touched[f.u]) return;
        for (std::int32_t x : {f.v, f.u}) {
            prefetch(adjTris.data() + adjStart[x]);
            prefetch(&quadric[x]), prefetch(&normalSum[x]), prefetch(&m.positions[x]);
            if (colors) prefetch(&colorQuadric[x]), prefetch(&m.colors[x]);
        }
    }
}

// True when moving `moved` to p (with `other` merging into it) turns a face too far or flat.
bool Collapser::flipsAny(std::int32_t moved, std::int32_t other, Vec3 p, const Ring& r) const {
    Vec3 merged = normalSum[moved] + normalSum[other];
    for (std::int32_t t : r.tris) {
        const std::int32_t* tri = &m.triangles[3 * t];
        if (tri[0] == other || tri[1] == other || tri[2] == other) continue;
        Vec3 a = pos(tri[0]), b = pos(tri[1]), c = pos(tri[2]);
        Vec3 n0 = cross(b - a, c - a);
        Vec3 na = tri[0] == moved ? p : a, nb = tri[1] == moved ? p : b, nc = tri[2] == moved ? p : c;
        Vec3 n1 = cross(nb - na, nc - na);
        double l0 = dot(n0, n0), l1 = dot(n1, n1);
        if (!(l1 > 1e-24 * (l0 + 1e-300))) return true;
        double d = dot(n0, n1);
        if (o.avoidNormalReverse) {
            if (d * std::fabs(d) < 0.04 * l0 * l1) return true;
            Vec3 ref = merged;
            for (int k = 0; k < 3; ++k)
                if (tri[k] != moved) ref = ref + normalSum[tri[k]];
            // Against the original surface the face stands for: slivers turn freely otherwise.
            double r = dot(n1, ref);
            if (r <= 0 || r * r < 0.09 * l1 * dot(ref, ref)) return true;
        } else if (d <= 0) {
            return true;
        }
    }
    return false;
}

bool Collapser::validate(std::int32_t v, std::int32_t u, Vec3 p, bool full, const Ring& rv, Ring& ru,
                         std::vector<std::pair<std::int32_t, std::int32_t>>& wedgeMap) const {
    if (!alive[v] || !alive[u] || locked[v] || rv.nonManifold) return false;
    const Neighbour* nb = rv.find(u);
    if (!nb) return false;
    if (rv.borderEdges > 0 && nb->count != 1) return false;
    int features = rv.borderEdges + (uvs ? rv.seamEdges : 0);
    bool edgeFeature = nb->count == 1 || (uvs && nb->seam);
    if (features > 2 || (features == 2 && !edgeFeature)) return false;
    bool fullAllowed = true;
    if (!symmetryAllows(v, u, fullAllowed)) return false;
    if (full && (!fullAllowed || locked[u])) return false;
    // Corners of v take the wedge u has in the same chart; every chart of v must reach u.
    wedgeMap.clear();
    if (uvs) {
        for (std::int32_t t : rv.tris) {
            const std::int32_t* tri = &m.triangles[3 * t];
            int kv = -1, ku = -1;
            for (int k = 0; k < 3; ++k) {
                if (tri[k] == v) kv = k;
                if (tri[k] == u) ku = k;
            }
            if (ku < 0) continue;
            std::int32_t from = m.wedges[3 * t + kv], to = m.wedges[3 * t + ku];
            bool seen = false;
            for (auto& e : wedgeMap)
                if (e.first == from) {
                    if (e.second != to) return false;
                    seen = true;
                }
            if (!seen) wedgeMap.push_back({from, to});
        }
        for (std::int32_t t : rv.tris) {
            const std::int32_t* tri = &m.triangles[3 * t];
            int kv = tri[0] == v ? 0 : tri[1] == v ? 1 : 2;
            bool seen = false;
            for (auto& e : wedgeMap) seen = seen || e.first == m.wedges[3 * t + kv];
            if (!seen) return false;
        }
        if (full && wedgeMap.size() != 1) return false;
    }
    // Link condition: the edge's only shared neighbours are its opposite corners.
    ring(u, ru);
    if (ru.nonManifold) return false;
    if (full)
        for (const Neighbour& n : ru.nbs) prefetch(&m.positions[n.vertex]), prefetch(&normalSum[n.vertex]);
    int common = 0;
    for (const Neighbour& a : rv.nbs)
        if (a.vertex != u && ru.find(a.vertex)) ++common;
    if (common != nb->count) return false;
    // A vertex of valence 3 folds its last face onto u: that face must not exist already.
    if (rv.tris.size() <= 3)
        for (std::int32_t t : rv.tris) {
            const std::int32_t* a = &m.triangles[3 * t];
            if (a[0] == u || a[1] == u || a[2] == u) continue;
            for (std::int32_t s : ru.tris) {
                const std::int32_t* b = &m.triangles[3 * s];
                int same = 0;
                for (int i = 0; i < 3; ++i)
                    for (int j = 0; j < 3; ++j) same += (a[i] == v ? u : a[i]) == b[j];
                if (same == 3) return false;
            }
        }
    if (flipsAny(v, u, p, rv)) return false;
    if (full && flipsAny(u, v, p, ru)) return false;
    return true;
}

// The collapse of v onto its neighbour nb with its cost, or false when the constraints rule it out.
bool Collapser::edgeCandidate(std::int32_t v, const Neighbour& nb, const Ring& rv, int features, Vec3 pv,
                              const float cv[4], Candidate& c) const {
    std::int32_t u = nb.vertex;
    if (rv.borderEdges > 0 && nb.count != 1) return false;
    bool edgeFeature = nb.count == 1 || (uvs && nb.seam);
    if (features == 2 && !edgeFeature) return false;
    bool fullAllowed = !locked[u] && !feature[u] && !feature[v] && features == 0;
    if (!symmetryAllows(v, u, fullAllowed)) return false;
    Quadric q = quadric[v];
    q.add(quadric[u]);
    Vec3 pu = pos(u);
    c = Candidate{0, v, u, 1.0f, false, m.positions[u]};
    double cost = q.eval(pu);
    if (fullAllowed) {
        Vec3 p;
        Vec3 e = pu - pv;
        double e2 = dot(e, e);
        Vec3 mid = (pv + pu) * 0.5;
        if (!q.optimum(p) || dot(p - mid, p - mid) > e2) p = mid;
        double pc = q.eval(p);
        if (pc < cost) {
            cost = pc;
            c.full = true;
            c.p = KVVector3f{float(p.x), float(p.y), float(p.z)};
            double t = e2 > 0 ? dot(vec(c.p) - pv, e) / e2 : 0.5;
            c.t = float(std::min(std::max(t, 0.0), 1.0));
        }
    }
    if (colorsSteer) {
        ColorQuadric cq = colorQuadric[v];
        cq.add(colorQuadric[u]);
        float cu[4], cn[4];
        unpack(m.colors[u], cu);
        for (int i = 0; i < 4; ++i) cn[i] = cv[i] + (cu[i] - cv[i]) * c.t;
        cost += colorWeight * cq.eval(cn);
    }
    if (!std::isfinite(cost)) return false;
    c.cost = float(cost);
    return true;
}

// v's cheapest collapse among its first 64 allowed ones (ties: the first in fan order). With
// `via` >= 0 only the edge to `via` changed since `out` (valid when `had`) was found, so that edge
// alone is weighed against it; strict vertices and large fans are evaluated whole.
bool Collapser::evaluate(std::int32_t v, std::int32_t via, bool had, Ring& rv, Ring& ru,
                         std::vector<std::pair<std::int32_t, std::int32_t>>& map, Candidate& out) const {
    if (!alive[v] || locked[v]) return false;
    ring(v, rv);
    if (rv.nonManifold || rv.tris.empty()) return false;
    int features = rv.borderEdges + (uvs ? rv.seamEdges : 0);
    if (features > 2) return false;
    Vec3 pv = pos(v);
    float cv[4] = {0, 0, 0, 0};
    if (colors) unpack(m.colors[v], cv);
    if (via >= 0 && !strict[v] && rv.nbs.size() <= 64 && !(had && out.u == via)) {
        const Neighbour* nb = rv.find(via);
        if (nb) {
            Candidate c;
            if (!edgeCandidate(v, *nb, rv, features, pv, cv, c)) return had;
            if (!had || c.cost < out.cost) {
                out = c;
            } else if (c.cost == out.cost) {
                for (const Neighbour& n : rv.nbs) {
                    if (n.vertex == out.u) break;
                    if (n.vertex == via) {
                        out = c;
                        break;
                    }
                }
            }
            return true;
        }
    }
    // The neighbours' records are scattered: ask for all of them before the arithmetic needs them.
    for (const Neighbour& nb : rv.nbs) {
        prefetch(&quadric[nb.vertex]);
        prefetch(&m.positions[nb.vertex]);
        if (colorsSteer) prefetch(&colorQuadric[nb.vertex]), prefetch(&m.colors[nb.vertex]);
    }
    if (!strict[v]) {
        int n = 0;
        Candidate c;
        for (const Neighbour& nb : rv.nbs) {
            if (n == 64) break;
            if (!edgeCandidate(v, nb, rv, features, pv, cv, c)) continue;
            if (n++ == 0 || c.cost < out.cost) out = c;
        }
        return n > 0;
    }
    Candidate options[64];
    int n = 0;
    for (const Neighbour& nb : rv.nbs) {
        if (n == 64) break;
        if (edgeCandidate(v, nb, rv, features, pv, cv, options[n])) ++n;
    }
    if (n == 0) return false;
    std::sort(options, options + n, [](const Candidate& a, const Candidate& b) { return a.cost < b.cost; });
    for (int i = 0; i < n && i < 3; ++i) {
        if (validate(v, options[i].u, vec(options[i].p), options[i].full, rv, ru, map)) {
            out = options[i];
            return true;
        }
    }
    return false;
}

// Applies c when still valid. With block >= 0, only when both neighbourhoods lie in that block.
int Collapser::apply(const Candidate& c, Ring& rv, Ring& ru,
                     std::vector<std::pair<std::int32_t, std::int32_t>>& map, Undo* undo,
                     std::vector<WedgeStep>& wedgeSteps, CollapseStep& step, int block) {
    std::int32_t v = c.v, u = c.u;
    ring(v, rv);
    // The orientation checks read the fans' positions and normals: asked for before the wedge and
    // link checks run.
    for (const Neighbour& n : rv.nbs) prefetch(&m.positions[n.vertex]), prefetch(&normalSum[n.vertex]);
    if (!validate(v, u, vec(c.p), c.full, rv, ru, map)) return kRejected;
    if (block >= 0) {
        for (const Neighbour& n : rv.nbs)
            if (blockOf(n.vertex) != block) return kOutsideBlock;
        for (const Neighbour& n : ru.nbs)
            if (blockOf(n.vertex) != block) return kOutsideBlock;
    }
    std::uint32_t newColor = colors ? lerpColor(m.colors[v], m.colors[u], c.t) : 0;
    for (std::int32_t t : rv.tris) {
        std::int32_t* tri = &m.triangles[3 * t];
        std::int32_t* w = uvs ? &m.wedges[3 * t] : nullptr;
        if (undo) {
            undo->tris.push_back(t);
            for (int k = 0; k < 3; ++k) undo->tris.push_back(tri[k]);
            for (int k = 0; k < 3; ++k) undo->tris.push_back(w ? w[k] : -1);
        }
        if (tri[0] == u || tri[1] == u || tri[2] == u) {
            tri[0] = tri[1] = tri[2] = -1;
            continue;
        }
        for (int k = 0; k < 3; ++k)
            if (tri[k] == v) {
                tri[k] = u;
                if (w)
                    for (auto& e : map)
                        if (e.first == w[k]) {
                            w[k] = e.second;
                            break;
                        }
            }
    }
    if (uvs) {
        if (c.full) {
            // One chart on each side: the kept wedge slides with the vertex.
            std::int32_t from = map[0].first, to = map[0].second;
            if (undo) undo->uvs.push_back({to, m.wedgeUVs[to]});
            KVVector2f a = m.wedgeUVs[from], b = m.wedgeUVs[to];
            m.wedgeUVs[to] = KVVector2f{a.u + (b.u - a.u) * c.t, a.v + (b.v - a.v) * c.t};
        }
        if (log)  // only a recorded history replays the wedge moves
            for (auto& e : map) wedgeSteps.push_back({std::uint32_t(e.first), std::uint32_t(e.second), m.wedgeUVs[e.second]});
    }
    m.positions[u] = c.p;
    if (colors) {
        m.colors[u] = newColor;
        colorQuadric[u].add(colorQuadric[v]);
    }
    quadric[u].add(quadric[v]);
    normalSum[u] = normalSum[u] + normalSum[v];
    alive[v] = 0;
    touched[v] = touched[u] = 1;
    for (const Neighbour& n : rv.nbs) dirty[n.vertex] = kAllChanged;
    dirty[u] = kAllChanged;
    for (const Neighbour& n : ru.nbs) markEdge(n.vertex, u);
    mergeNext[v] = mergeHead[u];
    mergeHead[u] = v;
    step = CollapseStep{std::uint32_t(v), std::uint32_t(u), c.p, newColor, 0, 0};
    return kApplied;
}

void Collapser::undoCollapse(const Candidate& c, const Undo& undo, const Quadric& q, const ColorQuadric& cq,
                             Vec3 n, KVVector3f p, std::uint32_t color) {
    for (std::size_t i = 0; i < undo.tris.size(); i += 7) {
        std::int32_t t = undo.tris[i];
        for (int k = 0; k < 3; ++k) m.triangles[3 * t + k] = undo.tris[i + 1 + k];
        if (uvs)
            for (int k = 0; k < 3; ++k) m.wedges[3 * t + k] = undo.tris[i + 4 + k];
    }
    for (auto& e : undo.uvs) m.wedgeUVs[e.first] = e.second;
    m.positions[c.u] = p;
    if (colors) {
        m.colors[c.u] = color;
        colorQuadric[c.u] = cq;
    }
    quadric[c.u] = q;
    normalSum[c.u] = n;
    alive[c.v] = 1;
    touched[c.v] = 0;
    mergeHead[c.u] = mergeNext[c.v];
    mergeNext[c.v] = -1;
}

DecimationResult Collapser::run(std::int64_t target, const DecimationCallbacks& callbacks) {
    DecimationResult result;
    setup();
    std::int64_t live = 0;
    for (std::uint8_t a : alive) live += a;
    const std::int64_t total = std::max<std::int64_t>(live - target, 0);
    std::int64_t done = 0;
    auto report = [&]() { return !callbacks.progress || callbacks.progress(done, total); };
    if (!report()) {
        result.cancelled = true;
        result.error = "cancelled";
        return result;
    }
    std::vector<Candidate> candidates;
    std::vector<std::uint64_t> keys, scratch;
    Ring rv, ru;
    std::vector<std::pair<std::int32_t, std::int32_t>> map;
    std::vector<WedgeStep> wedgeSteps;
    Undo undo;
    bool firstPass = true, fullRetry = false, relaxLimit = false;
    while (live > target) {
        if (!firstPass) buildAdjacency();
        firstPass = false;
        parallelFor(vertexCount, 2048, [&](int, std::int32_t b, std::int32_t e) {
            Ring a, c;
            std::vector<std::pair<std::int32_t, std::int32_t>> wm;
            for (std::int32_t v = b; v < e; ++v)
                if (dirty[v]) {
                    std::int32_t via = dirty[v] == kEdgeChanged ? dirtyVia[v] : -1;
                    dirty[v] = kClean;
                    hasBest[v] = evaluate(v, via, hasBest[v] != 0, a, c, wm, best[v]);
                }
        });
        // Cost order, ties by vertex: non-negative floats order as their bit patterns, and the keys
        // are made in vertex order, so a stable radix sort on the cost's bits alone gives both.
        keys.clear();
        for (std::int32_t v = 0; v < vertexCount; ++v)
            if (hasBest[v] && alive[v]) {
                std::uint32_t bits;
                std::memcpy(&bits, &best[v].cost, 4);
                keys.push_back(std::uint64_t(bits) << 32 | std::uint32_t(v));
            }
        sortByHighHalf(keys, scratch);
        candidates.resize(keys.size());
        for (std::size_t i = 0; i < keys.size(); ++i) candidates[i] = best[std::uint32_t(keys[i])];
        std::int64_t remaining = live - target;
        // A pass may reach the whole remaining count (conflicts stop it well short), but takes
        // nothing dearer than a few times the cost at rank remaining/2: collapses far up the
        // cost scale (seams, fine detail) wait until cheaper ones have had their turn.
        const std::int64_t goal = remaining;
        float limit = std::numeric_limits<float>::max();
        if (!relaxLimit && remaining > 256 && std::size_t(remaining / 2) < candidates.size())
            limit = 6.0f * candidates[std::size_t(remaining / 2)].cost;
        std::int64_t applied = 0;
        bool stop = false;
        // One collapse from the serial walk, with its mirror partner when the job is symmetric.
        auto serial = [&](const Candidate& c) {
            if (touched[c.v] || touched[c.u]) return;
            bool pair = !mirror.empty() && mirror[c.v] >= 0 && mirror[c.v] != c.v;
            Candidate mc{};
            if (pair) {
                mc = c;
                mc.v = mirror[c.v];
                mc.u = mirror[c.u];
                mc.p = c.full ? mirrored(c.p) : m.positions[mc.u];
                if (touched[mc.v] || (touched[mc.u] && mc.u != c.u)) return;
            }
            Quadric savedQ = quadric[c.u];
            ColorQuadric savedC = colors ? colorQuadric[c.u] : ColorQuadric();
            Vec3 savedN = normalSum[c.u];
            KVVector3f savedP = m.positions[c.u];
            std::uint32_t savedColor = colors ? m.colors[c.u] : 0;
            undo.tris.clear();
            undo.uvs.clear();
            wedgeSteps.clear();
            CollapseStep first{}, second{};
            if (apply(c, rv, ru, map, pair ? &undo : nullptr, wedgeSteps, first, -1) != kApplied) {
                dirty[c.v] = kAllChanged;
                strict[c.v] = 1;
                return;
            }
            first.wedgeEnd = std::uint32_t(wedgeSteps.size());
            if (pair) {
                if (apply(mc, rv, ru, map, nullptr, wedgeSteps, second, -1) != kApplied) {
                    undoCollapse(c, undo, savedQ, savedC, savedN, savedP, savedColor);
                    dirty[c.v] = dirty[mc.v] = kAllChanged;
                    return;
                }
                second.wedgeEnd = std::uint32_t(wedgeSteps.size());
                first.flags = kStepPairedWithNext;
            }
            if (log) {
                std::uint32_t base = std::uint32_t(log->wedgeSteps.size());
                log->wedgeSteps.insert(log->wedgeSteps.end(), wedgeSteps.begin(), wedgeSteps.end());
                first.wedgeEnd += base;
                log->steps.push_back(first);
                if (pair) {
                    second.wedgeEnd += base;
                    log->steps.push_back(second);
                }
            }
            applied += pair ? 2 : 1;
            live -= pair ? 2 : 1;
            done += pair ? 2 : 1;
        };
        // Far from the goal, the cheapest candidates are applied in spatial blocks, one
        // thread per block: a collapse whose two neighbourhoods lie inside its block reads and
        // writes nothing another block's collapses touch. The blocks are fixed, not per thread,
        // so thread count never changes the result. The rest follow serially in cost order.
        std::size_t pos = 0;
        while (mirror.empty() && goal - applied >= kBlockedMinimum && pos < candidates.size()) {
            std::size_t end = std::min(candidates.size(), pos + std::size_t(goal - applied));
            while (end > pos && candidates[end - 1].cost > limit) --end;
            if (end == pos) break;
            for (BlockWork& w : blocks) w.todo.clear(), w.done.clear(), w.wedgeSteps.clear(), w.deferred.clear();
            std::vector<std::uint32_t>& deferred = blocks[0].crossing;
            deferred.clear();
            for (std::size_t i = pos; i < end; ++i) {
                int b = blockOf(candidates[i].v);
                if (b == blockOf(candidates[i].u)) blocks[b].todo.push_back(std::uint32_t(i));
                else deferred.push_back(std::uint32_t(i));
            }
            parallelFor(kBlocks, 1, [&](int, std::int32_t first, std::int32_t last) {
                Ring a, c;
                std::vector<std::pair<std::int32_t, std::int32_t>> wm;
                for (std::int32_t b = first; b < last; ++b) {
                    BlockWork& w = blocks[b];
                    const std::size_t count = w.todo.size();
                    for (std::size_t j = 0; j < count; ++j) {
                        prefetchAhead(candidates, w.todo, j);
                        const std::uint32_t i = w.todo[j];
                        const Candidate& cand = candidates[i];
                        if (touched[cand.v] || touched[cand.u]) continue;
                        CollapseStep step{};
                        int r = apply(cand, a, c, wm, nullptr, w.wedgeSteps, step, b);
                        if (r == kApplied) {
                            step.wedgeEnd = std::uint32_t(w.wedgeSteps.size());
                            w.done.push_back({i, step});
                        } else if (r == kOutsideBlock) {
                            w.deferred.push_back(i);
                        } else {
                            dirty[cand.v] = kAllChanged;
                            strict[cand.v] = 1;
                        }
                    }
                }
            });
            // The block collapses are independent: the log takes them in cost order.
            std::vector<std::pair<std::uint32_t, std::uint32_t>> order;  // candidate, block
            for (int b = 0; b < kBlocks; ++b) {
                for (auto& d : blocks[b].done) order.push_back({d.first, std::uint32_t(b)});
                deferred.insert(deferred.end(), blocks[b].deferred.begin(), blocks[b].deferred.end());
                applied += std::int64_t(blocks[b].done.size());
            }
            live -= std::int64_t(order.size());
            done += std::int64_t(order.size());
            if (log) {
                std::sort(order.begin(), order.end());
                std::vector<std::size_t> next(kBlocks, 0);
                for (auto& entry : order) {
                    BlockWork& w = blocks[entry.second];
                    CollapseStep step = w.done[next[entry.second]++].second;
                    std::uint32_t from = next[entry.second] > 1 ? w.done[next[entry.second] - 2].second.wedgeEnd : 0;
                    std::uint32_t base = std::uint32_t(log->wedgeSteps.size());
                    log->wedgeSteps.insert(log->wedgeSteps.end(), w.wedgeSteps.begin() + from,
                                           w.wedgeSteps.begin() + step.wedgeEnd);
                    step.wedgeEnd = base + (step.wedgeEnd - from);
                    log->steps.push_back(step);
                }
            }
            std::sort(deferred.begin(), deferred.end());
            for (std::uint32_t i : deferred) serial(candidates[i]);
            pos = end;
            if (!report()) {
                stop = true;
                break;
            }
        }
        std::size_t sinceReport = 0;
        for (; pos < candidates.size() && !stop; ++pos) {
            if (applied >= goal || candidates[pos].cost > limit) break;
            if (++sinceReport == 8192) {
                sinceReport = 0;
                if (!report()) {
                    stop = true;
                    break;
                }
            }
            serial(candidates[pos]);
        }
        if (stop || !report()) {
            result.cancelled = true;
            result.error = "cancelled";
            return result;
        }
        if (applied == 0 && !relaxLimit && limit < std::numeric_limits<float>::max()) {
            relaxLimit = true;  // everything under the limit was refused: try the dearer ones
            continue;
        }
        relaxLimit = false;
        if (applied == 0) {
            // Cached evaluations may miss collapses that changes two rings away made possible.
            if (fullRetry) break;
            fullRetry = true;
            std::fill(dirty.begin(), dirty.end(), kAllChanged);
        } else {
            fullRetry = false;
        }
    }
    result.ok = true;
    return result;
}

}  // namespace

DecimationResult collapseEdges(WorkMesh& mesh, const DecimationOptions& options, std::int64_t target,
                               const DecimationCallbacks& callbacks, CollapseLog* log, WorkerPool& pool) {
    Collapser c(mesh, options, log, pool);
    return c.run(target, callbacks);
}

}  // namespace trimora_decimation
