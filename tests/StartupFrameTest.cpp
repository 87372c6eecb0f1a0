// White-box checks of the frame: the application path global, the thread rule, temporary names.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "PluginHost.h"
#include "ProgressiveMesh/KVTrimoraDefs.h"
#include "ProgressiveMesh/KVTrimoraFolderServer.h"
#include "Trimora.h"

TEST(SetTrimoraAppPath, KeepsACopyAndNullClearsIt) {
    char path[] = "/opt/Trimora App/TrimoraApp";
    SetTrimoraAppPath(path, 0, nullptr, 0, nullptr, 0, nullptr);
    path[0] = 'X';  // the host's buffer is only valid during the call
    EXPECT_STREQ(gAppFullPath.c_str(), "/opt/Trimora App/TrimoraApp");
    SetTrimoraAppPath(nullptr, 0, nullptr, 0, nullptr, 0, nullptr);
    EXPECT_TRUE(gAppFullPath.isNull());
}

TEST(DefaultThreads, FollowsTheProcessorSteps) {
    const int procs[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 16};
    const int expected[] = {1, 2, 3, 3, 4, 4, 6, 6, 7, 14};
    for (int i = 0; i < 10; ++i) EXPECT_EQ(numDefaultThreadsFor(procs[i]), expected[i]) << procs[i] << " processors";
    EXPECT_EQ(getNumDefaultThreads(), numDefaultThreadsFor(getNumProc()));
}

class TemporaryFolderTest : public ::testing::Test {
protected:
    void TearDown() override { KVTrimoraFolderServer::setTemporaryFolder(KVString()); }
    TempFolder m_dir;
};

TEST_F(TemporaryFolderTest, DropsOnlyOneTrailingSeparator) {
    KVTrimoraFolderServer::setTemporaryFolder("/tmp/a//");
    EXPECT_STREQ(KVTrimoraFolderServer::getTemporaryFolder().c_str(), "/tmp/a/");
    KVTrimoraFolderServer::setTemporaryFolder("C:\\temp\\");
    EXPECT_STREQ(KVTrimoraFolderServer::getTemporaryFolder().c_str(), "C:\\temp");
    KVTrimoraFolderServer::setTemporaryFolder("/");
    EXPECT_TRUE(KVTrimoraFolderServer::getTemporaryFolder().isEmpty());
}

TEST_F(TemporaryFolderTest, NamesAreBareUntilAFolderIsSet) {
    KVTrimoraFolderServer::setTemporaryFolder(KVString());
    EXPECT_STREQ(KVTrimoraFolderServer::getTemporaryFileName("job.ydc").c_str(), "job.ydc");
    KVTrimoraFolderServer::setTemporaryFolder(m_dir.path().c_str());
    EXPECT_EQ(std::string(KVTrimoraFolderServer::getTemporaryFileName("job.ydc").c_str()), m_dir.file("job.ydc"));
}

TEST_F(TemporaryFolderTest, UniqueNameSkipsExistingFilesInSeries) {
    KVTrimoraFolderServer::setTemporaryFolder((m_dir.path() + "/").c_str());
    EXPECT_EQ(std::string(KVTrimoraFolderServer::buildUniqueTemporaryFileName("script.txt").c_str()),
              m_dir.file("script.txt"));
    ASSERT_TRUE(writeFile(m_dir.file("script.txt"), "x"));
    for (int i = 1; i <= 9; ++i) ASSERT_TRUE(writeFile(m_dir.file("script" + std::to_string(i) + ".txt"), "x"));
    EXPECT_EQ(std::string(KVTrimoraFolderServer::buildUniqueTemporaryFileName("script.txt").c_str()),
              m_dir.file("script10.txt"));
    // A folder of the candidate's name is not a file: it does not block the name.
    ASSERT_EQ(mkdir(m_dir.file("plain").c_str(), 0700), 0);
    EXPECT_EQ(std::string(KVTrimoraFolderServer::buildUniqueTemporaryFileName("plain").c_str()), m_dir.file("plain"));
}
