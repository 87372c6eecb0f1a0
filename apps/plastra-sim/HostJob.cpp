// HostJob: mesh exchange files and job files as a host script writes them.
#include "HostJob.h"

#include <algorithm>
#include <cmath>

#include "Trimora/YDecimatorBatch.h"
#include "Trimora/YDecimatorConfigFileParser.h"
#include "Trimora/YDecimatorConfigFileWriter.h"
#include "io/KVKelWriter.h"

std::string HostJob::hostPath(const std::string& path) { return "!:" + path; }

bool HostJob::writeMeshFile(const std::string& path, const ObjMesh& mesh) {
    KVKelMesh kel;
    kel.points.resize(static_cast<int>(mesh.points.size()));
    std::copy(mesh.points.begin(), mesh.points.end(), kel.points.begin());
    kel.faces.resize(static_cast<int>(mesh.faces.size()));
    std::copy(mesh.faces.begin(), mesh.faces.end(), kel.faces.begin());
    kel.uvs.resize(static_cast<int>(mesh.uvs.size()));
    std::copy(mesh.uvs.begin(), mesh.uvs.end(), kel.uvs.begin());
    kel.colors.resize(static_cast<int>(mesh.colors.size()));
    std::copy(mesh.colors.begin(), mesh.colors.end(), kel.colors.begin());
    return KVKelWriter::writeFile(KVString(path.c_str()), kel);
}

std::vector<int> HostJob::targets(const std::vector<std::size_t>& vertexCounts, const DecimateSettings& settings,
                                  std::vector<std::string>& notes, const std::vector<std::string>& names) {
    std::vector<int> result;
    double total = 0.0;
    for (std::size_t n : vertexCounts) total += static_cast<double>(n);
    for (std::size_t i = 0; i < vertexCounts.size(); ++i) {
        const long long n = static_cast<long long>(vertexCounts[i]);
        long long t;
        if (settings.vertices >= 0)
            t = total > 0.0 ? std::llround(static_cast<double>(settings.vertices) * static_cast<double>(n) / total) : 0;
        else
            // The application's own rule: percent / 100 times the count, in single precision, truncated.
            t = static_cast<long long>(settings.percent / 100.0f * static_cast<float>(n));
        t = std::min(t, n);
        const long long floor = std::min<long long>(kMinTarget, n);
        if (t < floor) {
            const std::string name = i < names.size() ? names[i] : std::to_string(i + 1);
            notes.push_back("mesh " + name + ": target raised to " + std::to_string(floor) + " vertices");
            t = floor;
        }
        result.push_back(static_cast<int>(t));
    }
    return result;
}

bool HostJob::writeJobFile(const std::string& path, int kind, const std::vector<JobMesh>& meshes,
                           const DecimateSettings& settings, std::string& error) {
    YDecimatorConfigFileParser job;
    job.m_appMode = YDecimatorConfigFileParser::kAppModeBatch;
    job.m_displayMode = YDecimatorConfigFileParser::kDisplayNo;
    job.m_useProgressBar = true;
    for (const JobMesh& m : meshes) {
        YDecimatorBatch* batch = job.appendBatch(kind);
        YDecimatorInput& in = batch->m_input;
        in.m_inputFile = KVString(hostPath(m.input).c_str());
        in.m_outputFile = KVString(hostPath(m.output).c_str());
        if (m.targetVertices >= 0) {
            in.m_decimationTargetNum = m.targetVertices;
            in.m_decimationTargetPourcent = -1.0f;
        } else {
            in.m_decimationTargetPourcent = settings.percent;
        }
        in.m_keepUVs = settings.keepUVs;
        in.m_freezeBorder = settings.freezeBorder;
        in.m_useVtxColors = settings.useColors;
        in.m_useVtxColorsCoef = settings.colorCoef;
        in.m_useMask = settings.useMask;
        in.m_symmetryMode = settings.symmetry;
        in.m_numThread = std::max(1, settings.threads);
        in.m_progressiveMeshMinNum = kMinTarget;
    }
    if (!YDecimatorConfigFileWriter::writeFile(KVString(path.c_str()), job)) {
        error = "cannot write the job file " + path;
        return false;
    }
    return true;
}
