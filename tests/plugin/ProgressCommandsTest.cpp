// GetTrimoraAppProgressInfo through the loaded module; the test writes the job's record itself.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "PluginHost.h"
#include "ProgressRecordBytes.h"

namespace {

constexpr unsigned char kSentinel = 0x5A;
constexpr auto record = &progressRecordBytes;

// A job whose application path names nothing: the launch fails after the progress-bar file was
// created, so the library follows a file the test writes as the application would.
struct FollowedJob : ::testing::Test {
    TempFolder folder;
    std::string job = folder.file("job.cfg");
    std::string running = job + ".running";
    unsigned char buffer[300];

    void SetUp() override {
        const PluginHost& host = sharedPluginHost();
        ASSERT_TRUE(writeFile(job, ""));
        ASSERT_EQ(host.call("SetTrimoraAppPath", folder.file("absent/FakeTrimoraApp").c_str()), 0.0f);
        ASSERT_EQ(host.call("LaunchTrimoraApp", job.c_str()), -1.0f);
        ASSERT_TRUE(pathExists(running));
    }
    void put(const std::string& bytes) { ASSERT_TRUE(writeFile(running, bytes)); }
    float poll() {
        std::memset(buffer, kSentinel, sizeof buffer);
        return sharedPluginHost().call("GetTrimoraAppProgressInfo", nullptr, 0.0, buffer, 256);
    }
    float fraction() const {
        float f;
        std::memcpy(&f, buffer, sizeof f);
        return f;
    }
    std::string line() const { return std::string(reinterpret_cast<const char*>(buffer) + 4); }
    bool untouched() const { return std::string(std::begin(buffer), std::end(buffer)) == std::string(300, kSentinel); }
};

}  // namespace

TEST_F(FollowedJob, PercentageLineAndFractionFill252Bytes) {
    put(record(true, true, "Decimating", "Reducing", 4, 1));
    ASSERT_EQ(poll(), 1.0f);
    EXPECT_EQ(fraction(), 0.25f);
    EXPECT_EQ(line(), "\\CFF9923Decimating: \\CCCCCCCReducing \\CFF9923     25.0%");
    // Bytes 4..255 come from the line (zero after its end); nothing past them is written.
    EXPECT_EQ(buffer[4 + line().size()], 0);
    EXPECT_EQ(buffer[255], 0);
    EXPECT_EQ(buffer[256], kSentinel);
}

// The animation itself is pinned by the progress-line tests; here its place survives between
// calls of the command, and a percentage sends it back to the start.
TEST_F(FollowedJob, DotsAdvanceAcrossPollsAndResetOnAPercentage) {
    put(record(true, false, "Decimating", "", -1, 0));
    ASSERT_EQ(poll(), 1.0f);
    EXPECT_EQ(fraction(), -1.0f);
    EXPECT_EQ(line(), "\\CFF9923Decimating\\C222222\\CCCCCCC\\C222222.......");
    ASSERT_EQ(poll(), 1.0f);
    EXPECT_EQ(line(), "\\CFF9923Decimating\\C222222\\CCCCCCC.\\C222222......");

    put(record(true, true, "Decimating", "Reducing", 10, 10));
    ASSERT_EQ(poll(), 1.0f);
    EXPECT_EQ(fraction(), 1.0f);
    put(record(true, false, "Decimating", "", -1, 0));
    ASSERT_EQ(poll(), 1.0f);
    EXPECT_EQ(line(), "\\CFF9923Decimating\\C222222\\CCCCCCC\\C222222.......");
}

TEST_F(FollowedJob, TitlesWithoutNulAreCutAtTheirField) {
    std::string bytes = record(true, true, std::string(80, 'T'), std::string(80, 'S'), 3, 1);
    bytes[163] = 'X';  // the byte after the step title must not join it
    put(bytes);
    ASSERT_EQ(poll(), 1.0f);
    EXPECT_EQ(line(), "\\CFF9923" + std::string(80, 'T') + ": \\CCCCCCC" + std::string(80, 'S') +
                          " \\CFF9923     33.3%");
}

// The file as created, without a task, shows nothing; once the application deletes it the job is
// over, and stays over even if a file of that name comes back.
TEST_F(FollowedJob, EmptyOrDeletedFileAnswersNothing) {
    EXPECT_EQ(poll(), -1.0f);
    EXPECT_TRUE(untouched());
    put(record(true, false, "Decimating", "", -1, 0));
    ASSERT_EQ(poll(), 1.0f);
    EXPECT_EQ(sharedPluginHost().call("TrimoraAppIsRunning"), 1.0f);
    ASSERT_EQ(std::remove(running.c_str()), 0);
    EXPECT_EQ(poll(), -1.0f);
    EXPECT_TRUE(untouched());
    EXPECT_EQ(sharedPluginHost().call("TrimoraAppIsRunning"), 0.0f);
    put(record(true, false, "Decimating", "", -1, 0));
    EXPECT_EQ(poll(), -1.0f);
    EXPECT_EQ(sharedPluginHost().call("TrimoraAppIsRunning"), 0.0f);
}
