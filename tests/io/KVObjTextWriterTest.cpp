// KVObjTextWriter: number formatting against the C library, and the text it writes to real files.
#include <gtest/gtest.h>

#include <cfenv>
#include <cfloat>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "PluginHost.h"
#include "io/KVObjTextWriter.h"

namespace {

float floatFromBits(std::uint32_t bits) {
    float f;
    std::memcpy(&f, &bits, sizeof(f));
    return f;
}

std::string ours(float x) {
    char buf[KVObjTextWriter::kMaxFloatChars];
    char* end = KVObjTextWriter::formatFloat9(buf, x);
    EXPECT_LE(end - buf, KVObjTextWriter::kMaxFloatChars);
    return std::string(buf, end);
}

std::string theirs(float x) {
    char buf[128];
    std::snprintf(buf, sizeof(buf), "%.9f", static_cast<double>(x));
    return buf;
}

std::string oursInt(std::int32_t n) {
    char buf[KVObjTextWriter::kMaxIntChars];
    return std::string(buf, KVObjTextWriter::formatInt(buf, n));
}

// Values where an exact formatter most easily goes wrong: specials, the fast path's borders,
// exact ties at the ninth decimal (k / 2^10 and friends), the rounding-to-zero border.
std::vector<float> cornerValues() {
    std::vector<float> v = {0.0f, -0.0f, INFINITY, -INFINITY, NAN, -NAN, FLT_MAX, -FLT_MAX, FLT_MIN,
                            -FLT_MIN, FLT_TRUE_MIN, -FLT_TRUE_MIN, FLT_EPSILON, 1.0f, -1.0f, 0.5f,
                            0.1f, -0.1f, 1e-9f, -1e-9f, 5e-10f, -5e-10f, 4.9999e-10f, 1e9f, 1e10f,
                            0.0009765625f, 0.0029296875f, -0.0009765625f, 123456.789f, 16777215.0f,
                            16777216.0f, 16777217.0f, 4294967296.0f, 18446744073709551616.0f,
                            1e20f, 1e30f, 3e38f, 0.999999999f, 9.9999999e-1f, 999999.9999999f};
    for (int e = -80; e <= 128; ++e) {
        const float p = std::ldexp(1.0f, e);
        for (float x : {p, std::nextafter(p, 0.0f), std::nextafter(p, INFINITY)}) {
            v.push_back(x);
            v.push_back(-x);
        }
    }
    // Quiet and signalling NaNs with payloads, both signs.
    for (std::uint32_t bits : {0x7F800001u, 0x7FC00000u, 0x7FFFFFFFu, 0xFF800001u, 0xFFC00000u, 0xFFFFFFFFu})
        v.push_back(floatFromBits(bits));
    return v;
}

// What the writer must produce, built with the C library.
std::string referenceVertex(const KVVector3f& p) {
    char buf[256];
    std::snprintf(buf, sizeof(buf), "v %.9f %.9f %.9f\n", double(p.x), double(p.y), double(p.z));
    return buf;
}

std::string referenceUV(const KVVector2f& t) {
    char buf[256];
    std::snprintf(buf, sizeof(buf), "vt %.9f %.9f\n", double(t.u), double(t.v));
    return buf;
}

// Faces as "%d" / "%d/%lld" corners, a negative fourth index making a triangle.
std::string referenceFaces(const std::vector<int>& idx, int vo, bool uv, int uo) {
    std::string out;
    char buf[64];
    for (std::size_t k = 0; k < idx.size() / 4; ++k) {
        out += 'f';
        for (int c = 0; c < (idx[4 * k + 3] >= 0 ? 4 : 3); ++c) {
            const long long t = uo + 4LL * static_cast<long long>(k) + c + 1;
            if (uv) std::snprintf(buf, sizeof(buf), " %d/%lld", idx[4 * k + c] + vo + 1, t);
            else std::snprintf(buf, sizeof(buf), " %d", idx[4 * k + c] + vo + 1);
            out += buf;
        }
        out += '\n';
    }
    return out;
}

// The corner values, then n random floats with exponents from `low` over `span` (any sign and mantissa).
std::vector<float> cornerAndRandom(unsigned seed, int n, unsigned low, unsigned span) {
    std::mt19937 rng(seed);
    std::vector<float> v = cornerValues();
    for (int i = 0; i < n; ++i) v.push_back(floatFromBits((rng() & 0x807FFFFFu) | ((low + rng() % span) << 23)));
    return v;
}

// Writes through a 1 KiB or 4 KiB buffer into a real file, on the scalar path and (where the
// processor has one) the wide vector path, and expects `expected` in the file both times.
template <typename Write>
void expectOnEveryPath(std::size_t bufferSize, const std::string& expected, Write write) {
    TempFolder folder;
    const std::string path = folder.file("out.obj");
    const bool wide = KVObjTextWriter::useWideVectors(true);
    for (bool allowWide : {false, true}) {
        SCOPED_TRACE(allowWide && wide ? "wide vectors" : "scalar");
        KVObjTextWriter::useWideVectors(allowWide);
        FILE* file = std::fopen(path.c_str(), "w");
        ASSERT_NE(file, nullptr);
        {
            KVObjTextWriter writer(file, bufferSize);
            write(writer);
            EXPECT_EQ(writer.getByteCount(), expected.size());
            EXPECT_TRUE(writer.flush());
        }
        std::fclose(file);
        std::string got;
        ASSERT_TRUE(readFile(path, got));
        const std::size_t at = static_cast<std::size_t>(std::mismatch(got.begin(), got.end(), expected.begin(), expected.end()).first - got.begin());
        EXPECT_TRUE(got == expected) << "first difference at byte " << at << ": got \"" << got.substr(at < 40 ? 0 : at - 40, 80)
                                     << "\" expected \"" << expected.substr(at < 40 ? 0 : at - 40, 80) << "\"";
    }
    KVObjTextWriter::useWideVectors(true);
}

}  // namespace

TEST(KVObjTextWriterFormat, CornerAndRandomValuesMatchPrintf) {
    std::mt19937 rng(20240611u);
    std::vector<float> values = cornerValues();
    for (int i = 0; i < 2000000; ++i) values.push_back(floatFromBits(rng()));  // every exponent, uniformly
    // Exponents of mesh coordinates (about 1e-6 to 1e7), where ties and carries concentrate.
    const std::vector<float> mesh = cornerAndRandom(7u, 2000000, 100u, 60u);
    values.insert(values.end(), mesh.begin(), mesh.end());
    for (float x : values) {
        std::uint32_t bits;
        std::memcpy(&bits, &x, sizeof(bits));
        ASSERT_EQ(ours(x), theirs(x)) << "bits 0x" << std::hex << bits;
    }
    EXPECT_EQ(ours(-0.0f), "-0.000000000");
    EXPECT_EQ(ours(-1e-12f), "-0.000000000");
    EXPECT_EQ(ours(-NAN), "-nan");
    EXPECT_EQ(ours(0.0009765625f), "0.000976562");  // exact tie, rounded to even
    EXPECT_EQ(ours(0.0029296875f), "0.002929688");
    EXPECT_EQ(static_cast<int>(ours(-FLT_MAX).size()), KVObjTextWriter::kMaxFloatChars);
}

// Runs of vertices and UVs go through the batch path (four floats at a time on a wide vector
// unit): the same text as printf on the vector path and on the scalar one, batch edges included.
TEST(KVObjTextWriterFormat, RunsOfVerticesAndUVsMatchPrintfOnEveryPath) {
    std::mt19937 rng(5u);
    std::vector<float> values = cornerAndRandom(6u, 300000, 90u, 50u);
    for (int i = 0; i < 300000; ++i) values.push_back(floatFromBits(rng()));
    while (values.size() % 6 != 4) values.push_back(0.5f);  // a last batch that is not full
    std::string expected;
    for (std::size_t i = 0; i + 2 < values.size(); i += 3) expected += referenceVertex({values[i], values[i + 1], values[i + 2]});
    for (std::size_t i = 0; i + 1 < values.size(); i += 2) expected += referenceUV({values[i], values[i + 1]});
    expectOnEveryPath(4096, expected, [&](KVObjTextWriter& writer) {
        writer.writeVertices(reinterpret_cast<const KVVector3f*>(values.data()), static_cast<int>(values.size() / 3));
        writer.writeUVs(reinterpret_cast<const KVVector2f*>(values.data()), static_cast<int>(values.size() / 2));
    });
}

// Whole integers, and the portable path for the last eight decimals (which builds without a
// vector unit take): around each power of ten and at random.
TEST(KVObjTextWriterFormat, IntegersAndEightDigitGroupsMatchPrintf) {
    std::mt19937 rng(7u);
    std::vector<std::int32_t> values = {0, INT_MAX, INT_MIN, INT_MIN + 1, 99990000, 50000000};
    for (std::int32_t p = 1; p <= 100000000; p *= 10)
        for (std::int32_t x : {p - 1, p, p + 1}) values.insert(values.end(), {x, -x});
    for (int i = 0; i < 1000000; ++i) values.push_back(static_cast<std::int32_t>(rng()) >> (rng() % 32));
    for (std::int32_t n : values) {
        char buf[32];
        std::snprintf(buf, sizeof(buf), "%d", n);
        ASSERT_EQ(oursInt(n), buf);
        const std::uint32_t eight = static_cast<std::uint32_t>(n) % 100000000u;
        char digits[9] = {};
        std::snprintf(buf, sizeof(buf), "%08u", static_cast<unsigned>(eight));
        ASSERT_EQ(KVObjTextWriter::formatEightDigitsPortable(digits, eight), digits + 8);
        ASSERT_EQ(std::string(digits, 8), buf) << eight;
    }
}

// A host that changes the rounding mode must still get the default rounding of the text.
TEST(KVObjTextWriterFormat, IndependentOfRoundingMode) {
    const std::vector<float> values = cornerAndRandom(99u, 200000, 90u, 70u);
    std::vector<std::string> expected;
    for (float x : values) expected.push_back(theirs(x));

    const int saved = std::fegetround();
    for (int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        ASSERT_EQ(std::fesetround(mode), 0);
        bool printfFollowsMode = false;
        for (std::size_t i = 0; i < values.size(); ++i) {
            const std::string got = ours(values[i]);
            if (got != expected[i]) {
                std::fesetround(saved);
                FAIL() << "mode " << mode << " value " << expected[i] << " gave " << got;
            }
            printfFollowsMode = printfFollowsMode || theirs(values[i]) != expected[i];
        }
        // Otherwise this test would prove nothing about the mode.
        EXPECT_TRUE(printfFollowsMode) << "mode " << mode;
    }
    std::fesetround(saved);
}

// A host that sets a locale with a decimal comma must still get a point.
TEST(KVObjTextWriterFormat, IndependentOfLocale) {
    const std::vector<float> values = cornerAndRandom(5u, 100000, 100u, 60u);
    std::vector<std::string> expected;
    for (float x : values) expected.push_back(theirs(x));

    const std::string saved = std::setlocale(LC_NUMERIC, nullptr);
    const char* found = nullptr;
    for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8", "de_DE", "fr_FR"}) {
        if (std::setlocale(LC_NUMERIC, name) != nullptr) {
            found = name;
            break;
        }
    }
    if (found == nullptr) {
        // C.UTF-8 always exists; it has a point, but still switches the library's locale data.
        ASSERT_NE(std::setlocale(LC_NUMERIC, "C.UTF-8"), nullptr);
    }
    std::vector<std::string> got;
    for (float x : values) got.push_back(ours(x));
    const std::string underLocale = theirs(1.5f);
    std::setlocale(LC_NUMERIC, saved.c_str());

    for (std::size_t i = 0; i < values.size(); ++i) ASSERT_EQ(got[i], expected[i]);
    if (found == nullptr) GTEST_SKIP() << "no locale with a decimal comma is installed";
    EXPECT_EQ(underLocale, "1,500000000") << found;
}

// Lines written through a small buffer (many block boundaries) reach the file whole and in order.
TEST(KVObjTextWriter, WritesTheSameTextAsPrintfAcrossBlocks) {
    std::mt19937 rng(3u);
    std::uniform_real_distribution<float> coord(-500.0f, 500.0f);
    std::vector<KVVector3f> points(3000);
    for (auto& p : points) p = {coord(rng), coord(rng), coord(rng)};
    std::vector<KVVector2f> uvs(1200);
    for (auto& t : uvs) t = {coord(rng) / 500.0f, coord(rng) / 500.0f};
    std::vector<int> faces;
    for (int k = 0; k < 300; ++k) {
        for (int c = 0; c < 3; ++c) faces.push_back(static_cast<int>(rng() % 3000));
        faces.push_back(k % 3 == 0 ? -1 : static_cast<int>(rng() % 3000));
    }
    const std::string longName(5000, 'n');

    std::string expected = "# header\n";
    for (const auto& p : points) expected += referenceVertex(p);
    for (const auto& t : uvs) expected += referenceUV(t);
    expected += "g subtool1\nusemtl mat1\n" + referenceFaces(faces, 0, true, 0);
    expected += "g subtool12\nusemtl mat12\n" + referenceFaces(faces, 3000, true, 1200);
    expected += "g subtool3\n" + referenceFaces(faces, 123456789, false, 0);
    // UV slots growing past eight digits, and slots running past 10^9.
    expected += referenceFaces(faces, 0, true, 99999000) + referenceFaces(faces, 0, true, 999999000);
    // Vertex numbers crossing 10^8, where the digit path hands over to the general one.
    expected += referenceFaces(faces, 99998000, false, 0) + referenceFaces(faces, 99998000, true, 7);
    expected += "newmtl mat7\nmap_Kd " + longName + "\nmtllib x.mtl\n";

    expectOnEveryPath(1024, expected, [&](KVObjTextWriter& writer) {
        writer.writeText("# header\n");
        writer.writeVertices(points.data(), static_cast<int>(points.size()));
        writer.writeUVs(uvs.data(), static_cast<int>(uvs.size()));
        writer.writeSubToolGroup(1);
        writer.writeUseMaterial(1);
        writer.writeFaces(faces.data(), 300, 0, true, 0);
        writer.writeSubToolGroup(12);
        writer.writeUseMaterial(12);
        writer.writeFaces(faces.data(), 300, 3000, true, 1200);
        writer.writeSubToolGroup(3);
        writer.writeFaces(faces.data(), 300, 123456789, false, 0);
        writer.writeFaces(faces.data(), 300, 0, true, 99999000);
        writer.writeFaces(faces.data(), 300, 0, true, 999999000);
        writer.writeFaces(faces.data(), 300, 99998000, false, 0);
        writer.writeFaces(faces.data(), 300, 99998000, true, 7);
        writer.writeNewMaterial(7);
        writer.writeKeywordLine("map_Kd", longName.c_str());
        writer.writeKeywordLine("mtllib", "x.mtl");
    });
}

// Indices past the 32-bit range wrap as the int arithmetic of "%d" arguments does.
TEST(KVObjTextWriter, FaceIndicesWrapLikeIntArithmetic) {
    const int face[4] = {INT_MAX, 5, -7, 0};
    expectOnEveryPath(4096, "f -2147483647/2147483647 7/-2147483648 -5/-2147483647 2/-2147483646\n",
                      [&](KVObjTextWriter& writer) { writer.writeFaces(face, 1, 1, true, INT_MAX - 1); });
}

TEST(KVObjTextWriter, ReportsAShortWrite) {
    FILE* full = std::fopen("/dev/full", "w");
    if (full == nullptr) GTEST_SKIP() << "/dev/full is not available";
    {
        KVObjTextWriter writer(full, 4096);
        for (int i = 0; i < 1000; ++i) writer.writeVertex(1.0f, 2.0f, 3.0f);
        EXPECT_FALSE(writer.flush());
        EXPECT_FALSE(writer.isGood());
    }
    std::fclose(full);

    KVObjTextWriter sink(nullptr, 4096);  // no stream: text is counted and dropped
    for (int i = 0; i < 1000; ++i) sink.writeUV(0.25f, 0.5f);
    EXPECT_TRUE(sink.flush());
    EXPECT_EQ(sink.getByteCount(), 1000u * std::string("vt 0.250000000 0.500000000\n").size());
}
