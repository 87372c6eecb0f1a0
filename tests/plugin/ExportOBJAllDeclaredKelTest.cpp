// ExportOBJAllDeclaredKel through the loaded module: real mesh files declared, exported, read back.
#define TINYOBJLOADER_IMPLEMENTATION
#include <tiny_obj_loader.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "PluginTestSupport.h"
#include "io/KVKelWriter.h"

using testsupport::contents;

namespace {

const char kHeader[] = "# File exported by Plastra version 3.1\n# https://www.plastra.example\n";
const std::string kMtlHeader = "# File created by Plastra\n# ToolType: PolyMesh3D\n# https://www.plastra.example\n\n";

struct Mesh {
    std::vector<KVVector3f> points;
    std::vector<int> faces;  // 4 per face, negative fourth = triangle
    std::vector<KVVector2f> uvs;  // empty or 4 per face
};

bool writeKel(const std::string& path, const Mesh& m) {
    KVKelMesh kel;
    for (const auto& p : m.points) kel.points.add(p);
    for (int i : m.faces) kel.faces.add(i);
    for (const auto& t : m.uvs) kel.uvs.add(t);
    return KVKelWriter::writeFile(path.c_str(), kel);
}

struct Declared {
    std::string kel;
    const char* texture;  // null: none
};

float exportDeclared(const std::vector<Declared>& meshes, const std::string& objPath) {
    const PluginHost& host = sharedPluginHost();
    host.call("SetTextureExt", "png");  // declared textures are then taken as they are
    host.call("StartDeclareKelFiles");
    for (const auto& d : meshes) {
        host.call("AddOneKelFile", d.kel.c_str());
        if (d.texture != nullptr) host.call("SetTextureFileNameForLastKel", d.texture);
    }
    host.call("EndDeclareKelFiles");
    return host.call("ExportOBJAllDeclaredKel", objPath.c_str());
}

// The "v" and "vt" lines of one mesh as the C library prints them.
std::string vLines(const Mesh& m) {
    std::string out;
    char buf[256];
    for (const auto& p : m.points)
        out.append(buf, std::snprintf(buf, sizeof(buf), "v %.9f %.9f %.9f\n", double(p.x), double(p.y), double(p.z)));
    return out;
}
std::string vtLines(const Mesh& m) {
    std::string out;
    char buf[256];
    for (const auto& t : m.uvs)
        out.append(buf, std::snprintf(buf, sizeof(buf), "vt %.9f %.9f\n", double(t.u), double(t.v)));
    return out;
}

// An 8-point box: five quads and a triangle closing it, UVs on every corner slot.
Mesh boxMesh(float shift) {
    Mesh m;
    for (int i = 0; i < 8; ++i)
        m.points.push_back({(i & 1) + shift + 0.1f, ((i >> 1) & 1) - 0.3f * shift, ((i >> 2) & 1) * 1.0e-3f});
    m.faces = {0, 1, 3, 2, 4, 5, 7, 6, 0, 1, 5, 4, 2, 3, 7, 6, 0, 2, 6, 4, 1, 3, 7, -1};
    for (int k = 0; k < 6 * 4; ++k) m.uvs.push_back({k / 24.0f, 1.0f - k / 48.0f});
    return m;
}

// A 4-point patch of two triangles, without UVs.
Mesh patchMesh() {
    Mesh m;
    m.points = {{-1.5f, 0.0f, 2.25f}, {1.5f, 0.0f, 2.25f}, {0.0f, 3.0f, -2.25f}, {1e6f, -1e-6f, 0.0f}};
    m.faces = {0, 1, 2, -1, 2, 1, 3, -5};
    return m;
}

}  // namespace

// The exact text: vertex and UV offsets run across meshes; an unreadable mesh is an empty group and
// shifts nothing; a triangle with UVs still takes four slots. No mesh at all: the header only.
TEST(ExportOBJAllDeclaredKel, OffsetsAcrossMeshesFaceFormsAndUnreadableMeshes) {
    TempFolder folder;
    EXPECT_EQ(exportDeclared({}, folder.file("empty.obj")), 0.0f);
    EXPECT_EQ(contents(folder.file("empty.obj")), kHeader);
    EXPECT_FALSE(pathExists(folder.file("empty.mtl")));

    const Mesh box = boxMesh(0.0f), patch = patchMesh(), box2 = boxMesh(2.5f);
    ASSERT_TRUE(writeKel(folder.file("box.kel"), box));
    ASSERT_TRUE(writeKel(folder.file("patch.kel"), patch));
    ASSERT_TRUE(writeKel(folder.file("box2.kel"), box2));
    ASSERT_TRUE(writeFile(folder.file("bad.kel"), "Kelx not a mesh file at all, but long enough....."));
    const std::string obj = folder.file("all.obj");
    EXPECT_EQ(exportDeclared({{folder.file("box.kel"), nullptr},
                              {folder.file("missing.kel"), nullptr},
                              {folder.file("patch.kel"), nullptr},
                              {folder.file("bad.kel"), nullptr},
                              {folder.file("box2.kel"), nullptr}},
                             obj),
              0.0f);
    EXPECT_EQ(contents(obj),
              kHeader + vLines(box) + vLines(patch) + vLines(box2) + vtLines(box) + vtLines(box2) +
                  "g subtool1\n"
                  "f 1/1 2/2 4/3 3/4\nf 5/5 6/6 8/7 7/8\nf 1/9 2/10 6/11 5/12\n"
                  "f 3/13 4/14 8/15 7/16\nf 1/17 3/18 7/19 5/20\nf 2/21 4/22 8/23\n"
                  "g subtool2\n"
                  "g subtool3\n"
                  "f 9 10 11\nf 11 10 12\n"
                  "g subtool4\n"
                  "g subtool5\n"
                  "f 13/25 14/26 16/27 15/28\nf 17/29 18/30 20/31 19/32\nf 13/33 14/34 18/35 17/36\n"
                  "f 15/37 16/38 20/39 19/40\nf 13/41 15/42 19/43 17/44\nf 14/45 16/46 20/47\n");
    EXPECT_FALSE(pathExists(folder.file("all.mtl")));
}

// The export runs on the caller's thread: while the host is still blocked writing (the text is
// larger than a pipe holds), the only thread added to the process is the test's own reader.
TEST(ExportOBJAllDeclaredKel, WritesOnTheCallingThreadOnly) {
    TempFolder folder;
    Mesh big;
    for (int i = 0; i < 4000; ++i) big.points.push_back({i * 0.5f, -i * 0.25f, 1.0f / float(i + 1)});
    big.faces = {0, 1, 2, -1};
    ASSERT_TRUE(writeKel(folder.file("big.kel"), big));
    const std::string fifo = folder.file("out.obj");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);

    const size_t threadsBefore = listFolder("/proc/self/task").size();
    size_t threadsWhileWriting = 0;
    std::string received;
    std::thread reader([&] {
        FILE* f = std::fopen(fifo.c_str(), "r");
        if (f == nullptr) return;
        int c = std::fgetc(f);
        threadsWhileWriting = listFolder("/proc/self/task").size();
        for (; c != EOF; c = std::fgetc(f)) received += static_cast<char>(c);
        std::fclose(f);
    });
    EXPECT_EQ(exportDeclared({{folder.file("big.kel"), nullptr}}, fifo), 0.0f);
    // Releases the reader should the export not have opened the file at all.
    const int release = open(fifo.c_str(), O_WRONLY | O_NONBLOCK);
    if (release >= 0) close(release);
    reader.join();
    ASSERT_GT(vLines(big).size(), 65536u);
    EXPECT_EQ(received, kHeader + vLines(big) + "g subtool1\nf 1 2 3\n");
    EXPECT_EQ(threadsWhileWriting, threadsBefore + 1);
}

// Materials are numbered by mesh and named by the texture's file name; untextured meshes share
// defaultMat, and an unreadable mesh still gets its group and material line.
TEST(ExportOBJAllDeclaredKel, MaterialsWhenOnlySomeMeshesAreTextured) {
    TempFolder folder;
    ASSERT_TRUE(writeKel(folder.file("a.kel"), patchMesh()));
    ASSERT_TRUE(writeKel(folder.file("b.kel"), boxMesh(1.0f)));
    const std::string obj = folder.file("scene.obj");
    exportDeclared({{folder.file("a.kel"), nullptr},
                    {folder.file("b.kel"), (folder.file("maps") + "/skin.png").c_str()},
                    {folder.file("missing.kel"), nullptr}},
                   obj);
    EXPECT_EQ(contents(folder.file("scene.mtl")),
              kMtlHeader + "newmtl defaultMat\nKd 0.7 0.7 0.7\n\nnewmtl mat2\nmap_Kd skin.png\n\n");
    const std::string text = contents(obj);
    EXPECT_EQ(text.compare(0, sizeof(kHeader) - 1 + 17, std::string(kHeader) + "mtllib scene.mtl\n"), 0) << text;
    EXPECT_NE(text.find("g subtool1\nusemtl defaultMat\nf 1 2 3\n"), std::string::npos);
    EXPECT_NE(text.find("g subtool2\nusemtl mat2\nf 5/1 6/2 8/3 7/4\n"), std::string::npos);
    const std::string tail = "f 6/21 8/22 12/23\ng subtool3\nusemtl defaultMat\n";  // unreadable: no faces
    ASSERT_GT(text.size(), tail.size());
    EXPECT_EQ(text.substr(text.size() - tail.size()), tail);

    // All meshes textured, one by a Windows path: each its own material.
    exportDeclared({{folder.file("a.kel"), "t1.png"}, {folder.file("b.kel"), "C:\\maps\\t2.png"}},
                   folder.file("two.obj"));
    EXPECT_EQ(contents(folder.file("two.mtl")),
              kMtlHeader + "newmtl defaultMat\nKd 0.7 0.7 0.7\n\nnewmtl mat1\nmap_Kd t1.png\n\n"
                           "newmtl mat2\nmap_Kd t2.png\n\n");
    EXPECT_NE(contents(folder.file("two.obj")).find("g subtool1\nusemtl mat1\n"), std::string::npos);
}

// The MTL name is the OBJ path with its last three characters replaced; the OBJ path may carry a
// "file:" volume prefix. An MTL that cannot be opened drops the material lines only.
TEST(ExportOBJAllDeclaredKel, MtlNameAndUnwritableFiles) {
    TempFolder folder;
    ASSERT_TRUE(writeKel(folder.file("a.kel"), patchMesh()));
    exportDeclared({{folder.file("a.kel"), "t.png"}}, "file:" + folder.file("out.xyz"));
    EXPECT_TRUE(pathExists(folder.file("out.mtl")));
    EXPECT_NE(contents(folder.file("out.xyz")).find("mtllib out.mtl\n"), std::string::npos);

    ASSERT_EQ(mkdir(folder.file("blocked.mtl").c_str(), 0700), 0);
    exportDeclared({{folder.file("a.kel"), "t.png"}}, folder.file("blocked.obj"));
    EXPECT_EQ(contents(folder.file("blocked.obj")),
              std::string(kHeader) + vLines(patchMesh()) + "g subtool1\nf 1 2 3\nf 3 2 4\n");

    EXPECT_EQ(exportDeclared({{folder.file("a.kel"), "t.png"}}, folder.file("no/such/folder/x.obj")), 0.0f);
    EXPECT_FALSE(pathExists(folder.file("no")));
}

// A real OBJ reader finds the same groups, faces, coordinates, UVs and materials. The first mesh
// is larger than one read of a mesh file (65,536 faces): vertex numbers and UV slots run on across
// the reads and into the next meshes.
TEST(ExportOBJAllDeclaredKel, ReadBackByAnObjLoaderAcrossReadsAndMeshes) {
    TempFolder folder;
    std::mt19937 rng(11u);
    std::uniform_real_distribution<float> coord(-300.0f, 300.0f), unit(0.0f, 1.0f);
    std::vector<Mesh> meshes(3);
    for (std::size_t m = 0; m < meshes.size(); ++m) {
        Mesh& mesh = meshes[m];
        const int n = m == 0 ? 34000 : 200 + 50 * static_cast<int>(m);
        for (int i = 0; i < n; ++i) mesh.points.push_back({coord(rng), coord(rng), coord(rng) * 1e-3f});
        for (int k = 0; k < 2 * n; ++k) {
            for (int c = 0; c < 3; ++c) mesh.faces.push_back(static_cast<int>(rng() % n));
            mesh.faces.push_back(k % 2 == 0 ? -1 : static_cast<int>(rng() % n));
        }
        if (m != 1)
            for (int k = 0; k < 8 * n; ++k) mesh.uvs.push_back({unit(rng), unit(rng)});
        ASSERT_TRUE(writeKel(folder.file("m" + std::to_string(m) + ".kel"), mesh));
    }
    ASSERT_GT(meshes[0].faces.size() / 4, 65536u);
    const std::string obj = folder.file("read.obj");
    exportDeclared({{folder.file("m0.kel"), "/tex/zero.png"},
                    {folder.file("m1.kel"), nullptr},
                    {folder.file("m2.kel"), "two.png"}},
                   obj);

    tinyobj::attrib_t attrib;
    std::vector<tinyobj::shape_t> shapes;
    std::vector<tinyobj::material_t> materials;
    std::string warn, err;
    const std::string base = folder.path() + "/";
    ASSERT_TRUE(tinyobj::LoadObj(&attrib, &shapes, &materials, &warn, &err, obj.c_str(), base.c_str(), false))
        << err;
    ASSERT_EQ(shapes.size(), 3u);
    ASSERT_EQ(materials.size(), 3u);  // their names and maps are pinned by the material test

    std::size_t vertexBase = 0, uvBase = 0, totalPoints = 0, totalUVs = 0;
    for (const auto& m : meshes) {
        totalPoints += m.points.size();
        totalUVs += m.uvs.size();
    }
    ASSERT_EQ(attrib.vertices.size(), 3 * totalPoints);
    ASSERT_EQ(attrib.texcoords.size(), 2 * totalUVs);
    for (std::size_t m = 0; m < meshes.size(); ++m) {
        SCOPED_TRACE("mesh " + std::to_string(m));
        const Mesh& mesh = meshes[m];
        const tinyobj::mesh_t& got = shapes[m].mesh;
        EXPECT_EQ(shapes[m].name, "subtool" + std::to_string(m + 1));
        ASSERT_EQ(got.num_face_vertices.size(), mesh.faces.size() / 4);
        const int wantMaterial = m == 0 ? 1 : m == 1 ? 0 : 2;
        std::size_t corner = 0;
        for (std::size_t k = 0; k < got.num_face_vertices.size(); ++k) {
            const int* f = &mesh.faces[4 * k];
            ASSERT_EQ(got.num_face_vertices[k], f[3] < 0 ? 3 : 4);
            ASSERT_EQ(got.material_ids[k], wantMaterial);
            for (int c = 0; c < got.num_face_vertices[k]; ++c, ++corner) {
                const tinyobj::index_t& idx = got.indices[corner];
                ASSERT_EQ(idx.vertex_index, static_cast<int>(vertexBase) + f[c]);
                const KVVector3f& p = mesh.points[f[c]];
                const float* v = &attrib.vertices[3 * idx.vertex_index];
                ASSERT_NEAR(v[0], p.x, 1e-4);
                ASSERT_NEAR(v[1], p.y, 1e-4);
                ASSERT_NEAR(v[2], p.z, 1e-7);
                if (mesh.uvs.empty()) {
                    ASSERT_EQ(idx.texcoord_index, -1);
                    continue;
                }
                ASSERT_EQ(idx.texcoord_index, static_cast<int>(uvBase + 4 * k) + c);
                const KVVector2f& t = mesh.uvs[4 * k + c];
                ASSERT_NEAR(attrib.texcoords[2 * idx.texcoord_index], t.u, 1e-7);
                ASSERT_NEAR(attrib.texcoords[2 * idx.texcoord_index + 1], t.v, 1e-7);
            }
        }
        vertexBase += mesh.points.size();
        uvBase += mesh.uvs.size();
    }
}

// A broken mesh file: faces naming vertices the mesh does not have, or UV slots beyond its UVs,
// are written as stored, with the offsets of their mesh.
TEST(ExportOBJAllDeclaredKel, FacesGoOutAsStoredEvenWhenTheyNameMissingVertices) {
    TempFolder folder;
    Mesh m;
    m.points = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
    m.faces = {0, 1, 2, 3,  0, 1, 2, 4,  -1, 1, 2, -1,  3, 2, 1, -1,  0, 2, 3, -1};
    m.uvs.assign(4 * 5, KVVector2f{0.5f, 0.5f});
    ASSERT_TRUE(writeKel(folder.file("m.kel"), m));
    // A UV block holding the pairs of one face for two faces (no writer makes one).
    using testsupport::bytesOf;
    const std::vector<float> square = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}, uvs(8, 0.25f);
    const std::vector<int> faces = {0, 1, 2, 3, 1, 2, 3, 0};
    ASSERT_TRUE(writeFile(folder.file("s.kel"), testsupport::kelBytes({{10001, 4, bytesOf(square)},
                                                                       {20001, 2, bytesOf(faces)},
                                                                       {25001, 1, bytesOf(uvs)}})));
    const std::string obj = folder.file("out.obj");
    EXPECT_EQ(exportDeclared({{folder.file("m.kel"), nullptr}, {folder.file("s.kel"), nullptr}}, obj), 0.0f);
    const std::string text = contents(obj);
    const std::size_t groups = text.find("g subtool1\n");
    ASSERT_NE(groups, std::string::npos);
    // Nothing is dropped or repaired: index 4 of a four-point mesh becomes 5, which is the next
    // mesh's first vertex; -1 becomes 0; the UV slots run on past the pairs the file held.
    EXPECT_EQ(text.substr(groups),
              "g subtool1\n"
              "f 1/1 2/2 3/3 4/4\nf 1/5 2/6 3/7 5/8\nf 0/9 2/10 3/11\nf 4/13 3/14 2/15\nf 1/17 3/18 4/19\n"
              "g subtool2\n"
              "f 5/21 6/22 7/23 8/24\nf 6/25 7/26 8/27 5/28\n");
}
