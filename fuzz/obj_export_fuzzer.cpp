// Fuzz target: the OBJ export of declared meshes fed hostile mesh files; the OBJ it writes must
// only reference vertices and UVs that it wrote.
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

// Reads "f a/b c/d ..." lines back and checks every index against the "v" and "vt" lines.
void checkObj(const std::string& path) {
    FILE* f = std::fopen(path.c_str(), "r");
    FUZZ_CHECK(f != nullptr);
    long vertices = 0, uvs = 0;
    std::vector<std::string> faces;
    char line[4096];
    while (std::fgets(line, sizeof line, f) != nullptr) {
        if (std::strncmp(line, "v ", 2) == 0) ++vertices;
        else if (std::strncmp(line, "vt ", 3) == 0) ++uvs;
        else if (std::strncmp(line, "f ", 2) == 0) faces.emplace_back(line + 2);
    }
    std::fclose(f);
    for (const std::string& face : faces) {
        const char* p = face.c_str();
        int corners = 0;
        while (*p != '\0' && *p != '\n') {
            char* end = nullptr;
            const long v = std::strtol(p, &end, 10);
            FUZZ_CHECK(end != p);
            FUZZ_CHECK(v >= 1 && v <= vertices);
            p = end;
            if (*p == '/') {
                const long t = std::strtol(p + 1, &end, 10);
                FUZZ_CHECK(end != p + 1);
                FUZZ_CHECK(t >= 1 && t <= uvs);
                p = end;
            }
            ++corners;
            while (*p == ' ') ++p;
        }
        FUZZ_CHECK(corners == 3 || corners == 4);
    }
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
    checkObj(obj);
    for (const std::string& p : paths) std::remove(p.c_str());
    std::remove(obj.c_str());
    return 0;
}
