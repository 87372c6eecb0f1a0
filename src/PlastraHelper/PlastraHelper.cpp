// PlastraHelper: binding by host version, window tree edits and host scripts for hosts 3.1 to 3.5.
#include "PlastraHelper.h"

#include <cmath>
#include <cstdio>

#include "KVInfoMsg.h"
#include "WindowTree.h"
#include "log/KVLogServer.h"

std::int32_t PlastraHelper::s_version = 0;

bool PlastraHelper::s_meshIsValid = false;
std::int32_t PlastraHelper::s_numVertices = 0;
float* PlastraHelper::s_verticesFlt32 = nullptr;
std::int32_t* PlastraHelper::s_verticesFix32 = nullptr;
std::int32_t PlastraHelper::s_numFaces = 0;
std::int32_t* PlastraHelper::s_faces = nullptr;
std::int32_t PlastraHelper::s_numUVLinks = 0;
float* PlastraHelper::s_uvLinksFlt32 = nullptr;
std::int32_t* PlastraHelper::s_uvLinksFix32 = nullptr;
std::int32_t PlastraHelper::s_numVertexAttribs = 0;
std::int32_t* PlastraHelper::s_vertexAttribs = nullptr;
float* PlastraHelper::s_importedScaleFactor = nullptr;
float* PlastraHelper::s_importedOffset = nullptr;

bool PlastraHelper::s_docIsValid = false;
YDocWrapper* PlastraHelper::s_docWrapper = nullptr;
YDoc* PlastraHelper::s_doc = nullptr;
YWin* PlastraHelper::s_rootWindow = nullptr;

bool PlastraHelper::s_textureIsValid = false;
YTextureBitmap PlastraHelper::s_textureBitmap = {0, 0, 0, 0, 0};

bool PlastraHelper::s_utilityIsValid = false;
YUtilWrapper312B46* PlastraHelper::s_utilWrapper = nullptr;
YUtility* PlastraHelper::s_utility = nullptr;

YWin* PlastraHelper::s_progressBarWin = nullptr;
YWin* PlastraHelper::s_progressTextWin = nullptr;

namespace {

// Window links through the bound document wrapper.
struct YWinLinks {
    using Win = YWin;
    static const YDocWrapper* w() { return PlastraHelper::s_docWrapper; }
    static YWin* parent(YWin* x) { return w() ? w()->getParentWin(x) : nullptr; }
    static YWin* child(YWin* x) { return w() ? w()->getChildWin(x) : nullptr; }
    static YWin* next(YWin* x) { return w() ? w()->getNextWin(x) : nullptr; }
    static YWin* prev(YWin* x) { return w() ? w()->getPrevWin(x) : nullptr; }
    static void setParent(YWin* x, YWin* v) {
        if (w()) w()->setParentWin(x, v);
    }
    static void setChild(YWin* x, YWin* v) {
        if (w()) w()->setChildWin(x, v);
    }
    static void setNext(YWin* x, YWin* v) {
        if (w()) w()->setNextWin(x, v);
    }
    static void setPrev(YWin* x, YWin* v) {
        if (w()) w()->setPrevWin(x, v);
    }
    static const char* name(YWin* x) { return w() ? w()->getWinName(x) : nullptr; }
    static int pulldownCount(YWin* x) {
        YPulldownWin* menu = w() ? w()->getPulldownWin(x) : nullptr;
        if (menu == nullptr) return -1;
        // A menu whose count reads negative has no items; it is still a menu, not a window with children.
        const int count = w()->getWinCountInPulldownWin(menu);
        return count < 0 ? 0 : count;
    }
    static YWin* pulldownItem(YWin* x, int i) {
        return w() ? w()->getWinInPulldownWin(w()->getPulldownWin(x), i) : nullptr;
    }
};

using YTree = WindowTree<YWinLinks>;

void* slot(char** hostData, int index) { return hostData ? static_cast<void*>(hostData[index]) : nullptr; }

// 16.16 fixed point: its integer part.
std::int32_t fixedIntegerPart(std::int32_t v) { return v / 65536; }

// A float dimension + 0.2, truncated; values no int can hold read as 0.
std::int32_t floatDimension(float f) {
    const double d = static_cast<double>(f) + 0.2;
    if (!(d > -2147483648.0 && d < 2147483648.0)) return 0;
    return static_cast<std::int32_t>(d);
}

}  // namespace

int PlastraHelper::setVersion(double version) {
    const double scaled = version * 100.0 + 0.2;
    // A version no int can hold is taken as the newest line.
    const int v = (scaled > -2147483648.0 && scaled < 2147483648.0) ? static_cast<int>(scaled) : 0x7fffffff;
    if (v < 310)
        s_version = 1;
    else if (v < 312)
        s_version = 310;
    else if (v < 315)
        s_version = 312;
    else if (v < 325)
        s_version = 320;
    else if (v < 355)
        s_version = 350;
    else if (v > 404)
        s_version = 401;
    else
        s_version = 400;
    return v;
}

void PlastraHelper::clear() {
    s_meshIsValid = false;
    s_numVertices = 0;
    s_verticesFlt32 = nullptr;
    s_verticesFix32 = nullptr;
    s_numFaces = 0;
    s_faces = nullptr;
    s_numUVLinks = 0;
    s_uvLinksFlt32 = nullptr;
    s_uvLinksFix32 = nullptr;
    s_numVertexAttribs = 0;
    s_vertexAttribs = nullptr;
    s_importedScaleFactor = nullptr;
    s_importedOffset = nullptr;

    s_docIsValid = false;
    s_docWrapper = nullptr;
    s_doc = nullptr;
    s_rootWindow = nullptr;

    s_textureIsValid = false;
    s_textureBitmap = YTextureBitmap{0, 0, 0, 0, 0};

    s_utilityIsValid = false;
    s_utilWrapper = nullptr;
    s_utility = nullptr;
}

void PlastraHelper::init(char** hostData) {
    clear();
    if (hostData == nullptr) return;
    switch (s_version) {
        case 1:
            KVInfoMsg::showMessage("Error: Plastra version is too old.\nTrimora requires at least Plastra 3.1 to work!");
            break;
        case 310:
            init31(hostData);
            break;
        case 312:
        case 320:
            if (!init312(hostData) && !init312B27(hostData) && !init312B43(hostData)) init312B46(hostData);
            break;
        case 350:
        case 400:
            init35(hostData);
            break;
        default:
            break;
    }
}

bool PlastraHelper::initDoc(char** hostData) {
    clear();
    return bindDocument(hostData, YDocWrapper312B46::instance());
}

bool PlastraHelper::init31(char** hostData) { return initBuild(hostData, YDocWrapper31::instance()); }
bool PlastraHelper::init312(char** hostData) { return initBuild(hostData, YDocWrapper312::instance()); }
bool PlastraHelper::init312B27(char** hostData) { return initBuild(hostData, YDocWrapper312B27::instance()); }
bool PlastraHelper::init312B43(char** hostData) { return initBuild(hostData, YDocWrapper312B43::instance()); }
bool PlastraHelper::init312B46(char** hostData) { return initBuild(hostData, YDocWrapper312B46::instance()); }

bool PlastraHelper::initBuild(char** hostData, YDocWrapper& wrapper) {
    if (hostData == nullptr) return false;
    const YHostLayout& layout = wrapper.getLayout();
    if (!s_docIsValid) {
        if (!bindDocument(hostData, wrapper)) return false;
        bindMesh(layout);
    }
    if (!s_textureIsValid) bindTexture(hostData, layout);
    if (layout.bindsUtility && !s_utilityIsValid) {
        void* entry = slot(hostData, yslot::kUtility);
        if (entry == nullptr) return false;
        s_utility = static_cast<YUtility*>(entry);
        s_utilWrapper = &YUtilWrapper312B46::instance();
        s_utilityIsValid = true;
    }
    return true;
}

bool PlastraHelper::bindDocument(char** hostData, YDocWrapper& wrapper) {
    YDoc* doc = static_cast<YDoc*>(slot(hostData, yslot::kDocument));
    if (!wrapper.docIsValid(doc)) return false;
    YWin* view = wrapper.getActiveView(doc);
    if (view == nullptr) return false;
    s_doc = doc;
    s_docWrapper = &wrapper;
    s_docIsValid = true;
    s_rootWindow = getRootWindow(view);
    return true;
}

void PlastraHelper::bindMesh(const YHostLayout& layout) {
    if (layout.mesh == nullptr || s_doc == nullptr) return;
    const YMeshLayout& m = *layout.mesh;
    void* mesh = yhost::readPtr(s_doc, layout.docCurrentMesh);
    if (mesh == nullptr) return;
    const std::int32_t numVertices = yhost::read<std::int32_t>(mesh, m.numVertices);
    const std::int32_t numFaces = yhost::read<std::int32_t>(mesh, m.numFaces);
    const std::int32_t numUVLinks = yhost::read<std::int32_t>(mesh, m.numUVLinks);
    const std::int32_t numAttribs = yhost::read<std::int32_t>(mesh, m.numVertexAttribs);
    if (numVertices < 0 || numFaces < 0 || numUVLinks < 0 || numAttribs < 0) return;
    s_numVertices = numVertices;
    s_numFaces = numFaces;
    s_numUVLinks = numUVLinks;
    s_numVertexAttribs = numAttribs;
    s_verticesFlt32 = static_cast<float*>(yhost::readPtr(mesh, m.verticesFlt32));
    s_verticesFix32 = static_cast<std::int32_t*>(yhost::readPtr(mesh, m.verticesFix32));
    s_faces = static_cast<std::int32_t*>(yhost::readPtr(mesh, m.faces));
    s_uvLinksFlt32 = static_cast<float*>(yhost::readPtr(mesh, m.uvLinksFlt32));
    s_uvLinksFix32 = static_cast<std::int32_t*>(yhost::readPtr(mesh, m.uvLinksFix32));
    s_vertexAttribs = static_cast<std::int32_t*>(yhost::readPtr(mesh, m.vertexAttribs));
    s_importedScaleFactor = reinterpret_cast<float*>(yhost::bytesAt(mesh, m.importedScaleFactor));
    s_importedOffset = reinterpret_cast<float*>(yhost::bytesAt(mesh, m.importedOffset));
    // A count without its array would send the readers past the host's memory.
    if (s_numFaces > 0 && s_faces == nullptr) s_numFaces = 0;
    s_meshIsValid = true;
}

void PlastraHelper::bindTexture(char** hostData, const YHostLayout& layout) {
    if (layout.texture == nullptr) return;
    const YTextureLayout& t = *layout.texture;
    void* holder = slot(hostData, yslot::kTexture);
    if (holder == nullptr) return;
    void* bitmap = yhost::readPtr(holder, t.holderBitmap);
    if (bitmap == nullptr) return;
    const std::uint64_t pixels = yhost::read<std::uint64_t>(bitmap, t.bitmapPixels);
    if (pixels == 0) return;
    s_textureBitmap.pixels = pixels;
    s_textureBitmap.field1 = yhost::read<std::int32_t>(bitmap, t.bitmapField1);
    s_textureBitmap.field2 = yhost::read<std::int32_t>(bitmap, t.bitmapField2);
    if (t.fixedPointDims) {
        s_textureBitmap.dim1 = fixedIntegerPart(yhost::read<std::int32_t>(holder, t.holderDim1));
        s_textureBitmap.dim2 = fixedIntegerPart(yhost::read<std::int32_t>(holder, t.holderDim2));
    } else {
        s_textureBitmap.dim1 = floatDimension(yhost::read<float>(holder, t.holderDim1));
        s_textureBitmap.dim2 = floatDimension(yhost::read<float>(holder, t.holderDim2));
    }
    s_textureIsValid = true;
}

YWin* PlastraHelper::getRootWindow(YWin* w) { return YTree::getRootWindow(w); }

YWin* PlastraHelper::getParentWindow(YWin* w) { return YWinLinks::parent(w); }

YWin* PlastraHelper::getWindowFromPath(YWin* start, const KVString& path) {
    return YTree::getWindowFromPath(start, path);
}

int PlastraHelper::getWindowChildIndex(YWin* w) { return YTree::getWindowChildIndex(w); }

bool PlastraHelper::disconnectWindow(YWin* w) { return YTree::disconnectWindow(w); }

bool PlastraHelper::moveWindow(YWin* w, YWin* parent, int index) { return YTree::moveWindow(w, parent, index); }

bool PlastraHelper::createWindowText(YWin* w, YWin* model) {
    return s_docWrapper ? s_docWrapper->createWindowText(w, model) : false;
}

void PlastraHelper::setWindowText(YWin* w, const KVString& text) {
    if (s_docWrapper) s_docWrapper->setButtonText(w, text.getBuffer());
}

void PlastraHelper::initProgressBar(YWin* bar) { initProgressBar2(bar, nullptr); }

void PlastraHelper::initProgressBar2(YWin* bar, YWin* textWin) {
    s_progressBarWin = bar;
    s_progressTextWin = textWin;
    setProgressBarText(bar, "");
}

void PlastraHelper::setProgressBarText(YWin* bar, const char* text) {
    if (s_docWrapper == nullptr) return;
    // The message goes to its own window when there is one.
    YWin* target = (bar == s_progressBarWin && s_progressTextWin != nullptr) ? s_progressTextWin : bar;
    s_docWrapper->setButtonText(target, text);
}

void PlastraHelper::setProgressBarPercentage(YWin* bar, double percentage) {
    if (s_docWrapper == nullptr) return;
    if (!(percentage >= 0.0)) percentage = 0.0;
    if (percentage > 100.0) percentage = 100.0;
    char text[16];
    std::snprintf(text, sizeof text, "%d%%", static_cast<int>(percentage + 0.5));
    s_docWrapper->setButtonText(bar, text);
}

void PlastraHelper::setProgressBarNoPercentage(YWin* bar, int step) {
    if (s_docWrapper == nullptr) return;
    // Without a known amount, a moving run of dots shows that work goes on.
    static const char* const kDots[4] = {"", ".", "..", "..."};
    s_docWrapper->setButtonText(bar, kDots[((step % 4) + 4) % 4]);
}

bool PlastraHelper::runYScript(const KVString& script) {
    if (!s_utilityIsValid || s_utilWrapper == nullptr) return false;
    KVLogServer::printLine("PlastraHelper::runYScript");
    return s_utilWrapper->runYScript(s_utility, script);
}
