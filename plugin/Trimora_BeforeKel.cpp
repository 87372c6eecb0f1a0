// Import-time hooks.
#include "Trimora_BeforeKel.h"

#include <cstring>

#include "PlastraHelper/PlastraHelper.h"

float s_savedImportedScaleFactor[3] = {0.0f, 0.0f, 0.0f};
float s_savedImportedOffset[3] = {0.0f, 0.0f, 0.0f};

namespace {

// The host's vectors sit inside its mesh record: copied in and out, never read in place.
void readHost(const float* host, float out[3]) { std::memcpy(out, host, 3 * sizeof(float)); }
void writeHost(float* host, const float in[3]) { std::memcpy(host, in, 3 * sizeof(float)); }

}  // namespace

TRIMORA_COMMAND_OR(BeforeGetMeshUVInfo, 0.0f) { return 0.0f; }

TRIMORA_COMMAND_OR(AfterGetMeshUVInfo, 0.0f) { return 0.0f; }

TRIMORA_COMMAND_OR(SaveAndClearImportedScaleFactorAndOffset, 0.0f) {
    PlastraHelper::init(a.hostData);
    if (!PlastraHelper::s_meshIsValid) return 0.0f;
    if (float* scale = PlastraHelper::s_importedScaleFactor) {
        float host[3];
        readHost(scale, host);
        // A 0 axis keeps the saved value; NaN is not 0 and is saved.
        for (int i = 0; i < 3; ++i)
            if (host[i] != 0.0f) s_savedImportedScaleFactor[i] = host[i];
        const float one[3] = {1.0f, 1.0f, 1.0f};
        writeHost(scale, one);
    }
    if (float* offset = PlastraHelper::s_importedOffset) {
        readHost(offset, s_savedImportedOffset);
        const float zero[3] = {0.0f, 0.0f, 0.0f};
        writeHost(offset, zero);
    }
    return 0.0f;
}

TRIMORA_COMMAND_OR(RestoreImportedScaleFactorAndOffset, 0.0f) {
    PlastraHelper::init(a.hostData);
    if (!PlastraHelper::s_meshIsValid) return 0.0f;
    if (float* scale = PlastraHelper::s_importedScaleFactor) {
        float host[3];
        readHost(scale, host);
        for (int i = 0; i < 3; ++i)
            if (host[i] != 0.0f) host[i] = s_savedImportedScaleFactor[i];
        writeHost(scale, host);
    }
    if (float* offset = PlastraHelper::s_importedOffset) writeHost(offset, s_savedImportedOffset);
    return 0.0f;
}
