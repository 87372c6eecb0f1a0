// The real TrimoraApp started and followed through the loaded module, to its end or to a cancel.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "PluginHost.h"
#include "io/KVKelIO.h"
#include "io/KVKelWriter.h"

namespace {

bool waitFor(const std::function<bool()>& done, int seconds = 180) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (std::chrono::steady_clock::now() < limit) {
        if (done()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return done();
}

// An n x n height field of quads over [-1, 1]^2.
bool writeGrid(const std::string& path, int n) {
    KVKelMesh mesh;
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            const float x = -1.0f + 2.0f * i / (n - 1), y = -1.0f + 2.0f * j / (n - 1);
            mesh.points.add(KVVector3f{x, y, 0.3f * x * x - 0.2f * y * y * y});
        }
    }
    for (int j = 0; j + 1 < n; ++j) {
        for (int i = 0; i + 1 < n; ++i) {
            const int a = j * n + i;
            for (int v : {a, a + 1, a + n + 1, a + n}) mesh.faces.add(v);
        }
    }
    return KVKelWriter::writeFile(KVString(path.c_str()), mesh);
}

int vertexCount(const std::string& path) {
    KVArray<KVVector3f> points;
    KVArray<int> faces;
    if (!KVKelIO::readVertexAndFace4Blocs(KVString(path.c_str()), points, faces) || faces.isEmpty()) return -1;
    return points.getCount();
}

// The progress line the module gives, or empty when it reports no running task.
std::string progressLine() {
    unsigned char buffer[256] = {};
    if (sharedPluginHost().call("GetTrimoraAppProgressInfo", nullptr, 0.0, buffer, 256) != 1.0f) return "";
    return std::string(reinterpret_cast<const char*>(buffer) + 4);
}

bool isRunning() { return sharedPluginHost().call("TrimoraAppIsRunning") == 1.0f; }

// Processes whose command line holds `argument` (the application started for one job).
std::vector<int> processesWithArgument(const std::string& argument) {
    std::vector<int> found;
    for (const std::string& name : listFolder("/proc")) {
        if (name.empty() || name.find_first_not_of("0123456789") != std::string::npos) continue;
        std::string cmdline, stat;
        if (!readFile("/proc/" + name + "/cmdline", cmdline) || cmdline.find(argument) == std::string::npos) continue;
        // A zombie has finished its work: it no longer counts.
        if (readFile("/proc/" + name + "/stat", stat)) {
            const std::size_t paren = stat.rfind(')');
            if (paren != std::string::npos && paren + 2 < stat.size() && stat[paren + 2] == 'Z') continue;
        }
        found.push_back(std::stoi(name));
    }
    return found;
}

class TrimoraAppLaunch : public ::testing::Test {
protected:
    void SetUp() override {
        if (!PluginHost::hasDecimationApp()) GTEST_SKIP() << "no decimation application in this build";
        const std::string app = PluginHost::decimationAppPath();
        ASSERT_EQ(sharedPluginHost().call("SetTrimoraAppPath", app.c_str()), 0.0f);
    }
    std::string job() const { return m_folder.file("job.txt"); }
    // The host hands its paths in its colon-prefixed form.
    float launch() { return sharedPluginHost().call("LaunchTrimoraApp", ("file:" + job()).c_str()); }

    TempFolder m_folder;
};

TEST_F(TrimoraAppLaunch, FollowedToTheEndThroughProgressAndRunningState) {
    const std::string in = m_folder.file("in.kel");
    ASSERT_TRUE(writeGrid(in, 120));
    ASSERT_TRUE(writeFile(job(), "AppMode = Trimora BATCH\nUseProgressBar = Yes\n"
                                 "StartBatch = Decimate mesh\nInputFile = file:" + in + "\nOutputFile = file:" +
                                     m_folder.file("a.kel") + "\nDecimationTargetPourcent = 10\n"
                                 "IFlipX = No\nIFlipY = No\nIFlipZ = No\nISwitchYZ = No\nEndBatch\n"
                                 "StartBatch = Decimate mesh\nInputFile = " + in + "\nOutputFile = " +
                                     m_folder.file("b.kel") + "\nDecimationTargetNum = 500\nEndBatch\n"));
    ASSERT_EQ(launch(), 0.0f);
    EXPECT_TRUE(isRunning());
    std::vector<std::string> lines;
    ASSERT_TRUE(waitFor([&] {
        const std::string line = progressLine();
        if (!line.empty() && (lines.empty() || lines.back() != line)) lines.push_back(line);
        return !isRunning();
    })) << "the job did not end";
    // The job is over only once its outputs are complete.
    EXPECT_NEAR(vertexCount(m_folder.file("a.kel")), 1440, 15);
    EXPECT_NEAR(vertexCount(m_folder.file("b.kel")), 500, 6);
    EXPECT_FALSE(pathExists(job() + ".log"));
    EXPECT_EQ(progressLine(), "");
    ASSERT_FALSE(lines.empty()) << "no progress seen while the job ran";
    bool sawTask = false;
    for (const std::string& line : lines) sawTask = sawTask || line.find("TrimoraApp") != std::string::npos;
    EXPECT_TRUE(sawTask) << lines.front();
}

TEST_F(TrimoraAppLaunch, DeletingTheRunningFileStopsTheApplicationWithoutOutput) {
    const std::string in = m_folder.file("in.kel"), out = m_folder.file("out.kel");
    ASSERT_TRUE(writeGrid(in, 400));
    ASSERT_TRUE(writeFile(job(), "InputFile = " + in + "\nOutputFile = " + out +
                                     "\nDecimationTargetPourcent = 1\nIFlipX = No\nIFlipY = No\nIFlipZ = No\n"
                                     "ISwitchYZ = No\n"));
    ASSERT_EQ(launch(), 0.0f);
    ASSERT_TRUE(waitFor([&] { return progressLine().find("Decimating") != std::string::npos || !isRunning(); }));
    ASSERT_TRUE(isRunning()) << "the job ended before it could be cancelled";
    const std::vector<int> running = processesWithArgument(job());
    ASSERT_EQ(running.size(), 1u);

    ASSERT_EQ(std::remove((job() + ".running").c_str()), 0);
    EXPECT_FALSE(isRunning());
    EXPECT_TRUE(waitFor([&] { return processesWithArgument(job()).empty(); })) << "the application went on";
    EXPECT_FALSE(pathExists(out));
    for (const std::string& name : listFolder(m_folder.path()))
        EXPECT_EQ(name.find(".tmp"), std::string::npos) << name;
    EXPECT_FALSE(pathExists(job() + ".running"));
    std::string log;
    EXPECT_TRUE(readFile(job() + ".log", log));
    EXPECT_NE(log.find("cancelled"), std::string::npos) << log;
}

}  // namespace
