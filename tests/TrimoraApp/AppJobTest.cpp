// TrimoraApp jobs: batches in order, progressive-mesh caches, job-file flags, the running file and cancel.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "AppTestSupport.h"
#include "ProgressBar/KVProgressBar.h"
#include "ProgressiveMesh/KVProgressiveMeshHeader.h"

using namespace apptest;

namespace {

using Lines = std::vector<std::pair<std::string, std::string>>;

const Lines kAxes = {{"IFlipX", "No"}, {"IFlipY", "No"}, {"IFlipZ", "No"}, {"ISwitchYZ", "No"}};

Lines batch(const std::string& kind, const std::string& in, const std::string& out, const Lines& extra) {
    Lines lines = {{"StartBatch", kind}, {"InputFile", in}, {"OutputFile", out}};
    lines.insert(lines.end(), kAxes.begin(), kAxes.end());
    lines.insert(lines.end(), extra.begin(), extra.end());
    lines.push_back({"EndBatch", ""});
    return lines;
}

Lines operator+(Lines a, const Lines& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

bool readHeader(const std::string& path, KVProgressiveMeshHeader& header) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return false;
    header.read(f);
    std::fclose(f);
    return true;
}

// The progress record as the application last wrote it; false while the file is missing.
bool readRecord(const std::string& runningFile, KVProgressBar& bar) {
    std::string bytes;
    if (!readFile(runningFile, bytes) || bytes.size() != KVProgressBar::kRecordSize) return false;
    bar.decode(reinterpret_cast<const unsigned char*>(bytes.data()));
    return true;
}

TEST(AppJob, ProgressiveCacheBuiltOnceThenDecimatedToTwoTargets) {
    TempFolder folder;
    GridOptions o;
    o.uvs = true;
    o.colors = true;
    const KVKelMesh grid = makeGrid(o);
    const std::string in = folder.file("in.kel"), cache = folder.file("in.ypm");
    ASSERT_TRUE(KVKelWriter::writeFile(KVString(in.c_str()), grid));
    const std::string job = folder.file("job.txt");
    ASSERT_TRUE(writeJob(job, Lines{{"AppMode", "Trimora BATCH"}} +
                                  batch("Build progressive mesh", in, cache, {{"KeepUVs", "Yes"}}) +
                                  batch("Decimate progressive mesh", cache, folder.file("a.kel"),
                                        {{"DecimationTargetPourcent", "25"}}) +
                                  batch("Decimate progressive mesh", cache, folder.file("b.kel"),
                                        {{"DecimationTargetNum", "300"}})));
    std::string errors;
    ASSERT_EQ(runApp(job, &errors), 0) << errors;

    KVProgressiveMeshHeader header;
    ASSERT_TRUE(readHeader(cache, header));
    EXPECT_EQ(header.m_originalVertexCount, 441);
    EXPECT_EQ(header.m_originalTriangleCount, 800);
    // The bounding box, then the source's UVs and colours but no mask.
    EXPECT_EQ(std::vector<float>(header.m_firstTriple, header.m_firstTriple + 2), (std::vector<float>{-1, -1}));
    EXPECT_EQ(std::vector<float>(header.m_secondTriple, header.m_secondTriple + 2), (std::vector<float>{1, 1}));
    EXPECT_LT(header.m_firstTriple[2], header.m_secondTriple[2]);
    EXPECT_EQ(std::vector<bool>(header.m_flags1To4, header.m_flags1To4 + 3), (std::vector<bool>{true, true, false}));

    const ReadMesh a = readMesh(folder.file("a.kel"));
    const ReadMesh b = readMesh(folder.file("b.kel"));
    ASSERT_TRUE(a.ok && b.ok);
    EXPECT_NEAR(a.points.getCount(), 110, 4);
    EXPECT_NEAR(b.points.getCount(), 300, 6);
    for (const ReadMesh* m : {&a, &b}) {
        EXPECT_EQ(m->uvs.getCount(), m->faces.getCount());
        EXPECT_EQ(m->colors.getCount(), m->points.getCount());
        EXPECT_TRUE(m->mask.isEmpty());
        for (int f = 0; f < m->faceCount(); ++f) EXPECT_GE(faceNormal(*m, f).z, 0.0f);
    }
}

TEST(AppJob, BatchesRunInFileOrderAndHonourTheDeleteFlags) {
    TempFolder folder;
    const std::string first = folder.file("first.kel"), second = folder.file("second.kel");
    ASSERT_TRUE(KVKelWriter::writeFile(KVString(first.c_str()), makeGrid(GridOptions())));
    ASSERT_TRUE(KVKelWriter::writeFile(KVString(second.c_str()), makeGrid(GridOptions())));
    const std::string job = folder.file("job.txt");
    // The second batch reads what the first one wrote: only file order makes that work.
    ASSERT_TRUE(writeJob(job, Lines{{"DeleteConfigFile", "Yes"}} +
                                  batch("Decimate mesh", first, folder.file("mid.kel"),
                                        {{"DecimationTargetPourcent", "50"}, {"DeleteInputFile", "Yes"}}) +
                                  batch("Decimate mesh", folder.file("mid.kel"), folder.file("last.kel"),
                                        {{"DecimationTargetPourcent", "50"}}) +
                                  batch("Decimate mesh", second, folder.file("kept.kel"),
                                        {{"DecimationTargetPourcent", "50"}, {"DeleteInputFile", "No"}})));
    std::string errors;
    ASSERT_EQ(runApp(job, &errors), 0) << errors;
    EXPECT_FALSE(pathExists(first));
    EXPECT_TRUE(pathExists(second));
    EXPECT_FALSE(pathExists(job));
    const ReadMesh mid = readMesh(folder.file("mid.kel"));
    const ReadMesh last = readMesh(folder.file("last.kel"));
    ASSERT_TRUE(mid.ok && last.ok && readMesh(folder.file("kept.kel")).ok);
    EXPECT_NEAR(mid.points.getCount(), 220, 5);
    EXPECT_NEAR(last.points.getCount(), 110, 4);
}

TEST(AppJob, HostPathFormAndTheLibrarysRunningFile) {
    TempFolder folder;
    const std::string in = folder.file("in.kel"), out = folder.file("out.kel"), job = folder.file("job.txt");
    ASSERT_TRUE(KVKelWriter::writeFile(KVString(in.c_str()), makeGrid(GridOptions())));
    // The host writes its own path form into the job and hands it on the command line.
    ASSERT_TRUE(writeJob(job, Lines{{"InputFile", "file:" + in}, {"OutputFile", "!:" + out},
                                    {"DecimationTargetNum", "200"}} + kAxes));
    // As the library does before the launch: a fresh record with the open byte set.
    KVProgressBar created;
    ASSERT_TRUE(created.create(KVString((job + ".running").c_str())));
    std::string errors;
    EXPECT_EQ(runApp(job, &errors, "Macintosh HD:" + job), 0) << errors;
    EXPECT_FALSE(pathExists(job + ".running"));
    const ReadMesh m = readMesh(out);
    ASSERT_TRUE(m.ok);
    EXPECT_NEAR(m.points.getCount(), 200, 3);  // a count target when no percentage is given
    EXPECT_TRUE(filesEndingWith(folder.path(), ".tmp").empty());
}

// Writes a 400 x 400 grid, starts `job` on it and waits until the running file shows the engine's
// step with its total; with `libraryLaunch` the running file is created first, as the library does.
void startLongJob(TempFolder& folder, std::unique_ptr<AppProcess>& app,
                  const std::function<Lines(const std::string&)>& job, bool libraryLaunch) {
    const std::string jobPath = folder.file("job.txt"), in = folder.file("in.kel");
    GridOptions o;
    o.n = 400;
    ASSERT_TRUE(KVKelWriter::writeFile(KVString(in.c_str()), makeGrid(o)));
    ASSERT_TRUE(writeJob(jobPath, job(in)));
    KVProgressBar bar;
    if (libraryLaunch) {
        ASSERT_TRUE(bar.create(KVString((jobPath + ".running").c_str())));
    }
    app.reset(new AppProcess(jobPath, jobPath + ".stderr"));
    ASSERT_TRUE(app->started());
    const bool reducing = waitFor([&] {
        return (readRecord(jobPath + ".running", bar) && bar.isStarted() && bar.isStepActive() &&
                bar.getStepTotal() > 0 && bar.getStepTitle().startsWith("Decimating")) ||
               app->exited();
    });
    ASSERT_TRUE(reducing && !app->exited()) << app->stderrText();
}

Lines oneMeshJob(const std::string& in) {
    const std::string out = in.substr(0, in.rfind('/') + 1) + "out.kel";
    return Lines{{"InputFile", in}, {"OutputFile", out}, {"DecimationTargetPourcent", "1"}} + kAxes;
}

// Started by hand, the application makes its own running file, and removes it at the end.
TEST(AppJob, RunByHandCreatesTheRunningFileAndReportsSteps) {
    TempFolder folder;
    std::unique_ptr<AppProcess> app;
    ASSERT_NO_FATAL_FAILURE(startLongJob(folder, app, oneMeshJob, false));
    EXPECT_EQ(app->wait(), 0) << app->stderrText();
    EXPECT_FALSE(pathExists(folder.file("job.txt.running")));
    EXPECT_TRUE(readMesh(folder.file("out.kel")).ok);
}

TEST(AppJob, TerminationSignalCleansUpLikeACancel) {
    TempFolder folder;
    std::unique_ptr<AppProcess> app;
    ASSERT_NO_FATAL_FAILURE(startLongJob(folder, app, oneMeshJob, false));
    app->sendSignal(SIGTERM);
    EXPECT_EQ(app->wait(), 1) << app->stderrText();
    EXPECT_FALSE(pathExists(folder.file("out.kel")));
    EXPECT_FALSE(pathExists(folder.file("job.txt.running")));
    EXPECT_TRUE(filesEndingWith(folder.path(), ".tmp").empty());
    std::string log;
    EXPECT_TRUE(readFile(folder.file("job.txt.log"), log));
    EXPECT_NE(log.find("signal"), std::string::npos) << log;
}

TEST(AppJob, DeletingTheRunningFileStopsTheJobWithoutOutput) {
    TempFolder folder;
    std::unique_ptr<AppProcess> app;
    ASSERT_NO_FATAL_FAILURE(startLongJob(folder, app, [&](const std::string& in) {
        return Lines{{"KeepTempFiles", "No"}} +
               batch("Decimate mesh", in, folder.file("a.kel"), {{"DecimationTargetPourcent", "1"}}) +
               batch("Build progressive mesh", in, folder.file("a.ypm"), {});
    }, true));
    ASSERT_EQ(std::remove(folder.file("job.txt.running").c_str()), 0);
    EXPECT_EQ(app->wait(), 2) << app->stderrText();
    EXPECT_FALSE(pathExists(folder.file("a.kel")));
    EXPECT_FALSE(pathExists(folder.file("a.ypm")));
    EXPECT_TRUE(filesEndingWith(folder.path(), ".tmp").empty());
    EXPECT_FALSE(pathExists(folder.file("job.txt.running")));
    EXPECT_TRUE(pathExists(folder.file("in.kel")));
}

}  // namespace
