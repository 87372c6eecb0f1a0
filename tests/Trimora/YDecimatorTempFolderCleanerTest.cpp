// YDecimatorTempFolderCleaner: which names start-up removes.
#include "Trimora/YDecimatorTempFolderCleaner.h"

#include <gtest/gtest.h>

#include "PluginHost.h"

TEST(YDecimatorTempFolderCleaner, LeftOversByNameEndingInAnyCase) {
    for (const char* name : {"/t/job.ydc", "/t/a.LOG", "/t/x.running", "/t/m.YMesh", "/t/d.data", "/t/k.kel",
                             "/t/o.obj", "/t/c.obj.colors", "/t/.kel", "/t/C.OBJ.COLORS"}) {
        EXPECT_TRUE(YDecimatorTempFolderCleaner::isLeftOver(name, false)) << name;
    }
    for (const char* name : {"/t/YDecimator.ypr", "/t/t.png", "/t/kel", "/t/x.kelx", "/t/x.obj.bak", "/t/a.ydc.txt",
                             "/t/m.ypm"}) {
        EXPECT_FALSE(YDecimatorTempFolderCleaner::isLeftOver(name, false)) << name;
    }
    EXPECT_TRUE(YDecimatorTempFolderCleaner::isLeftOver("/t/m.YPM", true));
}

TEST(YDecimatorTempFolderCleaner, ListsFullPathsAndReportsAnUnreadableFolder) {
    TempFolder dir;
    ASSERT_TRUE(writeFile(dir.file("a.kel"), "k"));
    ASSERT_TRUE(writeFile(dir.file("b.png"), "p"));
    KVArray<KVString> paths;
    paths.add("stale");
    ASSERT_TRUE(YDecimatorTempFolderCleaner::listLeftOvers(dir.path().c_str(), true, paths));
    ASSERT_EQ(paths.getCount(), 1);
    EXPECT_EQ(std::string(paths[0].c_str()), dir.file("a.kel"));
    paths.add(dir.file("missing.kel").c_str());
    EXPECT_EQ(YDecimatorTempFolderCleaner::removeFiles(paths), 1);
    EXPECT_FALSE(pathExists(dir.file("a.kel")));
    EXPECT_TRUE(pathExists(dir.file("b.png")));
    EXPECT_FALSE(YDecimatorTempFolderCleaner::listLeftOvers(dir.file("nope").c_str(), true, paths));
    EXPECT_EQ(paths.getCount(), 0);
}
