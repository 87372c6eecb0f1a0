// Document wrappers: window links, texts and pull-down menus at a build's positions.
#include "YDocWrapper.h"

#include <cstdint>
#include <cstdlib>

using namespace ylayout;

namespace {

// Deeper window chains than this are taken as a broken tree.
constexpr int kMaxViewDepth = 19;
// Bounds the climb of getFullPathName on a tree whose parent links loop.
constexpr int kMaxPathDepth = 256;

const char* textChars(void* textRecord) {
    if (textRecord == nullptr) return nullptr;
    if (yhost::read<std::int32_t>(textRecord, kTextCount) == 0) return nullptr;
    return yhost::bytesAt(textRecord, kTextChars);
}

}  // namespace

bool YDocWrapper::docIsValid(YDoc* doc) const {
    if (doc == nullptr) return false;
    YWin* w = getActiveView(doc);
    for (int level = 0; w != nullptr; ++level) {
        if (level >= kMaxViewDepth) return false;
        YWin* parent = getParentWin(w);
        YWin* child = getChildWin(w);
        if (child != nullptr && getParentWin(child) != w) return false;
        YWin* next = getNextWin(w);
        if (next != nullptr && (getPrevWin(next) != w || getParentWin(next) != parent)) return false;
        YWin* prev = getPrevWin(w);
        if (prev != nullptr && (getNextWin(prev) != w || getParentWin(prev) != parent)) return false;
        w = parent;
    }
    return true;
}

YWin* YDocWrapper::getActiveView(YDoc* doc) const {
    return doc ? static_cast<YWin*>(yhost::readPtr(doc, m_layout.docActiveView)) : nullptr;
}

YWin* YDocWrapper::getParentWin(YWin* w) const {
    return w ? static_cast<YWin*>(yhost::readPtr(w, m_layout.winParent)) : nullptr;
}
YWin* YDocWrapper::getChildWin(YWin* w) const {
    return w ? static_cast<YWin*>(yhost::readPtr(w, m_layout.winFirstChild)) : nullptr;
}
YWin* YDocWrapper::getNextWin(YWin* w) const {
    return w ? static_cast<YWin*>(yhost::readPtr(w, m_layout.winNextSibling)) : nullptr;
}
YWin* YDocWrapper::getPrevWin(YWin* w) const {
    return w ? static_cast<YWin*>(yhost::readPtr(w, m_layout.winPrevSibling)) : nullptr;
}
void YDocWrapper::setParentWin(YWin* w, YWin* v) const {
    if (w) yhost::writePtr(w, m_layout.winParent, v);
}
void YDocWrapper::setChildWin(YWin* w, YWin* v) const {
    if (w) yhost::writePtr(w, m_layout.winFirstChild, v);
}
void YDocWrapper::setNextWin(YWin* w, YWin* v) const {
    if (w) yhost::writePtr(w, m_layout.winNextSibling, v);
}
void YDocWrapper::setPrevWin(YWin* w, YWin* v) const {
    if (w) yhost::writePtr(w, m_layout.winPrevSibling, v);
}

void* YDocWrapper::getTextRecord(YWin* w) const { return w ? yhost::readPtr(w, m_layout.winText) : nullptr; }
void* YDocWrapper::getInfoRecord(YWin* w) const { return w ? yhost::readPtr(w, m_layout.winInfo) : nullptr; }
void* YDocWrapper::getNameRecord(YWin* w) const {
    void* info = getInfoRecord(w);
    return info ? yhost::readPtr(info, kInfoNameText) : nullptr;
}

const char* YDocWrapper::getWinText(YWin* w) const {
    if (const char* text = textChars(getTextRecord(w))) return text;
    return textChars(getNameRecord(w));
}

const char* YDocWrapper::getWinName(YWin* w) const {
    if (const char* name = textChars(getNameRecord(w))) return name;
    return textChars(getTextRecord(w));
}

KVString YDocWrapper::getFullPathName(YWin* w) const {
    KVString path;
    for (int depth = 0; w != nullptr && depth < kMaxPathDepth; ++depth, w = getParentWin(w)) {
        const char* name = getWinName(w);
        if (name == nullptr || name[0] == '\0') continue;
        path = path.isEmpty() ? KVString(name) : KVString(name) + ":" + path;
    }
    return path;
}

YPulldownWin* YDocWrapper::getPulldownWin(YWin* w) const {
    void* info = getInfoRecord(w);
    if (info == nullptr || yhost::read<std::int16_t>(info, kInfoKind) != kKindPulldown) return nullptr;
    return reinterpret_cast<YPulldownWin*>(w);
}

int YDocWrapper::getWinCountInPulldownWin(YPulldownWin* menu) const {
    return menu ? yhost::read<std::int32_t>(menu, m_layout.pulldownCount) : 0;
}

YWin* YDocWrapper::getWinInPulldownWin(YPulldownWin* menu, int i) const {
    if (menu == nullptr || i < 0 || i >= getWinCountInPulldownWin(menu)) return nullptr;
    return static_cast<YWin*>(yhost::readPtr(menu, m_layout.pulldownItems + 8 * static_cast<std::size_t>(i)));
}

bool YDocWrapper::swapWinText(YWin* a, YWinTextType ta, YWin* b, YWinTextType tb) const {
    // The place of each record pointer: in the window for its text, in its info record for its name.
    auto slot = [this](YWin* w, YWinTextType t, void*& record, std::size_t& pos) {
        if (t == YWinText_Text) {
            record = w;
            pos = m_layout.winText;
        } else {
            record = getInfoRecord(w);
            pos = kInfoNameText;
        }
        return record != nullptr;
    };
    if (a == nullptr || b == nullptr) return false;
    void* ra = nullptr;
    void* rb = nullptr;
    std::size_t pa = 0, pb = 0;
    if (!slot(a, ta, ra, pa) || !slot(b, tb, rb, pb)) return false;
    void* textA = yhost::readPtr(ra, pa);
    void* textB = yhost::readPtr(rb, pb);
    yhost::writePtr(ra, pa, textB);
    yhost::writePtr(rb, pb, textA);
    return true;
}

bool YDocWrapper::swapWinImage(YWin*, YWin*) const { return false; }

void* YDocWrapper::getButtonImage(YWin*) const { return nullptr; }

bool YDocWrapper::copyButtonNameToButtonText(YWin* w) const {
    void* text = getTextRecord(w);
    void* name = getNameRecord(w);
    if (text == nullptr || name == nullptr) return false;
    if (text == name) return true;
    // The name's characters are bounded by its own record's room, not by its count.
    char copy[kTextMaxChars + 1];
    std::memcpy(copy, yhost::bytesAt(name, kTextChars), kTextMaxChars);
    copy[kTextMaxChars] = '\0';
    setButtonText(w, copy);
    return true;
}

const char* YDocWrapper::getButtonText(YWin* w) const {
    void* text = getTextRecord(w);
    return text ? yhost::bytesAt(text, kTextChars) : nullptr;
}

void YDocWrapper::setButtonText(YWin* w, const char* text) const {
    void* record = getTextRecord(w);
    if (record == nullptr) return;
    char* chars = yhost::bytesAt(record, kTextChars);
    if (text == nullptr) {
        yhost::write<std::int32_t>(record, kTextCount, 0);
        chars[0] = '\0';
        return;
    }
    const std::size_t length = std::strlen(text);
    const int count = length > static_cast<std::size_t>(kTextMaxChars) ? kTextMaxChars : static_cast<int>(length);
    yhost::write<std::int32_t>(record, kTextCount, count);
    std::memcpy(chars, text, static_cast<std::size_t>(count));
    chars[count] = '\0';
}

bool YDocWrapper::createWindowText(YWin* w, YWin* model) const {
    if (w == nullptr || getTextRecord(w) != nullptr) return false;
    void* modelText = getTextRecord(model);
    if (modelText == nullptr) return false;
    const std::size_t size = kTextChars + kTextMaxChars + 1;
    void* record = std::calloc(1, size);
    if (record == nullptr) return false;
    std::memcpy(record, modelText, kTextChars);  // the header the host keeps before the count
    yhost::write<std::int32_t>(record, kTextCount, 0);
    yhost::writePtr(w, m_layout.winText, record);
    return true;
}

YDocWrapper31& YDocWrapper31::instance() {
    static YDocWrapper31 wrapper;
    return wrapper;
}
YDocWrapper312& YDocWrapper312::instance() {
    static YDocWrapper312 wrapper;
    return wrapper;
}
YDocWrapper312B27& YDocWrapper312B27::instance() {
    static YDocWrapper312B27 wrapper;
    return wrapper;
}
YDocWrapper312B43& YDocWrapper312B43::instance() {
    static YDocWrapper312B43 wrapper;
    return wrapper;
}
YDocWrapper312B46& YDocWrapper312B46::instance() {
    static YDocWrapper312B46 wrapper;
    return wrapper;
}
