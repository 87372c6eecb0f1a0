// KVProgressiveMeshHeader: the 99-byte cache header, field by field at its offsets.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "PluginHost.h"
#include "ProgressiveMesh/KVProgressiveMeshHeader.h"
#include "native/KVDiskServer.h"

namespace {

void put32(std::string& bytes, std::size_t offset, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) bytes[offset + i] = static_cast<char>((v >> (8 * i)) & 0xFF);
}

std::uint32_t floatBits(float f) {
    std::uint32_t v;
    std::memcpy(&v, &f, sizeof v);
    return v;
}

// 99 bytes where every 32-bit field holds its own offset + 0x1000 and the flags alternate.
std::string distinctHeaderBytes() {
    std::string bytes(99, '\0');
    const std::size_t words[] = {0, 4, 8, 12, 16, 20, 24, 28, 36, 40, 44, 48, 52, 56, 60, 64, 75, 79, 83, 87, 91, 95};
    for (std::size_t offset : words) put32(bytes, offset, 0x1000u + static_cast<std::uint32_t>(offset));
    const std::size_t flags[] = {32, 33, 34, 35, 68, 69, 70, 71, 72, 73, 74};
    for (std::size_t i = 0; i < sizeof flags / sizeof flags[0]; ++i) bytes[flags[i]] = (i % 2 == 0) ? 7 : 0;
    return bytes;
}

std::string writeToBytes(const KVProgressiveMeshHeader& header, const TempFolder& folder) {
    const std::string path = folder.file("w.ypm");
    FILE* f = std::fopen(path.c_str(), "wb");
    EXPECT_NE(f, nullptr);
    EXPECT_EQ(header.write(f), 0);
    std::fclose(f);
    std::string bytes;
    EXPECT_TRUE(readFile(path, bytes));
    return bytes;
}

void readFromBytes(KVProgressiveMeshHeader& header, const std::string& bytes, const TempFolder& folder) {
    const std::string path = folder.file("r.ypm");
    ASSERT_TRUE(writeFile(path, bytes));
    FILE* f = std::fopen(path.c_str(), "rb");
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(header.read(f), 0);
    std::fclose(f);
}

}  // namespace

TEST(KVProgressiveMeshHeader, ReadsEachFieldFromItsOffset) {
    TempFolder folder;
    KVProgressiveMeshHeader h;
    readFromBytes(h, distinctHeaderBytes(), folder);
    EXPECT_EQ(h.m_valueA, 0x1000);
    EXPECT_EQ(h.m_valueB, 0x1004);
    EXPECT_EQ(floatBits(h.m_firstTriple[0]), 0x1008u);
    EXPECT_EQ(floatBits(h.m_firstTriple[2]), 0x1010u);
    EXPECT_EQ(floatBits(h.m_secondTriple[0]), 0x1014u);
    EXPECT_EQ(floatBits(h.m_secondTriple[2]), 0x101Cu);
    EXPECT_EQ(std::vector<bool>(h.m_flags1To4, h.m_flags1To4 + 4), (std::vector<bool>{true, false, true, false}));
    EXPECT_EQ(h.m_valueE, 0x1024);
    EXPECT_EQ(h.m_pairs[0], 0x1028);
    EXPECT_EQ(h.m_pairs[5], 0x103C);
    EXPECT_EQ(h.m_valueF, 0x1040);
    // The flags alternate on, off, on... from flag 1 to flag 11.
    EXPECT_EQ(std::vector<bool>(h.m_flags5To11, h.m_flags5To11 + 7),
              (std::vector<bool>{true, false, true, false, true, false, true}));
    EXPECT_EQ(h.m_originalTriangleCount, 0x1000 + 75);
    EXPECT_EQ(h.m_originalVertexCount, 0x1000 + 79);
    EXPECT_EQ(h.m_valueG, 0x1000 + 83);
    EXPECT_EQ(h.m_valueH, 0x1000 + 87);
    EXPECT_EQ(h.m_valueI, 0x1000 + 91);
    EXPECT_EQ(h.m_valueJ, 0x1000 + 95);
}

TEST(KVProgressiveMeshHeader, WritesThe99BytesItReadWithFlagsAsOne) {
    TempFolder folder;
    KVProgressiveMeshHeader h;
    const std::string input = distinctHeaderBytes();
    readFromBytes(h, input, folder);
    std::string expected = input;
    const std::size_t flags[] = {32, 33, 34, 35, 68, 69, 70, 71, 72, 73, 74};
    for (std::size_t offset : flags) expected[offset] = expected[offset] ? 1 : 0;
    EXPECT_EQ(writeToBytes(h, folder), expected);
}

TEST(KVProgressiveMeshHeader, InvalidStreamAndShortFileKeepPreviousValues) {
    TempFolder folder;
    KVProgressiveMeshHeader h;
    h.m_originalVertexCount = 42;
    h.m_valueJ = 7;
    EXPECT_EQ(h.read(KVDiskServer::s_invalidFile), 0);
    EXPECT_EQ(h.write(KVDiskServer::s_invalidFile), 0);
    EXPECT_EQ(h.m_originalVertexCount, 42);

    // 77 bytes: the triangle count gets its first two bytes only, later fields are untouched.
    std::string shortFile = distinctHeaderBytes().substr(0, 77);
    h.m_originalTriangleCount = 0x7F7F0000;
    readFromBytes(h, shortFile, folder);
    EXPECT_EQ(h.m_valueA, 0x1000);
    EXPECT_EQ(h.m_originalTriangleCount, 0x7F7F0000 | (0x1000 + 75));
    EXPECT_EQ(h.m_originalVertexCount, 42);
    EXPECT_EQ(h.m_valueJ, 7);
}
