// Start-up commands: the application path, the default thread count, and the plug-in's start.
#pragma once

#include "KVString.h"
#include "PlugCall.h"

// Full path of the decimation application, null until SetTrimoraAppPath; read by the launch commands.
extern KVString gAppFullPath;

extern "C" {

// InitTrimora
//   text: the plug-in's temporary folder ("file:" and volume prefixes are cut; a trailing "/"
//         is dropped when stored, so a repeated text ending with "/" initialises again).
//   value: unused.
//   outBuf1: receives five 32-bit floats (20 bytes), read from "YDecimator.ypr" in the folder
//         or the defaults: UniformMesh (1.2 / 0.2), thread count + 0.2, ColorRatio as is,
//         CleanAtStart (1.2 / 0.2), BackgroundPreprocess (1.2 / 0.2).
//   Then removes the left-over job files of the folder (".ydc", ".log", ".running", ".ymesh",
//   ".data", ".kel", ".obj", ".obj.colors", and ".ypm" when CleanAtStart).
//   Result: 1.2 after a full initialisation; 0.2 when the folder is the one already set
//   (nothing written, nothing removed); 0.0 for a null or empty text.
TRIMORA_EXPORT float InitTrimora(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                 int outBuf2Size, char** hostData);

// SetTrimoraAppPath
//   text: full path of the decimation application (null clears it).
//   Result: always 0.0.
TRIMORA_EXPORT float SetTrimoraAppPath(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                       int outBuf2Size, char** hostData);

// GetDefaultNumThreads
//   No argument. Result: the default worker count for this machine, as a float, no bias.
TRIMORA_EXPORT float GetDefaultNumThreads(char* text, double value, char* outBuf1, int outBuf1Size,
                                          char* outBuf2, int outBuf2Size, char** hostData);

}  // extern "C"
