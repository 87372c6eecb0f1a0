// ProgressiveMesh: a recorded collapse history, its byte layout, and replay to any vertex count.
#include <algorithm>
#include <cstring>
#include <new>

#include "DecimationModel.h"

// Byte layout (little-endian, no padding; follows the cache file's 99-byte header)
// ----------------------------------------------------------------------------------
// offset  size        field
//  0      4           magic "TRPM"
//  4      4           version, 1
//  8      4           flags: 1 UVs (wedges), 2 colours, 4 mask; other bits must be 0
// 12      4           V  vertex count (welded full mesh)
// 16      4           T  triangle count
// 20      4           W  wedge count (0 without UVs)
// 24      4           K  collapse count
// 28      4           S  wedge-move count
// 32      12 V        positions, 3 floats each
//         4 V         colours 0xAARRGGBB            (flag 2)
//         1 V         mask values                   (flag 4)
//         12 T        triangles, 3 uint32 vertex ids
//         12 T        corner wedges, 3 uint32 each  (flag 1)
//         8 W         wedge UVs, 2 floats each      (flag 1)
//         32 K        collapses in order: removed, kept (uint32), kept's new position
//                     (3 floats), kept's new colour, end of its wedge moves (uint32, running),
//                     flags (uint32; 1 = the mirror collapse follows and belongs to this one)
//         16 S        wedge moves: from, to (uint32), to's new UV (2 floats)
// The buffer must be exactly this long. A parser checks every id against its count and replays
// the history's liveness: a collapse may only remove and keep vertices still present, a wedge
// move only rename live wedges, so replay never loops or reaches outside an array.

namespace {

using namespace trimora_decimation;

constexpr std::uint32_t kMagic = 0x4D505254;  // "TRPM"
constexpr std::uint32_t kVersion = 1;
constexpr std::uint32_t kFlagUVs = 1, kFlagColors = 2, kFlagMask = 4;

template <class T>
void put(std::vector<std::uint8_t>& out, const T* data, std::size_t count) {
    const std::uint8_t* b = reinterpret_cast<const std::uint8_t*>(data);
    out.insert(out.end(), b, b + count * sizeof(T));
}

struct Reader {
    const std::uint8_t* p;
    std::size_t left;
    template <class T>
    bool take(std::vector<T>& out, std::size_t count) {
        if (count > left / sizeof(T)) return false;
        out.resize(count);
        if (count) std::memcpy(out.data(), p, count * sizeof(T));
        p += count * sizeof(T);
        left -= count * sizeof(T);
        return true;
    }
};

}  // namespace

struct ProgressiveMesh::Data {
    WorkMesh mesh;  // the full welded mesh
    std::vector<CollapseStep> steps;
    std::vector<WedgeStep> wedgeSteps;
};

ProgressiveMesh::ProgressiveMesh() = default;
ProgressiveMesh::~ProgressiveMesh() = default;
ProgressiveMesh::ProgressiveMesh(ProgressiveMesh&&) noexcept = default;
ProgressiveMesh& ProgressiveMesh::operator=(ProgressiveMesh&&) noexcept = default;

bool ProgressiveMesh::empty() const { return !m_data; }
std::int64_t ProgressiveMesh::fullVertexCount() const { return m_data ? std::int64_t(m_data->mesh.positions.size()) : 0; }
std::int64_t ProgressiveMesh::baseVertexCount() const {
    return m_data ? std::int64_t(m_data->mesh.positions.size() - m_data->steps.size()) : 0;
}

bool ProgressiveMesh::serialize(std::vector<std::uint8_t>& buffer) const {
    if (!m_data) return false;
    try {
        const WorkMesh& m = m_data->mesh;
        std::uint32_t flags = (m.wedges.empty() ? 0 : kFlagUVs) | (m.colors.empty() ? 0 : kFlagColors) |
                              (m.mask.empty() ? 0 : kFlagMask);
        std::uint32_t head[8] = {kMagic,
                                 kVersion,
                                 flags,
                                 std::uint32_t(m.positions.size()),
                                 std::uint32_t(m.triangles.size() / 3),
                                 std::uint32_t(m.wedgeUVs.size()),
                                 std::uint32_t(m_data->steps.size()),
                                 std::uint32_t(m_data->wedgeSteps.size())};
        buffer.reserve(buffer.size() + 32 + m.positions.size() * 17 + m.triangles.size() * 8 +
                       m.wedgeUVs.size() * 8 + m_data->steps.size() * 32 + m_data->wedgeSteps.size() * 16);
        put(buffer, head, 8);
        put(buffer, m.positions.data(), m.positions.size());
        put(buffer, m.colors.data(), m.colors.size());
        put(buffer, m.mask.data(), m.mask.size());
        put(buffer, m.triangles.data(), m.triangles.size());
        put(buffer, m.wedges.data(), m.wedges.size());
        put(buffer, m.wedgeUVs.data(), m.wedgeUVs.size());
        static_assert(sizeof(CollapseStep) == 32 && sizeof(WedgeStep) == 16, "records are stored raw");
        put(buffer, m_data->steps.data(), m_data->steps.size());
        put(buffer, m_data->wedgeSteps.data(), m_data->wedgeSteps.size());
        return true;
    } catch (...) {
        return false;
    }
}

bool ProgressiveMesh::parse(const std::uint8_t* data, std::size_t size, std::string* error) {
    m_data.reset();
    auto fail = [&](const char* why) {
        if (error) *error = why;
        return false;
    };
    if (!data && size) return fail("no data");
    try {
        Reader r{data, size};
        std::vector<std::uint32_t> head;
        if (!r.take(head, 8)) return fail("truncated header");
        if (head[0] != kMagic) return fail("not a progressive mesh");
        if (head[1] != kVersion) return fail("unknown version");
        const std::uint32_t flags = head[2];
        if (flags & ~(kFlagUVs | kFlagColors | kFlagMask)) return fail("unknown flags");
        const std::size_t V = head[3], T = head[4], W = head[5], K = head[6], S = head[7];
        if (V > std::size_t(INT32_MAX) || T > std::size_t(INT32_MAX) / 3 || W > std::size_t(INT32_MAX))
            return fail("counts too large");
        if (!(flags & kFlagUVs) && W) return fail("wedges without UVs");
        // Check the whole length before allocating anything from the counts.
        const std::uint64_t need = 12ull * V + ((flags & kFlagColors) ? 4ull * V : 0) + ((flags & kFlagMask) ? V : 0) +
                                   12ull * T + ((flags & kFlagUVs) ? 12ull * T + 8ull * W : 0) + 32ull * K + 16ull * S;
        if (need != r.left) return fail("size does not match the counts");
        auto d = std::make_unique<Data>();
        WorkMesh& m = d->mesh;
        r.take(m.positions, V);
        if (flags & kFlagColors) r.take(m.colors, V);
        if (flags & kFlagMask) r.take(m.mask, V);
        r.take(m.triangles, 3 * T);
        if (flags & kFlagUVs) {
            r.take(m.wedges, 3 * T);
            r.take(m.wedgeUVs, W);
        }
        r.take(d->steps, K);
        r.take(d->wedgeSteps, S);
        for (std::int32_t i : m.triangles)
            if (i < 0 || std::size_t(i) >= V) return fail("triangle index out of range");
        for (std::int32_t i : m.wedges)
            if (i < 0 || std::size_t(i) >= W) return fail("wedge index out of range");
        std::vector<std::uint8_t> alive(V, 1), wedgeAlive(W, 1);
        std::uint32_t wedgeStart = 0;
        for (const CollapseStep& s : d->steps) {
            if (s.removed >= V || s.kept >= V || s.removed == s.kept || !alive[s.removed] || !alive[s.kept])
                return fail("collapse names a missing vertex");
            if (s.wedgeEnd < wedgeStart || s.wedgeEnd > S || (s.flags & ~kStepPairedWithNext))
                return fail("malformed collapse");
            alive[s.removed] = 0;
            for (std::uint32_t i = wedgeStart; i < s.wedgeEnd; ++i) {
                const WedgeStep& w = d->wedgeSteps[i];
                if (w.from >= W || w.to >= W || w.from == w.to || !wedgeAlive[w.from] || !wedgeAlive[w.to]) return fail("malformed wedge move");
                wedgeAlive[w.from] = 0;
            }
            wedgeStart = s.wedgeEnd;
        }
        if (wedgeStart != S) return fail("unused wedge moves");
        m_data = std::move(d);
        return true;
    } catch (...) {
        return fail("out of memory");
    }
}

DecimationResult ProgressiveMesh::decimate(std::int64_t targetVertices, DecimationMesh& output,
                                           const DecimationCallbacks& callbacks) const {
    DecimationResult result;
    if (!m_data) {
        result.error = "empty progressive mesh";
        return result;
    }
    try {
        const WorkMesh& full = m_data->mesh;
        const std::vector<CollapseStep>& steps = m_data->steps;
        const std::int64_t V = std::int64_t(full.positions.size());
        std::int64_t k = std::min<std::int64_t>(std::max<std::int64_t>(V - targetVertices, 0), std::int64_t(steps.size()));
        while (k > 0 && k < std::int64_t(steps.size()) && (steps[k - 1].flags & kStepPairedWithNext)) ++k;
        if (callbacks.progress && !callbacks.progress(0, k)) {
            result.cancelled = true;
            result.error = "cancelled";
            return result;
        }
        // Only the replayed prefix's vertices and wedges change: positions, colours and UVs are
        // read through the last step that set them (-1: unchanged) instead of copying the full
        // arrays, and only the surviving triangles are gathered.
        std::vector<std::int32_t> parent(V), wedgeParent(full.wedgeUVs.size());
        for (std::int32_t i = 0; i < std::int32_t(V); ++i) parent[i] = i;
        for (std::size_t i = 0; i < wedgeParent.size(); ++i) wedgeParent[i] = std::int32_t(i);
        std::vector<std::int32_t> lastStep(V, -1), lastWedgeStep(full.wedgeUVs.size(), -1);
        std::uint32_t wedgeStart = 0;
        for (std::int64_t i = 0; i < k; ++i) {
            const CollapseStep& s = steps[i];
            lastStep[s.kept] = std::int32_t(i);
            for (std::uint32_t j = wedgeStart; j < s.wedgeEnd; ++j) lastWedgeStep[m_data->wedgeSteps[j].to] = std::int32_t(j);
            wedgeStart = s.wedgeEnd;
        }
        // Where each removed vertex and renamed wedge ends up, resolved backwards in one sweep: a
        // step's kept vertex (target wedge) is either final or removed by a later step, whose
        // answer is already known.
        for (std::int64_t i = k; i-- > 0;) parent[steps[i].removed] = parent[steps[i].kept];
        for (std::uint32_t j = wedgeStart; j-- > 0;) {
            const WedgeStep& w = m_data->wedgeSteps[j];
            wedgeParent[w.from] = wedgeParent[w.to];
        }
        const bool uvs = !full.wedges.empty();
        std::vector<std::int32_t> liveTriangles, liveWedges;
        std::vector<std::int32_t> map(std::size_t(V), -1);
        for (std::size_t t = 0; t + 2 < full.triangles.size(); t += 3) {
            std::int32_t a = parent[full.triangles[t]], b = parent[full.triangles[t + 1]], c = parent[full.triangles[t + 2]];
            if (a == b || b == c || a == c) continue;
            liveTriangles.insert(liveTriangles.end(), {a, b, c});
            map[a] = map[b] = map[c] = 0;
            if (uvs)
                for (int j = 0; j < 3; ++j) liveWedges.push_back(wedgeParent[full.wedges[t + j]]);
        }
        // The same layout as writeOutput: vertices in id order, triangles in stored order.
        output = DecimationMesh();
        std::int32_t count = 0;
        for (std::int32_t& i : map)
            if (i == 0) i = count++;
        output.points.resize(std::size_t(count));
        if (!full.colors.empty()) output.colors.resize(std::size_t(count));
        if (!full.mask.empty()) output.mask.resize(std::size_t(count));
        for (std::size_t v = 0; v < map.size(); ++v) {
            if (map[v] < 0) continue;
            const std::int32_t s = lastStep[v];
            output.points[std::size_t(map[v])] = s < 0 ? full.positions[v] : steps[std::size_t(s)].position;
            if (!full.colors.empty()) output.colors[std::size_t(map[v])] = s < 0 ? full.colors[v] : steps[std::size_t(s)].color;
            if (!full.mask.empty()) output.mask[std::size_t(map[v])] = full.mask[v];
        }
        output.triangles.resize(liveTriangles.size());
        for (std::size_t i = 0; i < liveTriangles.size(); ++i) output.triangles[i] = map[std::size_t(liveTriangles[i])];
        if (uvs) {
            output.cornerUVs.resize(liveWedges.size());
            for (std::size_t i = 0; i < liveWedges.size(); ++i) {
                const std::int32_t w = liveWedges[i], s = lastWedgeStep[std::size_t(w)];
                output.cornerUVs[i] = s < 0 ? full.wedgeUVs[std::size_t(w)] : m_data->wedgeSteps[std::size_t(s)].uv;
            }
        }
        if (callbacks.progress) callbacks.progress(k, k);
        result.ok = true;
    } catch (...) {
        result = DecimationResult();
        result.error = "out of memory";
    }
    return result;
}

DecimationResult buildProgressiveMesh(const DecimationMesh& input, const DecimationOptions& options,
                                      ProgressiveMesh& progressive, const DecimationCallbacks& callbacks) {
    DecimationResult result;
    progressive.m_data.reset();
    try {
        auto d = std::make_unique<ProgressiveMesh::Data>();
        if (!buildWorkMesh(input, options, d->mesh, result.error)) return result;
        WorkMesh work = d->mesh;
        CollapseLog log;
        result = collapseEdges(work, options, std::max<std::int64_t>(options.targetVertices, 0), callbacks, &log);
        if (!result.ok) return result;
        d->steps = std::move(log.steps);
        d->wedgeSteps = std::move(log.wedgeSteps);
        progressive.m_data = std::move(d);
    } catch (...) {
        result = DecimationResult();
        result.error = "out of memory";
    }
    return result;
}
