// ProgressiveMesh: a recorded collapse history, its byte layout, and replay to any vertex count.
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>

#include "DecimationModel.h"

// Byte layout (little-endian; follows the cache file's 99-byte header)
// ---------------------------------------------------------------------
// offset  size        field
//  0      4           magic "TRPM"
//  4      4           version, 2
//  8      4           flags: 1 UVs (wedges), 2 colours, 4 mask; other bits must be 0
// 12      4           V  vertex count (welded full mesh)
// 16      4           T  triangle count
// 20      4           W  wedge count (0 without UVs)
// 24      4           K  collapse count
// 28      4           S  wedge-move count
// 32      12 V        positions, 3 floats each
//         4 V         colours 0xAARRGGBB            (flag 2)
//         1 V         mask values                   (flag 4)
//         0-3         zero bytes, up to a multiple of 4 from the start (flag 4)
//         12 T        triangles, 3 uint32 vertex ids
//         12 T        corner wedges, 3 uint32 each  (flag 1)
//         8 W         wedge UVs, 2 floats each      (flag 1)
//         32 K        collapses in order: removed, kept (uint32), kept's new position
//                     (3 floats), kept's new colour, end of its wedge moves (uint32, running),
//                     flags (uint32; 1 = the mirror collapse follows and belongs to this one)
//         16 S        wedge moves: from, to (uint32), to's new UV (2 floats)
// The buffer must be exactly this long. Every array starts 4-byte aligned, so a parsed buffer is
// read where it lies, without a copy. A parser checks every id against its count and replays the
// history's liveness: a collapse may only remove and keep vertices still present, a wedge move
// only rename live wedges, so replay never loops or reaches outside an array.

namespace {

using namespace trimora_decimation;

constexpr std::uint32_t kMagic = 0x4D505254;  // "TRPM"
constexpr std::uint32_t kVersion = 2;
constexpr std::uint32_t kFlagUVs = 1, kFlagColors = 2, kFlagMask = 4;
static_assert(sizeof(CollapseStep) == 32 && sizeof(WedgeStep) == 16 && sizeof(KVVector3f) == 12 &&
                  sizeof(KVVector2f) == 8,
              "records are stored raw");

std::size_t maskPadding(std::size_t vertices) { return (4 - vertices % 4) % 4; }

template <class T>
void put(std::vector<std::uint8_t>& out, const T* data, std::size_t count) {
    const std::uint8_t* b = reinterpret_cast<const std::uint8_t*>(data);
    out.insert(out.end(), b, b + count * sizeof(T));
}

// A byte vector kept alive by the pointer into it.
std::shared_ptr<const std::uint8_t> holding(std::vector<std::uint8_t>&& bytes) {
    auto kept = std::make_shared<std::vector<std::uint8_t>>(std::move(bytes));
    return std::shared_ptr<const std::uint8_t>(kept, kept->data());
}

}  // namespace

// The history lives in its serialised bytes (a vector of ours, or a cache file mapped by the
// application); the views point into them.
struct ProgressiveMesh::Data {
    std::shared_ptr<const std::uint8_t> bytes;
    std::size_t size = 0;
    std::size_t V = 0, T = 0, W = 0, K = 0, S = 0;
    const KVVector3f* positions = nullptr;
    const std::uint32_t* colors = nullptr;     // null without colours
    const std::uint8_t* mask = nullptr;        // null without a mask
    const std::int32_t* triangles = nullptr;
    const std::int32_t* wedges = nullptr;      // null without UVs
    const KVVector2f* wedgeUVs = nullptr;
    const CollapseStep* steps = nullptr;
    const WedgeStep* wedgeSteps = nullptr;

    // Checks `bytes` and points the views into it. False with `why` set when malformed.
    bool index(const char*& why);
};

bool ProgressiveMesh::Data::index(const char*& why) {
    const std::uint8_t* p = bytes.get();
    std::size_t left = size;
    auto fail = [&](const char* w) {
        why = w;
        return false;
    };
    std::uint32_t head[8];
    if (left < sizeof head) return fail("truncated header");
    if (reinterpret_cast<std::uintptr_t>(p) % alignof(std::uint32_t) != 0) return fail("bytes not 4-byte aligned");
    std::memcpy(head, p, sizeof head);
    if (head[0] != kMagic) return fail("not a progressive mesh");
    if (head[1] != kVersion) return fail("unknown version");
    const std::uint32_t flags = head[2];
    if (flags & ~(kFlagUVs | kFlagColors | kFlagMask)) return fail("unknown flags");
    V = head[3], T = head[4], W = head[5], K = head[6], S = head[7];
    if (V > std::size_t(INT32_MAX) || T > std::size_t(INT32_MAX) / 3 || W > std::size_t(INT32_MAX))
        return fail("counts too large");
    if (!(flags & kFlagUVs) && W) return fail("wedges without UVs");
    const std::uint64_t padding = (flags & kFlagMask) ? maskPadding(V) : 0;
    const std::uint64_t need = sizeof head + 12ull * V + ((flags & kFlagColors) ? 4ull * V : 0) +
                               ((flags & kFlagMask) ? V + padding : 0) + 12ull * T +
                               ((flags & kFlagUVs) ? 12ull * T + 8ull * W : 0) + 32ull * K + 16ull * S;
    if (need != left) return fail("size does not match the counts");
    std::size_t at = sizeof head;
    auto view = [&](auto*& out, std::size_t count) {
        using T = std::remove_const_t<std::remove_pointer_t<std::remove_reference_t<decltype(out)>>>;
        out = reinterpret_cast<const T*>(p + at);
        at += count * sizeof(T);
    };
    view(positions, V);
    colors = nullptr, mask = nullptr, wedges = nullptr, wedgeUVs = nullptr;
    if (flags & kFlagColors) view(colors, V);
    if (flags & kFlagMask) {
        view(mask, V);
        for (std::size_t i = 0; i < padding; ++i)
            if (p[at + i] != 0) return fail("padding not zero");
        at += padding;
    }
    view(triangles, 3 * T);
    if (flags & kFlagUVs) {
        view(wedges, 3 * T);
        view(wedgeUVs, W);
    }
    view(steps, K);
    view(wedgeSteps, S);
    // Unsigned compares: a negative id fails too.
    std::uint32_t worst = 0;
    for (std::size_t i = 0; i < 3 * T; ++i) worst = std::max(worst, std::uint32_t(triangles[i]));
    if (T && worst >= V) return fail("triangle index out of range");
    if (wedges) {
        worst = 0;
        for (std::size_t i = 0; i < 3 * T; ++i) worst = std::max(worst, std::uint32_t(wedges[i]));
        if (T && worst >= W) return fail("wedge index out of range");
    }
    std::vector<std::uint8_t> alive(V, 1), wedgeAlive(W, 1);
    std::uint32_t wedgeStart = 0;
    for (std::size_t k = 0; k < K; ++k) {
        const CollapseStep& s = steps[k];
        if (s.removed >= V || s.kept >= V || s.removed == s.kept || !alive[s.removed] || !alive[s.kept])
            return fail("collapse names a missing vertex");
        if (s.wedgeEnd < wedgeStart || s.wedgeEnd > S || (s.flags & ~kStepPairedWithNext))
            return fail("malformed collapse");
        alive[s.removed] = 0;
        for (std::uint32_t i = wedgeStart; i < s.wedgeEnd; ++i) {
            const WedgeStep& w = wedgeSteps[i];
            if (w.from >= W || w.to >= W || w.from == w.to || !wedgeAlive[w.from] || !wedgeAlive[w.to])
                return fail("malformed wedge move");
            wedgeAlive[w.from] = 0;
        }
        wedgeStart = s.wedgeEnd;
    }
    if (wedgeStart != S) return fail("unused wedge moves");
    return true;
}

ProgressiveMesh::ProgressiveMesh() = default;
ProgressiveMesh::~ProgressiveMesh() = default;
ProgressiveMesh::ProgressiveMesh(ProgressiveMesh&&) noexcept = default;
ProgressiveMesh& ProgressiveMesh::operator=(ProgressiveMesh&&) noexcept = default;

bool ProgressiveMesh::empty() const { return !m_data; }
std::int64_t ProgressiveMesh::fullVertexCount() const { return m_data ? std::int64_t(m_data->V) : 0; }
std::int64_t ProgressiveMesh::baseVertexCount() const { return m_data ? std::int64_t(m_data->V - m_data->K) : 0; }

bool ProgressiveMesh::serialize(std::vector<std::uint8_t>& buffer) const {
    if (!m_data) return false;
    try {
        buffer.insert(buffer.end(), m_data->bytes.get(), m_data->bytes.get() + m_data->size);
        return true;
    } catch (...) {
        return false;
    }
}

bool ProgressiveMesh::parse(const std::uint8_t* data, std::size_t size, std::string* error) {
    m_data.reset();
    if (!data && size) {
        if (error) *error = "no data";
        return false;
    }
    try {
        return parse(holding(std::vector<std::uint8_t>(data, data + size)), size, error);
    } catch (...) {
        if (error) *error = "out of memory";
        return false;
    }
}

bool ProgressiveMesh::parse(std::shared_ptr<const std::uint8_t> bytes, std::size_t size, std::string* error) {
    m_data.reset();
    try {
        auto d = std::make_unique<Data>();
        d->bytes = std::move(bytes);
        d->size = d->bytes ? size : 0;
        const char* why = nullptr;
        if (!d->index(why)) {
            if (error) *error = why;
            return false;
        }
        m_data = std::move(d);
        return true;
    } catch (...) {
        if (error) *error = "out of memory";
        return false;
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
        const Data& d = *m_data;
        const CollapseStep* steps = d.steps;
        const std::int64_t V = std::int64_t(d.V), K = std::int64_t(d.K);
        std::int64_t k = std::min<std::int64_t>(std::max<std::int64_t>(V - targetVertices, 0), K);
        while (k > 0 && k < K && (steps[k - 1].flags & kStepPairedWithNext)) ++k;
        if (callbacks.progress && !callbacks.progress(0, k)) {
            result.cancelled = true;
            result.error = "cancelled";
            return result;
        }
        // Only the replayed prefix's vertices and wedges change: positions, colours and UVs are
        // read through the last step that set them (-1: unchanged) instead of copying the full
        // arrays, and only the surviving triangles are gathered.
        std::vector<std::int32_t> parent(static_cast<std::size_t>(V)), wedgeParent(d.W);
        for (std::int32_t i = 0; i < std::int32_t(V); ++i) parent[i] = i;
        for (std::size_t i = 0; i < wedgeParent.size(); ++i) wedgeParent[i] = std::int32_t(i);
        std::vector<std::int32_t> lastStep(static_cast<std::size_t>(V), -1), lastWedgeStep(d.W, -1);
        std::uint32_t wedgeStart = 0;
        for (std::int64_t i = 0; i < k; ++i) {
            const CollapseStep& s = steps[i];
            lastStep[s.kept] = std::int32_t(i);
            for (std::uint32_t j = wedgeStart; j < s.wedgeEnd; ++j) lastWedgeStep[d.wedgeSteps[j].to] = std::int32_t(j);
            wedgeStart = s.wedgeEnd;
        }
        // Where each removed vertex and renamed wedge ends up, resolved backwards in one sweep: a
        // step's kept vertex (target wedge) is either final or removed by a later step, whose
        // answer is already known.
        for (std::int64_t i = k; i-- > 0;) parent[steps[i].removed] = parent[steps[i].kept];
        for (std::uint32_t j = wedgeStart; j-- > 0;) {
            const WedgeStep& w = d.wedgeSteps[j];
            wedgeParent[w.from] = wedgeParent[w.to];
        }
        const bool uvs = d.wedges != nullptr;
        std::vector<std::int32_t> liveTriangles, liveWedges;
        std::vector<std::int32_t> map(std::size_t(V), -1);
        for (std::size_t t = 0; t < 3 * d.T; t += 3) {
            std::int32_t a = parent[d.triangles[t]], b = parent[d.triangles[t + 1]], c = parent[d.triangles[t + 2]];
            if (a == b || b == c || a == c) continue;
            liveTriangles.insert(liveTriangles.end(), {a, b, c});
            map[a] = map[b] = map[c] = 0;
            if (uvs)
                for (int j = 0; j < 3; ++j) liveWedges.push_back(wedgeParent[d.wedges[t + j]]);
        }
        // The same layout as writeOutput: vertices in id order, triangles in stored order.
        output = DecimationMesh();
        std::int32_t count = 0;
        for (std::int32_t& i : map)
            if (i == 0) i = count++;
        output.points.resize(std::size_t(count));
        if (d.colors) output.colors.resize(std::size_t(count));
        if (d.mask) output.mask.resize(std::size_t(count));
        for (std::size_t v = 0; v < map.size(); ++v) {
            if (map[v] < 0) continue;
            const std::int32_t s = lastStep[v];
            output.points[std::size_t(map[v])] = s < 0 ? d.positions[v] : steps[std::size_t(s)].position;
            if (d.colors) output.colors[std::size_t(map[v])] = s < 0 ? d.colors[v] : steps[std::size_t(s)].color;
            if (d.mask) output.mask[std::size_t(map[v])] = d.mask[v];
        }
        output.triangles.resize(liveTriangles.size());
        for (std::size_t i = 0; i < liveTriangles.size(); ++i) output.triangles[i] = map[std::size_t(liveTriangles[i])];
        if (uvs) {
            output.cornerUVs.resize(liveWedges.size());
            for (std::size_t i = 0; i < liveWedges.size(); ++i) {
                const std::int32_t w = liveWedges[i], s = lastWedgeStep[std::size_t(w)];
                output.cornerUVs[i] = s < 0 ? d.wedgeUVs[std::size_t(w)] : d.wedgeSteps[std::size_t(s)].uv;
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
        WorkerPool pool(jobThreads(options));
        WorkMesh work;
        if (!buildWorkMesh(input, options, work, result.error, pool)) return result;
        orderSpatially(work);
        // The full mesh goes into the bytes before the collapses change it.
        auto d = std::make_unique<ProgressiveMesh::Data>();
        std::vector<std::uint8_t> out;
        const std::uint32_t flags = (work.wedges.empty() ? 0 : kFlagUVs) | (work.colors.empty() ? 0 : kFlagColors) |
                                    (work.mask.empty() ? 0 : kFlagMask);
        std::uint32_t head[8] = {kMagic, kVersion, flags, std::uint32_t(work.positions.size()),
                                 std::uint32_t(work.triangles.size() / 3), std::uint32_t(work.wedgeUVs.size()), 0, 0};
        put(out, head, 8);
        put(out, work.positions.data(), work.positions.size());
        put(out, work.colors.data(), work.colors.size());
        put(out, work.mask.data(), work.mask.size());
        if (!work.mask.empty()) out.insert(out.end(), maskPadding(work.mask.size()), std::uint8_t(0));
        put(out, work.triangles.data(), work.triangles.size());
        put(out, work.wedges.data(), work.wedges.size());
        put(out, work.wedgeUVs.data(), work.wedgeUVs.size());
        CollapseLog log;
        result = collapseEdges(work, options, std::max<std::int64_t>(options.targetVertices, 0), callbacks, &log, pool);
        if (!result.ok) return result;
        const std::uint32_t counts[2] = {std::uint32_t(log.steps.size()), std::uint32_t(log.wedgeSteps.size())};
        std::memcpy(out.data() + 24, counts, sizeof counts);
        put(out, log.steps.data(), log.steps.size());
        put(out, log.wedgeSteps.data(), log.wedgeSteps.size());
        d->size = out.size();
        d->bytes = holding(std::move(out));
        const char* why = nullptr;
        if (!d->index(why)) {
            result = DecimationResult();
            result.error = std::string("inconsistent history: ") + why;
            return result;
        }
        progressive.m_data = std::move(d);
    } catch (...) {
        result = DecimationResult();
        result.error = "out of memory";
    }
    return result;
}
