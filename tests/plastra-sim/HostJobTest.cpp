// The host's job files and mesh files, read back by the library's own readers; the progress display.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>

#include "HostJob.h"
#include "PluginHost.h"
#include "ProgressDisplay.h"
#include "SampleMesh.h"
#include "Trimora/YDecimatorBatch.h"
#include "Trimora/YDecimatorConfigFileParser.h"
#include "io/KVKelIO_Core.h"

TEST(HostJob, JobFileReadsBackAsOneBatchPerMeshInTheHostsPathForm) {
    TempFolder dir;
    DecimateSettings s;
    s.percent = 12.5f;
    s.keepUVs = true;
    s.useColors = true;
    s.colorCoef = 30.0f;
    s.symmetry = 4;
    s.threads = 3;
    const std::vector<JobMesh> meshes = {{"/a b/1.kel", "/a b/1_out.kel", -1}, {"/c/2.kel", "/c/2_out.kel", 40}};
    std::string error;
    const std::string path = dir.file("job.ydc");
    ASSERT_TRUE(HostJob::writeJobFile(path, YDecimatorBatch::kDecimateMesh, meshes, s, error)) << error;

    YDecimatorConfigFileParser job;
    ASSERT_TRUE(job.parseFile(KVString(path.c_str())));
    EXPECT_EQ(job.m_appMode, YDecimatorConfigFileParser::kAppModeBatch);
    EXPECT_TRUE(job.m_useProgressBar);
    ASSERT_EQ(job.getNumBatches(), 2);
    const YDecimatorBatch* first = job.getFirstBatch();
    EXPECT_EQ(first->m_kind, YDecimatorBatch::kDecimateMesh);
    EXPECT_STREQ(first->m_input.m_inputFile.c_str(), "!:/a b/1.kel");
    EXPECT_STREQ(first->m_input.m_outputFile.getValidFilePath(), "/a b/1_out.kel");
    EXPECT_EQ(first->m_input.m_decimationTargetPourcent, 12.5f);
    EXPECT_TRUE(first->m_input.m_keepUVs);
    EXPECT_TRUE(first->m_input.m_useVtxColors);
    EXPECT_EQ(first->m_input.m_useVtxColorsCoef, 30.0f);
    EXPECT_EQ(first->m_input.m_symmetryMode, 4);
    EXPECT_EQ(first->m_input.m_numThread, 3);
    const YDecimatorBatch* second = first->m_next;
    ASSERT_NE(second, nullptr);
    // A count target replaces the percent.
    EXPECT_EQ(second->m_input.m_decimationTargetPourcent, -1.0f);
    EXPECT_EQ(second->m_input.getDecimationTargetNumVertices(1000), 40);
}

TEST(HostJob, TargetsFollowThePercentOrShareTheCountAndNeverFallBelowTheFloor) {
    std::vector<std::string> notes;
    DecimateSettings percent;
    percent.percent = 10.0f;
    EXPECT_EQ(HostJob::targets({1000, 25, 3}, percent, notes, {"a", "b", "c"}), (std::vector<int>{100, 4, 3}));
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_EQ(notes[0], "mesh b: target raised to 4 vertices");

    notes.clear();
    DecimateSettings count;
    count.percent = -1.0f;
    count.vertices = 300;
    EXPECT_EQ(HostJob::targets({1000, 2000}, count, notes, {}), (std::vector<int>{100, 200}));
    count.vertices = 5000;  // more than there is: each mesh keeps all it has
    EXPECT_EQ(HostJob::targets({1000, 2000}, count, notes, {}), (std::vector<int>{1000, 2000}));
    EXPECT_TRUE(notes.empty());
}

TEST(HostJob, SampleMeshFileHoldsAClosedTexturedColouredMesh) {
    const ObjMesh sample = SampleMesh::make(12, 9);
    EXPECT_EQ(sample.points.size(), 108u);
    EXPECT_EQ(sample.faceCount(), 108u);
    // Closed: every edge is used exactly twice, once each way.
    std::map<std::pair<int, int>, int> edges;
    for (std::size_t f = 0; f < sample.faces.size(); f += 4)
        for (int k = 0; k < 4; ++k) edges[{sample.faces[f + k], sample.faces[f + (k + 1) % 4]}]++;
    for (const auto& e : edges) {
        EXPECT_EQ(e.second, 1);
        EXPECT_EQ(edges.count({e.first.second, e.first.first}), 1u);
    }
    TempFolder dir;
    const std::string kel = dir.file("sample.kel");
    ASSERT_TRUE(HostJob::writeMeshFile(kel, sample));
    KVArray<KVVector3f> points;
    KVArray<int> faces;
    KVArray<KVVector2f> uvs;
    KVArray<unsigned int> colors;
    ASSERT_TRUE(KVKelIO_Core::readVtxFace4UV4AndMRGBBlocs(KVString(kel.c_str()), points, faces, uvs, colors));
    EXPECT_EQ(points.getCount(), 108);
    EXPECT_EQ(faces.getCount(), 4 * 108);
    EXPECT_EQ(uvs.getCount(), 4 * 108);
    ASSERT_EQ(colors.getCount(), 108);
    EXPECT_EQ(colors[5], sample.colors[5]);
    EXPECT_EQ(uvs[4 * 107 + 2].u, 1.0f);  // the seam closes at u = 1

    ASSERT_TRUE(SampleMesh::writeTexture(dir.file("t.bmp"), 10));
    std::string bmp;
    ASSERT_TRUE(readFile(dir.file("t.bmp"), bmp));
    EXPECT_EQ(bmp.size(), 54u + 10u * 32u);  // rows padded to 4 bytes
    EXPECT_EQ(bmp.substr(0, 2), "BM");
}

TEST(ProgressDisplay, MarkupBecomesTerminalColoursOrPlainText) {
    const std::string line = "\\CFF9923Task: \\CCCCCCCStep one \\CFF9923     42.0%";
    EXPECT_EQ(ProgressDisplay::toTerminal(line, 100),
              "\033[38;2;255;153;35mTask: \033[38;2;204;204;204mStep one \033[38;2;255;153;35m     42.0%\033[0m");
    EXPECT_EQ(ProgressDisplay::toPlain(line), "Task: Step one 42.0%");
    // Cut by visible characters, escapes not counted; a bad colour stays text.
    EXPECT_EQ(ProgressDisplay::toTerminal("\\CFF9923Ta\\Cxyz", 4), "\033[38;2;255;153;35mTa\\C\033[0m");
    const std::string dots = "\\CFF9923Task: \\CCCCCCCStep\\C222222...\\CCCCCCC.\\C222222....";
    EXPECT_EQ(ProgressDisplay::toPlain(dots), "Task: Step");
}

TEST(ProgressDisplay, LogOutputPrintsALineForEachStepAndTenth) {
    TempFolder dir;
    const std::string path = dir.file("log.txt");
    FILE* f = std::fopen(path.c_str(), "w");
    ASSERT_NE(f, nullptr);
    {
        ProgressDisplay d(f, false, 80);
        d.update(-1.0f, "\\CFF9923T: \\CCCCCCCRead\\C222222.");
        d.update(-1.0f, "\\CFF9923T: \\CCCCCCCRead\\C222222..");
        d.update(0.01f, "\\CFF9923T: \\CCCCCCCCut \\CFF9923     1.0%");
        d.update(0.05f, "\\CFF9923T: \\CCCCCCCCut \\CFF9923     5.0%");
        d.update(0.11f, "\\CFF9923T: \\CCCCCCCCut \\CFF9923     11.0%");
        d.finish();
    }
    std::fclose(f);
    std::string text;
    ASSERT_TRUE(readFile(path, text));
    EXPECT_EQ(text, "T: Read\nT: Cut 1.0%\nT: Cut 11.0%\n");
}

TEST(ProgressDisplay, TerminalLineIsRedrawnInPlaceWithABarOnlyWhenAFractionIsKnown) {
    ProgressDisplay d(stdout, true, 60);
    const std::string withBar = d.render(0.5f, "T");
    EXPECT_EQ(withBar.rfind("\r", 0), 0u);
    EXPECT_NE(withBar.find(ProgressDisplay::bar(0.5f, 24)), std::string::npos);
    EXPECT_EQ(withBar.substr(withBar.size() - 3), "\033[K");
    const std::string noBar = d.render(-1.0f, "T");
    EXPECT_EQ(noBar.find("\xe2\x96"), std::string::npos);
    // Never wider than the terminal: 60 columns less the bar and its blank, less one.
    const std::string longLine(200, 'x');
    const std::string cut = d.render(0.5f, longLine);
    EXPECT_EQ(std::count(cut.begin(), cut.end(), 'x'), 60 - 25 - 1);
}
