// YDecimatorConfigFileWriter: what it writes reads back as the same records, and what it refuses.
#include "Trimora/YDecimatorConfigFileWriter.h"

#include <gtest/gtest.h>

#include <string>

#include "PluginHost.h"

namespace {

YDecimatorInput unusualInput(int seed) {
    YDecimatorInput in;
    in.m_inputFile = ("/tmp/in dir/\"mesh\" = " + std::to_string(seed) + ".kel").c_str();
    in.m_outputFile = ("C:\\out\\\xc3\xa9t\xc3\xa9 " + std::to_string(seed) + ".kel").c_str();
    in.m_deleteInputFile = seed % 2 == 0;
    in.m_symmetryMode = seed % 5;
    in.m_freezeBorder = true;
    in.m_useMask = seed % 2 == 1;
    in.m_progressiveMeshMinNum = -3 * seed;
    in.m_decimationTargetNum = 16777216;
    in.m_decimationTargetPourcent = 100.0f / 3.0f + static_cast<float>(seed);
    in.m_memSpeedTradeOff = 0;
    in.m_avoidNormalReverse = false;
    in.m_protectTopology = seed % 3 == 0;
    in.m_allowFinishStep = seed % 2 == 1;  // false must survive: the key is spelled exactly
    in.m_useAreaWeighting = true;
    in.m_iFlipX = seed % 2 == 1;
    in.m_iFlipY = true;
    in.m_iFlipZ = false;
    in.m_iSwitchYZ = seed % 3 != 0;
    in.m_keepUVs = true;
    in.m_useVtxColors = true;
    in.m_useVtxColorsCoef = 1e-7f * static_cast<float>(seed + 1);
    in.m_numThread = 12;
    in.m_doReorder = false;
    return in;
}

void expectSameJob(const YDecimatorConfigFileParser& a, const YDecimatorConfigFileParser& b) {
    EXPECT_EQ(a.m_deleteConfigFile, b.m_deleteConfigFile);
    EXPECT_EQ(a.m_appMode, b.m_appMode);
    EXPECT_EQ(a.m_displayMode, b.m_displayMode);
    EXPECT_EQ(a.m_useProgressBar, b.m_useProgressBar);
    EXPECT_EQ(a.m_keepTempFiles, b.m_keepTempFiles);
    EXPECT_EQ(a.m_input, b.m_input);
    EXPECT_EQ(a.m_messageChannelId, b.m_messageChannelId);
    EXPECT_EQ(a.m_messageReaderId, b.m_messageReaderId);
    EXPECT_EQ(a.m_processId, b.m_processId);
    EXPECT_EQ(a.m_queueId, b.m_queueId);
    EXPECT_EQ(a.m_plastraVersion, b.m_plastraVersion);
    const YDecimatorBatch* x = a.getFirstBatch();
    const YDecimatorBatch* y = b.getFirstBatch();
    for (; x != nullptr && y != nullptr; x = x->m_next, y = y->m_next) {
        EXPECT_EQ(x->m_kind, y->m_kind);
        EXPECT_EQ(x->m_input, y->m_input);
    }
    EXPECT_TRUE(x == nullptr && y == nullptr) << "batch counts differ";
}

}  // namespace

TEST(YDecimatorConfigFileWriter, FullJobReadsBackIdenticallyEvenIntoAUsedReader) {
    TempFolder dir;
    YDecimatorConfigFileParser job;
    job.m_deleteConfigFile = true;
    job.m_appMode = YDecimatorConfigFileParser::kAppModeBatch;
    job.m_displayMode = YDecimatorConfigFileParser::kDisplayNo;
    job.m_useProgressBar = true;
    job.m_keepTempFiles = true;
    job.m_messageChannelId = -7;
    job.m_messageReaderId = 0;
    job.m_processId = 4194304;
    job.m_queueId = 3;
    job.m_plastraVersion = 312;
    job.m_input = unusualInput(1);
    for (int kind = 0; kind < 4; ++kind) job.appendBatch(kind)->m_input = unusualInput(kind + 2);
    job.appendBatch(YDecimatorBatch::kDecimateMesh);  // an all-default input
    const std::string path = dir.file("job.ydc");
    ASSERT_TRUE(YDecimatorConfigFileWriter::writeFile(path.c_str(), job));

    YDecimatorConfigFileParser fresh;
    ASSERT_TRUE(fresh.parseFile(path.c_str()));
    expectSameJob(job, fresh);

    // A reader that saw another job before: ids and axis flags of that job must not leak in.
    YDecimatorConfigFileParser used;
    used.m_input.m_iFlipZ = true;
    used.m_messageReaderId = 55;
    used.m_queueId = 66;
    ASSERT_TRUE(used.parseFile(path.c_str()));
    expectSameJob(job, used);
}

TEST(YDecimatorConfigFileWriter, EveryWordAndBandReadsBack) {
    const int bands[] = {0, 1, 310, 312, 320, 401};
    const int appModes[] = {0, 1, 3, 4};
    for (int i = 0; i < 6; ++i) {
        YDecimatorConfigFileParser job;
        job.m_plastraVersion = bands[i];
        job.m_appMode = appModes[i % 4];
        job.m_displayMode = i % 3;
        job.m_input.m_symmetryMode = i % 5;
        job.m_input.m_useMask = i % 2 == 0;
        std::string text;
        ASSERT_TRUE(YDecimatorConfigFileWriter::buildText(job, text));
        YDecimatorConfigFileParser back;
        back.parseText(text.data(), static_cast<long long>(text.size()));
        expectSameJob(job, back);
    }
}

TEST(YDecimatorConfigFileWriter, SpellsKeysExactlyAndAlwaysWritesTheAxisFlags) {
    YDecimatorConfigFileParser job;
    job.appendBatch(YDecimatorBatch::kDecimateMesh);
    std::string text;
    ASSERT_TRUE(YDecimatorConfigFileWriter::buildText(job, text));
    auto count = [&](const std::string& s) {
        size_t n = 0;
        for (size_t at = text.find(s); at != std::string::npos; at = text.find(s, at + 1)) ++n;
        return n;
    };
    for (const char* flag : {"\nIFlipX = No\n", "\nIFlipY = No\n", "\nIFlipZ = No\n", "\nISwitchYZ = No\n",
                             "\nAllowFinishStep = No\n"})
        EXPECT_EQ(count(flag), 2u) << flag;
    EXPECT_EQ(count("AllowFinishSteps"), 0u);
    EXPECT_EQ(count("\nStartBatch = Decimate mesh\n"), 1u);
    EXPECT_EQ(count("\nEndBatch\n"), 1u);
}

TEST(YDecimatorConfigFileWriter, RefusesRecordsTheFormatCannotCarry) {
    TempFolder dir;
    const std::string path = dir.file("job.ydc");
    auto refused = [&](void (*spoil)(YDecimatorConfigFileParser&)) {
        YDecimatorConfigFileParser job;
        job.appendBatch(YDecimatorBatch::kDecimateMesh);
        spoil(job);
        std::string text = "stale";
        const bool built = YDecimatorConfigFileWriter::buildText(job, text);
        const bool written = YDecimatorConfigFileWriter::writeFile(path.c_str(), job);
        return !built && text.empty() && !written && !pathExists(path);
    };
    EXPECT_TRUE(refused([](YDecimatorConfigFileParser& j) { j.m_input.m_inputFile = "/a\nNumThread = 9"; }));
    EXPECT_TRUE(refused([](YDecimatorConfigFileParser& j) { j.m_input.m_outputFile = "/a\r"; }));
    EXPECT_TRUE(refused([](YDecimatorConfigFileParser& j) { j.getFirstBatch()->m_input.m_inputFile = "=/a"; }));
    EXPECT_TRUE(refused([](YDecimatorConfigFileParser& j) { j.m_input.m_inputFile = " /a"; }));
    EXPECT_TRUE(refused([](YDecimatorConfigFileParser& j) { j.m_input.m_inputFile = "/a\t"; }));
    EXPECT_TRUE(refused([](YDecimatorConfigFileParser& j) { j.m_processId = 16777217; }));
    EXPECT_TRUE(refused([](YDecimatorConfigFileParser& j) { j.getFirstBatch()->m_input.m_numThread = -16777219; }));
    EXPECT_TRUE(refused([](YDecimatorConfigFileParser& j) { j.m_input.m_useVtxColorsCoef = 1.0f / 0.0f; }));
    EXPECT_TRUE(refused([](YDecimatorConfigFileParser& j) { j.m_appMode = 2; }));
    EXPECT_TRUE(refused([](YDecimatorConfigFileParser& j) { j.m_displayMode = 3; }));
    EXPECT_TRUE(refused([](YDecimatorConfigFileParser& j) { j.m_input.m_symmetryMode = 5; }));
    EXPECT_TRUE(refused([](YDecimatorConfigFileParser& j) { j.m_plastraVersion = 400; }));
    EXPECT_TRUE(refused([](YDecimatorConfigFileParser& j) { j.getFirstBatch()->m_kind = 4; }));
    // The unspoiled record is written.
    EXPECT_FALSE(refused([](YDecimatorConfigFileParser&) {}));
}
