// Mesh registry commands: declared mesh files, their textures, and bounding boxes in host memory.
#pragma once

#include "PlugCall.h"

extern "C" {

// StartDeclareKelFiles
//   No argument. Empties the declared lists and clears the current file name.
//   Result: 0.0.
TRIMORA_EXPORT float StartDeclareKelFiles(char* text, double value, char* outBuf1, int outBuf1Size,
                                          char* outBuf2, int outBuf2Size, char** hostData);

// AddOneKelFile
//   text: mesh file path (null gives a null entry). Appends it, visible, with no texture and no
//   output file. Result: 0.0.
TRIMORA_EXPORT float AddOneKelFile(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                   int outBuf2Size, char** hostData);

// SetTextureFileNameForLastKel
//   text: texture file path. Becomes the texture of the last declared file. When its extension
//   (after the last '.') is not the texture extension (SetTextureExt, no case), the image is
//   converted beside it with the texture quality; on success the source file is deleted and the
//   converted name is kept instead. Nothing when no file is declared. Result: 0.0.
TRIMORA_EXPORT float SetTextureFileNameForLastKel(char* text, double value, char* outBuf1, int outBuf1Size,
                                                  char* outBuf2, int outBuf2Size, char** hostData);

// DeclareLastKelInvisible
//   No argument. Marks the last declared file hidden; nothing when none. Result: 0.0.
TRIMORA_EXPORT float DeclareLastKelInvisible(char* text, double value, char* outBuf1, int outBuf1Size,
                                             char* outBuf2, int outBuf2Size, char** hostData);

// DeclareLastKelOutputFile
//   text: output path, kept in its valid-file-path form, for the last declared file; nothing
//   when none. Result: 0.0.
TRIMORA_EXPORT float DeclareLastKelOutputFile(char* text, double value, char* outBuf1, int outBuf1Size,
                                              char* outBuf2, int outBuf2Size, char** hostData);

// SetCurrentKelFile
//   text: the mesh file the host works on now (null clears it). Result: 0.0.
TRIMORA_EXPORT float SetCurrentKelFile(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                       int outBuf2Size, char** hostData);

// EndDeclareKelFiles
//   No argument; closes the pass, the lists stay. Result: 0.0.
TRIMORA_EXPORT float EndDeclareKelFiles(char* text, double value, char* outBuf1, int outBuf1Size,
                                        char* outBuf2, int outBuf2Size, char** hostData);

// DeleteDeclaredKelFiles
//   No argument. Deletes every declared file, in order; failures are not reported and the names
//   stay declared. Result: 0.0.
TRIMORA_EXPORT float DeleteDeclaredKelFiles(char* text, double value, char* outBuf1, int outBuf1Size,
                                            char* outBuf2, int outBuf2Size, char** hostData);

// SetTextureExt
//   text: the texture extension wanted, without dot ("bmp" until set). Result: 0.0.
TRIMORA_EXPORT float SetTextureExt(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                   int outBuf2Size, char** hostData);

// SetTextureQuality
//   value + 0.1, truncated: the quality handed to the converter (100 until set). Result: 0.0.
TRIMORA_EXPORT float SetTextureQuality(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                       int outBuf2Size, char** hostData);

// Boxes in host memory are six floats: min x, y, z, max x, y, z (24 bytes, any alignment).
// An emptied box has min x = 0.0 and max x = -1.0; its other four floats are left alone.

// InitBBox3D
//   value + 0.1, truncated: box index; outBuf1: array of boxes. Empties the box at 24 x index
//   bytes (a negative index writes nothing). Result: -1.0 for a null outBuf1, else 0.0.
TRIMORA_EXPORT float InitBBox3D(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                int outBuf2Size, char** hostData);

// AddBBox3D
//   outBuf1: two boxes. Adds box 1 (bytes 24-47) into box 0 (bytes 0-23): an empty box 0 takes
//   box 1 whole; otherwise box 1's min and max points are added, box 1 unchecked for emptiness.
//   Result: -1.0 for a null outBuf1, else 0.0.
TRIMORA_EXPORT float AddBBox3D(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                               int outBuf2Size, char** hostData);

// GetBBoxFromKelFile
//   text: mesh file path; value + 0.1, truncated: byte offset (not a box index) into outBuf1.
//   Empties the box there, then fills it with the points of the file's first Points block.
//   Result: 0.0 when filled; -1.0 for a null outBuf1, a negative offset, or a file whose box
//   cannot be read.
TRIMORA_EXPORT float GetBBoxFromKelFile(char* text, double value, char* outBuf1, int outBuf1Size,
                                        char* outBuf2, int outBuf2Size, char** hostData);

}  // extern "C"
