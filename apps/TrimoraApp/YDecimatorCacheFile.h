// YDecimatorCacheFile: a progressive-mesh cache, the 99-byte header followed by the engine's data.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "BBox.h"
#include "KVString.h"
#include "ProgressiveMesh/KVProgressiveMeshHeader.h"
#include "YDecimatorMeshConverter.h"

// What a cache records beside the engine's bytes: the source mesh and the options it was built
// with (a cache decimates only under those). How each is placed in the header is in the README
// ("TrimoraApp", cache layout); the placement lives in toHeader() and fromHeader() alone.
struct YDecimatorCacheInfo {
    std::int32_t sourceTriangles = 0;
    std::int32_t sourceVertices = 0;
    BBox box{{0.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 0.0f}};  // of the source, in its file's frame
    YDecimatorMeshBlocks blocks;                      // optional blocks of the source file
    YDecimatorAxisFlags axes;
    bool freezeBorder = false;
    bool keepUVs = false;
    bool useColors = false;
    bool useMask = false;
    bool avoidNormalReverse = true;
    bool protectTopology = true;
    bool allowFinishStep = false;
    bool useAreaWeighting = false;
    std::int32_t symmetryMode = 0;
    std::int32_t minVertices = 4;     // the progressive mesh goes no lower
    float colorCoef = 50.0f;
    std::int32_t numThreads = 1;
    std::int32_t memSpeedTradeOff = 1;
};

class YDecimatorCacheFile {
public:
    static constexpr std::int32_t kMagic = 0x314D5059;  // bytes "YPM1"
    static constexpr std::int32_t kLayoutVersion = 2;

    static KVProgressiveMeshHeader toHeader(const YDecimatorCacheInfo& info, std::uint64_t payloadSize,
                                            std::uint32_t payloadChecksum);
    // False, with `error`, when the header is not one this application wrote.
    static bool fromHeader(const KVProgressiveMeshHeader& header, YDecimatorCacheInfo& info,
                           std::uint64_t& payloadSize, std::uint32_t& payloadChecksum, std::string& error);

    // Writes the header, a zero byte (so that the engine's bytes lie 4-byte aligned in the file)
    // and the engine's bytes to `path` ("wb"). False, and no file left, on any failure.
    static bool write(const KVString& path, const YDecimatorCacheInfo& info, const std::vector<std::uint8_t>& payload,
                      std::string& error);
    // Maps a whole cache and points `bytes` at the engine's bytes in it (the mapping lives as long
    // as `bytes`). The file is hostile: its size must be exactly the header plus the payload size
    // the header states, and the engine's bytes must match their checksum.
    static bool read(const KVString& path, YDecimatorCacheInfo& info, std::shared_ptr<const std::uint8_t>& bytes,
                     std::size_t& byteCount, std::string& error);

    // Enough to catch a truncated or damaged cache (the README gives the definition).
    static std::uint32_t checksum(const std::uint8_t* data, std::size_t size);
};
