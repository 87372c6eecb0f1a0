// Texture conversion of a declared mesh through the loaded module and the real QtLibs folder.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "../qtutils/TestImages.h"
#include "PluginHost.h"

namespace {

namespace fs = std::filesystem;

const char* const kChildWorkVar = "TRIMORA_TEST_TEXTURE_WORK";
const char* const kChildQtLibsVar = "TRIMORA_TEST_TEXTURE_QTLIBS";

}  // namespace

// The QtLibs folder is looked up beside the running host, so a host without it is a copy of this
// program and of the module in a folder of their own; the shared build folder is never touched,
// and tests running beside this one keep their libraries.
TEST(TextureConversion, WithoutTheQtLibsFolderConversionFailsAndIsRetriedLater) {
    if (!PluginHost::hasImageWrapper()) GTEST_SKIP() << "no image wrapper in this build";
    const std::string qtLibs = PluginHost::executableFolder() + "/YData/YPlugs64/QtLibs";
    ASSERT_TRUE(fs::is_directory(qtLibs));
    TempFolder hostFolder, work;
    const std::string program = hostFolder.file("texture-host");
    std::error_code ec;
    fs::copy_file("/proc/self/exe", program, ec);
    ASSERT_FALSE(ec) << ec.message();
    fs::permissions(program, fs::perms::owner_all, fs::perm_options::add);
    fs::copy_file(PluginHost::defaultModulePath(), hostFolder.file("Trimora.so"), ec);
    ASSERT_FALSE(ec) << ec.message();

    // Temporary folders hold no quote, so single quotes are enough for the shell.
    const std::string log = work.file("child.log");
    const int status = std::system((std::string(kChildWorkVar) + "='" + work.path() + "' " + kChildQtLibsVar + "='" +
                                    qtLibs + "' '" + program + "' --gtest_filter='TextureConversionChild.*' > '" +
                                    log + "' 2>&1")
                                       .c_str());
    std::string output;
    readFile(log, output);
    EXPECT_EQ(status, 0) << output;
    // The child must really have run its side, not skipped it.
    EXPECT_NE(output.find("[  PASSED  ] 1 test"), std::string::npos) << output;
    EXPECT_EQ(output.find("SKIPPED"), std::string::npos) << output;
}

// The child side of the test above (skipped when run on its own): a declared PNG is not converted
// while the folder is missing, and becomes a BMP with the same pixels once it appears.
TEST(TextureConversionChild, FailsWithoutTheFolderThenConvertsOnceItAppears) {
    const char* workVar = std::getenv(kChildWorkVar);
    const char* qtLibsVar = std::getenv(kChildQtLibsVar);
    if (workVar == nullptr || qtLibsVar == nullptr) GTEST_SKIP() << "run by the test above";
    const std::string work = workVar;
    const std::string ownYData = PluginHost::executableFolder() + "/YData";
    ASSERT_FALSE(pathExists(ownYData));
    const PluginHost& host = sharedPluginHost();
    ASSERT_TRUE(host.isLoaded()) << host.getError();

    const testimages::Image picture = testimages::makeGradient(9, 7);
    const std::string png = work + "/skin.png";
    ASSERT_TRUE(testimages::writeBytes(png, testimages::encodePng(picture)));
    ASSERT_EQ(host.call("StartDeclareKelFiles"), 0.0f);
    ASSERT_EQ(host.call("AddOneKelFile", (work + "/mesh.kel").c_str()), 0.0f);
    ASSERT_EQ(host.call("SetTextureExt", "bmp"), 0.0f);
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_EQ(host.call("SetTextureFileNameForLastKel", png.c_str()), 0.0f);
        EXPECT_TRUE(pathExists(png)) << attempt;
        EXPECT_FALSE(pathExists(work + "/skin.bmp")) << attempt;
    }

    // The folder appears: the next call loads everything and converts.
    fs::create_directories(ownYData + "/YPlugs64");
    fs::create_directory_symlink(qtLibsVar, ownYData + "/YPlugs64/QtLibs");
    EXPECT_EQ(host.call("SetTextureFileNameForLastKel", png.c_str()), 0.0f);
    EXPECT_FALSE(pathExists(png));
    testimages::Image converted;
    ASSERT_TRUE(testimages::readBmp(work + "/skin.bmp", converted));
    EXPECT_EQ(converted, picture);
}
