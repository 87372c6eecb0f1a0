// The cache file's checksum: every byte counts, wherever it falls among the lanes and the tail.
#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <vector>

#include "YDecimatorCacheFile.h"

namespace {

TEST(CacheFile, ChecksumSeesEveryByteAndItsPlace) {
    std::vector<std::uint8_t> data(32 * 3 + 7);
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = std::uint8_t(i * 37 + 11);
    const std::uint32_t base = YDecimatorCacheFile::checksum(data.data(), data.size());
    std::set<std::uint32_t> seen{base};
    for (std::size_t i = 0; i < data.size(); ++i) {
        std::vector<std::uint8_t> flipped = data;
        flipped[i] ^= 0x01;
        seen.insert(YDecimatorCacheFile::checksum(flipped.data(), flipped.size()));
    }
    EXPECT_EQ(seen.size(), data.size() + 1);
    // Two words swapped between lanes, and the same bytes one shorter, sum differently too.
    std::vector<std::uint8_t> swapped = data;
    for (int b = 0; b < 8; ++b) std::swap(swapped[std::size_t(b)], swapped[std::size_t(8 + b)]);
    EXPECT_NE(YDecimatorCacheFile::checksum(swapped.data(), swapped.size()), base);
    EXPECT_NE(YDecimatorCacheFile::checksum(data.data(), data.size() - 1), base);
    EXPECT_NE(YDecimatorCacheFile::checksum(data.data(), 0), YDecimatorCacheFile::checksum(data.data(), 1));
}

}  // namespace
