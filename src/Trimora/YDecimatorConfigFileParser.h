// YDecimatorConfigFileParser: the job record and the reader of the 35 job-file keys.
#pragma once

#include "KVGenericConfigFileParser.h"
#include "Trimora/YDecimatorBatch.h"
#include "Trimora/YDecimatorInput.h"

// A job file, as the decimation application reads it. Job keys fill this record; per-input
// keys fill the open batch's input, or the job-level input when no batch is open.
//   StartBatch = <kind>  opens a new batch with a fresh default input (job-level values do not
//                        carry into it); a second StartBatch simply opens the next one.
//   EndBatch             closes it (a bare line: "EndBatch =" has an empty value and is ignored).
// Inside a batch the job keys MessageChannelId, MessageReaderId, ProcessId, QueueId,
// DisplayMode, UseProgressBar and KeepTempFiles are ignored; AppMode, PlastraVersion and
// DeleteConfigFile still apply. Batches stand in file order after parseFile.
class YDecimatorConfigFileParser {
public:
    enum AppMode { kAppModeYDecimator = 0, kAppModeBatch = 1, kAppModeFullProto = 3, kAppModeEmpty = 4 };
    enum DisplayMode { kDisplayNo = 0, kDisplayBasic = 1, kDisplayVBO = 2 };

    // Defaults, ids 0, and the 35 keys registered.
    YDecimatorConfigFileParser();
    ~YDecimatorConfigFileParser();
    // The record owns its batches; it is not copied.
    YDecimatorConfigFileParser(const YDecimatorConfigFileParser&) = delete;
    YDecimatorConfigFileParser& operator=(const YDecimatorConfigFileParser&) = delete;

    // Registers the 35 keys in their fixed order (the last one is tried first).
    void buildParser();
    // clear(), then reads the file. False when it is missing, unreadable or empty.
    bool parseFile(const KVString& path);
    // The same for text in memory.
    void parseText(const char* text, long long size);
    // Defaults again and all batches freed; the four ids keep their values.
    void clear();

    // Batches in order (after a parse: file order).
    YDecimatorBatch* getFirstBatch() const { return m_firstBatch; }
    int getNumBatches() const;
    // Appends a batch with a default input at the end of the list (for writers building a job);
    // it does not open the batch.
    YDecimatorBatch* appendBatch(int kind);
    const KVGenericConfigFileParser& getKeyParser() const { return m_parser; }

    // Key handlers: (value text, this record); each does nothing without a context.
    static void parseAppMode(const char* value, void* context);
    static void parsePlastraVersion(const char* value, void* context);
    static void parseInputFile(const char* value, void* context);
    static void parseOutputFile(const char* value, void* context);
    static void parseMemSpeedTradeOff(const char* value, void* context);
    static void parseDeleteConfigFile(const char* value, void* context);
    static void parseDeleteInputFile(const char* value, void* context);
    static void parseSymmetryMode(const char* value, void* context);
    static void parseFreezeBorder(const char* value, void* context);
    static void parseProgressiveMeshMinNum(const char* value, void* context);
    static void parseDecimationTargetNum(const char* value, void* context);
    static void parseDecimationTargetPourcent(const char* value, void* context);
    static void parseAvoidNormalReverse(const char* value, void* context);
    static void parseProtectTopology(const char* value, void* context);
    static void parseAllowFinishSteps(const char* value, void* context);
    static void parseUseAreaWeighting(const char* value, void* context);
    static void parseIFlipX(const char* value, void* context);
    static void parseIFlipY(const char* value, void* context);
    static void parseIFlipZ(const char* value, void* context);
    static void parseISwitchYZ(const char* value, void* context);
    static void parseNumThread(const char* value, void* context);
    static void parseKeepUVs(const char* value, void* context);
    static void parseUseVertexColors(const char* value, void* context);
    static void parseUseVertexColorsCoef(const char* value, void* context);
    static void parseMessageChannelId(const char* value, void* context);
    static void parseMessageReaderId(const char* value, void* context);
    static void parseProcessId(const char* value, void* context);
    static void parseQueueId(const char* value, void* context);
    static void parseDisplayMode(const char* value, void* context);
    static void parseUseMask(const char* value, void* context);
    static void parseStartBatch(const char* value, void* context);
    static void parseEndBatch(const char* value, void* context);
    static void parseUseProgressBar(const char* value, void* context);
    static void parseDoReorder(const char* value, void* context);
    static void parseKeepTempFiles(const char* value, void* context);

    // Host version band for a "PlastraVersion" number: 1, 310, 312, 320 or 401.
    static int versionBand(float version);

    bool m_deleteConfigFile;        // "DeleteConfigFile"
    int m_appMode;                  // "AppMode", an AppMode
    int m_displayMode;              // "DisplayMode", a DisplayMode
    bool m_useProgressBar;          // "UseProgressBar"
    bool m_keepTempFiles;           // "KeepTempFiles"
    YDecimatorInput m_input;        // per-input keys outside batches
    int m_messageChannelId = 0;     // "MessageChannelId"
    int m_messageReaderId = 0;      // "MessageReaderId"
    int m_processId = 0;            // "ProcessId"
    int m_queueId = 0;              // "QueueId"
    int m_plastraVersion;           // "PlastraVersion", a band: 0 (not given), 1, 310, 312, 320, 401

private:
    void freeBatches();

    YDecimatorBatch* m_firstBatch = nullptr;    // owned
    YDecimatorBatch* m_currentBatch = nullptr;  // the open batch, or null
    KVGenericConfigFileParser m_parser;

    friend YDecimatorInput& theGoodInput(YDecimatorConfigFileParser* parser);
};

// The input that per-input keys fill: the open batch's, else the job-level one.
YDecimatorInput& theGoodInput(YDecimatorConfigFileParser* parser);
