// YDecimatorApp: runs one job file, from the command line to the removal of its running file.
#include "YDecimatorApp.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <limits>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "DecimationEngine.h"
#include "KVString.h"
#include "Trimora/YDecimatorConfigFileParser.h"
#include "YDecimatorCacheFile.h"
#include "YDecimatorMeshConverter.h"
#include "YDecimatorProgress.h"
#include "YDecimatorProgressiveEngine.h"
#include "io/KVKelWriter.h"
#include "native/KVDiskServer.h"

namespace {

// The smallest result a decimation may be asked for: one triangle.
constexpr std::int64_t kMinTarget = 3;
// Once the running file is gone, the worker has this long to stop by itself.
constexpr auto kCancelGrace = std::chrono::milliseconds(700);

struct JobFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};
struct JobCancelled {};

// Outputs being written under temporary names. The main thread may have to remove them itself
// when a cancelled worker does not stop in time, hence a process-wide list under a lock.
class TempFiles {
public:
    static TempFiles& instance() {
        static TempFiles files;
        return files;
    }
    void add(const std::string& path) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_paths.insert(path);
    }
    void forget(const std::string& path) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_paths.erase(path);
    }
    void removeAll() {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (const std::string& p : m_paths) std::remove(p.c_str());
        m_paths.clear();
    }

private:
    std::mutex m_mutex;
    std::set<std::string> m_paths;
};

// The host's colon-prefixed form ("file:", "!:", "Volume:...") or an absolute path becomes a plain
// absolute one; a relative path, typed by hand, is taken from `base` (the host-form conversion
// would keep only its part from the first '/').
std::string resolvePath(const std::string& raw, const std::string& base) {
    if (raw.empty()) return raw;
    if (raw.find(':') != std::string::npos || raw[0] == '/') {
        const KVString s(raw.c_str());
        const char* p = s.getValidFilePath();
        return p ? p : "";
    }
    return base + "/" + raw;
}

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    return slash == std::string::npos || slash == 0 ? "/" : path.substr(0, slash);
}

std::string baseName(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool endsWithNoCase(const std::string& s, const char* suffix) {
    const std::size_t n = std::char_traits<char>::length(suffix);
    return s.size() >= n && KVString::cmpNoCase(s.c_str() + s.size() - n, suffix) == 0;
}

// One mesh to handle, with the kind of its batch.
struct Task {
    int kind = YDecimatorBatch::kUnknown;
    YDecimatorInput input;
};

class Runner {
public:
    Runner(const std::string& jobPath)
        : m_jobPath(jobPath), m_logPath(jobPath + ".log"), m_runningPath(jobPath + ".running") {}

    int run();

private:
    void readJob();
    void runTasks();
    void runTask(const Task& task, int index);
    void decimateMeshTask(const Task& task, const std::string& label);
    void buildProgressiveTask(const Task& task, const std::string& label);
    void decimateProgressiveTask(const Task& task, const std::string& label);

    void readMesh(const std::string& path, const YDecimatorInput& input, const std::string& label,
                  DecimationMesh& mesh, YDecimatorMeshBlocks& blocks);
    void writeMesh(const std::string& path, const DecimationMesh& mesh, const YDecimatorAxisFlags& axes,
                   const YDecimatorMeshBlocks& blocks, const std::string& label);
    // Writes through `writer` under a temporary name beside `path`, then renames into place.
    template <typename Writer>
    void writeAtomically(const std::string& path, Writer writer);
    void checkResult(const DecimationResult& result, const char* what);
    DecimationCallbacks engineCallbacks(const std::string& stepTitle);
    void checkCancel();
    // A mesh or cache path of the job; relative ones are taken from the job file's folder.
    std::string pathInJob(const KVString& raw) const { return resolvePath(raw.c_str(), folderOf(m_jobPath)); }

    void report(const std::string& message);
    void finishJob();

    std::string m_jobPath;
    std::string m_logPath;
    std::string m_runningPath;
    bool m_logStarted = false;
    YDecimatorProgress m_progress;
    YDecimatorConfigFileParser m_job;
    std::atomic<bool> m_jobRead{false};
    std::vector<Task> m_tasks;
    std::vector<std::string> m_inputsToDelete;
};

void Runner::report(const std::string& message) {
    std::fprintf(stderr, "TrimoraApp: %s\n", message.c_str());
    std::fflush(stderr);
    FILE* log = std::fopen(m_logPath.c_str(), m_logStarted ? "a" : "w");
    if (log == nullptr) return;
    if (!m_logStarted) std::fprintf(log, "TrimoraApp job %s\n", m_jobPath.c_str());
    m_logStarted = true;
    std::fprintf(log, "%s\n", message.c_str());
    std::fclose(log);
}

void Runner::checkCancel() {
    if (!m_progress.pollCancel(std::chrono::milliseconds(0))) throw JobCancelled();
}

void Runner::readJob() {
    if (!KVDiskServer::fileExists(KVString(m_jobPath.c_str()))) throw JobFailure("job file not found: " + m_jobPath);
    if (!m_job.parseFile(KVString(m_jobPath.c_str())))
        throw JobFailure("job file empty or unreadable: " + m_jobPath);
    m_jobRead = true;

    if (m_job.getFirstBatch() == nullptr) {
        // One job from the job-level keys; its kind follows from the file names.
        Task task;
        task.input = m_job.m_input;
        const std::string in = pathInJob(task.input.m_inputFile);
        const std::string out = pathInJob(task.input.m_outputFile);
        if (endsWithNoCase(in, ".ypm"))
            task.kind = YDecimatorBatch::kDecimateProgressiveMesh;
        else if (endsWithNoCase(out, ".ypm"))
            task.kind = YDecimatorBatch::kBuildProgressiveMesh;
        else
            task.kind = YDecimatorBatch::kDecimateMesh;
        m_tasks.push_back(task);
    } else {
        for (const YDecimatorBatch* b = m_job.getFirstBatch(); b != nullptr; b = b->m_next) {
            Task task;
            task.kind = b->m_kind;
            task.input = b->m_input;
            m_tasks.push_back(task);
        }
    }
    // Every task is checked before any work starts, so a bad batch late in the file leaves no
    // outputs from the ones before it.
    for (std::size_t i = 0; i < m_tasks.size(); ++i) {
        const Task& t = m_tasks[i];
        const std::string where = m_tasks.size() > 1 ? " (batch " + std::to_string(i + 1) + ")" : "";
        if (t.kind < YDecimatorBatch::kBuildProgressiveMesh || t.kind > YDecimatorBatch::kDecimateProgressiveMesh)
            throw JobFailure("malformed job file: unknown batch kind" + where);
        if (pathInJob(t.input.m_inputFile).empty()) throw JobFailure("malformed job file: no InputFile" + where);
        if (pathInJob(t.input.m_outputFile).empty()) throw JobFailure("malformed job file: no OutputFile" + where);
        if (pathInJob(t.input.m_inputFile) == pathInJob(t.input.m_outputFile))
            throw JobFailure("malformed job file: OutputFile is the InputFile" + where);
    }
}

int Runner::run() {
    m_progress.attach(KVString(m_runningPath.c_str()));
    int status = YDecimatorApp::kExitDone;

    std::atomic<bool> done{false};
    std::string failure;
    bool cancelled = false;
    // Termination requests wait for this thread, which takes them between two looks at the
    // running file; the worker and the engine's threads inherit the mask and never see them.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    // The job runs in a worker so that this thread can watch the running file at all times.
    std::thread worker([&] {
        try {
            readJob();
            m_progress.start("TrimoraApp");
            runTasks();
        } catch (const JobCancelled&) {
            cancelled = true;
        } catch (const JobFailure& e) {
            failure = e.what();
        } catch (const std::bad_alloc&) {
            failure = "out of memory";
        } catch (const std::exception& e) {
            failure = std::string("unexpected error: ") + e.what();
        } catch (...) {
            failure = "unexpected error";
        }
        done.store(true);
    });

    while (!done.load()) {
        const timespec tick{0, 20 * 1000 * 1000};
        const int signal = sigtimedwait(&stopSignals, nullptr, &tick);
        if (signal > 0) {
            // Stopped from outside: the same clean-up as a cancel, but a failure for the record.
            if (!(m_jobRead && m_job.m_keepTempFiles)) TempFiles::instance().removeAll();
            report("error: stopped by signal " + std::to_string(signal));
            m_progress.finish();
            std::fflush(nullptr);
            std::_Exit(YDecimatorApp::kExitFailed);
        }
        if (!m_progress.pollCancel()) break;
    }
    if (!done.load()) {
        const auto limit = std::chrono::steady_clock::now() + kCancelGrace;
        while (!done.load() && std::chrono::steady_clock::now() < limit)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        if (!done.load()) {
            // The worker is stuck in a long call: leave without it, and without its half-written outputs.
            if (!(m_jobRead && m_job.m_keepTempFiles)) TempFiles::instance().removeAll();
            report("cancelled: the running file was removed");
            m_progress.finish();
            std::fflush(nullptr);
            std::_Exit(YDecimatorApp::kExitCancelled);
        }
    }
    worker.join();

    if (cancelled || (m_progress.cancelRequested() && failure.empty())) {
        report("cancelled: the running file was removed");
        status = YDecimatorApp::kExitCancelled;
    } else if (!failure.empty()) {
        report("error: " + failure);
        status = YDecimatorApp::kExitFailed;
    } else {
        for (const std::string& in : m_inputsToDelete) std::remove(in.c_str());
    }
    finishJob();
    return status;
}

void Runner::finishJob() {
    if (m_jobRead && m_job.m_deleteConfigFile) std::remove(m_jobPath.c_str());
    // Last of all: the host takes the job as over once this file is gone.
    m_progress.finish();
}

void Runner::runTasks() {
    for (std::size_t i = 0; i < m_tasks.size(); ++i) {
        checkCancel();
        runTask(m_tasks[i], static_cast<int>(i));
    }
}

void Runner::runTask(const Task& task, int index) {
    std::string label = baseName(pathInJob(task.input.m_inputFile));
    if (m_tasks.size() > 1) label += " [" + std::to_string(index + 1) + "/" + std::to_string(m_tasks.size()) + "]";
    switch (task.kind) {
        case YDecimatorBatch::kBuildProgressiveMesh:
            buildProgressiveTask(task, label);
            break;
        case YDecimatorBatch::kDecimateMesh:
            decimateMeshTask(task, label);
            break;
        default:
            decimateProgressiveTask(task, label);
            break;
    }
    if (task.input.m_deleteInputFile) m_inputsToDelete.push_back(pathInJob(task.input.m_inputFile));
}

DecimationOptions optionsFor(const YDecimatorInput& in, const YDecimatorMeshBlocks& blocks) {
    DecimationOptions o;
    o.freezeBorder = in.m_freezeBorder;
    // The result carries every block the source had, so UVs and colours always travel with the
    // mesh; "UseVtxColors" decides whether colour detail also weighs in the choice of collapses.
    o.keepUVs = blocks.uvs;
    o.useColors = blocks.colors;
    o.colorCoef = in.m_useVtxColors ? std::min(100.0f, std::max(0.0f, in.m_useVtxColorsCoef)) : 0.0f;
    o.useMask = in.m_useMask && blocks.mask;
    o.symmetry = static_cast<SymmetryMode>(in.m_symmetryMode >= 0 && in.m_symmetryMode <= 4 ? in.m_symmetryMode : 0);
    o.avoidNormalReverse = in.m_avoidNormalReverse;
    o.protectTopology = in.m_protectTopology;
    o.numThreads = std::max(1, std::min(64, in.m_numThread));
    return o;
}

YDecimatorAxisFlags axesOf(const YDecimatorInput& in) {
    YDecimatorAxisFlags a;
    a.flipX = in.m_iFlipX;
    a.flipY = in.m_iFlipY;
    a.flipZ = in.m_iFlipZ;
    a.switchYZ = in.m_iSwitchYZ;
    return a;
}

// The job's target for a mesh of `vertices`, refused when it cannot be reached.
std::int64_t targetFor(const YDecimatorInput& in, std::int64_t vertices, std::int64_t floor) {
    if (in.m_decimationTargetPourcent != -1.0f &&
        !(std::isfinite(in.m_decimationTargetPourcent) && in.m_decimationTargetPourcent > 0.0f &&
          in.m_decimationTargetPourcent <= 100.0f))
        throw JobFailure("impossible target: DecimationTargetPourcent must lie in (0, 100]");
    const std::int64_t target =
        in.getDecimationTargetNumVertices(static_cast<int>(std::min<std::int64_t>(vertices, INT32_MAX)));
    if (target < std::max(kMinTarget, floor) || target > vertices)
        throw JobFailure("impossible target: " + std::to_string(target) + " vertices for a mesh of " +
                         std::to_string(vertices) + " (at least " + std::to_string(std::max(kMinTarget, floor)) +
                         ")");
    return target;
}

void Runner::checkResult(const DecimationResult& result, const char* what) {
    if (result.cancelled || m_progress.cancelRequested()) throw JobCancelled();
    if (!result.ok) throw JobFailure(std::string(what) + " failed: " + (result.error.empty() ? "engine error" : result.error));
}

DecimationCallbacks Runner::engineCallbacks(const std::string& stepTitle) {
    DecimationCallbacks callbacks;
    auto lastTotal = std::make_shared<std::int64_t>(-1);
    callbacks.progress = [this, stepTitle, lastTotal](std::int64_t done, std::int64_t total) {
        if (total != *lastTotal) {
            m_progress.startStep(stepTitle.c_str(), total);
            *lastTotal = total;
        }
        m_progress.setCount(done);
        return m_progress.pollCancel(std::chrono::milliseconds(50));
    };
    return callbacks;
}

void Runner::readMesh(const std::string& path, const YDecimatorInput& input, const std::string& label,
                      DecimationMesh& mesh, YDecimatorMeshBlocks& blocks) {
    m_progress.startStep(("Reading " + label).c_str(), 1);
    std::string error;
    if (!YDecimatorMeshConverter::readMeshFile(KVString(path.c_str()), axesOf(input), mesh, blocks, error))
        throw JobFailure(error);
    m_progress.setCount(1);
    m_progress.endStep();
    checkCancel();
}

template <typename Writer>
void Runner::writeAtomically(const std::string& path, Writer writer) {
    const std::string temp = path + "." + std::to_string(getpid()) + ".tmp";
    TempFiles::instance().add(temp);
    std::string error;
    bool ok = writer(temp, error);
    if (ok && m_progress.cancelRequested()) {
        error.clear();
        ok = false;
    }
    if (ok && std::rename(temp.c_str(), path.c_str()) != 0) {
        error = "cannot move the result into place: " + path;
        ok = false;
    }
    if (!ok && !m_job.m_keepTempFiles) std::remove(temp.c_str());
    TempFiles::instance().forget(temp);
    if (!ok) {
        if (error.empty()) throw JobCancelled();
        throw JobFailure(error);
    }
}

void Runner::writeMesh(const std::string& path, const DecimationMesh& mesh, const YDecimatorAxisFlags& axes,
                       const YDecimatorMeshBlocks& blocks, const std::string& label) {
    m_progress.startStep(("Writing " + label).c_str(), 2);
    KVKelMesh kel;
    std::string error;
    if (!YDecimatorMeshConverter::toKelMesh(mesh, axes, blocks, kel, error)) throw JobFailure(error);
    m_progress.setCount(1);
    checkCancel();
    writeAtomically(path, [&](const std::string& temp, std::string& err) {
        if (KVKelWriter::writeFile(KVString(temp.c_str()), kel)) return true;
        err = "cannot write the mesh file: " + path;
        return false;
    });
    m_progress.setCount(2);
    m_progress.endStep();
}

void Runner::decimateMeshTask(const Task& task, const std::string& label) {
    DecimationMesh mesh;
    YDecimatorMeshBlocks blocks;
    readMesh(pathInJob(task.input.m_inputFile), task.input, label, mesh, blocks);
    DecimationOptions options = optionsFor(task.input, blocks);
    options.targetVertices = targetFor(task.input, static_cast<std::int64_t>(mesh.vertexCount()), 0);

    const std::string title = "Decimating " + label;
    m_progress.startStep(title.c_str(), static_cast<std::int64_t>(mesh.vertexCount()) - options.targetVertices);
    DecimationMesh result;
    checkResult(decimateMesh(mesh, options, result, engineCallbacks(title)), "decimation");
    m_progress.endStep();
    checkCancel();
    writeMesh(pathInJob(task.input.m_outputFile), result, axesOf(task.input), blocks, label);
}

void Runner::buildProgressiveTask(const Task& task, const std::string& label) {
    DecimationMesh mesh;
    YDecimatorMeshBlocks blocks;
    const std::string inPath = pathInJob(task.input.m_inputFile);
    readMesh(inPath, task.input, label, mesh, blocks);
    const DecimationOptions options = optionsFor(task.input, blocks);
    const std::int64_t minVertices = std::max<std::int64_t>(kMinTarget, task.input.m_progressiveMeshMinNum);

    const std::string title = "Building progressive mesh " + label;
    m_progress.startStep(title.c_str(), static_cast<std::int64_t>(mesh.vertexCount()));
    std::vector<std::uint8_t> bytes;
    checkResult(YDecimatorProgressiveEngine::build(mesh, options, minVertices, bytes, engineCallbacks(title)),
                "progressive-mesh build");
    m_progress.endStep();
    checkCancel();

    YDecimatorCacheInfo info;
    info.sourceVertices = static_cast<std::int32_t>(mesh.vertexCount());
    info.sourceTriangles = static_cast<std::int32_t>(mesh.triangleCount());
    info.box.setEmpty();
    const YDecimatorAxisFlags axes = axesOf(task.input);
    for (const KVVector3f& p : mesh.points) info.box.add(axes.toFileFrame(p));
    info.blocks = blocks;
    info.axes = axes;
    info.freezeBorder = options.freezeBorder;
    info.keepUVs = task.input.m_keepUVs;
    info.useColors = task.input.m_useVtxColors;
    info.useMask = options.useMask;
    info.avoidNormalReverse = options.avoidNormalReverse;
    info.protectTopology = options.protectTopology;
    info.allowFinishStep = task.input.m_allowFinishStep;
    info.useAreaWeighting = task.input.m_useAreaWeighting;
    info.symmetryMode = static_cast<std::int32_t>(options.symmetry);
    info.minVertices = static_cast<std::int32_t>(minVertices);
    info.colorCoef = options.colorCoef;
    info.numThreads = options.numThreads;
    info.memSpeedTradeOff = task.input.m_memSpeedTradeOff;

    m_progress.startStep(("Writing " + label).c_str(), 1);
    const std::string outPath = pathInJob(task.input.m_outputFile);
    writeAtomically(outPath, [&](const std::string& temp, std::string& err) {
        return YDecimatorCacheFile::write(KVString(temp.c_str()), info, bytes, err);
    });
    m_progress.setCount(1);
    m_progress.endStep();
}

void Runner::decimateProgressiveTask(const Task& task, const std::string& label) {
    m_progress.startStep(("Reading " + label).c_str(), 1);
    YDecimatorCacheInfo info;
    std::shared_ptr<const std::uint8_t> bytes;
    std::size_t byteCount = 0;
    std::string error;
    if (!YDecimatorCacheFile::read(KVString(pathInJob(task.input.m_inputFile).c_str()), info, bytes, byteCount, error))
        throw JobFailure(error);
    m_progress.setCount(1);
    m_progress.endStep();
    checkCancel();

    // The cache decimates under the options it was built with; the batch gives the target.
    DecimationOptions options;
    options.freezeBorder = info.freezeBorder;
    options.keepUVs = info.blocks.uvs;
    options.useColors = info.blocks.colors;
    options.colorCoef = info.colorCoef;
    options.useMask = info.useMask;
    options.symmetry = static_cast<SymmetryMode>(info.symmetryMode);
    options.avoidNormalReverse = info.avoidNormalReverse;
    options.protectTopology = info.protectTopology;
    options.numThreads = std::max(1, std::min(64, task.input.m_numThread));
    options.targetVertices = targetFor(task.input, info.sourceVertices, info.minVertices);

    const std::string title = "Decimating " + label;
    m_progress.startStep(title.c_str(), info.sourceVertices - options.targetVertices);
    DecimationMesh result;
    checkResult(YDecimatorProgressiveEngine::decimate(std::move(bytes), byteCount, options, result, engineCallbacks(title)),
                "progressive-mesh decimation");
    m_progress.endStep();
    checkCancel();
    writeMesh(pathInJob(task.input.m_outputFile), result, info.axes, info.blocks, label);
}

}  // namespace

int YDecimatorApp::run(int argc, char** argv) {
    if (argc != 2 || argv[1] == nullptr) {
        std::fputs("usage: TrimoraApp JOBFILE\n", stderr);
        return kExitUsage;
    }
    const std::string jobPath = resolvePath(argv[1], KVDiskServer::getCurrentPath().c_str());
    if (jobPath.empty()) {
        std::fputs("usage: TrimoraApp JOBFILE\n", stderr);
        return kExitUsage;
    }
    try {
        Runner runner(jobPath);
        return runner.run();
    } catch (...) {
        // Only the set-up around the worker can land here; the running file must still go.
        std::fputs("TrimoraApp: unexpected failure\n", stderr);
        std::remove((jobPath + ".running").c_str());
        return kExitFailed;
    }
}
