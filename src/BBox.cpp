// BBox: box growth by points and by boxes.
#include "BBox.h"

void BBox::setEmpty() {
    min.x = 0.0f;
    max.x = -1.0f;
}

void BBox::add(const KVVector3f& p) {
    if (isEmpty()) {
        min = p;
        max = p;
        return;
    }
    if (min.x > p.x) min.x = p.x;
    else if (p.x > max.x) max.x = p.x;
    if (min.y > p.y) min.y = p.y;
    else if (p.y > max.y) max.y = p.y;
    if (min.z > p.z) min.z = p.z;
    else if (p.z > max.z) max.z = p.z;
}

void BBox::add(const BBox& other) {
    if (isEmpty()) {
        *this = other;
        return;
    }
    add(other.min);
    add(other.max);
}
