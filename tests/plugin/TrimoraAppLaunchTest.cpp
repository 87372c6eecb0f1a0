// The real TrimoraApp started and followed through the loaded module, to its end or to a cancel.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "PluginTestSupport.h"
#include "io/KVKelIO.h"
#include "io/KVKelWriter.h"

using testsupport::processesMentioning;

namespace {

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
    bool sawTask = false;  // a progress line naming the application's task
    ASSERT_TRUE(waitFor([&] {
        sawTask = sawTask || progressLine().find("TrimoraApp") != std::string::npos;
        return !isRunning();
    }, 180)) << "the job did not end";
    // The job is over only once its outputs are complete.
    EXPECT_NEAR(vertexCount(m_folder.file("a.kel")), 1440, 15);
    EXPECT_NEAR(vertexCount(m_folder.file("b.kel")), 500, 6);
    EXPECT_FALSE(pathExists(job() + ".log"));
    EXPECT_EQ(progressLine(), "");
    EXPECT_TRUE(sawTask);
}

TEST_F(TrimoraAppLaunch, DeletingTheRunningFileStopsTheApplicationWithoutOutput) {
    const std::string in = m_folder.file("in.kel"), out = m_folder.file("out.kel");
    ASSERT_TRUE(writeGrid(in, 400));
    ASSERT_TRUE(writeFile(job(), "InputFile = " + in + "\nOutputFile = " + out +
                                     "\nDecimationTargetPourcent = 1\nIFlipX = No\nIFlipY = No\nIFlipZ = No\n"
                                     "ISwitchYZ = No\n"));
    ASSERT_EQ(launch(), 0.0f);
    ASSERT_TRUE(waitFor([&] { return progressLine().find("Decimating") != std::string::npos || !isRunning(); }, 180));
    ASSERT_TRUE(isRunning()) << "the job ended before it could be cancelled";
    ASSERT_EQ(processesMentioning(job()), 1);

    ASSERT_EQ(std::remove((job() + ".running").c_str()), 0);
    EXPECT_FALSE(isRunning());
    EXPECT_TRUE(waitFor([&] { return processesMentioning(job()) == 0; }, 180)) << "the application went on";
    EXPECT_TRUE(waitFor(testsupport::noZombieChild)) << "the cancelled application stayed a zombie";
    EXPECT_FALSE(pathExists(out));
    for (const std::string& name : listFolder(m_folder.path()))
        EXPECT_EQ(name.find(".tmp"), std::string::npos) << name;
    EXPECT_FALSE(pathExists(job() + ".running"));
    std::string log;
    EXPECT_TRUE(readFile(job() + ".log", log));
    EXPECT_NE(log.find("cancelled"), std::string::npos) << log;
}

}  // namespace
