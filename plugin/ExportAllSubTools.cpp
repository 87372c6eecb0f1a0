// Sub-tool OBJ export commands.
#include "ExportAllSubTools.h"

#include <cstring>

#include "ExportAllObjUtils.h"
#include "PlastraHelper/PlastraHelper.h"
#include "io/KVObjTextWriter.h"
#include "log/KVLogServer.h"
#include "native/KVDiskServer.h"

FILE* s_exportAll_File = nullptr;
FILE* s_exportAll_MatFile = nullptr;
bool s_exportAll_HasTexture = true;
KVString s_exportAll_TextureName;
std::int32_t s_exportAll_curSubToolIndex = 0;
KVArray<KVString> s_exportAll_subToolNames;
KVArray<std::int32_t> s_exportAll_NumVertices;
KVArray<std::int32_t> s_exportAll_VertexOffset;
KVArray<std::int32_t> s_exportAll_NumUVs;
KVArray<std::int32_t> s_exportAll_UVOffset;
bool s_eFlipX = false;
bool s_eFlipY = true;
bool s_eFlipZ = true;
bool s_eSwitchYZ = false;
float s_exportAllSubTools_ScaleFactor[3] = {1.0f, 1.0f, 1.0f};
float s_exportAllSubTools_Offset[3] = {0.0f, 0.0f, 0.0f};

namespace {

constexpr std::size_t kMtlBufferSize = 4 * 1024;
constexpr float kFix16Scale = 1.0f / 65536.0f;       // vertices: 16.16 fixed point
constexpr float kFix24Scale = 1.0f / 16777216.0f;    // UVs: 8.24 fixed point
constexpr int kVersionOldest = 310;

bool isOpen(FILE* file) { return file != nullptr && file != KVDiskServer::s_invalidFile; }

void closeHandle(FILE*& file, FILE* closedValue) {
    if (isOpen(file)) std::fclose(file);
    file = closedValue;
}

// Counts and offsets add like the 32-bit ints they are.
std::int32_t wrapAdd(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

// Next entry of an offset array: the last offset plus the last count, 0 for the first sub-tool.
std::int32_t nextOffset(const KVArray<std::int32_t>& offsets, const KVArray<std::int32_t>& counts) {
    if (offsets.isEmpty() || counts.isEmpty()) return 0;
    return wrapAdd(offsets.getLast(), counts.getLast());
}

// The current sub-tool's offset; an entry the bookkeeping never made (a skipped vertices or UVs
// call) reads as 0 rather than past the array.
std::int32_t offsetAt(const KVArray<std::int32_t>& offsets, std::int32_t index) {
    return (index >= 0 && index < offsets.getCount()) ? offsets[index] : 0;
}

bool streamReady() { return s_exportAll_File != nullptr && PlastraHelper::s_meshIsValid; }

void read3(const float* host, float out[3]) { std::memcpy(out, host, 3 * sizeof(float)); }

void writeVertices() {
    s_exportAll_VertexOffset.add(nextOffset(s_exportAll_VertexOffset, s_exportAll_NumVertices));
    s_exportAll_NumVertices.add(PlastraHelper::s_numVertices);

    float scale[3] = {1.0f, 1.0f, 1.0f};
    float offset[3] = {0.0f, 0.0f, 0.0f};
    if (PlastraHelper::s_importedScaleFactor) read3(PlastraHelper::s_importedScaleFactor, scale);
    if (PlastraHelper::s_importedOffset) read3(PlastraHelper::s_importedOffset, offset);
    for (float& s : scale)
        if (s == 0.0f) s = 1.0f;

    const float* flt = PlastraHelper::s_verticesFlt32;
    const std::int32_t* fix = PlastraHelper::s_verticesFix32;
    if (flt == nullptr && fix == nullptr) return;
    KVObjTextWriter obj(s_exportAll_File);
    const std::int32_t count = PlastraHelper::s_numVertices;
    for (std::int32_t i = 0; i < count; ++i) {
        float x, y, z;
        if (flt != nullptr) {
            const float* p = flt + 3 * static_cast<std::size_t>(i);
            x = p[0];
            y = p[1];
            z = p[2];
        } else {
            const std::int32_t* p = fix + 3 * static_cast<std::size_t>(i);
            x = static_cast<float>(p[0]) * kFix16Scale;
            y = static_cast<float>(p[1]) * kFix16Scale;
            z = static_cast<float>(p[2]) * kFix16Scale;
        }
        if (s_eSwitchYZ) {
            const float t = y;
            y = z;
            z = t;
        }
        // The flips come before the offset is taken off: a flipped axis writes (-c - offset) / scale.
        if (s_eFlipX) x = -x;
        if (s_eFlipY) y = -y;
        if (s_eFlipZ) z = -z;
        obj.writeVertex((x - offset[0]) / scale[0], (y - offset[1]) / scale[1], (z - offset[2]) / scale[2]);
    }
}

void writeUVs() {
    s_exportAll_UVOffset.add(nextOffset(s_exportAll_UVOffset, s_exportAll_NumUVs));
    s_exportAll_NumUVs.add(static_cast<std::int32_t>(4u * static_cast<std::uint32_t>(PlastraHelper::s_numUVLinks)));

    const float* flt = PlastraHelper::s_uvLinksFlt32;
    const std::int32_t* fix = PlastraHelper::s_uvLinksFix32;
    if (flt == nullptr && fix == nullptr) return;
    KVObjTextWriter obj(s_exportAll_File);
    const std::int32_t count = PlastraHelper::s_numUVLinks;
    for (std::int32_t i = 0; i < count; ++i) {
        const std::size_t base = 8 * static_cast<std::size_t>(i);
        for (int c = 0; c < 4; ++c) {
            if (flt != nullptr)
                obj.writeUV(flt[base + 2 * c], flt[base + 2 * c + 1]);
            else
                obj.writeUV(static_cast<float>(fix[base + 2 * c]) * kFix24Scale,
                            static_cast<float>(fix[base + 2 * c + 1]) * kFix24Scale);
        }
    }
}

void declareTexture(const char* text) {
    if (!streamReady() || !s_exportAll_HasTexture || !isOpen(s_exportAll_MatFile)) return;
    s_exportAll_TextureName = text;
    if (s_exportAll_TextureName.isEmpty()) return;
    KVObjTextWriter mtl(s_exportAll_MatFile, kMtlBufferSize);
    if (PlastraHelper::s_version == kVersionOldest)
        mtl.writeText("newmtl defaultMat\n");
    else
        mtl.writeNewMaterial(wrapAdd(s_exportAll_curSubToolIndex, 1));
    const KVString name = ExportAllObjUtils::nameAfterLastSeparator(s_exportAll_TextureName);
    mtl.writeKeywordLine("map_Kd", name.c_str());
}

void writeFaces() {
    const std::int32_t index = s_exportAll_curSubToolIndex;
    {
        KVObjTextWriter obj(s_exportAll_File);
        obj.writeSubToolGroup(wrapAdd(index, 1));
        if (s_exportAll_HasTexture && isOpen(s_exportAll_MatFile) && !s_exportAll_TextureName.isEmpty()) {
            if (PlastraHelper::s_version == kVersionOldest) {
                // The oldest hosts read a single material: only the first textured sub-tool gets it.
                obj.writeText("usemtl defaultMat\n");
                s_exportAll_HasTexture = false;
            } else {
                obj.writeUseMaterial(wrapAdd(index, 1));
            }
        }
        const std::int32_t faceCount = PlastraHelper::s_numFaces;
        if (faceCount > 0 && PlastraHelper::s_faces != nullptr) {
            const bool withUVs = PlastraHelper::s_numUVLinks == faceCount;
            obj.writeFaces(PlastraHelper::s_faces, faceCount, offsetAt(s_exportAll_VertexOffset, index), withUVs,
                           withUVs ? offsetAt(s_exportAll_UVOffset, index) : 0);
        }
    }
    s_exportAll_curSubToolIndex = wrapAdd(index, 1);
}

// value truncated toward zero; values no int holds give no flags.
int flagBits(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0)) return 0;
    return static_cast<int>(value);
}

}  // namespace

TRIMORA_COMMAND_OR(DeclareToolHasTexture, 0.0f) {
    s_exportAll_HasTexture = a.value > 0.5;
    KVLogServer::printLine("DeclareToolHasTexture called (%s)", s_exportAll_HasTexture ? "TRUE" : "FALSE");
    return 0.0f;
}

TRIMORA_COMMAND_OR(StartExportAllSubTools, 0.0f) {
    const KVString text(a.text);
    KVLogServer::printLine("StartExportAllSubTools called (%s, %f)", text.c_str(), a.value);
    closeHandle(s_exportAll_File, KVDiskServer::s_invalidFile);
    closeHandle(s_exportAll_MatFile, KVDiskServer::s_invalidFile);

    const char* valid = text.getValidFilePath();
    const KVString path(valid ? valid : "");
    FILE* obj = path.isEmpty() ? nullptr : std::fopen(path.c_str(), "w");
    if (obj == nullptr) return 0.0f;
    s_exportAll_File = obj;

    if (s_exportAll_HasTexture) {
        const KVString mtlPath = ExportAllObjUtils::mtlPathFor(path);
        s_exportAll_MatFile = std::fopen(mtlPath.c_str(), "w");
        if (isOpen(s_exportAll_MatFile)) {
            KVObjTextWriter writer(s_exportAll_File, kMtlBufferSize);
            writer.writeKeywordLine("mtllib", ExportAllObjUtils::nameAfterLastSeparator(mtlPath).c_str());
        } else {
            s_exportAll_MatFile = KVDiskServer::s_invalidFile;
            s_exportAll_HasTexture = false;
        }
    }

    s_exportAll_curSubToolIndex = 0;
    s_exportAll_subToolNames.clear();
    s_exportAll_NumVertices.clear();
    s_exportAll_VertexOffset.clear();
    s_exportAll_NumUVs.clear();
    s_exportAll_UVOffset.clear();

    const int flags = flagBits(a.value);
    s_eFlipX = (flags & 1) != 0;
    s_eFlipY = (flags & 2) != 0;
    s_eFlipZ = (flags & 4) != 0;
    s_eSwitchYZ = (flags & 8) != 0;
    return 0.0f;
}

TRIMORA_COMMAND_OR(ExportOneSubToolVertices, 0.0f) {
    const KVString text(a.text);
    KVLogServer::printLine("ExportOneSubToolVertices called (%s)", text.c_str());
    PlastraHelper::init(a.hostData);
    if (!PlastraHelper::s_meshIsValid) return 0.0f;
    if (PlastraHelper::s_importedScaleFactor) read3(PlastraHelper::s_importedScaleFactor, s_exportAllSubTools_ScaleFactor);
    if (PlastraHelper::s_importedOffset) read3(PlastraHelper::s_importedOffset, s_exportAllSubTools_Offset);
    if (!streamReady()) return 0.0f;
    s_exportAll_subToolNames.add(text);
    writeVertices();
    return 0.0f;
}

TRIMORA_COMMAND_OR(ExportOneSubToolUVs, 0.0f) {
    KVLogServer::printLine("ExportOneSubToolUVs called (%s)", KVString(a.text).c_str());
    PlastraHelper::init(a.hostData);
    if (streamReady()) writeUVs();
    return 0.0f;
}

TRIMORA_COMMAND_OR(DeclareTextureName, 0.0f) {
    KVLogServer::printLine("DeclareTextureName called (%s)", KVString(a.text).c_str());
    PlastraHelper::init(a.hostData);
    declareTexture(a.text);
    return 0.0f;
}

TRIMORA_COMMAND_OR(ExportOneSubToolFaces, 0.0f) {
    KVLogServer::printLine("ExportOneSubToolFaces called (%s)", KVString(a.text).c_str());
    PlastraHelper::init(a.hostData);
    if (streamReady()) writeFaces();
    return 0.0f;
}

TRIMORA_COMMAND_OR(EndExportAllSubTools, 0.0f) {
    KVLogServer::printLine("EndExportAllSubTools called.");
    if (s_exportAll_File != nullptr) closeHandle(s_exportAll_File, nullptr);
    if (s_exportAll_MatFile != nullptr) closeHandle(s_exportAll_MatFile, nullptr);
    return 0.0f;
}
