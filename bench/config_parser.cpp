// Job-file reading speed in MB/s against a plain read-and-count-lines baseline, from 1 MB to 100 MB.
// Each figure is the best of a few runs, in processor time (user and system) of this process.
#include <unistd.h>

#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "KVGenericConfigFileParser.h"
#include "Trimora/YDecimatorConfigFileParser.h"

namespace {

// Processor time of this process: the other builds sharing the machine do not count in it.
double now() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

bool writeBytes(const std::string& path, const std::string& bytes) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) return false;
    const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return std::fclose(f) == 0 && ok;
}

// The least any reader must do: one bulk read and a pass over the bytes.
long long baseline(const std::string& path) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return -1;
    std::vector<char> buf(1 << 20);
    long long lines = 0;
    size_t n;
    while ((n = std::fread(buf.data(), 1, buf.size(), f)) > 0) {
        const char* p = buf.data();
        const char* end = p + n;
        while ((p = static_cast<const char*>(std::memchr(p, '\n', static_cast<size_t>(end - p)))) != nullptr) {
            ++lines;
            ++p;
        }
    }
    std::fclose(f);
    return lines;
}

std::string jobText(size_t bytes) {
    const std::string head =
        "AppMode = Trimora BATCH\nUseProgressBar = Yes\nPlastraVersion = 4.0\nDisplayMode = BASIC\n"
        "# a comment line that no key takes\n";
    const std::string batch =
        "StartBatch = Decimate mesh\nInputFile = /tmp/trimora/in/mesh_0001.kel\n"
        "OutputFile = /tmp/trimora/out/mesh_0001.kel\nDecimationTargetPourcent = 20\nSymmetry = auto\n"
        "IFlipX = No\nIFlipY = No\nIFlipZ = No\nISwitchYZ = No\nKeepUVs = Yes\nUseVtxColors = Yes\n"
        "UseVtxColorsCoef = 50\nNumThread = 6\nAllowFinishStep = No\r\nUnknownKey = ignored\nEndBatch\n";
    std::string text = head;
    text.reserve(bytes + batch.size());
    while (text.size() < bytes) text += batch;
    return text;
}

std::string garbageText(size_t bytes) {
    std::mt19937 rng(42);
    std::string text(bytes, '\0');
    for (char& c : text) c = static_cast<char>(1 + rng() % 255);
    return text;
}

std::string oneLineText(size_t bytes) { return "InputFile = " + std::string(bytes, 'x'); }

struct Figures {
    double parseSeconds;
    double baseSeconds;
};

Figures measure(const std::string& path, int repeats) {
    YDecimatorConfigFileParser job;
    Figures best{1e30, 1e30};
    for (int r = 0; r < repeats; ++r) {
        double t = now();
        if (baseline(path) < 0) std::abort();
        best.baseSeconds = std::min(best.baseSeconds, now() - t);
        t = now();
        if (!job.parseFile(path.c_str())) std::abort();
        best.parseSeconds = std::min(best.parseSeconds, now() - t);
    }
    return best;
}

}  // namespace

int main() {
    const char* tmp = std::getenv("TMPDIR");
    const std::string path = std::string(tmp != nullptr ? tmp : "/tmp") + "/bench_config_parser_" +
                             std::to_string(static_cast<long>(getpid())) + ".ydc";
    struct Kind {
        const char* name;
        std::string (*make)(size_t);
    } kinds[] = {{"job lines", jobText}, {"garbage", garbageText}, {"one line", oneLineText}};
    // Linearity column: time per MB against the previous size. About 1 for a linear reader (the
    // step from 10 to 50 MB also leaves the caches and the allocator's reused heap); a quadratic
    // one would show 10, 5 and 2.
    const size_t sizes[] = {1u << 20, 10u << 20, 50u << 20, 100u << 20};

    std::printf("%-10s %8s %12s %12s %14s %16s\n", "file", "MB", "parse MB/s", "base MB/s", "parse/base",
                "s/MB vs prev");
    for (const Kind& kind : kinds) {
        double perMbBefore = 0.0;
        for (size_t size : sizes) {
            if (!writeBytes(path, kind.make(size))) {
                std::fprintf(stderr, "cannot write %s\n", path.c_str());
                return 1;
            }
            const double mb = static_cast<double>(size) / (1 << 20);
            const Figures f = measure(path, size > (10u << 20) ? 3 : 7);
            const double perMb = f.parseSeconds / mb;
            std::printf("%-10s %8.0f %12.1f %12.1f %14.2f %16.2f\n", kind.name, mb, mb / f.parseSeconds,
                        mb / f.baseSeconds, f.parseSeconds / f.baseSeconds, perMbBefore > 0.0 ? perMb / perMbBefore : 1.0);
            perMbBefore = perMb;
            std::fflush(stdout);
        }
    }
    std::remove(path.c_str());
    return 0;
}
