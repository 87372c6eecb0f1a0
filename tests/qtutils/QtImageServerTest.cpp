// The image service against the real wrapper and Qt libraries in the QtLibs folder beside us.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "PluginHost.h"
#include "TestImages.h"
#include "qtutils/QtImageServer.h"
#include "qtutils/QtLibServer.h"

using testimages::Image;

namespace {

std::string qtLibs() { return PluginHost::executableFolder() + "/YData/YPlugs64/QtLibs/"; }

class QtImageServerTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!PluginHost::hasImageWrapper()) GTEST_SKIP() << "no image wrapper in this build";
        source = dir.file("skin.png");
        ASSERT_TRUE(testimages::writeBytes(source, testimages::encodePng(picture)));
    }

    TempFolder dir;
    Image picture = testimages::makeGradient(7, 5);  // odd width: BMP rows are padded
    std::string source;
};

}  // namespace

TEST(QtLibServer, LoadsFromTheHostFolderReportsMissingLibrariesAndInitsTheWrapper) {
    if (!PluginHost::hasImageWrapper()) GTEST_SKIP() << "no image wrapper in this build";
    EXPECT_EQ(std::string(QtLibServer::getQtLibsFolder().c_str()), qtLibs());
    EXPECT_EQ(QtLibServer::loadQtLibrary("imageformats/libqnothere.so"), nullptr);
    void* core = QtLibServer::loadQtLibrary("libQt6Core.so.6");
    ASSERT_NE(core, nullptr);
    // A second load is the same library; closing it once leaves the first reference (Qt is never
    // unloaded for good: its allocations would look leaked).
    void* again = QtLibServer::loadQtLibrary("libQt6Core.so.6");
    EXPECT_EQ(again, core);
    QtLibServer::unloadQtLibrary(again);
    QtLibServer::unloadQtLibrary(nullptr);
    EXPECT_EQ(QtLibServer::initQtWrapper(), 1);
    EXPECT_NE(QtLibServer::getHandle(KVQtLibraryNames::kQtWrapper), nullptr);
    EXPECT_NE(QtLibServer::findWrapperSymbol("QTWDLL_ConvertImage"), nullptr);
    EXPECT_EQ(QtLibServer::findWrapperSymbol("QTWDLL_NoSuchEntry"), nullptr);
}

TEST_F(QtImageServerTest, WritesTheFormatsOfTheImagePlugins) {
    struct Case {
        const char* name;
        std::string magic;
    } cases[] = {{"skin.jpg", "\xff\xd8\xff"}, {"skin.tif", std::string("II*\0", 4)}, {"skin.ico", std::string("\0\0\1\0", 4)}};
    for (const Case& c : cases) {
        const std::string target = dir.file(c.name);
        ASSERT_TRUE(QtImageServer::convertImage(source.c_str(), target.c_str(), 90)) << c.name;
        EXPECT_EQ(testimages::readBytes(target).substr(0, c.magic.size()), c.magic) << c.name;
    }
    // Every library of the folder is now held.
    for (int i = 0; i < KVQtLibraryNames::kLibraryCount; ++i)
        EXPECT_NE(QtLibServer::getHandle(static_cast<KVQtLibraryNames::Library>(i)), nullptr) << i;
    // TIFF is lossless: back through the plug-in to BMP gives the first pixels again.
    ASSERT_TRUE(QtImageServer::convertImage(dir.file("skin.tif").c_str(), dir.file("back.bmp").c_str(), 100));
    Image back;
    ASSERT_TRUE(testimages::readBmp(dir.file("back.bmp"), back));
    EXPECT_EQ(back, picture);
    EXPECT_TRUE(pathExists(source));  // the service converts; deleting is the caller's business
}

TEST_F(QtImageServerTest, PrefixedPathsConvertAndBadSourcesOrTargetsFail) {
    // Host path prefixes are stripped before the wrapper sees the names.
    EXPECT_TRUE(QtImageServer::convertImage(("file:" + source).c_str(), ("Macintosh HD:" + dir.file("v.bmp")).c_str(), 100));
    EXPECT_TRUE(pathExists(dir.file("v.bmp")));
    EXPECT_FALSE(QtImageServer::convertImage(dir.file("none.png").c_str(), dir.file("none.bmp").c_str(), 100));
    ASSERT_TRUE(writeFile(dir.file("junk.png"), "not an image"));
    EXPECT_FALSE(QtImageServer::convertImage(dir.file("junk.png").c_str(), dir.file("junk.bmp").c_str(), 100));
    EXPECT_FALSE(QtImageServer::convertImage(nullptr, dir.file("null.bmp").c_str(), 100));
    EXPECT_FALSE(QtImageServer::convertImage(source.c_str(), nullptr, 100));
    // A target format nobody writes.
    EXPECT_FALSE(QtImageServer::convertImage(source.c_str(), dir.file("skin.unknownformat").c_str(), 100));
    EXPECT_FALSE(pathExists(dir.file("none.bmp")));
    EXPECT_FALSE(pathExists(dir.file("junk.bmp")));
}

TEST_F(QtImageServerTest, ImagesReadWriteClearAndDelete) {
    QwImage* image = QtImageServer::readImage(source.c_str());
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(QtImageServer::writeImage(image, dir.file("copy.bmp").c_str(), 100), 1);
    Image copy;
    ASSERT_TRUE(testimages::readBmp(dir.file("copy.bmp"), copy));
    EXPECT_EQ(copy, picture);

    EXPECT_TRUE(QtImageServer::clearImage(image));
    EXPECT_EQ(QtImageServer::writeImage(image, dir.file("cleared.bmp").c_str(), 100), 0);
    EXPECT_FALSE(pathExists(dir.file("cleared.bmp")));
    EXPECT_TRUE(QtImageServer::deleteImage(image));

    QwImage* empty = QtImageServer::newEmptyImage();
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(QtImageServer::writeImage(empty, dir.file("empty.bmp").c_str(), 100), 0);
    EXPECT_TRUE(QtImageServer::deleteImage(empty));

    EXPECT_EQ(QtImageServer::readImage(dir.file("none.png").c_str()), nullptr);
    EXPECT_EQ(QtImageServer::readImage(nullptr), nullptr);
}

TEST_F(QtImageServerTest, UninitializeForgetsEntryPointsButKeepsLibrariesLoaded) {
    ASSERT_TRUE(QtImageServer::initialize());
    void* wrapper = QtLibServer::getHandle(KVQtLibraryNames::kQtWrapper);
    ASSERT_NE(wrapper, nullptr);
    QtImageServer::uninitialize();
    EXPECT_FALSE(QtImageServer::isInitialized());
    EXPECT_EQ(QtLibServer::getHandle(KVQtLibraryNames::kQtWrapper), wrapper);
    QtImageServer::uninitialize();  // a second time does nothing
    EXPECT_FALSE(QtImageServer::isInitialized());

    // The next operation initialises again from the libraries already held.
    EXPECT_TRUE(QtImageServer::convertImage(source.c_str(), dir.file("again.bmp").c_str(), 100));
    EXPECT_TRUE(QtImageServer::isInitialized());
    EXPECT_EQ(QtLibServer::getHandle(KVQtLibraryNames::kQtWrapper), wrapper);
}
