// TrimoraApp failures: bad job files, bad meshes, bad caches, impossible targets; no output left behind.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "AppTestSupport.h"

using namespace apptest;

namespace {

using Lines = std::vector<std::pair<std::string, std::string>>;

// One failing job in its own folder.
struct FailingJob {
    TempFolder folder;
    std::string job() const { return folder.file("job.txt"); }
    std::string in() const { return folder.file("in.kel"); }
    std::string out() const { return folder.file("out.kel"); }

    void writeGoodMesh() { ASSERT_TRUE(KVKelWriter::writeFile(KVString(in().c_str()), makeGrid(GridOptions()))); }
    void writeOneJob(const Lines& extra) {
        Lines lines = {{"InputFile", in()}, {"OutputFile", out()}, {"IFlipX", "No"}, {"IFlipY", "No"},
                       {"IFlipZ", "No"}, {"ISwitchYZ", "No"}};
        lines.insert(lines.end(), extra.begin(), extra.end());
        ASSERT_TRUE(writeJob(job(), lines));
    }

    // The job must fail with `words` in both the error output and the log file, and leave no
    // output, no temporary file and no running file.
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
        EXPECT_TRUE(filesEndingWith(folder.path(), ".tmp").empty());
    }
};

TEST(AppErrors, BadJobFiles) {
    const struct {
        const char* text;  // null: no job file
        bool libraryLaunch;
        const char* words;
    } rows[] = {{nullptr, true, "job file not found"},
                {nullptr, false, "job file not found"},
                {"", true, "job file empty"},
                {"# only a comment\nOutputFile = out.kel\ngarbage line\n", true, "no InputFile"}};
    for (const auto& r : rows) {
        SCOPED_TRACE(r.words);
        FailingJob j;
        if (r.text) {
            ASSERT_TRUE(writeFile(j.job(), r.text));
        }
        j.expectFailure(r.words, r.libraryLaunch);
    }
}

TEST(AppErrors, UnknownBatchKindStopsBeforeAnyWork) {
    FailingJob j;
    j.writeGoodMesh();
    // The good first batch must not run either: the whole job is checked first.
    ASSERT_TRUE(writeJob(j.job(), {{"StartBatch", "Decimate mesh"}, {"InputFile", j.in()}, {"OutputFile", j.out()},
                                   {"DecimationTargetPourcent", "50"}, {"EndBatch", ""},
                                   {"StartBatch", "Polish mesh"}, {"InputFile", j.in()},
                                   {"OutputFile", j.folder.file("other.kel")}, {"EndBatch", ""}}));
    j.expectFailure("unknown batch kind");
    EXPECT_FALSE(pathExists(j.folder.file("other.kel")));
}

TEST(AppErrors, BadMeshFilesAndImpossibleTargets) {
    enum { kNone, kGood, kBadMagic, kIndexOutOfRange, kTruncated };
    const struct {
        int mesh;
        const char* key;
        const char* value;
        const char* words;
    } rows[] = {{kNone, "DecimationTargetPourcent", "50", "mesh file not found"},
                {kBadMagic, "DecimationTargetPourcent", "50", "not a readable mesh file"},
                {kIndexOutOfRange, "DecimationTargetPourcent", "50", "out of range"},
                {kTruncated, "DecimationTargetPourcent", "50", "malformed mesh file"},
                {kGood, "DecimationTargetPourcent", "0.1", "impossible target"},  // below a triangle
                {kGood, "DecimationTargetNum", "5000", "impossible target"}};    // above the mesh
    for (const auto& r : rows) {
        SCOPED_TRACE(r.words);
        FailingJob j;
        KVKelMesh mesh = makeGrid(GridOptions());
        if (r.mesh == kIndexOutOfRange) mesh.faces[4 * 7 + 2] = mesh.points.getCount();
        if (r.mesh != kNone) {
            ASSERT_TRUE(KVKelWriter::writeFile(KVString(j.in().c_str()), mesh));
        }
        std::string bytes;
        ASSERT_TRUE(r.mesh == kNone || readFile(j.in(), bytes));
        if (r.mesh == kBadMagic) {
            ASSERT_TRUE(writeFile(j.in(), std::string("Kelx") + std::string(60, '\0')));
        }
        if (r.mesh == kTruncated) {  // points take 32 + 16 + 441 x 12 bytes: cut amid the Face4 block
            ASSERT_TRUE(writeFile(j.in(), bytes.substr(0, 32 + 16 + 441 * 12 + 16 + 100)));
        }
        j.writeOneJob({{r.key, r.value}});
        j.expectFailure(r.words);
    }
}

TEST(AppErrors, DamagedCacheAndCacheTargetBelowItsMinimum) {
    FailingJob j;
    j.writeGoodMesh();
    const std::string cache = j.folder.file("in.ypm");
    ASSERT_TRUE(writeJob(j.job(), {{"StartBatch", "Build progressive mesh"}, {"InputFile", j.in()},
                                   {"OutputFile", cache}, {"ProgressiveMeshMinNum", "100"}, {"EndBatch", ""}}));
    std::string errors;
    ASSERT_EQ(runApp(j.job(), &errors), 0) << errors;
    std::string good;
    ASSERT_TRUE(readFile(cache, good));
    ASSERT_GT(good.size(), 100u);
    // The pad byte after the header, a byte amid the engine's bytes, and an intact cache asked for too little.
    const struct {
        std::size_t at;
        const char* target;
        const char* words;
    } damages[] = {{99, "DecimationTargetPourcent", "damaged (pad byte)"},
                   {100 + (good.size() - 100) / 2, "DecimationTargetPourcent", "damaged (checksum"},
                   {0, "DecimationTargetNum", "impossible target"}};
    for (const auto& damage : damages) {
        SCOPED_TRACE(damage.words);
        std::string bytes = good;
        if (damage.at != 0) bytes[damage.at] = static_cast<char>(bytes[damage.at] ^ 0x5A);
        ASSERT_TRUE(writeFile(cache, bytes));
        ASSERT_TRUE(writeJob(j.job(), {{"StartBatch", "Decimate progressive mesh"}, {"InputFile", cache},
                                       {"OutputFile", j.out()}, {damage.target, "50"}, {"EndBatch", ""}}));
        std::remove((j.job() + ".log").c_str());
        j.expectFailure(damage.words);
    }
}

}  // namespace
