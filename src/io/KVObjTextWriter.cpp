// KVObjTextWriter: OBJ and MTL text, formatted without printf and written in large blocks.
#include "io/KVObjTextWriter.h"

#include <cstring>

namespace {

const char kDigitPairs[201] =
    "00010203040506070809"
    "10111213141516171819"
    "20212223242526272829"
    "30313233343536373839"
    "40414243444546474849"
    "50515253545556575859"
    "60616263646566676869"
    "70717273747576777879"
    "80818283848586878889"
    "90919293949596979899";

constexpr std::uint32_t kBillion = 1000000000u;

inline char* put2(char* p, std::uint32_t v) {
    std::memcpy(p, kDigitPairs + 2 * v, 2);
    return p + 2;
}

inline char* put4(char* p, std::uint32_t v) {
    const std::uint32_t hi = v / 100;
    put2(p, hi);
    put2(p + 2, v - hi * 100);
    return p + 4;
}

// Exactly nine digits, leading zeros included: the decimals of "%.9f".
inline char* put9(char* p, std::uint32_t v) {
    const std::uint32_t first = v / 100000000u;
    *p++ = static_cast<char>('0' + first);
    v -= first * 100000000u;
    const std::uint32_t hi = v / 10000u;
    put4(p, hi);
    put4(p + 4, v - hi * 10000u);
    return p + 8;
}

// Decimal digits without leading zeros ("0" for 0).
inline char* putU32(char* p, std::uint32_t v) {
    if (v < 10) {
        *p = static_cast<char>('0' + v);
        return p + 1;
    }
    if (v < 100) return put2(p, v);
    char tmp[10];
    char* t = tmp + sizeof(tmp);
    while (v >= 100) {
        const std::uint32_t q = v / 100;
        t -= 2;
        std::memcpy(t, kDigitPairs + 2 * (v - q * 100), 2);
        v = q;
    }
    if (v >= 10) {
        t -= 2;
        std::memcpy(t, kDigitPairs + 2 * v, 2);
    } else {
        *--t = static_cast<char>('0' + v);
    }
    const std::size_t n = static_cast<std::size_t>(tmp + sizeof(tmp) - t);
    std::memcpy(p, t, n);
    return p + n;
}

char* putU64(char* p, std::uint64_t v) {
    if (v <= 0xFFFFFFFFu) return putU32(p, static_cast<std::uint32_t>(v));
    const std::uint64_t hi = v / kBillion;
    p = putU64(p, hi);
    return put9(p, static_cast<std::uint32_t>(v - hi * kBillion));
}

// m x 2^e for the integers a float can hold beyond 2^64 (e up to 104): limbs of 32 bits, divided
// down by 10^9, so no 128-bit type is needed.
char* putBig(char* p, std::uint32_t m, int e) {
    std::uint32_t limbs[5] = {0, 0, 0, 0, 0};
    const int index = e / 32;
    const std::uint64_t shifted = static_cast<std::uint64_t>(m) << (e % 32);
    limbs[index] = static_cast<std::uint32_t>(shifted);
    limbs[index + 1] = static_cast<std::uint32_t>(shifted >> 32);
    std::uint32_t chunks[6];
    int chunkCount = 0;
    int top = 4;
    while (top >= 0) {
        std::uint64_t rem = 0;
        for (int i = top; i >= 0; --i) {
            const std::uint64_t cur = (rem << 32) | limbs[i];
            limbs[i] = static_cast<std::uint32_t>(cur / kBillion);
            rem = cur % kBillion;
        }
        chunks[chunkCount++] = static_cast<std::uint32_t>(rem);
        while (top >= 0 && limbs[top] == 0) --top;
    }
    p = putU32(p, chunks[chunkCount - 1]);
    for (int i = chunkCount - 2; i >= 0; --i) p = put9(p, chunks[i]);
    return p;
}

inline char* putText(char* p, const char* text, std::size_t n) {
    std::memcpy(p, text, n);
    return p + n;
}

// 32-bit wrapping sum, as the int arithmetic of the face indices gives on every supported build.
inline std::int32_t wrapAdd(std::int32_t a, std::int32_t b, std::int32_t c) {
    const std::uint32_t sum = static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b) +
                              static_cast<std::uint32_t>(c);
    std::int32_t out;
    std::memcpy(&out, &sum, sizeof(out));
    return out;
}

}  // namespace

char* KVObjTextWriter::formatFloat9(char* out, float x) {
    std::uint32_t bits;
    std::memcpy(&bits, &x, sizeof(bits));
    const bool negative = (bits >> 31) != 0;
    const std::uint32_t biased = (bits >> 23) & 0xFFu;
    const std::uint32_t fraction = bits & 0x7FFFFFu;
    char* p = out;
    if (negative) *p++ = '-';
    if (biased == 0xFFu) return fraction == 0 ? putText(p, "inf", 3) : putText(p, "nan", 3);

    // x = m x 2^e exactly, m < 2^24.
    const std::uint32_t m = biased == 0 ? fraction : (fraction | 0x800000u);
    const int e = biased == 0 ? -149 : static_cast<int>(biased) - 150;

    if (e >= 0) {  // an integer: the decimals are all zero
        p = e <= 40 ? putU64(p, static_cast<std::uint64_t>(m) << e) : putBig(p, m, e);
        return putText(p, ".000000000", 10);
    }
    std::uint64_t scaled = 0;  // x x 10^9 rounded half to even
    if (e >= -63) {
        // m x 10^9 < 2^54, so x x 10^9 = (m x 10^9) / 2^s is one exact shift.
        const int s = -e;
        const std::uint64_t n = static_cast<std::uint64_t>(m) * kBillion;
        scaled = n >> s;
        const std::uint64_t rest = n & ((std::uint64_t(1) << s) - 1);
        const std::uint64_t half = std::uint64_t(1) << (s - 1);
        if (rest > half || (rest == half && (scaled & 1) != 0)) ++scaled;
    }
    // Below 2^-39 the value is under half of 10^-9 and rounds to zero.
    const std::uint32_t whole = static_cast<std::uint32_t>(scaled / kBillion);
    p = putU32(p, whole);
    *p++ = '.';
    return put9(p, static_cast<std::uint32_t>(scaled - static_cast<std::uint64_t>(whole) * kBillion));
}

char* KVObjTextWriter::formatInt(char* out, std::int32_t n) {
    std::uint32_t u = static_cast<std::uint32_t>(n);
    if (n < 0) {
        *out++ = '-';
        u = 0u - u;
    }
    return putU32(out, u);
}

KVObjTextWriter::KVObjTextWriter(FILE* file, std::size_t bufferSize) : m_file(file) {
    if (bufferSize < 4 * kLineRoom) bufferSize = 4 * kLineRoom;
    m_begin = new char[bufferSize];
    m_pos = m_begin;
    m_end = m_begin + bufferSize;
}

KVObjTextWriter::~KVObjTextWriter() {
    flushBlock();
    delete[] m_begin;
}

void KVObjTextWriter::flushBlock() {
    const std::size_t n = static_cast<std::size_t>(m_pos - m_begin);
    if (n == 0) return;
    if (m_file != nullptr && std::fwrite(m_begin, 1, n, m_file) != n) m_good = false;
    m_flushed += n;
    m_pos = m_begin;
}

bool KVObjTextWriter::flush() {
    flushBlock();
    return m_good;
}

void KVObjTextWriter::writeText(const char* text) {
    if (text != nullptr) writeText(text, std::strlen(text));
}

void KVObjTextWriter::writeText(const char* text, std::size_t length) {
    while (length > 0) {
        if (m_pos == m_end) flushBlock();
        std::size_t n = static_cast<std::size_t>(m_end - m_pos);
        if (n > length) n = length;
        std::memcpy(m_pos, text, n);
        m_pos += n;
        text += n;
        length -= n;
    }
}

void KVObjTextWriter::writeVertex(float x, float y, float z) {
    char* p = room(kLineRoom);
    *p++ = 'v';
    *p++ = ' ';
    p = formatFloat9(p, x);
    *p++ = ' ';
    p = formatFloat9(p, y);
    *p++ = ' ';
    p = formatFloat9(p, z);
    *p++ = '\n';
    m_pos = p;
}

void KVObjTextWriter::writeVertices(const KVVector3f* points, int count) {
    for (int i = 0; i < count; ++i) writeVertex(points[i].x, points[i].y, points[i].z);
}

void KVObjTextWriter::writeUV(float u, float v) {
    char* p = room(kLineRoom);
    p = putText(p, "vt ", 3);
    p = formatFloat9(p, u);
    *p++ = ' ';
    p = formatFloat9(p, v);
    *p++ = '\n';
    m_pos = p;
}

void KVObjTextWriter::writeUVs(const KVVector2f* uvs, int count) {
    for (int i = 0; i < count; ++i) writeUV(uvs[i].u, uvs[i].v);
}

void KVObjTextWriter::writeFaces(const int* indices, int faceCount, std::int32_t vertexOffset, bool withUVs,
                                 std::int32_t uvOffset) {
    for (int k = 0; k < faceCount; ++k) {
        const int* face = indices + 4 * static_cast<std::size_t>(k);
        const int corners = face[3] < 0 ? 3 : 4;
        char* p = room(kLineRoom);
        *p++ = 'f';
        // t = uvOffset + 4k, in the same 32-bit arithmetic as the indices.
        const std::int32_t t = wrapAdd(uvOffset, static_cast<std::int32_t>(4u * static_cast<std::uint32_t>(k)), 0);
        for (int c = 0; c < corners; ++c) {
            *p++ = ' ';
            p = formatInt(p, wrapAdd(face[c], vertexOffset, 1));
            if (withUVs) {
                *p++ = '/';
                p = formatInt(p, wrapAdd(t, c, 1));
            }
        }
        *p++ = '\n';
        m_pos = p;
    }
}

void KVObjTextWriter::writeSubToolGroup(std::int32_t number) {
    char* p = room(kLineRoom);
    p = putText(p, "g subtool", 9);
    p = formatInt(p, number);
    *p++ = '\n';
    m_pos = p;
}

void KVObjTextWriter::writeUseMaterial(std::int32_t number) {
    char* p = room(kLineRoom);
    p = putText(p, "usemtl mat", 10);
    p = formatInt(p, number);
    *p++ = '\n';
    m_pos = p;
}

void KVObjTextWriter::writeNewMaterial(std::int32_t number) {
    char* p = room(kLineRoom);
    p = putText(p, "newmtl mat", 10);
    p = formatInt(p, number);
    *p++ = '\n';
    m_pos = p;
}

void KVObjTextWriter::writeKeywordLine(const char* keyword, const char* text) {
    writeText(keyword);
    writeText(" ", 1);
    writeText(text);
    writeText("\n", 1);
}
