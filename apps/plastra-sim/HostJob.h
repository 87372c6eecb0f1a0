// HostJob: the files a host script writes for a decimation job, mesh exchange files and the job file.
#pragma once

#include <string>
#include <vector>

#include "ObjScene.h"

// What the person asked for, in the job's terms.
struct DecimateSettings {
    float percent = -1.0f;       // of each mesh's vertices; -1 when a count is given
    long long vertices = -1;     // total vertex target over all meshes; -1 when a percent is given
    bool keepUVs = false;
    bool freezeBorder = false;
    bool useColors = false;
    float colorCoef = 50.0f;
    bool useMask = false;
    int symmetry = 0;            // 0 none, 1 x, 2 y, 3 z, 4 automatic
    int threads = 1;
};

// One mesh of a job: its input and output files and, for a count target, its vertex count.
struct JobMesh {
    std::string input;
    std::string output;
    int targetVertices = -1;     // -1: the percent applies
};

class HostJob {
public:
    // The smallest result the job asks for; smaller meshes are kept as they are.
    static constexpr int kMinTarget = 4;

    // The host's colon-prefixed form of a path, as its scripts hand paths over.
    static std::string hostPath(const std::string& path);

    // Writes the mesh as one exchange file: Points, Face4, UV4 when it has UVs, MRGB when it has colours.
    static bool writeMeshFile(const std::string& path, const ObjMesh& mesh);

    // Vertex targets per mesh. A percent gives what the application would compute from it, a total
    // count is shared out in proportion to the meshes' sizes; either is raised to kMinTarget (or the
    // mesh's own count when smaller). `notes` tells of every target so raised.
    static std::vector<int> targets(const std::vector<std::size_t>& vertexCounts, const DecimateSettings& settings,
                                    std::vector<std::string>& notes, const std::vector<std::string>& names);

    // A job of one batch per mesh of `kind` (YDecimatorBatch::Kind), written with the job-file
    // writer. Paths go in the host's form. False with a message when refused or not written.
    static bool writeJobFile(const std::string& path, int kind, const std::vector<JobMesh>& meshes,
                             const DecimateSettings& settings, std::string& error);
};
