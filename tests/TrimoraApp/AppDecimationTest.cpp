// TrimoraApp on generated meshes: targets, borders, UVs, colours, mask, symmetry, axis flags, orientation.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "AppTestSupport.h"

using namespace apptest;

namespace {

class AppDecimation : public ::testing::Test {
protected:
    std::string job() const { return m_folder.file("job.txt"); }
    std::string in() const { return m_folder.file("in.kel"); }
    std::string out() const { return m_folder.file("out.kel"); }

    // Writes the mesh and a one-mesh job with `extra` keys, runs the application, reads the result.
    ReadMesh decimate(const KVKelMesh& mesh, const std::vector<std::pair<std::string, std::string>>& extra) {
        EXPECT_TRUE(KVKelWriter::writeFile(KVString(in().c_str()), mesh));
        std::vector<std::pair<std::string, std::string>> lines = {
            {"AppMode", "Trimora BATCH"}, {"InputFile", in()}, {"OutputFile", out()},
            {"IFlipX", "No"}, {"IFlipY", "No"}, {"IFlipZ", "No"}, {"ISwitchYZ", "No"}};
        lines.insert(lines.end(), extra.begin(), extra.end());
        EXPECT_TRUE(writeJob(job(), lines));
        std::string errors;
        EXPECT_EQ(runApp(job(), &errors), 0) << errors;
        EXPECT_FALSE(pathExists(job() + ".running"));
        EXPECT_FALSE(pathExists(job() + ".log"));
        ReadMesh result = readMesh(out());
        EXPECT_TRUE(result.ok);
        return result;
    }

    TempFolder m_folder;
};

// Every face is a triangle (fourth index negative) and names vertices of the mesh.
void expectTriangles(const ReadMesh& m) {
    ASSERT_GT(m.faceCount(), 0);
    for (int f = 0; f < m.faceCount(); ++f) {
        EXPECT_LT(m.faces[4 * f + 3], 0) << "face " << f;
        for (int k = 0; k < 3; ++k) {
            ASSERT_GE(m.faces[4 * f + k], 0);
            ASSERT_LT(m.faces[4 * f + k], m.points.getCount());
        }
    }
}

// Seen from +z (or -z with `up` -1) every face of the height field is counter-clockwise; a flipped face is not.
int flippedFaces(const ReadMesh& m, float up = 1.0f) {
    int flipped = 0;
    for (int f = 0; f < m.faceCount(); ++f) flipped += up * faceNormal(m, f).z < 0.0f;
    return flipped;
}

TEST_F(AppDecimation, PercentTargetReachedOnQuadsAndTrianglesWithoutFlips) {
    GridOptions o;
    o.triangles = true;  // half the cells as two triangles, half as quads
    const KVKelMesh grid = makeGrid(o);
    const ReadMesh m = decimate(grid, {{"DecimationTargetPourcent", "30"}});
    expectTriangles(m);
    const int target = static_cast<int>(0.30f * grid.points.getCount());
    EXPECT_LE(m.points.getCount(), target + target / 50 + 1);
    EXPECT_GE(m.points.getCount(), target * 9 / 10);
    EXPECT_EQ(flippedFaces(m), 0);
    // No optional block appears that the input did not have.
    EXPECT_TRUE(m.uvs.isEmpty());
    EXPECT_TRUE(m.colors.isEmpty());
    EXPECT_TRUE(m.mask.isEmpty());
}

// Flipping x alone mirrors the mesh on input; the result must come back unmirrored, so no face
// turns over and the border stays where the file had it.
TEST_F(AppDecimation, FrozenBorderKeepsEveryBorderVertexExactlyThroughAFlip) {
    const KVKelMesh grid = makeGrid(GridOptions());
    const ReadMesh m =
        decimate(grid, {{"DecimationTargetPourcent", "35"}, {"FreezeBorder", "Yes"}, {"IFlipX", "Yes"}});
    const auto kept = positionIndex(m.points);
    int border = 0;
    for (const KVVector3f& p : grid.points) {
        if (std::fabs(std::fabs(p.x) - 1.0f) > 1e-6f && std::fabs(std::fabs(p.y) - 1.0f) > 1e-6f) continue;
        ++border;
        EXPECT_EQ(kept.count({p.x, p.y, p.z}), 1u) << "border vertex moved: " << p.x << ", " << p.y;
    }
    EXPECT_EQ(border, 80);
    EXPECT_EQ(flippedFaces(m), 0);
}

TEST_F(AppDecimation, UVsAndColoursFollowTheSurface) {
    GridOptions o;
    o.uvs = true;
    o.colors = true;
    const ReadMesh m = decimate(makeGrid(o), {{"DecimationTargetPourcent", "40"},
                                               {"KeepUVs", "Yes"},
                                               {"UseVtxColors", "Yes"}});
    expectTriangles(m);
    ASSERT_EQ(m.uvs.getCount(), m.faces.getCount());
    ASSERT_EQ(m.colors.getCount(), m.points.getCount());
    // Both ramps are linear in x and y, so wherever a vertex lands its UV and colour stay
    // predictable; a corner paired with the wrong vertex or a lost block is far off.
    double uvWorst = 0.0, uvSum = 0.0;
    for (int f = 0; f < m.faceCount(); ++f) {
        for (int k = 0; k < 3; ++k) {
            const KVVector3f& p = m.points[m.faces[4 * f + k]];
            const KVVector2f want = uvAt(p.x, p.y);
            const KVVector2f got = m.uvs[4 * f + k];
            const double e = std::fabs(got.u - want.u) + std::fabs(got.v - want.v);
            uvWorst = std::max(uvWorst, e);
            uvSum += e;
        }
    }
    // One grid step is 0.05 in UV: a corner given its neighbour's UV shows in the mean at once.
    EXPECT_LT(uvSum / (3.0 * m.faceCount()), 0.01);
    EXPECT_LT(uvWorst, 0.06);
    int colourError = 0;
    for (int i = 0; i < m.points.getCount(); ++i) {
        const unsigned want = colorAt(m.points[i].x, m.points[i].y), got = m.colors[i];
        for (int shift : {0, 8, 16})
            colourError = std::max(colourError, std::abs(static_cast<int>((want >> shift) & 0xFF) -
                                                         static_cast<int>((got >> shift) & 0xFF)));
    }
    EXPECT_LE(colourError, 8);
}

TEST_F(AppDecimation, MaskedVerticesStayWhereTheyAre) {
    GridOptions o;
    o.maskLeft = true;
    const KVKelMesh grid = makeGrid(o);
    const ReadMesh m = decimate(grid, {{"DecimationTargetPourcent", "50"}, {"UseMask", "YES"}});
    ASSERT_EQ(m.mask.getCount(), m.points.getCount());
    const auto kept = positionIndex(m.points);
    int masked = 0;
    for (int i = 0; i < grid.points.getCount(); ++i) {
        if (grid.mask[i] == 0) continue;
        ++masked;
        const KVVector3f& p = grid.points[i];
        const auto it = kept.find({p.x, p.y, p.z});
        ASSERT_NE(it, kept.end()) << "masked vertex moved: " << p.x << ", " << p.y;
        EXPECT_NE(m.mask[it->second], 0);
    }
    EXPECT_GT(masked, 50);
    EXPECT_LT(m.points.getCount(), grid.points.getCount());
    EXPECT_EQ(flippedFaces(m), 0);
}

// Every vertex has a partner mirrored through the plane `axis` = 0.
int unpairedVertices(const ReadMesh& m, int axis) {
    int unpaired = 0;
    for (int i = 0; i < m.points.getCount(); ++i) {
        float mirror[3] = {m.points[i].x, m.points[i].y, m.points[i].z};
        mirror[axis] = -mirror[axis];
        bool found = false;
        for (int j = 0; j < m.points.getCount() && !found; ++j) {
            found = std::fabs(m.points[j].x - mirror[0]) < 1e-4f && std::fabs(m.points[j].y - mirror[1]) < 1e-4f &&
                    std::fabs(m.points[j].z - mirror[2]) < 1e-4f;
        }
        if (!found) ++unpaired;
    }
    return unpaired;
}

// The grid turned so that its symmetry plane is y = 0 and its surface faces +y in the file.
KVKelMesh turnedGrid() {
    KVKelMesh grid = makeGrid(GridOptions());
    // A half-turn about the line x = y: no mirror, so the faces keep their winding and face -z.
    for (KVVector3f& p : grid.points) p = KVVector3f{p.y, p.x, -p.z};
    return grid;
}

TEST_F(AppDecimation, InputAxisFlagsChooseTheWorkingFrameAndAreUndoneOnOutput) {
    // In the working frame (y and z switched) the symmetry plane of the file's y is z = 0.
    const KVKelMesh grid = turnedGrid();
    const ReadMesh m = decimate(grid, {{"DecimationTargetPourcent", "30"}, {"Symmetry", "z"}, {"ISwitchYZ", "Yes"}});
    ASSERT_GT(m.points.getCount(), 0);
    EXPECT_EQ(unpairedVertices(m, 1), 0);
    // Back in the file's frame: the same extent, and faces still facing -z of the turned grid.
    const auto y = std::minmax_element(m.points.begin(), m.points.end(),
                                       [](const KVVector3f& a, const KVVector3f& b) { return a.y < b.y; });
    EXPECT_FLOAT_EQ(y.first->y, -1.0f);
    EXPECT_FLOAT_EQ(y.second->y, 1.0f);
    EXPECT_EQ(flippedFaces(m, -1.0f), 0);
}

}  // namespace
