// YDecimatorInput: the parameters of one mesh job, as a job file sets them.
#pragma once

#include "KVString.h"

class YDecimatorInput {
public:
    enum SymmetryMode { kSymmetryNone = 0, kSymmetryX = 1, kSymmetryY = 2, kSymmetryZ = 3, kSymmetryAuto = 4 };

    // Every field at its default (the four input-axis flags false).
    YDecimatorInput();
    YDecimatorInput(const YDecimatorInput& other) = default;
    YDecimatorInput& operator=(const YDecimatorInput& other) = default;

    // Resets every field to its default; the four input-axis flags become false, which is how
    // a reader takes them when a file does not set them (writers still write all four).
    void clear();

    // Target vertex count for a mesh of numVertices: the target count when no percent was
    // given (exactly -1.0), else percent / 100 * numVertices in float, truncated toward zero.
    int getDecimationTargetNumVertices(int numVertices) const;

    bool operator==(const YDecimatorInput& other) const;
    bool operator!=(const YDecimatorInput& other) const { return !(*this == other); }

    KVString m_inputFile;                     // "InputFile"
    KVString m_outputFile;                    // "OutputFile"
    bool m_deleteInputFile;                   // "DeleteInputFile"
    int m_symmetryMode;                       // "Symmetry", a SymmetryMode
    bool m_freezeBorder;                      // "FreezeBorder"
    bool m_useMask;                           // "UseMask"
    int m_progressiveMeshMinNum;              // "ProgressiveMeshMinNum"
    int m_decimationTargetNum;                // "DecimationTargetNum"
    float m_decimationTargetPourcent;         // "DecimationTargetPourcent", -1.0 when not given
    int m_memSpeedTradeOff;                   // "MemSpeedTradeOff"
    bool m_avoidNormalReverse;                // "AvoidNormalReverse"
    bool m_protectTopology;                   // "ProtectTopology"
    bool m_allowFinishStep;                   // "AllowFinishStep"
    bool m_useAreaWeighting;                  // "UseAreaWeighting"
    bool m_iFlipX;                            // "IFlipX"
    bool m_iFlipY;                            // "IFlipY"
    bool m_iFlipZ;                            // "IFlipZ"
    bool m_iSwitchYZ;                         // "ISwitchYZ"
    bool m_keepUVs;                           // "KeepUVs"
    bool m_useVtxColors;                      // "UseVtxColors"
    float m_useVtxColorsCoef;                 // "UseVtxColorsCoef"
    int m_numThread;                          // "NumThread"
    bool m_doReorder;                         // "DoReorder"
};
