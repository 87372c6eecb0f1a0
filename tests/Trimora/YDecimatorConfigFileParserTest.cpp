// YDecimatorConfigFileParser: the 35 keys, their words, scopes inside and outside batches, and clear().
#include "Trimora/YDecimatorConfigFileParser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "PluginHost.h"

namespace {

void parse(YDecimatorConfigFileParser& job, const std::string& text) {
    job.parseText(text.data(), static_cast<long long>(text.size()));
}

std::vector<const YDecimatorBatch*> batches(const YDecimatorConfigFileParser& job) {
    std::vector<const YDecimatorBatch*> list;
    for (const YDecimatorBatch* b = job.getFirstBatch(); b != nullptr; b = b->m_next) list.push_back(b);
    return list;
}

}  // namespace

TEST(YDecimatorConfigFileParser, BlankAndCommentFileGivesTheDefaults) {
    TempFolder dir;
    ASSERT_TRUE(writeFile(dir.file("job.ydc"), "\n# job\r\n// nothing here\n   \n"));
    YDecimatorConfigFileParser job;
    ASSERT_TRUE(job.parseFile(dir.file("job.ydc").c_str()));
    EXPECT_EQ(job.m_appMode, 4);
    EXPECT_EQ(job.m_displayMode, 2);
    EXPECT_EQ(job.m_plastraVersion, 0);
    EXPECT_FALSE(job.m_deleteConfigFile || job.m_useProgressBar || job.m_keepTempFiles);
    EXPECT_EQ(job.m_input, YDecimatorInput());
    const YDecimatorInput& in = job.m_input;
    EXPECT_EQ(in.m_decimationTargetPourcent, -1.0f);
    EXPECT_TRUE(in.m_decimationTargetNum == 4 && in.m_progressiveMeshMinNum == 4 && in.m_memSpeedTradeOff == 1);
    EXPECT_TRUE(in.m_avoidNormalReverse && in.m_protectTopology && in.m_doReorder);
    EXPECT_EQ(in.m_useVtxColorsCoef, 50.0f);
    EXPECT_EQ(in.m_numThread, 1);
    EXPECT_EQ(job.getNumBatches(), 0);
    EXPECT_FALSE(job.parseFile(dir.file("missing.ydc").c_str()));
}

// Every key's field is checked by the writer's round trip; here the forms a writer never makes.
TEST(YDecimatorConfigFileParser, HandWrittenValueForms) {
    YDecimatorConfigFileParser job;
    parse(job,
          "InputFile = \"/in dir/a.kel\"  \nSymmetry = Z\nFreezeBorder = True\nDecimationTargetNum = 5000.7\n"
          "ProtectTopology = #f\nIFlipZ = #t\nUseAreaWeighting = TRUE\nDoReorder = 0\nISwitchYZ = 1\n");
    const YDecimatorInput& in = job.m_input;
    EXPECT_STREQ(in.m_inputFile.c_str(), "\"/in dir/a.kel\"");  // as written, quotes kept
    EXPECT_EQ(in.m_symmetryMode, 3);
    EXPECT_TRUE(in.m_freezeBorder && in.m_iFlipZ && in.m_useAreaWeighting && in.m_iSwitchYZ);
    EXPECT_FALSE(in.m_protectTopology || in.m_doReorder);
    EXPECT_EQ(in.m_decimationTargetNum, 5000);
}

TEST(YDecimatorConfigFileParser, PrefixKeysTakeLinesTheWriterMustAvoid) {
    YDecimatorConfigFileParser job;
    // The longer key is registered later and wins; the shorter flag is untouched.
    parse(job, "UseVtxColorsCoef = 3\n");
    EXPECT_EQ(job.m_input.m_useVtxColorsCoef, 3.0f);
    EXPECT_FALSE(job.m_input.m_useVtxColors);
    // "AllowFinishSteps = No" is "AllowFinishStep" with the value "s = No": true.
    parse(job, "AllowFinishSteps = No\n");
    EXPECT_TRUE(job.m_input.m_allowFinishStep);
    // No separator needed; any case.
    parse(job, "numthread8\nSYMMETRYauto\n");
    EXPECT_EQ(job.m_input.m_numThread, 8);
    EXPECT_EQ(job.m_input.m_symmetryMode, 4);
}

TEST(YDecimatorConfigFileParser, UnknownWordsAndEmptyValuesLeaveFieldsUnchanged) {
    YDecimatorConfigFileParser job;
    parse(job,
          "AppMode = full PROTO\nDisplayMode = basic\nSymmetry = y\nUseMask = YES\nDeleteInputFile = FALSE\n"
          "AppMode = fullproto\nDisplayMode = VBO2\nSymmetry = xy\nUseMask = 1\nDeleteInputFile =\n"
          "NumThread = 3\nNumThread :\nUnknownKey = 9\n");
    EXPECT_EQ(job.m_appMode, 3);
    EXPECT_EQ(job.m_displayMode, 1);
    EXPECT_EQ(job.m_input.m_symmetryMode, 2);
    EXPECT_TRUE(job.m_input.m_useMask);
    EXPECT_FALSE(job.m_input.m_deleteInputFile);
    EXPECT_EQ(job.m_input.m_numThread, 3);

    parse(job, "UseMask = yes\nUseMask = True\nDeleteInputFile = maybe\nDisplayMode = no\nAppMode = Trimora batch\n");
    EXPECT_TRUE(job.m_input.m_useMask);
    EXPECT_TRUE(job.m_input.m_deleteInputFile);
    EXPECT_EQ(job.m_displayMode, 0);
    EXPECT_EQ(job.m_appMode, 1);
    parse(job, "AppMode = YDECIMATOR\nUseMask = no\nSymmetry = X\n");
    EXPECT_EQ(job.m_appMode, 0);
    EXPECT_FALSE(job.m_input.m_useMask);
    EXPECT_EQ(job.m_input.m_symmetryMode, 1);
    parse(job, "AppMode = full proto\nAppMode = Empty\nSymmetry = z\nSymmetry = No\n");
    EXPECT_EQ(job.m_appMode, 4);
    EXPECT_EQ(job.m_input.m_symmetryMode, 0);
}

TEST(YDecimatorConfigFileParser, PlastraVersionBands) {
    const std::vector<std::pair<const char*, int>> cases = {
        {"4.0", 401}, {"3.12", 312}, {"3.2", 320}, {"3.1", 310}, {"2", 1},   {"3.11", 310}, {"3.14", 312},
        {"3.15", 320}, {"3.24", 320}, {"3.25", 401}, {"3.09", 1}, {"-5", 1}, {"1e30", 401}, {"nan", 1}};
    YDecimatorConfigFileParser job;
    for (const auto& c : cases) {
        parse(job, std::string("PlastraVersion = ") + c.first);
        EXPECT_EQ(job.m_plastraVersion, c.second) << c.first;
    }
}

TEST(YDecimatorConfigFileParser, BatchesGetFreshInputsAndJobKeysKeepTheirScope) {
    YDecimatorConfigFileParser job;
    parse(job,
          "NumThread = 6\nKeepUVs = Yes\nMessageChannelId = 11\n"
          "StartBatch = Decimate mesh\n"
          "InputFile = /a.kel\nDecimationTargetPourcent = 20\n"
          // Ignored inside a batch:
          "KeepTempFiles = Yes\nUseProgressBar = Yes\nDisplayMode = NO\n"
          "MessageChannelId = 99\nMessageReaderId = 99\nProcessId = 99\nQueueId = 99\n"
          // Still the job's inside a batch:
          "AppMode = Trimora BATCH\nPlastraVersion = 4.0\nDeleteConfigFile = Yes\n"
          "StartBatch = build PROGRESSIVE mesh\n"  // opens the next one, no EndBatch needed
          "InputFile = /b.kel\n"
          "EndBatch\n"
          "OutputFile = /job-level.kel\nQueueId = 5\n"
          "StartBatch = Decimate progressive mesh\nNumThread = 2\n"
          "StartBatch = something else\n");
    EXPECT_FALSE(job.m_keepTempFiles);
    EXPECT_FALSE(job.m_useProgressBar);
    EXPECT_EQ(job.m_displayMode, 2);
    EXPECT_EQ(job.m_messageChannelId, 11);
    EXPECT_EQ(job.m_messageReaderId, 0);
    EXPECT_EQ(job.m_processId, 0);
    EXPECT_EQ(job.m_queueId, 5);
    EXPECT_EQ(job.m_appMode, 1);
    EXPECT_EQ(job.m_plastraVersion, 401);
    EXPECT_TRUE(job.m_deleteConfigFile);

    EXPECT_EQ(job.m_input.m_numThread, 6);
    EXPECT_TRUE(job.m_input.m_keepUVs);
    EXPECT_TRUE(job.m_input.m_inputFile.isEmpty());
    EXPECT_STREQ(job.m_input.m_outputFile.c_str(), "/job-level.kel");

    const auto list = batches(job);
    ASSERT_EQ(list.size(), 4u);
    EXPECT_EQ(list[0]->m_kind, 2);
    EXPECT_EQ(list[1]->m_kind, 1);
    EXPECT_EQ(list[2]->m_kind, 3);
    EXPECT_EQ(list[3]->m_kind, 0);
    YDecimatorInput expected;
    expected.m_inputFile = "/a.kel";
    expected.m_decimationTargetPourcent = 20.0f;
    EXPECT_EQ(list[0]->m_input, expected);  // job-level NumThread and KeepUVs did not carry in
    expected = YDecimatorInput();
    expected.m_inputFile = "/b.kel";
    EXPECT_EQ(list[1]->m_input, expected);
    expected = YDecimatorInput();
    expected.m_numThread = 2;
    EXPECT_EQ(list[2]->m_input, expected);
    EXPECT_EQ(list[3]->m_input, YDecimatorInput());
    EXPECT_EQ(&theGoodInput(&job), &list[3]->m_input);  // the last batch was never closed
}

TEST(YDecimatorConfigFileParser, EndBatchWithOnlySeparatorsDoesNotClose) {
    YDecimatorConfigFileParser job;
    parse(job, "StartBatch = Decimate mesh\nEndBatch =\nNumThread = 4\nEndBatch\nNumThread = 5\n");
    ASSERT_EQ(job.getNumBatches(), 1);
    EXPECT_EQ(job.getFirstBatch()->m_input.m_numThread, 4);
    EXPECT_EQ(job.m_input.m_numThread, 5);
    EXPECT_EQ(&theGoodInput(&job), &job.m_input);
    // "StartBatch =" has no value: no batch.
    parse(job, "StartBatch =\nNumThread = 3\n");
    EXPECT_EQ(job.getNumBatches(), 0);
    EXPECT_EQ(job.m_input.m_numThread, 3);
    // The handlers ignore a missing context.
    YDecimatorConfigFileParser::parseStartBatch("Decimate mesh", nullptr);
    YDecimatorConfigFileParser::parseInputFile("/x", nullptr);
    YDecimatorConfigFileParser::parseAppMode("empty", nullptr);
}

TEST(YDecimatorConfigFileParser, EachParseStartsFromClearExceptTheIds) {
    TempFolder dir;
    ASSERT_TRUE(writeFile(dir.file("a.ydc"),
                          "MessageChannelId = 1\nMessageReaderId = 2\nProcessId = 3\nQueueId = 4\n"
                          "AppMode = ydecimator\nKeepTempFiles = Yes\nNumThread = 9\nIFlipX = Yes\nISwitchYZ = Yes\n"
                          "StartBatch = Decimate mesh\n"));
    ASSERT_TRUE(writeFile(dir.file("b.ydc"), "ProcessId = 30\nIFlipX = No\n"));
    YDecimatorConfigFileParser job;
    ASSERT_TRUE(job.parseFile(dir.file("a.ydc").c_str()));
    ASSERT_EQ(job.getNumBatches(), 1);
    ASSERT_TRUE(job.parseFile(dir.file("b.ydc").c_str()));
    EXPECT_EQ(job.m_messageChannelId, 1);
    EXPECT_EQ(job.m_messageReaderId, 2);
    EXPECT_EQ(job.m_processId, 30);
    EXPECT_EQ(job.m_queueId, 4);
    EXPECT_EQ(job.m_appMode, 4);
    EXPECT_FALSE(job.m_keepTempFiles);
    EXPECT_EQ(job.m_input.m_numThread, 1);
    EXPECT_EQ(job.getNumBatches(), 0);
    EXPECT_FALSE(job.m_input.m_iFlipX);
    // Not in file b: read as false, not carried over from file a.
    EXPECT_FALSE(job.m_input.m_iSwitchYZ);
    // A failed read still clears.
    EXPECT_FALSE(job.parseFile(dir.file("none.ydc").c_str()));
    EXPECT_EQ(job.m_input.m_numThread, 1);
    EXPECT_EQ(job.m_processId, 30);
}

TEST(YDecimatorInput, TargetVertexCountFromPercentOrCount) {
    YDecimatorInput in;
    in.m_decimationTargetNum = 77;
    EXPECT_EQ(in.getDecimationTargetNumVertices(1000), 77);
    in.m_decimationTargetPourcent = 25.0f;
    EXPECT_EQ(in.getDecimationTargetNumVertices(1000), 250);
    in.m_decimationTargetPourcent = 33.3f;
    EXPECT_EQ(in.getDecimationTargetNumVertices(10), 3);  // 3.33 truncated
    in.m_decimationTargetPourcent = -1.0001f;
    EXPECT_EQ(in.getDecimationTargetNumVertices(10000), -100);
    in.m_decimationTargetPourcent = 1e30f;
    EXPECT_EQ(in.getDecimationTargetNumVertices(10), 2147483647);
    in.clear();
    EXPECT_EQ(in.getDecimationTargetNumVertices(1000), 4);
}

TEST(YDecimatorConfigFileParser, ShuffledKeyFragmentsNeverBreakTheRecord) {
    static const char* const pieces[] = {"StartBatch", "EndBatch", "InputFile", "AppMode", "NumThread",
                                         "PlastraVersion", "UseVtxColors", "Coef", "=", ":", " ", "\t",
                                         "\r", "\n", "\"", "Yes", "Decimate mesh", "1e39", "-", "#", "\xff"};
    std::string text;
    unsigned seed = 12345;
    size_t startBatches = 0;
    for (int i = 0; i < 60000; ++i) {
        seed = seed * 1103515245u + 12345u;
        const char* piece = pieces[(seed >> 16) % (sizeof pieces / sizeof *pieces)];
        if (std::string(piece) == "StartBatch") ++startBatches;
        text += piece;
    }
    YDecimatorConfigFileParser job;
    parse(job, text);
    EXPECT_LE(static_cast<size_t>(job.getNumBatches()), startBatches);
    EXPECT_GT(job.getNumBatches(), 0);
}
