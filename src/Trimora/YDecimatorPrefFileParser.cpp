// YDecimatorPrefFileParser: defaults and the five preference keys.
#include "Trimora/YDecimatorPrefFileParser.h"

#include "ProgressiveMesh/KVTrimoraDefs.h"

namespace {
typedef KVGenericConfigFileParser Generic;
YDecimatorPrefFileParser* prefs(void* context) { return static_cast<YDecimatorPrefFileParser*>(context); }
}  // namespace

YDecimatorPrefFileParser::YDecimatorPrefFileParser() {
    clear();
    buildParser();
}

void YDecimatorPrefFileParser::buildParser() {
    m_parser.addToken("UniformMesh", parseUniformMesh);
    m_parser.addToken("NumThread", parseNumThread);
    m_parser.addToken("ColorRatio", parseColorRatio);
    m_parser.addToken("CleanAtStart", parseCleanAtStart);
    m_parser.addToken("BackgroundPreprocess", parseBackgroundProcess);
}

void YDecimatorPrefFileParser::clear() {
    m_uniformMesh = true;
    m_numThread = getNumDefaultThreads();
    m_colorRatio = 50.0f;
    m_cleanAtStart = true;
    m_backgroundPreprocess = true;
}

bool YDecimatorPrefFileParser::parseFile(const KVString& path) {
    clear();
    return m_parser.parseFile(path, this);
}

void YDecimatorPrefFileParser::parseUniformMesh(const char* value, void* context) {
    if (YDecimatorPrefFileParser* p = prefs(context)) p->m_uniformMesh = Generic::paramToBool(value);
}

void YDecimatorPrefFileParser::parseNumThread(const char* value, void* context) {
    if (YDecimatorPrefFileParser* p = prefs(context)) p->m_numThread = Generic::paramToInt(value);
}

void YDecimatorPrefFileParser::parseColorRatio(const char* value, void* context) {
    if (YDecimatorPrefFileParser* p = prefs(context)) p->m_colorRatio = Generic::paramToFloat(value);
}

void YDecimatorPrefFileParser::parseCleanAtStart(const char* value, void* context) {
    if (YDecimatorPrefFileParser* p = prefs(context)) p->m_cleanAtStart = Generic::paramToBool(value);
}

void YDecimatorPrefFileParser::parseBackgroundProcess(const char* value, void* context) {
    if (YDecimatorPrefFileParser* p = prefs(context)) p->m_backgroundPreprocess = Generic::paramToBool(value);
}
