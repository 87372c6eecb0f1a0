// KVObjTextWriter: OBJ and MTL text, formatted without printf and written in large blocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "KVVector.h"

// Numbers come out byte for byte as the C library prints them with "%.9f" (a float widened to
// double, default rounding) and "%d", whatever the process's locale or rounding mode: the
// formatting is integer arithmetic only and always uses a point.
//
// Lines are gathered in one buffer and handed to fwrite in blocks of the buffer's size, so memory
// stays at that size whatever the mesh. The writer does not own the stream: whoever opened it
// closes it, after flush() (or the writer's destruction) has written the pending text. Text
// written to the stream by other means must come after a flush(). It runs on the caller's thread
// only: the commands that use it start no thread in the host.
class KVObjTextWriter {
public:
    static constexpr std::size_t kDefaultBufferSize = std::size_t(2) << 20;
    // Longest "%.9f" of a float: "-" + 39 integer digits + "." + 9 decimals.
    static constexpr int kMaxFloatChars = 50;
    // Longest "%d" of a 32-bit int: "-2147483648".
    static constexpr int kMaxIntChars = 11;

    // ---- Formatting into a caller's buffer. Nothing is NUL-terminated; the result is the end of
    // what was written. `out` must hold kMaxFloatChars or kMaxIntChars bytes.

    // "%.9f" of (double)x: "inf", "-inf", "nan", "-nan" for the special values; the sign is kept
    // for negative values that round to zero and for -0.0 ("-0.000000000").
    static char* formatFloat9(char* out, float x);
    static char* formatInt(char* out, std::int32_t n);
    // The last eight decimals, v < 10^8 ("%08u"), by the integer path that processors without a
    // vector unit take; public so that every build checks it, whichever path it uses itself.
    // Writes 8 bytes.
    static char* formatEightDigitsPortable(char* out, std::uint32_t v);

    // Runs of vertices and UVs use the processor's wide vector unit when it has one (the same
    // text either way). Checks switch it off to compare both paths; the result tells whether
    // this processor has the unit at all.
    static bool useWideVectors(bool allowed);

    // file may be null: the text is then gathered and dropped at each flush.
    explicit KVObjTextWriter(FILE* file, std::size_t bufferSize = kDefaultBufferSize);
    ~KVObjTextWriter();
    KVObjTextWriter(const KVObjTextWriter&) = delete;
    KVObjTextWriter& operator=(const KVObjTextWriter&) = delete;

    // Writes the pending text. False once any block has been written short (the failure sticks,
    // and no later block reaches the stream).
    bool flush();
    bool isGood() const { return m_good; }
    // Bytes handed to the writer so far, pending ones included.
    std::uint64_t getByteCount() const { return m_flushed + static_cast<std::uint64_t>(m_pos - m_begin); }

    // ---- Text as given (comment lines, "\n", names).
    void writeText(const char* text);
    void writeText(const char* text, std::size_t length);

    // ---- OBJ lines.
    // "v %.9f %.9f %.9f\n"
    void writeVertex(float x, float y, float z);
    void writeVertices(const KVVector3f* points, int count);
    // "vt %.9f %.9f\n"
    void writeUV(float u, float v);
    void writeUVs(const KVVector2f* uvs, int count);
    // Faces of 4 indices each, 0-based within their mesh; a negative fourth index marks a triangle.
    // Each index is written + vertexOffset + 1 (wrapping like 32-bit int arithmetic). Without UVs:
    // "f %d %d %d %d\n" or "f %d %d %d\n"; with UVs, face k uses the slots t = uvOffset + 4k:
    // "f %d/%d %d/%d %d/%d %d/%d\n" with t + 1 .. t + 4, or the first three pairs for a triangle.
    void writeFaces(const int* indices, int faceCount, std::int32_t vertexOffset, bool withUVs,
                    std::int32_t uvOffset);
    // "g subtool%d\n"
    void writeSubToolGroup(std::int32_t number);
    // "usemtl mat%d\n"
    void writeUseMaterial(std::int32_t number);

    // ---- MTL lines.
    // "newmtl mat%d\n"
    void writeNewMaterial(std::int32_t number);
    // "<keyword> <text>\n", e.g. "mtllib", "map_Kd", "usemtl", "newmtl" with a name.
    void writeKeywordLine(const char* keyword, const char* text);

private:
    // Room for the longest line any one call writes without checking again.
    static constexpr std::size_t kLineRoom = 256;

    // Makes sure `n` bytes fit at m_pos (n <= buffer size).
    char* room(std::size_t n) {
        if (static_cast<std::size_t>(m_end - m_pos) < n) flushBlock();
        return m_pos;
    }
    // room() for a caller that keeps its own position p (past m_pos) in a register.
    char* lineRoom(char* p) {
        if (static_cast<std::size_t>(m_end - p) >= kLineRoom) return p;
        m_pos = p;
        flushBlock();
        return m_pos;
    }
    void flushBlock();
    // Lines of `prefix` and kPerLine floats each, a batch at a time.
    template <int kPerLine, std::size_t kPrefixLength>
    void writeFloatLines(const float* x, int lineCount, const char* prefix);

    FILE* m_file;
    char* m_begin;
    char* m_pos;
    char* m_end;
    std::uint64_t m_flushed = 0;
    bool m_good = true;
};
