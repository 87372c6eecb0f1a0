// KVProgressBar: the file layout at its offsets, both sides of the protocol, the throttle, hostile records.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "PluginHost.h"
#include "ProgressBar/KVProgressBar.h"
#include "native/KVTimeService.h"

namespace {

constexpr std::size_t kRecord = 176;

std::string readAll(const std::string& path) {
    std::string bytes;
    EXPECT_TRUE(readFile(path, bytes)) << path;
    return bytes;
}

std::int32_t int32At(const std::string& bytes, std::size_t offset) {
    const auto b = [&](std::size_t i) { return static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[offset + i])); };
    const std::uint32_t v = b(0) | (b(1) << 8) | (b(2) << 16) | (b(3) << 24);
    std::int32_t r;
    std::memcpy(&r, &v, sizeof r);
    return r;
}

void putInt32(std::string& bytes, std::size_t offset, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) bytes[offset + i] = static_cast<char>((v >> (8 * i)) & 0xFF);
}

// A bar that writes into a created file, as the decimation application does.
struct WriterFixture : ::testing::Test {
    TempFolder folder;
    std::string path = folder.file("job.cfg.running");
    KVProgressBar reader;
    KVProgressBar writer;

    void SetUp() override {
        ASSERT_TRUE(reader.create(path.c_str()));
        ASSERT_TRUE(writer.open(path.c_str()));
    }
};

}  // namespace

TEST_F(WriterFixture, WritesEveryFieldAtItsOffsetAndEndClearsTheTask) {
    std::string fresh(kRecord, '\0');
    fresh[0] = 1;
    EXPECT_EQ(readAll(path), fresh);
    ASSERT_TRUE(writer.start("Task A"));
    ASSERT_TRUE(writer.enableStop(true));
    ASSERT_TRUE(writer.showRemainingTime(true));
    ASSERT_TRUE(writer.startStep("Step B", 0x01020304));

    std::string expected = fresh;
    expected[1] = expected[2] = 1;
    std::memcpy(&expected[3], "Task A", 6);
    std::memcpy(&expected[83], "Step B", 6);
    putInt32(expected, 164, 0x01020304u);  // little-endian, low byte first
    expected[172] = expected[173] = 1;
    EXPECT_EQ(readAll(path), expected);

    ASSERT_TRUE(writer.endStep());
    expected[2] = 0;
    std::memset(&expected[83], 0, 80);
    putInt32(expected, 164, 0xFFFFFFFFu);
    EXPECT_EQ(readAll(path), expected);

    // end() clears the task, its open step and its flags but keeps the file.
    ASSERT_TRUE(writer.startStep("Step", 10));
    ASSERT_TRUE(writer.end());
    EXPECT_FALSE(writer.isStopAllRequested());
    putInt32(fresh, 164, 0xFFFFFFFFu);
    EXPECT_EQ(readAll(path), fresh);
    EXPECT_FALSE(writer.end());
}

TEST_F(WriterFixture, RefusesOutOfOrderCallsAndCutsTitlesAt79Characters) {
    EXPECT_FALSE(writer.startStep("Step", 3));
    EXPECT_FALSE(writer.setCount(1));
    EXPECT_FALSE(writer.endStep());
    EXPECT_FALSE(writer.end());
    ASSERT_TRUE(writer.start(std::string(200, 'x').c_str()));
    EXPECT_FALSE(writer.start("Again"));
    ASSERT_TRUE(writer.startStep(std::string(79, 'y').c_str(), 3));
    EXPECT_FALSE(writer.startStep("Other", 3));
    const std::string bytes = readAll(path);
    EXPECT_EQ(bytes.substr(3, 80), std::string(79, 'x') + '\0');
    EXPECT_EQ(bytes.substr(83, 80), std::string(79, 'y') + '\0');
    EXPECT_EQ(writer.getTaskTitle().length(), 79);
}

TEST_F(WriterFixture, FlagsRewriteOnlyWhenTheyChange) {
    ASSERT_TRUE(writer.enableStop(true));
    ASSERT_EQ(readAll(path)[172], 1);
    // Change the file behind the writer's back: an unchanged flag must not rewrite it.
    std::string bytes = readAll(path);
    bytes[172] = 0;
    ASSERT_TRUE(writeFile(path, bytes));
    EXPECT_TRUE(writer.enableStop(true));
    EXPECT_EQ(readAll(path)[172], 0);
    EXPECT_TRUE(writer.enableStop(false));
    EXPECT_TRUE(writer.showRemainingTime(true));
    EXPECT_EQ(readAll(path)[173], 1);
}

TEST(KVProgressBarThrottle, RuleOn501ClocksAcrossTheWrapAround) {
    EXPECT_FALSE(KVProgressBar::throttleElapsed(1000, 1000));
    EXPECT_FALSE(KVProgressBar::throttleElapsed(1000, 1500));
    EXPECT_TRUE(KVProgressBar::throttleElapsed(1000, 1501));
    EXPECT_TRUE(KVProgressBar::throttleElapsed(1000, 90000));
    EXPECT_FALSE(KVProgressBar::throttleElapsed(0xFFFFFF00u, 0xFFFFFF00u + 500u));
    EXPECT_TRUE(KVProgressBar::throttleElapsed(0xFFFFFF00u, 245u));  // 501 units after, past the wrap
}

TEST_F(WriterFixture, SetCountWritesOnlyAfterTheThrottle) {
    ASSERT_TRUE(writer.start("Task"));
    const long before = KVTimeService::processorClock();
    ASSERT_TRUE(writer.startStep("Step", 100));
    EXPECT_TRUE(writer.setCount(5));
    const long after = KVTimeService::processorClock();
    EXPECT_EQ(writer.getStepCount(), 5);
    if (after - before < 501) {
        // Less processor time than the throttle went by since startStep wrote: no write.
        EXPECT_EQ(int32At(readAll(path), 168), 0);
    }
    // Use processor time until the throttle has surely passed; the next count is written.
    volatile unsigned sink = 0;
    while (KVTimeService::processorClock() - after < 600) sink = sink + 1;
    EXPECT_TRUE(writer.setCount(6));
    EXPECT_EQ(int32At(readAll(path), 168), 6);
}

TEST(KVProgressBarReader, DecodesEveryFieldFromItsOffset) {
    TempFolder folder;
    const std::string path = folder.file("r.running");
    std::string bytes(kRecord, '\0');
    bytes[0] = bytes[1] = bytes[2] = 1;
    std::memcpy(&bytes[3], "Task", 4);
    std::memcpy(&bytes[83], "Step", 4);
    putInt32(bytes, 164, 0x11223344u);
    putInt32(bytes, 168, 0xFFFFFFFEu);
    bytes[172] = bytes[175] = 1;
    ASSERT_TRUE(writeFile(path, bytes));

    KVProgressBar bar;
    ASSERT_TRUE(bar.open(path.c_str()));
    EXPECT_TRUE(bar.isStarted());
    EXPECT_TRUE(bar.isStepActive());
    EXPECT_STREQ(bar.getTaskTitle().c_str(), "Task");
    EXPECT_STREQ(bar.getStepTitle().c_str(), "Step");
    EXPECT_EQ(bar.getStepTotal(), 0x11223344);
    EXPECT_EQ(bar.getStepCount(), -2);
    EXPECT_TRUE(bar.isStopAllowed());
    EXPECT_FALSE(bar.isShowRemainingTime());
    EXPECT_TRUE(bar.isStopAllRequested());

    // Each flag byte is read from its own offset only.
    bytes[172] = 0;
    bytes[173] = 1;
    bytes[175] = 0;
    ASSERT_TRUE(writeFile(path, bytes));
    ASSERT_TRUE(bar.updateFromProgressBarFile());
    EXPECT_FALSE(bar.isStopAllowed());
    EXPECT_TRUE(bar.isShowRemainingTime());
    EXPECT_FALSE(bar.isStopAllRequested());
}

TEST(KVProgressBarReader, OpenNeedsTheOpenByteAndAShortFileOverwritesOnlyWhatItHolds) {
    TempFolder folder;
    KVProgressBar bar;
    EXPECT_FALSE(bar.open(folder.file("missing").c_str()));
    const std::string path = folder.file("s.running");
    std::string bytes(kRecord, '\0');
    ASSERT_TRUE(writeFile(path, bytes));
    EXPECT_FALSE(bar.open(path.c_str()));
    bytes[0] = 1;
    bytes[1] = 1;
    std::memcpy(&bytes[3], "Full", 4);
    ASSERT_TRUE(writeFile(path, bytes));
    ASSERT_TRUE(bar.open(path.c_str()));
    ASSERT_TRUE(writeFile(path, std::string("\x01\x00\x00" "Ab", 5)));
    ASSERT_TRUE(bar.updateFromProgressBarFile());
    EXPECT_FALSE(bar.isStarted());
    EXPECT_STREQ(bar.getTaskTitle().c_str(), "Abll");

    KVProgressBar memoryOnly;
    EXPECT_TRUE(memoryOnly.open());
    EXPECT_FALSE(memoryOnly.open());
    EXPECT_TRUE(memoryOnly.updateFromProgressBarFile());
    EXPECT_TRUE(memoryOnly.start("In memory"));
    EXPECT_TRUE(memoryOnly.verifyProgressBarExist());
}

TEST(KVProgressBarLifecycle, CloseDeletesTheFileAndForgetsIt) {
    TempFolder folder;
    const std::string first = folder.file("1.running");
    const std::string second = folder.file("2.running");
    KVProgressBar bar;
    EXPECT_FALSE(bar.close());
    ASSERT_TRUE(bar.create(first.c_str()));
    // Creating again closes first, which deletes the previous file.
    ASSERT_TRUE(bar.create(second.c_str()));
    EXPECT_FALSE(pathExists(first));
    EXPECT_TRUE(pathExists(second));
    EXPECT_TRUE(bar.close());
    EXPECT_FALSE(pathExists(second));
    EXPECT_TRUE(bar.getFileName().isEmpty());
    EXPECT_FALSE(bar.isOpen());

    EXPECT_FALSE(bar.create(folder.file("no/such/folder.running").c_str()));
    EXPECT_FALSE(bar.isOpen());

    // A file that vanishes under a reader closes it.
    ASSERT_TRUE(bar.create(first.c_str()));
    ASSERT_EQ(std::remove(first.c_str()), 0);
    EXPECT_FALSE(bar.updateFromProgressBarFile());
    EXPECT_FALSE(bar.isOpen());
    EXPECT_TRUE(bar.getFileName().isEmpty());
}

TEST_F(WriterFixture, VanishedFileRaisesTheStopAllRequestWithoutRecreatingIt) {
    ASSERT_TRUE(writer.start("Task"));
    EXPECT_TRUE(writer.verifyProgressBarExist());
    EXPECT_FALSE(writer.isStopAllRequested());

    ASSERT_EQ(std::remove(path.c_str()), 0);
    EXPECT_FALSE(writer.updateProgressBarFile());
    EXPECT_FALSE(writer.verifyProgressBarExist());
    EXPECT_TRUE(writer.isStopAllRequested());
    unsigned char record[KVProgressBar::kRecordSize];
    writer.encode(record);
    EXPECT_EQ(record[175], 1);

    // end() waits for the file, keeps the request raised, and never creates the file.
    EXPECT_TRUE(writer.end());
    EXPECT_TRUE(writer.isStopAllRequested());
    EXPECT_FALSE(pathExists(path));
}
