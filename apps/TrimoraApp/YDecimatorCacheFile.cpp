// YDecimatorCacheFile: a progressive-mesh cache, the 99-byte header followed by the engine's data.
#include "YDecimatorCacheFile.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <cmath>
#include <cstdio>
#include <cstring>

#include "native/KVDiskServer.h"

namespace {

std::int32_t floatBits(float f) {
    std::int32_t i;
    std::memcpy(&i, &f, sizeof i);
    return i;
}

float bitsFloat(std::int32_t i) {
    float f;
    std::memcpy(&f, &i, sizeof f);
    return f;
}

}  // namespace

std::uint32_t YDecimatorCacheFile::checksum(const std::uint8_t* data, std::size_t size) {
    // FNV-1a over 64-bit little-endian words dealt round four lanes: the lanes multiply
    // independently, so summing a cache of tens of megabytes costs about as much as reading it
    // (a byte at a time, it cost more than the replay itself).
    const std::uint64_t prime = 1099511628211ull;
    std::uint64_t lane[4];
    for (std::uint64_t& l : lane) l = 14695981039346656037ull;
    std::size_t i = 0;
    for (; i + 32 <= size; i += 32) {
        std::uint64_t w[4];
        std::memcpy(w, data + i, sizeof w);  // little-endian words on every machine the application runs on
        for (int k = 0; k < 4; ++k) lane[k] = (lane[k] ^ w[k]) * prime;
    }
    for (; i < size; ++i) lane[0] = (lane[0] ^ data[i]) * prime;
    std::uint64_t h = lane[0];
    for (int k = 1; k < 4; ++k) h = (h ^ lane[k]) * prime;
    h = (h ^ std::uint64_t(size)) * prime;
    return std::uint32_t(h ^ (h >> 32));
}

KVProgressiveMeshHeader YDecimatorCacheFile::toHeader(const YDecimatorCacheInfo& info, std::uint64_t payloadSize,
                                                      std::uint32_t payloadChecksum) {
    KVProgressiveMeshHeader h;
    h.m_valueA = kMagic;
    h.m_valueB = kLayoutVersion;
    h.m_firstTriple[0] = info.box.min.x;
    h.m_firstTriple[1] = info.box.min.y;
    h.m_firstTriple[2] = info.box.min.z;
    h.m_secondTriple[0] = info.box.max.x;
    h.m_secondTriple[1] = info.box.max.y;
    h.m_secondTriple[2] = info.box.max.z;
    h.m_flags1To4[0] = info.blocks.uvs;
    h.m_flags1To4[1] = info.blocks.colors;
    h.m_flags1To4[2] = info.blocks.mask;
    h.m_flags1To4[3] = info.freezeBorder;
    h.m_valueE = info.symmetryMode;
    h.m_pairs[0] = info.minVertices;
    h.m_pairs[1] = info.axes.toBits();
    h.m_pairs[2] = static_cast<std::int32_t>(static_cast<std::uint32_t>(payloadSize & 0xFFFFFFFFu));
    h.m_pairs[3] = static_cast<std::int32_t>(static_cast<std::uint32_t>(payloadSize >> 32));
    h.m_pairs[4] = static_cast<std::int32_t>(payloadChecksum);
    h.m_pairs[5] = 0;
    h.m_valueF = floatBits(info.colorCoef);
    h.m_flags5To11[0] = info.keepUVs;
    h.m_flags5To11[1] = info.useColors;
    h.m_flags5To11[2] = info.useMask;
    h.m_flags5To11[3] = info.avoidNormalReverse;
    h.m_flags5To11[4] = info.protectTopology;
    h.m_flags5To11[5] = info.allowFinishStep;
    h.m_flags5To11[6] = info.useAreaWeighting;
    h.m_originalTriangleCount = info.sourceTriangles;
    h.m_originalVertexCount = info.sourceVertices;
    h.m_valueG = info.numThreads;
    h.m_valueH = info.memSpeedTradeOff;
    h.m_valueI = 0;
    h.m_valueJ = 0;
    return h;
}

bool YDecimatorCacheFile::fromHeader(const KVProgressiveMeshHeader& h, YDecimatorCacheInfo& info,
                                     std::uint64_t& payloadSize, std::uint32_t& payloadChecksum, std::string& error) {
    if (h.m_valueA != kMagic) {
        error = "not a progressive-mesh cache (bad magic)";
        return false;
    }
    if (h.m_valueB != kLayoutVersion) {
        error = "progressive-mesh cache of an unknown layout version " + std::to_string(h.m_valueB);
        return false;
    }
    info = YDecimatorCacheInfo();
    info.box.min = {h.m_firstTriple[0], h.m_firstTriple[1], h.m_firstTriple[2]};
    info.box.max = {h.m_secondTriple[0], h.m_secondTriple[1], h.m_secondTriple[2]};
    info.blocks.uvs = h.m_flags1To4[0];
    info.blocks.colors = h.m_flags1To4[1];
    info.blocks.mask = h.m_flags1To4[2];
    info.freezeBorder = h.m_flags1To4[3];
    info.symmetryMode = h.m_valueE;
    info.minVertices = h.m_pairs[0];
    info.axes = YDecimatorAxisFlags::fromBits(h.m_pairs[1]);
    payloadSize = static_cast<std::uint64_t>(static_cast<std::uint32_t>(h.m_pairs[2])) |
                  (static_cast<std::uint64_t>(static_cast<std::uint32_t>(h.m_pairs[3])) << 32);
    payloadChecksum = static_cast<std::uint32_t>(h.m_pairs[4]);
    info.colorCoef = bitsFloat(h.m_valueF);
    info.keepUVs = h.m_flags5To11[0];
    info.useColors = h.m_flags5To11[1];
    info.useMask = h.m_flags5To11[2];
    info.avoidNormalReverse = h.m_flags5To11[3];
    info.protectTopology = h.m_flags5To11[4];
    info.allowFinishStep = h.m_flags5To11[5];
    info.useAreaWeighting = h.m_flags5To11[6];
    info.sourceTriangles = h.m_originalTriangleCount;
    info.sourceVertices = h.m_originalVertexCount;
    info.numThreads = h.m_valueG;
    info.memSpeedTradeOff = h.m_valueH;
    if (info.sourceVertices <= 0 || info.sourceTriangles <= 0 || info.symmetryMode < 0 || info.symmetryMode > 4 ||
        (h.m_pairs[1] & ~15) != 0 || !std::isfinite(info.colorCoef)) {
        error = "malformed progressive-mesh cache header";
        return false;
    }
    return true;
}

bool YDecimatorCacheFile::write(const KVString& path, const YDecimatorCacheInfo& info,
                                const std::vector<std::uint8_t>& payload, std::string& error) {
    const KVString valid(path.getValidFilePath());
    FILE* f = std::fopen(valid.c_str(), "wb");
    if (f == nullptr) {
        error = std::string("cannot create the cache file: ") + path.c_str();
        return false;
    }
    const KVProgressiveMeshHeader header = toHeader(info, payload.size() + 1, checksum(payload.data(), payload.size()));
    header.write(f);
    bool ok = std::ftell(f) == KVProgressiveMeshHeader::kSize && std::fputc(0, f) == 0;
    if (ok && !payload.empty()) ok = std::fwrite(payload.data(), 1, payload.size(), f) == payload.size();
    if (std::fclose(f) != 0) ok = false;
    if (!ok) {
        KVDiskServer::deleteFile(valid);
        error = std::string("cannot write the cache file: ") + path.c_str();
    }
    return ok;
}

bool YDecimatorCacheFile::read(const KVString& path, YDecimatorCacheInfo& info,
                               std::shared_ptr<const std::uint8_t>& bytes, std::size_t& byteCount, std::string& error) {
    bytes.reset();
    byteCount = 0;
    const KVString valid(path.getValidFilePath());
    struct stat st {};
    if (valid.isEmpty() || stat(valid.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        error = std::string("progressive-mesh cache not found: ") + path.c_str();
        return false;
    }
    FILE* f = std::fopen(valid.c_str(), "rb");
    if (f == nullptr) {
        error = std::string("cannot open the progressive-mesh cache: ") + path.c_str();
        return false;
    }
    bool ok = false;
    const std::uint64_t fileSize = static_cast<std::uint64_t>(st.st_size);
    const std::uint64_t start = KVProgressiveMeshHeader::kSize + 1;  // the engine's bytes, after the pad byte
    std::uint64_t size = 0;
    std::uint32_t sum = 0;
    KVProgressiveMeshHeader header;
    if (fileSize < static_cast<std::uint64_t>(KVProgressiveMeshHeader::kSize)) {
        error = "progressive-mesh cache shorter than its header";
    } else if (header.read(f), !fromHeader(header, info, size, sum, error)) {
        // error set by fromHeader
    } else if (size != fileSize - KVProgressiveMeshHeader::kSize || size < 1) {
        error = "progressive-mesh cache truncated or with trailing bytes";
    } else {
        // Mapped, not read: the pages come straight from the file cache, where reading tens of
        // megabytes into fresh memory cost more than the replay. The size matched the file.
        void* base = mmap(nullptr, static_cast<std::size_t>(fileSize), PROT_READ, MAP_PRIVATE | MAP_POPULATE,
                          fileno(f), 0);
        if (base == MAP_FAILED) {
            error = "progressive-mesh cache could not be read whole";
        } else {
            const std::size_t length = static_cast<std::size_t>(fileSize);
            std::shared_ptr<const std::uint8_t> whole(static_cast<const std::uint8_t*>(base),
                                                      [length](const std::uint8_t* p) {
                                                          munmap(const_cast<std::uint8_t*>(p), length);
                                                      });
            const std::size_t count = static_cast<std::size_t>(fileSize - start);
            if (whole.get()[KVProgressiveMeshHeader::kSize] != 0) {
                error = "progressive-mesh cache damaged (pad byte)";
            } else if (checksum(whole.get() + start, count) != sum) {
                error = "progressive-mesh cache damaged (checksum mismatch)";
            } else {
                bytes = std::shared_ptr<const std::uint8_t>(whole, whole.get() + start);
                byteCount = count;
                ok = true;
            }
        }
    }
    std::fclose(f);
    if (!ok) error += std::string(": ") + path.c_str();
    return ok;
}
