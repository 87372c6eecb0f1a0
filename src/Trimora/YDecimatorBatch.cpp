// YDecimatorBatch: reset of one batch.
#include "Trimora/YDecimatorBatch.h"

void YDecimatorBatch::clear() {
    m_kind = kUnknown;
    m_input.clear();
}
