// InitTrimora and GetDefaultNumThreads through the loaded module: preferences, the repeat answer, cleaning.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "PluginTestSupport.h"
#include "ProgressiveMesh/KVTrimoraDefs.h"

using testsupport::folderNames;
using Names = std::set<std::string>;

namespace {

struct Answer {
    float result;
    float values[6];  // one more than written, to see that only five are
};

Answer init(const std::string& folder) {
    Answer a;
    std::fill(std::begin(a.values), std::end(a.values), -99.0f);
    a.result = sharedPluginHost().call("InitTrimora", folder.c_str(), 0.0, a.values, sizeof a.values);
    return a;
}

void touch(const TempFolder& dir, const std::vector<std::string>& files) {
    for (const std::string& f : files) ASSERT_TRUE(writeFile(dir.file(f), "x")) << f;
}

// The default thread count for this machine, unbiased (the rule's steps are checked on their own).
float defaultThreads() {
    return static_cast<float>(numDefaultThreadsFor(static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN))));
}

}  // namespace

// Without preferences (or without the folder at all) the defaults are handed over.
TEST(InitTrimora, NullTextWritesNothingAndWithoutPreferencesHandsOverTheDefaults) {
    float values[5] = {-1, -1, -1, -1, -1};
    EXPECT_EQ(sharedPluginHost().call("InitTrimora", nullptr, 0.0, values, sizeof values), 0.0f);
    EXPECT_EQ(sharedPluginHost().call("InitTrimora", "", 0.0, values, sizeof values), 0.0f);
    for (float v : values) EXPECT_EQ(v, -1.0f);

    EXPECT_EQ(sharedPluginHost().call("GetDefaultNumThreads"), defaultThreads());
    TempFolder dir;
    const float expected[6] = {1.2f, defaultThreads() + 0.2f, 50.0f, 1.2f, 1.2f, -99.0f};
    for (const std::string& folder : {dir.path(), dir.file("does/not/exist")}) {
        const Answer a = init(folder);
        EXPECT_FLOAT_EQ(a.result, 1.2f) << folder;
        for (int i = 0; i < 6; ++i) EXPECT_FLOAT_EQ(a.values[i], expected[i]) << folder << " " << i;
    }
}

// Every value of the preferences file, then only one; with CleanAtStart off the caches stay.
TEST(InitTrimora, HandsOverThePreferencesFileOfTheFolder) {
    TempFolder dir;
    ASSERT_TRUE(writeFile(dir.file("YDecimator.ypr"),
                          "UniformMesh = No\r\nNumThread = 6.9\r\nColorRatio = 12.5\r\nCleanAtStart = #f\r\n"
                          "BackgroundPreprocess = 0\r\n"));
    const Answer a = init("file:" + dir.path());
    EXPECT_FLOAT_EQ(a.result, 1.2f);
    const float expected[5] = {0.2f, 6.2f, 12.5f, 0.2f, 0.2f};
    for (int i = 0; i < 5; ++i) EXPECT_FLOAT_EQ(a.values[i], expected[i]) << i;
    EXPECT_TRUE(pathExists(dir.file("YDecimator.ypr")));

    TempFolder other;
    ASSERT_TRUE(writeFile(other.file("YDecimator.ypr"), "CleanAtStart = No\n"));
    touch(other, {"m.ypm", "M2.YPM", "job.ydc", "t.png"});
    const Answer b = init(other.path());
    const float expectedB[5] = {1.2f, defaultThreads() + 0.2f, 50.0f, 0.2f, 1.2f};
    for (int i = 0; i < 5; ++i) EXPECT_FLOAT_EQ(b.values[i], expectedB[i]) << i;
    EXPECT_EQ(folderNames(other.path()), (Names{"YDecimator.ypr", "m.ypm", "M2.YPM", "t.png"}));
}

TEST(InitTrimora, SameFolderAgainOnlyAnswersTheRepeat) {
    TempFolder dir;
    ASSERT_FLOAT_EQ(init(dir.path()).result, 1.2f);
    touch(dir, {"late.kel"});
    const Answer again = init(dir.path());
    EXPECT_FLOAT_EQ(again.result, 0.2f);
    EXPECT_EQ(again.values[0], -99.0f);  // nothing written
    EXPECT_TRUE(pathExists(dir.file("late.kel")));  // nothing removed

    // With a trailing separator the stored folder differs (it was stored without): a full start.
    const Answer slash = init(dir.path() + "/");
    EXPECT_FLOAT_EQ(slash.result, 1.2f);
    EXPECT_FLOAT_EQ(slash.values[2], 50.0f);
    EXPECT_FALSE(pathExists(dir.file("late.kel")));
    EXPECT_FLOAT_EQ(init(dir.path() + "/").result, 1.2f);
    EXPECT_FLOAT_EQ(init(dir.path()).result, 0.2f);
}

// Leftovers go by extension in any case, whatever kind of entry they are, without recursion;
// near misses stay. Ten thousand entries, so that deleting while reading the folder skips none.
TEST(InitTrimora, CleaningRemovesLeftOversByExtensionAndKeepsTheRest) {
    TempFolder dir;
    static const char* const removed[] = {".ydc", ".log", ".running", ".ymesh", ".data", ".ypm", ".kel", ".obj",
                                          ".obj.colors", ".KEL", ".Obj.Colors", ".YDC", ".LOG", ".Ymesh",
                                          ".ydc.running"};
    static const char* const kept[] = {".ypr", ".png", ".txt", ".kelx", ".obj.bak", "_kel", ".ydcx", ""};
    Names expectedLeft{"kel", "sub"};
    for (int i = 0; i < 10000; ++i) {
        std::string name = "f" + std::to_string(i);
        if (i % 2 == 0) {
            name += removed[(i / 2) % (sizeof removed / sizeof *removed)];
        } else {
            name += kept[(i / 2) % (sizeof kept / sizeof *kept)];
            expectedLeft.insert(name);
        }
        ASSERT_TRUE(writeFile(dir.file(name), "")) << name;
    }
    touch(dir, {"kel"});
    ASSERT_EQ(mkdir(dir.file("sub").c_str(), 0700), 0);
    ASSERT_TRUE(writeFile(dir.file("sub/inner.kel"), "x"));
    ASSERT_EQ(mkdir(dir.file("empty.obj").c_str(), 0700), 0);
    ASSERT_FLOAT_EQ(init(dir.path()).result, 1.2f);
    EXPECT_EQ(folderNames(dir.path()), expectedLeft);
    EXPECT_TRUE(pathExists(dir.file("sub/inner.kel")));
}
