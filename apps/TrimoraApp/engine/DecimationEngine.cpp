// DecimationEngine: input checks, welding, the choice of reduction path and the output mesh.
#include "DecimationEngine.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <thread>

#include "DecimationModel.h"

// Which path serves which job
// ---------------------------
// Every job is welded first (bit-identical positions become one vertex, UVs become wedges per
// position and UV; scattered file orders are sorted spatially where our engine takes the whole
// mesh) and finished by our own edge collapse (EdgeCollapse.cpp): area-weighted plane quadrics with
// border planes, an optimal position for edges away from borders, seams, locks and the symmetry
// plane, colour spread weighted by colorCoef, UV wedges renamed chart by chart (a corner only ever
// takes a UV of the same chart, so seams stay seams), mirrored pairs collapsed together, masked and
// frozen-border vertices locked, and a face-orientation check against both the current face and the
// original surface the face stands for. Each pass evaluates the vertices whose neighbourhood
// changed (in parallel on one worker pool per job), sorts the vertices' best collapses by cost and
// applies them cheapest first, up to a cost limit; far from the target the cheapest ones go block
// by block over fixed spatial blocks in parallel, so thread count never changes the result.
// meshoptimizer serves, for jobs it can honour (no UVs kept, no colour weight, no mask in use, no
// symmetry), the bulk of the reduction
// (MeshoptFirst.cpp): meshopt_simplify in fixed spatial blocks brings the mesh to kMeshoptHandoff
// times the target (each block keeping enough that its locked outline stays a small share), folds
// and fins it leaves are mended locally, and our engine finishes from there with its placement,
// checks and exact target. Alone, our engine took 1.15 to 2.3 times meshopt_simplify's time on
// such jobs; this way it takes 0.5 to 0.7 times on a 1M-triangle mesh and 1.0 to 1.16 times on a
// 75k-triangle scan, at no worse error, but 1.4 to 2 times on scans of one block (under 64k
// triangles), where meshoptimizer's phase has one thread (bench/decimate.cpp).
// Progressive histories always come from our engine alone.
// The progressive history (ProgressiveMesh.cpp) records the same collapses and replays them.

namespace trimora_decimation {

namespace {

bool finite(const KVVector3f& p) { return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z); }

void bounds(const std::vector<KVVector3f>& positions, float lo[3], float hi[3]) {
    for (int i = 0; i < 3; ++i) lo[i] = hi[i] = 0;
    if (positions.empty()) return;
    const float* f = &positions[0].x;
    for (int i = 0; i < 3; ++i) lo[i] = hi[i] = f[i];
    for (const KVVector3f& p : positions) {
        const float* c = &p.x;
        for (int i = 0; i < 3; ++i) lo[i] = std::min(lo[i], c[i]), hi[i] = std::max(hi[i], c[i]);
    }
}

// Spreads the low 10 bits of x to every third bit.
std::uint32_t spread3(std::uint32_t x) {
    x &= 0x3FF;
    x = (x | (x << 16)) & 0x030000FF;
    x = (x | (x << 8)) & 0x0300F00F;
    x = (x | (x << 4)) & 0x030C30C3;
    x = (x | (x << 2)) & 0x09249249;
    return x;
}

}  // namespace

int jobThreads(const DecimationOptions& options) {
    const int threads = options.numThreads > 0 ? options.numThreads : int(std::thread::hardware_concurrency());
    return std::max(1, std::min(threads, 64));
}

// Each worker owns the positions whose hash falls to it, so its table needs no lock; a table
// keeps the first index met of each position, and each worker meets them in index order.
std::vector<std::uint32_t> weldPositions(const std::vector<KVVector3f>& points, WorkerPool& pool) {
    const std::size_t n = points.size();
    std::vector<std::uint32_t> first(n);
    const int workers = int(std::min<std::size_t>(std::size_t(pool.size()), n / 65536 + 1));
    std::size_t capacity = 64;
    while (capacity < 2 * (n / std::size_t(workers) + 1)) capacity <<= 1;
    static_assert(sizeof(KVVector3f) == 12, "a position is compared as three 32-bit words");
    auto hashOf = [](const KVVector3f& p) {
        std::uint32_t w[3];
        std::memcpy(w, &p, sizeof w);
        std::uint64_t h = (std::uint64_t(w[0]) << 32 | w[1]) ^ (std::uint64_t(w[2]) * 0x9E3779B97F4A7C15ull);
        h ^= h >> 33, h *= 0xFF51AFD7ED558CCDull, h ^= h >> 33, h *= 0xC4CEB9FE1A85EC53ull, h ^= h >> 33;
        return h;
    };
    pool.run(workers, [&](int worker) {
        std::vector<std::uint32_t> table(capacity, ~0u);
        for (std::size_t i = 0; i < n; ++i) {
            const std::uint64_t h = hashOf(points[i]);
            if (int((h >> 40) % std::uint64_t(workers)) != worker) continue;
            std::size_t slot = std::size_t(h) & (capacity - 1);
            for (;; slot = (slot + 1) & (capacity - 1)) {
                const std::uint32_t j = table[slot];
                if (j == ~0u) {
                    table[slot] = std::uint32_t(i);
                    first[i] = std::uint32_t(i);
                    break;
                }
                if (std::memcmp(&points[j], &points[i], sizeof(KVVector3f)) == 0) {
                    first[i] = j;
                    break;
                }
            }
        }
    });
    return first;
}

std::vector<std::uint32_t> triangleCells(const WorkMesh& mesh, int bits) {
    const std::size_t count = mesh.triangles.size() / 3;
    const int cells = 1 << bits;
    float lo[3], hi[3];
    bounds(mesh.positions, lo, hi);
    double scale[3];
    for (int i = 0; i < 3; ++i) scale[i] = hi[i] > lo[i] ? cells / (3.0 * (double(hi[i]) - lo[i])) : 0;
    std::vector<std::uint32_t> code(count);
    for (std::size_t t = 0; t < count; ++t) {
        double sum[3] = {0, 0, 0};
        for (int k = 0; k < 3; ++k) {
            const float* p = &mesh.positions[std::size_t(mesh.triangles[3 * t + k])].x;
            for (int i = 0; i < 3; ++i) sum[i] += double(p[i]) - lo[i];
        }
        std::uint32_t cell[3];
        for (int i = 0; i < 3; ++i) cell[i] = std::uint32_t(std::min(std::max(int(sum[i] * scale[i]), 0), cells - 1));
        code[t] = spread3(cell[0]) | spread3(cell[1]) << 1 | spread3(cell[2]) << 2;
    }
    return code;
}

namespace {

// Renumbers `ids` by first use (each below `count`); returns old id -> new id.
std::vector<std::int32_t> renumberByFirstUse(std::vector<std::int32_t>& ids, std::size_t count) {
    std::vector<std::int32_t> renumber(count, -1);
    std::int32_t used = 0;
    for (std::int32_t& i : ids) {
        std::int32_t& r = renumber[std::size_t(i)];
        if (r < 0) r = used++;
        i = r;
    }
    return renumber;
}

// values[old] moves to values[renumber[old]].
template <class T>
void permute(std::vector<T>& values, const std::vector<std::int32_t>& renumber) {
    if (values.empty()) return;
    std::vector<T> moved(values.size());
    for (std::size_t i = 0; i < renumber.size(); ++i)
        if (renumber[i] >= 0) moved[std::size_t(renumber[i])] = values[i];
    values.swap(moved);
}

}  // namespace

// Files that list triangles and vertices in scattered order (many scans do) make every fan a
// handful of cache misses for the collapse engine. Such meshes get their triangles sorted along a
// Z-order curve through the bounding box (two counting-sort passes, stable) and their vertices
// and wedges renumbered by first use, so that they follow. Coherent orders are kept: sorting them
// gains nothing.
void orderSpatially(WorkMesh& mesh) {
    const std::size_t count = mesh.triangles.size() / 3;
    if (!scatteredOrder(mesh)) return;
    const std::vector<std::uint32_t> key = triangleCells(mesh, 10);
    std::vector<std::uint32_t> order(count), next(count), bucket(1u << 15);
    for (std::size_t t = 0; t < count; ++t) order[t] = std::uint32_t(t);
    for (int shift : {0, 15}) {
        std::fill(bucket.begin(), bucket.end(), 0);
        for (std::uint32_t t : order) ++bucket[(key[t] >> shift) & 0x7FFF];
        std::uint32_t sum = 0;
        for (std::uint32_t& b : bucket) {
            std::uint32_t c = b;
            b = sum;
            sum += c;
        }
        for (std::uint32_t t : order) next[bucket[(key[t] >> shift) & 0x7FFF]++] = t;
        order.swap(next);
    }
    for (std::vector<std::int32_t>* perCorner : {&mesh.triangles, &mesh.wedges}) {
        if (perCorner->empty()) continue;
        std::vector<std::int32_t> moved(perCorner->size());
        for (std::size_t i = 0; i < count; ++i)
            for (int k = 0; k < 3; ++k) moved[3 * i + k] = (*perCorner)[3 * std::size_t(order[i]) + k];
        perCorner->swap(moved);
    }
    const std::vector<std::int32_t> vertex = renumberByFirstUse(mesh.triangles, mesh.positions.size());
    permute(mesh.positions, vertex);
    permute(mesh.colors, vertex);
    permute(mesh.mask, vertex);
    if (!mesh.wedges.empty()) permute(mesh.wedgeUVs, renumberByFirstUse(mesh.wedges, mesh.wedgeUVs.size()));
}

bool buildWorkMesh(const DecimationMesh& input, const DecimationOptions& options, WorkMesh& mesh,
                   std::string& error, WorkerPool& pool) {
    const std::size_t n = input.points.size();
    if (input.triangles.size() % 3 != 0) return error = "triangle list is not a multiple of 3", false;
    if (n > std::size_t(INT32_MAX) || input.triangles.size() > std::size_t(INT32_MAX))
        return error = "mesh too large", false;
    if (input.hasColors() && input.colors.size() != n) return error = "one colour per vertex expected", false;
    if (input.hasMask() && input.mask.size() != n) return error = "one mask value per vertex expected", false;
    const bool uvs = options.keepUVs && input.hasUVs();
    if (uvs && input.cornerUVs.size() != input.triangles.size())
        return error = "one UV per triangle corner expected", false;
    for (std::int32_t i : input.triangles)
        if (i < 0 || std::size_t(i) >= n) return error = "triangle index out of range", false;
    for (const KVVector3f& p : input.points)
        if (!finite(p)) return error = "non-finite coordinate", false;

    // Weld bit-identical positions; then keep only the vertices that triangles use.
    const std::vector<std::uint32_t> weld = weldPositions(input.points, pool);
    std::vector<std::int32_t> triangles;
    triangles.reserve(input.triangles.size());
    std::vector<std::int32_t> corners;  // input corner of each kept corner, for UVs
    if (uvs) corners.reserve(input.triangles.size());
    for (std::size_t t = 0; t + 2 < input.triangles.size(); t += 3) {
        std::int32_t a = std::int32_t(weld[input.triangles[t]]), b = std::int32_t(weld[input.triangles[t + 1]]),
                     c = std::int32_t(weld[input.triangles[t + 2]]);
        if (a == b || b == c || a == c) continue;
        triangles.push_back(a), triangles.push_back(b), triangles.push_back(c);
        if (uvs)
            for (int k = 0; k < 3; ++k) corners.push_back(std::int32_t(t + k));
    }
    std::vector<std::int32_t> compact(n, -1);
    std::int32_t used = 0;
    for (std::int32_t& i : triangles) {
        if (compact[i] < 0) compact[i] = used++;
        i = compact[i];
    }
    mesh = WorkMesh();
    mesh.positions.resize(used);
    if (input.hasColors()) mesh.colors.resize(used);
    if (input.hasMask()) mesh.mask.assign(used, 0);
    for (std::size_t i = n; i-- > 0;) {  // backwards: the first of duplicates gives the colour
        std::int32_t w = compact[weld[i]];
        if (w < 0) continue;
        mesh.positions[w] = input.points[i];
        if (input.hasColors()) mesh.colors[w] = input.colors[i];
        if (input.hasMask()) mesh.mask[w] = std::max(mesh.mask[w], input.mask[i]);
    }
    mesh.triangles = std::move(triangles);

    if (uvs) {
        // Wedges: a vertex's corners with bit-identical UVs share one. Corners are grouped by vertex
        // (a counting sort) and each compares against the few wedges its vertex has so far, so a
        // vertex's wedges get consecutive ids.
        std::vector<std::uint32_t> start, byVertex;
        groupByKey(mesh.triangles, std::size_t(used), start, byVertex);
        auto bitsOf = [&](std::uint32_t corner) {
            std::uint64_t b;
            std::memcpy(&b, &input.cornerUVs[std::size_t(corners[corner])], sizeof b);
            return b;
        };
        static_assert(sizeof(KVVector2f) == sizeof(std::uint64_t), "a UV is compared as one 64-bit word");
        mesh.wedges.resize(corners.size());
        mesh.wedgeUVs.clear();
        mesh.wedgeUVs.reserve(std::size_t(used) + std::size_t(used) / 4);
        std::vector<std::uint64_t> seen;  // the current vertex's wedge UVs, as bits
        for (std::size_t v = 0; v < std::size_t(used); ++v) {
            seen.clear();
            const std::int32_t first = std::int32_t(mesh.wedgeUVs.size());
            for (std::uint32_t i = start[v]; i < start[v + 1]; ++i) {
                const std::uint32_t corner = byVertex[i];
                const std::uint64_t b = bitsOf(corner);
                std::size_t w = 0;
                while (w < seen.size() && seen[w] != b) ++w;
                if (w == seen.size()) {
                    seen.push_back(b);
                    mesh.wedgeUVs.push_back(input.cornerUVs[std::size_t(corners[corner])]);
                }
                mesh.wedges[corner] = first + std::int32_t(w);
            }
        }
    }
    return true;
}

void writeOutput(const WorkMesh& mesh, DecimationMesh& output) {
    output = DecimationMesh();
    std::vector<std::int32_t> map(mesh.positions.size(), -1);
    std::size_t tris = 0;
    for (std::size_t t = 0; t + 2 < mesh.triangles.size(); t += 3)
        if (mesh.triangles[t] >= 0) {
            ++tris;
            for (int k = 0; k < 3; ++k) map[mesh.triangles[t + k]] = 0;
        }
    std::int32_t count = 0;
    for (std::int32_t& m : map)
        if (m == 0) m = count++;
    output.points.resize(count);
    if (!mesh.colors.empty()) output.colors.resize(count);
    if (!mesh.mask.empty()) output.mask.resize(count);
    for (std::size_t v = 0; v < map.size(); ++v) {
        if (map[v] < 0) continue;
        output.points[map[v]] = mesh.positions[v];
        if (!mesh.colors.empty()) output.colors[map[v]] = mesh.colors[v];
        if (!mesh.mask.empty()) output.mask[map[v]] = mesh.mask[v];
    }
    output.triangles.reserve(tris * 3);
    if (!mesh.wedges.empty()) output.cornerUVs.reserve(tris * 3);
    for (std::size_t t = 0; t + 2 < mesh.triangles.size(); t += 3) {
        if (mesh.triangles[t] < 0) continue;
        for (int k = 0; k < 3; ++k) {
            output.triangles.push_back(map[mesh.triangles[t + k]]);
            if (!mesh.wedges.empty()) output.cornerUVs.push_back(mesh.wedgeUVs[mesh.wedges[t + k]]);
        }
    }
}

std::vector<std::int32_t> findMirrorPartners(const std::vector<KVVector3f>& positions, int axis, double& centre) {
    const std::int32_t n = std::int32_t(positions.size());
    std::vector<std::int32_t> mirror(n, -1);
    float lo[3], hi[3];
    bounds(positions, lo, hi);
    double diag = 0;
    for (int i = 0; i < 3; ++i) diag += double(hi[i] - lo[i]) * (hi[i] - lo[i]);
    diag = std::sqrt(diag);
    centre = 0.5 * (double(lo[axis]) + hi[axis]);
    if (n == 0 || !(diag > 0)) return mirror;
    const double tol = 1e-5 * diag, cell = 2 * tol;
    auto cellOf = [&](double c, int i) { return std::int64_t(std::floor((c - lo[i]) / cell)); };
    auto key = [&](std::int64_t x, std::int64_t y, std::int64_t z) {
        return (std::uint64_t(x & 0x1FFFFF) << 42) | (std::uint64_t(y & 0x1FFFFF) << 21) | std::uint64_t(z & 0x1FFFFF);
    };
    std::vector<std::pair<std::uint64_t, std::int32_t>> keys(n);
    for (std::int32_t v = 0; v < n; ++v) {
        const KVVector3f& p = positions[v];
        keys[v] = {key(cellOf(p.x, 0), cellOf(p.y, 1), cellOf(p.z, 2)), v};
    }
    std::sort(keys.begin(), keys.end());
    for (std::int32_t v = 0; v < n; ++v) {
        double q[3] = {positions[v].x, positions[v].y, positions[v].z};
        if (std::fabs(q[axis] - centre) <= tol) {
            mirror[v] = v;
            continue;
        }
        q[axis] = 2 * centre - q[axis];
        std::int64_t c[3] = {cellOf(q[0], 0), cellOf(q[1], 1), cellOf(q[2], 2)};
        double best = tol * tol;
        for (int dx = -1; dx <= 1; ++dx)
            for (int dy = -1; dy <= 1; ++dy)
                for (int dz = -1; dz <= 1; ++dz) {
                    std::uint64_t k = key(c[0] + dx, c[1] + dy, c[2] + dz);
                    auto it = std::lower_bound(keys.begin(), keys.end(), std::make_pair(k, std::int32_t(-1)));
                    for (; it != keys.end() && it->first == k; ++it) {
                        const KVVector3f& p = positions[it->second];
                        double d = (p.x - q[0]) * (p.x - q[0]) + (p.y - q[1]) * (p.y - q[1]) + (p.z - q[2]) * (p.z - q[2]);
                        if (d <= best && it->second != v) best = d, mirror[v] = it->second;
                    }
                }
    }
    for (std::int32_t v = 0; v < n; ++v) {
        std::int32_t w = mirror[v];
        if (w >= 0 && w != v && mirror[w] != v) mirror[v] = -1;
    }
    return mirror;
}

int detectSymmetryAxis(const std::vector<KVVector3f>& positions) {
    int best = -1;
    std::size_t bestMatched = 0;
    for (int axis = 0; axis < 3; ++axis) {
        double centre;
        std::vector<std::int32_t> mirror = findMirrorPartners(positions, axis, centre);
        std::size_t matched = 0, onPlane = 0;
        for (std::size_t v = 0; v < mirror.size(); ++v) {
            matched += mirror[v] >= 0;
            onPlane += mirror[v] == std::int32_t(v);
        }
        // Nearly every vertex must have a partner, and not merely by lying on the plane (a flat mesh).
        if (matched >= positions.size() * 98 / 100 && onPlane < matched && matched > bestMatched) {
            best = axis;
            bestMatched = matched;
        }
    }
    return best;
}

}  // namespace trimora_decimation

ReductionPath chooseReductionPath(const DecimationMesh& input, const DecimationOptions& options) {
    if (options.path != ReductionPath::Automatic) return options.path;
    // meshopt_simplify knows positions only: it cannot keep UV charts, weigh colours, hold masked
    // vertices or collapse mirrored pairs. Colours that only travel are interpolated by our engine.
    const bool uvs = options.keepUVs && input.hasUVs();
    const bool colours = options.useColors && input.hasColors() && options.colorCoef > 0;
    const bool mask = options.useMask && input.hasMask() &&
                      std::any_of(input.mask.begin(), input.mask.end(), [](std::uint8_t m) { return m != 0; });
    if (uvs || colours || mask || options.symmetry != SymmetryMode::None) return ReductionPath::Engine;
    return ReductionPath::MeshoptFirst;
}

DecimationResult decimateMesh(const DecimationMesh& input, const DecimationOptions& options, DecimationMesh& output,
                              const DecimationCallbacks& callbacks) {
    using namespace trimora_decimation;
    DecimationResult result;
    if (&input == &output) {
        result.error = "output may not alias the input";
        return result;
    }
    try {
        const bool meshoptFirst = chooseReductionPath(input, options) == ReductionPath::MeshoptFirst;
        WorkerPool pool(jobThreads(options));
        WorkMesh mesh;
        if (!buildWorkMesh(input, options, mesh, result.error, pool)) return result;
        if (!meshoptFirst) orderSpatially(mesh);
        std::int64_t target = std::max<std::int64_t>(options.targetVertices, 0);
        DecimationCallbacks finish = callbacks;
        if (meshoptFirst) {
            const std::int64_t live = std::int64_t(mesh.positions.size());
            const std::int64_t total = std::max<std::int64_t>(live - target, 0);
            if (callbacks.progress && !callbacks.progress(0, total)) {
                result.cancelled = true;
                result.error = "cancelled";
                return result;
            }
            const double handoff = options.meshoptHandoff > 1.0f ? options.meshoptHandoff : kMeshoptHandoff;
            const std::int64_t intermediate = std::int64_t(std::ceil(double(target) * handoff));
            const MeshoptOutcome outcome = meshoptReduce(mesh, options, intermediate, target, callbacks, pool);
            if (outcome == MeshoptOutcome::Cancelled) {
                result.cancelled = true;
                result.error = "cancelled";
                return result;
            }
            if (outcome == MeshoptOutcome::Refused) orderSpatially(mesh);  // our engine takes the whole mesh after all
            if (outcome == MeshoptOutcome::Reduced && callbacks.progress) {
                // Our engine's counts continue where meshoptimizer's reduction left them.
                const std::int64_t offset = live - std::int64_t(mesh.positions.size());
                finish.progress = [&callbacks, offset, total](std::int64_t done, std::int64_t) {
                    return callbacks.progress(std::min(done + offset, total), total);
                };
            }
        }
        result = collapseEdges(mesh, options, target, finish, nullptr, pool);
        if (!result.ok) return result;
        writeOutput(mesh, output);
    } catch (const std::bad_alloc&) {
        result = DecimationResult();
        result.error = "out of memory";
    } catch (const std::exception& e) {
        result = DecimationResult();
        result.error = e.what();
    } catch (...) {
        result = DecimationResult();
        result.error = "unexpected failure";
    }
    return result;
}
