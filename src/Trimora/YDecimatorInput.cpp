// YDecimatorInput: defaults and the target vertex count.
#include "Trimora/YDecimatorInput.h"

#include <cmath>

YDecimatorInput::YDecimatorInput() { clear(); }

void YDecimatorInput::clear() {
    m_inputFile = KVString();
    m_outputFile = KVString();
    m_deleteInputFile = false;
    m_symmetryMode = kSymmetryNone;
    m_freezeBorder = false;
    m_useMask = false;
    m_progressiveMeshMinNum = 4;
    m_decimationTargetNum = 4;
    m_decimationTargetPourcent = -1.0f;
    m_memSpeedTradeOff = 1;
    m_avoidNormalReverse = true;
    m_protectTopology = true;
    m_allowFinishStep = false;
    m_useAreaWeighting = false;
    // The axis flags have no default of their own: false unless a file sets them, so a value
    // from an earlier file never carries into the next read.
    m_iFlipX = false;
    m_iFlipY = false;
    m_iFlipZ = false;
    m_iSwitchYZ = false;
    m_keepUVs = false;
    m_useVtxColors = false;
    m_useVtxColorsCoef = 50.0f;
    m_numThread = 1;
    m_doReorder = true;
}

int YDecimatorInput::getDecimationTargetNumVertices(int numVertices) const {
    if (m_decimationTargetPourcent == -1.0f) return m_decimationTargetNum;
    const float target = m_decimationTargetPourcent / 100.0f * static_cast<float>(numVertices);
    // Percents are not validated: keep the conversion defined for any of them.
    if (std::isnan(target)) return 0;
    if (target >= 2147483648.0f) return 2147483647;
    if (target <= -2147483648.0f) return -2147483647 - 1;
    return static_cast<int>(target);
}

bool YDecimatorInput::operator==(const YDecimatorInput& o) const {
    return m_inputFile == o.m_inputFile && m_outputFile == o.m_outputFile && m_deleteInputFile == o.m_deleteInputFile &&
           m_symmetryMode == o.m_symmetryMode && m_freezeBorder == o.m_freezeBorder && m_useMask == o.m_useMask &&
           m_progressiveMeshMinNum == o.m_progressiveMeshMinNum && m_decimationTargetNum == o.m_decimationTargetNum &&
           m_decimationTargetPourcent == o.m_decimationTargetPourcent && m_memSpeedTradeOff == o.m_memSpeedTradeOff &&
           m_avoidNormalReverse == o.m_avoidNormalReverse && m_protectTopology == o.m_protectTopology &&
           m_allowFinishStep == o.m_allowFinishStep && m_useAreaWeighting == o.m_useAreaWeighting &&
           m_iFlipX == o.m_iFlipX && m_iFlipY == o.m_iFlipY && m_iFlipZ == o.m_iFlipZ && m_iSwitchYZ == o.m_iSwitchYZ &&
           m_keepUVs == o.m_keepUVs && m_useVtxColors == o.m_useVtxColors &&
           m_useVtxColorsCoef == o.m_useVtxColorsCoef && m_numThread == o.m_numThread && m_doReorder == o.m_doReorder;
}
