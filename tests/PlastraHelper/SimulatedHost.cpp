// The simulated host's records and function tables.
#include "SimulatedHost.h"

#include <cstdlib>
#include <cstring>
#include <set>

namespace simhost {

// name, parent, child, next, prev, info, text, pull-down count, items, active view, texture
const BuildLayout kBuild31 = {"3.1", 144, 152, 160, 168, 224, 240, 352, 360, 1008, 31};
const BuildLayout kBuild312 = {"3.12", 128, 136, 144, 152, 208, 224, 336, 344, 1000, 0};
const BuildLayout kBuild312B27 = {"3.12 B27", 144, 152, 160, 168, 224, 240, 352, 360, 1016, 0};
const BuildLayout kBuild312B43 = {"3.12 B43", 136, 144, 152, 160, 216, 232, 344, 352, 1008, 0};
const BuildLayout kBuild312B46 = {"3.12 B46", 136, 144, 152, 160, 216, 232, 344, 352, 1008, 46};
const BuildLayout* const kAllBuilds[5] = {&kBuild31, &kBuild312, &kBuild312B27, &kBuild312B43, &kBuild312B46};

namespace {

constexpr std::size_t kWindowSize = 512;
constexpr std::size_t kInfoSize = 128;
constexpr std::size_t kTextSize = 24 + 256 + 8;
constexpr std::size_t kMeshSize = 128;
constexpr int kMaxWalk = 10000;

template <typename T>
void put(void* record, std::size_t pos, T v) {
    std::memcpy(static_cast<unsigned char*>(record) + pos, &v, sizeof v);
}
template <typename T>
T get(const void* record, std::size_t pos) {
    T v;
    std::memcpy(&v, static_cast<const unsigned char*>(record) + pos, sizeof v);
    return v;
}

}  // namespace

// ---------------------------------------------------------------- Host3

Host3::Host3(const BuildLayout& layout) : m_layout(layout) {
    m_doc = newRecord(kDocSize);
    m_slots[2] = static_cast<char*>(m_doc);
}

Host3::~Host3() {
    // A text record the library gives a window (malloc'd) is the window's from then on, and a swap
    // may have moved it into an info record's name slot: both slots of every window are looked at.
    std::set<const void*> own;
    for (const std::unique_ptr<unsigned char[]>& block : m_blocks) own.insert(block.get() + 1);
    std::set<void*> given;
    for (void* w : m_windows) {
        void* info = readPtr(w, m_layout.info);
        for (void* record : {textRecord(w), info ? readPtr(info, 96) : nullptr})
            if (record != nullptr && own.count(record) == 0) given.insert(record);
    }
    for (void* record : given) std::free(record);
}

void* Host3::readPtr(const void* record, std::size_t pos) {
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(get<std::uint64_t>(record, pos)));
}

void Host3::writePtr(void* record, std::size_t pos, const void* p) {
    put<std::uint64_t>(record, pos, static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(p)));
}

void* Host3::newRecord(std::size_t size) {
    m_blocks.emplace_back(new unsigned char[size + 8]());
    return m_blocks.back().get() + 1;
}

void Host3::writeTextRecord(void* record, const char* text) {
    std::size_t n = std::strlen(text);
    if (n > 255) n = 255;
    put<std::int32_t>(record, 20, static_cast<std::int32_t>(n));
    char* chars = static_cast<char*>(record) + 24;
    std::memcpy(chars, text, n);
    chars[n] = '\0';
}

void* Host3::newTextRecord(const char* text) {
    void* record = newRecord(kTextSize);
    writeTextRecord(record, text);
    return record;
}

void* Host3::windowRecord(std::size_t size, const char* name, void* parent, const char* text) {
    void* w = newRecord(size);
    m_windows.push_back(w);
    if (name != nullptr) {
        void* info = newRecord(kInfoSize);
        writePtr(info, 96, newTextRecord(name));
        writePtr(w, m_layout.info, info);
    }
    if (text != nullptr) writePtr(w, m_layout.text, newTextRecord(text));
    if (parent != nullptr) {
        setParent(w, parent);
        void* c = child(parent);
        if (c == nullptr) {
            setChild(parent, w);
        } else {
            while (next(c) != nullptr) c = next(c);
            setNext(c, w);
            setPrev(w, c);
        }
    }
    return w;
}

void* Host3::window(const char* name, void* parent, const char* text) {
    return windowRecord(kWindowSize, name, parent, text);
}

void* Host3::pulldown(const char* name, void* parent, const std::vector<void*>& items) {
    void* menu = windowRecord(kWindowSize + 8 * items.size(), name, parent, nullptr);
    if (readPtr(menu, m_layout.info) == nullptr) writePtr(menu, m_layout.info, newRecord(kInfoSize));
    setKind(menu, 1007);
    put<std::int32_t>(menu, m_layout.pulldownCount, static_cast<std::int32_t>(items.size()));
    for (std::size_t i = 0; i < items.size(); ++i) writePtr(menu, m_layout.pulldownItems + 8 * i, items[i]);
    return menu;
}

void Host3::setKind(void* w, std::int16_t kind) {
    void* info = readPtr(w, m_layout.info);
    if (info == nullptr) {
        info = newRecord(kInfoSize);
        writePtr(w, m_layout.info, info);
    }
    put<std::int16_t>(info, 20, kind);
}

std::vector<void*> Host3::children(void* w) const {
    std::vector<void*> out;
    for (void* c = child(w); c != nullptr && out.size() < kMaxWalk; c = next(c)) out.push_back(c);
    return out;
}

std::string Host3::linkErrors(void* root) const {
    std::set<void*> seen;
    std::vector<void*> todo{root};
    while (!todo.empty()) {
        void* w = todo.back();
        todo.pop_back();
        if (!seen.insert(w).second) return "window reached twice";
        void* before = nullptr;
        for (void* c : children(w)) {
            if (parent(c) != w) return "child whose parent link is wrong";
            if (prev(c) != before) return "previous link disagrees with next link";
            before = c;
            todo.push_back(c);
        }
    }
    return "";
}

std::int32_t Host3::textCount(void* w) const {
    void* t = textRecord(w);
    return t ? get<std::int32_t>(t, 20) : -1;
}

std::string Host3::textChars(void* w) const {
    void* t = textRecord(w);
    return t ? std::string(static_cast<const char*>(t) + 24) : std::string();
}

void Host3::setText(void* w, const char* text) {
    void* t = textRecord(w);
    if (t == nullptr) {
        writePtr(w, m_layout.text, newTextRecord(text));
    } else {
        writeTextRecord(t, text);
    }
}

void Host3::setName(void* w, const char* name) {
    void* info = readPtr(w, m_layout.info);
    if (info == nullptr) {
        info = newRecord(kInfoSize);
        writePtr(w, m_layout.info, info);
    }
    writePtr(info, 96, newTextRecord(name));
}

void Host3::setMesh(const Mesh& mesh) {
    m_meshData.reset(new Mesh(mesh));
    const Mesh& m = *m_meshData;
    if (m_mesh == nullptr) m_mesh = newRecord(kMeshSize);
    put<std::int32_t>(m_mesh, 0, m.numVertices);
    put<std::int32_t>(m_mesh, 4, m.numFaces);
    put<std::int32_t>(m_mesh, 8, m.numUVLinks);
    put<std::int32_t>(m_mesh, 12, 0);
    writePtr(m_mesh, 16, m.verticesFlt.empty() ? nullptr : m.verticesFlt.data());
    writePtr(m_mesh, 24, m.verticesFix.empty() ? nullptr : m.verticesFix.data());
    writePtr(m_mesh, 32, m.faces.empty() ? nullptr : m.faces.data());
    writePtr(m_mesh, 40, m.uvLinksFlt.empty() ? nullptr : m.uvLinksFlt.data());
    writePtr(m_mesh, 48, m.uvLinksFix.empty() ? nullptr : m.uvLinksFix.data());
    writePtr(m_mesh, 56, nullptr);
    setMeshScale(m.scale[0], m.scale[1], m.scale[2]);
    setMeshOffset(m.offset[0], m.offset[1], m.offset[2]);
    writePtr(m_doc, kDocCurrentMesh, m_mesh);
}

std::vector<float> Host3::meshScale() const {
    return m_mesh ? std::vector<float>{get<float>(m_mesh, 64), get<float>(m_mesh, 68), get<float>(m_mesh, 72)}
                  : std::vector<float>();
}

std::vector<float> Host3::meshOffset() const {
    return m_mesh ? std::vector<float>{get<float>(m_mesh, 76), get<float>(m_mesh, 80), get<float>(m_mesh, 84)}
                  : std::vector<float>();
}

void Host3::setMeshScale(float x, float y, float z) {
    if (m_mesh == nullptr) return;
    put(m_mesh, 64, x);
    put(m_mesh, 68, y);
    put(m_mesh, 72, z);
}

void Host3::setMeshOffset(float x, float y, float z) {
    if (m_mesh == nullptr) return;
    put(m_mesh, 76, x);
    put(m_mesh, 80, y);
    put(m_mesh, 84, z);
}

void Host3::setTexture(std::uint64_t pixels, std::int32_t field1, std::int32_t field2, float dim1, float dim2) {
    void* holder = newRecord(256);
    void* bitmap = newRecord(128);
    if (m_layout.textureKind == 31) {
        writePtr(holder, 184, bitmap);
        put<std::uint64_t>(bitmap, 56, pixels);
        put<std::int32_t>(bitmap, 52, field1);
        put<std::int32_t>(bitmap, 78, field2);
        put<std::int32_t>(holder, 80, static_cast<std::int32_t>(dim1 * 65536.0f));
        put<std::int32_t>(holder, 72, static_cast<std::int32_t>(dim2 * 65536.0f));
    } else {
        writePtr(holder, 176, bitmap);
        put<std::uint64_t>(bitmap, 64, pixels);
        put<std::int32_t>(bitmap, 60, field1);
        put<std::int32_t>(bitmap, 86, field2);
        put<float>(holder, 72, dim1);
        put<float>(holder, 68, dim2);
    }
    m_slots[6] = static_cast<char*>(holder);
}

void Host3::setUtility(bool present) {
    m_slots[7] = present ? reinterpret_cast<char*>(reinterpret_cast<std::uintptr_t>(&utilityEntry)) : nullptr;
}

std::vector<UtilityCall>& utilityCalls() {
    static std::vector<UtilityCall> calls;
    return calls;
}

int g_utilityAnswer = 0;

int utilityEntry(int command, int a, int b, char* text, int c, float version) {
    utilityCalls().push_back(UtilityCall{command, a, b, c, text ? std::string(text) : std::string(), version});
    return g_utilityAnswer;
}

// ---------------------------------------------------------------- Host4

struct Host4::Win {
    struct Part {
        Win* owner;
    };
    Part graphix{this};
    Part pulldownPart{this};
    Win* parent = nullptr;
    Win* child = nullptr;
    Win* next = nullptr;
    Win* prev = nullptr;
    void* cmdState = nullptr;  // byte record: name text record pointer at 96
    void* text = nullptr;      // byte record: count at 20, characters at 24
    bool isPulldown = false;
    std::vector<Win*> items;
};

namespace {

using Win = Host4::Win;
using Part = Host4::Win::Part;

Win* win(AWin* w) { return reinterpret_cast<Win*>(w); }
AWin* awin(Win* w) { return reinterpret_cast<AWin*>(w); }
Win* owner(AGraphix* g) { return g ? reinterpret_cast<Part*>(g)->owner : nullptr; }

struct DocObj {
    AWinDoc* view;
};
struct WinDocObj {
    AWin* win;
};

// Graphix entries: the links of the window behind the graphic object.
AWin* gGetParent(AGraphix* g) { return awin(owner(g)->parent); }
void gSetParent(AGraphix* g, AWin* v) { owner(g)->parent = win(v); }
AWin* gGetChild(AGraphix* g) { return awin(owner(g)->child); }
void gSetChild(AGraphix* g, AWin* v) { owner(g)->child = win(v); }
AWin* gGetNext(AGraphix* g) { return awin(owner(g)->next); }
void gSetNext(AGraphix* g, AWin* v) { owner(g)->next = win(v); }
AWin* gGetPrev(AGraphix* g) { return awin(owner(g)->prev); }
void gSetPrev(AGraphix* g, AWin* v) { owner(g)->prev = win(v); }

AGraphix* wToGraphix(AWin* w) { return reinterpret_cast<AGraphix*>(&win(w)->graphix); }
AWin* wFromGraphix(AGraphix* g) { return awin(owner(g)); }
ACmdState* wGetCmdState(AWin* w) { return static_cast<ACmdState*>(win(w)->cmdState); }
AStr* wGetText(AWin* w) { return static_cast<AStr*>(win(w)->text); }

AWinDoc* dGetActiveView(ADoc* d) { return reinterpret_cast<DocObj*>(d)->view; }
AWin* wdToWin(AWinDoc* v) { return reinterpret_cast<WinDocObj*>(v)->win; }

AWinPulldown* pdFromWin(AWin* w) {
    return win(w)->isPulldown ? reinterpret_cast<AWinPulldown*>(&win(w)->pulldownPart) : nullptr;
}
int pdCount(AWinPulldown* p) { return static_cast<int>(reinterpret_cast<Part*>(p)->owner->items.size()); }
AWin* pdGetWin(AWinPulldown* p, int i) {
    const std::vector<Win*>& items = reinterpret_cast<Part*>(p)->owner->items;
    return (i >= 0 && static_cast<std::size_t>(i) < items.size()) ? awin(items[static_cast<std::size_t>(i)]) : nullptr;
}

template <typename F>
void (*entry(F f))() {
    return reinterpret_cast<void (*)()>(f);
}

}  // namespace

Host4::Host4() : m_records(new Host3(kBuild312B46)) {
    m_doc = new DocObj{nullptr};
    m_winDoc = new WinDocObj{nullptr};
    static_cast<DocObj*>(m_doc)->view = reinterpret_cast<AWinDoc*>(m_winDoc);
    // Sub-table sizes and the slots this host fills, in slot order.
    const std::size_t sizes[9] = {16, 10, 24, 2, 16, 10, 8, 8, 2};
    for (std::size_t s : sizes) m_subTables.emplace_back(s, nullptr);
    m_subTables[0][8] = entry(&gGetParent);
    m_subTables[0][9] = entry(&gSetParent);
    m_subTables[0][10] = entry(&gGetChild);
    m_subTables[0][11] = entry(&gSetChild);
    m_subTables[0][12] = entry(&gGetNext);
    m_subTables[0][13] = entry(&gSetNext);
    m_subTables[0][14] = entry(&gGetPrev);
    m_subTables[0][15] = entry(&gSetPrev);
    m_subTables[1][0] = entry(&wToGraphix);
    m_subTables[1][1] = entry(&wFromGraphix);
    m_subTables[1][4] = entry(&wGetCmdState);
    m_subTables[1][6] = entry(&wGetText);
    m_subTables[2][16] = entry(&dGetActiveView);
    m_subTables[6][0] = entry(&wdToWin);
    m_subTables[7][1] = entry(&pdFromWin);
    m_subTables[7][6] = entry(&pdCount);
    m_subTables[7][7] = entry(&pdGetWin);
    for (int i = 0; i < 9; ++i) m_table[i] = m_subTables[static_cast<std::size_t>(i)].data();
    m_slots[2] = static_cast<char*>(m_doc);
    m_slots[8] = reinterpret_cast<char*>(m_table);
}

Host4::~Host4() {
    delete static_cast<DocObj*>(m_doc);
    delete static_cast<WinDocObj*>(m_winDoc);
}

AWin* Host4::window(const char* name, AWin* parent, const char* text) {
    m_wins.emplace_back(new Win());
    Win* w = m_wins.back().get();
    if (name != nullptr) {
        w->cmdState = m_records->newRecord(128);
        Host3::writePtr(w->cmdState, 96, m_records->newTextRecord(name));
    }
    if (text != nullptr) w->text = m_records->newTextRecord(text);
    if (Win* p = win(parent)) {
        w->parent = p;
        if (p->child == nullptr) {
            p->child = w;
        } else {
            Win* c = p->child;
            while (c->next != nullptr) c = c->next;
            c->next = w;
            w->prev = c;
        }
    }
    return awin(w);
}

AWin* Host4::pulldown(const char* name, AWin* parent, const std::vector<AWin*>& items) {
    AWin* menu = window(name, parent);
    win(menu)->isPulldown = true;
    for (AWin* item : items) win(menu)->items.push_back(win(item));
    return menu;
}

void Host4::setActiveView(AWin* w) { static_cast<WinDocObj*>(m_winDoc)->win = w; }

AWin* Host4::parent(AWin* w) const { return awin(win(w)->parent); }
AWin* Host4::child(AWin* w) const { return awin(win(w)->child); }
AWin* Host4::next(AWin* w) const { return awin(win(w)->next); }
AWin* Host4::prev(AWin* w) const { return awin(win(w)->prev); }

std::vector<AWin*> Host4::children(AWin* w) const {
    std::vector<AWin*> out;
    for (Win* c = win(w)->child; c != nullptr && out.size() < kMaxWalk; c = c->next) out.push_back(awin(c));
    return out;
}

std::string Host4::name(AWin* w) const {
    const Win* x = win(w);
    const void* record = x->cmdState ? Host3::readPtr(x->cmdState, 96) : x->text;
    return record ? std::string(static_cast<const char*>(record) + 24) : std::string();
}

std::vector<std::string> Host4::childNames(AWin* w) const {
    std::vector<std::string> out;
    for (AWin* c : children(w)) out.push_back(name(c));
    return out;
}

std::string Host4::linkErrors(AWin* root) const {
    std::set<Win*> seen;
    std::vector<Win*> todo{win(root)};
    while (!todo.empty()) {
        Win* w = todo.back();
        todo.pop_back();
        if (!seen.insert(w).second) return "window reached twice";
        Win* before = nullptr;
        for (AWin* a : children(awin(w))) {
            Win* c = win(a);
            if (c->parent != w) return "child whose parent link is wrong";
            if (c->prev != before) return "previous link disagrees with next link";
            before = c;
            todo.push_back(c);
        }
    }
    return "";
}

void Host4::dropSubTable(int index) { m_table[index] = nullptr; }

void Host4::dropEntry(int table, int slot) {
    m_subTables[static_cast<std::size_t>(table)][static_cast<std::size_t>(slot)] = nullptr;
}

}  // namespace simhost
