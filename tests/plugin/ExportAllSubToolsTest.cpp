// The streaming sub-tool export through the loaded module.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <string>

#include "PluginTestSupport.h"
#include "SimulatedHost.h"

using testsupport::contents;

namespace {

float call(const char* name, const std::string& text = "", double value = 0.0, char** hostData = nullptr) {
    return sharedPluginHost().call(name, text.c_str(), value, nullptr, 0, nullptr, 0, hostData);
}

class ExportAllSubToolsTest : public ::testing::Test {
protected:
    void TearDown() override { call("EndExportAllSubTools"); }
    TempFolder folder;
};

}  // namespace

// Textures on (above 0.5) name an empty material file; a second start keeps what the first wrote.
TEST_F(ExportAllSubToolsTest, StartNamesTheMaterialFileWhenTexturesAreOn) {
    EXPECT_EQ(call("DeclareToolHasTexture", "", 1.0), 0.0f);
    EXPECT_EQ(call("StartExportAllSubTools", "file:" + folder.file("scene.obj"), 6.0), 0.0f);
    EXPECT_EQ(call("StartExportAllSubTools", folder.file("second.obj")), 0.0f);
    EXPECT_EQ(call("EndExportAllSubTools"), 0.0f);
    EXPECT_EQ(contents(folder.file("scene.obj")), "mtllib scene.mtl\n");
    EXPECT_EQ(contents(folder.file("scene.mtl")), "");
    EXPECT_EQ(contents(folder.file("second.obj")), "mtllib second.mtl\n");

    call("DeclareToolHasTexture", "", 0.5);
    call("StartExportAllSubTools", folder.file("plain.obj"));
    call("EndExportAllSubTools");
    EXPECT_EQ(contents(folder.file("plain.obj")), "");
    EXPECT_FALSE(pathExists(folder.file("plain.mtl")));
}

// A material file that cannot be opened turns materials off, for the next export too; an OBJ that
// cannot be opened leaves the export idle.
TEST_F(ExportAllSubToolsTest, FilesThatCannotOpen) {
    call("DeclareToolHasTexture", "", 1.0);
    ASSERT_EQ(mkdir(folder.file("busy.mtl").c_str(), 0700), 0);
    call("StartExportAllSubTools", folder.file("busy.obj"));
    call("EndExportAllSubTools");
    EXPECT_EQ(contents(folder.file("busy.obj")), "");
    call("StartExportAllSubTools", folder.file("next.obj"));
    call("EndExportAllSubTools");
    EXPECT_FALSE(pathExists(folder.file("next.mtl")));

    call("DeclareToolHasTexture", "", 1.0);
    call("StartExportAllSubTools", folder.file("missing/dir/x.obj"));
    EXPECT_FALSE(pathExists(folder.file("missing")));
    EXPECT_EQ(call("EndExportAllSubTools"), 0.0f);
    EXPECT_EQ(call("EndExportAllSubTools"), 0.0f);  // nothing open: nothing to do
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
    for (const char* name : {"ExportOneSubToolVertices", "ExportOneSubToolUVs", "DeclareTextureName",
                             "ExportOneSubToolFaces"})
        EXPECT_EQ(call(name, "/t/sub.png", 0, host.hostData()), 0.0f) << name;
    call("EndExportAllSubTools");
    EXPECT_EQ(contents(folder.file("host.obj")), "");
}
