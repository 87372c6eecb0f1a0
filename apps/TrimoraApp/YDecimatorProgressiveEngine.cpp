// YDecimatorProgressiveEngine: the progressive-mesh calls the application makes on the engine.
#include "YDecimatorProgressiveEngine.h"

#include <utility>

namespace YDecimatorProgressiveEngine {

DecimationResult build(const DecimationMesh& mesh, const DecimationOptions& options, std::int64_t minVertices,
                       std::vector<std::uint8_t>& bytes, const DecimationCallbacks& callbacks) {
    bytes.clear();
    DecimationOptions buildOptions = options;
    buildOptions.targetVertices = minVertices;
    ProgressiveMesh progressive;
    DecimationResult result = buildProgressiveMesh(mesh, buildOptions, progressive, callbacks);
    if (!result.ok) return result;
    if (!progressive.serialize(bytes)) {
        result.ok = false;
        result.error = "the progressive mesh could not be serialised";
    }
    return result;
}

DecimationResult decimate(std::shared_ptr<const std::uint8_t> bytes, std::size_t size, const DecimationOptions& options,
                          DecimationMesh& output, const DecimationCallbacks& callbacks) {
    ProgressiveMesh progressive;
    std::string error;
    if (!progressive.parse(std::move(bytes), size, &error)) {
        DecimationResult result;
        result.error = "progressive-mesh data malformed" + (error.empty() ? std::string() : ": " + error);
        return result;
    }
    return progressive.decimate(options.targetVertices, output, callbacks);
}

}  // namespace YDecimatorProgressiveEngine
