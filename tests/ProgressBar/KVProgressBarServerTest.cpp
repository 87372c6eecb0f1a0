// KVProgressBarServer: the coloured progress lines, the fraction and the dot animation across polls.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "PluginHost.h"
#include "ProgressRecordBytes.h"
#include "ProgressBar/KVProgressBarServer.h"

namespace {

constexpr auto record = &progressRecordBytes;

struct ProgressLines : ::testing::Test {
    TempFolder folder;
    std::string path = folder.file("job.cfg.running");
    KVProgressBar bar;
    int dot = 0;
    float fraction = 0.0f;
    char line[KVProgressBarServer::kLineSize];

    void SetUp() override { ASSERT_TRUE(bar.create(path.c_str())); }
    void put(const std::string& bytes) { ASSERT_TRUE(writeFile(path, bytes)); }
    bool poll() {
        std::memset(line, '#', sizeof line);
        return KVProgressBarServer::formatProgress(bar, dot, fraction, line);
    }
};

std::string dots(int n) { return std::string(static_cast<std::size_t>(n), '.'); }

}  // namespace

TEST_F(ProgressLines, NoTaskOrNoFileAnswersNothingAndResetsTheDots) {
    put(record(false, false, "", "", 0, 0));
    dot = 5;
    EXPECT_FALSE(poll());
    EXPECT_EQ(dot, 0);

    put(record(true, false, "Task", "", -1, 0));
    ASSERT_TRUE(poll());
    ASSERT_EQ(dot, 1);
    ASSERT_EQ(std::remove(path.c_str()), 0);
    EXPECT_FALSE(poll());
    EXPECT_EQ(dot, 0);
    EXPECT_FALSE(bar.isOpen());
}

TEST_F(ProgressLines, DotsSweepOnePlaceAPollAndWrapAfterSixteen) {
    put(record(true, false, "Task", "", -1, 0));
    for (int k = 0; k <= 16; ++k) {
        const int pos = k % 16;
        const std::string first = pos < 8 ? "" : dots(pos - 8);
        const std::string second = pos < 8 ? dots(pos) : dots(16 - pos);
        const std::string third = pos < 8 ? dots(7 - pos) : "";
        ASSERT_TRUE(poll());
        EXPECT_EQ(fraction, -1.0f);
        EXPECT_EQ(std::string(line), "\\CFF9923Task\\C222222" + first + "\\CCCCCCC" + second + "\\C222222" + third)
            << "poll " << k;
    }
    EXPECT_EQ(dot, 1);
}

TEST_F(ProgressLines, StepShowsItsTitleWithTheDotsOrWithItsPercentage) {
    put(record(true, true, "Task", "Saving", 0, 7));
    dot = 3;
    ASSERT_TRUE(poll());
    EXPECT_EQ(fraction, -1.0f);
    EXPECT_STREQ(line, "\\CFF9923Task: \\CCCCCCCSaving\\C222222\\CCCCCCC...\\C222222....");
    EXPECT_EQ(dot, 4);

    // A step with a total shows the percentage and sends the animation back to its start.
    put(record(true, true, "Decimating", "Reducing", 8, 3));
    ASSERT_TRUE(poll());
    EXPECT_STREQ(line, "\\CFF9923Decimating: \\CCCCCCCReducing \\CFF9923     37.5%");
    EXPECT_EQ(dot, 0);
    EXPECT_FLOAT_EQ(fraction, 0.375f);
}

TEST_F(ProgressLines, HostileRecordsStayInsideTheLine) {
    std::string bytes = record(true, true, std::string(80, 'A'), std::string(80, 'B'), 1, 2147483647);
    put(bytes);
    ASSERT_TRUE(poll());
    const std::string expected =
        "\\CFF9923" + std::string(80, 'A') + ": \\CCCCCCC" + std::string(80, 'B') + " \\CFF9923     ";
    EXPECT_EQ(std::string(line).substr(0, expected.size()), expected);
    EXPECT_LT(std::strlen(line), static_cast<std::size_t>(KVProgressBarServer::kLineCopySize));
    // An out-of-range dot position is not trusted either.
    put(record(true, false, std::string(80, 'A'), "", -1, 0));
    dot = 1000;
    ASSERT_TRUE(poll());
    EXPECT_EQ(dot, 1);
}
