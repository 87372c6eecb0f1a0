// KVDiskServer on real files in a temporary folder.
#include "native/KVDiskServer.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <string>
#include <vector>

#include "NativeTestSupport.h"

namespace {

KVString ks(const std::string& s) { return KVString(s.c_str()); }
std::string str(const KVString& s) { return s.c_str(); }

class KVDiskServerTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_tmp.ok()); }

    // A source file and a folder at mode 0555 that the unprivileged user owns (root cannot be refused).
    void makeProtectedFolder(const std::string& folder, const std::string& source) {
        ASSERT_TRUE(writeFile(source, "abc"));
        ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
        if (geteuid() == 0) {
            ASSERT_EQ(chmod(m_tmp.path().c_str(), 0755), 0);
            ASSERT_EQ(chmod(source.c_str(), 0644), 0);
            ASSERT_EQ(chown(folder.c_str(), nativetest::kNobody, nativetest::kNobody), 0);
        }
        ASSERT_EQ(chmod(folder.c_str(), 0555), 0);
    }

    TempFolder m_tmp;
};

TEST_F(KVDiskServerTest, ExistenceDeletionAndPrefixedPaths) {
    const std::string file = m_tmp / "a.txt";
    const std::string folder = m_tmp / "full";
    ASSERT_TRUE(writeFile(file, "x"));
    ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
    ASSERT_TRUE(writeFile(folder + "/inside.txt", "x"));
    EXPECT_TRUE(KVDiskServer::fileExists(ks(file)));
    EXPECT_TRUE(KVDiskServer::fileExists(ks("Macintosh HD:" + file)));
    EXPECT_TRUE(KVDiskServer::fileExists(ks("!:" + file)));
    EXPECT_FALSE(KVDiskServer::fileExists(ks(folder)));
    EXPECT_FALSE(KVDiskServer::fileExists(KVString()));
    EXPECT_TRUE(KVDiskServer::folderExists(ks("file:" + folder)));
    EXPECT_FALSE(KVDiskServer::folderExists(ks(file)));

    EXPECT_FALSE(KVDiskServer::deleteFolder(ks(folder)));  // not empty
    EXPECT_TRUE(KVDiskServer::deleteFile(ks(folder + "/inside.txt")));
    EXPECT_TRUE(KVDiskServer::deleteFolder(ks(folder)));
    EXPECT_TRUE(KVDiskServer::deleteFile(ks("file:" + file)));
    EXPECT_FALSE(pathExists(file));
    EXPECT_FALSE(KVDiskServer::deleteFile(ks(file)));
    EXPECT_FALSE(KVDiskServer::deleteFile(KVString()));
}

TEST_F(KVDiskServerTest, RenameTakesTheNewPathAsGiven) {
    const std::string from = m_tmp / "old.txt";
    const std::string to = m_tmp / "new.txt";
    ASSERT_TRUE(writeFile(from, "content"));
    EXPECT_TRUE(KVDiskServer::renameFile(ks("file:" + from), ks(to)));
    EXPECT_EQ(nativetest::readText(to), "content");
    EXPECT_FALSE(KVDiskServer::renameFile(ks(to), ks("file:" + from)));  // names no existing folder
    EXPECT_TRUE(pathExists(to));
    EXPECT_FALSE(KVDiskServer::renameFile(ks(m_tmp / "missing.txt"), ks(from)));
}

TEST_F(KVDiskServerTest, PathPieces) {
    const struct {
        const char* in;
        const char* noPath;
        const char* pathOnly;
    } rows[] = {
        {"a\\b/c.txt", "c.txt", "a\\b/"}, {"dir/sub\\name.kel", "name.kel", "dir/"}, {"c.txt", "c.txt", ""},
        {"/x/y/", "", "/x/y/"},           {"a\\b.obj", "b.obj", ""},                  {"/x\\y\\z.obj", "z.obj", "/"},
    };
    for (const auto& r : rows) {
        KVString a(r.in), b(r.in), out("old");
        EXPECT_TRUE(KVDiskServer::removePathFromFilename(a));
        EXPECT_EQ(str(a), r.noPath) << r.in;
        EXPECT_TRUE(KVDiskServer::extractPathFromFilename(b));
        EXPECT_EQ(str(b), r.pathOnly) << r.in;
        EXPECT_TRUE(KVDiskServer::extractPathFromFilename(out, KVString(r.in)));
        EXPECT_EQ(str(out), r.pathOnly) << r.in;
    }
    EXPECT_FALSE(KVDiskServer::fileNameHasExtension("model.OBJ", "obj"));  // case-sensitive
    EXPECT_TRUE(KVDiskServer::fileNameHasExtension("model.OBJ", ".OBJ"));
    EXPECT_TRUE(KVDiskServer::fileNameHasExtension("model.OBJ", "OBJ"));
    EXPECT_FALSE(KVDiskServer::fileNameHasExtension("meshkel", "kel"));  // the dot is required
    EXPECT_TRUE(KVDiskServer::fileNameHasExtension(".kel", "kel"));
    EXPECT_FALSE(KVDiskServer::fileNameHasExtension(KVString(), "kel"));
}

TEST_F(KVDiskServerTest, CopyIsByteExactAcrossBufferEdgesAndTruncatesTheTarget) {
    for (std::size_t size : {std::size_t(0), std::size_t(1048576), std::size_t(2 * 1048576 + 12345)}) {
        const std::string source = m_tmp / "src.bin";
        const std::string target = m_tmp / "copy of src.bin";
        const std::string data = nativetest::patternBytes(size, 7);
        ASSERT_TRUE(writeFile(source, data));
        ASSERT_TRUE(writeFile(target, std::string(3 * 1048576, 'z')));  // longer: must be cut
        EXPECT_TRUE(KVDiskServer::copyFile(ks("!:" + source), ks("file:" + target)));
        std::string copied;
        ASSERT_TRUE(readFile(target, copied));
        EXPECT_TRUE(copied == data) << size;
    }
}

TEST_F(KVDiskServerTest, FailedCopiesCreateNothing) {
    const std::string source = m_tmp / "s.bin";
    const std::string target = m_tmp / "t.bin";
    ASSERT_TRUE(writeFile(source, "abc"));
    EXPECT_FALSE(KVDiskServer::copyFile(ks(m_tmp / "missing.bin"), ks(target)));
    EXPECT_FALSE(KVDiskServer::copyFile(ks(m_tmp.path()), ks(target)));  // a folder as source
    EXPECT_FALSE(KVDiskServer::copyFile(KVString(), ks(target)));
    EXPECT_FALSE(pathExists(target));
    EXPECT_FALSE(KVDiskServer::copyFile(ks(source), ks(m_tmp / "no/such/folder/t.bin")));
    EXPECT_FALSE(KVDiskServer::copyFile(ks(source), KVString()));

    // A folder as target: opening it fails for every user, so the parent's mode is lent and given back.
    const std::string parent = m_tmp / "protected";
    ASSERT_EQ(mkdir(parent.c_str(), 0700), 0);
    ASSERT_EQ(mkdir((parent + "/sub").c_str(), 0700), 0);
    ASSERT_EQ(chmod(parent.c_str(), 0555), 0);
    EXPECT_FALSE(KVDiskServer::copyFile(ks(source), ks(parent + "/sub")));
    EXPECT_EQ(KVDiskServer::getMode(ks(parent)) & 07777, 0555);
}

// Needs a real permission failure: as root the copy runs in a child process as user 65534.
TEST_F(KVDiskServerTest, CopyIntoProtectedFolderLendsAndRestoresItsModeUnlessPrefixed) {
    const std::string source = m_tmp / "source.bin";
    const std::string folder = m_tmp / "readonly";
    const std::string target = folder + "/copy.bin";
    makeProtectedFolder(folder, source);
    const std::uint16_t before = KVDiskServer::getMode(ks(folder));

    // The folder is cut from the target as given: behind a "file:" prefix nothing is lent.
    const int prefixed = nativetest::runUnprivileged([&]() -> int {
        if (KVDiskServer::copyFile(ks(source), ks("file:" + target))) return 1;
        return KVDiskServer::getMode(ks(folder)) != before ? 2 : 0;
    });
    EXPECT_EQ(prefixed, 0) << "1: copied through a lent folder, 2: mode changed";
    EXPECT_FALSE(pathExists(target));

    const int plain = nativetest::runUnprivileged([&]() -> int {
        if (FILE* probe = std::fopen(target.c_str(), "wb")) {
            std::fclose(probe);
            return 10;  // the folder does not really refuse a new file
        }
        if (!KVDiskServer::copyFile(ks(source), ks(target))) return 11;
        return KVDiskServer::getMode(ks(folder)) != before ? 12 : 0;
    });
    EXPECT_EQ(plain, 0) << "10: folder not protected, 11: copy failed, 12: mode not restored";
    EXPECT_EQ(nativetest::readText(target), "abc");
    EXPECT_EQ(KVDiskServer::getMode(ks(folder)), before);
}

// A folder the user may not chmod stays protected: the copy fails and the mode is unchanged.
TEST_F(KVDiskServerTest, CopyIntoForeignProtectedFolderFails) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root to create a folder owned by someone else";
    const std::string source = m_tmp / "source.bin";
    const std::string folder = m_tmp / "foreign";
    ASSERT_TRUE(writeFile(source, "abc"));
    ASSERT_EQ(chmod(m_tmp.path().c_str(), 0755), 0);
    ASSERT_EQ(chmod(source.c_str(), 0644), 0);
    ASSERT_EQ(mkdir(folder.c_str(), 0555), 0);
    ASSERT_EQ(chmod(folder.c_str(), 0555), 0);
    const int result = nativetest::runAsNobody([&]() -> int {
        if (KVDiskServer::copyFile(ks(source), ks(folder + "/copy.bin"))) return 20;
        return (KVDiskServer::getMode(ks(folder)) & 07777) != 0555 ? 21 : 0;
    });
    EXPECT_EQ(result, 0);
    EXPECT_FALSE(pathExists(folder + "/copy.bin"));
}

TEST_F(KVDiskServerTest, FoldersAndModes) {
    const KVString saved = KVDiskServer::getCurrentPath();
    char real[PATH_MAX];
    ASSERT_NE(realpath(m_tmp.path().c_str(), real), nullptr);
    EXPECT_TRUE(KVDiskServer::openFolder(ks("file:" + m_tmp.path())));
    EXPECT_EQ(str(KVDiskServer::getCurrentPath()), std::string(real));
    EXPECT_FALSE(KVDiskServer::openFolder(ks(m_tmp / "missing")));
    EXPECT_EQ(str(KVDiskServer::getCurrentPath()), std::string(real));
    EXPECT_TRUE(KVDiskServer::openFolder(saved));

    const std::string folder = m_tmp / "made";
    EXPECT_TRUE(KVDiskServer::createFolder(ks(folder)));
    EXPECT_EQ(KVDiskServer::getMode(ks(folder)) & 07777, 0700);
    EXPECT_FALSE(KVDiskServer::createFolder(ks(folder)));                   // exists already
    EXPECT_FALSE(KVDiskServer::createFolder(ks(m_tmp / "a/b/c")));          // no parents made
    EXPECT_FALSE(KVDiskServer::createFolder(ks("file:" + (m_tmp / "p"))));  // path as given

    const std::string file = m_tmp / "m.txt";
    ASSERT_TRUE(writeFile(file, "x"));
    EXPECT_EQ(KVDiskServer::setMode(ks(file), 0640), 0);
    EXPECT_EQ(KVDiskServer::getMode(ks(file)), S_IFREG | 0640);
    EXPECT_EQ(KVDiskServer::getMode(ks(m_tmp / "missing")), 0);
    EXPECT_NE(KVDiskServer::setMode(ks(m_tmp / "missing"), 0600), 0);
    EXPECT_EQ(KVDiskServer::getMode(ks("file:" + file)), 0);  // path as given
}

}  // namespace
