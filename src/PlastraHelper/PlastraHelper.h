// PlastraHelper: the bridge into hosts 3.1 to 3.5, through their records at each build's positions.
#pragma once

#include <cstdint>

#include "KVString.h"
#include "YDocWrapper.h"
#include "YHostRecord.h"
#include "YUtilWrapper312B46.h"

// The current texture's bitmap, as the host holds it.
struct YTextureBitmap {
    std::uint64_t pixels;   // the host's pixel pointer, as stored
    std::int32_t field1;    // first 32-bit field of the bitmap record
    std::int32_t field2;    // second 32-bit field of the bitmap record
    std::int32_t dim1;      // dimensions from the holder record
    std::int32_t dim2;
};

// hostData slots read by the bridge.
namespace yslot {
constexpr int kDocument = 2;
constexpr int kTexture = 6;
constexpr int kUtility = 7;
constexpr int kFuncTable = 8;
}  // namespace yslot

// All state is process-wide and reset by every init; the pointers point into the host and are
// valid only during the command that called init.
class PlastraHelper {
public:
    // Sets the version class from the host version; returns the rounded version x 100.
    static int setVersion(double version);
    // clear, then binds by version class (nothing while the class is 0 or 401).
    static void init(char** hostData);
    static void clear();
    // clear, then binds the document as host 3.12 B46 does; true if the document is valid.
    static bool initDoc(char** hostData);

    // One initialiser per host build; true when it could bind.
    static bool init31(char** hostData);
    static bool init312(char** hostData);
    static bool init312B27(char** hostData);
    static bool init312B43(char** hostData);
    static bool init312B46(char** hostData);
    static bool init35(char** hostData) { return init312B46(hostData); }

    // Window tree, through the bound document wrapper (null, -1 or false when none is bound).
    static YWin* getRootWindow(YWin* w);
    static YWin* getParentWindow(YWin* w);
    static YWin* getWindowFromPath(YWin* start, const KVString& path);
    static int getWindowChildIndex(YWin* w);
    static bool disconnectWindow(YWin* w);
    static bool moveWindow(YWin* w, YWin* parent, int index);
    static bool createWindowText(YWin* w, YWin* model);
    static void setWindowText(YWin* w, const KVString& text);

    // A progress display made of host windows: a bar window whose text shows the state, and an
    // optional second window for the message.
    static void initProgressBar(YWin* bar);
    static void initProgressBar2(YWin* bar, YWin* textWin);
    static void setProgressBarText(YWin* bar, const char* text);
    static void setProgressBarPercentage(YWin* bar, double percentage);
    static void setProgressBarNoPercentage(YWin* bar, int step);

    // Runs a host script through the utility entry; false when none is bound.
    static bool runYScript(const KVString& script);

    // Version class: 0 (never set), 1 (too old), 310, 312, 320, 350, 400, 401.
    static std::int32_t s_version;

    // Mesh of the host's current tool.
    static bool s_meshIsValid;
    static std::int32_t s_numVertices;
    static float* s_verticesFlt32;
    static std::int32_t* s_verticesFix32;
    static std::int32_t s_numFaces;
    static std::int32_t* s_faces;
    static std::int32_t s_numUVLinks;
    static float* s_uvLinksFlt32;
    static std::int32_t* s_uvLinksFix32;
    static std::int32_t s_numVertexAttribs;
    static std::int32_t* s_vertexAttribs;
    static float* s_importedScaleFactor;
    static float* s_importedOffset;

    // Document.
    static bool s_docIsValid;
    static YDocWrapper* s_docWrapper;
    static YDoc* s_doc;
    static YWin* s_rootWindow;

    // Texture.
    static bool s_textureIsValid;
    static YTextureBitmap s_textureBitmap;

    // Utility.
    static bool s_utilityIsValid;
    static YUtilWrapper312B46* s_utilWrapper;
    static YUtility* s_utility;

    // Progress display.
    static YWin* s_progressBarWin;
    static YWin* s_progressTextWin;

private:
    static bool initBuild(char** hostData, YDocWrapper& wrapper);
    static bool bindDocument(char** hostData, YDocWrapper& wrapper);
    static void bindTexture(char** hostData, const YHostLayout& layout);
    static void bindMesh(const YHostLayout& layout);
};
