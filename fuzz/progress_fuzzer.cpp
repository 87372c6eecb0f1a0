// Fuzz target: the progress record as the library reads it back from the running file.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "FuzzSupport.h"
#include "ProgressBar/KVProgressBar.h"
#include "ProgressBar/KVProgressBarServer.h"
#include "TrimoraLaunch.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string path = fuzz::scratchPath("running");
    if (!fuzz::writeFile(path, data, size)) return 0;
    const KVString p(path.c_str());

    // The server's own bar, read through the command as the host script polls it. The first
    // input byte picks the waiting animation's step so that every dot position is reached.
    KVProgressBar& bar = KVProgressBarServer::getProgressBar();
    bar.open(p);
    const int polls = size > 0 ? 1 + data[0] % 3 : 1;
    for (int i = 0; i < polls; ++i) {
        char out[256 + 16];
        std::memset(out, 0x5A, sizeof out);
        const float r = GetTrimoraAppProgressInfo(nullptr, 0.0, out, 256, nullptr, 0, nullptr);
        if (r == 1.0f) {
            FUZZ_CHECK(std::memchr(out + 4, '\0', 252) != nullptr);
        } else {
            FUZZ_CHECK(r == -1.0f);
        }
        // Nothing beyond the 256 bytes the host hands over.
        for (std::size_t k = 256; k < sizeof out; ++k) FUZZ_CHECK(out[k] == 0x5A);
    }

    // Any bar, any dot position: the line stays inside its 256 bytes.
    KVProgressBar other;
    if (other.open(p)) {
        for (int dot = -1; dot <= KVProgressBarServer::kDotPositions; dot += 5) {
            int position = dot;
            float fraction = 0.0f;
            char line[KVProgressBarServer::kLineSize];
            if (KVProgressBarServer::formatProgress(other, position, fraction, line)) {
                FUZZ_CHECK(std::memchr(line, '\0', sizeof line) != nullptr);
                // count / total as the record says: any finite number, never a NaN.
                FUZZ_CHECK(fraction == fraction);
            }
        }
    }
    // Detach without deleting the input: close() removes the attached file.
    bar.open();
    bar.close();
    other.open();
    other.close();
    return 0;
}
