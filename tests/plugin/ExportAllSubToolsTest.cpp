// The streaming sub-tool export through the loaded module.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <string>

#include "SimulatedHost.h"
#include "PluginHost.h"

namespace {

float call(const char* name, const std::string& text = "", double value = 0.0, char** hostData = nullptr) {
    return sharedPluginHost().call(name, text.c_str(), value, nullptr, 0, nullptr, 0, hostData);
}

std::string contents(const std::string& path) {
    std::string bytes;
    readFile(path, bytes);
    return bytes;
}

class ExportAllSubToolsTest : public ::testing::Test {
protected:
    void TearDown() override { call("EndExportAllSubTools"); }
    TempFolder folder;
};

}  // namespace

TEST_F(ExportAllSubToolsTest, StartNamesTheMaterialFileWhenTexturesAreOn) {
    EXPECT_EQ(call("DeclareToolHasTexture", "", 1.0), 0.0f);
    EXPECT_EQ(call("StartExportAllSubTools", "file:" + folder.file("scene.obj"), 6.0), 0.0f);
    EXPECT_EQ(call("EndExportAllSubTools"), 0.0f);
    EXPECT_EQ(contents(folder.file("scene.obj")), "mtllib scene.mtl\n");
    EXPECT_TRUE(pathExists(folder.file("scene.mtl")));
    EXPECT_EQ(contents(folder.file("scene.mtl")), "");

    call("DeclareToolHasTexture", "", 0.5);  // not above 0.5: off
    call("StartExportAllSubTools", folder.file("plain.obj"));
    call("EndExportAllSubTools");
    EXPECT_EQ(contents(folder.file("plain.obj")), "");
    EXPECT_FALSE(pathExists(folder.file("plain.mtl")));
}

TEST_F(ExportAllSubToolsTest, MaterialFileThatCannotOpenTurnsMaterialsOff) {
    call("DeclareToolHasTexture", "", 1.0);
    ASSERT_EQ(mkdir(folder.file("busy.mtl").c_str(), 0700), 0);
    call("StartExportAllSubTools", folder.file("busy.obj"));
    call("EndExportAllSubTools");
    EXPECT_EQ(contents(folder.file("busy.obj")), "");
    // Off it stays, for the next export too.
    call("StartExportAllSubTools", folder.file("next.obj"));
    call("EndExportAllSubTools");
    EXPECT_FALSE(pathExists(folder.file("next.mtl")));
}

TEST_F(ExportAllSubToolsTest, FailedOpenLeavesTheExportIdle) {
    call("DeclareToolHasTexture", "", 1.0);
    call("StartExportAllSubTools", folder.file("missing/dir/x.obj"));
    EXPECT_FALSE(pathExists(folder.file("missing")));
    EXPECT_EQ(call("EndExportAllSubTools"), 0.0f);
    EXPECT_EQ(call("EndExportAllSubTools"), 0.0f);  // nothing open: nothing to do
}

TEST_F(ExportAllSubToolsTest, RestartKeepsWhatTheFirstExportWrote) {
    call("DeclareToolHasTexture", "", 1.0);
    call("StartExportAllSubTools", folder.file("first.obj"));
    call("StartExportAllSubTools", folder.file("second.obj"));
    call("EndExportAllSubTools");
    EXPECT_EQ(contents(folder.file("first.obj")), "mtllib first.mtl\n");
    EXPECT_EQ(contents(folder.file("second.obj")), "mtllib second.mtl\n");
}

// The module is never told the host's version, so the bridge binds nothing: a host's mesh
// is not read and the sub-tool commands write nothing.
TEST_F(ExportAllSubToolsTest, UnversionedBridgeReadsNoMesh) {
    simhost::Host3 host(simhost::kBuild312B46);
    host.setActiveView(host.window("Root"));
    host.setUtility(true);
    simhost::Mesh mesh;
    mesh.numVertices = 3;
    mesh.verticesFlt = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    mesh.numFaces = 1;
    mesh.faces = {0, 1, 2, -1};
    host.setMesh(mesh);
    call("DeclareToolHasTexture", "", 0.0);
    call("StartExportAllSubTools", folder.file("host.obj"));
    EXPECT_EQ(call("ExportOneSubToolVertices", "sub", 0, host.hostData()), 0.0f);
    EXPECT_EQ(call("ExportOneSubToolUVs", "", 0, host.hostData()), 0.0f);
    EXPECT_EQ(call("DeclareTextureName", "/t/a.png", 0, host.hostData()), 0.0f);
    EXPECT_EQ(call("ExportOneSubToolFaces", "", 0, host.hostData()), 0.0f);
    call("EndExportAllSubTools");
    EXPECT_EQ(contents(folder.file("host.obj")), "");
}
