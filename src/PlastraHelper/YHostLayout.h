// Byte positions of the host's records, one table per host build (64-bit host process).
#pragma once

#include <cstddef>

// Records reached from a window; the same in every build.
namespace ylayout {
constexpr std::size_t kTextCount = 20;      // text record: 32-bit character count
constexpr std::size_t kTextChars = 24;      // text record: characters, NUL-terminated
constexpr int kTextMaxChars = 255;          // text record: room for 255 characters and the NUL
constexpr std::size_t kInfoKind = 20;       // info record: 16-bit window kind
constexpr std::size_t kInfoNameText = 96;   // info record: pointer to the name's text record
constexpr short kKindPulldown = 1007;       // window kind of a pull-down menu
}  // namespace ylayout

// Texture holder (hostData slot 6) and the bitmap record it points to.
struct YTextureLayout {
    std::size_t holderBitmap;   // holder: bitmap record pointer
    std::size_t bitmapPixels;   // bitmap record: pixel pointer
    std::size_t bitmapField1;   // bitmap record: first 32-bit field
    std::size_t bitmapField2;   // bitmap record: second 32-bit field
    std::size_t holderDim1;     // holder: first dimension
    std::size_t holderDim2;     // holder: second dimension
    bool fixedPointDims;        // 16.16 fixed point (integer part) rather than 32-bit float (+0.2, truncated)
};

// The current mesh record that the document points to, and the fields the bridge binds from it.
struct YMeshLayout {
    std::size_t numVertices;        // 32-bit counts
    std::size_t numFaces;
    std::size_t numUVLinks;
    std::size_t numVertexAttribs;
    std::size_t verticesFlt32;      // pointers: 3 floats per vertex
    std::size_t verticesFix32;      // 3 x 16.16 fixed point per vertex
    std::size_t faces;              // 4 x int32 per face
    std::size_t uvLinksFlt32;       // 8 floats per link
    std::size_t uvLinksFix32;       // 8 x 8.24 fixed point per link
    std::size_t vertexAttribs;      // 32-bit values, one per vertex attribute
    std::size_t importedScaleFactor;  // 3 floats kept in the record itself
    std::size_t importedOffset;       // 3 floats kept in the record itself
};

// One host build: where its window and document records keep their fields.
struct YHostLayout {
    const char* build;
    std::size_t winParent;
    std::size_t winFirstChild;
    std::size_t winNextSibling;
    std::size_t winPrevSibling;
    std::size_t winInfo;
    std::size_t winText;
    std::size_t pulldownCount;   // 32-bit item count of a pull-down window
    std::size_t pulldownItems;   // item pointers from here on
    std::size_t docActiveView;
    std::size_t docCurrentMesh;  // pointer to the current mesh record
    const YTextureLayout* texture;  // null when the build's holder layout is not known
    const YMeshLayout* mesh;
    bool bindsUtility;           // the host utility entry (slot 7) is bound from this build on
};

namespace ylayout {
extern const YTextureLayout kTexture31;
extern const YTextureLayout kTexture312B46;
extern const YMeshLayout kMesh;
extern const YHostLayout kBuild31;
extern const YHostLayout kBuild312;
extern const YHostLayout kBuild312B27;
extern const YHostLayout kBuild312B43;
extern const YHostLayout kBuild312B46;
}  // namespace ylayout
