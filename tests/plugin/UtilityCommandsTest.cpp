// Utility commands through the loaded module: folder and tool-file stacks, file services, shell and questions.
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "PluginTestSupport.h"

using testsupport::contents;
using testsupport::folderNames;
using Names = std::set<std::string>;

namespace {

std::string currentFolder() {
    char buffer[4096];
    return getcwd(buffer, sizeof buffer) ? std::string(buffer) : std::string();
}

float call(const char* name, const std::string& text, double value = 0.0) {
    return sharedPluginHost().call(name, text.c_str(), value);
}
float call(const char* name) { return sharedPluginHost().call(name); }

bool isFolder(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

// The folder stack moves the process's working folder: the test gets it back whatever happens.
TEST(FolderStack, PushesAndPopsInReverseOrderAndSurvivesFoldersThatCannotBeEntered) {
    const std::string saved = currentFolder();
    struct Restore {
        std::string folder;
        ~Restore() { EXPECT_EQ(chdir(folder.c_str()), 0); }
    } restore{saved};
    TempFolder tmp;
    char* resolved = realpath(tmp.path().c_str(), nullptr);
    const std::string a = resolved ? resolved : "";
    free(resolved);
    ASSERT_EQ(mkdir((a + "/b").c_str(), 0755), 0);
    ASSERT_TRUE(writeFile(a + "/b/file.txt", "x"));

    EXPECT_EQ(call("PushCurrentFolder", a), 1.0f);
    EXPECT_EQ(currentFolder(), a);
    // A missing folder or a plain file: the working folder stays, but the push is kept.
    EXPECT_EQ(call("PushCurrentFolder", a + "/missing"), 0.0f);
    EXPECT_EQ(currentFolder(), a);
    EXPECT_EQ(call("PushCurrentFolder", "!:" + a + "/b/"), 1.0f);
    EXPECT_EQ(currentFolder(), a + "/b");
    EXPECT_EQ(call("PushCurrentFolder", a + "/b/file.txt"), 0.0f);
    EXPECT_EQ(currentFolder(), a + "/b");
    for (const std::string& back : {a + "/b", a, a, saved}) {
        EXPECT_EQ(call("PopCurrentFolder"), 1.0f);
        EXPECT_EQ(currentFolder(), back);
    }
    EXPECT_EQ(call("PopCurrentFolder"), 0.0f);  // empty stack: nothing moves
    EXPECT_EQ(currentFolder(), saved);

    // Popping to a folder that went away answers 0 and stays put.
    const std::string gone = a + "/gone";
    ASSERT_EQ(mkdir(gone.c_str(), 0755), 0);
    EXPECT_EQ(call("PushCurrentFolder", gone), 1.0f);
    EXPECT_EQ(call("PushCurrentFolder", a), 1.0f);
    ASSERT_EQ(rmdir(gone.c_str()), 0);
    EXPECT_EQ(call("PopCurrentFolder"), 0.0f);
    EXPECT_EQ(currentFolder(), a);
    EXPECT_EQ(call("PopCurrentFolder"), 1.0f);
    EXPECT_EQ(currentFolder(), saved);
}

TEST(ToolFileStack, PutsFilesAsideAndRestoresThemInReverseOrder) {
    TempFolder tmp;
    const std::string brush = tmp.file("brush.ytl");
    ASSERT_TRUE(writeFile(brush, "v1"));
    ASSERT_TRUE(writeFile(tmp.file("brush1.ytl"), "someone else's"));

    EXPECT_EQ(call("PushYTLFile", brush), 0.0f);
    EXPECT_FALSE(pathExists(brush));
    EXPECT_EQ(contents(tmp.file("brush2.ytl")), "v1");
    ASSERT_TRUE(writeFile(brush, "v2"));
    EXPECT_EQ(call("PushYTLFile", brush), 0.0f);
    EXPECT_EQ(contents(tmp.file("brush3.ytl")), "v2");
    // A path with no file yet: nothing is put aside, and the pop just deletes what was written.
    const std::string other = tmp.file("other.ytl");
    EXPECT_EQ(call("PushYTLFile", other), 0.0f);
    ASSERT_TRUE(writeFile(other, "temporary"));
    ASSERT_TRUE(writeFile(brush, "v3"));

    EXPECT_EQ(call("PopYTLFile"), 0.0f);
    EXPECT_FALSE(pathExists(other));
    EXPECT_EQ(contents(brush), "v3");
    EXPECT_EQ(call("PopYTLFile"), 0.0f);
    EXPECT_EQ(contents(brush), "v2");
    EXPECT_FALSE(pathExists(tmp.file("brush3.ytl")));
    EXPECT_EQ(call("PopYTLFile"), 0.0f);
    EXPECT_EQ(contents(brush), "v1");
    EXPECT_EQ(contents(tmp.file("brush1.ytl")), "someone else's");
    EXPECT_EQ(call("PopYTLFile"), 0.0f);  // empty stack: nothing changes
    EXPECT_EQ(folderNames(tmp.path()), (Names{"brush.ytl", "brush1.ytl"}));
}

TEST(FileCommands, CreateEmptyCreateFolderAndDeleteReportFailures) {
    TempFolder tmp;
    const std::string path = tmp.file("empty.txt");
    EXPECT_EQ(call("FileCreateEmpty", "file:" + path), 0.0f);
    EXPECT_EQ(contents(path), "");
    ASSERT_TRUE(writeFile(path, "not empty"));
    EXPECT_EQ(call("FileCreateEmpty", path), 0.0f);
    EXPECT_EQ(contents(path), "");
    EXPECT_EQ(call("FileCreateEmpty", tmp.file("missing/x.txt")), -1.0f);
    EXPECT_EQ(call("FileDelete", path), 0.0f);
    EXPECT_FALSE(pathExists(path));
    EXPECT_EQ(call("FileDelete", path), -1.0f);

    // One folder only, not its parents, and not twice.
    EXPECT_EQ(call("CreateFolder", tmp.file("made")), 0.0f);
    EXPECT_TRUE(isFolder(tmp.file("made")));
    EXPECT_EQ(call("CreateFolder", tmp.file("made")), -1.0f);
    EXPECT_EQ(call("CreateFolder", tmp.file("no/parent")), -1.0f);
    EXPECT_FALSE(pathExists(tmp.file("no")));
    for (const char* name : {"FileCreateEmpty", "FileDelete", "CreateFolder"}) EXPECT_EQ(call(name), -1.0f) << name;
}

TEST(FileCommands, CopyUsesTheRememberedSourceAndAlwaysAnswersZero) {
    TempFolder tmp;
    std::string bytes(1048576 + 300, '\0');
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>((i * 131) >> 3);
    const std::string source = tmp.file("source.bin"), target = tmp.file("target.bin");
    ASSERT_TRUE(writeFile(source, bytes));
    ASSERT_TRUE(writeFile(target, std::string(3000000, 'x')));

    EXPECT_EQ(call("SetCopySrc", source), 0.0f);
    EXPECT_EQ(call("DoCopyTo", target), 0.0f);
    EXPECT_EQ(contents(target), bytes);
    EXPECT_EQ(call("DoCopyTo", tmp.file("second.bin")), 0.0f);  // the source is remembered
    EXPECT_EQ(contents(tmp.file("second.bin")), bytes);
    EXPECT_EQ(call("SetCopySrc", tmp.file("missing.bin")), 0.0f);
    EXPECT_EQ(call("DoCopyTo", tmp.file("third.bin")), 0.0f);
    EXPECT_FALSE(pathExists(tmp.file("third.bin")));
}

TEST(FileCommands, SystemRunsAShellCommandAndIgnoresItsStatus) {
    TempFolder tmp;
    EXPECT_EQ(call("System", "printf 'made by %s' shell > '" + tmp.file("out.txt") + "'"), 0.0f);
    EXPECT_EQ(contents(tmp.file("out.txt")), "made by shell");
    EXPECT_EQ(call("System", "exit 3"), 0.0f);
}

// How the ending is taken from the pattern is unit-tested; here the matching files go.
TEST(RemoveAllFilesWithFilterAndFolder, RemovesByExtensionInAnyCaseAndKeepsNearMisses) {
    TempFolder tmp;
    for (const char* name : {"a.obj", "b.Obj", "C.OBJ", "c.objx", "d.obj.bak", "e.kel", "obj", "xobj"})
        ASSERT_TRUE(writeFile(tmp.file(name), "x"));
    ASSERT_EQ(mkdir(tmp.file("sub").c_str(), 0755), 0);
    ASSERT_TRUE(writeFile(tmp.file("sub/f.obj"), "x"));
    // A folder that cannot be read, or a pattern without a folder, removes nothing.
    EXPECT_EQ(call("RemoveAllFilesWithFilterAndFolder", tmp.file("missing/*.obj")), 0.0f);
    EXPECT_EQ(call("RemoveAllFilesWithFilterAndFolder", "a.obj"), 0.0f);
    EXPECT_TRUE(pathExists(tmp.file("a.obj")));

    EXPECT_EQ(call("RemoveAllFilesWithFilterAndFolder", "file:" + tmp.path() + "/*.OBJ"), 0.0f);
    EXPECT_EQ(folderNames(tmp.path()), (Names{"c.objx", "d.obj.bak", "e.kel", "obj", "sub", "xobj"}));
    EXPECT_TRUE(pathExists(tmp.file("sub/f.obj")));
    // Without a dot the whole pattern is the ending.
    EXPECT_EQ(call("RemoveAllFilesWithFilterAndFolder", tmp.path() + "/OBJ"), 0.0f);
    EXPECT_EQ(folderNames(tmp.path()), (Names{"c.objx", "d.obj.bak", "e.kel", "sub"}));
}

TEST(UtilityQuestions, UndoNumberIsTheIntegerAfterTheFirstBlank) {
    const struct {
        const char* name;
        float number;
    } rows[] = {{"Undo  7", 7}, {"Undo 5 of 9", 5}, {"Redo -3", -3}, {"Undo 42x", 42}, {"Undo x", -1},
                {"Undo\t5", -1}, {"Undo12", -1}, {"Undo ", -1}, {"Undo 99999999999999999999", float(INT_MAX)}};
    for (const auto& r : rows) EXPECT_EQ(call("GetUndoNumberFromButtonName", r.name), r.number) << r.name;
}

TEST(UtilityQuestions, FiniteTestSleepPlatformAndPublicFolder) {
    const PluginHost& host = sharedPluginHost();
    const double inf = std::numeric_limits<double>::infinity();
    for (double v : {-DBL_MAX, 4.9e-324, 0.0}) EXPECT_EQ(host.call("IsFiniteValue", nullptr, v), 1.0f) << v;
    for (double v : {inf, -inf, std::nan("")}) EXPECT_EQ(host.call("IsFiniteValue", nullptr, v), 0.0f) << v;
    // Values no sleep count can hold must not reach the sleep.
    for (double v : {0.9, -5.0, std::nan(""), -1e300}) EXPECT_EQ(host.call("YSleep", nullptr, v), 0.0f) << v;

    EXPECT_EQ(call("GetNumProcs"), static_cast<float>(sysconf(_SC_NPROCESSORS_ONLN)));
    EXPECT_EQ(call("Is64BitsDll"), sizeof(void*) == 8 ? 1.0f : 0.0f);
    EXPECT_EQ(call("Is64BitsSystem"), 0.0f);
    EXPECT_EQ(call("PrintInLog", "a line from the script"), 0.0f);
    EXPECT_EQ(call("FixPlastraFreeze"), 0.0f);

    char buffer[256];
    std::memset(buffer, 'x', sizeof buffer);
    const float result = host.call("GetPublicFolder", nullptr, 0.0, buffer, 0);
    EXPECT_EQ(result, isFolder("/home") ? 1.0f : 0.0f);
    EXPECT_STREQ(result == 1.0f ? buffer : "/home", "/home");
    EXPECT_EQ(buffer[0], result == 1.0f ? '/' : 'x');
    EXPECT_EQ(call("GetPublicFolder"), 0.0f);  // no buffer to write to
}
