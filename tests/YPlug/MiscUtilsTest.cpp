// MiscUtils: aside names at the name buffer's edge, cleaning filters, and the stacks' bookkeeping.
#include "YPlug/MiscUtils.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <string>

#include "PluginHost.h"

namespace {

std::string str(const KVString& s) { return s.c_str(); }

// A file whose full path is exactly `length` bytes, under nested folders of the temporary one.
std::string fileOfLength(const TempFolder& tmp, int length) {
    std::string path = tmp.path();
    while (static_cast<int>(path.size()) + 1 + 200 + 1 + 20 < length) {
        path += "/" + std::string(200, 'd');
        if (mkdir(path.c_str(), 0755) != 0 && !pathExists(path)) return "";
    }
    const int nameLength = length - static_cast<int>(path.size()) - 1;
    path += "/" + std::string(static_cast<size_t>(nameLength - 4), 'n') + ".ytl";
    return writeFile(path, "x") ? path : "";
}

}  // namespace

TEST(MiscUtilsAsideName, CountsUpBeforeTheLastFourCharacters) {
    TempFolder tmp;
    const std::string brush = tmp.file("brush.ytl");
    EXPECT_EQ(str(MiscUtils::findAsideName(brush.c_str())), brush);  // nothing there yet
    ASSERT_TRUE(writeFile(brush, "x"));
    EXPECT_EQ(str(MiscUtils::findAsideName(brush.c_str())), tmp.file("brush1.ytl"));
    for (int n = 1; n <= 10; ++n) ASSERT_TRUE(writeFile(tmp.file("brush" + std::to_string(n) + ".ytl"), "x"));
    EXPECT_EQ(str(MiscUtils::findAsideName(brush.c_str())), tmp.file("brush11.ytl"));

    // Any four-character ending is the extension, a dot or not.
    ASSERT_TRUE(writeFile(tmp.file("toolfile"), "x"));
    EXPECT_EQ(str(MiscUtils::findAsideName(tmp.file("toolfile").c_str())), tmp.file("tool1file"));
}

TEST(MiscUtilsAsideName, NamesThatDoNotFitTheBufferPutNothingAside) {
    TempFolder tmp;
    // brush1.ytl of a 1022-byte path is 1023 bytes: it fits with its NUL.
    const std::string fits = fileOfLength(tmp, 1022);
    ASSERT_EQ(fits.size(), 1022u);
    const std::string aside = str(MiscUtils::findAsideName(fits.c_str()));
    EXPECT_EQ(aside, fits.substr(0, 1018) + "1.ytl");

    const std::string tooLong = fileOfLength(tmp, 1023);
    ASSERT_EQ(tooLong.size(), 1023u);
    EXPECT_EQ(str(MiscUtils::findAsideName(tooLong.c_str())), tooLong);

    // Pushing it records the path twice and leaves the file where it is.
    const int depth = s_fileHeap1.getCount();
    MiscUtils::pushToolFile(tooLong.c_str());
    ASSERT_EQ(s_fileHeap1.getCount(), depth + 1);
    EXPECT_EQ(str(s_fileHeap2.getLast()), tooLong);
    EXPECT_TRUE(pathExists(tooLong));
    EXPECT_TRUE(MiscUtils::popToolFile());
    EXPECT_FALSE(pathExists(tooLong));  // nothing was aside: the pop only deletes
    EXPECT_EQ(s_fileHeap1.getCount(), depth);
}

TEST(MiscUtilsFilter, EndingIsTakenFromTheFileNamePartOnly) {
    EXPECT_EQ(str(MiscUtils::filterOf("/data/out/*.obj")), ".obj");
    EXPECT_EQ(str(MiscUtils::filterOf("/data/out/*.obj.colors")), ".colors");
    EXPECT_EQ(str(MiscUtils::filterOf("/data.d/out/kel")), "kel");
    EXPECT_EQ(str(MiscUtils::filterOf("a\\b.x")), ".x");

    TempFolder tmp;
    ASSERT_TRUE(writeFile(tmp.file("A.KEL"), "x"));
    ASSERT_TRUE(writeFile(tmp.file("b.kelx"), "x"));
    KVArray<KVString> files;
    ASSERT_TRUE(MiscUtils::listFilesWithFilter((tmp.path() + "/*.kel").c_str(), files));
    ASSERT_EQ(files.getCount(), 1);
    // The folder keeps its own "/" and gets another one before the name.
    EXPECT_EQ(str(files[0]), tmp.path() + "//A.KEL");
    EXPECT_FALSE(MiscUtils::listFilesWithFilter("no-folder.kel", files));
    EXPECT_EQ(files.getCount(), 0);
    EXPECT_EQ(MiscUtils::removeAllFilesWithFilterAndFolder((tmp.path() + "/*.kel").c_str()), 1);
    EXPECT_FALSE(pathExists(tmp.file("A.KEL")));
}
