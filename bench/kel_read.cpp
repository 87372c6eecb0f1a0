// Mesh exchange file reading speed: readBBox and the combined readers against a plain fread of
// the same file into memory, measured in the same run. Usage: bench_kel_read [folder] [points]
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "io/KVKelIO_Core.h"
#include "io/KVKelWriter.h"

namespace {

using Clock = std::chrono::steady_clock;

long long fileSize(const std::string& path) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return -1;
    std::fseek(f, 0, SEEK_END);
    const long long n = std::ftell(f);
    std::fclose(f);
    return n;
}

// Best of `reps` runs, in seconds; the first run also warms the page cache.
double best(int reps, const std::function<bool()>& run) {
    double bestSeconds = 1e30;
    for (int i = 0; i < reps; ++i) {
        const Clock::time_point t0 = Clock::now();
        if (!run()) {
            std::fprintf(stderr, "run failed\n");
            std::exit(1);
        }
        const double s = std::chrono::duration<double>(Clock::now() - t0).count();
        if (s < bestSeconds) bestSeconds = s;
    }
    return bestSeconds;
}

// The baseline: one fread of the whole file into a fresh buffer (as a reader's arrays are).
bool plainRead(const std::string& path, long long size) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return false;
    std::unique_ptr<char[]> buf(new char[static_cast<std::size_t>(size)]);
    const bool ok = std::fread(buf.get(), 1, static_cast<std::size_t>(size), f) == static_cast<std::size_t>(size);
    std::fclose(f);
    return ok;
}

// The same into a buffer kept between runs: no page faults, the strictest baseline.
bool plainReadReused(const std::string& path, long long size, char* buf) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return false;
    const bool ok = std::fread(buf, 1, static_cast<std::size_t>(size), f) == static_cast<std::size_t>(size);
    std::fclose(f);
    return ok;
}

void report(const char* name, long long bytes, double seconds, double plainMBs, double reusedMBs) {
    const double mbs = static_cast<double>(bytes) / 1e6 / seconds;
    std::printf("  %-34s %9.1f MB/s  %7.1f ms  ratio %.2f (fresh-buffer read)  %.2f (reused-buffer read)\n", name,
                mbs, seconds * 1e3, mbs / plainMBs, mbs / reusedMBs);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string folder = argc > 1 ? argv[1] : "/tmp";
    const int points = argc > 2 ? std::atoi(argv[2]) : 10000000;
    const int faces = points / 2;
    const int reps = 7;
    const std::string pointsPath = folder + "/bench_kel_points_" + std::to_string(getpid()) + ".kel";
    const std::string meshPath = folder + "/bench_kel_mesh_" + std::to_string(getpid()) + ".kel";

    // A points-only file for the box, and a full mesh (points, faces, UVs, colours).
    {
        KVKelMesh m;
        m.points.resize(points);
        for (int i = 0; i < points; ++i) {
            m.points[i] = KVVector3f{static_cast<float>(i % 1000), static_cast<float>((i / 1000) % 1000),
                                     static_cast<float>(i / 1000000)};
        }
        if (!KVKelWriter::writeFile(KVString(pointsPath.c_str()), m)) return 1;
        m.faces.resize(4 * faces);
        for (int i = 0; i < 4 * faces; ++i) m.faces[i] = (i * 7) % points;
        m.uvs.resize(4 * faces, KVVector2f{0.25f, 0.75f});
        m.colors.resize(points, 0x00808080u);
        if (!KVKelWriter::writeFile(KVString(meshPath.c_str()), m)) return 1;
    }

    const long long pointsSize = fileSize(pointsPath);
    const long long meshSize = fileSize(meshPath);
    std::unique_ptr<char[]> reused(new char[static_cast<std::size_t>(meshSize)]);
    std::printf("bench_kel_read: %d points, %d faces, best of %d runs, page cache warm\n", points, faces, reps);

    {
        const double plain = best(reps, [&] { return plainRead(pointsPath, pointsSize); });
        const double plainR = best(reps, [&] { return plainReadReused(pointsPath, pointsSize, reused.get()); });
        BBox box;
        const double bbox = best(reps, [&] { return KVKelIO_Core::readBBox(KVString(pointsPath.c_str()), box); });
        const double vtx = best(reps, [&] {
            KVArray<KVVector3f> pts;
            return KVKelIO_Core::readVertexBloc(KVString(pointsPath.c_str()), pts) && pts.getCount() == points;
        });
        const double plainMBs = pointsSize / 1e6 / plain;
        const double reusedMBs = pointsSize / 1e6 / plainR;
        std::printf(" points-only file, %.1f MB:\n", pointsSize / 1e6);
        std::printf("  %-34s %9.1f MB/s  %7.1f ms\n", "plain fread, fresh buffer", plainMBs, plain * 1e3);
        std::printf("  %-34s %9.1f MB/s  %7.1f ms\n", "plain fread, reused buffer", reusedMBs, plainR * 1e3);
        report("readBBox", pointsSize, bbox, plainMBs, reusedMBs);
        report("readVertexBloc", pointsSize, vtx, plainMBs, reusedMBs);
        std::printf("  box (%g %g %g)-(%g %g %g)\n", box.min.x, box.min.y, box.min.z, box.max.x, box.max.y, box.max.z);
    }
    {
        const double plain = best(reps, [&] { return plainRead(meshPath, meshSize); });
        const double plainR = best(reps, [&] { return plainReadReused(meshPath, meshSize, reused.get()); });
        const double plainMBs = meshSize / 1e6 / plain;
        const double reusedMBs = meshSize / 1e6 / plainR;
        std::printf(" mesh file (points, faces, UV4, MRGB), %.1f MB:\n", meshSize / 1e6);
        std::printf("  %-34s %9.1f MB/s  %7.1f ms\n", "plain fread, fresh buffer", plainMBs, plain * 1e3);
        std::printf("  %-34s %9.1f MB/s  %7.1f ms\n", "plain fread, reused buffer", reusedMBs, plainR * 1e3);
        // Fresh arrays per run, as a caller reading a new mesh has: page faults count on both sides.
        const KVString p(meshPath.c_str());
        // The pair reader consumes only the points and faces: rate over those bytes.
        const long long pairBytes = 32 + 16 + 12LL * points + 16 + 16LL * faces;
        report("readVertexAndFace4Blocs", pairBytes, best(reps, [&] {
                   KVArray<KVVector3f> pts;
                   KVArray<int> fcs;
                   return KVKelIO_Core::readVertexAndFace4Blocs(p, pts, fcs) && fcs.getCount() == 4 * faces;
               }), plainMBs, reusedMBs);
        report("readVertexAndFace4AndMRGBBlocs", meshSize, best(reps, [&] {
                   KVArray<KVVector3f> pts;
                   KVArray<int> fcs;
                   KVArray<unsigned int> cols;
                   return KVKelIO_Core::readVertexAndFace4AndMRGBBlocs(p, pts, fcs, cols) && cols.getCount() == points;
               }), plainMBs, reusedMBs);
        report("readVtxFace4AndUV4Blocs", meshSize, best(reps, [&] {
                   KVArray<KVVector3f> pts;
                   KVArray<int> fcs;
                   KVArray<KVVector2f> uvs;
                   return KVKelIO_Core::readVtxFace4AndUV4Blocs(p, pts, fcs, uvs) && uvs.getCount() == 4 * faces;
               }), plainMBs, reusedMBs);
        report("readVtxFace4UV4AndMRGBBlocs", meshSize, best(reps, [&] {
                   KVArray<KVVector3f> pts;
                   KVArray<int> fcs;
                   KVArray<KVVector2f> uvs;
                   KVArray<unsigned int> cols;
                   return KVKelIO_Core::readVtxFace4UV4AndMRGBBlocs(p, pts, fcs, uvs, cols) && pts.getCount() == points;
               }), plainMBs, reusedMBs);
    }
    std::remove(pointsPath.c_str());
    std::remove(meshPath.c_str());
    return 0;
}
