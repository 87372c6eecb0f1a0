// The mesh registry's lists, marks and texture handling, read back through the accessors.
#include <gtest/gtest.h>

#include <string>

#include "../qtutils/TestImages.h"
#include "PluginHost.h"
#include "YPlug/ExportAllUtils.h"

namespace {

class ExportAllUtilsTest : public ::testing::Test {
protected:
    void SetUp() override {
        ExportAllUtils::startDeclare();
        ExportAllUtils::setTextureExt("bmp");
        ExportAllUtils::setTextureQuality(100);
    }

    static int declaredCount() { return getDeclaredKelFileNames().getCount(); }
    static std::string texture(int i) { return getDeclaredTextureFileNames()[i].c_str(); }
    static std::string output(int i) { return getDeclaredKelFileOutput()[i].c_str(); }

    // Every list must hold one entry per declared file.
    static void expectParallel(int n) {
        EXPECT_EQ(getDeclaredKelFileNames().getCount(), n);
        EXPECT_EQ(getDeclaredTextureFileNames().getCount(), n);
        EXPECT_EQ(getDeclaredKelFileVisibility().getCount(), n);
        EXPECT_EQ(getDeclaredKelFileOutput().getCount(), n);
    }

    TempFolder dir;
};

}  // namespace

TEST_F(ExportAllUtilsTest, AddAppendsToAllFourListsAndMarksOnlyTheLastEntry) {
    ExportAllUtils::addKelFile("/m/a.kel");
    ExportAllUtils::addKelFile("/m/b.kel");
    ExportAllUtils::declareLastInvisible();
    ExportAllUtils::declareLastOutput("file:/out/b_out.kel/");
    ExportAllUtils::addKelFile(nullptr);
    expectParallel(3);

    EXPECT_STREQ(getDeclaredKelFileNames()[0].c_str(), "/m/a.kel");
    EXPECT_STREQ(getDeclaredKelFileNames()[1].c_str(), "/m/b.kel");
    EXPECT_TRUE(getDeclaredKelFileNames()[2].isNull());
    EXPECT_EQ(getDeclaredKelFileVisibility()[0], 1);
    EXPECT_EQ(getDeclaredKelFileVisibility()[1], 0);
    EXPECT_EQ(getDeclaredKelFileVisibility()[2], 1);
    EXPECT_EQ(output(0), "");
    // Valid-file-path form: the prefix goes, the trailing separator stays.
    EXPECT_EQ(output(1), "/out/b_out.kel/");
    EXPECT_EQ(output(2), "");
    for (int i = 0; i < 3; ++i) EXPECT_EQ(texture(i), "") << i;
}

TEST_F(ExportAllUtilsTest, StartDeclareEmptiesTheListsAndClearsTheCurrentFile) {
    ExportAllUtils::setCurrentKelFile("/m/now.kel");
    ExportAllUtils::addKelFile("/m/a.kel");  // the current file is independent of the lists
    ExportAllUtils::declareLastInvisible();
    EXPECT_STREQ(getDeclaredCurrentKelFileName().c_str(), "/m/now.kel");
    ExportAllUtils::setCurrentKelFile(nullptr);
    EXPECT_TRUE(getDeclaredCurrentKelFileName().isNull());
    ExportAllUtils::setCurrentKelFile("/m/a.kel");
    ExportAllUtils::setTextureExt("jpg");

    ExportAllUtils::startDeclare();
    expectParallel(0);
    EXPECT_TRUE(getDeclaredCurrentKelFileName().isNull());
    EXPECT_STREQ(s_textureExt.c_str(), "jpg");  // settings outlive the pass

    // A new pass starts from fresh entries, not from the old marks.
    ExportAllUtils::addKelFile("/m/c.kel");
    EXPECT_EQ(getDeclaredKelFileVisibility()[0], 1);
}

TEST_F(ExportAllUtilsTest, TextureNamePieces) {
    EXPECT_STREQ(ExportAllUtils::textureExtension("/t/skin.PNG").c_str(), "PNG");
    EXPECT_STREQ(ExportAllUtils::textureExtension("/t/a.b/skin").c_str(), "b/skin");
    EXPECT_STREQ(ExportAllUtils::textureExtension("/t/skin").c_str(), "/t/skin");
    EXPECT_STREQ(ExportAllUtils::textureExtension("skin.").c_str(), "");

    EXPECT_STREQ(ExportAllUtils::convertedTextureName("/t/skin.tar.png", "bmp").c_str(), "/t/skin.tar.bmp");
    EXPECT_STREQ(ExportAllUtils::convertedTextureName("skin.", "bmp").c_str(), "skin.bmp");
    // Without a dot nothing of the name survives.
    EXPECT_STREQ(ExportAllUtils::convertedTextureName("/t/skin", "bmp").c_str(), "bmp");
}

TEST_F(ExportAllUtilsTest, OtherExtensionIsConvertedAndTheSourceDeleted) {
    if (!PluginHost::hasImageWrapper()) GTEST_SKIP() << "no image wrapper in this build";
    const std::string png = dir.file("skin.png");
    ASSERT_TRUE(testimages::writeBytes(png, testimages::encodePng(testimages::makeGradient(5, 3))));
    ExportAllUtils::addKelFile("/m/a.kel");
    ExportAllUtils::addKelFile("/m/b.kel");
    ASSERT_TRUE(ExportAllUtils::setTextureForLast(png.c_str()));

    // The pixels and the deleted source are checked through the module; here the stored name.
    EXPECT_EQ(texture(0), "");
    EXPECT_EQ(texture(1), dir.file("skin.bmp"));
}

TEST_F(ExportAllUtilsTest, FailedConversionKeepsTheTextureAsGiven) {
    const std::string junk = dir.file("skin.png");
    ASSERT_TRUE(writeFile(junk, "not an image"));
    ExportAllUtils::addKelFile("/m/a.kel");
    ExportAllUtils::setTextureForLast(junk.c_str());
    EXPECT_EQ(texture(0), junk);
    EXPECT_TRUE(pathExists(junk));
    EXPECT_FALSE(pathExists(dir.file("skin.bmp")));

    const std::string missing = dir.file("gone.tga");
    ExportAllUtils::setTextureForLast(missing.c_str());
    EXPECT_EQ(texture(0), missing);
}

