// The simulator's OBJ reader on awkward input: index forms, groups, polygons, colours, materials, faults.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "ObjReader.h"
#include "PluginHost.h"

namespace {

ObjScene read(const std::string& text, const std::string& folder = ".") {
    ObjScene scene;
    std::string error;
    EXPECT_TRUE(ObjReader::readText(text, folder, "t.obj", scene, error)) << error;
    return scene;
}

std::string refuse(const std::string& text) {
    ObjScene scene;
    std::string error;
    EXPECT_FALSE(ObjReader::readText(text, ".", "t.obj", scene, error));
    EXPECT_TRUE(scene.meshes.empty());
    return error;
}

const char* kSquare = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n";

}  // namespace

TEST(ObjReaderIndices, AllCornerFormsAndRelativeIndicesNameTheSamePoints) {
    const ObjScene s = read(std::string(kSquare) +
                            "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\nvn 0 0 1\n"
                            "f 1/1/1 2/2/1 3/3/1\n"
                            "f -4/-4 -2/-2 -1/-1\n"
                            "f 1//1 3//1 4//1\n");
    ASSERT_EQ(s.meshes.size(), 1u);
    const ObjMesh& m = s.meshes[0];
    EXPECT_EQ(m.points.size(), 4u);
    ASSERT_EQ(m.faces.size(), 12u);
    // Points are numbered by first use; the fourth index of a triangle is negative.
    EXPECT_EQ(std::vector<int>(m.faces.begin(), m.faces.begin() + 4), (std::vector<int>{0, 1, 2, -1}));
    EXPECT_EQ(std::vector<int>(m.faces.begin() + 4, m.faces.begin() + 8), (std::vector<int>{0, 2, 3, -1}));
    EXPECT_EQ(m.points[static_cast<std::size_t>(m.faces[6])].y, 1.0f);
    // UVs per corner; the corner written without one gets (0, 0).
    const auto uv = [](const ObjMesh& mesh, std::size_t i) { return std::make_pair(mesh.uvs[i].u, mesh.uvs[i].v); };
    ASSERT_EQ(m.uvs.size(), 12u);
    EXPECT_EQ(uv(m, 2), std::make_pair(1.0f, 1.0f));
    EXPECT_EQ(uv(m, 6), std::make_pair(0.0f, 1.0f));
    EXPECT_EQ(uv(m, 9), std::make_pair(0.0f, 0.0f));

    // UVs arriving with a later face are back-filled for the earlier ones.
    const ObjMesh late = read(std::string(kSquare) + "vt 0.5 0.25\nf 1 2 3\nf 1/1 3/1 4/1\n").meshes[0];
    ASSERT_EQ(late.uvs.size(), 8u);
    EXPECT_EQ(uv(late, 0), std::make_pair(0.0f, 0.0f));
    EXPECT_EQ(uv(late, 4), std::make_pair(0.5f, 0.25f));
}

TEST(ObjReaderFaces, PolygonsAreFanSplitIntoQuadsAndOneTriangle) {
    std::string text;
    for (int i = 0; i < 7; ++i) text += "v " + std::to_string(i) + " " + std::to_string(i * i) + " 0\n";
    const ObjScene s = read(text + "g five\nf 1 2 3 4 5\ng six\nf 1 2 3 4 5 6\ng seven\nf 1 2 3 4 5 6 7\n");
    ASSERT_EQ(s.meshes.size(), 3u);
    EXPECT_EQ(s.meshes[0].faces, (std::vector<int>{0, 1, 2, 3, 0, 3, 4, -1}));
    EXPECT_EQ(s.meshes[1].faces, (std::vector<int>{0, 1, 2, 3, 0, 3, 4, 5}));
    EXPECT_EQ(s.meshes[2].faces, (std::vector<int>{0, 1, 2, 3, 0, 3, 4, 5, 0, 5, 6, -1}));
    EXPECT_EQ(s.meshes[2].triangleCount(), 5u);
}

TEST(ObjReaderGroups, GroupsAndObjectsMakeMeshesWithTheirOwnPoints) {
    const ObjScene s = read(std::string(kSquare) +
                            "f 1 2 3\n"             // before any name
                            "o body\ng\n"           // a bare "g" is the default group again
                            "f 1 3 4\n"
                            "g arm left\nf 2 3 4\n"
                            "g empty\n"
                            "g default\nf 4 3 2\n");
    ASSERT_EQ(s.meshes.size(), 2u);
    EXPECT_EQ(s.meshes[0].name, "default");
    EXPECT_EQ(s.meshes[0].faceCount(), 3u);
    EXPECT_EQ(s.meshes[1].name, "arm left");
    // Shared points are copied into each mesh, numbered from 0 there.
    EXPECT_EQ(s.meshes[1].points.size(), 3u);
    EXPECT_EQ(s.meshes[1].faces, (std::vector<int>{0, 1, 2, -1}));
    EXPECT_EQ(s.meshes[1].points[0].x, 1.0f);
    EXPECT_EQ(s.meshes[0].points.size(), 4u);
    EXPECT_EQ(s.vertexCount(), 7u);
}

TEST(ObjReaderLines, CrLfContinuationsCommentsBlanksAndShortFacesAreTolerated) {
    const ObjScene s = read("# a comment\r\n\r\n  v 0 0 0 # origin\r\nv 1 0 0\r\nv +1 1e0 0\r\n\tv 0 1 0 1.0\r\n"
                            "f 1 2 \\\r\n 3 4\r\nusemtl\r\ns off\r\nvp 0.5\r\n");
    ASSERT_EQ(s.meshes.size(), 1u);
    EXPECT_EQ(s.meshes[0].faces, (std::vector<int>{0, 1, 2, 3}));
    EXPECT_EQ(s.meshes[0].points[2].y, 1.0f);
    EXPECT_TRUE(s.meshes[0].colors.empty());

    // Short faces are skipped with one warning; lines are not faces.
    const ObjScene shortFaces = read(std::string(kSquare) + "f 1 2\nl 1 2 3\nf 1 2 3\n");
    EXPECT_EQ(shortFaces.meshes[0].faceCount(), 1u);
    ASSERT_EQ(shortFaces.warnings.size(), 1u);
    EXPECT_NE(shortFaces.warnings[0].find("1 faces"), std::string::npos);
}

TEST(ObjReaderColors, VertexColoursInUnitOrByteRangeBecomePackedColours) {
    const ObjScene s = read("v 0 0 0 1 0 0\nv 1 0 0 0 128 255\nv 1 1 0\nf 1 2 3\n");
    const ObjMesh& m = s.meshes[0];
    ASSERT_EQ(m.colors.size(), 3u);
    EXPECT_EQ(m.colors[0], 0xff0000u);
    EXPECT_EQ(m.colors[1], 0x0080ffu);
    EXPECT_EQ(m.colors[2], 0xffffffu);  // uncoloured points are white
}

TEST(ObjReaderMaterials, TexturesComeFromTheMaterialLibraryBesideTheFile) {
    TempFolder dir;
    ASSERT_TRUE(writeFile(dir.file("scene lib.mtl"),
                          "newmtl skin\nKd 1 1 1\nmap_Kd -s 1 1 1 -clamp on tex\\skin map.png\n"
                          "newmtl bare\nKd 0.5 0.5 0.5\n"));
    const ObjScene s = read(std::string("mtllib scene lib.mtl\nmtllib missing.mtl\n") + kSquare +
                                "g a\nusemtl skin\nf 1 2 3\nusemtl bare\nf 1 3 4\ng b\nusemtl bare\nf 1 2 3\n",
                            dir.path());
    ASSERT_EQ(s.meshes.size(), 2u);
    EXPECT_EQ(s.meshes[0].material, "skin");
    EXPECT_EQ(s.meshes[0].texturePath, dir.path() + "/tex/skin map.png");
    EXPECT_EQ(s.meshes[1].material, "bare");
    EXPECT_TRUE(s.meshes[1].texturePath.empty());
    bool missingNoted = false, severalNoted = false;
    for (const std::string& w : s.warnings) {
        missingNoted = missingNoted || w.find("missing.mtl") != std::string::npos;
        severalNoted = severalNoted || w.find("several materials") != std::string::npos;
    }
    EXPECT_TRUE(missingNoted);
    EXPECT_TRUE(severalNoted);
}

TEST(ObjReaderFaults, MalformedInputIsRefusedWithItsLineAndAMissingFileIsNamed) {
    EXPECT_EQ(refuse(std::string(kSquare) + "f 1 2 0\n"), "t.obj:5: vertex index 0 out of range (4 defined)");
    EXPECT_EQ(refuse(std::string(kSquare) + "\nf 1 2 5\n"), "t.obj:6: vertex index 5 out of range (4 defined)");
    EXPECT_EQ(refuse(std::string(kSquare) + "f 1 2 -5\n"), "t.obj:5: vertex index -5 out of range (4 defined)");
    EXPECT_EQ(refuse(std::string(kSquare) + "vt 0 0\nf 1/2 2/1 3/1\n"),
              "t.obj:6: texture coordinate index 2 out of range (1 defined)");
    EXPECT_EQ(refuse("v 0 0 zero\n"), "t.obj:1: bad number 'zero'");
    EXPECT_EQ(refuse("v 0 0\n"), "t.obj:1: a vertex needs three coordinates");
    EXPECT_EQ(refuse(std::string(kSquare) + "f 1 a 3\n"), "t.obj:5: bad face corner 'a'");
    EXPECT_NE(refuse(kSquare).find("no faces"), std::string::npos);
    EXPECT_NE(refuse("").find("no faces"), std::string::npos);
    ObjScene scene;
    std::string error;
    EXPECT_FALSE(ObjReader::readFile("/nonexistent/x.obj", scene, error));
    EXPECT_EQ(error, "cannot read /nonexistent/x.obj");
}
