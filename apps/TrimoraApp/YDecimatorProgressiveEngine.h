// YDecimatorProgressiveEngine: the progressive-mesh calls the application makes on the engine.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "DecimationEngine.h"

// Build once, keep the bytes in a cache, decimate to any target later. The bytes are opaque to
// the application and hostile when they come back from a file.
namespace YDecimatorProgressiveEngine {

// Records the collapse history of `mesh` down to `minVertices` under `options` (its target is
// ignored) and serialises it into `bytes`.
DecimationResult build(const DecimationMesh& mesh, const DecimationOptions& options, std::int64_t minVertices,
                       std::vector<std::uint8_t>& bytes, const DecimationCallbacks& callbacks);

// Parses the `size` bytes at `bytes` where they lie (no copy: caches run to tens of megabytes)
// and replays the history to options.targetVertices into `output`; the other options were fixed
// when the history was built.
DecimationResult decimate(std::shared_ptr<const std::uint8_t> bytes, std::size_t size, const DecimationOptions& options,
                          DecimationMesh& output, const DecimationCallbacks& callbacks);

}  // namespace YDecimatorProgressiveEngine
