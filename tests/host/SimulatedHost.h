// A simulated host: real records at each host build's byte positions, and real function tables over a window tree.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// The host's own object kinds, as its function tables name them.
struct AWin;
struct AGraphix;
struct ADoc;
struct AWinDoc;
struct AWinPulldown;
struct ACmdState;
struct AStr;

namespace simhost {

// Byte positions of one host build, as the host lays its records out (kept apart from the
// library's own tables on purpose: the tests compare the two).
struct BuildLayout {
    const char* name;
    std::size_t parent, child, next, prev, info, text, pulldownCount, pulldownItems;
    std::size_t docActiveView;
    int textureKind;  // 0: holder layout not known, 31: host 3.1, 46: host 3.12 B46 and later
};
extern const BuildLayout kBuild31, kBuild312, kBuild312B27, kBuild312B43, kBuild312B46;
extern const BuildLayout* const kAllBuilds[5];

// A mesh as the host keeps it. Empty arrays are handed over as null pointers.
struct Mesh {
    std::int32_t numVertices = 0, numFaces = 0, numUVLinks = 0;
    std::vector<float> verticesFlt;
    std::vector<std::int32_t> verticesFix;
    std::vector<std::int32_t> faces;
    std::vector<float> uvLinksFlt;
    std::vector<std::int32_t> uvLinksFix;
    float scale[3] = {1.0f, 1.0f, 1.0f};
    float offset[3] = {0.0f, 0.0f, 0.0f};
};

// Records of a 3.x host laid out for one build. Every record sits at an odd address, as a host
// built with packed records may place it: a reader that does not copy its fields out trips.
class Host3 {
public:
    explicit Host3(const BuildLayout& layout);
    // Frees the records the library made for this host's windows, as the host frees a window's records.
    ~Host3();
    Host3(const Host3&) = delete;
    Host3& operator=(const Host3&) = delete;
    const BuildLayout& layout() const { return m_layout; }

    // A window appended as the last child of parent (none: a free window). Null name: no info
    // record; null text: no text record.
    void* window(const char* name, void* parent = nullptr, const char* text = nullptr);
    // A pull-down menu window (kind 1007) and its items, which have no parent window.
    void* pulldown(const char* name, void* parent, const std::vector<void*>& items);

    void* parent(void* w) const { return readPtr(w, m_layout.parent); }
    void* child(void* w) const { return readPtr(w, m_layout.child); }
    void* next(void* w) const { return readPtr(w, m_layout.next); }
    void* prev(void* w) const { return readPtr(w, m_layout.prev); }
    void setParent(void* w, void* v) { writePtr(w, m_layout.parent, v); }
    void setChild(void* w, void* v) { writePtr(w, m_layout.child, v); }
    void setNext(void* w, void* v) { writePtr(w, m_layout.next, v); }
    void setPrev(void* w, void* v) { writePtr(w, m_layout.prev, v); }
    std::vector<void*> children(void* w) const;
    // "" when every link below root agrees with its partner; else the first disagreement.
    std::string linkErrors(void* root) const;

    void* textRecord(void* w) const { return readPtr(w, m_layout.text); }
    std::int32_t textCount(void* w) const;
    std::string textChars(void* w) const;

    // The document, with its active view and current mesh.
    void* doc() const { return m_doc; }
    void setActiveView(void* w) { writePtr(m_doc, m_layout.docActiveView, w); }
    void setMesh(const Mesh& mesh);
    // The host's import scale and offset, inside its mesh record.
    std::vector<float> meshScale() const;
    std::vector<float> meshOffset() const;
    void setMeshScale(float x, float y, float z);
    void setMeshOffset(float x, float y, float z);

    // Texture holder with its bitmap record; dimensions as the build stores them.
    void setTexture(std::uint64_t pixels, std::int32_t field1, std::int32_t field2, float dim1, float dim2);
    void setUtility(bool present);

    char** hostData() { return m_slots; }

    static void* readPtr(const void* record, std::size_t pos);
    static void writePtr(void* record, std::size_t pos, const void* p);
    // A zeroed record of size bytes, owned by this host.
    void* newRecord(std::size_t size);
    // A text record: count at 20, characters from 24 (at most 255 and a NUL).
    void* newTextRecord(const char* text);

private:
    void* windowRecord(std::size_t size, const char* name, void* parent, const char* text);
    void* info(void* w);
    void putFloats(std::size_t pos, float x, float y, float z);
    std::vector<float> floats(std::size_t pos) const;

    BuildLayout m_layout;
    std::vector<std::unique_ptr<unsigned char[]>> m_blocks;
    std::vector<void*> m_windows;
    void* m_doc = nullptr;
    void* m_mesh = nullptr;
    std::unique_ptr<Mesh> m_meshData;
    char* m_slots[16] = {};
};

// Calls the utility entry has received: command, arguments, script text, version.
struct UtilityCall {
    int command, a, b, c;
    std::string text;
    float version;
};
std::vector<UtilityCall>& utilityCalls();
// What the utility entry answers next (0 = success).
extern int g_utilityAnswer;
// The utility entry itself, as slot 7 holds it.
int utilityEntry(int command, int a, int b, char* text, int c, float version);

// A 4.x host: windows reached only through its function tables.
class Host4 {
public:
    struct Win;
    Host4();
    ~Host4();
    Host4(const Host4&) = delete;
    Host4& operator=(const Host4&) = delete;

    AWin* window(const char* name, AWin* parent = nullptr, const char* text = nullptr);
    AWin* pulldown(const char* name, AWin* parent, const std::vector<AWin*>& items);
    void setActiveView(AWin* w);

    AWin* parent(AWin* w) const;
    AWin* child(AWin* w) const;
    AWin* next(AWin* w) const;
    AWin* prev(AWin* w) const;
    std::vector<AWin*> children(AWin* w) const;
    std::vector<std::string> childNames(AWin* w) const;
    std::string linkErrors(AWin* root) const;
    std::string name(AWin* w) const;

    // Removes one sub-table or one of its entries from the published table.
    void dropSubTable(int index);
    void dropEntry(int table, int slot);

    char** hostData() { return m_slots; }

private:
    std::vector<std::unique_ptr<Win>> m_wins;
    std::unique_ptr<Host3> m_records;  // name and text records live in 3.x-style byte records
    void* m_doc;
    void* m_winDoc;
    std::vector<std::vector<void (*)()>> m_subTables;
    const void* m_table[9];
    char* m_slots[16] = {};
};

}  // namespace simhost
