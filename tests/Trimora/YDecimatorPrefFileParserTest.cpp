// YDecimatorPrefFileParser: defaults, the five keys, and a fresh start on every read.
#include "Trimora/YDecimatorPrefFileParser.h"

#include <gtest/gtest.h>

#include "PluginHost.h"
#include "ProgressiveMesh/KVTrimoraDefs.h"

namespace {
void expectDefaults(const YDecimatorPrefFileParser& p) {
    EXPECT_TRUE(p.m_uniformMesh);
    EXPECT_EQ(p.m_numThread, getNumDefaultThreads());
    EXPECT_EQ(p.m_colorRatio, 50.0f);
    EXPECT_TRUE(p.m_cleanAtStart);
    EXPECT_TRUE(p.m_backgroundPreprocess);
}
}  // namespace

TEST(YDecimatorPrefFileParser, EachKeyChangesOnlyItsValueAndEveryReadStartsFromDefaults) {
    TempFolder dir;
    const std::string path = dir.file("YDecimator.ypr");
    YDecimatorPrefFileParser prefs;
    EXPECT_FALSE(prefs.parseFile(path.c_str()));  // missing
    expectDefaults(prefs);
    ASSERT_TRUE(writeFile(path, "CleanAtStart = No\n"));
    ASSERT_TRUE(prefs.parseFile(path.c_str()));
    EXPECT_FALSE(prefs.m_cleanAtStart);
    prefs.m_cleanAtStart = true;
    expectDefaults(prefs);

    ASSERT_TRUE(writeFile(path, "uniformmesh: #f\r\nNumThread = 6.9\nColorRatio=12.5\nBackgroundPreprocess 0\n"
                                "BackgroundProcess = No\nThreads = 2\n"));
    ASSERT_TRUE(prefs.parseFile(path.c_str()));
    EXPECT_FALSE(prefs.m_uniformMesh);
    EXPECT_EQ(prefs.m_numThread, 6);
    EXPECT_EQ(prefs.m_colorRatio, 12.5f);
    EXPECT_TRUE(prefs.m_cleanAtStart);
    EXPECT_FALSE(prefs.m_backgroundPreprocess);

    const YDecimatorPrefFileParser copy(prefs);
    EXPECT_EQ(copy.m_numThread, 6);
    EXPECT_FALSE(copy.m_uniformMesh);
    YDecimatorPrefFileParser reread(copy);
    ASSERT_TRUE(writeFile(path, "ColorRatio = 1\n"));
    ASSERT_TRUE(reread.parseFile(path.c_str()));  // the copied key list still works
    EXPECT_EQ(reread.m_colorRatio, 1.0f);
    EXPECT_TRUE(reread.m_uniformMesh);
}
