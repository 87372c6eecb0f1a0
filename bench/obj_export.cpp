// OBJ export speed: our block writer against an fprintf writer and against the raw write rate.
//
// bench_obj_export [--quick] [--runs N] [--dir FOLDER]
//   --quick  only the 1-million-vertex mesh
//   --runs   best of N for the fast measurements (default 3)
//   --dir    where the file measurements write (default /tmp)
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

#include "ExportAllObjUtils.h"
#include "KVVector.h"
#include "io/KVKelWriter.h"
#include "io/KVObjTextWriter.h"

namespace {

struct Mesh {
    const char* label;
    std::vector<KVVector3f> points;
    std::vector<int> faces;
    std::vector<KVVector2f> uvs;
};

// A wavy side x side grid in host-like units: quads, or two triangles per cell; UVs on every slot.
Mesh makeGrid(const char* label, int side, bool triangles) {
    Mesh m;
    m.label = label;
    m.points.reserve(static_cast<std::size_t>(side) * side);
    for (int j = 0; j < side; ++j)
        for (int i = 0; i < side; ++i) {
            const float x = (i - side / 2) * 0.0123f, y = (j - side / 2) * 0.0117f;
            m.points.push_back({x, y, 0.37f * std::sin(x * 3.1f) * std::cos(y * 2.3f)});
        }
    const float inv = 1.0f / static_cast<float>(side - 1);
    auto addUV = [&](int i, int j) { m.uvs.push_back({i * inv, j * inv}); };
    for (int j = 0; j + 1 < side; ++j)
        for (int i = 0; i + 1 < side; ++i) {
            const int a = j * side + i, b = a + 1, c = a + side + 1, d = a + side;
            if (triangles) {
                m.faces.insert(m.faces.end(), {a, b, c, -1, a, c, d, -1});
                addUV(i, j), addUV(i + 1, j), addUV(i + 1, j + 1), addUV(0, 0);
                addUV(i, j), addUV(i + 1, j + 1), addUV(i, j + 1), addUV(0, 0);
            } else {
                m.faces.insert(m.faces.end(), {a, b, c, d});
                addUV(i, j), addUV(i + 1, j), addUV(i + 1, j + 1), addUV(i, j + 1);
            }
        }
    return m;
}

int faceCount(const Mesh& m) { return static_cast<int>(m.faces.size() / 4); }

void writeOurs(FILE* f, const Mesh& m) {
    KVObjTextWriter w(f, KVObjTextWriter::kDefaultBufferSize);  // as the export writes
    w.writeVertices(m.points.data(), static_cast<int>(m.points.size()));
    w.writeUVs(m.uvs.data(), static_cast<int>(m.uvs.size()));
    w.writeSubToolGroup(1);
    w.writeFaces(m.faces.data(), faceCount(m), 0, true, 0);
}

// The baseline: the same lines, the plain way.
void writeFprintf(FILE* f, const Mesh& m) {
    for (const auto& p : m.points) std::fprintf(f, "v %.9f %.9f %.9f\n", double(p.x), double(p.y), double(p.z));
    for (const auto& t : m.uvs) std::fprintf(f, "vt %.9f %.9f\n", double(t.u), double(t.v));
    std::fprintf(f, "g %s\n", "subtool1");
    for (int k = 0; k < faceCount(m); ++k) {
        const int* q = &m.faces[4 * static_cast<std::size_t>(k)];
        const int t = 4 * k;
        if (q[3] >= 0)
            std::fprintf(f, "f %d/%d %d/%d %d/%d %d/%d\n", q[0] + 1, t + 1, q[1] + 1, t + 2, q[2] + 1, t + 3,
                         q[3] + 1, t + 4);
        else
            std::fprintf(f, "f %d/%d %d/%d %d/%d\n", q[0] + 1, t + 1, q[1] + 1, t + 2, q[2] + 1, t + 3);
    }
}

// A stream that only hashes and counts, to prove both writers give the same bytes.
struct Digest {
    std::uint64_t hash = 1469598103934665603ull;
    std::uint64_t bytes = 0;
};

ssize_t digestWrite(void* cookie, const char* buf, size_t n) {
    Digest* d = static_cast<Digest*>(cookie);
    for (size_t i = 0; i < n; ++i) d->hash = (d->hash ^ static_cast<unsigned char>(buf[i])) * 1099511628211ull;
    d->bytes += n;
    return static_cast<ssize_t>(n);
}

Digest digestOf(void (*writer)(FILE*, const Mesh&), const Mesh& m) {
    Digest d;
    cookie_io_functions_t io = {nullptr, digestWrite, nullptr, nullptr};
    FILE* f = fopencookie(&d, "w", io);
    writer(f, m);
    std::fclose(f);
    return d;
}

double seconds(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double timeToFile(void (*writer)(FILE*, const Mesh&), const Mesh& m, const std::string& path) {
    const auto start = std::chrono::steady_clock::now();
    FILE* f = std::fopen(path.c_str(), "w");
    if (f == nullptr) return -1.0;
    writer(f, m);
    std::fclose(f);
    const double s = seconds(start);
    if (path != "/dev/null") unlink(path.c_str());
    return s;
}

// Writing the same text, already formatted in memory, in 4 MB blocks: the rate the disk allows.
double timeRawWrite(const std::vector<char>& text, const std::string& path) {
    const std::size_t block = std::size_t(4) << 20;
    const auto start = std::chrono::steady_clock::now();
    FILE* f = std::fopen(path.c_str(), "w");
    if (f == nullptr) return -1.0;
    for (std::size_t pos = 0; pos < text.size(); pos += block)
        std::fwrite(text.data() + pos, 1, std::min(block, text.size() - pos), f);
    std::fclose(f);
    const double s = seconds(start);
    if (path != "/dev/null") unlink(path.c_str());
    return s;
}

// Our text for the mesh, whole, in memory (the benchmark may hold it; the writer never does).
std::vector<char> formattedText(const Mesh& m) {
    char* data = nullptr;
    std::size_t size = 0;
    FILE* f = open_memstream(&data, &size);
    writeOurs(f, m);
    std::fclose(f);
    std::vector<char> text(data, data + size);
    std::free(data);
    return text;
}

template <typename F>
double best(int runs, F f) {
    double b = 1e300;
    for (int i = 0; i < runs; ++i) b = std::min(b, f());
    return b;
}

double mbps(std::uint64_t bytes, double s) { return static_cast<double>(bytes) / s / 1e6; }

void run(const Mesh& m, int runs, const std::string& dir) {
    std::printf("\n%s: %zu vertices, %d faces, %zu UV pairs\n", m.label, m.points.size(), faceCount(m),
                m.uvs.size());
    const Digest ours = digestOf(writeOurs, m);
    const Digest ref = digestOf(writeFprintf, m);
    std::printf("  bytes %llu, identical to fprintf: %s\n", static_cast<unsigned long long>(ours.bytes),
                ours.hash == ref.hash && ours.bytes == ref.bytes ? "yes" : "NO");
    const std::uint64_t bytes = ours.bytes;

    const double oursNull = best(runs, [&] { return timeToFile(writeOurs, m, "/dev/null"); });
    const double refNull = timeToFile(writeFprintf, m, "/dev/null");
    std::printf("  /dev/null  ours %8.1f MB/s   fprintf %7.1f MB/s   ours/fprintf %5.1fx\n", mbps(bytes, oursNull),
                mbps(bytes, refNull), refNull / oursNull);

    const std::string path = dir + "/bench_obj_export_" + std::to_string(getpid()) + ".obj";
    double oursFile = 1e300, rawFile = 1e300;
    {
        const std::vector<char> text = formattedText(m);
        for (int i = 0; i < runs; ++i) {  // interleaved, so both see the same disk
            rawFile = std::min(rawFile, timeRawWrite(text, path));
            oursFile = std::min(oursFile, timeToFile(writeOurs, m, path));
        }
    }
    std::printf("  %-9s  ours %8.1f MB/s   raw write %5.1f MB/s  ours takes %4.2fx the raw write\n", dir.c_str(),
                mbps(bytes, oursFile), mbps(bytes, rawFile), oursFile / rawFile);

    // The whole command path: three reads of the mesh file, then the same text.
    const std::string kel = dir + "/bench_obj_export_" + std::to_string(getpid()) + ".kel";
    KVKelMesh kelMesh;
    for (const auto& p : m.points) kelMesh.points.add(p);
    for (int i : m.faces) kelMesh.faces.add(i);
    for (const auto& t : m.uvs) kelMesh.uvs.add(t);
    if (!KVKelWriter::writeFile(kel.c_str(), kelMesh)) {
        std::printf("  cannot write %s\n", kel.c_str());
        return;
    }
    kelMesh = KVKelMesh();
    KVArray<KVString> names, textures;
    names.add(KVString(kel.c_str()));
    textures.add(KVString());
    double command = 1e300;
    for (int i = 0; i < runs; ++i) {
        const auto start = std::chrono::steady_clock::now();
        ExportAllObjUtils::exportDeclaredKel(KVString(path.c_str()), names, textures);
        command = std::min(command, seconds(start));
        unlink(path.c_str());
    }
    unlink(kel.c_str());
    std::printf("  command from .kel to %s: %8.1f MB/s, %4.2fx the raw write\n", dir.c_str(),
                mbps(bytes + 70, command), command / rawFile);
}

}  // namespace

int main(int argc, char** argv) {
    bool quick = false;
    int runs = 3;
    std::string dir = "/tmp";
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--quick") quick = true;
        else if (arg == "--runs" && i + 1 < argc) runs = std::max(1, std::atoi(argv[++i]));
        else if (arg == "--dir" && i + 1 < argc) dir = argv[++i];
    }
    run(makeGrid("1M vertices, quads + UVs", 1000, false), runs, dir);
    if (!quick) run(makeGrid("4M vertices, triangles + UVs", 2000, true), runs, dir);
    return 0;
}
