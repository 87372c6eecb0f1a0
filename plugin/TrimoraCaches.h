// Progressive-mesh cache commands: source-mesh counts from cache headers, cache and result clean-up.
#pragma once

#include "KVArray.h"
#include "KVString.h"
#include "PlugCall.h"

// Folder of the ".ypm" caches, empty until DeclareProgMeshCachesDir.
extern KVString s_progMeshCachesDir;
// Caches the host asked to keep; recorded only, never consulted and never cleared.
extern KVArray<KVString> s_progMeshCachesToKeep;

extern "C" {

// GetPMeshOriginalKVertexCount
//   text: path of a ".ypm" cache. Result: the source mesh's vertex count / 1000.0 (thousands);
//   -1.0 when the file cannot be opened. A short file is not detected.
TRIMORA_EXPORT float GetPMeshOriginalKVertexCount(char* text, double value, char* outBuf1, int outBuf1Size,
                                                  char* outBuf2, int outBuf2Size, char** hostData);

// GetPMeshOriginalKTriangleCount
//   text: path of a ".ypm" cache. Result: the source mesh's triangle count / 1000.0; -1.0 when the
//   file cannot be opened.
TRIMORA_EXPORT float GetPMeshOriginalKTriangleCount(char* text, double value, char* outBuf1, int outBuf1Size,
                                                    char* outBuf2, int outBuf2Size, char** hostData);

// DeleteResultingKelFile
//   text: path of a result mesh file. Result: 0.0 when deleted; -1.0 for a null text or a failed
//   deletion.
TRIMORA_EXPORT float DeleteResultingKelFile(char* text, double value, char* outBuf1, int outBuf1Size,
                                            char* outBuf2, int outBuf2Size, char** hostData);

// DeclareProgMeshCachesDir
//   text: the caches folder; replaces the previous one (null forgets it). Result: 0.0.
TRIMORA_EXPORT float DeclareProgMeshCachesDir(char* text, double value, char* outBuf1, int outBuf1Size,
                                              char* outBuf2, int outBuf2Size, char** hostData);

// DeclareProgMeshCachesToKeep
//   text: path of a cache to keep; appended to the keep list. Result: 0.0.
TRIMORA_EXPORT float DeclareProgMeshCachesToKeep(char* text, double value, char* outBuf1, int outBuf1Size,
                                                 char* outBuf2, int outBuf2Size, char** hostData);

// DeleteAllProgMeshCaches
//   No argument. Deletes every file of the caches folder whose name ends with ".ypm" (any case),
//   kept or not; sub-folders are not entered.
//   Result: the number of deletions tried, as a float; 0.0 when no folder is declared.
TRIMORA_EXPORT float DeleteAllProgMeshCaches(char* text, double value, char* outBuf1, int outBuf1Size,
                                             char* outBuf2, int outBuf2Size, char** hostData);

}  // extern "C"
