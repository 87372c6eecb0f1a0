// The decimation engine: reduces a triangle mesh to a vertex target under the job's constraints.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "DecimationMesh.h"

enum class SymmetryMode { None = 0, X = 1, Y = 2, Z = 3, Automatic = 4 };

// How a plain reduction is done. Automatic: meshopt_simplify takes the bulk and our engine
// finishes when the job asks nothing meshoptimizer cannot honour, our engine alone otherwise.
enum class ReductionPath { Automatic = 0, Engine = 1, MeshoptFirst = 2 };

struct DecimationOptions {
    // Vertices wanted in the result (reached within 1% when the constraints allow it).
    std::int64_t targetVertices = 0;
    bool freezeBorder = false;        // open-border vertices keep their exact positions
    bool keepUVs = false;             // carry per-corner UVs, keep seams
    bool useColors = false;           // carry colours and weigh colour detail
    float colorCoef = 50.0f;          // weight of colour detail, 0..100
    bool useMask = false;             // masked vertices do not move
    SymmetryMode symmetry = SymmetryMode::None;
    bool avoidNormalReverse = true;   // no collapse may flip a face
    bool protectTopology = true;      // no collapse may create a non-manifold edge
    int numThreads = 1;
    ReductionPath path = ReductionPath::Automatic;
    // Meshopt-first only: meshopt_simplify stops at this many times the target, our engine takes
    // the rest (0: the measured default, kMeshoptHandoff).
    float meshoptHandoff = 0.0f;
};

constexpr float kMeshoptHandoff = 2.0f;

// The path decimateMesh takes for `input` under `options`: Engine or MeshoptFirst.
ReductionPath chooseReductionPath(const DecimationMesh& input, const DecimationOptions& options);

// Progress and cancel: `progress` receives done/total work units; returning false cancels.
struct DecimationCallbacks {
    std::function<bool(std::int64_t done, std::int64_t total)> progress;
};

struct DecimationResult {
    bool ok = false;
    bool cancelled = false;
    std::string error;
};

// Reduces `input` into `output` (which may not alias it). Never throws.
DecimationResult decimateMesh(const DecimationMesh& input, const DecimationOptions& options,
                              DecimationMesh& output, const DecimationCallbacks& callbacks = {});

// The collapse history of one mesh, built once: replaying a prefix of it gives the mesh at any
// vertex count between the input's and the base's, far faster than decimating again.
class ProgressiveMesh {
public:
    ProgressiveMesh();
    ~ProgressiveMesh();
    ProgressiveMesh(ProgressiveMesh&&) noexcept;
    ProgressiveMesh& operator=(ProgressiveMesh&&) noexcept;

    // Welded vertex count of the full mesh, and of the smallest mesh the history reaches.
    std::int64_t fullVertexCount() const;
    std::int64_t baseVertexCount() const;
    bool empty() const;

    // Appends the history to `buffer` (layout in ProgressiveMesh.cpp). Never throws; false when
    // the history is empty or memory runs out.
    bool serialize(std::vector<std::uint8_t>& buffer) const;
    // Reads `size` bytes at `data` (may be null when size is 0), treated as hostile: every count
    // and index is checked against the buffer and the history. False with `error` set on failure,
    // leaving this object empty.
    bool parse(const std::uint8_t* data, std::size_t size, std::string* error = nullptr);
    // The same, reading `size` bytes where they lie (4-byte aligned, such as a mapped file) and
    // keeping them alive through `bytes`.
    bool parse(std::shared_ptr<const std::uint8_t> bytes, std::size_t size, std::string* error = nullptr);

    // Replays the history to `targetVertices` (clamped to [base, full]) into `output`. Never throws.
    DecimationResult decimate(std::int64_t targetVertices, DecimationMesh& output,
                              const DecimationCallbacks& callbacks = {}) const;

    struct Data;

private:
    std::unique_ptr<Data> m_data;
    friend DecimationResult buildProgressiveMesh(const DecimationMesh&, const DecimationOptions&,
                                                 ProgressiveMesh&, const DecimationCallbacks&);
};

// Records the collapse history of `input` under `options` down to options.targetVertices (0: as
// far as the constraints allow). Never throws.
DecimationResult buildProgressiveMesh(const DecimationMesh& input, const DecimationOptions& options,
                                      ProgressiveMesh& progressive,
                                      const DecimationCallbacks& callbacks = {});
