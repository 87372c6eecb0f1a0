// TrimoraApp failures: bad job files, bad meshes, bad caches, impossible targets; no output left behind.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "AppTestSupport.h"

using namespace apptest;

namespace {

using Lines = std::vector<std::pair<std::string, std::string>>;

class AppErrors : public ::testing::Test {
protected:
    std::string job() const { return m_folder.file("job.txt"); }
    std::string in() const { return m_folder.file("in.kel"); }
    std::string out() const { return m_folder.file("out.kel"); }

    void writeGoodMesh() { ASSERT_TRUE(KVKelWriter::writeFile(KVString(in().c_str()), makeGrid(GridOptions()))); }
    void writeOneJob(const Lines& extra) {
        Lines lines = {{"InputFile", in()}, {"OutputFile", out()}, {"IFlipX", "No"}, {"IFlipY", "No"},
                       {"IFlipZ", "No"}, {"ISwitchYZ", "No"}};
        lines.insert(lines.end(), extra.begin(), extra.end());
        ASSERT_TRUE(writeJob(job(), lines));
    }

    // Runs the job, which must fail with `words` in both the error output and the log file, and
    // leave no output, no temporary file and no running file.
    void expectFailure(const std::string& words, bool libraryLaunch = true) {
        if (libraryLaunch) {
            ASSERT_TRUE(writeFile(job() + ".running", std::string(1, '\1') + std::string(175, '\0')));
        }
        std::string errors;
        const int status = runApp(job(), &errors);
        EXPECT_NE(status, 0);
        EXPECT_NE(status, -1) << "did not end";
        EXPECT_NE(errors.find(words), std::string::npos) << errors;
        std::string log;
        EXPECT_TRUE(readFile(job() + ".log", log));
        EXPECT_NE(log.find(words), std::string::npos) << log;
        EXPECT_FALSE(pathExists(out()));
        EXPECT_FALSE(pathExists(job() + ".running"));
        EXPECT_TRUE(filesEndingWith(m_folder.path(), ".tmp").empty());
    }

    TempFolder m_folder;
};

TEST_F(AppErrors, MissingJobFile) { expectFailure("job file not found"); }

TEST_F(AppErrors, MissingJobFileWhenRunByHand) { expectFailure("job file not found", false); }

TEST_F(AppErrors, EmptyJobFile) {
    ASSERT_TRUE(writeFile(job(), ""));
    expectFailure("job file empty");
}

TEST_F(AppErrors, JobFileWithoutInputFile) {
    ASSERT_TRUE(writeFile(job(), "# only a comment\nOutputFile = " + out() + "\ngarbage line\n"));
    expectFailure("no InputFile");
}

TEST_F(AppErrors, UnknownBatchKindStopsBeforeAnyWork) {
    writeGoodMesh();
    // The good first batch must not run either: the whole job is checked first.
    ASSERT_TRUE(writeJob(job(), {{"StartBatch", "Decimate mesh"}, {"InputFile", in()}, {"OutputFile", out()},
                                 {"DecimationTargetPourcent", "50"}, {"EndBatch", ""},
                                 {"StartBatch", "Polish mesh"}, {"InputFile", in()},
                                 {"OutputFile", m_folder.file("other.kel")}, {"EndBatch", ""}}));
    expectFailure("unknown batch kind");
    EXPECT_FALSE(pathExists(m_folder.file("other.kel")));
}

TEST_F(AppErrors, MissingMeshFile) {
    writeOneJob({{"DecimationTargetPourcent", "50"}});
    expectFailure("mesh file not found");
}

TEST_F(AppErrors, MeshFileWithWrongMagic) {
    ASSERT_TRUE(writeFile(in(), std::string("Kelx") + std::string(60, '\0')));
    writeOneJob({{"DecimationTargetPourcent", "50"}});
    expectFailure("not a readable mesh file");
}

TEST_F(AppErrors, MeshFileWithIndexOutOfRange) {
    KVKelMesh mesh = makeGrid(GridOptions());
    mesh.faces[4 * 7 + 2] = mesh.points.getCount();
    ASSERT_TRUE(KVKelWriter::writeFile(KVString(in().c_str()), mesh));
    writeOneJob({{"DecimationTargetPourcent", "50"}});
    expectFailure("out of range");
}

TEST_F(AppErrors, MeshFileTruncatedInItsFaces) {
    writeGoodMesh();
    std::string bytes;
    ASSERT_TRUE(readFile(in(), bytes));
    // Points take 32 + 16 + 441 x 12 bytes; cut the file in the middle of the Face4 block.
    ASSERT_TRUE(writeFile(in(), bytes.substr(0, 32 + 16 + 441 * 12 + 16 + 100)));
    writeOneJob({{"DecimationTargetPourcent", "50"}});
    expectFailure("malformed mesh file");
}

TEST_F(AppErrors, TargetBelowATriangle) {
    writeGoodMesh();
    writeOneJob({{"DecimationTargetPourcent", "0.1"}});
    expectFailure("impossible target");
}

TEST_F(AppErrors, TargetAboveTheMesh) {
    writeGoodMesh();
    writeOneJob({{"DecimationTargetNum", "5000"}});
    expectFailure("impossible target");
}

TEST_F(AppErrors, DamagedCache) {
    writeGoodMesh();
    const std::string cache = m_folder.file("in.ypm");
    ASSERT_TRUE(writeJob(job(), {{"StartBatch", "Build progressive mesh"}, {"InputFile", in()}, {"OutputFile", cache},
                                 {"EndBatch", ""}}));
    std::string errors;
    ASSERT_EQ(runApp(job(), &errors), 0) << errors;
    std::string good;
    ASSERT_TRUE(readFile(cache, good));
    ASSERT_GT(good.size(), 100u);
    // The pad byte after the header, and a byte amid the engine's bytes.
    const std::pair<std::size_t, const char*> damages[] = {{99, "damaged (pad byte)"},
                                                           {100 + (good.size() - 100) / 2, "damaged (checksum"}};
    for (const auto& damage : damages) {
        std::string bytes = good;
        bytes[damage.first] = static_cast<char>(bytes[damage.first] ^ 0x5A);
        ASSERT_TRUE(writeFile(cache, bytes));
        ASSERT_TRUE(writeJob(job(), {{"StartBatch", "Decimate progressive mesh"}, {"InputFile", cache},
                                     {"OutputFile", out()}, {"DecimationTargetPourcent", "50"}, {"EndBatch", ""}}));
        expectFailure(damage.second);
    }
}

TEST_F(AppErrors, CacheTargetBelowItsMinimum) {
    writeGoodMesh();
    const std::string cache = m_folder.file("in.ypm");
    ASSERT_TRUE(writeJob(job(), {{"StartBatch", "Build progressive mesh"}, {"InputFile", in()}, {"OutputFile", cache},
                                 {"ProgressiveMeshMinNum", "100"}, {"EndBatch", ""},
                                 {"StartBatch", "Decimate progressive mesh"}, {"InputFile", cache},
                                 {"OutputFile", out()}, {"DecimationTargetNum", "50"}, {"EndBatch", ""}}));
    expectFailure("impossible target");
}

}  // namespace
