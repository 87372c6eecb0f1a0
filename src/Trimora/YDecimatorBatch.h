// YDecimatorBatch: one batch of a job file, a kind and the input of its mesh.
#pragma once

#include "Trimora/YDecimatorInput.h"

class YDecimatorBatch {
public:
    enum Kind {
        kUnknown = 0,
        kBuildProgressiveMesh = 1,
        kDecimateMesh = 2,
        kDecimateProgressiveMesh = 3
    };

    YDecimatorBatch() = default;
    // Kind 0 and a cleared input; the link to the next batch is left alone.
    void clear();

    YDecimatorBatch* m_next = nullptr;  // owned by the job record that holds the list
    int m_kind = kUnknown;
    YDecimatorInput m_input;
};
