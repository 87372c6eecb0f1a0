// Fuzz target: the key/value reader under the job file, the preferences file and the key look-ups.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "FuzzSupport.h"
#include "KVGenericConfigFileParser.h"
#include "Trimora/YDecimatorConfigFileParser.h"
#include "Trimora/YDecimatorPrefFileParser.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string path = fuzz::scratchPath("cfg");

    // In memory: a buffer placed flush with the end of its allocation, so one byte too far trips
    // the address checker.
    {
        YDecimatorConfigFileParser job;
        std::unique_ptr<char[]> text(new char[size == 0 ? 1 : size]);
        if (size > 0) std::memcpy(text.get(), data, size);
        job.parseText(text.get(), static_cast<long long>(size));
        int batches = 0;
        for (YDecimatorBatch* b = job.getFirstBatch(); b != nullptr; b = b->m_next) ++batches;
        FUZZ_CHECK(batches == job.getNumBatches());
    }

    if (!fuzz::writeFile(path, data, size)) return 0;
    const KVString p(path.c_str());

    YDecimatorConfigFileParser job;
    const bool parsed = job.parseFile(p);
    FUZZ_CHECK(parsed == (size > 0));

    YDecimatorPrefFileParser prefs;
    prefs.parseFile(p);

    bool found = false;
    const KVString input = KVGenericConfigFileParser::findTokenInConfigFile(p, KVString("InputFile"), found);
    FUZZ_CHECK(found || input.isEmpty());
    KVGenericConfigFileParser::findTokenInConfigFile(p, KVString(""), found);

    // The rewritten file must read back whole.
    if (KVGenericConfigFileParser::replaceTokenInConfigFile(p, KVString("OutputFile"), KVString("/tmp/o.kel"), found)) {
        std::unique_ptr<char[]> back;
        long long backSize = 0;
        FUZZ_CHECK(KVGenericConfigFileParser::readWholeFile(p, back, backSize));
        FUZZ_CHECK(back[backSize] == '\0');
    }
    return 0;
}
