// The streaming sub-tool export and the import hooks, fed meshes from the simulated host's records.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ExportAllSubTools.h"
#include "PlastraHelper/PlastraHelper.h"
#include "PluginHost.h"
#include "SimulatedHost.h"
#include "Trimora_BeforeKel.h"

using simhost::Host3;
using simhost::Mesh;

namespace {

float run(PlugCall command, const std::string& text, double value, char** hostData) {
    std::vector<char> buf(text.begin(), text.end());
    buf.push_back('\0');
    return command(buf.data(), value, nullptr, 0, nullptr, 0, hostData);
}

std::vector<std::string> lines(const std::string& path) {
    std::string bytes;
    std::vector<std::string> out;
    if (!readFile(path, bytes)) return out;
    std::size_t start = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        if (bytes[i] == '\n') {
            out.push_back(bytes.substr(start, i - start));
            start = i + 1;
        }
    if (start < bytes.size()) out.push_back(bytes.substr(start) + "<no newline>");
    return out;
}

using Lines = std::vector<std::string>;

// A host 3.5 whose current mesh the test swaps between commands.
class HostMeshTest : public ::testing::Test {
protected:
    HostMeshTest() : host(simhost::kBuild312B46) {
        void* root = host.window("Root");
        host.setActiveView(host.window("View", root));
        host.setUtility(true);
    }
    void SetUp() override {
        PlastraHelper::setVersion(3.5);
        s_exportAll_HasTexture = true;
        s_exportAll_TextureName = KVString();
    }
    void TearDown() override {
        run(&EndExportAllSubTools, "", 0, nullptr);
        PlastraHelper::s_version = 0;
        PlastraHelper::clear();
    }

    void subTool(const Mesh& mesh, const char* texture = nullptr, Host3* on = nullptr) {
        Host3& h = on ? *on : host;
        h.setMesh(mesh);
        char** d = h.hostData();
        run(&ExportOneSubToolVertices, "sub", 0, d);
        run(&ExportOneSubToolUVs, "", 0, d);
        if (texture) run(&DeclareTextureName, texture, 0, d);
        run(&ExportOneSubToolFaces, "", 0, d);
    }

    Host3 host;
    TempFolder folder;
};

Mesh quadMesh(int numVertices, int numFaces, int numUVLinks) {
    Mesh m;
    m.numVertices = numVertices;
    m.numFaces = numFaces;
    m.numUVLinks = numUVLinks;
    for (int i = 0; i < numVertices; ++i) {
        m.verticesFlt.push_back(static_cast<float>(i));
        m.verticesFlt.push_back(0.5f);
        m.verticesFlt.push_back(-1.0f);
    }
    for (int f = 0; f < numFaces; ++f) {
        m.faces.insert(m.faces.end(), {0, 1, 2, f % 2 == 1 ? -1 : 3});
    }
    for (int l = 0; l < numUVLinks; ++l)
        for (int c = 0; c < 8; ++c) m.uvLinksFlt.push_back(static_cast<float>(l) + 0.125f * static_cast<float>(c));
    return m;
}

}  // namespace

TEST_F(HostMeshTest, OffsetsRunAcrossSubTools) {
    const std::string obj = folder.file("all.obj");
    DeclareToolHasTexture(nullptr, 0.0, nullptr, 0, nullptr, 0, nullptr);
    run(&StartExportAllSubTools, obj, 6, nullptr);  // y and z negated
    subTool(quadMesh(8, 2, 2));
    subTool(quadMesh(4, 3, 3));
    run(&EndExportAllSubTools, "", 0, nullptr);
    EXPECT_FALSE(pathExists(folder.file("all.mtl")));

    const Lines got = lines(obj);
    ASSERT_EQ(got.size(), 8u + 8u + 1u + 2u + 4u + 12u + 1u + 3u);
    EXPECT_EQ(got[0], "v 0.000000000 -0.500000000 1.000000000");
    EXPECT_EQ(got[16], "g subtool1");
    EXPECT_EQ(got[17], "f 1/1 2/2 3/3 4/4");
    EXPECT_EQ(got[18], "f 1/5 2/6 3/7");  // a triangle still takes four UV slots
    EXPECT_EQ(got[19], "v 0.000000000 -0.500000000 1.000000000");
    EXPECT_EQ(got[23], "vt 0.000000000 0.125000000");
    EXPECT_EQ(got[24], "vt 0.250000000 0.375000000");
    EXPECT_EQ(got[35], "g subtool2");
    EXPECT_EQ(got[36], "f 9/9 10/10 11/11 12/12");  // 8 vertices and 2 x 4 UV pairs before
    EXPECT_EQ(got[37], "f 9/13 10/14 11/15");
    EXPECT_EQ(got[38], "f 9/17 10/18 11/19 12/20");
    EXPECT_EQ(s_exportAll_curSubToolIndex, 2);
    EXPECT_EQ(s_exportAll_VertexOffset[1], 8);
    EXPECT_EQ(s_exportAll_UVOffset[1], 8);
    EXPECT_EQ(s_exportAll_NumUVs[1], 12);
}

TEST_F(HostMeshTest, FlipsFollowTheSwitchAndPrecedeTheOffset) {
    Mesh m = quadMesh(1, 0, 0);
    m.verticesFlt = {1.0f, 2.0f, 3.0f};
    m.scale[0] = 0.0f;  // a 0 scale counts as 1
    m.scale[1] = 2.0f;
    m.scale[2] = 4.0f;
    m.offset[0] = 0.5f;
    m.offset[1] = 1.0f;
    m.offset[2] = 1.0f;
    const std::string obj = folder.file("flags.obj");
    run(&DeclareToolHasTexture, "", 0.0, nullptr);
    const double values[] = {0, 6, 9, 15};
    const char* expected[] = {
        "v 0.500000000 0.500000000 0.500000000",      // (1-.5)/1 (2-1)/2 (3-1)/4
        "v 0.500000000 -1.500000000 -1.000000000",    // y, z negated before the offset
        "v -1.500000000 1.000000000 0.250000000",     // y<->z, then x negated
        "v -1.500000000 -2.000000000 -0.750000000",   // y<->z, then all negated
    };
    for (int i = 0; i < 4; ++i) {
        SCOPED_TRACE(values[i]);
        run(&StartExportAllSubTools, obj, values[i], nullptr);
        subTool(m);
        run(&EndExportAllSubTools, "", 0, nullptr);
        const Lines got = lines(obj);
        ASSERT_GE(got.size(), 1u);
        EXPECT_EQ(got[0], expected[i]);
    }
    EXPECT_EQ(s_exportAllSubTools_ScaleFactor[0], 0.0f);  // the host's values, as they were
    EXPECT_EQ(s_exportAllSubTools_Offset[2], 1.0f);
}

TEST_F(HostMeshTest, FixedPointFormsAndFacesWithoutUVs) {
    Mesh m;
    m.numVertices = 2;
    m.verticesFix = {65536 * 3 / 2, -65536, 16384, 0, 1, -2};
    m.numFaces = 2;
    m.faces = {0, 1, 0, 1, 1, 0, 1, -1};
    m.numUVLinks = 1;  // one link for two faces: the faces get no UV references
    m.uvLinksFix = {16777216 / 4, 16777216, -16777216 / 2, 1, 0, 0, 16777216 * 2, 3};
    const std::string obj = folder.file("fix.obj");
    run(&DeclareToolHasTexture, "", 0.0, nullptr);
    run(&StartExportAllSubTools, obj, 6, nullptr);
    subTool(m);
    subTool(quadMesh(1, 1, 1));
    run(&EndExportAllSubTools, "", 0, nullptr);
    const Lines got = lines(obj);
    const Lines want = {"v 1.500000000 1.000000000 -0.250000000",  // y and z negated
                        "v 0.000000000 -0.000015259 0.000030518",
                        "vt 0.250000000 1.000000000",
                        "vt -0.500000000 0.000000060",
                        "vt 0.000000000 0.000000000",
                        "vt 2.000000000 0.000000179",
                        "g subtool1",
                        "f 1 2 1 2",
                        "f 2 1 2",
                        "v 0.000000000 -0.500000000 1.000000000",
                        "vt 0.000000000 0.125000000",
                        "vt 0.250000000 0.375000000",
                        "vt 0.500000000 0.625000000",
                        "vt 0.750000000 0.875000000",
                        "g subtool2",
                        "f 3/5 4/6 5/7 6/8"};  // the first sub-tool's 4 pairs still count
    EXPECT_EQ(got, want);
}

TEST_F(HostMeshTest, MaterialsNameTheTextureFileAndCarryOver) {
    const std::string obj = folder.file("mat.obj");
    run(&DeclareToolHasTexture, "", 1.0, nullptr);
    run(&StartExportAllSubTools, "file:" + obj, 0, nullptr);
    subTool(quadMesh(3, 0, 0));
    subTool(quadMesh(3, 0, 0), "/x/y/skin.png");
    subTool(quadMesh(3, 0, 0));  // no declaration: the previous texture still applies
    subTool(quadMesh(3, 0, 0), "");
    run(&EndExportAllSubTools, "", 0, nullptr);
    EXPECT_EQ(lines(folder.file("mat.mtl")), (Lines{"newmtl mat2", "map_Kd skin.png"}));
    const Lines got = lines(obj);
    ASSERT_FALSE(got.empty());
    EXPECT_EQ(got[0], "mtllib mat.mtl");
    Lines groups;
    for (const std::string& l : got)
        if (l[0] == 'g' || l[0] == 'u') groups.push_back(l);
    EXPECT_EQ(groups, (Lines{"g subtool1", "g subtool2", "usemtl mat2", "g subtool3", "usemtl mat3", "g subtool4"}));
}

TEST_F(HostMeshTest, OldestHostGetsOneMaterialOnly) {
    Host3 old(simhost::kBuild31);
    old.setActiveView(old.window("Root"));
    PlastraHelper::setVersion(3.1);
    const std::string obj = folder.file("old.obj");
    run(&DeclareToolHasTexture, "", 1.0, nullptr);
    run(&StartExportAllSubTools, obj, 0, nullptr);
    for (int i = 0; i < 3; ++i) subTool(quadMesh(3, 1, 0), ("C:\\tex\\t" + std::to_string(i) + ".bmp").c_str(), &old);
    run(&EndExportAllSubTools, "", 0, nullptr);
    EXPECT_EQ(lines(folder.file("old.mtl")), (Lines{"newmtl defaultMat", "map_Kd t0.bmp"}));
    int usemtl = 0;
    for (const std::string& l : lines(obj)) usemtl += l.rfind("usemtl", 0) == 0;
    EXPECT_EQ(usemtl, 1);
    EXPECT_FALSE(s_exportAll_HasTexture);  // stays off until declared again
}

TEST_F(HostMeshTest, NoValidMeshWritesNothingAndKeepsTheIndex) {
    const std::string obj = folder.file("none.obj");
    run(&DeclareToolHasTexture, "", 0.0, nullptr);
    run(&StartExportAllSubTools, obj, 0, nullptr);
    run(&ExportOneSubToolVertices, "s", 0, host.hostData());  // the host has no current mesh
    run(&ExportOneSubToolFaces, "", 0, host.hostData());
    EXPECT_EQ(s_exportAll_curSubToolIndex, 0);
    EXPECT_TRUE(s_exportAll_NumVertices.isEmpty());
    run(&EndExportAllSubTools, "", 0, nullptr);
    EXPECT_TRUE(lines(obj).empty());
    // Idle: the per-sub-tool commands write nowhere, even with a mesh.
    subTool(quadMesh(3, 1, 1));
    EXPECT_EQ(s_exportAll_curSubToolIndex, 0);
}

// Save keeps the non-zero scale axes and the whole offset; restore writes scale only where the
// host's axis is non-zero.
TEST_F(HostMeshTest, ImportHooksKeepTheirAsymmetry) {
    Mesh m = quadMesh(1, 0, 0);
    m.scale[0] = 2.0f;
    m.scale[1] = 0.0f;
    m.scale[2] = 3.0f;
    m.offset[0] = 1.0f;
    m.offset[1] = 2.0f;
    m.offset[2] = 3.0f;
    host.setMesh(m);
    char** d = host.hostData();
    s_savedImportedScaleFactor[1] = 4.0f;  // left by an earlier save
    EXPECT_EQ(run(&SaveAndClearImportedScaleFactorAndOffset, "", 0, d), 0.0f);
    EXPECT_EQ(host.meshScale(), (std::vector<float>{1, 1, 1}));
    EXPECT_EQ(host.meshOffset(), (std::vector<float>{0, 0, 0}));
    EXPECT_EQ(s_savedImportedScaleFactor[0], 2.0f);
    EXPECT_EQ(s_savedImportedScaleFactor[1], 4.0f);  // a 0 axis is not saved
    EXPECT_EQ(run(&RestoreImportedScaleFactorAndOffset, "", 0, d), 0.0f);
    EXPECT_EQ(host.meshScale(), (std::vector<float>{2, 4, 3}));  // 4 lands on the axis that was 0
    EXPECT_EQ(host.meshOffset(), (std::vector<float>{1, 2, 3}));

    host.setMeshScale(5.0f, 0.0f, 5.0f);
    host.setMeshOffset(7.0f, 8.0f, 9.0f);
    run(&RestoreImportedScaleFactorAndOffset, "", 0, d);  // restore without save: a 0 stays 0
    EXPECT_EQ(host.meshScale(), (std::vector<float>{2, 0, 3}));
    EXPECT_EQ(host.meshOffset(), (std::vector<float>{1, 2, 3}));

    run(&SaveAndClearImportedScaleFactorAndOffset, "", 0, d);
    run(&SaveAndClearImportedScaleFactorAndOffset, "", 0, d);  // the second save loses the first
    run(&RestoreImportedScaleFactorAndOffset, "", 0, d);
    EXPECT_EQ(host.meshScale(), (std::vector<float>{1, 1, 1}));
    EXPECT_EQ(host.meshOffset(), (std::vector<float>{0, 0, 0}));

    PlastraHelper::s_version = 0;  // nothing bound: the host's mesh is left alone
    host.setMeshScale(6.0f, 6.0f, 6.0f);
    run(&SaveAndClearImportedScaleFactorAndOffset, "", 0, d);
    EXPECT_EQ(host.meshScale(), (std::vector<float>{6, 6, 6}));
}
