// Progressive-mesh cache commands through the loaded module, on real cache files.
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "PluginHost.h"

namespace {

// A 99-byte cache header holding the two source-mesh counts at their offsets, noise elsewhere.
std::string cacheHeader(std::uint32_t triangles, std::uint32_t vertices) {
    std::string bytes(99, '\x33');
    for (int i = 0; i < 4; ++i) {
        bytes[75 + i] = static_cast<char>((triangles >> (8 * i)) & 0xFF);
        bytes[79 + i] = static_cast<char>((vertices >> (8 * i)) & 0xFF);
    }
    return bytes + "mesh payload";
}

}  // namespace

TEST(DeleteAllProgMeshCaches, DeletesEveryYpmFileOfTheFolderKeptOrNot) {
    TempFolder folder;
    const PluginHost& host = sharedPluginHost();
    for (const char* name : {"a.YPM", "b.ypm", "c.ypmx", "d.kel"}) ASSERT_TRUE(writeFile(folder.file(name), "x"));
    ASSERT_EQ(mkdir(folder.file("sub").c_str(), 0755), 0);
    ASSERT_TRUE(writeFile(folder.file("sub/e.ypm"), "x"));
    EXPECT_EQ(host.call("DeleteAllProgMeshCaches"), 0.0f);  // no folder declared yet
    EXPECT_TRUE(pathExists(folder.file("b.ypm")));

    EXPECT_EQ(host.call("DeclareProgMeshCachesDir", ("!:" + folder.path()).c_str()), 0.0f);
    EXPECT_EQ(host.call("DeclareProgMeshCachesToKeep", folder.file("b.ypm").c_str()), 0.0f);
    EXPECT_EQ(host.call("DeleteAllProgMeshCaches"), 2.0f);

    EXPECT_FALSE(pathExists(folder.file("a.YPM")));
    EXPECT_FALSE(pathExists(folder.file("b.ypm")));
    EXPECT_TRUE(pathExists(folder.file("c.ypmx")));
    EXPECT_TRUE(pathExists(folder.file("d.kel")));
    EXPECT_TRUE(pathExists(folder.file("sub/e.ypm")));
    EXPECT_EQ(host.call("DeleteAllProgMeshCaches"), 0.0f);

    // A later declaration replaces the folder; a folder that cannot be read yields nothing.
    EXPECT_EQ(host.call("DeclareProgMeshCachesDir", folder.file("missing").c_str()), 0.0f);
    EXPECT_EQ(host.call("DeleteAllProgMeshCaches"), 0.0f);
    EXPECT_EQ(host.call("DeclareProgMeshCachesDir", folder.file("sub").c_str()), 0.0f);
    EXPECT_EQ(host.call("DeleteAllProgMeshCaches"), 1.0f);
    EXPECT_FALSE(pathExists(folder.file("sub/e.ypm")));
}

// The counts in thousands; a short file is not detected: the counts it does not hold read as zero.
TEST(GetPMeshOriginalCounts, ReadTheSourceCountsInThousands) {
    TempFolder folder;
    const std::string cache = folder.file("model.ypm");
    ASSERT_TRUE(writeFile(cache, cacheHeader(3000, 1500)));
    const PluginHost& host = sharedPluginHost();
    EXPECT_EQ(host.call("GetPMeshOriginalKVertexCount", cache.c_str()), 1.5f);
    EXPECT_EQ(host.call("GetPMeshOriginalKTriangleCount", cache.c_str()), 3.0f);
    EXPECT_EQ(host.call("GetPMeshOriginalKVertexCount", ("file:" + cache).c_str()), 1.5f);
    EXPECT_EQ(host.call("GetPMeshOriginalKVertexCount", folder.file("none.ypm").c_str()), -1.0f);
    EXPECT_EQ(host.call("GetPMeshOriginalKTriangleCount", nullptr), -1.0f);
    const std::string shortCache = folder.file("short.ypm");
    ASSERT_TRUE(writeFile(shortCache, cacheHeader(2000, 1000).substr(0, 79)));
    EXPECT_EQ(host.call("GetPMeshOriginalKTriangleCount", shortCache.c_str()), 2.0f);
    EXPECT_EQ(host.call("GetPMeshOriginalKVertexCount", shortCache.c_str()), 0.0f);
}

TEST(DeleteResultingKelFile, DeletesOnceAndRefusesNull) {
    TempFolder folder;
    const std::string result = folder.file("result.kel");
    ASSERT_TRUE(writeFile(result, "Kelb"));
    const PluginHost& host = sharedPluginHost();
    EXPECT_EQ(host.call("DeleteResultingKelFile", result.c_str()), 0.0f);
    EXPECT_FALSE(pathExists(result));
    EXPECT_EQ(host.call("DeleteResultingKelFile", result.c_str()), -1.0f);
    EXPECT_EQ(host.call("DeleteResultingKelFile", nullptr), -1.0f);
}
