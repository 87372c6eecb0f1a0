// YScript: the bounded buffer, and the write, run and clean-up cycle against a host utility entry.
#include "YPlug/YScript.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "PlastraHelper/PlastraHelper.h"
#include "PluginHost.h"
#include "ProgressiveMesh/KVTrimoraFolderServer.h"

namespace {

struct SeenCall {
    int command;
    std::string path;
    std::string contents;  // the script file as it was while the host ran it
};
std::vector<SeenCall> g_seen;
int g_answer = 0;

int utilityEntry(int command, int, int, char* text, int, float) {
    SeenCall seen{command, text ? text : "", ""};
    if (!readFile(seen.path, seen.contents)) seen.contents = "<missing>";
    g_seen.push_back(seen);
    return g_answer;
}

// Binds the utility entry as a host would, and sets the temporary folder; both are put back after.
class YScriptCall : public ::testing::Test {
protected:
    void SetUp() override {
        m_savedFolder = KVTrimoraFolderServer::getTemporaryFolder();
        KVTrimoraFolderServer::setTemporaryFolder(m_tmp.path().c_str());
        g_seen.clear();
        g_answer = 0;
    }
    void TearDown() override {
        PlastraHelper::clear();
        KVTrimoraFolderServer::setTemporaryFolder(m_savedFolder);
    }
    static void bindHost() {
        PlastraHelper::clear();
        PlastraHelper::s_utility = reinterpret_cast<YUtility*>(&utilityEntry);
        PlastraHelper::s_utilWrapper = &YUtilWrapper312B46::instance();
        PlastraHelper::s_utilityIsValid = true;
    }

    KVString m_savedFolder;
    TempFolder m_tmp;
};

}  // namespace

TEST(YScriptBuffer, AppendKeepsTheFirst4095BytesAndWriteFileTheUsedOnes) {
    YScript script;
    EXPECT_EQ(script.getLength(), 0u);
    EXPECT_STREQ(script.getText(), "");
    script.append("[IPress, ");
    script.append(nullptr);
    script.append("Tool:Flip]");
    EXPECT_STREQ(script.getText(), "[IPress, Tool:Flip]");

    const std::string big(5000, 'a');
    YScript full;
    full.append("12345");
    full.append(big.c_str());
    ASSERT_EQ(full.getLength(), 4095u);
    EXPECT_EQ(std::string(full.getText()), "12345" + big.substr(0, 4090));
    full.append("more");
    EXPECT_EQ(full.getLength(), 4095u);

    // A copy is a value of its own.
    YScript copy = script;
    copy.append("!");
    EXPECT_STREQ(script.getText(), "[IPress, Tool:Flip]");
    EXPECT_STREQ(copy.getText(), "[IPress, Tool:Flip]!");
    copy.clear();
    EXPECT_EQ(copy.getLength(), 0u);

    // The file holds exactly the used bytes.
    TempFolder tmp;
    ASSERT_TRUE(script.writeFile(("file:" + tmp.file("s.txt")).c_str()));
    std::string bytes;
    ASSERT_TRUE(readFile(tmp.file("s.txt"), bytes));
    EXPECT_EQ(bytes, "[IPress, Tool:Flip]");
    EXPECT_FALSE(script.writeFile(tmp.file("missing/s.txt").c_str()));
}

TEST_F(YScriptCall, WritesRunsAndRemovesTheScriptAndItsCompiledCopy) {
    bindHost();
    YScript script;
    script.append("[VarSet, x, 1]");
    ASSERT_TRUE(writeFile(m_tmp.file("script.ysc"), "compiled by an earlier run"));

    EXPECT_TRUE(script.call());
    ASSERT_EQ(g_seen.size(), 1u);
    EXPECT_EQ(g_seen[0].command, 7);
    EXPECT_EQ(g_seen[0].path, m_tmp.file("script.txt"));
    EXPECT_EQ(g_seen[0].contents, "[VarSet, x, 1]");
    EXPECT_TRUE(listFolder(m_tmp.path()).empty());
}

TEST_F(YScriptCall, AnExistingScriptNameIsLeftAloneAndTheFailureReported) {
    bindHost();
    g_answer = 1;
    ASSERT_TRUE(writeFile(m_tmp.file("script.txt"), "someone else's"));
    ASSERT_TRUE(writeFile(m_tmp.file("script.ysc"), "someone else's"));
    ASSERT_TRUE(writeFile(m_tmp.file("script1.ysc"), "ours"));
    YScript script;
    script.append("[Note, hi]");

    EXPECT_FALSE(script.call());
    ASSERT_EQ(g_seen.size(), 1u);
    EXPECT_EQ(g_seen[0].path, m_tmp.file("script1.txt"));
    EXPECT_EQ(g_seen[0].contents, "[Note, hi]");
    EXPECT_FALSE(pathExists(m_tmp.file("script1.txt")));
    EXPECT_FALSE(pathExists(m_tmp.file("script1.ysc")));
    EXPECT_TRUE(pathExists(m_tmp.file("script.txt")));
    EXPECT_TRUE(pathExists(m_tmp.file("script.ysc")));
}

TEST_F(YScriptCall, WithoutAHostNothingRunsAndNothingIsLeft) {
    PlastraHelper::clear();
    YScript script;
    script.append("[Note, hi]");
    EXPECT_FALSE(script.call());
    EXPECT_TRUE(g_seen.empty());
    EXPECT_TRUE(listFolder(m_tmp.path()).empty());

    // A temporary folder that does not exist: nothing can be written, and nothing breaks.
    KVTrimoraFolderServer::setTemporaryFolder((m_tmp.path() + "/missing").c_str());
    bindHost();
    EXPECT_TRUE(script.call());
    ASSERT_EQ(g_seen.size(), 1u);
    EXPECT_EQ(g_seen[0].contents, "<missing>");
}
