// Start-up commands: the application path, the default thread count, and the plug-in's start.
#pragma once

#include "KVString.h"
#include "PlugCall.h"

// Full path of the decimation application, null until SetTrimoraAppPath; read by the launch commands.
extern KVString gAppFullPath;

extern "C" {

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
