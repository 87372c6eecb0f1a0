// KVDiskServer on real files in a temporary folder.
#include "native/KVDiskServer.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <string>
#include <vector>

#include "NativeTestSupport.h"

using nativetest::readBytes;
using nativetest::TempFolder;
using nativetest::writeBytes;
using nativetest::writeText;

namespace {

class KVDiskServerTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_tmp.ok()); }

    bool exists(const std::string& path) {
        struct stat st;
        return lstat(path.c_str(), &st) == 0;
    }

    TempFolder m_tmp;
};

KVString ks(const std::string& s) { return KVString(s.c_str()); }
std::string str(const KVString& s) { return s.c_str(); }

TEST_F(KVDiskServerTest, FileExistsIsTrueOnlyForRegularFiles) {
    const std::string file = m_tmp / "a.txt";
    ASSERT_TRUE(writeText(file, "x"));
    EXPECT_TRUE(KVDiskServer::fileExists(ks(file)));
    EXPECT_FALSE(KVDiskServer::fileExists(ks(m_tmp.path())));
    EXPECT_FALSE(KVDiskServer::fileExists(ks(m_tmp / "missing.txt")));
    EXPECT_FALSE(KVDiskServer::fileExists(KVString()));
    EXPECT_FALSE(KVDiskServer::fileExists(KVString("")));
}

TEST_F(KVDiskServerTest, FolderExistsIsTrueOnlyForFolders) {
    const std::string file = m_tmp / "a.txt";
    ASSERT_TRUE(writeText(file, "x"));
    EXPECT_TRUE(KVDiskServer::folderExists(ks(m_tmp.path())));
    EXPECT_FALSE(KVDiskServer::folderExists(ks(file)));
    EXPECT_FALSE(KVDiskServer::folderExists(ks(m_tmp / "missing")));
    EXPECT_FALSE(KVDiskServer::folderExists(KVString()));
}

TEST_F(KVDiskServerTest, PrefixedPathsGoThroughTheValidFilePath) {
    const std::string file = m_tmp / "prefixed.txt";
    ASSERT_TRUE(writeText(file, "x"));
    EXPECT_TRUE(KVDiskServer::fileExists(ks("file:" + file)));
    EXPECT_TRUE(KVDiskServer::fileExists(ks("!:" + file)));
    EXPECT_TRUE(KVDiskServer::fileExists(ks("Macintosh HD:" + file)));
    EXPECT_TRUE(KVDiskServer::folderExists(ks("file:" + m_tmp.path())));
    EXPECT_TRUE(KVDiskServer::folderExists(ks("!:" + m_tmp.path())));

    const std::string copy = m_tmp / "copy.txt";
    EXPECT_TRUE(KVDiskServer::copyFile(ks("!:" + file), ks("file:" + copy)));
    EXPECT_TRUE(exists(copy));

    EXPECT_TRUE(KVDiskServer::deleteFile(ks("file:" + file)));
    EXPECT_FALSE(exists(file));
    EXPECT_TRUE(KVDiskServer::deleteFile(ks("!:" + copy)));
    EXPECT_FALSE(exists(copy));
}

TEST_F(KVDiskServerTest, DeleteFileRemovesAFileAndFailsOnMissing) {
    const std::string file = m_tmp / "gone.txt";
    ASSERT_TRUE(writeText(file, "x"));
    EXPECT_TRUE(KVDiskServer::deleteFile(ks(file)));
    EXPECT_FALSE(exists(file));
    EXPECT_FALSE(KVDiskServer::deleteFile(ks(file)));
    EXPECT_FALSE(KVDiskServer::deleteFile(KVString()));
}

TEST_F(KVDiskServerTest, DeleteFolderRemovesOnlyEmptyFolders) {
    const std::string full = m_tmp / "full";
    const std::string empty = m_tmp / "empty";
    ASSERT_EQ(mkdir(full.c_str(), 0700), 0);
    ASSERT_EQ(mkdir(empty.c_str(), 0700), 0);
    ASSERT_TRUE(writeText(full + "/inside.txt", "x"));

    EXPECT_FALSE(KVDiskServer::deleteFolder(ks(full)));
    EXPECT_TRUE(exists(full + "/inside.txt"));
    EXPECT_TRUE(KVDiskServer::deleteFolder(ks(empty)));
    EXPECT_FALSE(exists(empty));
    EXPECT_FALSE(KVDiskServer::deleteFolder(ks(empty)));
}

TEST_F(KVDiskServerTest, RenameFileUsesTheValidOldPathAndTheNewPathAsGiven) {
    const std::string from = m_tmp / "old.txt";
    const std::string to = m_tmp / "new.txt";
    ASSERT_TRUE(writeText(from, "content"));
    EXPECT_TRUE(KVDiskServer::renameFile(ks("file:" + from), ks(to)));
    EXPECT_FALSE(exists(from));
    EXPECT_EQ(nativetest::readText(to), "content");

    // The new path is not normalised: a prefixed new path names no existing folder.
    EXPECT_FALSE(KVDiskServer::renameFile(ks(to), ks("file:" + from)));
    EXPECT_TRUE(exists(to));
    EXPECT_FALSE(KVDiskServer::renameFile(ks(m_tmp / "missing.txt"), ks(from)));
}

TEST_F(KVDiskServerTest, RemovePathFromFilenameCutsAtEitherSeparator) {
    KVString a("a\\b/c.txt");
    EXPECT_TRUE(KVDiskServer::removePathFromFilename(a));
    EXPECT_EQ(str(a), "c.txt");
    KVString b("dir/sub\\name.kel");
    KVDiskServer::removePathFromFilename(b);
    EXPECT_EQ(str(b), "name.kel");
    KVString c("c.txt");
    KVDiskServer::removePathFromFilename(c);
    EXPECT_EQ(str(c), "c.txt");
    KVString d("/x/y/");
    KVDiskServer::removePathFromFilename(d);
    EXPECT_TRUE(d.isEmpty());
    KVString e;
    EXPECT_TRUE(KVDiskServer::removePathFromFilename(e));
    EXPECT_TRUE(e.isEmpty());
}

TEST_F(KVDiskServerTest, ExtractPathFromFilenameKeepsUpToTheLastSlashOnly) {
    KVString a("/x/y/z.obj");
    EXPECT_TRUE(KVDiskServer::extractPathFromFilename(a));
    EXPECT_EQ(str(a), "/x/y/");
    KVString b("a\\b.obj");
    EXPECT_TRUE(KVDiskServer::extractPathFromFilename(b));
    EXPECT_TRUE(b.isEmpty());
    KVString c("/x\\y\\z.obj");
    KVDiskServer::extractPathFromFilename(c);
    EXPECT_EQ(str(c), "/");

    KVString out("old");
    const KVString in("/p/q/r.kel");
    EXPECT_TRUE(KVDiskServer::extractPathFromFilename(out, in));
    EXPECT_EQ(str(out), "/p/q/");
    EXPECT_EQ(str(in), "/p/q/r.kel");
}

TEST_F(KVDiskServerTest, FileNameHasExtensionIsCaseSensitiveAndAddsTheDot) {
    EXPECT_FALSE(KVDiskServer::fileNameHasExtension("model.OBJ", "obj"));
    EXPECT_TRUE(KVDiskServer::fileNameHasExtension("model.OBJ", ".OBJ"));
    EXPECT_TRUE(KVDiskServer::fileNameHasExtension("model.OBJ", "OBJ"));
    EXPECT_TRUE(KVDiskServer::fileNameHasExtension("mesh.kel", "kel"));
    EXPECT_FALSE(KVDiskServer::fileNameHasExtension("meshkel", "kel"));  // the dot is required
    EXPECT_FALSE(KVDiskServer::fileNameHasExtension("kel", "kel"));
    EXPECT_TRUE(KVDiskServer::fileNameHasExtension(".kel", "kel"));
    EXPECT_FALSE(KVDiskServer::fileNameHasExtension("", "kel"));
    EXPECT_FALSE(KVDiskServer::fileNameHasExtension(KVString(), "kel"));
}

TEST_F(KVDiskServerTest, CopyFileCopiesMoreThanOneBufferByteForByte) {
    const std::string source = m_tmp / "big.bin";
    const std::string target = m_tmp / "big copy.bin";
    const std::vector<unsigned char> data = nativetest::patternBytes(2 * 1048576 + 12345, 7);
    ASSERT_TRUE(writeBytes(source, data));
    ASSERT_TRUE(writeText(target, std::string(5000000, 'z')));  // longer: must be truncated

    EXPECT_TRUE(KVDiskServer::copyFile(ks(source), ks(target)));
    std::vector<unsigned char> copied;
    ASSERT_TRUE(readBytes(target, copied));
    ASSERT_EQ(copied.size(), data.size());
    EXPECT_TRUE(copied == data);
}

TEST_F(KVDiskServerTest, CopyFileCopiesExactlyOneBuffer) {
    const std::string source = m_tmp / "one.bin";
    const std::string target = m_tmp / "one copy.bin";
    const std::vector<unsigned char> data = nativetest::patternBytes(1048576, 3);
    ASSERT_TRUE(writeBytes(source, data));
    EXPECT_TRUE(KVDiskServer::copyFile(ks(source), ks(target)));
    std::vector<unsigned char> copied;
    ASSERT_TRUE(readBytes(target, copied));
    EXPECT_TRUE(copied == data);
}

TEST_F(KVDiskServerTest, CopyFileCopiesAnEmptyFile) {
    const std::string source = m_tmp / "empty.bin";
    const std::string target = m_tmp / "empty copy.bin";
    ASSERT_TRUE(writeBytes(source, {}));
    ASSERT_TRUE(writeText(target, "old content"));
    EXPECT_TRUE(KVDiskServer::copyFile(ks(source), ks(target)));
    struct stat st;
    ASSERT_EQ(stat(target.c_str(), &st), 0);
    EXPECT_EQ(st.st_size, 0);
}

TEST_F(KVDiskServerTest, CopyFileWithMissingSourceFailsAndCreatesNothing) {
    const std::string target = m_tmp / "never.bin";
    EXPECT_FALSE(KVDiskServer::copyFile(ks(m_tmp / "missing.bin"), ks(target)));
    EXPECT_FALSE(exists(target));
    EXPECT_FALSE(KVDiskServer::copyFile(KVString(), ks(target)));
}

TEST_F(KVDiskServerTest, CopyFileIntoAMissingFolderFails) {
    const std::string source = m_tmp / "s.bin";
    ASSERT_TRUE(writeText(source, "abc"));
    EXPECT_FALSE(KVDiskServer::copyFile(ks(source), ks(m_tmp / "no/such/folder/t.bin")));
    EXPECT_FALSE(KVDiskServer::copyFile(ks(source), KVString()));
}

TEST_F(KVDiskServerTest, CopyFileOntoAFolderFailsAndGivesTheParentItsModeBack) {
    const std::string source = m_tmp / "s.bin";
    ASSERT_TRUE(writeText(source, "abc"));
    const std::string parent = m_tmp / "protected";
    const std::string folderTarget = parent + "/sub";
    ASSERT_EQ(mkdir(parent.c_str(), 0700), 0);
    ASSERT_EQ(mkdir(folderTarget.c_str(), 0700), 0);
    ASSERT_EQ(chmod(parent.c_str(), 0555), 0);
    const std::uint16_t before = KVDiskServer::getMode(ks(parent));
    ASSERT_EQ(before & 07777, 0555);

    // Opening a folder for writing fails for every user, so the mode is lent and given back.
    EXPECT_FALSE(KVDiskServer::copyFile(ks(source), ks(folderTarget)));
    EXPECT_EQ(KVDiskServer::getMode(ks(parent)), before);
    struct stat st;
    ASSERT_EQ(stat(folderTarget.c_str(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
}

TEST_F(KVDiskServerTest, CopyFileFromAFolderFailsAndLeavesNoTarget) {
    const std::string target = m_tmp / "t.bin";
    EXPECT_FALSE(KVDiskServer::copyFile(ks(m_tmp.path()), ks(target)));
    EXPECT_FALSE(exists(target));
}

// Needs a real permission failure: as root it runs in a child process as user 65534.
TEST_F(KVDiskServerTest, CopyFileIntoWriteProtectedFolderLendsAndRestoresItsMode) {
    const bool root = geteuid() == 0;
    const std::string source = m_tmp / "source.bin";
    const std::string folder = m_tmp / "readonly";
    const std::string target = folder + "/copy.bin";
    const std::vector<unsigned char> data = nativetest::patternBytes(1048576 + 99, 11);
    ASSERT_TRUE(writeBytes(source, data));
    ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
    if (root) {
        // The unprivileged user must reach the folder and own it (only the owner may chmod).
        ASSERT_EQ(chmod(m_tmp.path().c_str(), 0755), 0);
        ASSERT_EQ(chmod(source.c_str(), 0644), 0);
        ASSERT_EQ(chown(folder.c_str(), nativetest::kNobody, nativetest::kNobody), 0);
    }
    ASSERT_EQ(chmod(folder.c_str(), 0555), 0);
    const std::uint16_t before = KVDiskServer::getMode(ks(folder));

    const int result = nativetest::runUnprivileged([&]() -> int {
        // The folder really refuses a new file to this user.
        if (FILE* probe = std::fopen(target.c_str(), "wb")) {
            std::fclose(probe);
            return 10;
        }
        if (!KVDiskServer::copyFile(ks(source), ks(target))) return 11;
        if (KVDiskServer::getMode(ks(folder)) != before) return 12;
        std::vector<unsigned char> copied;
        if (!readBytes(target, copied)) return 13;
        if (copied != data) return 14;
        return 0;
    });
    EXPECT_EQ(result, 0) << "10: folder not protected, 11: copy failed, 12: mode not restored, "
                            "13/14: copy unreadable or different";
    EXPECT_EQ(KVDiskServer::getMode(ks(folder)), before);
    EXPECT_TRUE(exists(target));
}

// A folder the user may not chmod stays protected: the copy fails and the mode is unchanged.
TEST_F(KVDiskServerTest, CopyFileIntoForeignProtectedFolderFails) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root to create a folder owned by someone else";
    const std::string source = m_tmp / "source.bin";
    const std::string folder = m_tmp / "foreign";
    const std::string target = folder + "/copy.bin";
    ASSERT_TRUE(writeText(source, "abc"));
    ASSERT_EQ(chmod(m_tmp.path().c_str(), 0755), 0);
    ASSERT_EQ(chmod(source.c_str(), 0644), 0);
    ASSERT_EQ(mkdir(folder.c_str(), 0555), 0);
    ASSERT_EQ(chmod(folder.c_str(), 0555), 0);
    const std::uint16_t before = KVDiskServer::getMode(ks(folder));

    const int result = nativetest::runAsNobody([&]() -> int {
        if (KVDiskServer::copyFile(ks(source), ks(target))) return 20;
        if (KVDiskServer::getMode(ks(folder)) != before) return 21;
        return 0;
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(KVDiskServer::getMode(ks(folder)), before);
    EXPECT_FALSE(exists(target));
}

// The lent folder is cut from the target as given: behind a "file:" prefix nothing is lent.
TEST_F(KVDiskServerTest, CopyFileToAPrefixedTargetLendsNothing) {
    const bool root = geteuid() == 0;
    const std::string source = m_tmp / "source.bin";
    const std::string folder = m_tmp / "readonly";
    const std::string target = folder + "/copy.bin";
    ASSERT_TRUE(writeText(source, "abc"));
    ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
    if (root) {
        ASSERT_EQ(chmod(m_tmp.path().c_str(), 0755), 0);
        ASSERT_EQ(chmod(source.c_str(), 0644), 0);
        ASSERT_EQ(chown(folder.c_str(), nativetest::kNobody, nativetest::kNobody), 0);
    }
    ASSERT_EQ(chmod(folder.c_str(), 0555), 0);
    const std::uint16_t before = KVDiskServer::getMode(ks(folder));

    const int result = nativetest::runUnprivileged([&]() -> int {
        if (KVDiskServer::copyFile(ks(source), ks("file:" + target))) return 30;
        if (KVDiskServer::getMode(ks(folder)) != before) return 31;
        return 0;
    });
    EXPECT_EQ(result, 0) << "30: copied through a lent folder, 31: mode changed";
    EXPECT_FALSE(exists(target));
    // Without the prefix the same copy borrows the permission and succeeds.
    const int plain = nativetest::runUnprivileged(
        [&]() -> int { return KVDiskServer::copyFile(ks(source), ks(target)) ? 0 : 1; });
    EXPECT_EQ(plain, 0);
    EXPECT_EQ(KVDiskServer::getMode(ks(folder)), before);
}

// A write that fails half-way (file size limit) deletes the partial target.
TEST_F(KVDiskServerTest, CopyFileDeletesTheTargetAfterAFailedWrite) {
    const std::string source = m_tmp / "big.bin";
    const std::string target = m_tmp / "partial.bin";
    ASSERT_TRUE(writeBytes(source, nativetest::patternBytes(3 * 1048576, 5)));

    std::fflush(nullptr);
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        signal(SIGXFSZ, SIG_IGN);  // writes past the limit then fail with EFBIG
        struct rlimit limit = {1048576 + 4096, 1048576 + 4096};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(30);
        if (KVDiskServer::copyFile(ks(source), ks(target))) _exit(31);
        struct stat st;
        if (lstat(target.c_str(), &st) == 0) _exit(32);
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "31: copy reported success, 32: partial target left";
}

TEST_F(KVDiskServerTest, OpenFolderAndGetCurrentPath) {
    const KVString saved = KVDiskServer::getCurrentPath();
    ASSERT_FALSE(saved.isEmpty());
    char real[PATH_MAX];
    ASSERT_NE(realpath(m_tmp.path().c_str(), real), nullptr);

    EXPECT_TRUE(KVDiskServer::openFolder(ks("file:" + m_tmp.path())));
    EXPECT_EQ(str(KVDiskServer::getCurrentPath()), std::string(real));
    EXPECT_FALSE(KVDiskServer::openFolder(ks(m_tmp / "missing")));
    EXPECT_EQ(str(KVDiskServer::getCurrentPath()), std::string(real));

    EXPECT_TRUE(KVDiskServer::openFolder(saved));
    EXPECT_EQ(str(KVDiskServer::getCurrentPath()), str(saved));
}

TEST_F(KVDiskServerTest, CreateFolderMakesOneFolderWithMode0700) {
    const std::string folder = m_tmp / "made";
    EXPECT_TRUE(KVDiskServer::createFolder(ks(folder)));
    EXPECT_TRUE(KVDiskServer::folderExists(ks(folder)));
    EXPECT_EQ(KVDiskServer::getMode(ks(folder)) & 07777, 0700);
    EXPECT_FALSE(KVDiskServer::createFolder(ks(folder)));               // exists already
    EXPECT_FALSE(KVDiskServer::createFolder(ks(m_tmp / "a/b/c")));      // no parents made
    EXPECT_FALSE(KVDiskServer::createFolder(ks("file:" + (m_tmp / "p"))));  // path as given
}

TEST_F(KVDiskServerTest, GetModeAndSetMode) {
    const std::string file = m_tmp / "m.txt";
    ASSERT_TRUE(writeText(file, "x"));
    EXPECT_EQ(KVDiskServer::setMode(ks(file), 0640), 0);
    const std::uint16_t mode = KVDiskServer::getMode(ks(file));
    EXPECT_EQ(mode & 07777, 0640);
    EXPECT_TRUE(S_ISREG(mode));
    EXPECT_EQ(KVDiskServer::getMode(ks(m_tmp / "missing")), 0);
    EXPECT_NE(KVDiskServer::setMode(ks(m_tmp / "missing"), 0600), 0);
    EXPECT_EQ(KVDiskServer::getMode(ks("file:" + file)), 0);  // path as given
}

TEST_F(KVDiskServerTest, InvalidFileAndApplicationFolder) {
    EXPECT_EQ(KVDiskServer::s_invalidFile, nullptr);
    EXPECT_EQ(str(KVDiskServer::getApplicationFolder()), "/Applications");
}

}  // namespace
