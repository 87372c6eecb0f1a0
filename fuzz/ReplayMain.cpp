// Runs a fuzz target over saved inputs without libFuzzer: every file of the folders given.
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

bool readFile(const std::string& path, std::vector<std::uint8_t>& out) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return false;
    out.clear();
    std::uint8_t chunk[65536];
    std::size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0) out.insert(out.end(), chunk, chunk + n);
    const bool ok = std::ferror(f) == 0;
    std::fclose(f);
    return ok;
}

}  // namespace

// Usage: <replay> DIR...   A folder that does not exist counts as empty; a corpus that holds
// no file at all is an error, so a moved corpus cannot pass unnoticed.
int main(int argc, char** argv) {
    std::size_t runs = 0;
    for (int i = 1; i < argc; ++i) {
        DIR* dir = opendir(argv[i]);
        if (dir == nullptr) continue;
        std::vector<std::string> names;
        while (dirent* e = readdir(dir)) {
            const std::string full = std::string(argv[i]) + "/" + e->d_name;
            struct stat st;
            if (stat(full.c_str(), &st) == 0 && S_ISREG(st.st_mode)) names.push_back(full);
        }
        closedir(dir);
        std::sort(names.begin(), names.end());
        std::vector<std::uint8_t> bytes;
        for (const std::string& name : names) {
            if (!readFile(name, bytes)) {
                std::fprintf(stderr, "cannot read %s\n", name.c_str());
                return 1;
            }
            // Empty input gets a valid pointer, as libFuzzer hands over.
            const std::uint8_t none = 0;
            LLVMFuzzerTestOneInput(bytes.empty() ? &none : bytes.data(), bytes.size());
            ++runs;
        }
    }
    std::printf("replayed %zu inputs\n", runs);
    return runs > 0 ? 0 : 1;
}
