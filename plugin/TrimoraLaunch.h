// Launch and progress commands: start the decimation application, follow its progress-bar file.
#pragma once

#include "KVString.h"
#include "PlugCall.h"

// Splits a joined command line "<application> <arguments>": the application path ends at the first
// blank after "TrimoraApp", so only its folder part may hold blanks; the blanks after it are skipped.
// Both parts are returned in their valid file-path form. False (both empty) without "TrimoraApp".
bool getTrimoraAppPathAndArguments(const KVString& commandLine, KVString& appPath, KVString& arguments);

extern "C" {

// LaunchTrimoraApp
//   text: path of the job configuration file (host path form accepted). Other arguments unused.
//   Creates the progress-bar file (path + ".running") and starts the decimation application with the
//   path as its only argument, asynchronously.
//   Result: 0.0 when the start was accepted; -1.0 for a null text, no application found in the
//   command line, a progress-bar file that cannot be created, or a refused start.
TRIMORA_EXPORT float LaunchTrimoraApp(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                      int outBuf2Size, char** hostData);

// LaunchTrimoraAppAndWait
//   text: as LaunchTrimoraApp. Despite its name it does not wait: the host script's loop over
//   TrimoraAppIsRunning and GetTrimoraAppProgressInfo does. Has its own launch counter.
//   Result: 0.0 when the start was accepted, -1.0 on the failures of LaunchTrimoraApp.
TRIMORA_EXPORT float LaunchTrimoraAppAndWait(char* text, double value, char* outBuf1, int outBuf1Size,
                                             char* outBuf2, int outBuf2Size, char** hostData);

// TrimoraAppIsRunning
//   No argument. Result: 1.0 while the last job's progress-bar file exists, else 0.0 (and the job
//   is forgotten, so later calls answer 0.0 at once).
TRIMORA_EXPORT float TrimoraAppIsRunning(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                         int outBuf2Size, char** hostData);

// GetTrimoraAppProgressInfo
//   outBuf1: at least 256 bytes. Text and number unused.
//   Result 1.0: outBuf1 holds at offset 0 a 32-bit float, the fraction done (0..1) or -1.0 when none
//   is known, and from offset 4 the 252 first bytes of the coloured progress line (NUL-terminated).
//   Result -1.0: no running task (file gone or task not started); outBuf1 untouched.
TRIMORA_EXPORT float GetTrimoraAppProgressInfo(char* text, double value, char* outBuf1, int outBuf1Size,
                                               char* outBuf2, int outBuf2Size, char** hostData);

}  // extern "C"
