// Texture conversion of a declared mesh through the loaded module and the real QtLibs folder.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "../qtutils/TestImages.h"
#include "PluginHost.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;

const char* const kChildWorkVar = "TRIMORA_TEST_TEXTURE_WORK";
const char* const kChildQtLibsVar = "TRIMORA_TEST_TEXTURE_QTLIBS";

std::string qtLibs() { return PluginHost::executableFolder() + "/YData/YPlugs64/QtLibs"; }

void declareOneMesh(const std::string& folder) {
    const PluginHost& h = sharedPluginHost();
    ASSERT_EQ(h.call("StartDeclareKelFiles"), 0.0f);
    ASSERT_EQ(h.call("AddOneKelFile", (folder + "/mesh.kel").c_str()), 0.0f);
}

// Runs `program` with `args`, extra environment entries and its output in `logPath`.
// The exit status, or -1 when it could not be run.
int runChild(const std::string& program, const std::vector<std::string>& args,
             const std::vector<std::string>& extraEnv, const std::string& logPath) {
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    std::vector<char*> envp;
    for (char** e = environ; *e; ++e) envp.push_back(*e);
    for (const std::string& e : extraEnv) envp.push_back(const_cast<char*>(e.c_str()));
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    pid_t pid = -1;
    const int rc = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) return -1;
    int status = 0;
    while (waitpid(pid, &status, 0) < 0)
        if (errno != EINTR) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

TEST(TextureConversion, DeclaredPngBecomesABmpWithTheSamePixels) {
    if (!PluginHost::hasImageWrapper()) GTEST_SKIP() << "no image wrapper in this build";
    TempFolder dir;
    const testimages::Image picture = testimages::makeGradient(9, 7);
    const std::string png = dir.file("skin.png");
    ASSERT_TRUE(testimages::writeBytes(png, testimages::encodePng(picture)));

    declareOneMesh(dir.path());
    ASSERT_EQ(sharedPluginHost().call("SetTextureExt", "bmp"), 0.0f);
    EXPECT_EQ(sharedPluginHost().call("SetTextureFileNameForLastKel", png.c_str()), 0.0f);

    EXPECT_FALSE(pathExists(png));
    testimages::Image converted;
    ASSERT_TRUE(testimages::readBmp(dir.file("skin.bmp"), converted));
    EXPECT_EQ(converted, picture);
}

// The QtLibs folder is looked up beside the running host, so a host without it is a copy of this
// program and of the module in a folder of their own; the shared build folder is never touched,
// and tests running beside this one keep their libraries.
TEST(TextureConversion, WithoutTheQtLibsFolderConversionFailsAndIsRetriedLater) {
    if (!PluginHost::hasImageWrapper()) GTEST_SKIP() << "no image wrapper in this build";
    ASSERT_TRUE(fs::is_directory(qtLibs()));
    TempFolder hostFolder;
    TempFolder work;
    const std::string program = hostFolder.file("texture-host");
    std::error_code ec;
    fs::copy_file("/proc/self/exe", program, ec);
    ASSERT_FALSE(ec) << ec.message();
    fs::permissions(program, fs::perms::owner_all, fs::perm_options::add);
    fs::copy_file(PluginHost::defaultModulePath(), hostFolder.file("Trimora.so"), ec);
    ASSERT_FALSE(ec) << ec.message();

    const std::string log = work.file("child.log");
    const int status = runChild(program, {"--gtest_filter=TextureConversionChild.*"},
                                {std::string(kChildWorkVar) + "=" + work.path(),
                                 std::string(kChildQtLibsVar) + "=" + qtLibs()},
                                log);
    std::string output;
    readFile(log, output);
    EXPECT_EQ(status, 0) << output;
    // The child must really have run its side, not skipped it.
    EXPECT_NE(output.find("[  PASSED  ] 1 test"), std::string::npos) << output;
    EXPECT_EQ(output.find("SKIPPED"), std::string::npos) << output;
}

// The child side of the test above; skipped when run on its own.
TEST(TextureConversionChild, FailsWithoutTheFolderThenConvertsOnceItAppears) {
    const char* workVar = std::getenv(kChildWorkVar);
    const char* qtLibsVar = std::getenv(kChildQtLibsVar);
    if (workVar == nullptr || qtLibsVar == nullptr) GTEST_SKIP() << "run by the test above";
    const std::string work = workVar;
    const std::string ownYData = PluginHost::executableFolder() + "/YData";
    ASSERT_FALSE(pathExists(ownYData));
    ASSERT_TRUE(sharedPluginHost().isLoaded()) << sharedPluginHost().getError();

    const testimages::Image picture = testimages::makeGradient(3, 3);
    const std::string png = work + "/skin.png";
    ASSERT_TRUE(testimages::writeBytes(png, testimages::encodePng(picture)));
    declareOneMesh(work);
    ASSERT_EQ(sharedPluginHost().call("SetTextureExt", "bmp"), 0.0f);

    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_EQ(sharedPluginHost().call("SetTextureFileNameForLastKel", png.c_str()), 0.0f);
        EXPECT_TRUE(pathExists(png)) << attempt;
        EXPECT_FALSE(pathExists(work + "/skin.bmp")) << attempt;
    }

    // The folder appears: the next call loads everything and converts.
    fs::create_directories(ownYData + "/YPlugs64");
    fs::create_directory_symlink(qtLibsVar, ownYData + "/YPlugs64/QtLibs");
    EXPECT_EQ(sharedPluginHost().call("SetTextureFileNameForLastKel", png.c_str()), 0.0f);
    EXPECT_FALSE(pathExists(png));
    testimages::Image converted;
    ASSERT_TRUE(testimages::readBmp(work + "/skin.bmp", converted));
    EXPECT_EQ(converted, picture);
}
