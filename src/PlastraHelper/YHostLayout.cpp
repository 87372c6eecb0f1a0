// The per-build position tables.
#include "YHostLayout.h"

namespace ylayout {

const YTextureLayout kTexture31 = {184, 56, 52, 78, 80, 72, true};
const YTextureLayout kTexture312B46 = {176, 64, 60, 86, 72, 68, false};

const YMeshLayout kMesh = {0, 4, 8, 12, 16, 24, 32, 40, 48, 56, 64, 76};

// build, parent, child, next, prev, info, text, pull-down count, items, active view, mesh, ...
const YHostLayout kBuild31 = {"3.1", 144, 152, 160, 168, 224, 240, 352, 360, 1008, 1200, &kTexture31, &kMesh, false};
// The texture holder of the 3.12 builds before B46 is not known: their texture stays unbound.
const YHostLayout kBuild312 = {"3.12", 128, 136, 144, 152, 208, 224, 336, 344, 1000, 1200, nullptr, &kMesh, false};
const YHostLayout kBuild312B27 = {"3.12 B27", 144, 152, 160, 168, 224, 240, 352, 360, 1016, 1200, nullptr, &kMesh, false};
const YHostLayout kBuild312B43 = {"3.12 B43", 136, 144, 152, 160, 216, 232, 344, 352, 1008, 1200, nullptr, &kMesh, false};
const YHostLayout kBuild312B46 = {"3.12 B46", 136, 144, 152, 160, 216, 232, 344, 352, 1008, 1200, &kTexture312B46, &kMesh, true};

}  // namespace ylayout
