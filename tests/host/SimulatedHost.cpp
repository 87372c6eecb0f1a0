// The simulated host's records and function tables.
#include "SimulatedHost.h"

#include <algorithm>
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

constexpr std::size_t kWindowSize = 512, kInfoSize = 128, kTextSize = 24 + 256 + 8, kMeshSize = 128;
constexpr std::size_t kDocSize = 1280, kDocCurrentMesh = 1200;
constexpr std::size_t kMaxWalk = 10000;

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

// Children of w in next order, bounded so that a cycle the library made cannot hang a test.
template <typename H, typename W>
std::vector<W> childrenOf(const H& host, W w) {
    std::vector<W> out;
    for (W c = host.child(w); c != nullptr && out.size() < kMaxWalk; c = host.next(c)) out.push_back(c);
    return out;
}

template <typename H, typename W>
std::string linkErrorsOf(const H& host, W root) {
    std::set<W> seen;
    std::vector<W> todo{root};
    while (!todo.empty()) {
        W w = todo.back();
        todo.pop_back();
        if (!seen.insert(w).second) return "window reached twice";
        W before = nullptr;
        for (W c : childrenOf(host, w)) {
            if (host.parent(c) != w) return "child whose parent link is wrong";
            if (host.prev(c) != before) return "previous link disagrees with next link";
            before = c;
            todo.push_back(c);
        }
    }
    return "";
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
        void* in = readPtr(w, m_layout.info);
        for (void* record : {textRecord(w), in ? readPtr(in, 96) : nullptr})
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

void* Host3::newTextRecord(const char* text) {
    void* record = newRecord(kTextSize);
    const std::size_t n = std::min<std::size_t>(std::strlen(text), 255);
    put<std::int32_t>(record, 20, static_cast<std::int32_t>(n));
    std::memcpy(static_cast<char*>(record) + 24, text, n);
    return record;
}

void* Host3::info(void* w) {
    if (readPtr(w, m_layout.info) == nullptr) writePtr(w, m_layout.info, newRecord(kInfoSize));
    return readPtr(w, m_layout.info);
}

void* Host3::windowRecord(std::size_t size, const char* name, void* parent, const char* text) {
    void* w = newRecord(size);
    m_windows.push_back(w);
    if (name != nullptr) writePtr(info(w), 96, newTextRecord(name));
    if (text != nullptr) writePtr(w, m_layout.text, newTextRecord(text));
    if (parent != nullptr) {
        setParent(w, parent);
        std::vector<void*> siblings = children(parent);
        if (siblings.empty()) {
            setChild(parent, w);
        } else {
            setNext(siblings.back(), w);
            setPrev(w, siblings.back());
        }
    }
    return w;
}

void* Host3::window(const char* name, void* parent, const char* text) {
    return windowRecord(kWindowSize, name, parent, text);
}

void* Host3::pulldown(const char* name, void* parent, const std::vector<void*>& items) {
    void* menu = windowRecord(kWindowSize + 8 * items.size(), name, parent, nullptr);
    put<std::int16_t>(info(menu), 20, 1007);
    put<std::int32_t>(menu, m_layout.pulldownCount, static_cast<std::int32_t>(items.size()));
    for (std::size_t i = 0; i < items.size(); ++i) writePtr(menu, m_layout.pulldownItems + 8 * i, items[i]);
    return menu;
}

std::vector<void*> Host3::children(void* w) const { return childrenOf(*this, w); }
std::string Host3::linkErrors(void* root) const { return linkErrorsOf(*this, root); }

std::int32_t Host3::textCount(void* w) const {
    void* t = textRecord(w);
    return t ? get<std::int32_t>(t, 20) : -1;
}

std::string Host3::textChars(void* w) const {
    void* t = textRecord(w);
    return t ? std::string(static_cast<const char*>(t) + 24) : std::string();
}

void Host3::setMesh(const Mesh& mesh) {
    m_meshData.reset(new Mesh(mesh));
    const Mesh& m = *m_meshData;
    if (m_mesh == nullptr) m_mesh = newRecord(kMeshSize);
    put<std::int32_t>(m_mesh, 0, m.numVertices);
    put<std::int32_t>(m_mesh, 4, m.numFaces);
    put<std::int32_t>(m_mesh, 8, m.numUVLinks);
    writePtr(m_mesh, 16, m.verticesFlt.empty() ? nullptr : m.verticesFlt.data());
    writePtr(m_mesh, 24, m.verticesFix.empty() ? nullptr : m.verticesFix.data());
    writePtr(m_mesh, 32, m.faces.empty() ? nullptr : m.faces.data());
    writePtr(m_mesh, 40, m.uvLinksFlt.empty() ? nullptr : m.uvLinksFlt.data());
    writePtr(m_mesh, 48, m.uvLinksFix.empty() ? nullptr : m.uvLinksFix.data());
    setMeshScale(m.scale[0], m.scale[1], m.scale[2]);
    setMeshOffset(m.offset[0], m.offset[1], m.offset[2]);
    writePtr(m_doc, kDocCurrentMesh, m_mesh);
}

// Scale at 64, offset at 76 of the mesh record: three floats each.
void Host3::putFloats(std::size_t pos, float x, float y, float z) {
    if (m_mesh == nullptr) return;
    const float v[3] = {x, y, z};
    std::memcpy(static_cast<unsigned char*>(m_mesh) + pos, v, sizeof v);
}

std::vector<float> Host3::floats(std::size_t pos) const {
    if (m_mesh == nullptr) return {};
    return {get<float>(m_mesh, pos), get<float>(m_mesh, pos + 4), get<float>(m_mesh, pos + 8)};
}

std::vector<float> Host3::meshScale() const { return floats(64); }
std::vector<float> Host3::meshOffset() const { return floats(76); }
void Host3::setMeshScale(float x, float y, float z) { putFloats(64, x, y, z); }
void Host3::setMeshOffset(float x, float y, float z) { putFloats(76, x, y, z); }

// 3.1 keeps the texture's dimensions as 16.16 fixed point; later builds as floats, 8 bytes earlier.
void Host3::setTexture(std::uint64_t pixels, std::int32_t field1, std::int32_t field2, float dim1, float dim2) {
    void* holder = newRecord(256);
    void* bitmap = newRecord(128);
    const bool old = m_layout.textureKind == 31;
    const std::size_t shift = old ? 0 : 8;
    writePtr(holder, old ? 184 : 176, bitmap);
    put<std::uint64_t>(bitmap, 56 + shift, pixels);
    put<std::int32_t>(bitmap, 52 + shift, field1);
    put<std::int32_t>(bitmap, 78 + shift, field2);
    if (old) {
        put<std::int32_t>(holder, 80, static_cast<std::int32_t>(dim1 * 65536.0f));
        put<std::int32_t>(holder, 72, static_cast<std::int32_t>(dim2 * 65536.0f));
    } else {
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
#define SIMHOST_LINK(Name, field)                                   \
    AWin* gGet##Name(AGraphix* g) { return awin(owner(g)->field); } \
    void gSet##Name(AGraphix* g, AWin* v) { owner(g)->field = win(v); }
SIMHOST_LINK(Parent, parent)
SIMHOST_LINK(Child, child)
SIMHOST_LINK(Next, next)
SIMHOST_LINK(Prev, prev)
#undef SIMHOST_LINK

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
    // Sub-table sizes, and the slots this host fills.
    const std::size_t sizes[9] = {16, 10, 24, 2, 16, 10, 8, 8, 2};
    for (std::size_t s : sizes) m_subTables.emplace_back(s, nullptr);
    const struct {
        std::size_t table, slot;
        void (*f)();
    } filled[] = {{0, 8, entry(&gGetParent)}, {0, 9, entry(&gSetParent)}, {0, 10, entry(&gGetChild)},
                  {0, 11, entry(&gSetChild)},   {0, 12, entry(&gGetNext)},  {0, 13, entry(&gSetNext)},
                  {0, 14, entry(&gGetPrev)},    {0, 15, entry(&gSetPrev)},  {1, 0, entry(&wToGraphix)},
                  {1, 1, entry(&wFromGraphix)}, {1, 4, entry(&wGetCmdState)}, {1, 6, entry(&wGetText)},
                  {2, 16, entry(&dGetActiveView)}, {6, 0, entry(&wdToWin)}, {7, 1, entry(&pdFromWin)},
                  {7, 6, entry(&pdCount)},      {7, 7, entry(&pdGetWin)}};
    for (const auto& e : filled) m_subTables[e.table][e.slot] = e.f;
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
        std::vector<AWin*> siblings = children(parent);
        if (siblings.empty()) {
            p->child = w;
        } else {
            win(siblings.back())->next = w;
            w->prev = win(siblings.back());
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

std::vector<AWin*> Host4::children(AWin* w) const { return childrenOf(*this, w); }
std::string Host4::linkErrors(AWin* root) const { return linkErrorsOf(*this, root); }

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

void Host4::dropSubTable(int index) { m_table[index] = nullptr; }

void Host4::dropEntry(int table, int slot) {
    m_subTables[static_cast<std::size_t>(table)][static_cast<std::size_t>(slot)] = nullptr;
}

}  // namespace simhost
