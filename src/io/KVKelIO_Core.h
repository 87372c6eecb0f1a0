// KVKelIO_Core: reading, writing and patching the binary mesh exchange files (".kel", magic "Kelb").
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>

#include "BBox.h"
#include "KVArray.h"
#include "KVString.h"
#include "KVVector.h"

// One block header: four 32-bit little-endian fields, read and written one by one.
// length counts the whole block, these 16 bytes included.
struct Kel_Header {
    std::uint32_t tag = 0;
    std::uint32_t length = 0;
    std::uint32_t count = 0;
    std::uint32_t reserved = 0;
};

// Every operation opens, walks and closes its own file and keeps nothing between calls.
// Files are treated as hostile: counts and lengths are checked against the bytes left in the
// file before anything is allocated, read or skipped, and nothing is written outside an array.
class KVKelIO_Core {
public:
    // Block tags.
    static constexpr std::uint32_t kTagEnd = 0;
    static constexpr std::uint32_t kTagPoints = 10001;  // count vertices, 12 bytes each
    static constexpr std::uint32_t kTagFace4 = 20001;   // count faces, 4 int32 indices each
    static constexpr std::uint32_t kTagUV4 = 25001;     // count faces, 4 (u, v) pairs each
    static constexpr std::uint32_t kTagMask = 30001;    // count vertices, 1 byte each
    static constexpr std::uint32_t kTagMRGB = 35001;    // count vertices, 4 bytes each
    static constexpr std::uint32_t kFileHeaderSize = 32;
    static constexpr std::uint32_t kBlockHeaderSize = 16;
    // Points held at once by readBBox, whatever the mesh size.
    static constexpr int kBBoxChunkPoints = 65536;

    KVKelIO_Core();

    // ---- Header operations on an open stream (file may be null: they then return false).

    // Reads 32 bytes; true only if all were read and the first four are "Kelb".
    static bool readFileHeader(FILE* file);
    // Reads the four fields; true only if all 16 bytes were read. `header` is left unspecified
    // on failure.
    static bool readBlockHeader(FILE* file, Kel_Header& header);
    // Seeks length - 16 bytes forward from the current position. False (and no move) when the
    // length is below 16 or the offset does not fit a signed 32-bit value; else the seek's status.
    static bool skipBlock(FILE* file, const Kel_Header& header);
    // Writes "Kelb" and 28 zero bytes; true only if 32 bytes were written.
    static bool writeFileHeader(FILE* file);
    // Writes the four fields; true only if 16 bytes were written.
    static bool writeBlockHeader(FILE* file, const Kel_Header& header);

    // ---- Readers. Each empties its output arrays on entry and returns false only when the file
    // cannot be opened or its 32-byte header is short or has the wrong magic; a truncated or
    // malformed block list after a valid header ends the walk with true and the arrays as far as
    // they were read (a block whose count the file cannot hold leaves its array empty).
    // Array sizes on success: points = count, faces and uvs = 4 x count, mask and colours = count.

    // First Points block.
    static bool readVertexBloc(const KVString& path, KVArray<KVVector3f>& points);
    // The Face4 block; hasUV tells whether any UV4 block stands before the end block.
    static bool readFace4Bloc(const KVString& path, KVArray<int>& faces, bool& hasUV);
    // The last UV4 block before the end block.
    static bool readUV4Bloc(const KVString& path, KVArray<KVVector2f>& uvs);
    // First MRGB block.
    static bool readMRGBBloc(const KVString& path, KVArray<unsigned int>& colors);
    // First Mask block.
    static bool readMaskBloc(const KVString& path, KVArray<unsigned char>& mask);
    // Points and Face4 in one pass; stops as soon as both are non-empty.
    static bool readVertexAndFace4Blocs(const KVString& path, KVArray<KVVector3f>& points,
                                        KVArray<int>& faces);
    // Points, Face4 and MRGB wherever they stand, up to the end block.
    static bool readVertexAndFace4AndMRGBBlocs(const KVString& path, KVArray<KVVector3f>& points,
                                               KVArray<int>& faces, KVArray<unsigned int>& colors);
    // Points, Face4 and UV4 wherever they stand, up to the end block.
    static bool readVtxFace4AndUV4Blocs(const KVString& path, KVArray<KVVector3f>& points,
                                        KVArray<int>& faces, KVArray<KVVector2f>& uvs);
    // Points, Face4, UV4 and MRGB wherever they stand, up to the end block.
    static bool readVtxFace4UV4AndMRGBBlocs(const KVString& path, KVArray<KVVector3f>& points,
                                            KVArray<int>& faces, KVArray<KVVector2f>& uvs,
                                            KVArray<unsigned int>& colors);

    // ---- Streaming readers: the same file walk, log lines and elements as readVertexBloc,
    // readFace4Bloc and readUV4Bloc, handed to `sink` in order, at most `chunk` elements (faces
    // for the Face4 block, four indices each) at a time through one buffer, so that a mesh of any
    // size is read with a fixed amount of memory. The result is as the readers' result.
    static bool streamVertexBloc(const KVString& path, int chunk,
                                 const std::function<void(const KVVector3f*, int)>& sink);
    // `sink` receives indices, four per face; hasUV as readFace4Bloc sets it, known before the
    // first call to `sink`.
    static bool streamFace4Bloc(const KVString& path, int chunk, bool& hasUV,
                                const std::function<void(const int*, int)>& sink);
    static bool streamUV4Bloc(const KVString& path, int chunk,
                              const std::function<void(const KVVector2f*, int)>& sink);

    // Bounding box of the first Points block, streamed through one buffer of 65,536 points
    // (786,432 bytes) whatever the count. The box is emptied first. False when the file cannot be
    // opened, has a bad header, has no Points block before the end, or holds fewer points than
    // the block's count (the box then holds the points read so far).
    static bool readBBox(const KVString& path, BBox& box);

    // ---- Writers and in-place replacement.

    // A new file ("wb") holding the file header, one MRGB block with all of `colors` and the end
    // block. On any failure the file is deleted and the result is false.
    static bool writeMRGBBloc(const KVString& path, KVArray<unsigned int>& colors);
    // Overwrites the payload of every MRGB block whose count equals colors.getCount().
    // True if at least one payload was written whole.
    static bool replaceColorBlocInFile(const KVString& path, const KVArray<unsigned int>& colors);
    // Overwrites the payload of every UV4 block whose 4 x count equals uvs.getCount().
    // True if at least one payload was written whole.
    static bool replaceUV4BlocInFile(const KVString& path, const KVArray<KVVector2f>& uvs);

    // ---- Colour conversions (MRGB: bits 0-7 blue, 8-15 green, 16-23 red, 24-31 M).

    // out gets one colour per value: (red, green, blue) / 255. The M byte is ignored.
    static void convertMRGBBlocToColors3f(KVArray<KVVector3f>& out, const KVArray<unsigned int>& in);
    // out gets one value per colour: each component x 255, truncated, low 8 bits; M is 0.
    // Components outside 0..1 are not clamped.
    static void convertColors3fToMRGBBloc(KVArray<unsigned int>& out, const KVArray<KVVector3f>& in);

protected:
    std::uint16_t m_version;
};
