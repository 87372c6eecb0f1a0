// The decimation engine: reduces a triangle mesh to a vertex target under the job's constraints.
#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "DecimationMesh.h"

enum class SymmetryMode { None = 0, X = 1, Y = 2, Z = 3, Automatic = 4 };

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
};

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
