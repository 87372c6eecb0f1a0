// The host simulator run as a person runs it: the real simulator, plug-in and decimation application.
#define TINYOBJLOADER_IMPLEMENTATION
#include <tiny_obj_loader.h>

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "../plugin/PluginTestSupport.h"
#include "../qtutils/TestImages.h"
#include "CommandTable.h"
#include "SampleMesh.h"

namespace {

struct SimRun {
    int status = -1;  // exit status, or 128 + signal
    std::string out;
    std::string err;
};

std::string quoted(const std::string& text) {
    std::string out = "'";
    for (char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

// The simulator started through the shell, which execs it: the first line it prints is its pid,
// the rest is the simulator's standard output, read as it comes.
class Sim {
public:
    explicit Sim(const std::vector<std::string>& args, const std::string& exe = "") {
        std::string command = "echo $$; exec " + quoted(exe.empty() ? PluginHost::executableFolder() + "/plastra-sim" : exe);
        for (const std::string& a : args) command += " " + quoted(a);
        m_pipe = popen((command + " 2>" + quoted(m_dir.file("stderr.txt"))).c_str(), "r");
        char line[32];
        if (m_pipe != nullptr && std::fgets(line, sizeof line, m_pipe) != nullptr) m_pid = std::atoi(line);
    }
    ~Sim() {
        if (m_pipe == nullptr) return;
        if (m_pid > 0) kill(m_pid, SIGKILL);
        pclose(m_pipe);
    }

    pid_t pid() const { return m_pid; }

    // Reads standard output until `text` shows up; false at its end.
    bool waitFor(const std::string& text) {
        for (int c; m_text.find(text) == std::string::npos; m_text += static_cast<char>(c))
            if (m_pipe == nullptr || (c = std::fgetc(m_pipe)) == EOF) return false;
        return true;
    }

    SimRun finish() {
        waitFor(std::string(1, '\0'));  // everything up to the end
        SimRun r;
        const int raw = m_pipe == nullptr ? -1 : pclose(m_pipe);
        m_pipe = nullptr;
        r.status = raw == -1 ? -1 : WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
        r.out = m_text;
        readFile(m_dir.file("stderr.txt"), r.err);
        return r;
    }

private:
    TempFolder m_dir;
    FILE* m_pipe = nullptr;
    pid_t m_pid = -1;
    std::string m_text;
};

SimRun runSim(const std::vector<std::string>& args) { return Sim(args).finish(); }

// A mesh written as an OBJ group, with per-corner UVs and negative (relative) indices.
void appendGroup(std::string& obj, const ObjMesh& mesh, const std::string& group, float dx) {
    for (const KVVector3f& p : mesh.points)
        obj += "v " + std::to_string(p.x + dx) + " " + std::to_string(p.y) + " " + std::to_string(p.z) + "\n";
    for (const KVVector2f& t : mesh.uvs) obj += "vt " + std::to_string(t.u) + " " + std::to_string(t.v) + "\n";
    obj += "g " + group + "\nusemtl skin\n";
    const long nv = static_cast<long>(mesh.points.size());
    const long nt = static_cast<long>(mesh.uvs.size());
    for (std::size_t f = 0; f < mesh.faceCount(); ++f) {
        obj += "f";
        for (int k = 0; k < 4; ++k)
            obj += " " + std::to_string(mesh.faces[4 * f + k] - nv) + "/" + std::to_string(static_cast<long>(4 * f + k) - nt);
        obj += "\n";
    }
}

struct Scene {
    TempFolder dir;
    std::string obj;
    testimages::Image picture = testimages::makeGradient(8, 6);
    std::size_t verticesPerGroup = 0;
};

// Two closed textured meshes in two groups, their material's texture a real PNG.
void writeScene(Scene& s) {
    const ObjMesh mesh = SampleMesh::make(30, 20);
    s.verticesPerGroup = mesh.points.size();
    std::string text = "# two groups\nmtllib scene.mtl\n";
    appendGroup(text, mesh, "left", -2.0f);
    appendGroup(text, mesh, "right", 2.0f);
    s.obj = s.dir.file("scene.obj");
    ASSERT_TRUE(writeFile(s.obj, text));
    ASSERT_TRUE(writeFile(s.dir.file("scene.mtl"), "newmtl skin\nKd 1 1 1\nmap_Kd skin.png\n"));
    ASSERT_TRUE(testimages::writeBytes(s.dir.file("skin.png"), testimages::encodePng(s.picture)));
}

struct Loaded {
    tinyobj::attrib_t attrib;
    std::vector<tinyobj::shape_t> shapes;
    std::vector<tinyobj::material_t> materials;
};

void load(const std::string& obj, Loaded& l) {
    std::string warn, err;
    ASSERT_TRUE(tinyobj::LoadObj(&l.attrib, &l.shapes, &l.materials, &warn, &err, obj.c_str(),
                                 (obj.substr(0, obj.find_last_of('/') + 1)).c_str(), false))
        << err;
}

std::size_t usedVertices(const tinyobj::shape_t& shape) {
    std::set<int> used;
    for (const tinyobj::index_t& i : shape.mesh.indices) used.insert(i.vertex_index);
    return used.size();
}

}  // namespace

TEST(PlastraSim, ListsTheTableCommandsCallsThemAndRefusesWhatItDoesNotKnow) {
    const SimRun list = runSim({"commands"});
    ASSERT_EQ(list.status, 0);
    EXPECT_NE(list.out.find("GetDefaultNumThreads\n"), std::string::npos);
    EXPECT_NE(list.out.find("SetTrimoraAppPath\n"), std::string::npos);
    std::size_t start = 0;
    for (std::size_t end; (end = list.out.find('\n', start)) != std::string::npos; start = end + 1) {
        const std::string name = list.out.substr(start, end - start);
        EXPECT_TRUE(plug::isCommandName(name.c_str())) << name;
    }
    EXPECT_EQ(start, list.out.size()) << "an unfinished last line";

    char expected[64];
    std::snprintf(expected, sizeof expected, "GetDefaultNumThreads -> %g\n",
                  static_cast<double>(sharedPluginHost().call("GetDefaultNumThreads")));
    EXPECT_EQ(runSim({"call", "GetDefaultNumThreads"}).out, expected);
    EXPECT_EQ(runSim({"call", "SetTrimoraAppPath", "--text", "/a b/TrimoraApp"}).out, "SetTrimoraAppPath -> 0\n");

    EXPECT_EQ(runSim({"call", "NoSuchCommand"}).status, 1);
    for (const std::vector<std::string>& bad : std::vector<std::vector<std::string>>{
             {"call", "GetDefaultNumThreads", "--value", "abc"}, {"frobnicate"}, {}, {"decimate", "--percent", "0"},
             {"decimate", "--percent", "5", "--vertices", "9"}, {"decimate", "--symmetry", "w"},
             {"decimate", "-o", "x.ply"}})
        EXPECT_EQ(runSim(bad).status, 2) << (bad.empty() ? "" : bad[0] + " " + bad.back());
}

TEST(DecimateFlow, TwoTexturedGroupsComeBackDecimatedWithTheirMaterialsAndAConvertedTexture) {
    if (!PluginHost::hasDecimationApp()) GTEST_SKIP() << "no decimation application in this build";
    Scene s;
    writeScene(s);
    TempFolder temp;
    const std::string out = s.dir.file("out/result.obj");
    const SimRun r = runSim({"decimate", s.obj, "-o", out, "--percent", "25", "--keep-uvs", "--temp", temp.path()});
    ASSERT_EQ(r.status, 0) << r.err;

    Loaded l;
    load(out, l);
    ASSERT_EQ(l.shapes.size(), 2u);
    const std::size_t target = s.verticesPerGroup / 4;
    for (const tinyobj::shape_t& shape : l.shapes) {
        EXPECT_NEAR(static_cast<double>(usedVertices(shape)), static_cast<double>(target), 0.1 * target);
        for (const tinyobj::index_t& i : shape.mesh.indices) ASSERT_GE(i.texcoord_index, 0);
    }
    // Each group has its material, and both name the texture converted to BMP beside the OBJ.
    ASSERT_EQ(l.materials.size(), 3u);
    std::string mtl;
    ASSERT_TRUE(readFile(s.dir.file("out/result.mtl"), mtl));
    EXPECT_NE(mtl.find("newmtl mat1\nmap_Kd skin.bmp\n"), std::string::npos) << mtl;
    EXPECT_NE(mtl.find("newmtl mat2\nmap_Kd skin.bmp\n"), std::string::npos) << mtl;
    std::string bmp;
    ASSERT_TRUE(readFile(s.dir.file("out/skin.bmp"), bmp));
    testimages::Image converted;
    ASSERT_TRUE(testimages::decodeBmp(bmp, converted));
    EXPECT_EQ(converted, s.picture);
    // The person's files are untouched; the job's folder is gone.
    EXPECT_TRUE(pathExists(s.dir.file("skin.png")));
    EXPECT_TRUE(listFolder(temp.path()).empty());
    // The summary names both meshes, their counts and the files written.
    EXPECT_NE(r.out.find("left"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("right"), std::string::npos);
    EXPECT_NE(r.out.find(std::to_string(s.verticesPerGroup) + " -> "), std::string::npos);
    EXPECT_NE(r.out.find("  " + out + "\n"), std::string::npos);
    EXPECT_NE(r.out.find("  " + s.dir.file("out/skin.bmp") + "\n"), std::string::npos);
}

TEST(DecimateFlow, ProgressiveJobDecimatesFromItsCachesToAVertexCount) {
    if (!PluginHost::hasDecimationApp()) GTEST_SKIP() << "no decimation application in this build";
    Scene s;
    writeScene(s);
    TempFolder temp;
    const std::string out = s.dir.file("pm.obj");
    const SimRun r =
        runSim({"decimate", s.obj, "-o", out, "--vertices", "300", "--progressive", "--temp", temp.path()});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("build progressive meshes"), std::string::npos) << r.out;
    Loaded l;
    load(out, l);
    ASSERT_EQ(l.shapes.size(), 2u);
    EXPECT_NEAR(static_cast<double>(usedVertices(l.shapes[0]) + usedVertices(l.shapes[1])), 300.0, 30.0);
    EXPECT_TRUE(listFolder(temp.path()).empty());
}

TEST(DecimateFlow, MissingInputOrApplicationEndsWithAClearMessage) {
    TempFolder dir;
    SimRun r = runSim({"decimate", dir.file("none.obj")});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("no such input file: " + dir.file("none.obj")), std::string::npos) << r.err;

    // A simulator and plug-in installed without the application beside them.
    const std::string bin = PluginHost::executableFolder();
    ASSERT_EQ(std::system(("cp '" + bin + "/plastra-sim' '" + bin + "/Trimora.so' '" + dir.path() + "'").c_str()), 0);
    r = Sim({"decimate"}, dir.file("plastra-sim")).finish();
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("the decimation application is missing: " + dir.file("TrimoraApp")), std::string::npos)
        << r.err;
}

// The application is looked for before the OBJ is read, so a broken OBJ is reported only with it.
TEST(DecimateFlow, BrokenObjEndsWithItsLineAndWritesNothing) {
    if (!PluginHost::hasDecimationApp()) GTEST_SKIP() << "no decimation application in this build";
    TempFolder dir;
    ASSERT_TRUE(writeFile(dir.file("bad.obj"), "v 0 0 0\nv 1 0 0\nf 1 2 3\n"));
    const SimRun r = runSim({"decimate", dir.file("bad.obj"), "-o", dir.file("x.obj")});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find(dir.file("bad.obj") + ":3: vertex index 3 out of range"), std::string::npos) << r.err;
    EXPECT_FALSE(pathExists(dir.file("x.obj")));
}

TEST(DecimateFlow, InterruptStopsTheApplicationAndLeavesNothingBehind) {
    if (!PluginHost::hasDecimationApp()) GTEST_SKIP() << "no decimation application in this build";
    TempFolder temp;
    const std::string out = temp.file("sample.obj");
    Sim sim({"decimate", "-o", out, "--temp", temp.path()});
    // The built-in sample is large enough for the job to be well under way here.
    ASSERT_TRUE(sim.waitFor("Decimating 1_sample"));
    ASSERT_EQ(kill(sim.pid(), SIGINT), 0);
    const SimRun r = sim.finish();
    EXPECT_EQ(r.status, 130) << r.err;
    EXPECT_NE(r.err.find("cancelled; TrimoraApp has stopped"), std::string::npos) << r.err;
    EXPECT_FALSE(pathExists(out));
    EXPECT_TRUE(listFolder(temp.path()).empty());
    EXPECT_EQ(testsupport::processesMentioning(temp.path()), 0);
}
