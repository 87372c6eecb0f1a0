// BBox: the axis-aligned box as the host keeps it, six floats (min x, y, z, max x, y, z).
#pragma once

#include "KVVector.h"

struct BBox {
    KVVector3f min;
    KVVector3f max;

    // Empty means max x < min x; an emptied box stores min x = 0 and max x = -1 only.
    bool isEmpty() const { return max.x < min.x; }
    void setEmpty();
    void add(const KVVector3f& p);
    // The other box is not tested for emptiness on purpose: host scripts rely on its six floats
    // being added as two points.
    void add(const BBox& other);
};

static_assert(sizeof(BBox) == 24, "BBox is six packed floats, as in host memory");
