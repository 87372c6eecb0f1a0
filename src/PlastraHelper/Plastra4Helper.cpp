// Plastra4Helper: window tree of hosts 4 and later over the function-table helpers.
#include "Plastra4Helper.h"

#include <cstdint>

#include "ADocHelper.h"
#include "AGraphixHelper.h"
#include "AWinDocHelper.h"
#include "AWinHelper.h"
#include "AWinPulldownHelper.h"
#include "PlastraHelper.h"
#include "WindowTree.h"
#include "YFunctionsHelper.h"
#include "YHostLayout.h"
#include "YHostRecord.h"

ADoc* Plastra4Helper::s_doc = nullptr;
AWin* Plastra4Helper::s_rootWindow = nullptr;

namespace {

AGraphix* gfx(AWin* w) { return w ? AWinHelper::convertToGraphix(w) : nullptr; }

// Characters of a host text record (count at 20, characters at 24); null when empty or absent.
const char* recordChars(const void* record) {
    if (record == nullptr) return nullptr;
    if (yhost::read<std::int32_t>(record, ylayout::kTextCount) == 0) return nullptr;
    return static_cast<const char*>(record) + ylayout::kTextChars;
}

// Window links through the host's graphic objects; a window without one has no links.
struct AWinLinks {
    using Win = AWin;
    static AWin* parent(AWin* w) {
        AGraphix* g = gfx(w);
        return g ? AGraphixHelper::getParentWindow(g) : nullptr;
    }
    static AWin* child(AWin* w) {
        AGraphix* g = gfx(w);
        return g ? AGraphixHelper::getChildWindow(g) : nullptr;
    }
    static AWin* next(AWin* w) {
        AGraphix* g = gfx(w);
        return g ? AGraphixHelper::getNextWindow(g) : nullptr;
    }
    static AWin* prev(AWin* w) {
        AGraphix* g = gfx(w);
        return g ? AGraphixHelper::getPrevWindow(g) : nullptr;
    }
    static void setParent(AWin* w, AWin* v) {
        if (AGraphix* g = gfx(w)) AGraphixHelper::setParentWindow(g, v);
    }
    static void setChild(AWin* w, AWin* v) {
        if (AGraphix* g = gfx(w)) AGraphixHelper::setChildWindow(g, v);
    }
    static void setNext(AWin* w, AWin* v) {
        if (AGraphix* g = gfx(w)) AGraphixHelper::setNextWindow(g, v);
    }
    static void setPrev(AWin* w, AWin* v) {
        if (AGraphix* g = gfx(w)) AGraphixHelper::setPrevWindow(g, v);
    }
    static const char* name(AWin* w) { return Plastra4Helper::getWindowName(w); }
    static int pulldownCount(AWin* w) {
        AWinPulldown* menu = w ? AWinPulldownHelper::convertFromWin(w) : nullptr;
        if (menu == nullptr) return -1;
        // A menu whose count reads negative has no items; it is still a menu, not a window with children.
        const int count = AWinPulldownHelper::getWinsCount(menu);
        return count < 0 ? 0 : count;
    }
    static AWin* pulldownItem(AWin* w, int i) {
        AWinPulldown* menu = w ? AWinPulldownHelper::convertFromWin(w) : nullptr;
        return menu ? AWinPulldownHelper::getWin(menu, i) : nullptr;
    }
};

using ATree = WindowTree<AWinLinks>;

}  // namespace

void Plastra4Helper::init(char** hostData) {
    s_doc = nullptr;
    s_rootWindow = nullptr;
    if (hostData == nullptr) {
        YFunctionsHelper::setFuncTable(nullptr);
        return;
    }
    YFunctionsHelper::setFuncTable(reinterpret_cast<const PlastraFuncTable*>(hostData[yslot::kFuncTable]));
    s_doc = reinterpret_cast<ADoc*>(hostData[yslot::kDocument]);
    if (s_doc == nullptr) return;
    AWinDoc* view = ADocHelper::getActiveView(s_doc);
    AWin* viewWin = view ? AWinDocHelper::convertToWin(view) : nullptr;
    s_rootWindow = getRootWindow(viewWin);
}

AWin* Plastra4Helper::getRootWindow(AWin* w) { return ATree::getRootWindow(w); }

const char* Plastra4Helper::getWindowName(AWin* w) {
    if (w == nullptr) return nullptr;
    if (ACmdState* state = AWinHelper::getCmdState(w)) {
        if (const char* name = recordChars(yhost::readPtr(state, ylayout::kInfoNameText))) return name;
    }
    return recordChars(AWinHelper::getText(w));
}

AWin* Plastra4Helper::getParentWindow(AWin* w) { return AWinLinks::parent(w); }

AWin* Plastra4Helper::getWindowFromPath(AWin* start, const KVString& path) {
    return ATree::getWindowFromPath(start, path);
}

int Plastra4Helper::getWindowChildIndex(AWin* w) { return ATree::getWindowChildIndex(w); }

bool Plastra4Helper::disconnectWindow(AWin* w) { return ATree::disconnectWindow(w); }

bool Plastra4Helper::moveWindow(AWin* w, AWin* parent, int index) { return ATree::moveWindow(w, parent, index); }
