// The welded working mesh shared by the collapse engine, the progressive history and the output step.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "DecimationEngine.h"
#include "WorkerPool.h"

namespace trimora_decimation {

// A counting sort: the indices of `keys` grouped by key (each below keyCount), in index order
// within a group; group k is order[start[k], start[k + 1]). Vertex fans, a vertex's corners and a
// block's triangles are all gathered this way.
template <class Key>
void groupByKey(const std::vector<Key>& keys, std::size_t keyCount, std::vector<std::uint32_t>& start,
                std::vector<std::uint32_t>& order) {
    start.assign(keyCount + 1, 0);
    for (Key k : keys) ++start[std::size_t(k) + 1];
    for (std::size_t k = 0; k < keyCount; ++k) start[k + 1] += start[k];
    order.resize(keys.size());
    std::vector<std::uint32_t> fill(start.begin(), start.end() - 1);
    for (std::size_t i = 0; i < keys.size(); ++i) order[fill[std::size_t(keys[i])]++] = std::uint32_t(i);
}

// One vertex per distinct position; corners name a wedge (vertex + UV) when UVs are carried.
struct WorkMesh {
    std::vector<KVVector3f> positions;
    std::vector<std::uint32_t> colors;     // per vertex, empty unless colours are carried
    std::vector<std::uint8_t> mask;        // per vertex, empty unless the input has a mask
    std::vector<std::int32_t> triangles;   // 3 vertex ids per triangle; -1 marks a removed one
    std::vector<std::int32_t> wedges;      // 3 wedge ids per triangle, empty without UVs
    std::vector<KVVector2f> wedgeUVs;
};

// One collapse: `removed` merges into `kept`, which then sits at `position` with `color`. The
// wedge moves of this step are wedgeSteps[previous step's wedgeEnd, wedgeEnd).
struct CollapseStep {
    std::uint32_t removed;
    std::uint32_t kept;
    KVVector3f position;
    std::uint32_t color;
    std::uint32_t wedgeEnd;
    std::uint32_t flags;  // kStepPairedWithNext: the mirror collapse follows and belongs to it
};
constexpr std::uint32_t kStepPairedWithNext = 1;

// A wedge of the removed vertex renamed to a wedge of the kept one, whose UV becomes `uv`.
struct WedgeStep {
    std::uint32_t from;
    std::uint32_t to;
    KVVector2f uv;
};

struct CollapseLog {
    std::vector<CollapseStep> steps;
    std::vector<WedgeStep> wedgeSteps;
};

// Checks the input's sizes and indices; welds positions (bit-identical), UVs per position and
// drops degenerate triangles and unreferenced vertices. False with `error` set on bad input.
bool buildWorkMesh(const DecimationMesh& input, const DecimationOptions& options, WorkMesh& mesh,
                   std::string& error, WorkerPool& pool);

// The job's worker count: options.numThreads, or one per core when it is 0; 1 to 64.
int jobThreads(const DecimationOptions& options);

// For each point, the first point bit-identical to it (itself when none comes before).
std::vector<std::uint32_t> weldPositions(const std::vector<KVVector3f>& points, WorkerPool& pool);

// Whether the mesh lists its triangles in scattered order: their corners lie far apart in the
// vertex array on average. Small meshes never count as scattered: they fit in the caches.
inline bool scatteredOrder(const WorkMesh& mesh) {
    const std::size_t count = mesh.triangles.size() / 3;
    if (count < 4096) return false;
    std::uint64_t span = 0;
    for (std::size_t t = 0; t < count; ++t) {
        const std::int32_t a = mesh.triangles[3 * t], b = mesh.triangles[3 * t + 1], c = mesh.triangles[3 * t + 2];
        span += std::uint64_t(std::max({a, b, c}) - std::min({a, b, c}));
    }
    return span / count >= 256 + mesh.positions.size() / 64;
}

// Each triangle's cell (by its centroid) in a grid of 2^bits cells a side over the bounding box,
// as a Morton code, so that codes in order walk the cells along a Z-order curve. bits <= 10.
std::vector<std::uint32_t> triangleCells(const WorkMesh& mesh, int bits);

// Sorts scattered triangle orders along a space-filling curve and renumbers vertices and wedges by
// first use, for our engine when it takes the whole mesh (the meshopt-first path groups triangles
// by block itself). Coherent orders are kept.
void orderSpatially(WorkMesh& mesh);

// Collapses edges until `target` vertices remain or no allowed collapse is left. Appends every
// collapse to `log` when given. `mesh` keeps the result (removed triangles marked -1).
DecimationResult collapseEdges(WorkMesh& mesh, const DecimationOptions& options,
                               std::int64_t target, const DecimationCallbacks& callbacks,
                               CollapseLog* log, WorkerPool& pool);

// Reduces `mesh` with meshopt_simplify towards `intermediate` vertices, in fixed spatial blocks
// of about kMeshoptBlockTriangles triangles run on the job's threads (block outlines and, when
// frozen, borders locked), repairing faces that fold or turn against the input surface, and
// compacts it. Refused, with `mesh` untouched, when the result would undershoot `floor` vertices
// or blocks met in a non-manifold edge; Cancelled when the progress callback said so.
enum class MeshoptOutcome { Reduced, Refused, Cancelled };
constexpr std::size_t kMeshoptBlockTriangles = 32768;
constexpr std::size_t kMeshoptBlockKeep = 2000;  // kept per block at least: locked outlines stay a small share
constexpr std::size_t kMeshoptMaxBlocks = 256;
MeshoptOutcome meshoptReduce(WorkMesh& mesh, const DecimationOptions& options, std::int64_t intermediate,
                             std::int64_t floor, const DecimationCallbacks& callbacks, WorkerPool& pool);

// Writes the live triangles and the vertices they use into `output`.
void writeOutput(const WorkMesh& mesh, DecimationMesh& output);

// For each vertex, its mirror image across the plane normal to `axis` through the bounding-box
// centre (returned in `centre`): itself on the plane, -1 when it has none. Partners are mutual.
std::vector<std::int32_t> findMirrorPartners(const std::vector<KVVector3f>& positions, int axis,
                                             double& centre);

// Mirror axis (0, 1, 2) across which the mesh is symmetric about its bounding-box centre, or -1.
int detectSymmetryAxis(const std::vector<KVVector3f>& positions);

}  // namespace trimora_decimation
