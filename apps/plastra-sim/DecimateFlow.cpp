// DecimateFlow: a host script's decimation request, from an OBJ file to a decimated OBJ file.
#include "DecimateFlow.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <vector>

#include "ObjReader.h"
#include "PluginModule.h"
#include "ProgressDisplay.h"
#include "SampleMesh.h"
#include "Trimora/YDecimatorBatch.h"
#include "io/KVKelIO_Core.h"

namespace fs = std::filesystem;

namespace {

// ---------------------------------------------------------------------------------------------
// Arguments

bool endsWithNoCase(const std::string& s, const char* suffix) {
    const std::size_t n = std::strlen(suffix);
    if (s.size() < n) return false;
    for (std::size_t i = 0; i < n; ++i)
        if (std::tolower(static_cast<unsigned char>(s[s.size() - n + i])) != std::tolower(static_cast<unsigned char>(suffix[i])))
            return false;
    return true;
}

bool readNumber(const char* text, double& value) {
    if (text == nullptr || *text == '\0') return false;
    char* end = nullptr;
    errno = 0;
    value = std::strtod(text, &end);
    return errno == 0 && end != text && *end == '\0' && std::isfinite(value);
}

bool readCount(const char* text, long long& value) {
    double v = 0.0;
    if (!readNumber(text, v) || v != std::floor(v) || v < 0.0 || v > static_cast<double>(INT_MAX)) return false;
    value = static_cast<long long>(v);
    return true;
}

// ---------------------------------------------------------------------------------------------
// Signals: the first SIGINT or SIGTERM asks for the cancellation; the flow does the rest.

volatile std::sig_atomic_t g_interrupted = 0;

extern "C" void onInterrupt(int) { g_interrupted = 1; }

class SignalGuard {
public:
    SignalGuard() {
        g_interrupted = 0;
        struct sigaction sa {};
        sa.sa_handler = onInterrupt;
        sigemptyset(&sa.sa_mask);
        sa.sa_flags = 0;  // no restart: a sleeping poll wakes up at once
        sigaction(SIGINT, &sa, &m_oldInt);
        sigaction(SIGTERM, &sa, &m_oldTerm);
    }
    ~SignalGuard() {
        sigaction(SIGINT, &m_oldInt, nullptr);
        sigaction(SIGTERM, &m_oldTerm, nullptr);
    }
    SignalGuard(const SignalGuard&) = delete;
    SignalGuard& operator=(const SignalGuard&) = delete;

private:
    struct sigaction m_oldInt {};
    struct sigaction m_oldTerm {};
};

void sleepMs(int ms) {
    struct timespec ts {};
    ts.tv_sec = ms / 1000;
    ts.tv_nsec = static_cast<long>(ms % 1000) * 1000000L;
    nanosleep(&ts, nullptr);  // an interruption only shortens the wait
}

// ---------------------------------------------------------------------------------------------
// The decimation applications this process started: the plug-in spawns them as our children.

int runningApplications() {
    const std::string self = std::to_string(getpid());
    int count = 0;
    DIR* dir = opendir("/proc");
    if (dir == nullptr) return 0;
    while (const dirent* e = readdir(dir)) {
        if (e->d_name[0] < '0' || e->d_name[0] > '9') continue;
        std::ifstream in(std::string("/proc/") + e->d_name + "/stat");
        std::string stat;
        if (!std::getline(in, stat)) continue;
        // "pid (comm) state ppid ..."; comm may hold blanks and parentheses.
        const std::size_t open = stat.find('(');
        const std::size_t close = stat.rfind(')');
        if (open == std::string::npos || close == std::string::npos || close < open) continue;
        const std::string comm = stat.substr(open + 1, close - open - 1);
        std::istringstream rest(stat.substr(close + 1));
        std::string state, ppid;
        rest >> state >> ppid;
        if (ppid == self && comm == "TrimoraApp" && state != "Z") ++count;
    }
    closedir(dir);
    return count;
}

// ---------------------------------------------------------------------------------------------
// The plug-in as a host script sees it.

const char* const kCommands[] = {
    "InitTrimora",          "SetTrimoraAppPath",       "StartDeclareKelFiles",         "AddOneKelFile",
    "SetTextureFileNameForLastKel", "DeclareLastKelOutputFile", "SetCurrentKelFile",   "EndDeclareKelFiles",
    "LaunchTrimoraApp",     "TrimoraAppIsRunning",     "GetTrimoraAppProgressInfo",    "ExportOBJAllDeclaredKel",
    "DeleteDeclaredKelFiles", "DeleteResultingKelFile", "DeclareProgMeshCachesDir",    "DeleteAllProgMeshCaches",
    "GetPMeshOriginalKVertexCount", "FileDelete",      "SetCopySrc",                   "DoCopyTo",
};

class Script {
public:
    explicit Script(const PluginModule& plugin) : m_plugin(plugin), m_out1(64 * 1024, 0), m_out2(64 * 1024, 0) {}

    bool ready(std::string& missing) const {
        for (const char* name : kCommands)
            if (m_plugin.find(name) == nullptr) {
                missing = name;
                return false;
            }
        return true;
    }

    // The text goes over in a writable copy, as the host hands its script strings.
    float call(const char* name, const std::string* text = nullptr, double value = 0.0) {
        PlugCall command = m_plugin.find(name);
        if (command == nullptr) return -1.0f;
        std::vector<char> buffer;
        if (text != nullptr) {
            buffer.assign(text->begin(), text->end());
            buffer.push_back('\0');
        }
        return command(text ? buffer.data() : nullptr, value, m_out1.data(), static_cast<int>(m_out1.size()),
                       m_out2.data(), static_cast<int>(m_out2.size()), nullptr);
    }
    float call(const char* name, const std::string& text, double value = 0.0) { return call(name, &text, value); }

    const char* out1() const { return m_out1.data(); }

private:
    const PluginModule& m_plugin;
    std::vector<char> m_out1;
    std::vector<char> m_out2;
};

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string fileNameOf(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string withoutExtension(const std::string& path) {
    const std::size_t dot = path.find_last_of('.');
    const std::size_t slash = path.find_last_of('/');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return path;
    return path.substr(0, dot);
}

std::string lowerExtension(const std::string& path) {
    const std::string base = withoutExtension(path);
    std::string ext = path.size() > base.size() + 1 ? path.substr(base.size() + 1) : "";
    for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return ext;
}

// A file name part made of safe characters only.
std::string safeName(const std::string& s) {
    std::string out;
    for (char c : s) out += (std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_') ? c : '_';
    if (out.size() > 40) out.resize(40);
    return out.empty() ? "mesh" : out;
}

std::string grouped(unsigned long long n) {
    std::string digits = std::to_string(n);
    std::string out;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        if (i > 0 && (digits.size() - i) % 3 == 0) out += ',';
        out += digits[i];
    }
    return out;
}

bool exists(const std::string& path) {
    std::error_code ec;
    return fs::exists(path, ec);
}

struct MeshRecord {
    std::string name;
    std::size_t verticesBefore = 0;
    std::size_t facesBefore = 0;
    std::size_t verticesAfter = 0;
    std::size_t facesAfter = 0;
    std::string kel;      // the host's export of the mesh
    std::string cache;    // its progressive mesh (".ypm"), with --progressive
    std::string result;   // the application's result
    std::string texture;  // the texture as declared, after conversion; empty when none
};

struct Stage {
    std::string name;
    double seconds;
};

enum class JobEnd { kDone, kFailed, kCancelled };

class Flow {
public:
    Flow(const PluginModule& plugin, const DecimateOptions& options, FILE* out, FILE* err)
        : m_plugin(plugin), m_options(options), m_out(out), m_err(err), m_script(plugin),
          m_display(ProgressDisplay::forStream(out)) {}
    ~Flow() { removeTemporaryFolder(); }

    int run();

private:
    int fail(const std::string& message);
    void stage(const char* name);
    bool prepareInput(ObjScene& scene);
    bool makeTemporaryFolder();
    void removeTemporaryFolder();
    bool writeMeshFiles(const ObjScene& scene);
    void declareSources(const ObjScene& scene);
    std::string declareTexture(const std::string& source, const std::string& stem);
    JobEnd runJob(const std::string& jobPath, std::string& failure);
    std::string readJobLog(const std::string& jobPath, bool& cancelled) const;
    bool decimate(std::string& failure, JobEnd& end);
    bool exportResult(std::string& failure);
    void cleanUp();
    void printSummary() const;

    const PluginModule& m_plugin;
    const DecimateOptions& m_options;
    FILE* m_out;
    FILE* m_err;
    Script m_script;
    ProgressDisplay m_display;

    std::string m_input;
    std::string m_output;
    std::string m_appPath;
    std::string m_temp;
    DecimateSettings m_settings;
    std::vector<MeshRecord> m_meshes;
    std::map<std::string, std::string> m_declaredTextures;  // source texture -> declared name
    std::vector<std::string> m_outputs;
    std::vector<Stage> m_stages;
    std::chrono::steady_clock::time_point m_stageStart = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    bool m_cleaned = false;
};

int Flow::fail(const std::string& message) {
    m_display.finish();
    cleanUp();
    std::fprintf(m_err, "plastra-sim: %s\n", message.c_str());
    return kDecimateFailed;
}

void Flow::stage(const char* name) {
    const auto now = std::chrono::steady_clock::now();
    m_stages.push_back({name, std::chrono::duration<double>(now - m_stageStart).count()});
    m_stageStart = now;
}

bool Flow::prepareInput(ObjScene& scene) {
    if (m_input.empty()) {
        scene.meshes.push_back(SampleMesh::make());
        return true;
    }
    std::string error;
    if (!ObjReader::readFile(m_input, scene, error)) {
        std::fprintf(m_err, "plastra-sim: %s\n", error.c_str());
        return false;
    }
    for (const std::string& w : scene.warnings) std::fprintf(m_err, "plastra-sim: warning: %s\n", w.c_str());
    return true;
}

bool Flow::makeTemporaryFolder() {
    std::string parent = m_options.tempParent;
    if (parent.empty()) {
        const char* tmp = std::getenv("TMPDIR");
        parent = tmp != nullptr && *tmp != '\0' ? tmp : "/tmp";
    }
    // The launch finds the job path after the last colon of the command line.
    if (parent.find(':') != std::string::npos) {
        std::fprintf(m_err, "plastra-sim: the temporary folder may not hold a ':': %s\n", parent.c_str());
        return false;
    }
    // A folder of our own inside it: start-up cleans its folder of job files.
    std::string pattern = parent + "/plastra-sim-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (mkdtemp(buffer.data()) == nullptr) {
        std::fprintf(m_err, "plastra-sim: cannot make a temporary folder in %s: %s\n", parent.c_str(),
                     std::strerror(errno));
        return false;
    }
    m_temp = buffer.data();
    return true;
}

void Flow::removeTemporaryFolder() {
    if (m_temp.empty()) return;
    std::error_code ec;
    fs::remove_all(m_temp, ec);
    m_temp.clear();
}

bool Flow::writeMeshFiles(const ObjScene& scene) {
    for (std::size_t i = 0; i < scene.meshes.size(); ++i) {
        const ObjMesh& mesh = scene.meshes[i];
        MeshRecord r;
        r.name = mesh.name;
        r.verticesBefore = mesh.points.size();
        r.facesBefore = mesh.faceCount();
        const std::string stem = m_temp + "/" + std::to_string(i + 1) + "_" + safeName(mesh.name);
        r.kel = stem + ".kel";
        r.cache = stem + ".ypm";
        r.result = stem + "_decimated.kel";
        if (!HostJob::writeMeshFile(r.kel, mesh)) {
            std::fprintf(m_err, "plastra-sim: cannot write the mesh file %s\n", r.kel.c_str());
            return false;
        }
        m_meshes.push_back(r);
    }
    return true;
}

// Hands a texture to the plug-in as the host does: a copy in the temporary folder, which the
// declaration converts to the job's image format and then deletes. A texture shared by several
// meshes is converted once and declared again under its converted name.
std::string Flow::declareTexture(const std::string& source, const std::string& stem) {
    auto known = m_declaredTextures.find(source);
    if (known != m_declaredTextures.end()) {
        m_script.call("SetTextureFileNameForLastKel", HostJob::hostPath(known->second));
        return known->second;
    }
    const std::string ext = lowerExtension(source);
    const std::string copy = stem + "." + (ext.empty() ? "img" : ext);
    std::error_code ec;
    if (!fs::copy_file(source, copy, fs::copy_options::overwrite_existing, ec)) {
        std::fprintf(m_err, "plastra-sim: warning: cannot read the texture %s; the mesh goes without it\n",
                     source.c_str());
        return "";
    }
    m_script.call("SetTextureFileNameForLastKel", copy);
    const std::string converted = withoutExtension(copy) + ".bmp";
    std::string declared = copy;
    if (exists(converted)) {
        declared = converted;
    } else if (ext != "bmp") {
        std::fprintf(m_err, "plastra-sim: warning: the texture %s was not converted; it is kept as it is\n",
                     source.c_str());
    }
    m_declaredTextures[source] = declared;
    return declared;
}

void Flow::declareSources(const ObjScene& scene) {
    m_script.call("StartDeclareKelFiles");
    for (std::size_t i = 0; i < m_meshes.size(); ++i) {
        MeshRecord& r = m_meshes[i];
        m_script.call("AddOneKelFile", HostJob::hostPath(r.kel));
        std::string texture = scene.meshes[i].texturePath;
        if (m_input.empty()) {
            texture = m_temp + "/sample_texture_source.bmp";
            if (!exists(texture) && !SampleMesh::writeTexture(texture)) texture.clear();
        } else if (!texture.empty() && !exists(texture)) {
            std::fprintf(m_err, "plastra-sim: warning: texture not found: %s\n", texture.c_str());
            texture.clear();
        }
        if (!texture.empty()) {
            const std::string stem =
                m_temp + "/" + (m_input.empty() ? std::string("sample_texture") : safeName(withoutExtension(fileNameOf(texture))));
            // Two different textures of one name must not meet in the temporary folder.
            std::string unique = stem;
            for (int k = 2; m_declaredTextures.count(texture) == 0 &&
                            (exists(unique + ".bmp") || exists(unique + "." + lowerExtension(texture)));
                 ++k)
                unique = stem + std::to_string(k);
            r.texture = declareTexture(texture, unique);
        }
        m_script.call("DeclareLastKelOutputFile", HostJob::hostPath(r.result));
    }
    if (!m_meshes.empty()) m_script.call("SetCurrentKelFile", HostJob::hostPath(m_meshes.front().kel));
    m_script.call("EndDeclareKelFiles");
}

std::string Flow::readJobLog(const std::string& jobPath, bool& cancelled) const {
    cancelled = false;
    std::ifstream in(jobPath + ".log");
    std::string line;
    std::string failure;
    while (std::getline(in, line)) {
        if (line.rfind("error: ", 0) == 0 && failure.empty()) failure = line.substr(7);
        if (line.rfind("cancelled", 0) == 0) cancelled = true;
    }
    return failure;
}

JobEnd Flow::runJob(const std::string& jobPath, std::string& failure) {
    std::error_code ec;
    fs::remove(jobPath + ".log", ec);
    if (m_script.call("LaunchTrimoraApp", HostJob::hostPath(jobPath)) != 0.0f) {
        failure = "the plug-in could not launch " + m_appPath;
        return JobEnd::kFailed;
    }
    const std::string running = jobPath + ".running";
    bool cancelling = false;
    auto lastSeen = std::chrono::steady_clock::now();
    bool vanished = false;
    for (;;) {
        if (g_interrupted && !cancelling) {
            // The host's stop: the running file goes, the application sees it and stops.
            cancelling = true;
            m_display.message("plastra-sim: interrupted; stopping TrimoraApp...");
            m_script.call("FileDelete", HostJob::hostPath(running));
        }
        if (!cancelling && m_script.call("GetTrimoraAppProgressInfo") == 1.0f) {
            float fraction = -1.0f;
            std::memcpy(&fraction, m_script.out1(), sizeof fraction);
            m_display.update(fraction, std::string(m_script.out1() + 4, strnlen(m_script.out1() + 4, 252)));
        }
        if (m_script.call("TrimoraAppIsRunning") == 0.0f) break;
        const auto now = std::chrono::steady_clock::now();
        if (runningApplications() > 0) {
            lastSeen = now;
        } else if (now - lastSeen > std::chrono::milliseconds(1500)) {
            // Gone without removing its running file: it did not end its job.
            vanished = true;
            m_script.call("FileDelete", HostJob::hostPath(running));
            m_script.call("TrimoraAppIsRunning");
            break;
        }
        sleepMs(100);
    }
    m_display.finish();
    if (!cancelling && !vanished) {
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - m_stageStart).count();
        std::fprintf(m_out, "TrimoraApp: %s finished in %.1f s\n", fileNameOf(jobPath).c_str(), seconds);
        std::fflush(m_out);
    }
    // The running file goes last; the process follows it at once. Wait for it, so nothing is left.
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (runningApplications() > 0 && std::chrono::steady_clock::now() < limit) sleepMs(20);
    if (runningApplications() > 0) std::fprintf(m_err, "plastra-sim: warning: TrimoraApp is still running\n");

    bool cancelledByApp = false;
    failure = readJobLog(jobPath, cancelledByApp);
    if (cancelling || g_interrupted) return JobEnd::kCancelled;
    if (!failure.empty()) return JobEnd::kFailed;
    if (cancelledByApp) {
        failure = "the job was cancelled";
        return JobEnd::kFailed;
    }
    if (vanished) {
        failure = "TrimoraApp stopped without finishing the job";
        return JobEnd::kFailed;
    }
    return JobEnd::kDone;
}

bool Flow::decimate(std::string& failure, JobEnd& end) {
    std::vector<std::size_t> counts;
    std::vector<std::string> names;
    for (const MeshRecord& r : m_meshes) names.push_back(r.name);
    std::vector<JobMesh> jobMeshes;

    if (m_options.progressive) {
        m_script.call("DeclareProgMeshCachesDir", HostJob::hostPath(m_temp));
        std::vector<JobMesh> build;
        for (const MeshRecord& r : m_meshes) build.push_back({r.kel, r.cache, -1});
        const std::string buildJob = m_temp + "/build.ydc";
        if (!HostJob::writeJobFile(buildJob, YDecimatorBatch::kBuildProgressiveMesh, build, m_settings, failure)) {
            end = JobEnd::kFailed;
            return false;
        }
        end = runJob(buildJob, failure);
        stage("build progressive meshes");
        if (end != JobEnd::kDone) return false;
        for (MeshRecord& r : m_meshes) {
            const float k = m_script.call("GetPMeshOriginalKVertexCount", HostJob::hostPath(r.cache));
            if (k < 0.0f) {
                failure = "no progressive mesh was written for " + r.name;
                end = JobEnd::kFailed;
                return false;
            }
            r.verticesBefore = static_cast<std::size_t>(std::lround(static_cast<double>(k) * 1000.0));
        }
    }

    for (const MeshRecord& r : m_meshes) counts.push_back(r.verticesBefore);
    std::vector<std::string> notes;
    const std::vector<int> targets = HostJob::targets(counts, m_settings, notes, names);
    for (const std::string& n : notes) std::fprintf(m_err, "plastra-sim: %s\n", n.c_str());
    for (std::size_t i = 0; i < m_meshes.size(); ++i) {
        const MeshRecord& r = m_meshes[i];
        int target = targets[i];
        // A percent goes to the application as a percent unless the target had to be raised.
        if (m_settings.vertices < 0 &&
            target == static_cast<int>(m_settings.percent / 100.0f * static_cast<float>(r.verticesBefore)))
            target = -1;
        jobMeshes.push_back({m_options.progressive ? r.cache : r.kel, r.result, target});
    }
    const std::string job = m_temp + "/decimate.ydc";
    const int kind = m_options.progressive ? YDecimatorBatch::kDecimateProgressiveMesh : YDecimatorBatch::kDecimateMesh;
    if (!HostJob::writeJobFile(job, kind, jobMeshes, m_settings, failure)) {
        end = JobEnd::kFailed;
        return false;
    }
    end = runJob(job, failure);
    stage("decimate");
    if (end != JobEnd::kDone) return false;
    for (MeshRecord& r : m_meshes) {
        KVArray<KVVector3f> points;
        KVArray<int> faces;
        if (!exists(r.result) || !KVKelIO_Core::readVertexAndFace4Blocs(KVString(r.result.c_str()), points, faces)) {
            failure = "TrimoraApp wrote no result for " + r.name;
            end = JobEnd::kFailed;
            return false;
        }
        r.verticesAfter = static_cast<std::size_t>(points.getCount());
        r.facesAfter = static_cast<std::size_t>(faces.getCount() / 4);
    }
    return true;
}

bool Flow::exportResult(std::string& failure) {
    // The sources are done with; the results are declared for the export.
    m_script.call("DeleteDeclaredKelFiles");
    m_script.call("StartDeclareKelFiles");
    for (const MeshRecord& r : m_meshes) {
        m_script.call("AddOneKelFile", HostJob::hostPath(r.result));
        if (!r.texture.empty()) m_script.call("SetTextureFileNameForLastKel", HostJob::hostPath(r.texture));
    }
    m_script.call("EndDeclareKelFiles");

    std::error_code ec;
    fs::create_directories(folderOf(m_output), ec);
    const std::string mtl = m_output.substr(0, m_output.size() - 3) + "mtl";
    fs::remove(m_output, ec);
    fs::remove(mtl, ec);
    m_script.call("ExportOBJAllDeclaredKel", HostJob::hostPath(m_output));
    if (!exists(m_output)) {
        failure = "cannot write " + m_output;
        return false;
    }
    m_outputs.push_back(m_output);
    if (exists(mtl)) m_outputs.push_back(mtl);
    // The MTL file names each texture by its file name: it goes beside the OBJ file.
    std::vector<std::string> copied;
    for (const MeshRecord& r : m_meshes) {
        if (r.texture.empty() || std::find(copied.begin(), copied.end(), r.texture) != copied.end()) continue;
        copied.push_back(r.texture);
        const std::string target = folderOf(m_output) + "/" + fileNameOf(r.texture);
        fs::remove(target, ec);
        m_script.call("SetCopySrc", HostJob::hostPath(r.texture));
        m_script.call("DoCopyTo", HostJob::hostPath(target));
        if (!exists(target)) {
            failure = "cannot copy the texture to " + target;
            return false;
        }
        m_outputs.push_back(target);
    }
    return true;
}

void Flow::cleanUp() {
    if (m_cleaned || m_temp.empty()) return;
    m_cleaned = true;
    m_script.call("DeleteDeclaredKelFiles");
    for (const MeshRecord& r : m_meshes) {
        if (exists(r.result)) m_script.call("DeleteResultingKelFile", HostJob::hostPath(r.result));
        if (exists(r.kel)) m_script.call("FileDelete", HostJob::hostPath(r.kel));
    }
    m_script.call("DeclareProgMeshCachesDir", HostJob::hostPath(m_temp));
    m_script.call("DeleteAllProgMeshCaches");
    // Job files, logs and textures: the folder is ours.
    removeTemporaryFolder();
}

void Flow::printSummary() const {
    std::size_t nameWidth = 4;
    for (const MeshRecord& r : m_meshes) nameWidth = std::max(nameWidth, std::min<std::size_t>(r.name.size(), 32));
    std::fprintf(m_out, "\n%-*s  %25s  %25s\n", static_cast<int>(nameWidth), "mesh", "vertices", "faces");
    std::size_t v0 = 0, v1 = 0, f0 = 0, f1 = 0;
    auto row = [&](const std::string& name, std::size_t a, std::size_t b, std::size_t c, std::size_t d) {
        const std::string vertices = grouped(a) + " -> " + grouped(b);
        const std::string faces = grouped(c) + " -> " + grouped(d);
        std::fprintf(m_out, "%-*s  %25s  %25s\n", static_cast<int>(nameWidth), name.substr(0, 32).c_str(),
                     vertices.c_str(), faces.c_str());
    };
    for (const MeshRecord& r : m_meshes) {
        row(r.name, r.verticesBefore, r.verticesAfter, r.facesBefore, r.facesAfter);
        v0 += r.verticesBefore;
        v1 += r.verticesAfter;
        f0 += r.facesBefore;
        f1 += r.facesAfter;
    }
    if (m_meshes.size() > 1) row("total", v0, v1, f0, f1);
    std::fprintf(m_out, "\nTime:\n");
    double total = 0.0;
    for (const Stage& s : m_stages) {
        std::fprintf(m_out, "  %-26s %8.2f s\n", s.name.c_str(), s.seconds);
        total += s.seconds;
    }
    std::fprintf(m_out, "  %-26s %8.2f s\n", "total", total);
    std::fprintf(m_out, "\nWritten:\n");
    for (const std::string& p : m_outputs) std::fprintf(m_out, "  %s\n", p.c_str());
}

int Flow::run() {
    m_settings = m_options.settings;
    m_input = m_options.input;
    m_output = m_options.output;
    if (m_output.empty())
        m_output = m_input.empty() ? std::string("sample_decimated.obj") : withoutExtension(m_input) + "_decimated.obj";
    if (!endsWithNoCase(m_output, ".obj")) {
        std::fprintf(m_err, "plastra-sim: the output must be an .obj file: %s\n", m_output.c_str());
        return kDecimateUsage;
    }
    if (m_output.find(':') != std::string::npos) {
        std::fprintf(m_err, "plastra-sim: the output path may not hold a ':': %s\n", m_output.c_str());
        return kDecimateUsage;
    }
    if (!m_input.empty() && !exists(m_input)) {
        std::fprintf(m_err, "plastra-sim: no such input file: %s\n", m_input.c_str());
        return kDecimateFailed;
    }
    std::string missing;
    if (!m_script.ready(missing)) {
        std::fprintf(m_err, "plastra-sim: the plug-in %s has no command %s\n", m_plugin.path().c_str(), missing.c_str());
        return kDecimateFailed;
    }
    m_appPath = folderOf(m_plugin.path()) + "/TrimoraApp";
    if (access(m_appPath.c_str(), X_OK) != 0) {
        std::fprintf(m_err, "plastra-sim: the decimation application is missing: %s (build the TrimoraApp target)\n",
                     m_appPath.c_str());
        return kDecimateFailed;
    }

    SignalGuard signals;
    m_start = m_stageStart = std::chrono::steady_clock::now();
    ObjScene scene;
    if (!prepareInput(scene)) return kDecimateFailed;
    stage(m_input.empty() ? "make the sample" : "read the OBJ file");

    if (!makeTemporaryFolder()) return kDecimateFailed;
    m_script.call("InitTrimora", HostJob::hostPath(m_temp));
    // The preferences come back as five floats: uniform, threads + 0.2, colour ratio, clean, background.
    float prefs[5];
    std::memcpy(prefs, m_script.out1(), sizeof prefs);
    if (!m_options.threadsGiven) m_settings.threads = std::max(1, static_cast<int>(prefs[1]));
    if (!m_options.colorCoefGiven) m_settings.colorCoef = prefs[2];
    m_script.call("SetTrimoraAppPath", m_appPath);

    if (!writeMeshFiles(scene)) return fail("the mesh files could not be written");
    stage("write mesh files");
    char percentText[32];
    std::snprintf(percentText, sizeof percentText, "%g%%", static_cast<double>(m_settings.percent));
    const std::string target = m_settings.vertices >= 0
                                   ? grouped(static_cast<unsigned long long>(m_settings.vertices)) + " vertices"
                                   : std::string(percentText);
    std::fprintf(m_out, "Decimating %s: %zu mesh%s, %s vertices, %s faces, to %s\n",
                 m_input.empty() ? "the built-in sample" : m_input.c_str(), m_meshes.size(),
                 m_meshes.size() == 1 ? "" : "es", grouped(scene.vertexCount()).c_str(),
                 grouped(scene.faceCount()).c_str(), target.c_str());
    std::fflush(m_out);
    declareSources(scene);
    scene = ObjScene();  // the mesh files hold it now
    stage("declare (textures)");

    std::string failure;
    JobEnd end = JobEnd::kDone;
    if (!decimate(failure, end)) {
        if (end == JobEnd::kCancelled) {
            m_display.finish();
            cleanUp();
            std::fprintf(m_err, "plastra-sim: cancelled; TrimoraApp has stopped and its files are removed\n");
            return kDecimateCancelled;
        }
        return fail("the decimation failed: " + failure);
    }
    if (!exportResult(failure)) return fail(failure);
    stage("export OBJ");
    cleanUp();
    stage("clean up");
    printSummary();
    return kDecimateDone;
}

}  // namespace

const char* decimateUsage() {
    return "usage: plastra-sim decimate [INPUT.obj] [-o OUTPUT.obj] [--percent P | --vertices N]\n"
           "                            [--keep-uvs] [--freeze-border] [--colors [COEF]] [--mask]\n"
           "                            [--symmetry x|y|z|auto] [--threads N] [--progressive] [--temp DIR]\n"
           "  Without INPUT, decimates a built-in sample (a bumpy torus of 1,000,000 faces).\n"
           "  The default target is 20% of the vertices.\n";
}

bool parseDecimateArguments(int argc, char** argv, DecimateOptions& o, std::string& error) {
    o = DecimateOptions();
    o.settings.percent = 20.0f;
    auto value = [&](int& i, const char* what) -> const char* {
        if (i + 1 >= argc) {
            error = std::string(what) + " needs a value";
            return nullptr;
        }
        return argv[++i];
    };
    for (int i = 0; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "-o" || a == "--output") {
            const char* v = value(i, a.c_str());
            if (v == nullptr) return false;
            o.output = v;
        } else if (a == "--percent") {
            const char* v = value(i, "--percent");
            double p = 0.0;
            if (v == nullptr) return false;
            if (!readNumber(v, p) || p <= 0.0 || p > 100.0) {
                error = "--percent needs a number above 0 and at most 100, not '" + std::string(v) + "'";
                return false;
            }
            o.settings.percent = static_cast<float>(p);
            o.percentGiven = true;
        } else if (a == "--vertices") {
            const char* v = value(i, "--vertices");
            long long n = 0;
            if (v == nullptr) return false;
            if (!readCount(v, n) || n < 1) {
                error = "--vertices needs a whole number above 0, not '" + std::string(v) + "'";
                return false;
            }
            o.settings.vertices = n;
            o.verticesGiven = true;
        } else if (a == "--keep-uvs") {
            o.settings.keepUVs = true;
        } else if (a == "--freeze-border") {
            o.settings.freezeBorder = true;
        } else if (a == "--colors") {
            o.settings.useColors = true;
            double c = 0.0;
            if (i + 1 < argc && readNumber(argv[i + 1], c)) {
                if (c < 0.0 || c > 100.0) {
                    error = "--colors takes a weight from 0 to 100, not '" + std::string(argv[i + 1]) + "'";
                    return false;
                }
                o.settings.colorCoef = static_cast<float>(c);
                o.colorCoefGiven = true;
                ++i;
            }
        } else if (a == "--mask") {
            o.settings.useMask = true;
        } else if (a == "--symmetry") {
            const char* v = value(i, "--symmetry");
            if (v == nullptr) return false;
            const std::string s = v;
            if (s == "x") o.settings.symmetry = 1;
            else if (s == "y") o.settings.symmetry = 2;
            else if (s == "z") o.settings.symmetry = 3;
            else if (s == "auto") o.settings.symmetry = 4;
            else {
                error = "--symmetry takes x, y, z or auto, not '" + s + "'";
                return false;
            }
        } else if (a == "--threads") {
            const char* v = value(i, "--threads");
            long long n = 0;
            if (v == nullptr) return false;
            if (!readCount(v, n) || n < 1 || n > 64) {
                error = "--threads needs a whole number from 1 to 64, not '" + std::string(v) + "'";
                return false;
            }
            o.settings.threads = static_cast<int>(n);
            o.threadsGiven = true;
        } else if (a == "--progressive") {
            o.progressive = true;
        } else if (a == "--temp") {
            const char* v = value(i, "--temp");
            if (v == nullptr) return false;
            o.tempParent = v;
        } else if (!a.empty() && a[0] == '-' && a != "-") {
            error = "unknown option '" + a + "'";
            return false;
        } else if (o.input.empty()) {
            o.input = a;
        } else {
            error = "one input file only ('" + o.input + "' and '" + a + "')";
            return false;
        }
    }
    if (o.percentGiven && o.verticesGiven) {
        error = "--percent and --vertices exclude each other";
        return false;
    }
    if (o.verticesGiven) o.settings.percent = -1.0f;
    return true;
}

int runDecimate(const PluginModule& plugin, const DecimateOptions& options, FILE* out, FILE* err) {
    Flow flow(plugin, options, out, err);
    return flow.run();
}
