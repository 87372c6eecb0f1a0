// YDecimatorConfigFileParser: the 35 job keys, their scopes and the batch list.
#include "Trimora/YDecimatorConfigFileParser.h"

#include <cmath>
#include <cstring>

namespace {

typedef KVGenericConfigFileParser Generic;

bool is(const char* value, const char* word) { return KVString::cmpNoCase(value, word) == 0; }

YDecimatorConfigFileParser* job(void* context) { return static_cast<YDecimatorConfigFileParser*>(context); }

// Job keys that only count outside batches.
YDecimatorConfigFileParser* jobOutsideBatch(void* context) {
    YDecimatorConfigFileParser* p = job(context);
    if (p == nullptr) return nullptr;
    return &theGoodInput(p) == &p->m_input ? p : nullptr;
}

}  // namespace

YDecimatorInput& theGoodInput(YDecimatorConfigFileParser* parser) {
    return parser->m_currentBatch != nullptr ? parser->m_currentBatch->m_input : parser->m_input;
}

YDecimatorConfigFileParser::YDecimatorConfigFileParser() {
    clear();
    buildParser();
}

YDecimatorConfigFileParser::~YDecimatorConfigFileParser() { freeBatches(); }

void YDecimatorConfigFileParser::buildParser() {
    static const struct {
        const char* key;
        KVGenericConfigFileHandler handler;
    } keys[] = {
        {"AppMode", parseAppMode},
        {"PlastraVersion", parsePlastraVersion},
        {"InputFile", parseInputFile},
        {"OutputFile", parseOutputFile},
        {"MemSpeedTradeOff", parseMemSpeedTradeOff},
        {"DeleteConfigFile", parseDeleteConfigFile},
        {"DeleteInputFile", parseDeleteInputFile},
        {"Symmetry", parseSymmetryMode},
        {"FreezeBorder", parseFreezeBorder},
        {"ProgressiveMeshMinNum", parseProgressiveMeshMinNum},
        {"DecimationTargetNum", parseDecimationTargetNum},
        {"DecimationTargetPourcent", parseDecimationTargetPourcent},
        {"AvoidNormalReverse", parseAvoidNormalReverse},
        {"ProtectTopology", parseProtectTopology},
        {"AllowFinishStep", parseAllowFinishSteps},
        {"UseAreaWeighting", parseUseAreaWeighting},
        {"IFlipX", parseIFlipX},
        {"IFlipY", parseIFlipY},
        {"IFlipZ", parseIFlipZ},
        {"ISwitchYZ", parseISwitchYZ},
        {"NumThread", parseNumThread},
        {"KeepUVs", parseKeepUVs},
        {"UseVtxColors", parseUseVertexColors},
        // After "UseVtxColors", so that the longer key is tried first.
        {"UseVtxColorsCoef", parseUseVertexColorsCoef},
        {"MessageChannelId", parseMessageChannelId},
        {"MessageReaderId", parseMessageReaderId},
        {"ProcessId", parseProcessId},
        {"QueueId", parseQueueId},
        {"DisplayMode", parseDisplayMode},
        {"UseMask", parseUseMask},
        {"StartBatch", parseStartBatch},
        {"EndBatch", parseEndBatch},
        {"UseProgressBar", parseUseProgressBar},
        {"DoReorder", parseDoReorder},
        {"KeepTempFiles", parseKeepTempFiles},
    };
    for (const auto& k : keys) m_parser.addToken(k.key, k.handler);
}

void YDecimatorConfigFileParser::clear() {
    m_plastraVersion = 0;
    m_deleteConfigFile = false;
    m_appMode = kAppModeEmpty;
    m_displayMode = kDisplayVBO;
    m_useProgressBar = false;
    m_keepTempFiles = false;
    m_input.clear();
    freeBatches();
}

void YDecimatorConfigFileParser::freeBatches() {
    while (m_firstBatch != nullptr) {
        YDecimatorBatch* next = m_firstBatch->m_next;
        delete m_firstBatch;
        m_firstBatch = next;
    }
    m_currentBatch = nullptr;
}

bool YDecimatorConfigFileParser::parseFile(const KVString& path) {
    clear();
    if (!m_parser.parseFile(path, this)) return false;
    // Batches were pushed newest first.
    YDecimatorBatch* reversed = nullptr;
    while (m_firstBatch != nullptr) {
        YDecimatorBatch* next = m_firstBatch->m_next;
        m_firstBatch->m_next = reversed;
        reversed = m_firstBatch;
        m_firstBatch = next;
    }
    m_firstBatch = reversed;
    return true;
}

void YDecimatorConfigFileParser::parseText(const char* text, long long size) {
    clear();
    m_parser.parseText(text, size, this);
    YDecimatorBatch* reversed = nullptr;
    while (m_firstBatch != nullptr) {
        YDecimatorBatch* next = m_firstBatch->m_next;
        m_firstBatch->m_next = reversed;
        reversed = m_firstBatch;
        m_firstBatch = next;
    }
    m_firstBatch = reversed;
}

int YDecimatorConfigFileParser::getNumBatches() const {
    int n = 0;
    for (const YDecimatorBatch* b = m_firstBatch; b != nullptr; b = b->m_next) ++n;
    return n;
}

YDecimatorBatch* YDecimatorConfigFileParser::appendBatch(int kind) {
    YDecimatorBatch* batch = new YDecimatorBatch;
    batch->m_kind = kind;
    YDecimatorBatch** tail = &m_firstBatch;
    while (*tail != nullptr) tail = &(*tail)->m_next;
    *tail = batch;
    return batch;
}

int YDecimatorConfigFileParser::versionBand(float version) {
    // Compared in double, so that any number read, however large, stays defined.
    const double band = std::trunc(static_cast<double>(version) * 100.0 + 0.2);
    if (std::isnan(band) || band < 310.0) return 1;
    if (band <= 311.0) return 310;
    if (band <= 314.0) return 312;
    if (band <= 324.0) return 320;
    return 401;
}

// ---- job keys ----

void YDecimatorConfigFileParser::parseAppMode(const char* value, void* context) {
    YDecimatorConfigFileParser* p = job(context);
    if (p == nullptr) return;
    if (is(value, "ydecimator")) p->m_appMode = kAppModeYDecimator;
    else if (is(value, "Trimora BATCH")) p->m_appMode = kAppModeBatch;
    else if (is(value, "full proto")) p->m_appMode = kAppModeFullProto;
    else if (is(value, "empty")) p->m_appMode = kAppModeEmpty;
}

void YDecimatorConfigFileParser::parsePlastraVersion(const char* value, void* context) {
    if (YDecimatorConfigFileParser* p = job(context)) p->m_plastraVersion = versionBand(Generic::paramToFloat(value));
}

void YDecimatorConfigFileParser::parseDeleteConfigFile(const char* value, void* context) {
    if (YDecimatorConfigFileParser* p = job(context)) p->m_deleteConfigFile = Generic::paramToBool(value);
}

void YDecimatorConfigFileParser::parseMessageChannelId(const char* value, void* context) {
    if (YDecimatorConfigFileParser* p = jobOutsideBatch(context)) p->m_messageChannelId = Generic::paramToInt(value);
}

void YDecimatorConfigFileParser::parseMessageReaderId(const char* value, void* context) {
    if (YDecimatorConfigFileParser* p = jobOutsideBatch(context)) p->m_messageReaderId = Generic::paramToInt(value);
}

void YDecimatorConfigFileParser::parseProcessId(const char* value, void* context) {
    if (YDecimatorConfigFileParser* p = jobOutsideBatch(context)) p->m_processId = Generic::paramToInt(value);
}

void YDecimatorConfigFileParser::parseQueueId(const char* value, void* context) {
    if (YDecimatorConfigFileParser* p = jobOutsideBatch(context)) p->m_queueId = Generic::paramToInt(value);
}

void YDecimatorConfigFileParser::parseDisplayMode(const char* value, void* context) {
    YDecimatorConfigFileParser* p = jobOutsideBatch(context);
    if (p == nullptr) return;
    if (is(value, "NO")) p->m_displayMode = kDisplayNo;
    else if (is(value, "BASIC")) p->m_displayMode = kDisplayBasic;
    else if (is(value, "VBO")) p->m_displayMode = kDisplayVBO;
}

void YDecimatorConfigFileParser::parseUseProgressBar(const char* value, void* context) {
    if (YDecimatorConfigFileParser* p = jobOutsideBatch(context)) p->m_useProgressBar = Generic::paramToBool(value);
}

void YDecimatorConfigFileParser::parseKeepTempFiles(const char* value, void* context) {
    if (YDecimatorConfigFileParser* p = jobOutsideBatch(context)) p->m_keepTempFiles = Generic::paramToBool(value);
}

// ---- batches ----

void YDecimatorConfigFileParser::parseStartBatch(const char* value, void* context) {
    YDecimatorConfigFileParser* p = job(context);
    if (p == nullptr) return;
    YDecimatorBatch* batch = new YDecimatorBatch;
    if (is(value, "Build progressive mesh")) batch->m_kind = YDecimatorBatch::kBuildProgressiveMesh;
    else if (is(value, "Decimate mesh")) batch->m_kind = YDecimatorBatch::kDecimateMesh;
    else if (is(value, "Decimate progressive mesh")) batch->m_kind = YDecimatorBatch::kDecimateProgressiveMesh;
    else batch->m_kind = YDecimatorBatch::kUnknown;
    batch->m_next = p->m_firstBatch;
    p->m_firstBatch = batch;
    p->m_currentBatch = batch;
}

void YDecimatorConfigFileParser::parseEndBatch(const char*, void* context) {
    if (YDecimatorConfigFileParser* p = job(context)) p->m_currentBatch = nullptr;
}

// ---- per-input keys ----

namespace {
YDecimatorInput* input(void* context) {
    YDecimatorConfigFileParser* p = job(context);
    return p != nullptr ? &theGoodInput(p) : nullptr;
}
}  // namespace

#define TRIMORA_INPUT_KEY(handler, field, convert)                          \
    void YDecimatorConfigFileParser::handler(const char* value, void* context) { \
        if (YDecimatorInput* in = input(context)) in->field = convert(value);    \
    }

TRIMORA_INPUT_KEY(parseInputFile, m_inputFile, KVString)
TRIMORA_INPUT_KEY(parseOutputFile, m_outputFile, KVString)
TRIMORA_INPUT_KEY(parseMemSpeedTradeOff, m_memSpeedTradeOff, Generic::paramToInt)
TRIMORA_INPUT_KEY(parseDeleteInputFile, m_deleteInputFile, Generic::paramToBool)
TRIMORA_INPUT_KEY(parseFreezeBorder, m_freezeBorder, Generic::paramToBool)
TRIMORA_INPUT_KEY(parseProgressiveMeshMinNum, m_progressiveMeshMinNum, Generic::paramToInt)
TRIMORA_INPUT_KEY(parseDecimationTargetNum, m_decimationTargetNum, Generic::paramToInt)
TRIMORA_INPUT_KEY(parseDecimationTargetPourcent, m_decimationTargetPourcent, Generic::paramToFloat)
TRIMORA_INPUT_KEY(parseAvoidNormalReverse, m_avoidNormalReverse, Generic::paramToBool)
TRIMORA_INPUT_KEY(parseProtectTopology, m_protectTopology, Generic::paramToBool)
TRIMORA_INPUT_KEY(parseAllowFinishSteps, m_allowFinishStep, Generic::paramToBool)
TRIMORA_INPUT_KEY(parseUseAreaWeighting, m_useAreaWeighting, Generic::paramToBool)
TRIMORA_INPUT_KEY(parseIFlipX, m_iFlipX, Generic::paramToBool)
TRIMORA_INPUT_KEY(parseIFlipY, m_iFlipY, Generic::paramToBool)
TRIMORA_INPUT_KEY(parseIFlipZ, m_iFlipZ, Generic::paramToBool)
TRIMORA_INPUT_KEY(parseISwitchYZ, m_iSwitchYZ, Generic::paramToBool)
TRIMORA_INPUT_KEY(parseNumThread, m_numThread, Generic::paramToInt)
TRIMORA_INPUT_KEY(parseKeepUVs, m_keepUVs, Generic::paramToBool)
TRIMORA_INPUT_KEY(parseUseVertexColors, m_useVtxColors, Generic::paramToBool)
TRIMORA_INPUT_KEY(parseUseVertexColorsCoef, m_useVtxColorsCoef, Generic::paramToFloat)
TRIMORA_INPUT_KEY(parseDoReorder, m_doReorder, Generic::paramToBool)

#undef TRIMORA_INPUT_KEY

void YDecimatorConfigFileParser::parseSymmetryMode(const char* value, void* context) {
    YDecimatorInput* in = input(context);
    if (in == nullptr) return;
    if (is(value, "no")) in->m_symmetryMode = YDecimatorInput::kSymmetryNone;
    else if (is(value, "x")) in->m_symmetryMode = YDecimatorInput::kSymmetryX;
    else if (is(value, "y")) in->m_symmetryMode = YDecimatorInput::kSymmetryY;
    else if (is(value, "z")) in->m_symmetryMode = YDecimatorInput::kSymmetryZ;
    else if (is(value, "auto")) in->m_symmetryMode = YDecimatorInput::kSymmetryAuto;
}

void YDecimatorConfigFileParser::parseUseMask(const char* value, void* context) {
    YDecimatorInput* in = input(context);
    if (in == nullptr) return;
    // Only these two words: "1", "True" and the rest of the bool words leave it unchanged.
    if (is(value, "NO")) in->m_useMask = false;
    else if (is(value, "YES")) in->m_useMask = true;
}
