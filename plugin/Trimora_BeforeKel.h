// Import-time hooks: the host script calls these around its own mesh import and UV query.
#pragma once

#include "PlugCall.h"

// Scale and offset saved by the last SaveAndClearImportedScaleFactorAndOffset; zeros at first.
extern float s_savedImportedScaleFactor[3];
extern float s_savedImportedOffset[3];

extern "C" {

// BeforeGetMeshUVInfo
//   Marks the start of the host's UV query; uses no argument and does nothing. Result: 0.0.
TRIMORA_EXPORT float BeforeGetMeshUVInfo(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                         int outBuf2Size, char** hostData);

// AfterGetMeshUVInfo
//   Marks its end; uses no argument and does nothing. Result: 0.0.
TRIMORA_EXPORT float AfterGetMeshUVInfo(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                        int outBuf2Size, char** hostData);

// SaveAndClearImportedScaleFactorAndOffset
//   hostData: the host's table; the current mesh's import scale and offset are changed in place.
//   Saves each scale component that is not exactly 0 (the others keep their saved value) and the
//   whole offset, then sets the host's scale to (1, 1, 1) and offset to (0, 0, 0). Nothing when
//   the host has no valid mesh. Result: 0.0.
TRIMORA_EXPORT float SaveAndClearImportedScaleFactorAndOffset(char* text, double value, char* outBuf1,
                                                              int outBuf1Size, char* outBuf2, int outBuf2Size,
                                                              char** hostData);

// RestoreImportedScaleFactorAndOffset
//   hostData: the host's table. Each host scale component that is not exactly 0 takes the saved
//   one (a 0 stays 0); the offset takes the saved offset whole. Nothing when the host has no
//   valid mesh. Result: 0.0.
TRIMORA_EXPORT float RestoreImportedScaleFactorAndOffset(char* text, double value, char* outBuf1,
                                                         int outBuf1Size, char* outBuf2, int outBuf2Size,
                                                         char** hostData);

}  // extern "C"
