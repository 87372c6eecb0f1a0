// Decimation benchmark: our engine, its progressive replay from a cache file and meshopt_simplify on the same meshes,
// each run in a child process: time, peak memory, and symmetric Hausdorff error over the diagonal.
//   bench_decimate [--quick] [--only plain|attributes|scan] [--runs N] [--handoff X] [scan.off]
// --quick: times meshopt_simplify and the 2-thread path the job takes, without the error (a tuning
// loop), --quick-error the same with the error; --handoff: meshopt-first jobs hand over to our engine at X times the target;
// --only: one mesh; --runs: each figure is the fastest of at least N runs (a shared machine's noise; short
// work runs more often, for half a second at least; the rows of a target take their runs in turns).
#include <malloc.h>
#include <meshoptimizer.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <random>
#include <string>

#include "DecimationEngine.h"
#include "YDecimatorCacheFile.h"
#include "YDecimatorProgressiveEngine.h"

namespace {

DecimationMesh generate(int rings, int segments, bool attributes) {
    const double pi = 3.14159265358979323846;
    DecimationMesh m;
    auto at = [&](int i, int j) { return 1 + (i - 1) * segments + (j % segments); };
    m.points.push_back({0, 0, 1});
    for (int i = 1; i < rings; ++i)
        for (int j = 0; j < segments; ++j) {
            double th = pi * i / rings, ph = 2 * pi * j / segments;
            double r = 1 + 0.05 * std::sin(7 * th) * std::cos(6 * ph) + 0.02 * std::sin(23 * th + 3 * ph);
            m.points.push_back({float(r * std::sin(th) * std::cos(ph)), float(r * std::sin(th) * std::sin(ph)),
                                float(r * std::cos(th))});
        }
    m.points.push_back({0, 0, -1});
    int south = int(m.points.size()) - 1;
    auto uv = [&](int i, int j) { return KVVector2f{float(double(j) / segments), float(double(i) / rings)}; };
    auto tri = [&](int a, int b, int c, KVVector2f x, KVVector2f y, KVVector2f z) {
        m.triangles.insert(m.triangles.end(), {a, b, c});
        if (attributes) m.cornerUVs.insert(m.cornerUVs.end(), {x, y, z});
    };
    for (int j = 0; j < segments; ++j) {
        tri(0, at(1, j), at(1, j + 1), uv(0, j), uv(1, j), uv(1, j + 1));
        tri(south, at(rings - 1, j + 1), at(rings - 1, j), uv(rings, j), uv(rings - 1, j + 1), uv(rings - 1, j));
    }
    for (int i = 1; i + 1 < rings; ++i)
        for (int j = 0; j < segments; ++j) {
            int a = at(i, j), b = at(i + 1, j), c = at(i + 1, j + 1), d = at(i, j + 1);
            tri(a, b, c, uv(i, j), uv(i + 1, j), uv(i + 1, j + 1));
            tri(a, c, d, uv(i, j), uv(i + 1, j + 1), uv(i, j + 1));
        }
    if (attributes)
        for (const KVVector3f& p : m.points) {
            auto ch = [](double v) { return std::uint32_t(std::min(255.0, std::max(0.0, v * 255))); };
            m.colors.push_back(0xFF000000u | ch(0.5 + 0.5 * p.x) << 16 | ch(p.z > 0.3 ? 0.9 : 0.2) << 8 | ch(0.5 + 0.5 * p.y));
        }
    return m;
}

bool readOff(const char* path, DecimationMesh& m) {
    std::ifstream in(path);
    std::string magic;
    long nv, nf, ne;
    if (!(in >> magic) || magic.find("OFF") == std::string::npos || !(in >> nv >> nf >> ne)) return false;
    m.points.resize(nv);
    for (auto& p : m.points) in >> p.x >> p.y >> p.z;
    for (long f = 0; f < nf; ++f) {
        int n;
        in >> n;
        std::vector<int> idx(n);
        for (int& i : idx) in >> i;
        std::string rest;
        std::getline(in, rest);
        for (int k = 1; k + 1 < n; ++k) m.triangles.insert(m.triangles.end(), {idx[0], idx[k], idx[k + 1]});
    }
    return bool(in) || in.eof();
}

// Closest point on triangle abc to p (squared distance).
double pointTriangle(const float* p, const float* a, const float* b, const float* c) {
    double ab[3], ac[3], ap[3], r[3];
    for (int i = 0; i < 3; ++i) ab[i] = b[i] - a[i], ac[i] = c[i] - a[i], ap[i] = p[i] - a[i];
    auto d = [](const double* x, const double* y) { return x[0] * y[0] + x[1] * y[1] + x[2] * y[2]; };
    double d1 = d(ab, ap), d2 = d(ac, ap);
    auto at = [&](double v, double w) {
        for (int i = 0; i < 3; ++i) r[i] = a[i] + ab[i] * v + ac[i] * w - p[i];
        return d(r, r);
    };
    if (d1 <= 0 && d2 <= 0) return at(0, 0);
    double bp[3];
    for (int i = 0; i < 3; ++i) bp[i] = p[i] - b[i];
    double d3 = d(ab, bp), d4 = d(ac, bp);
    if (d3 >= 0 && d4 <= d3) return at(1, 0);
    double vc = d1 * d4 - d3 * d2;
    if (vc <= 0 && d1 >= 0 && d3 <= 0) return at(d1 / (d1 - d3), 0);
    double cp[3];
    for (int i = 0; i < 3; ++i) cp[i] = p[i] - c[i];
    double d5 = d(ab, cp), d6 = d(ac, cp);
    if (d6 >= 0 && d5 <= d6) return at(0, 1);
    double vb = d5 * d2 - d1 * d6;
    if (vb <= 0 && d2 >= 0 && d6 <= 0) return at(0, d2 / (d2 - d6));
    double va = d3 * d6 - d5 * d4;
    if (va <= 0 && (d4 - d3) >= 0 && (d5 - d6) >= 0) {
        double w = (d4 - d3) / ((d4 - d3) + (d5 - d6));
        return at(1 - w, w);
    }
    double den = 1 / (va + vb + vc);
    return at(vb * den, vc * den);
}

// Triangles binned in a uniform grid (sorted cell keys) for nearest-surface queries.
struct Grid {
    const DecimationMesh& m;
    float lo[3];
    double cell;
    std::vector<std::pair<std::uint64_t, int>> bins;
    static std::uint64_t key(long x, long y, long z) {
        return (std::uint64_t(x & 0x1FFFFF) << 42) | (std::uint64_t(y & 0x1FFFFF) << 21) | std::uint64_t(z & 0x1FFFFF);
    }
    Grid(const DecimationMesh& mesh, const float l[3], double c) : m(mesh), cell(c) {
        std::copy(l, l + 3, lo);
        for (std::size_t t = 0; t < m.triangleCount(); ++t) {
            long a[3], b[3];
            for (int i = 0; i < 3; ++i) a[i] = 1L << 40, b[i] = -(1L << 40);
            for (int k = 0; k < 3; ++k) {
                const float* p = &m.points[m.triangles[3 * t + k]].x;
                for (int i = 0; i < 3; ++i) {
                    long q = long(std::floor((p[i] - lo[i]) / cell));
                    a[i] = std::min(a[i], q), b[i] = std::max(b[i], q);
                }
            }
            for (long x = a[0]; x <= b[0]; ++x)
                for (long y = a[1]; y <= b[1]; ++y)
                    for (long z = a[2]; z <= b[2]; ++z) bins.push_back({key(x, y, z), int(t)});
        }
        std::sort(bins.begin(), bins.end());
    }
    double nearest(const float* p) const {
        long c[3];
        for (int i = 0; i < 3; ++i) c[i] = long(std::floor((p[i] - lo[i]) / cell));
        double best = 1e300;
        for (long r = 0; r < 4096; ++r) {
            for (long x = -r; x <= r; ++x)
                for (long y = -r; y <= r; ++y)
                    for (long z = -r; z <= r; ++z) {
                        if (std::max({std::labs(x), std::labs(y), std::labs(z)}) != r) continue;
                        std::uint64_t k = key(c[0] + x, c[1] + y, c[2] + z);
                        auto it = std::lower_bound(bins.begin(), bins.end(), std::make_pair(k, -1));
                        for (; it != bins.end() && it->first == k; ++it) {
                            const std::int32_t* v = &m.triangles[3 * it->second];
                            best = std::min(best, pointTriangle(p, &m.points[v[0]].x, &m.points[v[1]].x, &m.points[v[2]].x));
                        }
                    }
            if (best < 1e300 && std::sqrt(best) <= r * cell) break;
        }
        return std::sqrt(best);
    }
};

std::vector<KVVector3f> samples(const DecimationMesh& m, std::size_t n) {
    std::vector<double> cum(m.triangleCount());
    double total = 0;
    for (std::size_t t = 0; t < m.triangleCount(); ++t) {
        const KVVector3f &a = m.points[m.triangles[3 * t]], &b = m.points[m.triangles[3 * t + 1]], &c = m.points[m.triangles[3 * t + 2]];
        double ux = b.x - a.x, uy = b.y - a.y, uz = b.z - a.z, vx = c.x - a.x, vy = c.y - a.y, vz = c.z - a.z;
        double cx = uy * vz - uz * vy, cy = uz * vx - ux * vz, cz = ux * vy - uy * vx;
        total += std::sqrt(cx * cx + cy * cy + cz * cz);
        cum[t] = total;
    }
    std::mt19937_64 rng(7);
    std::uniform_real_distribution<double> u(0, 1);
    std::vector<KVVector3f> out = m.points;
    for (std::size_t i = 0; i < n && total > 0; ++i) {
        std::size_t t = std::lower_bound(cum.begin(), cum.end(), u(rng) * total) - cum.begin();
        t = std::min(t, cum.size() - 1);
        double r1 = std::sqrt(u(rng)), r2 = u(rng);
        const KVVector3f &a = m.points[m.triangles[3 * t]], &b = m.points[m.triangles[3 * t + 1]], &c = m.points[m.triangles[3 * t + 2]];
        double wa = 1 - r1, wb = r1 * (1 - r2), wc = r1 * r2;
        out.push_back({float(wa * a.x + wb * b.x + wc * c.x), float(wa * a.y + wb * b.y + wc * c.y), float(wa * a.z + wb * b.z + wc * c.z)});
    }
    return out;
}

double hausdorff(const DecimationMesh& a, const DecimationMesh& b) {
    float lo[3] = {1e30f, 1e30f, 1e30f}, hi[3] = {-1e30f, -1e30f, -1e30f};
    for (const KVVector3f& p : a.points)
        for (int i = 0; i < 3; ++i) lo[i] = std::min(lo[i], (&p.x)[i]), hi[i] = std::max(hi[i], (&p.x)[i]);
    double diag = std::sqrt(double(hi[0] - lo[0]) * (hi[0] - lo[0]) + double(hi[1] - lo[1]) * (hi[1] - lo[1]) + double(hi[2] - lo[2]) * (hi[2] - lo[2]));
    for (int i = 0; i < 3; ++i) lo[i] -= float(diag);
    double worst = 0;
    for (int dir = 0; dir < 2; ++dir) {
        const DecimationMesh& from = dir ? b : a;
        const DecimationMesh& to = dir ? a : b;
        Grid g(to, lo, diag / std::max(16.0, std::min(400.0, std::sqrt(double(to.triangleCount())) / 2)));
        for (const KVVector3f& p : samples(from, 300000)) worst = std::max(worst, g.nearest(&p.x));
    }
    return worst / diag;
}

struct Settings {
    bool quick = false;
    int runs = 1;
    float handoff = 0;  // 0: the engine's default
    bool errors = false;  // --quick with the error
};
Settings settings;

// The cache file of the mesh being measured, named once by the parent process.
const std::string& cachePath() {
    static const std::string path = [] {
        const char* dir = std::getenv("TMPDIR");
        return std::string(dir && *dir ? dir : "/tmp") + "/bench_decimate." + std::to_string(getpid()) + ".ypm";
    }();
    return path;
}

struct Figures {
    double seconds = -1, cpu = 0, megabytes = 0, error = 0;  // cpu: all threads, user and system
    long vertices = 0;
};

long rssKb() {
    long pages = 0, resident = 0;
    FILE* f = std::fopen("/proc/self/statm", "r");
    if (f && std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
    if (f) std::fclose(f);
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

// The resident peak since the last resetPeak(), in kB.
long peakKb() {
    long kb = 0;
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.compare(0, 6, "VmHWM:") == 0) kb = std::atol(line.c_str() + 6);
    return kb;
}

// A forked child starts with its parent's peak; this starts it again from the current size.
void resetPeak() { std::ofstream("/proc/self/clear_refs") << "5"; }

// Runs `work` in a child: it returns the result mesh; time and peak memory cover `work` only.
// Memory the parent has freed goes back to the system first: a child reusing it would pay a
// page copy per page it writes, which the job in its own process never does.
Figures measure(const DecimationMesh& input, const std::function<bool(DecimationMesh&)>& work, bool withError) {
    int fd[2];
    if (pipe(fd) != 0) return {};
    malloc_trim(0);
    pid_t pid = fork();
    if (pid == 0) {
        close(fd[0]);
        Figures f;
        resetPeak();
        long before = rssKb();
        DecimationMesh out;
        auto t0 = std::chrono::steady_clock::now();
        bool ok = work(out);
        f.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        struct rusage ru;
        getrusage(RUSAGE_SELF, &ru);
        f.megabytes = double(peakKb() - before) / 1024.0;
        f.cpu = double(ru.ru_utime.tv_sec + ru.ru_stime.tv_sec) + 1e-6 * double(ru.ru_utime.tv_usec + ru.ru_stime.tv_usec);
        f.vertices = long(out.vertexCount());
        f.error = !withError ? 0 : ok && out.triangleCount() ? hausdorff(input, out) : -1;
        if (!ok) f.seconds = -1;
        ssize_t w = write(fd[1], &f, sizeof f);
        (void)w;
        _exit(0);
    }
    close(fd[1]);
    Figures f;
    if (read(fd[0], &f, sizeof f) != ssize_t(sizeof f)) f = Figures();
    close(fd[0]);
    waitpid(pid, nullptr, 0);
    return f;
}

using Work = std::function<bool(DecimationMesh&)>;

// Each work's fastest of settings.runs runs, and of more for short work: a figure of a few
// milliseconds takes runs for at least half a second, since one busy moment on a shared machine
// can double it. The works run in turns, so that figures compared with each other meet the same
// busy and quiet spells of the machine. The error is measured once: the work is deterministic.
std::vector<Figures> best(const DecimationMesh& input, const std::vector<Work>& works) {
    std::vector<Figures> f;
    std::vector<int> runs;
    for (const Work& work : works) {
        f.push_back(measure(input, work, !settings.quick || settings.errors));
        const double s = f.back().seconds;
        runs.push_back(s > 0 ? std::max(settings.runs, std::min(40, int(std::ceil(0.5 / s)))) : settings.runs);
    }
    const int rounds = *std::max_element(runs.begin(), runs.end());
    for (int i = 1; i < rounds; ++i)
        for (std::size_t k = 0; k < works.size(); ++k) {
            if (i >= runs[k]) continue;
            Figures g = measure(input, works[k], false);
            if (g.seconds >= 0 && (f[k].seconds < 0 || g.seconds < f[k].seconds))
                f[k].seconds = g.seconds, f[k].megabytes = g.megabytes;
            if (g.seconds >= 0) f[k].cpu = std::min(f[k].cpu, g.cpu);
        }
    return f;
}

void print(const char* what, const Figures& f, const Figures& base) {
    std::printf("  %-26s %8ld verts %8.3f s (cpu %6.3f s) %8.1f MB  error %.2e   time x%.2f  error x%.2f\n", what,
                f.vertices, f.seconds, f.cpu, f.megabytes, f.error, f.seconds / base.seconds, f.error / base.error);
}

void run(const char* name, const DecimationMesh& input, bool attributes) {
    std::printf("%s: %zu vertices, %zu triangles%s\n", name, input.vertexCount(), input.triangleCount(),
                attributes ? ", UVs and colours" : "");
    DecimationOptions o;
    o.numThreads = 2;
    o.keepUVs = o.useColors = attributes;
    o.meshoptHandoff = settings.handoff;
    // The history is built once, outside the timings; replays start from its bytes.
    std::vector<std::uint8_t> cache;
    if (!settings.quick) {
        ProgressiveMesh pm;
        auto t0 = std::chrono::steady_clock::now();
        DecimationOptions b = o;
        b.targetVertices = std::int64_t(input.vertexCount() / 200);
        std::string error;
        YDecimatorCacheInfo info;
        info.sourceVertices = std::int32_t(input.vertexCount());
        info.sourceTriangles = std::int32_t(input.triangleCount());
        if (!buildProgressiveMesh(input, b, pm).ok || !pm.serialize(cache) ||
            !YDecimatorCacheFile::write(KVString(cachePath().c_str()), info, cache, error))
            std::printf("  progressive build failed %s\n", error.c_str());
        std::printf("  progressive build %.3f s, %zu bytes\n",
                    std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count(), cache.size());
    }
    std::vector<unsigned int> indices(input.triangles.begin(), input.triangles.end());
    for (double ratio : {0.10, 0.01}) {
        std::int64_t target = std::int64_t(input.vertexCount() * ratio);
        std::printf(" to %.0f%% (%lld vertices)\n", ratio * 100, (long long)target);
        std::vector<const char*> names = {"meshopt_simplify"};
        std::vector<Work> works = {[&](DecimationMesh& out) {
            std::vector<unsigned int> dst(indices.size());
            std::size_t n = meshopt_simplify(dst.data(), indices.data(), indices.size(), &input.points[0].x,
                                             input.points.size(), sizeof(KVVector3f), std::size_t(target) * 6, 1.0f);
            out.points = input.points;
            out.triangles.assign(dst.begin(), dst.begin() + n);
            std::vector<std::int32_t> map(out.points.size(), -1);
            std::vector<KVVector3f> pts;
            for (std::int32_t& i : out.triangles) {
                if (map[i] < 0) map[i] = std::int32_t(pts.size()), pts.push_back(input.points[i]);
                i = map[i];
            }
            out.points = pts;
            return true;
        }};
        auto row = [&](const char* name, Work work) {
            names.push_back(name);
            works.push_back(std::move(work));
        };
        const bool hybrid = chooseReductionPath(input, o) == ReductionPath::MeshoptFirst;
        auto ours = [&](int threads, ReductionPath path) {
            return [&, threads, path](DecimationMesh& out) {
                DecimationOptions t = o;
                t.targetVertices = target;
                t.numThreads = threads;
                t.path = path;
                return decimateMesh(input, t, out).ok;
            };
        };
        row(hybrid ? "meshopt first, 2 threads" : "engine, 2 threads", ours(2, ReductionPath::Automatic));
        if (!settings.quick) {
            row(hybrid ? "meshopt first, 1 thread" : "engine, 1 thread", ours(1, ReductionPath::Automatic));
            if (hybrid) row("engine alone, 2 threads", ours(2, ReductionPath::Engine));
            // As the application does it: the cache file mapped and checked, its bytes parsed in place.
            row("from cache file", [&](DecimationMesh& out) {
                YDecimatorCacheInfo info;
                std::shared_ptr<const std::uint8_t> bytes;
                std::size_t size = 0;
                std::string error;
                DecimationOptions t = o;
                t.targetVertices = target;
                return YDecimatorCacheFile::read(KVString(cachePath().c_str()), info, bytes, size, error) &&
                       YDecimatorProgressiveEngine::decimate(std::move(bytes), size, t, out, {}).ok;
            });
        }
        const std::vector<Figures> figures = best(input, works);
        for (std::size_t k = 0; k < works.size(); ++k) print(names[k], figures[k], figures[0]);
        if (!settings.quick)
            std::printf("  cache speed-up over engine: x%.1f\n", figures[1].seconds / figures.back().seconds);
    }
    std::remove(cachePath().c_str());
}

}  // namespace

int main(int argc, char** argv) {
    const char* scanPath = nullptr;
    std::string only;
    cachePath();
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--quick") settings.quick = true;
        else if (a == "--quick-error") settings.quick = settings.errors = true;
        else if (a == "--only" && i + 1 < argc) only = argv[++i];
        else if (a == "--runs" && i + 1 < argc) settings.runs = std::max(1, std::atoi(argv[++i]));
        else if (a == "--handoff" && i + 1 < argc) settings.handoff = float(std::atof(argv[++i]));
        else scanPath = argv[i];
    }
    if (only.empty() || only == "plain") run("generated", generate(500, 1000, false), false);
    if (only.empty() || only == "attributes") run("generated", generate(500, 1000, true), true);
    if (scanPath && (only.empty() || only == "scan")) {
        DecimationMesh scan;
        if (!readOff(scanPath, scan)) {
            std::fprintf(stderr, "cannot read %s\n", scanPath);
            return 1;
        }
        run(scanPath, scan, false);
    }
    return 0;
}
