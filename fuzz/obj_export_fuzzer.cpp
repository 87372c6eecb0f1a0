// Fuzz target: the OBJ export of declared meshes fed hostile mesh files. The OBJ read back must
// hold every face as its mesh stores it, shifted by the mesh's offsets; faces whose corners lie
// inside their mesh must reference only vertices and UVs the OBJ holds.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ExportAllObjUtils.h"
#include "FuzzSupport.h"
#include "KelRegistryCommands.h"
#include "io/KVKelIO.h"

namespace {

// Inputs hold up to three mesh files, separated by this marker.
const char kSplit[] = "KELSPLIT";

std::vector<std::pair<const std::uint8_t*, std::size_t>> splitInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::pair<const std::uint8_t*, std::size_t>> parts;
    const std::size_t m = sizeof kSplit - 1;
    std::size_t begin = 0;
    for (std::size_t i = 0; i + m <= size && parts.size() < 2; ++i) {
        if (std::memcmp(data + i, kSplit, m) == 0) {
            parts.emplace_back(data + begin, i - begin);
            begin = i + m;
            i = begin - 1;
        }
    }
    parts.emplace_back(data + begin, size - begin);
    return parts;
}

struct MeshFacts {
    long points = 0;
    long uvs = 0;
    bool hasUV = false;
    std::vector<int> faces;
};

MeshFacts readFacts(const std::string& path) {
    MeshFacts m;
    KVArray<KVVector3f> points;
    KVArray<KVVector2f> uvs;
    KVArray<int> faces;
    KVKelIO::readVertexBloc(path.c_str(), points);
    KVKelIO::readUV4Bloc(path.c_str(), uvs);
    KVKelIO::readFace4Bloc(path.c_str(), faces, m.hasUV);
    m.points = points.getCount();
    m.uvs = uvs.getCount();
    m.faces.assign(faces.begin(), faces.begin() + (faces.getCount() / 4) * 4);
    return m;
}

// Reads the OBJ back and compares every face line with the face its mesh stores.
void checkObj(const std::string& path, const std::vector<std::string>& meshes) {
    std::vector<MeshFacts> facts;
    long vertexTotal = 0, uvTotal = 0;
    for (const std::string& m : meshes) {
        facts.push_back(readFacts(m));
        vertexTotal += facts.back().points;
        uvTotal += facts.back().uvs;
    }
    FILE* f = std::fopen(path.c_str(), "r");
    FUZZ_CHECK(f != nullptr);
    long vertices = 0, uvs = 0, vertexOffset = 0, uvOffset = 0;
    int mesh = -1;
    std::size_t face = 0;
    char line[4096];
    while (std::fgets(line, sizeof line, f) != nullptr) {
        if (std::strncmp(line, "v ", 2) == 0) ++vertices;
        else if (std::strncmp(line, "vt ", 3) == 0) ++uvs;
        else if (std::strncmp(line, "g ", 2) == 0) {
            if (mesh >= 0) {
                FUZZ_CHECK(face == facts[mesh].faces.size() / 4);  // no face dropped
                vertexOffset += facts[mesh].points;
                uvOffset += facts[mesh].uvs;
            }
            ++mesh;
            face = 0;
            FUZZ_CHECK(mesh < static_cast<int>(facts.size()));
        } else if (std::strncmp(line, "f ", 2) == 0) {
            FUZZ_CHECK(mesh >= 0);
            const MeshFacts& m = facts[mesh];
            FUZZ_CHECK(face < m.faces.size() / 4);
            const int* stored = &m.faces[4 * face];
            const int corners = stored[3] < 0 ? 3 : 4;
            bool inside = true;
            for (int c = 0; c < corners; ++c) inside = inside && stored[c] >= 0 && stored[c] < m.points;
            const char* p = line + 2;
            for (int c = 0; c < corners; ++c) {
                char* end = nullptr;
                const long v = std::strtol(p, &end, 10);
                FUZZ_CHECK(end != p);
                // 32-bit wrapping sums, as the export forms them.
                const std::int32_t expected = static_cast<std::int32_t>(
                    static_cast<std::uint32_t>(stored[c]) + static_cast<std::uint32_t>(vertexOffset) + 1u);
                FUZZ_CHECK(v == expected);
                if (inside) FUZZ_CHECK(v >= 1 && v <= vertexTotal);
                p = end;
                if (m.hasUV) {
                    FUZZ_CHECK(*p == '/');
                    const long t = std::strtol(p + 1, &end, 10);
                    FUZZ_CHECK(t == uvOffset + 4 * static_cast<long>(face) + c + 1);
                    if (4 * static_cast<long>(face) + corners <= m.uvs) FUZZ_CHECK(t >= 1 && t <= uvTotal);
                    p = end;
                }
                while (*p == ' ') ++p;
            }
            FUZZ_CHECK(*p == '\n' || *p == '\0');
            ++face;
        }
    }
    std::fclose(f);
    FUZZ_CHECK(vertices == vertexTotal && uvs == uvTotal);
    FUZZ_CHECK(mesh == static_cast<int>(facts.size()) - 1);
    if (mesh >= 0) FUZZ_CHECK(face == facts[mesh].faces.size() / 4);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string obj = fuzz::scratchPath("export") + ".obj";
    const auto parts = splitInput(data, size);
    std::vector<std::string> paths;
    StartDeclareKelFiles(nullptr, 0.0, nullptr, 0, nullptr, 0, nullptr);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        paths.push_back(fuzz::scratchPath("mesh") + "_" + std::to_string(i) + ".kel");
        if (!fuzz::writeFile(paths.back(), parts[i].first, parts[i].second)) return 0;
        AddOneKelFile(&paths.back()[0], 0.0, nullptr, 0, nullptr, 0, nullptr);
    }
    EndDeclareKelFiles(nullptr, 0.0, nullptr, 0, nullptr, 0, nullptr);
    std::string text = obj;
    FUZZ_CHECK(ExportOBJAllDeclaredKel(&text[0], 0.0, nullptr, 0, nullptr, 0, nullptr) == 0.0f);
    checkObj(obj, paths);
    for (const std::string& p : paths) std::remove(p.c_str());
    std::remove(obj.c_str());
    return 0;
}
