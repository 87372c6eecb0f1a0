// KVObjTextWriter: OBJ and MTL text, formatted without printf and written in large blocks.
#include "io/KVObjTextWriter.h"

#include <cstring>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#endif

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

// Exactly eight digits of v < 10^8, leading zeros included, computed in the lanes of one 64-bit
// word: two 4-digit halves, then four 2-digit pairs, then eight digits. Each step divides a lane
// by a multiply-and-shift that is exact over the lane's range, so no digit ever carries across.
// The result is the text as a little-endian word: the first digit in the lowest byte.
inline std::uint64_t eightDigitsWord(std::uint32_t v) {
    const std::uint32_t hi = v / 10000;
    std::uint64_t x = hi | (static_cast<std::uint64_t>(v - hi * 10000) << 32);
    // Per 32-bit lane w < 10^4: w / 100 = (w * 10486) >> 20.
    const std::uint64_t hundreds = ((x * 10486) >> 20) & 0x0000007F0000007Full;
    x = ((x - hundreds * 100) << 16) + hundreds;
    // Per 16-bit lane q < 100: q / 10 = (q * 103) >> 10.
    const std::uint64_t tens = ((x * 103) >> 10) & 0x000F000F000F000Full;
    x = ((x - tens * 10) << 8) + tens;
    return x | 0x3030303030303030ull;
}

constexpr bool kLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

inline char* put8(char* p, std::uint32_t v) {
    std::uint64_t x = eightDigitsWord(v);
    if (!kLittleEndian) x = __builtin_bswap64(x);
    std::memcpy(p, &x, 8);
    return p + 8;
}

// Exactly nine digits, leading zeros included: the decimals of "%.9f".
inline char* put9(char* p, std::uint32_t v) {
    const std::uint32_t first = v / 100000000u;
    *p = static_cast<char>('0' + first);
    return put8(p + 1, v - first * 100000000u);
}

// One to four digits without leading zeros.
inline char* putSmall(char* p, std::uint32_t v) {
    if (v < 10) {
        *p = static_cast<char>('0' + v);
        return p + 1;
    }
    if (v < 100) return put2(p, v);
    if (v < 1000) {
        const std::uint32_t hi = v / 100;
        *p = static_cast<char>('0' + hi);
        return put2(p + 1, v - hi * 100);
    }
    return put4(p, v);
}

// Decimal digits without leading zeros ("0" for 0).
inline char* putU32(char* p, std::uint32_t v) {
    if (v < 10000) return putSmall(p, v);
    if (v < 100000000) {
        const std::uint32_t hi = v / 10000;
        p = putSmall(p, hi);
        return put4(p, v - hi * 10000);
    }
    const std::uint32_t hi = v / 100000000;
    p = putSmall(p, hi);
    return put8(p, v - hi * 100000000);
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

// x = m x 2^e with e >= 0: an integer, all decimals zero. Kept out of line so the usual path
// needs no stack frame.
__attribute__((noinline)) char* putWholeNumber(char* p, std::uint32_t m, int e) {
    p = e <= 40 ? putU64(p, static_cast<std::uint64_t>(m) << e) : putBig(p, m, e);
    return putText(p, ".000000000", 10);
}

// 32-bit wrapping sum, as the int arithmetic of the face indices gives on every supported build.
inline std::int32_t wrapAdd(std::int32_t a, std::int32_t b) {
    const std::uint32_t sum = static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b);
    std::int32_t out;
    std::memcpy(&out, &sum, sizeof(out));
    return out;
}

#if defined(__SSE2__)
// Exactly eight digits of v < 10^8 in the lanes of one SSE2 register: the two 4-digit halves,
// each spread over four 16-bit lanes, divided by 1000, 100, 10 and 1 with multiply-high steps
// that are exact below 10^4; each lane less ten times its left neighbour is one digit.
inline char* put8Simd(char* p, std::uint32_t v) {
    const std::uint32_t hi = v / 10000;
    const std::uint32_t lo = v - hi * 10000;
    __m128i x = _mm_cvtsi32_si128(static_cast<int>(hi | (lo << 16)));
    x = _mm_unpacklo_epi16(x, x);
    x = _mm_unpacklo_epi32(x, x);  // hi x 4, lo x 4
    x = _mm_slli_epi16(x, 2);
    // x 4 x 8389 / 2^16 / 2^7 = x / 1000, and likewise 5243 / 2^19, 13108 / 2^17, 2^15 / 2^15.
    x = _mm_mulhi_epu16(x, _mm_setr_epi16(8389, 5243, 13108, -32768, 8389, 5243, 13108, -32768));
    x = _mm_mulhi_epu16(x, _mm_setr_epi16(1 << 7, 1 << 11, 1 << 13, -32768, 1 << 7, 1 << 11, 1 << 13, -32768));
    const __m128i tens = _mm_slli_epi64(_mm_mullo_epi16(x, _mm_set1_epi16(10)), 16);
    const __m128i digits = _mm_sub_epi16(x, tens);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p),
                     _mm_add_epi8(_mm_packus_epi16(digits, digits), _mm_set1_epi8('0')));
    return p + 8;
}
#endif

// Eight digits of v < 10^8, leading zeros included.
inline char* put8Fast(char* p, std::uint32_t v) {
#if defined(__SSE2__)
    return put8Simd(p, v);
#else
    return put8(p, v);
#endif
}

// The text before the last eight decimals of "%.9f" for x < 128: the whole part, the point and the
// first decimal, looked up by q = whole x 10 + first decimal. Byte 7 holds the length.
struct Lead {
    char c[8];
};

constexpr int kLeadCount = 1280;

struct LeadTable {
    Lead entries[kLeadCount];
};

constexpr LeadTable makeLeadTable() {
    LeadTable t{};
    for (int q = 0; q < kLeadCount; ++q) {
        char* c = t.entries[q].c;
        const int whole = q / 10;
        int n = 0;
        if (whole >= 100) c[n++] = static_cast<char>('0' + whole / 100);
        if (whole >= 10) c[n++] = static_cast<char>('0' + whole / 10 % 10);
        c[n++] = static_cast<char>('0' + whole % 10);
        c[n++] = '.';
        c[n++] = static_cast<char>('0' + q % 10);
        c[7] = static_cast<char>(n);
    }
    return t;
}

constexpr LeadTable kLeads = makeLeadTable();

char* formatFloat9Slow(char* out, float x);

// The rounded parts of "%.9f" of a float below 128 in magnitude: the lead index q (whole x 10 +
// first decimal) and the last eight decimals. False for 128 and more and the specials, which the
// general formatter writes.
__attribute__((always_inline)) inline bool splitFloat(std::uint32_t bits, std::uint32_t& q, std::uint32_t& rest) {
    const std::uint32_t biased = (bits >> 23) & 0xFFu;
    if (biased > 133u) return false;
    // Zeros and everything below 2^-32 round to "0.000000000" (keeping the sign): m = 0 gives it.
    const bool small = biased < 95u;
    // x = m / 2^s exactly, 17 <= s <= 55. m x 10^9 < 2^54: the whole number and the nine decimals,
    // rounded half to even, come out of one exact shift (adding just under a half, plus one when
    // the truncated result is odd). 10^9 is even, so the parity of the decimals decides.
    const std::uint32_t m = small ? 0u : (bits & 0x7FFFFFu) | 0x800000u;
    const unsigned s = 150u - (small ? 127u : biased);
    const std::uint64_t n = static_cast<std::uint64_t>(m) * kBillion;
    const std::uint64_t odd = (n >> s) & 1u;
    const std::uint64_t scaled = (n + (std::uint64_t(1) << (s - 1)) - 1u + odd) >> s;
    // scaled < 1.28 x 10^11, so scaled / 10^8 = (scaled / 2^8) / 390625 by one exact multiply
    // (the reciprocal's error times 2^29 stays below 2^48). A carry of the rounding into the whole
    // part (.9999999995 and up) is already in `scaled`.
    q = static_cast<std::uint32_t>(((scaled >> 8) * 720575941u) >> 48);
    rest = static_cast<std::uint32_t>(scaled - static_cast<std::uint64_t>(q) * 100000000u);
    return true;
}

// The sign and the lead text of a split float; the eight decimals go at the result.
__attribute__((always_inline)) inline char* putLeadText(char* p, std::uint32_t negative, std::uint32_t q) {
    *p = '-';
    p += negative;  // signs fall either way in a mesh: no branch on them
    const Lead& lead = kLeads.entries[q];
    std::memcpy(p, lead.c, 8);  // the spare bytes are overwritten by the decimals
    return p + lead.c[7];
}

// "%.9f" of one float: the straight path below 128, the general formatter above.
inline char* putFloat9(char* p, float x) {
    std::uint32_t bits;
    std::memcpy(&bits, &x, sizeof(bits));
    std::uint32_t q, rest;
    if (!splitFloat(bits, q, rest)) return formatFloat9Slow(p, x);
    return put8Fast(putLeadText(p, bits >> 31, q), rest);
}

// The one or two leading digits of lead < 100, without a branch.
inline char* putLead(char* p, std::uint32_t lead) {
    const std::uint32_t two = lead >= 10 ? 1 : 0;
    std::memcpy(p, kDigitPairs + 2 * lead + 1 - two, 2);  // a spare second byte is overwritten
    return p + 1 + two;
}

// The next pair of digits from a 32.32 fixed-point fraction.
inline char* putNextPair(char* p, std::uint64_t& y) {
    y = static_cast<std::uint64_t>(static_cast<std::uint32_t>(y)) * 100;
    return put2(p, static_cast<std::uint32_t>(y >> 32));
}

// "%d" of a face index: 1 to 10^8 - 1 as the leading digits of v / 10^(2k) in 32.32 fixed point,
// then k pairs (rounded-up reciprocals, exact over each range). The digit count of neighbouring
// indices rarely changes, so the branches are well predicted.
__attribute__((always_inline)) inline char* putIndex(char* p, std::int32_t n) {
    const std::uint32_t v = static_cast<std::uint32_t>(n);
    if (v - 1u >= 99999999u) return KVObjTextWriter::formatInt(p, n);
    if (v < 100) return putLead(p, v);
    std::uint64_t y;
    if (v < 10000) {
        y = static_cast<std::uint64_t>(v) * 42949673u;
        p = putLead(p, static_cast<std::uint32_t>(y >> 32));
        return putNextPair(p, y);
    }
    if (v < 1000000) {
        y = static_cast<std::uint64_t>(v) * 429497u;
        p = putLead(p, static_cast<std::uint32_t>(y >> 32));
    } else {
        y = (static_cast<std::uint64_t>(v) * 281474977u) >> 16;
        p = putLead(p, static_cast<std::uint32_t>(y >> 32));
        p = putNextPair(p, y);
    }
    p = putNextPair(p, y);
    return putNextPair(p, y);
}

}  // namespace

char* KVObjTextWriter::formatFloat9(char* out, float x) { return putFloat9(out, x); }

namespace {

__attribute__((noinline)) char* formatFloat9Slow(char* out, float x) {
    std::uint32_t bits;
    std::memcpy(&bits, &x, sizeof(bits));
    const bool negative = (bits >> 31) != 0;
    const std::uint32_t biased = (bits >> 23) & 0xFFu;
    const std::uint32_t fraction = bits & 0x7FFFFFu;
    // Signs fall either way in a mesh: no branch on them.
    char* p = out;
    *p = '-';
    p += negative ? 1 : 0;
    if (biased == 0xFFu) return fraction == 0 ? putText(p, "inf", 3) : putText(p, "nan", 3);

    // x = m x 2^e exactly, m < 2^24.
    const std::uint32_t m = biased == 0 ? fraction : (fraction | 0x800000u);
    const int e = biased == 0 ? -149 : static_cast<int>(biased) - 150;
    if (e >= 0) return putWholeNumber(p, m, e);
    if (e < -63) return putText(p, "0.000000000", 11);  // below 2^-39: under half of 10^-9

    // x = whole + f / 2^s. f x 10^9 < 2^54, so the nine decimals are one exact shift, rounded
    // half to even; the parity of the decimals decides, since 10^9 is even.
    const int s = -e;
    const std::uint64_t mask = (std::uint64_t(1) << s) - 1;
    std::uint32_t whole = static_cast<std::uint32_t>(static_cast<std::uint64_t>(m) >> s);
    const std::uint64_t n = (m & mask) * static_cast<std::uint64_t>(kBillion);
    std::uint32_t decimals = static_cast<std::uint32_t>(n >> s);
    const std::uint64_t rest = n & mask;
    const std::uint64_t half = std::uint64_t(1) << (s - 1);
    decimals += static_cast<std::uint32_t>((rest > half) | ((rest == half) & ((decimals & 1) != 0)));
    const std::uint32_t carry = decimals >= kBillion ? 1 : 0;  // .9999999995 and up
    whole += carry;
    decimals -= carry * kBillion;

    if (whole < 100) {  // the usual case, one or two digits without a branch
        const std::uint32_t two = whole >= 10 ? 1 : 0;
        std::memcpy(p, kDigitPairs + 2 * whole + 1 - two, 2);  // a spare second byte is overwritten
        p += 1 + two;
    } else {
        p = putU32(p, whole);
    }
    *p++ = '.';
    return put9(p, decimals);
}

}  // namespace

char* KVObjTextWriter::formatEightDigitsPortable(char* out, std::uint32_t v) { return put8(out, v); }

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
    flush();
    delete[] m_begin;
}

void KVObjTextWriter::flushBlock() {
    const std::size_t n = static_cast<std::size_t>(m_pos - m_begin);
    if (n == 0) return;
    m_flushed += n;
    // Once a block was written short, the rest is dropped: no write after the first failure.
    if (m_file != nullptr && (!m_good || std::fwrite(m_begin, 1, n, m_file) != n)) m_good = false;
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
    const KVVector3f point{x, y, z};
    writeVertices(&point, 1);
}

void KVObjTextWriter::writeUV(float u, float v) {
    const KVVector2f uv{u, v};
    writeUVs(&uv, 1);
}

namespace {

// ---- Runs of numbers. Vertex and UV lines are formatted a batch of floats at a time: first the
// rounded parts of every float of the batch (sign, lead index, last eight decimals), where a
// vector unit can do four at once, then the lines, which only copy bytes.

constexpr std::uint32_t kGeneral = 0xFFFFFFFFu;  // lead index of a float the general path writes

struct alignas(64) FloatBatch {
    static constexpr int kSize = 48;  // 16 vertices or 24 UV pairs
    std::uint32_t lead[kSize];        // index into kLeads, or kGeneral
    std::uint32_t negative[kSize];
    char digits[kSize][8];
};

void splitScalar(const float* x, int first, int n, FloatBatch& b) {
    for (int i = first; i < n; ++i) {
        std::uint32_t bits;
        std::memcpy(&bits, &x[i], sizeof(bits));
        std::uint32_t rest = 0;
        b.negative[i] = bits >> 31;
        if (!splitFloat(bits, b.lead[i], rest)) b.lead[i] = kGeneral;
        put8Fast(b.digits[i], rest);
    }
}

#if defined(__x86_64__) || defined(__i386__)
#define TRIMORA_WIDE_VECTORS 1
// The eight digits (leading zeros included) of four values below 10^8 in 64-bit lanes, as 32
// bytes in lane order: each value split into 4-digit halves, then as in put8Simd, two values per
// register.
__attribute__((target("avx2"))) inline __m256i eightDigitsOfFour(__m256i values) {
    const __m256i spread = _mm256_setr_epi8(0, 1, 0, 1, 0, 1, 0, 1, 2, 3, 2, 3, 2, 3, 2, 3,
                                            0, 1, 0, 1, 0, 1, 0, 1, 2, 3, 2, 3, 2, 3, 2, 3);
    const __m256i k1 = _mm256_setr_epi16(8389, 5243, 13108, -32768, 8389, 5243, 13108, -32768,
                                         8389, 5243, 13108, -32768, 8389, 5243, 13108, -32768);
    const __m256i k2 = _mm256_setr_epi16(1 << 7, 1 << 11, 1 << 13, -32768, 1 << 7, 1 << 11, 1 << 13, -32768,
                                         1 << 7, 1 << 11, 1 << 13, -32768, 1 << 7, 1 << 11, 1 << 13, -32768);
    // v / 10^4 = (v x 3518437209) >> 45, exact below 10^8.
    const __m256i hi = _mm256_srli_epi64(_mm256_mul_epu32(values, _mm256_set1_epi64x(3518437209u)), 45);
    const __m256i lo = _mm256_sub_epi64(values, _mm256_mul_epu32(hi, _mm256_set1_epi64x(10000)));
    const __m256i halves = _mm256_or_si256(hi, _mm256_slli_epi64(lo, 16));
    // Values 0 and 1, then 2 and 3, one per 128-bit lane: hi x 4, lo x 4 in 16-bit lanes.
    __m256i a = _mm256_shuffle_epi8(_mm256_permute4x64_epi64(halves, 0x50), spread);
    __m256i c = _mm256_shuffle_epi8(_mm256_permute4x64_epi64(halves, 0xFA), spread);
    a = _mm256_mulhi_epu16(_mm256_mulhi_epu16(_mm256_slli_epi16(a, 2), k1), k2);
    c = _mm256_mulhi_epu16(_mm256_mulhi_epu16(_mm256_slli_epi16(c, 2), k1), k2);
    a = _mm256_sub_epi16(a, _mm256_slli_epi64(_mm256_mullo_epi16(a, _mm256_set1_epi16(10)), 16));
    c = _mm256_sub_epi16(c, _mm256_slli_epi64(_mm256_mullo_epi16(c, _mm256_set1_epi16(10)), 16));
    // Packing works per 128-bit lane (values 0, 2 | 1, 3): put them back in order.
    return _mm256_permute4x64_epi64(_mm256_add_epi8(_mm256_packus_epi16(a, c), _mm256_set1_epi8('0')), 0xD8);
}

// Four floats per step in 64-bit lanes: the same rounding shift as splitFloat (with per-lane shift
// counts), the same division by 10^8, then the eight decimals of two floats per register.
__attribute__((target("avx2"))) void splitWide(const float* x, int n, FloatBatch& b) {
    const __m256i one = _mm256_set1_epi64x(1);
    const __m256i billion = _mm256_set1_epi64x(kBillion);
    const __m256i hundredMillion = _mm256_set1_epi64x(100000000);
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m128i bits = _mm_loadu_si128(reinterpret_cast<const __m128i*>(x + i));
        __m128i biased = _mm_and_si128(_mm_srli_epi32(bits, 23), _mm_set1_epi32(0xFF));
        const __m128i general = _mm_cmpgt_epi32(biased, _mm_set1_epi32(133));
        // Zeros and everything below 2^-32 round to "0.000000000": m = 0 gives it.
        const __m128i small = _mm_cmplt_epi32(biased, _mm_set1_epi32(95));
        biased = _mm_blendv_epi8(biased, _mm_set1_epi32(127), _mm_or_si128(general, small));  // shifts in range
        const __m128i m = _mm_andnot_si128(
            small, _mm_or_si128(_mm_and_si128(bits, _mm_set1_epi32(0x7FFFFF)), _mm_set1_epi32(0x800000)));
        const __m256i m64 = _mm256_cvtepu32_epi64(m);
        const __m256i s64 = _mm256_cvtepu32_epi64(_mm_sub_epi32(_mm_set1_epi32(150), biased));
        const __m256i n9 = _mm256_mul_epu32(m64, billion);
        const __m256i odd = _mm256_and_si256(_mm256_srlv_epi64(n9, s64), one);
        const __m256i halfLess = _mm256_sub_epi64(_mm256_sllv_epi64(one, _mm256_sub_epi64(s64, one)), one);
        const __m256i scaled = _mm256_srlv_epi64(_mm256_add_epi64(_mm256_add_epi64(n9, halfLess), odd), s64);
        const __m256i q = _mm256_srli_epi64(
            _mm256_mul_epu32(_mm256_srli_epi64(scaled, 8), _mm256_set1_epi64x(720575941)), 48);
        const __m256i rest = _mm256_sub_epi64(scaled, _mm256_mul_epu32(q, hundredMillion));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(b.digits[i]), eightDigitsOfFour(rest));
        const __m128i q32 = _mm256_castsi256_si128(_mm256_permutevar8x32_epi32(q, _mm256_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(b.lead + i), _mm_or_si128(q32, general));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(b.negative + i), _mm_srli_epi32(bits, 31));
    }
    splitScalar(x, i, n, b);
}

bool cpuHasWideVectors() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2");
}
#else
#define TRIMORA_WIDE_VECTORS 0
bool cpuHasWideVectors() { return false; }
#endif

bool g_wideVectorsAllowed = true;

// The processor is asked once; checks may switch the wide path off.
bool wideVectorsOn() {
    static const bool wide = cpuHasWideVectors();
    return wide && g_wideVectorsAllowed;
}

void splitFloats(const float* x, int n, FloatBatch& b) {
#if TRIMORA_WIDE_VECTORS
    if (wideVectorsOn()) return splitWide(x, n, b);
#endif
    splitScalar(x, 0, n, b);
}

__attribute__((always_inline)) inline char* putSplit(char* p, const FloatBatch& b, int i, float x) {
    if (b.lead[i] == kGeneral) return formatFloat9Slow(p, x);
    p = putLeadText(p, b.negative[i], b.lead[i]);
    std::memcpy(p, b.digits[i], 8);
    return p + 8;
}

// Face indices, a batch of faces at a time: each written index v = index + base (wrapping) with
// 1 <= v < 10^8 as eight digits and the count of its leading zeros; others go to formatInt.
struct alignas(64) IndexBatch {
    static constexpr int kFaces = 32;
    std::int32_t skip[4 * kFaces];  // leading zeros to skip, or -1 for formatInt
    char digits[4 * kFaces][8];
    char spare[8];  // the last index's 8-byte copy may start up to 7 bytes in
};

inline int digitCount(std::uint32_t v) {
    int n = 1;
    for (std::uint32_t p = 10; n < 10 && v >= p; p *= 10) ++n;
    return n;
}

void splitIndicesScalar(const int* indices, int first, int n, std::int32_t base, IndexBatch& b) {
    for (int i = first; i < n; ++i) {
        const std::uint32_t v = static_cast<std::uint32_t>(wrapAdd(indices[i], base));
        if (v - 1u >= 99999999u) {
            b.skip[i] = -1;
            continue;
        }
        b.skip[i] = 8 - digitCount(v);
        put8Fast(b.digits[i], v);
    }
}

#if TRIMORA_WIDE_VECTORS
__attribute__((target("avx2"))) void splitIndicesWide(const int* indices, int n, std::int32_t base, IndexBatch& b) {
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m256i v = _mm256_add_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(indices + i)),
                                           _mm256_set1_epi32(base));
        // 1 <= v <= 99999999 as unsigned: v - 1 below 99999999, compared with the sign bit flipped.
        const __m256i flip = _mm256_set1_epi32(INT32_MIN);
        const __m256i inRange = _mm256_cmpgt_epi32(
            _mm256_set1_epi32(static_cast<std::int32_t>(99999999u ^ 0x80000000u)),
            _mm256_xor_si256(_mm256_sub_epi32(v, _mm256_set1_epi32(1)), flip));
        // Leading zeros: 7 less one for each power of ten v reaches.
        __m256i skip = _mm256_set1_epi32(7);
        for (std::int32_t p = 9; p < 99999999; p = p * 10 + 9)
            skip = _mm256_add_epi32(skip, _mm256_cmpgt_epi32(v, _mm256_set1_epi32(p)));
        skip = _mm256_blendv_epi8(_mm256_set1_epi32(-1), skip, inRange);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(b.skip + i), skip);
        const __m256i values = _mm256_and_si256(v, inRange);  // out-of-range lanes: any digits
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(b.digits[i]),
                            eightDigitsOfFour(_mm256_cvtepu32_epi64(_mm256_castsi256_si128(values))));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(b.digits[i + 4]),
                            eightDigitsOfFour(_mm256_cvtepu32_epi64(_mm256_extracti128_si256(values, 1))));
    }
    splitIndicesScalar(indices, i, n, base, b);
}
#endif

void splitIndices(const int* indices, int n, std::int32_t base, IndexBatch& b) {
#if TRIMORA_WIDE_VECTORS
    if (wideVectorsOn()) return splitIndicesWide(indices, n, base, b);
#endif
    splitIndicesScalar(indices, 0, n, base, b);
}

__attribute__((always_inline)) inline char* putSplitIndex(char* p, const IndexBatch& b, int i, std::int32_t index,
                                                          std::int32_t base) {
    const std::int32_t skip = b.skip[i];
    if (skip < 0) return KVObjTextWriter::formatInt(p, wrapAdd(index, base));
    std::memcpy(p, b.digits[i] + skip, 8);  // the bytes past the number are overwritten later
    return p + 8 - skip;
}

}  // namespace

bool KVObjTextWriter::useWideVectors(bool allowed) {
    g_wideVectorsAllowed = allowed;
    return cpuHasWideVectors();
}

template <int kPerLine, std::size_t kPrefixLength>
void KVObjTextWriter::writeFloatLines(const float* x, int lineCount, const char* prefix) {
    FloatBatch batch;
    constexpr int kLinesPerBatch = FloatBatch::kSize / kPerLine;
    for (int first = 0; first < lineCount; first += kLinesPerBatch) {
        const int n = lineCount - first < kLinesPerBatch ? lineCount - first : kLinesPerBatch;
        const float* run = x + static_cast<std::size_t>(first) * kPerLine;
        splitFloats(run, kPerLine * n, batch);
        char* p = m_pos;  // kept in a register across the lines
        for (int k = 0; k < n; ++k) {
            p = putText(lineRoom(p), prefix, kPrefixLength);
            for (int c = 0; c < kPerLine; ++c) {
                if (c > 0) *p++ = ' ';
                p = putSplit(p, batch, kPerLine * k + c, run[kPerLine * k + c]);
            }
            *p++ = '\n';
        }
        m_pos = p;
    }
}

void KVObjTextWriter::writeVertices(const KVVector3f* points, int count) {
    static_assert(sizeof(KVVector3f) == 3 * sizeof(float), "points are read as a run of floats");
    if (count > 0) writeFloatLines<3, 2>(&points[0].x, count, "v ");
}

void KVObjTextWriter::writeUVs(const KVVector2f* uvs, int count) {
    static_assert(sizeof(KVVector2f) == 2 * sizeof(float), "UVs are read as a run of floats");
    if (count > 0) writeFloatLines<2, 3>(&uvs[0].u, count, "vt ");
}

namespace {

// The UV slot numbers run t + 1, t + 2, ... through a whole mesh. Each is written as its tens
// (kept as text in a register, formatted again only when they change, once in ten) and its last
// digit, instead of being formatted whole every time.
class SlotText {
public:
    explicit SlotText(std::uint32_t first) : m_units(first % 10) { setTens(first / 10); }
    // Needs 9 bytes of room at p; the bytes past the number are overwritten later.
    char* put(char* p) const {
        std::memcpy(p, &m_tens, 8);
        p[m_tensLength] = static_cast<char>('0' + m_units);
        return p + m_tensLength + 1;
    }
    void next() {
        if (++m_units == 10) {
            m_units = 0;
            setTens(m_tensValue + 1);
        }
    }

private:
    // tens < 10^8; its text without leading zeros, nothing at all for 0.
    void setTens(std::uint32_t tens) {
        m_tensValue = tens;
        if (tens == 0) {
            m_tens = 0;
            m_tensLength = 0;
            return;
        }
        const std::uint64_t word = eightDigitsWord(tens);
        const unsigned zeros = static_cast<unsigned>(__builtin_ctzll(word ^ 0x3030303030303030ull)) / 8;
        m_tens = word >> (8 * zeros);
        m_tensLength = 8 - zeros;
    }

    std::uint64_t m_tens = 0;
    unsigned m_tensLength = 0;
    std::uint32_t m_tensValue = 0;
    std::uint32_t m_units;
};

}  // namespace

void KVObjTextWriter::writeFaces(const int* indices, int faceCount, std::int32_t vertexOffset, bool withUVs,
                                 std::int32_t uvOffset) {
    // Each index is written + vertexOffset + 1, each UV slot + uvOffset + 1, in the same wrapping
    // 32-bit arithmetic as the indices.
    const std::int32_t base = wrapAdd(vertexOffset, 1);
    std::int32_t t = wrapAdd(uvOffset, 1);
    const std::int64_t lastSlot = static_cast<std::int64_t>(t) + 4 * static_cast<std::int64_t>(faceCount) - 1;
    const bool countSlots = kLittleEndian && t >= 1 && lastSlot < 1000000000;
    if (!withUVs || countSlots) {
        // Slots stay positive, below 10^9 and never wrap: counted as text.
        SlotText slot(countSlots ? static_cast<std::uint32_t>(t) : 1u);
        IndexBatch batch;
        // The two line forms, told apart at compile time.
        auto writeLines = [&](auto uvTag) {
            constexpr bool kUVs = decltype(uvTag)::value;
            for (int first = 0; first < faceCount; first += IndexBatch::kFaces) {
                const int n = faceCount - first < IndexBatch::kFaces ? faceCount - first : IndexBatch::kFaces;
                const int* faces = indices + 4 * static_cast<std::size_t>(first);
                splitIndices(faces, 4 * n, base, batch);
                char* p = m_pos;  // kept in a register across the lines
                for (int k = 0; k < n; ++k) {
                    const int* face = faces + 4 * k;
                    auto corner = [&](int c) {
                        *p++ = ' ';
                        p = putSplitIndex(p, batch, 4 * k + c, face[c], base);
                        if constexpr (kUVs) {
                            *p++ = '/';
                            p = slot.put(p);
                            slot.next();
                        }
                    };
                    p = lineRoom(p);
                    *p++ = 'f';
                    corner(0);
                    corner(1);
                    corner(2);
                    if (face[3] >= 0)
                        corner(3);
                    else if constexpr (kUVs)
                        slot.next();  // a triangle leaves its fourth slot unused
                    *p++ = '\n';
                }
                m_pos = p;
            }
        };
        if (withUVs)
            writeLines(std::true_type{});
        else
            writeLines(std::false_type{});
        return;
    }
    // UV slots that wrap or run past 10^9: each one formatted.
    for (int k = 0; k < faceCount; ++k) {
        const int* face = indices + 4 * static_cast<std::size_t>(k);
        const int corners = face[3] >= 0 ? 4 : 3;
        char* p = room(kLineRoom);
        *p++ = 'f';
        for (int c = 0; c < corners; ++c) {
            *p++ = ' ';
            p = putIndex(p, wrapAdd(face[c], base));
            *p++ = '/';
            p = putIndex(p, wrapAdd(t, c));
        }
        *p++ = '\n';
        m_pos = p;
        t = wrapAdd(t, 4);
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
