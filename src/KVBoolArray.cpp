// KVBoolArray and KVBitMgr: guarded byte storage, 256-entry tables, set operations and scans.
#include "KVBoolArray.h"

#include <algorithm>
#include <cstring>

namespace {

struct ByteTables {
    signed char numBits1[256];
    signed char firstBit1[256];
    signed char firstBit0[256];
    signed char lastBit1[256];
    signed char lastBit0[256];
};

constexpr ByteTables makeTables() {
    ByteTables t{};
    for (int v = 0; v < 256; ++v) {
        int count = 0;
        int first1 = -1, first0 = -1, last1 = -1, last0 = -1;
        for (int bit = 0; bit < 8; ++bit) {
            if (v & (1 << bit)) {
                ++count;
                if (first1 < 0) first1 = bit;
                last1 = bit;
            } else {
                if (first0 < 0) first0 = bit;
                last0 = bit;
            }
        }
        t.numBits1[v] = static_cast<signed char>(count);
        t.firstBit1[v] = static_cast<signed char>(first1);
        t.firstBit0[v] = static_cast<signed char>(first0);
        t.lastBit1[v] = static_cast<signed char>(last1);
        t.lastBit0[v] = static_cast<signed char>(last0);
    }
    return t;
}

constexpr ByteTables kTables = makeTables();

// The guard pair every empty array points between: data == end == &s_emptyGuards[1].
unsigned char s_emptyGuards[2] = {1, 1};

constexpr unsigned char kGuard = 1;

// Bits 0 .. n-1 of a byte (n in 0..8).
inline unsigned char lowMask(int n) { return static_cast<unsigned char>((1u << n) - 1u); }

// Number of bytes that hold n bits.
inline int bytesFor(int n) { return n > 0 ? static_cast<int>((static_cast<unsigned>(n) + 7u) >> 3) : 0; }

}  // namespace

// ---- KVBitMgr ----

int KVBitMgr::getNumBits1(std::uint8_t v) { return kTables.numBits1[v]; }
int KVBitMgr::getNumBits1(std::uint16_t v) { return getNumBits1(std::uint8_t(v)) + getNumBits1(std::uint8_t(v >> 8)); }
int KVBitMgr::getNumBits1(std::uint32_t v) {
    return getNumBits1(std::uint16_t(v)) + getNumBits1(std::uint16_t(v >> 16));
}
int KVBitMgr::getNumBits0(std::uint8_t v) { return 8 - getNumBits1(v); }
int KVBitMgr::getNumBits0(std::uint16_t v) { return 16 - getNumBits1(v); }
int KVBitMgr::getNumBits0(std::uint32_t v) { return 32 - getNumBits1(v); }

int KVBitMgr::getFirstBit1(std::uint8_t v) { return kTables.firstBit1[v]; }
int KVBitMgr::getFirstBit1(std::uint16_t v) {
    if (std::uint8_t(v)) return getFirstBit1(std::uint8_t(v));
    const int high = getFirstBit1(std::uint8_t(v >> 8));
    return high < 0 ? -1 : high + 8;
}
int KVBitMgr::getFirstBit1(std::uint32_t v) {
    if (std::uint16_t(v)) return getFirstBit1(std::uint16_t(v));
    const int high = getFirstBit1(std::uint16_t(v >> 16));
    return high < 0 ? -1 : high + 16;
}
int KVBitMgr::getFirstBit0(std::uint8_t v) { return kTables.firstBit0[v]; }
int KVBitMgr::getFirstBit0(std::uint16_t v) { return getFirstBit1(std::uint16_t(~v)); }
int KVBitMgr::getFirstBit0(std::uint32_t v) { return getFirstBit1(std::uint32_t(~v)); }

int KVBitMgr::getLastBit1(std::uint8_t v) { return kTables.lastBit1[v]; }
int KVBitMgr::getLastBit1(std::uint16_t v) {
    if (v >> 8) return getLastBit1(std::uint8_t(v >> 8)) + 8;
    return getLastBit1(std::uint8_t(v));
}
int KVBitMgr::getLastBit1(std::uint32_t v) {
    if (v >> 16) return getLastBit1(std::uint16_t(v >> 16)) + 16;
    return getLastBit1(std::uint16_t(v));
}
int KVBitMgr::getLastBit0(std::uint8_t v) { return kTables.lastBit0[v]; }
int KVBitMgr::getLastBit0(std::uint16_t v) { return getLastBit1(std::uint16_t(~v)); }
int KVBitMgr::getLastBit0(std::uint32_t v) { return getLastBit1(std::uint32_t(~v)); }

// ---- KVBoolArray: the 8-bit tables ----

int KVBoolArray::getNumBitsAt1(unsigned char b) { return kTables.numBits1[b]; }
int KVBoolArray::getNumBitsAt0(unsigned char b) { return 8 - kTables.numBits1[b]; }
int KVBoolArray::getFirstBitAt1(unsigned char b) { return kTables.firstBit1[b]; }
int KVBoolArray::getFirstBitAt0(unsigned char b) { return kTables.firstBit0[b]; }
int KVBoolArray::getLastBitAt1(unsigned char b) { return kTables.lastBit1[b]; }
int KVBoolArray::getLastBitAt0(unsigned char b) { return kTables.lastBit0[b]; }

// ---- storage ----

KVBoolArray::KVBoolArray() : m_data(&s_emptyGuards[1]), m_end(&s_emptyGuards[1]), m_size(0) {}

KVBoolArray::KVBoolArray(int n, bool value) : KVBoolArray() { assign(n, value); }

KVBoolArray::KVBoolArray(const KVBoolArray& other) : KVBoolArray() { copy(other, false); }

KVBoolArray& KVBoolArray::operator=(const KVBoolArray& other) {
    if (this != &other) copy(other, false);
    return *this;
}

KVBoolArray::~KVBoolArray() { freeData(); }

void KVBoolArray::freeData() {
    if (m_data != m_end) delete[] (m_data - 1);
    m_data = m_end = &s_emptyGuards[1];
    m_size = 0;
}

void KVBoolArray::clearArray() { m_size = 0; }

void KVBoolArray::allocate(int bytes) {
    freeData();
    if (bytes <= 0) return;
    unsigned char* block = new unsigned char[static_cast<std::size_t>(bytes) + 2];
    block[0] = kGuard;
    block[bytes + 1] = kGuard;
    m_data = block + 1;
    m_end = m_data + bytes;
}

void KVBoolArray::reallocate(int bytes, int keep) {
    unsigned char* block = new unsigned char[static_cast<std::size_t>(bytes) + 2];
    block[0] = kGuard;
    block[bytes + 1] = kGuard;
    keep = std::min(keep, std::min(bytes, capacityBytes()));
    if (keep > 0) std::memcpy(block + 1, m_data, static_cast<std::size_t>(keep));
    const int size = m_size;
    freeData();
    m_data = block + 1;
    m_end = m_data + bytes;
    m_size = size;
}

int KVBoolArray::getDynMemoryUsed() const { return m_data != m_end ? capacityBytes() + 2 : 0; }

void KVBoolArray::swap(KVBoolArray& other) {
    std::swap(m_data, other.m_data);
    std::swap(m_end, other.m_end);
    std::swap(m_size, other.m_size);
}

void KVBoolArray::fillHighBits(int index, int bit, bool value) {
    const unsigned char low = lowMask(bit);
    if (value)
        m_data[index] |= static_cast<unsigned char>(~low);
    else
        m_data[index] &= low;
}

void KVBoolArray::assign(int n, bool value) {
    if (n < 0) n = 0;
    if (n > getCapacity()) allocate(bytesFor(n));
    m_size = n;
    if (m_data != m_end) std::memset(m_data, value ? 0xFF : 0, static_cast<std::size_t>(capacityBytes()));
}

void KVBoolArray::assign(int n, const char* bytes) {
    if (n < 0) n = 0;
    if (n > getCapacity()) allocate(bytesFor(n));
    m_size = n;
    if (bytes != nullptr && n > 0) std::memcpy(m_data, bytes, static_cast<std::size_t>(bytesFor(n)));
}

void KVBoolArray::assign(int n, const int* values, int count) {
    assign(n, false);
    set(count, values);
}

void KVBoolArray::resize(int n, bool value) {
    if (n < 0) n = 0;
    const int oldSize = m_size;
    const int oldBytes = usedBytes();
    if (n > getCapacity()) {
        const int bytes = bytesFor(n);
        reallocate(bytes, oldBytes);
        std::memset(m_data + oldBytes, value ? 0xFF : 0, static_cast<std::size_t>(bytes - oldBytes));
    } else if (m_data != m_end) {
        // Everything past the kept bits, to the end of the storage, takes the new value.
        const int from = std::min(oldBytes, bytesFor(n));
        std::memset(m_data + from, value ? 0xFF : 0, static_cast<std::size_t>(capacityBytes() - from));
    }
    // The byte that held the old end keeps its old bits; the ones above take the new value.
    if ((oldSize & 7) != 0 && oldSize < n) fillHighBits(oldSize >> 3, oldSize & 7, value);
    m_size = n;
}

void KVBoolArray::copy(const KVBoolArray& other, bool fill) {
    if (this == &other) return;
    const int bytes = other.usedBytes();
    if (other.m_size > getCapacity()) allocate(bytes);
    m_size = other.m_size;
    if (bytes > 0) std::memcpy(m_data, other.m_data, static_cast<std::size_t>(bytes));
    if ((m_size & 7) != 0) fillHighBits(m_size >> 3, m_size & 7, fill);
    if (m_data != m_end)
        std::memset(m_data + bytes, fill ? 0xFF : 0, static_cast<std::size_t>(capacityBytes() - bytes));
}

// ---- single bits ----

void KVBoolArray::setAutoResize(int i) {
    if (i < 0) return;
    if (i >= m_size) resize(i + 1, false);
    set(i);
}

void KVBoolArray::clearAutoResize(int i) {
    if (i < 0) return;
    if (i >= m_size) resize(i + 1, false);
    clear(i);
}

void KVBoolArray::toggleAutoResize(int i) {
    if (i < 0) return;
    if (i >= m_size) resize(i + 1, false);
    toggle(i);
}

void KVBoolArray::insert(int i, bool value) {
    if (i < 0 || i >= m_size) return;
    resize(m_size + 1, false);
    const int first = i >> 3;
    // Whole bytes above the one of i move up one bit, taking the top bit of the byte below.
    for (int b = usedBytes() - 1; b > first; --b)
        m_data[b] = static_cast<unsigned char>((m_data[b] << 1) | (m_data[b - 1] >> 7));
    const unsigned char low = lowMask(i & 7);
    const unsigned char x = m_data[first];
    m_data[first] = static_cast<unsigned char>((x & low) | ((x & ~low) << 1));
    set(i, value);
}

void KVBoolArray::erase(int i) {
    if (i < 0 || i >= m_size) return;
    const int bytes = usedBytes();
    const int first = i >> 3;
    const unsigned char low = lowMask(i & 7);
    const unsigned char x = m_data[first];
    unsigned char shifted = static_cast<unsigned char>((x & low) | ((x >> 1) & ~low));
    if (first + 1 < bytes) shifted = static_cast<unsigned char>(shifted | (m_data[first + 1] << 7));
    m_data[first] = shifted;
    for (int b = first + 1; b < bytes; ++b) {
        unsigned char y = static_cast<unsigned char>(m_data[b] >> 1);
        if (b + 1 < bytes) y = static_cast<unsigned char>(y | (m_data[b + 1] << 7));
        m_data[b] = y;
    }
    --m_size;
}

// ---- ranges and lists ----

void KVBoolArray::set(int from, int to) {
    from = std::max(from, 0);
    to = std::min(to, m_size);
    if (to <= from) return;
    const int fb = from >> 3, lb = (to - 1) >> 3;
    const unsigned char head = static_cast<unsigned char>(~lowMask(from & 7));
    const unsigned char tail = lowMask(((to - 1) & 7) + 1);
    if (fb == lb) {
        m_data[fb] |= static_cast<unsigned char>(head & tail);
        return;
    }
    m_data[fb] |= head;
    if (lb - fb > 1) std::memset(m_data + fb + 1, 0xFF, static_cast<std::size_t>(lb - fb - 1));
    m_data[lb] |= tail;
}

void KVBoolArray::clear(int from, int to) {
    from = std::max(from, 0);
    to = std::min(to, m_size);
    if (to <= from) return;
    const int fb = from >> 3, lb = (to - 1) >> 3;
    const unsigned char head = static_cast<unsigned char>(~lowMask(from & 7));
    const unsigned char tail = lowMask(((to - 1) & 7) + 1);
    if (fb == lb) {
        m_data[fb] &= static_cast<unsigned char>(~(head & tail));
        return;
    }
    m_data[fb] &= static_cast<unsigned char>(~head);
    if (lb - fb > 1) std::memset(m_data + fb + 1, 0, static_cast<std::size_t>(lb - fb - 1));
    m_data[lb] &= static_cast<unsigned char>(~tail);
}

void KVBoolArray::set(int count, const int* indices) {
    if (indices == nullptr) return;
    for (int k = 0; k < count; ++k)
        if (indices[k] >= 0 && indices[k] < m_size) set(indices[k]);
}

void KVBoolArray::clear(int count, const int* indices) {
    if (indices == nullptr) return;
    for (int k = 0; k < count; ++k)
        if (indices[k] >= 0 && indices[k] < m_size) clear(indices[k]);
}

void KVBoolArray::set(const KVArray<int>& indices) { set(indices.getCount(), indices.getData()); }

void KVBoolArray::clear(const KVArray<int>& indices) { clear(indices.getCount(), indices.getData()); }

void KVBoolArray::setAll() { set(0, m_size); }

void KVBoolArray::clearAll() { clear(0, m_size); }

void KVBoolArray::setAllModifiedIndices(KVArray<int>& modified) {
    getIndexesCleared(modified);
    setAll();
}

void KVBoolArray::clearAllModifiedIndices(KVArray<int>& modified) {
    getIndexesSet(modified);
    clearAll();
}

void KVBoolArray::inverse() {
    const int bytes = usedBytes();
    for (int b = 0; b < bytes; ++b) m_data[b] = static_cast<unsigned char>(~m_data[b]);
}

void KVBoolArray::toggleAll() { inverse(); }

void KVBoolArray::getIndexesSet(KVArray<int>& out) const {
    out.clear();
    for (int i = findFirst(true, 0); i >= 0; i = findFirst(true, i + 1)) out.add(i);
}

void KVBoolArray::getIndexesCleared(KVArray<int>& out) const {
    out.clear();
    for (int i = findFirst(false, 0); i >= 0; i = findFirst(false, i + 1)) out.add(i);
}

// ---- between arrays ----

// Byte b of `a` with the bits at or past `limit` cleared.
static inline unsigned char maskedByte(const unsigned char* a, int b, int limit) {
    const int bitsLeft = limit - (b << 3);
    return bitsLeft >= 8 ? a[b] : static_cast<unsigned char>(a[b] & lowMask(bitsLeft));
}

void KVBoolArray::set(const KVBoolArray& other) {
    if (this == &other) return;
    if (other.m_size > m_size) resize(other.m_size, false);
    const int bytes = other.usedBytes();
    for (int b = 0; b < bytes; ++b) m_data[b] |= maskedByte(other.m_data, b, other.m_size);
}

void KVBoolArray::toggle(const KVBoolArray& other) {
    if (this == &other) {
        clearAll();
        return;
    }
    if (other.m_size > m_size) resize(other.m_size, false);
    const int bytes = other.usedBytes();
    for (int b = 0; b < bytes; ++b) m_data[b] ^= maskedByte(other.m_data, b, other.m_size);
}

void KVBoolArray::clear(const KVBoolArray& other) {
    if (this == &other) {
        clearAll();
        return;
    }
    const int common = std::min(m_size, other.m_size);
    const int bytes = bytesFor(common);
    for (int b = 0; b < bytes; ++b) m_data[b] &= static_cast<unsigned char>(~maskedByte(other.m_data, b, common));
}

void KVBoolArray::inter(const KVBoolArray& other) {
    if (this == &other) return;
    const int common = std::min(m_size, other.m_size);
    const int bytes = bytesFor(common);
    for (int b = 0; b < bytes; ++b) m_data[b] &= other.m_data[b];
    m_size = common;
    // An early guard right after the kept bytes shortens later forward scans.
    if (bytes < capacityBytes()) m_data[bytes] = kGuard;
}

bool KVBoolArray::hasInter(const KVBoolArray& other) const {
    const int common = std::min(m_size, other.m_size);
    const int bytes = bytesFor(common);
    for (int b = 0; b < bytes; ++b)
        if (maskedByte(m_data, b, common) & other.m_data[b]) return true;
    return false;
}

bool KVBoolArray::bitTest(const KVBoolArray& other) const {
    const int last = other.findLast(true);
    if (last < 0) return true;
    if (last >= m_size) return false;
    const int bytes = (last >> 3) + 1;
    for (int b = 0; b < bytes; ++b)
        if (maskedByte(other.m_data, b, last + 1) & static_cast<unsigned char>(~m_data[b])) return false;
    return true;
}

// ---- counting and searching ----

int KVBoolArray::countSetWithin(int from, int to) const {
    from = std::max(from, 0);
    to = std::min(to, m_size);
    if (to <= from) return 0;
    const int fb = from >> 3, lb = (to - 1) >> 3;
    const unsigned char head = static_cast<unsigned char>(~lowMask(from & 7));
    const unsigned char tail = lowMask(((to - 1) & 7) + 1);
    if (fb == lb) return kTables.numBits1[m_data[fb] & head & tail];
    int count = kTables.numBits1[m_data[fb] & head] + kTables.numBits1[m_data[lb] & tail];
    for (int b = fb + 1; b < lb; ++b) count += kTables.numBits1[m_data[b]];
    return count;
}

int KVBoolArray::getNumberOfBitSet() const { return countSetWithin(0, m_size); }

int KVBoolArray::getNumberOfBitCleared() const { return m_size - countSetWithin(0, m_size); }

int KVBoolArray::getNumberOfBitSetWithin(int from, int to) const { return countSetWithin(from, to); }

int KVBoolArray::getNumberOfBitClearedWithin(int from, int to) const {
    const int lo = std::max(from, 0);
    const int hi = std::min(to, m_size);
    if (hi <= lo) return 0;
    return (hi - lo) - countSetWithin(lo, hi);
}

int KVBoolArray::findFirst(bool value, int from) const {
    if (from < 0) from = 0;
    if (from >= m_size) return -1;
    int b = from >> 3;
    const unsigned char below = lowMask(from & 7);
    int found;
    if (value) {
        unsigned char x = static_cast<unsigned char>(m_data[b] & ~below);
        // The guard byte after the storage is non-zero: no bounds test needed.
        while (x == 0) x = m_data[++b];
        found = (b << 3) + kTables.firstBit1[x];
    } else {
        unsigned char x = static_cast<unsigned char>(m_data[b] | below);
        while (x == 0xFF) x = m_data[++b];
        found = (b << 3) + kTables.firstBit0[x];
    }
    return found < m_size ? found : -1;
}

int KVBoolArray::findLast(bool value, int from) const {
    if (from >= m_size) from = m_size - 1;
    if (from < 0) return -1;
    int b = from >> 3;
    const unsigned char upTo = lowMask((from & 7) + 1);
    int found;
    if (value) {
        unsigned char x = static_cast<unsigned char>(m_data[b] & upTo);
        // The guard byte before the storage is non-zero: the scan ends at index -8 at worst.
        while (x == 0) x = m_data[--b];
        found = b * 8 + kTables.lastBit1[x];
    } else {
        unsigned char x = static_cast<unsigned char>(m_data[b] | ~upTo);
        while (x == 0xFF) x = m_data[--b];
        found = b * 8 + kTables.lastBit0[x];
    }
    return found >= 0 ? found : -1;
}

bool KVBoolArray::operator==(const KVBoolArray& other) const {
    if (m_size != other.m_size) return false;
    if (m_size == 0) return true;
    const int whole = m_size >> 3;
    if (std::memcmp(m_data, other.m_data, static_cast<std::size_t>(whole)) != 0) return false;
    const unsigned char mask = lowMask(m_size & 7);
    // A zero mask (size a multiple of 8) counts as a mismatch; kept for old callers.
    if (mask == 0) return false;
    return ((m_data[whole] ^ other.m_data[whole]) & mask) == 0;
}
