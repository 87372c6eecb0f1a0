// The mesh registry commands through the loaded module: declarations, deletion and host-memory boxes.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "../qtutils/TestImages.h"
#include "PluginTestSupport.h"

using Floats = std::vector<float>;

namespace {

const PluginHost& host() { return sharedPluginHost(); }

// Host blocks of exactly the size a script would pass, so one byte too far is out of bounds.
std::unique_ptr<char[]> block(std::size_t bytes, char fill) {
    std::unique_ptr<char[]> b(new char[bytes]);
    std::memset(b.get(), fill, bytes);
    return b;
}

void putFloats(char* b, std::size_t at, const Floats& values) {
    std::memcpy(b + at, values.data(), values.size() * sizeof(float));
}

Floats floatsAt(const char* b, std::size_t at, int n) {
    Floats v(static_cast<std::size_t>(n));
    std::memcpy(v.data(), b + at, v.size() * sizeof(float));
    return v;
}

// A mesh exchange file: a block the reader does not know, then (optionally) the points.
std::string kelFile(const Floats& xyz, bool withPoints = true) {
    std::vector<testsupport::KelBlock> blocks{{777, 2, std::string(8, '\x7f')}};
    if (withPoints) blocks.push_back({10001, static_cast<std::uint32_t>(xyz.size() / 3), testsupport::bytesOf(xyz)});
    return testsupport::kelBytes(blocks);
}

const Floats kPoints = {1, 2, 3, -4, 5, 0.5f, 2, -6, 9};
const Floats kPointsBox = {-4, -6, 0.5f, 2, 5, 9};

}  // namespace

// ---- Boxes

// The index is biased and truncated; only the two emptying floats change; no index, no write.
TEST(InitBBox3D, EmptiesTheIndexedRecordOnlyAndRefusesWhatIsNoIndex) {
    auto boxes = block(72, '\x11');
    const Floats before = floatsAt(boxes.get(), 0, 18);
    EXPECT_EQ(host().call("InitBBox3D", nullptr, 1.95, boxes.get(), 72), 0.0f);  // index 2: bytes 48-71
    Floats expected = before;
    expected[12] = 0.0f;
    expected[15] = -1.0f;
    EXPECT_EQ(floatsAt(boxes.get(), 0, 18), expected);
    EXPECT_EQ(host().call("InitBBox3D", nullptr, -0.05, boxes.get(), 72), 0.0f);  // index 0
    expected[0] = 0.0f;
    expected[3] = -1.0f;
    EXPECT_EQ(floatsAt(boxes.get(), 0, 18), expected);

    EXPECT_EQ(host().call("InitBBox3D", nullptr, 0.0, nullptr, 0), -1.0f);
    // Negative, beyond the int range, NaN: no index.
    for (double wild : {-2.0, 1e12, -1e12, 2147483647.95, std::nan("")}) {
        EXPECT_EQ(host().call("InitBBox3D", nullptr, wild, boxes.get(), 72), 0.0f) << wild;
        EXPECT_EQ(floatsAt(boxes.get(), 0, 18), expected) << wild;
    }
}

// The growth rules are the box's own (unit-tested); here the two records are read from the host's
// block, the first is rewritten and the second left as it was.
TEST(AddBBox3D, GrowsTheFirstBoxByTheSecond) {
    const Floats second = {-2, 0.5f, 0.5f, 0.5f, 0.5f, 3};
    auto boxes = block(48, 0);
    putFloats(boxes.get(), 0, {0, 0, 0, 1, 1, 1});
    putFloats(boxes.get(), 24, second);
    EXPECT_EQ(host().call("AddBBox3D", nullptr, 0.0, boxes.get(), 48), 0.0f);
    EXPECT_EQ(floatsAt(boxes.get(), 0, 6), (Floats{-2, 0, 0, 1, 1, 3}));
    EXPECT_EQ(floatsAt(boxes.get(), 24, 6), second);
    EXPECT_EQ(host().call("AddBBox3D", nullptr, 0.0, nullptr, 0), -1.0f);
}

// The value is a byte offset, not an index; blocks it cannot address are refused untouched.
TEST(GetBBoxFromKelFile, FillsTheBoxAtAByteOffsetAndRefusesWhatItCannotAddressOrRead) {
    TempFolder dir;
    const std::string kel = dir.file("m.kel");
    ASSERT_TRUE(writeFile(kel, kelFile(kPoints)));
    auto b = block(25, '\x33');  // one box, one byte in: the last float ends at the last byte
    EXPECT_EQ(host().call("GetBBoxFromKelFile", kel.c_str(), 1.0, b.get(), 25), 0.0f);
    EXPECT_EQ(floatsAt(b.get(), 1, 6), kPointsBox);
    EXPECT_EQ(b[0], '\x33');
    auto second = block(48, 0);
    EXPECT_EQ(host().call("GetBBoxFromKelFile", ("file:" + kel).c_str(), 23.95, second.get(), 48), 0.0f);
    EXPECT_EQ(floatsAt(second.get(), 24, 6), kPointsBox);
    EXPECT_EQ(floatsAt(second.get(), 0, 6), Floats(6, 0.0f));

    EXPECT_EQ(host().call("GetBBoxFromKelFile", kel.c_str(), 0.0, nullptr, 0), -1.0f);
    EXPECT_EQ(host().call("GetBBoxFromKelFile", kel.c_str(), 48.0, nullptr, 0), -1.0f);
    auto small = block(24, '\x44');
    EXPECT_EQ(host().call("GetBBoxFromKelFile", kel.c_str(), -24.0, small.get(), 24), -1.0f);
    EXPECT_EQ(host().call("GetBBoxFromKelFile", kel.c_str(), 1e12, small.get(), 24), -1.0f);
    EXPECT_EQ(floatsAt(small.get(), 0, 6), floatsAt(block(24, '\x44').get(), 0, 6));

    // An unreadable file answers -1 with the box emptied.
    ASSERT_TRUE(writeFile(dir.file("nopoints.kel"), kelFile({}, false)));
    ASSERT_TRUE(writeFile(dir.file("bad.kel"), "Kelx" + std::string(60, '\0')));
    for (const std::string& name : {dir.file("nopoints.kel"), dir.file("bad.kel"), dir.file("none.kel")}) {
        auto b = block(24, 0);
        putFloats(b.get(), 0, {5, 6, 7, 8, 9, 10});
        EXPECT_EQ(host().call("GetBBoxFromKelFile", name.c_str(), 0.0, b.get(), 24), -1.0f) << name;
        EXPECT_EQ(floatsAt(b.get(), 0, 6), (Floats{0, 6, 7, -1, 9, 10})) << name;
    }
}

// ---- Declarations

TEST(DeleteDeclaredKelFiles, DeletesEveryDeclaredFileAndKeepsTheNamesUntilTheNextPass) {
    TempFolder dir;
    const std::string a = dir.file("a.kel"), b = dir.file("b.kel");
    const PluginHost& h = host();
    EXPECT_EQ(h.call("StartDeclareKelFiles"), 0.0f);
    EXPECT_EQ(h.call("AddOneKelFile", a.c_str()), 0.0f);
    EXPECT_EQ(h.call("AddOneKelFile", dir.file("never.kel").c_str()), 0.0f);
    EXPECT_EQ(h.call("AddOneKelFile", nullptr), 0.0f);
    EXPECT_EQ(h.call("AddOneKelFile", ("file:" + b).c_str()), 0.0f);
    EXPECT_EQ(h.call("DeclareLastKelInvisible"), 0.0f);
    EXPECT_EQ(h.call("DeclareLastKelOutputFile", dir.file("b_out.kel").c_str()), 0.0f);
    EXPECT_EQ(h.call("SetCurrentKelFile", a.c_str()), 0.0f);
    EXPECT_EQ(h.call("EndDeclareKelFiles"), 0.0f);

    ASSERT_TRUE(writeFile(a, "a"));
    ASSERT_TRUE(writeFile(b, "b"));
    EXPECT_EQ(h.call("DeleteDeclaredKelFiles"), 0.0f);
    EXPECT_FALSE(pathExists(a));
    EXPECT_FALSE(pathExists(b));
    // The names are still declared: files written again go again.
    ASSERT_TRUE(writeFile(a, "a"));
    EXPECT_EQ(h.call("DeleteDeclaredKelFiles"), 0.0f);
    EXPECT_FALSE(pathExists(a));
    // A new pass forgets them.
    ASSERT_TRUE(writeFile(b, "b"));
    EXPECT_EQ(h.call("StartDeclareKelFiles"), 0.0f);
    EXPECT_EQ(h.call("DeleteDeclaredKelFiles"), 0.0f);
    EXPECT_TRUE(pathExists(b));
}

TEST(KelRegistry, LastEntryCommandsWithNothingDeclaredChangeNothing) {
    TempFolder dir;
    const std::string png = dir.file("skin.png");
    ASSERT_TRUE(testimages::writeBytes(png, testimages::encodePng(testimages::makeGradient(4, 4))));
    const PluginHost& h = host();
    EXPECT_EQ(h.call("StartDeclareKelFiles"), 0.0f);
    EXPECT_EQ(h.call("DeclareLastKelInvisible"), 0.0f);
    EXPECT_EQ(h.call("DeclareLastKelOutputFile", "/out/x.kel"), 0.0f);
    EXPECT_EQ(h.call("DeclareLastKelOutputFile", nullptr), 0.0f);
    EXPECT_EQ(h.call("SetTextureExt", "bmp"), 0.0f);
    EXPECT_EQ(h.call("SetTextureFileNameForLastKel", png.c_str()), 0.0f);
    EXPECT_EQ(h.call("SetTextureFileNameForLastKel", nullptr), 0.0f);
    EXPECT_EQ(testsupport::folderNames(dir.path()), (std::set<std::string>{"skin.png"}));
}

// The target format is chosen whatever the case and a texture already in it is left alone; the
// quality reaches the converter.
TEST(SetTextureExt, ChoosesTheTargetFormatSkipsMatchingTexturesAndPassesTheQuality) {
    if (!PluginHost::hasImageWrapper()) GTEST_SKIP() << "no image wrapper in this build";
    TempFolder dir;
    const PluginHost& h = host();
    const std::string png = dir.file("skin.png"), picture = testimages::encodePng(testimages::makeGradient(64, 64));
    for (const char* name : {"skin.png", "low.png", "high.png"}) ASSERT_TRUE(testimages::writeBytes(dir.file(name), picture));
    EXPECT_EQ(h.call("StartDeclareKelFiles"), 0.0f);
    EXPECT_EQ(h.call("AddOneKelFile", dir.file("a.kel").c_str()), 0.0f);

    EXPECT_EQ(h.call("SetTextureExt", "PNG"), 0.0f);
    EXPECT_EQ(h.call("SetTextureFileNameForLastKel", png.c_str()), 0.0f);
    EXPECT_EQ(testsupport::folderNames(dir.path()), (std::set<std::string>{"skin.png", "low.png", "high.png"}));

    EXPECT_EQ(h.call("SetTextureExt", "tif"), 0.0f);
    EXPECT_EQ(h.call("SetTextureFileNameForLastKel", png.c_str()), 0.0f);
    EXPECT_FALSE(pathExists(png));
    EXPECT_EQ(testimages::readBytes(dir.file("skin.tif")).substr(0, 4), std::string("II*\0", 4));

    EXPECT_EQ(h.call("SetTextureExt", "jpg"), 0.0f);
    EXPECT_EQ(h.call("SetTextureQuality", nullptr, 4.95), 0.0f);
    EXPECT_EQ(h.call("SetTextureFileNameForLastKel", dir.file("low.png").c_str()), 0.0f);
    EXPECT_EQ(h.call("SetTextureQuality", nullptr, 99.95), 0.0f);
    EXPECT_EQ(h.call("SetTextureFileNameForLastKel", dir.file("high.png").c_str()), 0.0f);
    const std::string low = testimages::readBytes(dir.file("low.jpg"));
    ASSERT_FALSE(low.empty());
    EXPECT_LT(low.size(), testimages::readBytes(dir.file("high.jpg")).size());
}
