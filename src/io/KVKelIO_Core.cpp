// KVKelIO_Core: block walking, bulk payload transfers and in-place patches of ".kel" files.
#include "io/KVKelIO_Core.h"

#include <climits>
#include <cstring>
#include <functional>
#include <memory>

#include "log/KVLogServer.h"
#include "native/KVDiskServer.h"

namespace {

const char kMagic[4] = {'K', 'e', 'l', 'b'};

std::uint64_t minU64(std::uint64_t a, std::uint64_t b) { return a < b ? a : b; }

// An open file that knows its size, so that every length read from it can be compared with
// the bytes left before anything is allocated, read or skipped. Closes itself on every path.
class KelFile {
public:
    KelFile(const KVString& path, const char* mode) {
        const char* p = path.getValidFilePath();
        if (p == nullptr || p[0] == '\0') return;
        m_file = std::fopen(p, mode);
        if (m_file == nullptr) return;
        // A stream whose size cannot be known cannot be checked: refuse it like a failed open.
        long size = -1;
        if (std::fseek(m_file, 0, SEEK_END) == 0) size = std::ftell(m_file);
        if (size < 0 || std::fseek(m_file, 0, SEEK_SET) != 0) {
            close();
            return;
        }
        m_size = static_cast<std::uint64_t>(size);
    }
    ~KelFile() { close(); }
    KelFile(const KelFile&) = delete;
    KelFile& operator=(const KelFile&) = delete;

    bool isOpen() const { return m_file != nullptr; }
    FILE* get() const { return m_file; }
    void close() {
        if (m_file != nullptr) std::fclose(m_file);
        m_file = nullptr;
    }

    std::uint64_t bytesLeft() const {
        const long pos = std::ftell(m_file);
        if (pos < 0) return 0;
        const std::uint64_t p = static_cast<std::uint64_t>(pos);
        return p < m_size ? m_size - p : 0;
    }

    // Moves forward; n never exceeds bytesLeft() here, so it fits a long.
    bool forward(std::uint64_t n) {
        if (n == 0) return true;
        return std::fseek(m_file, static_cast<long>(n), SEEK_CUR) == 0;
    }

    // Steps over a block's payload. False ends the walk: a length below 16 (a seek backwards
    // that could loop for ever) or a payload running past the end of the file (the next header
    // read would fail anyway).
    bool skip(const Kel_Header& h) {
        if (h.length < KVKelIO_Core::kBlockHeaderSize) return false;
        const std::uint64_t payload = h.length - KVKelIO_Core::kBlockHeaderSize;
        if (payload > bytesLeft()) return false;
        return forward(payload);
    }

    // What reading a block's payload as `elements` elements of `size` bytes gives. The length
    // decides how many bytes the block spans (`span`); the array holds `elements` (or nothing when
    // the file cannot hold them), the first `stored` bytes from the file and zeros after them.
    struct PayloadPlan {
        bool valid = false;  // a length below 16: a broken header
        std::uint64_t elements = 0;
        std::uint64_t stored = 0;
        std::uint64_t span = 0;
        bool whole = false;  // the block's payload lies whole inside the file
    };

    PayloadPlan plan(const Kel_Header& h, std::uint64_t elements, std::uint64_t size) const {
        PayloadPlan r;
        if (h.length < KVKelIO_Core::kBlockHeaderSize) return r;
        r.valid = true;
        const std::uint64_t payload = h.length - KVKelIO_Core::kBlockHeaderSize;
        const std::uint64_t left = bytesLeft();
        r.span = minU64(payload, left);
        r.whole = r.span == payload;
        // elements <= 4 x 2^32 and size <= 12: the product cannot overflow 64 bits.
        const std::uint64_t need = elements * size;
        if (elements <= static_cast<std::uint64_t>(INT_MAX) && need <= left) {
            r.elements = elements;
            r.stored = minU64(r.span, need);
        }
        return r;
    }

    // Reads a block's payload into `out` as plan() describes, nothing allocated when the file
    // cannot hold the elements. False ends the walk (malformed length, payload cut short).
    template <typename T>
    bool readPayload(const Kel_Header& h, std::uint64_t elements, KVArray<T>& out) {
        const PayloadPlan r = plan(h, elements, sizeof(T));
        if (!r.valid) return false;
        if (r.elements == 0) {
            out.clear();
        } else {
            out.resizeForOverwrite(static_cast<int>(r.elements));
            const std::uint64_t need = r.elements * sizeof(T);
            // Only the bytes the file does not supply are zeroed: a short block or a short read
            // leaves zero-filled elements behind what was read.
            const std::size_t got =
                r.stored > 0 ? std::fread(out.getData(), 1, static_cast<std::size_t>(r.stored), m_file) : 0;
            if (need > got)
                std::memset(reinterpret_cast<unsigned char*>(out.getData()) + got, 0,
                            static_cast<std::size_t>(need - got));
            if (got != r.stored) return false;
        }
        if (!forward(r.span - r.stored)) return false;
        return r.whole;
    }

    // Notes where a block's payload starts and what reading it would give, and steps over it
    // as readPayload would. False ends the walk.
    bool notePayload(const Kel_Header& h, std::uint64_t elements, std::uint64_t size, long& start, PayloadPlan& r) {
        const PayloadPlan next = plan(h, elements, size);
        if (!next.valid) return false;  // an earlier block's payload stays, as with readPayload
        r = next;
        start = std::ftell(m_file);
        return forward(r.span) && r.whole;
    }

    // Hands the elements of a noted payload to `sink` in chunks of at most `chunk` elements
    // through one buffer: the same elements, in the same order, as readPayload stores.
    void streamPayload(long start, const PayloadPlan& r, std::size_t size, int chunk,
                       const std::function<void(const void*, int)>& sink) {
        if (r.elements == 0) return;
        if (chunk < 1) chunk = 1;
        if (static_cast<std::uint64_t>(chunk) > r.elements) chunk = static_cast<int>(r.elements);
        std::unique_ptr<unsigned char[]> buffer(new unsigned char[static_cast<std::size_t>(chunk) * size]);
        bool readable = std::fseek(m_file, start, SEEK_SET) == 0;
        for (std::uint64_t first = 0; first < r.elements; first += static_cast<std::uint64_t>(chunk)) {
            const int n = static_cast<int>(minU64(static_cast<std::uint64_t>(chunk), r.elements - first));
            const std::uint64_t bytes = static_cast<std::uint64_t>(n) * size;
            const std::uint64_t offset = first * size;
            const std::uint64_t fromFile = offset < r.stored ? minU64(bytes, r.stored - offset) : 0;
            std::size_t got = 0;
            if (readable && fromFile > 0) got = std::fread(buffer.get(), 1, static_cast<std::size_t>(fromFile), m_file);
            // What the file does not supply reads as zeros, and a failed read ends the reading.
            if (got != fromFile) readable = false;
            std::memset(buffer.get() + got, 0, static_cast<std::size_t>(bytes - got));
            sink(buffer.get(), n);
        }
    }

private:
    FILE* m_file = nullptr;
    std::uint64_t m_size = 0;
};

bool writeU32(FILE* f, std::uint32_t v) { return std::fwrite(&v, 1, 4, f) == 4; }

bool readU32(FILE* f, std::uint32_t& v) { return std::fread(&v, 1, 4, f) == 4; }

// Opens and checks the file header; false leaves the file closed.
bool openChecked(KelFile& f) {
    if (!f.isOpen()) return false;
    if (!KVKelIO_Core::readFileHeader(f.get())) {
        f.close();
        return false;
    }
    return true;
}

// The common walk: calls handle(header) for each block up to the end block. handle returns
// false to stop (its work done, or the file malformed). Every reader returns true after it.
template <typename Handler>
void walkBlocks(KelFile& f, Handler&& handle) {
    Kel_Header h;
    while (KVKelIO_Core::readBlockHeader(f.get(), h)) {
        if (h.tag == KVKelIO_Core::kTagEnd) return;
        if (!handle(h)) return;
    }
}

inline int logCount(std::uint32_t count) { return static_cast<int>(count); }

std::uint64_t faceElements(const Kel_Header& h) { return 4ull * h.count; }

bool readPoints(KelFile& f, const Kel_Header& h, KVArray<KVVector3f>& points) {
    return f.readPayload(h, h.count, points);
}

bool readFaces(KelFile& f, const Kel_Header& h, KVArray<int>& faces) {
    return f.readPayload(h, faceElements(h), faces);
}

bool readUVs(KelFile& f, const Kel_Header& h, KVArray<KVVector2f>& uvs) {
    return f.readPayload(h, faceElements(h), uvs);
}

bool readColors(KelFile& f, const Kel_Header& h, KVArray<unsigned int>& colors) {
    return f.readPayload(h, h.count, colors);
}

// Adds points to a box exactly as BBox::add would one by one; once the box holds a point it is
// never empty again and min <= max per axis, so the two comparisons per axis are independent.
void addPoints(BBox& box, const KVVector3f* p, std::size_t n) {
    std::size_t i = 0;
    while (i < n && box.isEmpty()) box.add(p[i++]);
    float mnx = box.min.x, mny = box.min.y, mnz = box.min.z;
    float mxx = box.max.x, mxy = box.max.y, mxz = box.max.z;
    for (; i < n; ++i) {
        const float x = p[i].x, y = p[i].y, z = p[i].z;
        mnx = mnx > x ? x : mnx;
        mxx = x > mxx ? x : mxx;
        mny = mny > y ? y : mny;
        mxy = y > mxy ? y : mxy;
        mnz = mnz > z ? z : mnz;
        mxz = z > mxz ? z : mxz;
    }
    box.min = KVVector3f{mnx, mny, mnz};
    box.max = KVVector3f{mxx, mxy, mxz};
}

// Overwrites one matching block's payload with at most the array's bytes, then steps over what
// the length says is left. Sets `whole` when every byte meant for the payload was written.
// False ends the walk.
bool overwritePayload(KelFile& f, const Kel_Header& h, const void* data, std::uint64_t dataBytes,
                      bool& whole) {
    whole = false;
    if (h.length < KVKelIO_Core::kBlockHeaderSize) return false;
    const std::uint64_t payload = h.length - KVKelIO_Core::kBlockHeaderSize;
    const std::uint64_t n = minU64(payload, dataBytes);
    FILE* file = f.get();
    // A stream switching from reading to writing must be positioned first.
    if (std::fseek(file, 0, SEEK_CUR) != 0) return false;
    std::size_t written = 0;
    if (n > 0) written = std::fwrite(data, 1, static_cast<std::size_t>(n), file);
    if (std::fflush(file) != 0) return false;
    whole = written == n;
    if (!whole) return false;
    const std::uint64_t rest = payload - n;
    if (rest > f.bytesLeft()) return false;
    return f.forward(rest);
}

}  // namespace

KVKelIO_Core::KVKelIO_Core() : m_version(1) {}

// ---- Header operations

bool KVKelIO_Core::readFileHeader(FILE* file) {
    if (file == nullptr) return false;
    char header[kFileHeaderSize];
    if (std::fread(header, 1, sizeof header, file) != sizeof header) return false;
    return std::memcmp(header, kMagic, sizeof kMagic) == 0;
}

bool KVKelIO_Core::readBlockHeader(FILE* file, Kel_Header& header) {
    if (file == nullptr) return false;
    return readU32(file, header.tag) && readU32(file, header.length) && readU32(file, header.count) &&
           readU32(file, header.reserved);
}

bool KVKelIO_Core::skipBlock(FILE* file, const Kel_Header& header) {
    if (file == nullptr || header.length < kBlockHeaderSize) return false;
    const std::int32_t offset = static_cast<std::int32_t>(header.length - kBlockHeaderSize);
    if (offset < 0) return false;
    return std::fseek(file, offset, SEEK_CUR) == 0;
}

bool KVKelIO_Core::writeFileHeader(FILE* file) {
    if (file == nullptr) return false;
    char header[kFileHeaderSize] = {};
    std::memcpy(header, kMagic, sizeof kMagic);
    return std::fwrite(header, 1, sizeof header, file) == sizeof header;
}

bool KVKelIO_Core::writeBlockHeader(FILE* file, const Kel_Header& header) {
    if (file == nullptr) return false;
    return writeU32(file, header.tag) && writeU32(file, header.length) && writeU32(file, header.count) &&
           writeU32(file, header.reserved);
}

// ---- Readers

namespace {

// The walks of the single-block readers, shared by the whole and the streaming readers: `take`
// handles the chosen block's payload (reading it, or noting where it lies) and says whether the
// walk goes on.

// First Points block.
template <typename Take>
void walkToPoints(KelFile& f, Take&& take) {
    walkBlocks(f, [&](const Kel_Header& h) {
        if (h.tag != KVKelIO_Core::kTagPoints) return f.skip(h);
        take(h);
        return false;
    });
}

// Every Face4 block (the last one counts); hasUV tells whether a UV4 block stands before the end.
template <typename Take>
void walkToFaces(KelFile& f, bool& hasUV, Take&& take) {
    walkBlocks(f, [&](const Kel_Header& h) {
        if (h.tag == KVKelIO_Core::kTagUV4) {
            hasUV = true;
            return f.skip(h);
        }
        if (h.tag == KVKelIO_Core::kTagFace4) {
            KVLogServer::printLine("  Kel Reading [Face4] (%d fac)", logCount(h.count));
            return take(h);
        }
        return f.skip(h);
    });
}

// Every UV4 block (the last one counts).
template <typename Take>
void walkToUVs(KelFile& f, Take&& take) {
    walkBlocks(f, [&](const Kel_Header& h) {
        if (h.tag == KVKelIO_Core::kTagUV4) {
            KVLogServer::printLine("  Kel Reading [UV4] (%d)", logCount(h.count));
            return take(h);
        }
        KVLogServer::printLine("  Kel Reading: Skipping Bloc tag=%d", logCount(h.tag));
        return f.skip(h);
    });
}

// A streaming reader: `walk(file, take)` walks as its whole reader does, `take` notes the chosen
// block's payload (`elements(header)` elements of T), which then goes to `sink` in chunks.
template <typename T, typename Walk, typename Elements>
bool streamChosenBlock(const KVString& path, int chunk, Walk&& walk, Elements&& elements,
                       const std::function<void(const T*, int)>& sink) {
    KelFile f(path, "rb");
    if (!openChecked(f)) return false;
    long start = -1;
    KelFile::PayloadPlan r;
    walk(f, [&](const Kel_Header& h) { return f.notePayload(h, elements(h), sizeof(T), start, r); });
    f.streamPayload(start, r, sizeof(T), chunk, [&](const void* data, int n) { sink(static_cast<const T*>(data), n); });
    return true;
}

std::uint64_t pointElements(const Kel_Header& h) { return h.count; }

}  // namespace

bool KVKelIO_Core::readVertexBloc(const KVString& path, KVArray<KVVector3f>& points) {
    points.clear();
    KelFile f(path, "rb");
    if (!openChecked(f)) return false;
    walkToPoints(f, [&](const Kel_Header& h) { return readPoints(f, h, points); });
    return true;
}

bool KVKelIO_Core::readFace4Bloc(const KVString& path, KVArray<int>& faces, bool& hasUV) {
    faces.clear();
    hasUV = false;
    KelFile f(path, "rb");
    if (!openChecked(f)) return false;
    walkToFaces(f, hasUV, [&](const Kel_Header& h) { return readFaces(f, h, faces); });
    return true;
}

bool KVKelIO_Core::readUV4Bloc(const KVString& path, KVArray<KVVector2f>& uvs) {
    uvs.clear();
    KelFile f(path, "rb");
    if (!openChecked(f)) return false;
    walkToUVs(f, [&](const Kel_Header& h) { return readUVs(f, h, uvs); });
    return true;
}

// ---- Streaming readers: the same walks, then the chosen payload in chunks.

bool KVKelIO_Core::streamVertexBloc(const KVString& path, int chunk,
                                    const std::function<void(const KVVector3f*, int)>& sink) {
    return streamChosenBlock(path, chunk, [](KelFile& f, auto take) { walkToPoints(f, take); }, pointElements, sink);
}

bool KVKelIO_Core::streamFace4Bloc(const KVString& path, int chunk, bool& hasUV,
                                   const std::function<void(const int*, int)>& sink) {
    hasUV = false;
    // Whole faces only: chunks hold a multiple of four indices.
    const int faces = chunk < 1 ? 1 : (chunk > INT_MAX / 4 ? INT_MAX / 4 : chunk);
    return streamChosenBlock(path, faces * 4, [&](KelFile& f, auto take) { walkToFaces(f, hasUV, take); },
                             faceElements, sink);
}

bool KVKelIO_Core::streamUV4Bloc(const KVString& path, int chunk,
                                 const std::function<void(const KVVector2f*, int)>& sink) {
    return streamChosenBlock(path, chunk, [](KelFile& f, auto take) { walkToUVs(f, take); }, faceElements, sink);
}

namespace {

// Reads the payload of the first block with `tag` (`count` elements) and stops there.
template <typename T>
bool readFirstCountedBlock(const KVString& path, std::uint32_t tag, const char* logLine, KVArray<T>& out) {
    out.clear();
    KelFile f(path, "rb");
    if (!openChecked(f)) return false;
    walkBlocks(f, [&](const Kel_Header& h) {
        if (h.tag != tag) return f.skip(h);
        KVLogServer::printLine(logLine, logCount(h.count));
        f.readPayload(h, h.count, out);
        return false;
    });
    return true;
}

}  // namespace

bool KVKelIO_Core::readMRGBBloc(const KVString& path, KVArray<unsigned int>& colors) {
    return readFirstCountedBlock(path, kTagMRGB, "  Kel Reading [MRGB] (%d)", colors);
}

bool KVKelIO_Core::readMaskBloc(const KVString& path, KVArray<unsigned char>& mask) {
    return readFirstCountedBlock(path, kTagMask, "  Kel Reading [Mask] (%d)", mask);
}

bool KVKelIO_Core::readVertexAndFace4Blocs(const KVString& path, KVArray<KVVector3f>& points,
                                           KVArray<int>& faces) {
    points.clear();
    faces.clear();
    KelFile f(path, "rb");
    if (!openChecked(f)) return false;
    walkBlocks(f, [&](const Kel_Header& h) {
        if (h.tag == KVKelIO_Core::kTagPoints) {
            KVLogServer::printLine("  Kel Reading [Points] (%d)", logCount(h.count));
            return readPoints(f, h, points) && faces.isEmpty();
        }
        if (h.tag == KVKelIO_Core::kTagFace4) {
            KVLogServer::printLine("  Kel Reading [Face4] (%d fac)", logCount(h.count));
            return readFaces(f, h, faces) && points.isEmpty();
        }
        return f.skip(h);
    });
    return true;
}

namespace {

// The readers of points and faces with UVs and/or colours walk the file alike; only which blocks
// they keep and whether they log skipped blocks differ.
bool readGeometryBlocks(const KVString& path, KVArray<KVVector3f>& points, KVArray<int>& faces,
                        KVArray<KVVector2f>* uvs, KVArray<unsigned int>* colors, bool logSkipped) {
    points.clear();
    faces.clear();
    if (uvs != nullptr) uvs->clear();
    if (colors != nullptr) colors->clear();
    KelFile f(path, "rb");
    if (!openChecked(f)) return false;
    walkBlocks(f, [&](const Kel_Header& h) {
        if (h.tag == KVKelIO_Core::kTagPoints) {
            KVLogServer::printLine("  Kel Reading [Points] (%d)", logCount(h.count));
            return readPoints(f, h, points);
        }
        if (h.tag == KVKelIO_Core::kTagFace4) {
            KVLogServer::printLine("  Kel Reading [Face4] (%d fac)", logCount(h.count));
            return readFaces(f, h, faces);
        }
        if (h.tag == KVKelIO_Core::kTagUV4 && uvs != nullptr) {
            KVLogServer::printLine("  Kel Reading [UV4] (%d)", logCount(h.count));
            return readUVs(f, h, *uvs);
        }
        if (h.tag == KVKelIO_Core::kTagMRGB && colors != nullptr) {
            KVLogServer::printLine("  Kel Reading [MRGB]");
            return readColors(f, h, *colors);
        }
        if (logSkipped) KVLogServer::printLine("  Kel Reading: Skipping Bloc tag=%d", logCount(h.tag));
        return f.skip(h);
    });
    return true;
}

}  // namespace

bool KVKelIO_Core::readVertexAndFace4AndMRGBBlocs(const KVString& path, KVArray<KVVector3f>& points,
                                                  KVArray<int>& faces, KVArray<unsigned int>& colors) {
    return readGeometryBlocks(path, points, faces, nullptr, &colors, false);
}

bool KVKelIO_Core::readVtxFace4AndUV4Blocs(const KVString& path, KVArray<KVVector3f>& points,
                                           KVArray<int>& faces, KVArray<KVVector2f>& uvs) {
    return readGeometryBlocks(path, points, faces, &uvs, nullptr, true);
}

bool KVKelIO_Core::readVtxFace4UV4AndMRGBBlocs(const KVString& path, KVArray<KVVector3f>& points,
                                               KVArray<int>& faces, KVArray<KVVector2f>& uvs,
                                               KVArray<unsigned int>& colors) {
    return readGeometryBlocks(path, points, faces, &uvs, &colors, false);
}

// ---- Bounding box

bool KVKelIO_Core::readBBox(const KVString& path, BBox& box) {
    box.setEmpty();
    KelFile f(path, "rb");
    if (!openChecked(f)) return false;
    Kel_Header points;
    bool found = false;
    walkBlocks(f, [&](const Kel_Header& h) {
        if (h.tag != kTagPoints) return f.skip(h);
        points = h;
        found = true;
        return false;
    });
    if (!found) return false;

    // The count alone decides how much is read; the fixed buffer keeps memory flat, and a count
    // the file cannot hold ends in a short read after at most one chunk per 768 KB of file.
    std::unique_ptr<KVVector3f[]> buffer(new KVVector3f[kBBoxChunkPoints]);
    const std::size_t chunkBytes = sizeof(KVVector3f) * kBBoxChunkPoints;
    std::uint32_t remaining = points.count;
    while (remaining > static_cast<std::uint32_t>(kBBoxChunkPoints - 1)) {
        if (std::fread(buffer.get(), 1, chunkBytes, f.get()) != chunkBytes) return false;
        addPoints(box, buffer.get(), kBBoxChunkPoints);
        remaining -= kBBoxChunkPoints;
    }
    if (remaining == 0) return true;
    const std::size_t restBytes = sizeof(KVVector3f) * remaining;
    if (std::fread(buffer.get(), 1, restBytes, f.get()) != restBytes) return false;
    addPoints(box, buffer.get(), remaining);
    return true;
}

// ---- Writing and replacing

bool KVKelIO_Core::writeMRGBBloc(const KVString& path, KVArray<unsigned int>& colors) {
    const std::uint64_t n = static_cast<std::uint64_t>(colors.getCount());
    const std::uint64_t payload = n * sizeof(unsigned int);
    const char* p = path.getValidFilePath();
    FILE* file = (p != nullptr && p[0] != '\0') ? std::fopen(p, "wb") : nullptr;
    bool ok = file != nullptr && payload <= UINT32_MAX - kBlockHeaderSize;
    if (ok) {
        Kel_Header block;
        block.tag = kTagMRGB;
        block.length = static_cast<std::uint32_t>(kBlockHeaderSize + payload);
        block.count = static_cast<std::uint32_t>(n);
        Kel_Header end;
        end.length = kBlockHeaderSize;
        ok = writeFileHeader(file) && writeBlockHeader(file, block) &&
             (payload == 0 || std::fwrite(colors.getData(), 1, payload, file) == payload) &&
             writeBlockHeader(file, end);
    }
    // Buffered bytes reach the disk at close: a failing close is a short write too.
    if (file != nullptr && std::fclose(file) != 0) ok = false;
    if (!ok) KVDiskServer::deleteFile(path);
    return ok;
}

bool KVKelIO_Core::replaceColorBlocInFile(const KVString& path, const KVArray<unsigned int>& colors) {
    KelFile f(path, "rb+");
    if (!openChecked(f)) return false;
    Kel_Header h;
    if (!readBlockHeader(f.get(), h)) return false;
    const std::uint64_t n = static_cast<std::uint64_t>(colors.getCount());
    bool result = false;
    for (;;) {
        if (h.tag == kTagEnd) break;
        if (h.tag == KVKelIO_Core::kTagMRGB && h.count == n) {
            KVLogServer::printLine("  Kel Reading [MRGB] (%d) -> REPLACED WITH OTHER COLORS!", logCount(h.count));
            bool whole = false;
            const bool goOn = overwritePayload(f, h, colors.getData(), n * sizeof(unsigned int), whole);
            if (whole) result = true;
            if (!goOn) break;
        } else if (!f.skip(h)) {
            break;
        }
        if (!readBlockHeader(f.get(), h)) break;
    }
    return result;
}

bool KVKelIO_Core::replaceUV4BlocInFile(const KVString& path, const KVArray<KVVector2f>& uvs) {
    KelFile f(path, "rb+");
    if (!openChecked(f)) return false;
    Kel_Header h;
    if (!readBlockHeader(f.get(), h)) return false;
    const std::uint64_t n = static_cast<std::uint64_t>(uvs.getCount());
    bool result = false;
    for (;;) {
        if (h.tag == kTagEnd) break;
        if (h.tag == KVKelIO_Core::kTagUV4 && faceElements(h) == n) {
            KVLogServer::printLine("  Kel Reading [UV4] (%d) -> REPLACED WITH OTHER UVs!", logCount(h.count));
            bool whole = false;
            const bool goOn = overwritePayload(f, h, uvs.getData(), n * sizeof(KVVector2f), whole);
            if (whole) result = true;
            if (!goOn) break;
        } else if (!f.skip(h)) {
            break;
        }
        if (!readBlockHeader(f.get(), h)) break;
    }
    return result;
}

// ---- Colour conversions

void KVKelIO_Core::convertMRGBBlocToColors3f(KVArray<KVVector3f>& out, const KVArray<unsigned int>& in) {
    const int n = in.getCount();
    out.clear();
    out.resize(n, KVVector3f{0.0f, 0.0f, 0.0f});
    for (int i = 0; i < n; ++i) {
        const unsigned int v = in[i];
        out[i].x = static_cast<float>((v >> 16) & 0xFFu) / 255.0f;
        out[i].y = static_cast<float>((v >> 8) & 0xFFu) / 255.0f;
        out[i].z = static_cast<float>(v & 0xFFu) / 255.0f;
    }
}

namespace {
// Truncation toward zero, low 8 bits kept. NaN and values no int can hold would make the
// conversion undefined: they give 0.
unsigned int byteOf(float c) {
    const float scaled = c * 255.0f;
    if (!(scaled > -2147483648.0f && scaled < 2147483648.0f)) return 0;
    return static_cast<unsigned int>(static_cast<int>(scaled)) & 0xFFu;
}
}  // namespace

void KVKelIO_Core::convertColors3fToMRGBBloc(KVArray<unsigned int>& out, const KVArray<KVVector3f>& in) {
    const int n = in.getCount();
    out.clear();
    out.resize(n, 0u);
    for (int i = 0; i < n; ++i) {
        const KVVector3f& c = in[i];
        out[i] = (byteOf(c.x) << 16) | (byteOf(c.y) << 8) | byteOf(c.z);
    }
}
