// YDecimatorPrefFileParser: the user's lasting preferences, read from "YDecimator.ypr".
#pragma once

#include "KVGenericConfigFileParser.h"

// Same syntax as a job file. Keys: UniformMesh, NumThread, ColorRatio, CleanAtStart,
// BackgroundPreprocess; any other line is ignored.
class YDecimatorPrefFileParser {
public:
    YDecimatorPrefFileParser();
    YDecimatorPrefFileParser(const YDecimatorPrefFileParser& other) = default;
    YDecimatorPrefFileParser& operator=(const YDecimatorPrefFileParser& other) = default;

    // Registers the five keys, "UniformMesh" first.
    void buildParser();
    // The five defaults; the thread count is asked of the machine again.
    void clear();
    // Defaults, then the file. False when it is missing, unreadable or empty (defaults stand).
    bool parseFile(const KVString& path);

    static void parseUniformMesh(const char* value, void* context);
    static void parseNumThread(const char* value, void* context);
    static void parseColorRatio(const char* value, void* context);
    static void parseCleanAtStart(const char* value, void* context);
    static void parseBackgroundProcess(const char* value, void* context);

    bool m_uniformMesh;            // "UniformMesh", default true
    int m_numThread;               // "NumThread", default getNumDefaultThreads()
    float m_colorRatio;            // "ColorRatio", default 50.0
    bool m_cleanAtStart;           // "CleanAtStart", default true
    bool m_backgroundPreprocess;   // "BackgroundPreprocess", default true

private:
    KVGenericConfigFileParser m_parser;
};
