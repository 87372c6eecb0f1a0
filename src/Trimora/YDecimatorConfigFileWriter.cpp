// YDecimatorConfigFileWriter: job records into job-file text.
#include "Trimora/YDecimatorConfigFileWriter.h"

#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

class Writer {
public:
    explicit Writer(std::string& out) : m_out(out) {}
    bool ok() const { return m_ok; }
    void fail() { m_ok = false; }

    void line(const char* key, const char* value) {
        m_out.append(key);
        m_out.append(" = ");
        m_out.append(value);
        m_out.push_back('\n');
    }
    void bare(const char* key) {
        m_out.append(key);
        m_out.push_back('\n');
    }
    void flag(const char* key, bool b) { line(key, b ? "Yes" : "No"); }
    void integer(const char* key, int n) {
        // The reader scans "%f" and truncates: only integers a float holds exactly come back.
        if (static_cast<double>(static_cast<float>(n)) != static_cast<double>(n)) return fail();
        char buf[16];
        std::snprintf(buf, sizeof buf, "%d", n);
        line(key, buf);
    }
    void real(const char* key, float f) {
        if (!std::isfinite(f)) return fail();
        char buf[32];
        std::snprintf(buf, sizeof buf, "%.9g", static_cast<double>(f));  // 9 digits round-trip a float
        line(key, buf);
    }
    void path(const char* key, const KVString& p) {
        if (p.isEmpty()) return;
        const char* s = p.c_str();
        const size_t n = std::strlen(s);
        const char first = s[0], last = s[n - 1];
        if (std::strpbrk(s, "\r\n") != nullptr || first == ' ' || first == '\t' || first == ':' || first == '=' ||
            last == ' ' || last == '\t')
            return fail();
        line(key, s);
    }
    void word(const char* key, int index, const char* const* words, int count) {
        if (index < 0 || index >= count || words[index] == nullptr) return fail();
        line(key, words[index]);
    }

private:
    std::string& m_out;
    bool m_ok = true;
};

void writeInput(Writer& w, const YDecimatorInput& in) {
    static const char* const symmetry[] = {"no", "x", "y", "z", "auto"};
    w.path("InputFile", in.m_inputFile);
    w.path("OutputFile", in.m_outputFile);
    w.flag("DeleteInputFile", in.m_deleteInputFile);
    w.word("Symmetry", in.m_symmetryMode, symmetry, 5);
    w.flag("FreezeBorder", in.m_freezeBorder);
    w.line("UseMask", in.m_useMask ? "YES" : "NO");
    w.integer("ProgressiveMeshMinNum", in.m_progressiveMeshMinNum);
    w.integer("DecimationTargetNum", in.m_decimationTargetNum);
    w.real("DecimationTargetPourcent", in.m_decimationTargetPourcent);
    w.integer("MemSpeedTradeOff", in.m_memSpeedTradeOff);
    w.flag("AvoidNormalReverse", in.m_avoidNormalReverse);
    w.flag("ProtectTopology", in.m_protectTopology);
    // Exactly this spelling: "AllowFinishSteps = No" would read as true.
    w.flag("AllowFinishStep", in.m_allowFinishStep);
    w.flag("UseAreaWeighting", in.m_useAreaWeighting);
    // Always all four: a reader keeps these from its previous file when a file omits them.
    w.flag("IFlipX", in.m_iFlipX);
    w.flag("IFlipY", in.m_iFlipY);
    w.flag("IFlipZ", in.m_iFlipZ);
    w.flag("ISwitchYZ", in.m_iSwitchYZ);
    w.flag("KeepUVs", in.m_keepUVs);
    w.flag("UseVtxColors", in.m_useVtxColors);
    w.real("UseVtxColorsCoef", in.m_useVtxColorsCoef);
    w.integer("NumThread", in.m_numThread);
    w.flag("DoReorder", in.m_doReorder);
}

const char* versionFor(int band) {
    switch (band) {
        case 1: return "3.0";
        case 310: return "3.1";
        case 312: return "3.12";
        case 320: return "3.2";
        case 401: return "4.0";
        default: return nullptr;
    }
}

}  // namespace

bool YDecimatorConfigFileWriter::buildText(const YDecimatorConfigFileParser& job, std::string& text) {
    static const char* const appModes[] = {"ydecimator", "Trimora BATCH", nullptr, "full proto", "empty"};
    static const char* const displayModes[] = {"NO", "BASIC", "VBO"};
    static const char* const batchKinds[] = {"Unknown", "Build progressive mesh", "Decimate mesh",
                                             "Decimate progressive mesh"};
    text.clear();
    Writer w(text);
    // Job keys first: most of them are ignored inside a batch.
    w.word("AppMode", job.m_appMode, appModes, 5);
    if (job.m_plastraVersion != 0) {
        const char* version = versionFor(job.m_plastraVersion);
        if (version == nullptr) w.fail();
        else w.line("PlastraVersion", version);
    }
    w.flag("DeleteConfigFile", job.m_deleteConfigFile);
    w.word("DisplayMode", job.m_displayMode, displayModes, 3);
    w.flag("UseProgressBar", job.m_useProgressBar);
    w.flag("KeepTempFiles", job.m_keepTempFiles);
    // Ids survive a reader's clear(), so they are always written.
    w.integer("MessageChannelId", job.m_messageChannelId);
    w.integer("MessageReaderId", job.m_messageReaderId);
    w.integer("ProcessId", job.m_processId);
    w.integer("QueueId", job.m_queueId);
    writeInput(w, job.m_input);
    for (const YDecimatorBatch* b = job.getFirstBatch(); b != nullptr; b = b->m_next) {
        w.word("StartBatch", b->m_kind, batchKinds, 4);
        writeInput(w, b->m_input);
        // A bare line: "EndBatch =" would carry an empty value and be ignored.
        w.bare("EndBatch");
    }
    if (!w.ok()) text.clear();
    return w.ok();
}

bool YDecimatorConfigFileWriter::writeFile(const KVString& path, const YDecimatorConfigFileParser& job) {
    std::string text;
    if (!buildText(job, text)) return false;
    const char* p = path.getValidFilePath();
    if (p == nullptr || p[0] == '\0') return false;
    FILE* f = std::fopen(p, "wb");
    if (f == nullptr) return false;
    const bool written = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    return std::fclose(f) == 0 && written;
}
