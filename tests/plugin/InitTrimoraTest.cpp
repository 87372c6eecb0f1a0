// InitTrimora through the loaded module: preference floats, the repeat answer and start-up cleaning.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "PluginHost.h"

namespace {

// The default thread rule, computed here from the machine as the host would see it.
int defaultThreads() {
    const long n = sysconf(_SC_NPROCESSORS_ONLN);
    if (n < 3) return static_cast<int>(n);
    if (n <= 4) return 3;
    if (n <= 6) return 4;
    if (n <= 8) return 6;
    return static_cast<int>(n - 2);
}

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

std::set<std::string> names(const std::string& folder) {
    const std::vector<std::string> list = listFolder(folder);
    return std::set<std::string>(list.begin(), list.end());
}

void touch(const TempFolder& dir, const std::vector<std::string>& files) {
    for (const std::string& f : files) ASSERT_TRUE(writeFile(dir.file(f), "x")) << f;
}

}  // namespace

TEST(InitTrimora, NullOrEmptyTextAnswersZeroAndWritesNothing) {
    float values[5] = {-1, -1, -1, -1, -1};
    EXPECT_EQ(sharedPluginHost().call("InitTrimora", nullptr, 0.0, values, sizeof values), 0.0f);
    EXPECT_EQ(sharedPluginHost().call("InitTrimora", "", 0.0, values, sizeof values), 0.0f);
    for (float v : values) EXPECT_EQ(v, -1.0f);
}

TEST(InitTrimora, WithoutPreferencesHandsOverTheDefaults) {
    TempFolder dir;
    const Answer a = init(dir.path());
    EXPECT_FLOAT_EQ(a.result, 1.2f);
    EXPECT_FLOAT_EQ(a.values[0], 1.2f);
    EXPECT_FLOAT_EQ(a.values[1], static_cast<float>(defaultThreads()) + 0.2f);
    EXPECT_FLOAT_EQ(a.values[2], 50.0f);
    EXPECT_FLOAT_EQ(a.values[3], 1.2f);
    EXPECT_FLOAT_EQ(a.values[4], 1.2f);
    EXPECT_EQ(a.values[5], -99.0f);
}

TEST(InitTrimora, HandsOverThePreferencesFileOfTheFolder) {
    TempFolder dir;
    ASSERT_TRUE(writeFile(dir.file("YDecimator.ypr"),
                          "UniformMesh = No\r\nNumThread = 6.9\r\nColorRatio = 12.5\r\nCleanAtStart = #f\r\n"
                          "BackgroundPreprocess = 0\r\n"));
    const Answer a = init("file:" + dir.path());
    EXPECT_FLOAT_EQ(a.result, 1.2f);
    EXPECT_FLOAT_EQ(a.values[0], 0.2f);
    EXPECT_FLOAT_EQ(a.values[1], 6.2f);
    EXPECT_FLOAT_EQ(a.values[2], 12.5f);
    EXPECT_FLOAT_EQ(a.values[3], 0.2f);
    EXPECT_FLOAT_EQ(a.values[4], 0.2f);
    EXPECT_TRUE(pathExists(dir.file("YDecimator.ypr")));

    TempFolder other;
    ASSERT_TRUE(writeFile(other.file("YDecimator.ypr"), "CleanAtStart = No\n"));
    const Answer b = init(other.path());
    EXPECT_FLOAT_EQ(b.values[0], 1.2f);
    EXPECT_FLOAT_EQ(b.values[1], static_cast<float>(defaultThreads()) + 0.2f);
    EXPECT_FLOAT_EQ(b.values[2], 50.0f);
    EXPECT_FLOAT_EQ(b.values[3], 0.2f);
    EXPECT_FLOAT_EQ(b.values[4], 1.2f);
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

TEST(InitTrimora, CleaningRemovesLeftOversByExtensionAndKeepsTheRest) {
    TempFolder dir;
    touch(dir, {"job.ydc", "a.LOG", "job.ydc.running", "m.Ymesh", "d.data", "m.ypm", "k.KEL", "o.obj",
                "x.obj.colors", "YDecimator.ypr", "t.png", "kel", "x.kelx", "o.obj.bak", "notes.txt"});
    ASSERT_EQ(mkdir(dir.file("sub").c_str(), 0700), 0);
    ASSERT_TRUE(writeFile(dir.file("sub/inner.kel"), "x"));  // no recursion
    ASSERT_EQ(mkdir(dir.file("empty.obj").c_str(), 0700), 0);  // any entry type counts
    ASSERT_FLOAT_EQ(init(dir.path()).result, 1.2f);
    EXPECT_EQ(names(dir.path()),
              (std::set<std::string>{"YDecimator.ypr", "t.png", "kel", "x.kelx", "o.obj.bak", "notes.txt", "sub"}));
    EXPECT_TRUE(pathExists(dir.file("sub/inner.kel")));
}

TEST(InitTrimora, CleanAtStartOffKeepsProgressiveMeshCaches) {
    TempFolder dir;
    ASSERT_TRUE(writeFile(dir.file("YDecimator.ypr"), "CleanAtStart = No\n"));
    touch(dir, {"m.ypm", "M2.YPM", "job.ydc", "t.png"});
    const Answer a = init(dir.path());
    ASSERT_FLOAT_EQ(a.result, 1.2f);
    EXPECT_FLOAT_EQ(a.values[3], 0.2f);
    EXPECT_EQ(names(dir.path()), (std::set<std::string>{"YDecimator.ypr", "m.ypm", "M2.YPM", "t.png"}));
}

TEST(InitTrimora, MissingFolderStillInitialises) {
    TempFolder dir;
    const Answer a = init(dir.file("does/not/exist"));
    EXPECT_FLOAT_EQ(a.result, 1.2f);
    EXPECT_FLOAT_EQ(a.values[2], 50.0f);
}

TEST(InitTrimora, CleansAFolderOfTenThousandFilesExactly) {
    TempFolder dir;
    static const char* const removed[] = {".ydc", ".log", ".running", ".ymesh", ".data", ".ypm", ".kel", ".obj",
                                          ".obj.colors", ".KEL", ".Obj.Colors", ".YDC"};
    static const char* const kept[] = {".ypr", ".png", ".txt", ".kelx", ".obj.bak", "_kel", ".ydcx", ""};
    std::set<std::string> expectedLeft;
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
    ASSERT_FLOAT_EQ(init(dir.path()).result, 1.2f);
    EXPECT_EQ(names(dir.path()), expectedLeft);
}
