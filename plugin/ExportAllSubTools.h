// Sub-tool OBJ export: the host's current mesh streamed into one OBJ file, one sub-tool per command series.
#pragma once

#include <cstdint>
#include <cstdio>

#include "KVArray.h"
#include "KVString.h"
#include "PlugCall.h"

// Streaming state, kept between commands. A handle that is not open is null or
// KVDiskServer::s_invalidFile.
extern FILE* s_exportAll_File;
extern FILE* s_exportAll_MatFile;
extern bool s_exportAll_HasTexture;
extern KVString s_exportAll_TextureName;             // texture of the current sub-tool; may be null
extern std::int32_t s_exportAll_curSubToolIndex;     // sub-tool whose faces come next, from 0
extern KVArray<KVString> s_exportAll_subToolNames;   // text of each vertices call
extern KVArray<std::int32_t> s_exportAll_NumVertices;
extern KVArray<std::int32_t> s_exportAll_VertexOffset;
extern KVArray<std::int32_t> s_exportAll_NumUVs;     // 4 per UV link
extern KVArray<std::int32_t> s_exportAll_UVOffset;
extern bool s_eFlipX, s_eFlipY, s_eFlipZ, s_eSwitchYZ;
extern float s_exportAllSubTools_ScaleFactor[3];     // host's import scale at the last vertices call
extern float s_exportAllSubTools_Offset[3];          // host's import offset at the last vertices call

// Calling order: DeclareToolHasTexture (optional), StartExportAllSubTools; per sub-tool, with it
// current in the host: ExportOneSubToolVertices, ExportOneSubToolUVs (also without UVs),
// DeclareTextureName (optional), ExportOneSubToolFaces; then EndExportAllSubTools. Every command
// returns 0.0 and writes nothing into outBuf1 or outBuf2. The host's mesh is read through hostData
// (PlastraHelper::init); without a valid mesh the per-sub-tool commands do nothing.
extern "C" {

// DeclareToolHasTexture
//   value: > 0.5 turns materials on for the next export; otherwise off.
TRIMORA_EXPORT float DeclareToolHasTexture(char* text, double value, char* outBuf1, int outBuf1Size,
                                           char* outBuf2, int outBuf2Size, char** hostData);

// StartExportAllSubTools
//   text: OBJ path (a "file:" prefix or volume name is dropped). Closes an export in progress,
//   opens the OBJ file ("w") and, with materials on, the MTL file beside it (last three characters
//   -> "mtl"), naming it in a "mtllib" line; an MTL file that cannot be opened turns materials off.
//   value: flag bits after truncation: 1 negates x, 2 negates y, 4 negates z, 8 exchanges y and z.
//   When the OBJ file cannot be opened nothing else changes.
TRIMORA_EXPORT float StartExportAllSubTools(char* text, double value, char* outBuf1, int outBuf1Size,
                                            char* outBuf2, int outBuf2Size, char** hostData);

// ExportOneSubToolVertices
//   text: the sub-tool's name (recorded, not written). hostData: the host's table.
//   Writes "v" lines: y/z exchanged, then x, y, z negated as flagged, then (c - offset) / scale
//   with the host's import offset and scale (a 0 scale counts as 1).
TRIMORA_EXPORT float ExportOneSubToolVertices(char* text, double value, char* outBuf1, int outBuf1Size,
                                              char* outBuf2, int outBuf2Size, char** hostData);

// ExportOneSubToolUVs
//   hostData: the host's table. Writes four "vt" lines per UV link, as stored.
TRIMORA_EXPORT float ExportOneSubToolUVs(char* text, double value, char* outBuf1, int outBuf1Size,
                                         char* outBuf2, int outBuf2Size, char** hostData);

// DeclareTextureName
//   text: texture path of the current sub-tool (kept for the following sub-tools too).
//   hostData: the host's table. Writes its "newmtl" and "map_Kd" lines (host 3.1: "defaultMat").
TRIMORA_EXPORT float DeclareTextureName(char* text, double value, char* outBuf1, int outBuf1Size,
                                        char* outBuf2, int outBuf2Size, char** hostData);

// ExportOneSubToolFaces
//   hostData: the host's table. Writes "g subtool<n>", its "usemtl" line when a texture is
//   declared (host 3.1: only the first textured sub-tool gets one), and the faces with 1-based
//   global indices, with UV references only when the mesh has one UV link per face. Then the next
//   sub-tool's turn begins.
TRIMORA_EXPORT float ExportOneSubToolFaces(char* text, double value, char* outBuf1, int outBuf1Size,
                                           char* outBuf2, int outBuf2Size, char** hostData);

// EndExportAllSubTools
//   Closes the OBJ and MTL files; nothing when no export is in progress.
TRIMORA_EXPORT float EndExportAllSubTools(char* text, double value, char* outBuf1, int outBuf1Size,
                                          char* outBuf2, int outBuf2Size, char** hostData);

}  // extern "C"
