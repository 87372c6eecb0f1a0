// BBox growth and KVArray storage.
#include <gtest/gtest.h>

#include <cstring>

#include "BBox.h"
#include "KVArray.h"

namespace {
BBox box(float x0, float y0, float z0, float x1, float y1, float z1) { return BBox{{x0, y0, z0}, {x1, y1, z1}}; }
// Boxes compared as their bytes: every field, both corners.
void expectBox(const BBox& got, const BBox& want) { EXPECT_EQ(std::memcmp(&got, &want, sizeof got), 0); }
}  // namespace

TEST(BBox, EmptyBoxTakesTheFirstPointThenGrowsPerAxis) {
    BBox b = box(7, 7, 7, 7, 7, 7);
    b.setEmpty();
    EXPECT_TRUE(b.isEmpty());
    EXPECT_EQ(b.min.y, 7.0f);  // only the x pair is touched by emptying
    b.add(KVVector3f{1, 2, 3});
    EXPECT_FALSE(b.isEmpty());
    b.add(KVVector3f{-1, 5, 3});
    b.add(KVVector3f{4, -2, 0});
    expectBox(b, box(-1, -2, 0, 4, 5, 3));
}

TEST(BBox, AddingIntoAnEmptyBoxCopiesTheOtherWhole) {
    BBox a = box(0, 9, 9, -1, 9, 9);
    const BBox other = box(1, 2, 3, 4, 5, 6);
    a.add(other);
    expectBox(a, other);
}

TEST(BBox, AddingAnEmptyBoxStillAddsItsTwoCorners) {
    BBox a = box(1, 1, 1, 2, 2, 2);
    BBox empty = box(5, 5, 5, 5, 5, 5);
    empty.setEmpty();  // x pair 0 and -1, the rest stays 5
    a.add(empty);
    expectBox(a, box(-1, 1, 1, 2, 5, 5));
}

TEST(KVArray, ResizeFillsAndStorageIsContiguous) {
    KVArray<int> a;
    a.resize(3, 7);
    a.add(9);
    ASSERT_EQ(a.getCount(), 4);
    EXPECT_EQ(a[0], 7);
    EXPECT_EQ(a.getData()[3], 9);
    a.resize(2);
    EXPECT_EQ(a.getCount(), 2);
    a.resize(-5);
    EXPECT_TRUE(a.isEmpty());
    KVArray<KVVector3f> points(2);
    const float raw[6] = {1, 2, 3, 4, 5, 6};
    std::memcpy(points.getData(), raw, sizeof raw);  // bulk fill, as the mesh readers do
    EXPECT_EQ(points[1].y, 5.0f);
}
