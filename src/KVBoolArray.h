// KVBoolArray: a packed array of booleans with table-driven counting and searching; KVBitMgr: per-word bit functions.
#pragma once

#include <cstdint>

#include "KVArray.h"

// Bit functions on 8-, 16- and 32-bit words; the least significant bit is index 0.
// The index functions answer -1 when the word has no such bit.
class KVBitMgr {
public:
    static int getNumBits1(std::uint8_t v);
    static int getNumBits1(std::uint16_t v);
    static int getNumBits1(std::uint32_t v);
    static int getNumBits0(std::uint8_t v);
    static int getNumBits0(std::uint16_t v);
    static int getNumBits0(std::uint32_t v);

    static int getFirstBit1(std::uint8_t v);
    static int getFirstBit1(std::uint16_t v);
    static int getFirstBit1(std::uint32_t v);
    static int getFirstBit0(std::uint8_t v);
    static int getFirstBit0(std::uint16_t v);
    static int getFirstBit0(std::uint32_t v);

    static int getLastBit1(std::uint8_t v);
    static int getLastBit1(std::uint16_t v);
    static int getLastBit1(std::uint32_t v);
    static int getLastBit0(std::uint8_t v);
    static int getLastBit0(std::uint16_t v);
    static int getLastBit0(std::uint32_t v);

    // 1: bit i of an array lives in byte i / 8 under mask 1 << (i % 8).
    static int getBitOrdering() { return 1; }
};

// Bit i lives in byte i / 8 under mask 1 << (i % 8). Each allocation has one guard byte of value 1
// before and after the data: 1 is neither 0 nor 255, so the byte scans of findFirst/findLast stop
// there without a bounds test. An empty array points at a shared static guard pair and owns nothing.
// Bits beyond the size inside the storage hold no meaning; every reader masks them.
// Single-bit operations do not check the index unless they say so.
class KVBoolArray {
public:
    KVBoolArray();
    KVBoolArray(int n, bool value);
    KVBoolArray(const KVBoolArray& other);
    KVBoolArray& operator=(const KVBoolArray& other);
    ~KVBoolArray();

    // Sizing. Storage is reallocated to exactly ceil(n / 8) bytes, never with spare room.
    // n bits, every allocated byte (also past n) 0xFF or 0; reallocates only when n exceeds the capacity.
    void assign(int n, bool value);
    // n bits copied from ceil(n / 8) bytes (least significant bit first).
    void assign(int n, const char* bytes);
    // n clear bits, then the listed indices set (those outside [0, n) are skipped).
    void assign(int n, const int* values, int count);
    // New bits take `value`; the old bits below n are kept.
    void resize(int n, bool value);
    // Size and bits of `other`; the bits past the size in the storage get `fill`.
    void copy(const KVBoolArray& other, bool fill);
    void swap(KVBoolArray& other);
    // Gives the storage back; the array is empty.
    void freeData();
    // Size 0, storage kept.
    void clearArray();

    int getSize() const { return m_size; }
    bool isEmpty() const { return m_size == 0; }
    // Bits the storage holds without reallocating.
    int getCapacity() const { return static_cast<int>(m_end - m_data) * 8; }
    const unsigned char* getData() const { return m_data; }
    int getMemoryUsed() const { return m_size / 8 + 1; }
    int getDynMemoryUsed() const;

    // Single bits. get answers false from i >= size; the NoSizeTest form reads the storage as is.
    bool get(int i) const { return i < m_size && getNoSizeTest(i); }
    bool getNoSizeTest(int i) const { return (m_data[i >> 3] & (1u << (i & 7))) != 0; }
    // The byte of bit i masked to that bit: non-zero when set.
    unsigned char getAsMask(int i) const { return static_cast<unsigned char>(m_data[i >> 3] & (1u << (i & 7))); }
    bool operator[](int i) const { return get(i); }

    void set(int i, bool value) { value ? set(i) : clear(i); }
    void set(int i) { m_data[i >> 3] |= static_cast<unsigned char>(1u << (i & 7)); }
    void clear(int i) { m_data[i >> 3] &= static_cast<unsigned char>(~(1u << (i & 7))); }
    void toggle(int i) { m_data[i >> 3] ^= static_cast<unsigned char>(1u << (i & 7)); }
    // From i >= size the array first grows to i + 1 bits, the new ones clear. A negative i is ignored.
    void setAutoResize(int i);
    void clearAutoResize(int i);
    void toggleAutoResize(int i);

    // For 0 <= i < size only (i == size is ignored): bits i.. move up one, `value` lands at i.
    void insert(int i, bool value);
    // For 0 <= i < size only: later bits move down one, size shrinks by one.
    void erase(int i);

    // Ranges [from, to) and index lists, clamped to [0, size): indices outside are skipped.
    void set(int from, int to);
    void clear(int from, int to);
    void set(int count, const int* indices);
    void clear(int count, const int* indices);
    void set(const KVArray<int>& indices);
    void clear(const KVArray<int>& indices);
    void setAll();
    void clearAll();
    // setAll / clearAll that also list, in `modified` (emptied first), the indices that changed.
    void setAllModifiedIndices(KVArray<int>& modified);
    void clearAllModifiedIndices(KVArray<int>& modified);
    void inverse();
    void toggleAll();
    // The indices of the set (cleared) bits, in increasing order; `out` is emptied first.
    void getIndexesSet(KVArray<int>& out) const;
    void getIndexesCleared(KVArray<int>& out) const;

    // Between arrays. set/merge (or) and toggle (exclusive or) first grow this array to the larger size.
    void set(const KVBoolArray& other);
    void merge(const KVBoolArray& other) { set(other); }
    void toggle(const KVBoolArray& other);
    // Clears every bit set in `other`, over the common length; the size stays.
    void clear(const KVBoolArray& other);
    // Keeps the bits set in both, over the common length; the size becomes the smaller one.
    void inter(const KVBoolArray& other);
    bool hasInter(const KVBoolArray& other) const;
    // True when every bit set in `other` is set here.
    bool bitTest(const KVBoolArray& other) const;

    // Counting; an empty range (to <= from) counts 0.
    int getNumberOfBitSet() const;
    int getNumberOfBitCleared() const;
    int getNumberOfBitSetWithin(int from, int to) const;
    int getNumberOfBitClearedWithin(int from, int to) const;

    // First (last) bit equal to `value` from `from` on (back), or -1.
    int findFirst(bool value, int from) const;
    int findFirst(bool value) const { return findFirst(value, 0); }
    int findLast(bool value, int from) const;
    int findLast(bool value) const { return findLast(value, m_size - 1); }

    // Sizes differ: false; both empty: true. A non-zero size that is a multiple of 8 always answers
    // false, equal bits or not: old callers depend on it.
    bool operator==(const KVBoolArray& other) const;

    // The per-byte tables (the 8-bit forms of KVBitMgr).
    static int getNumBitsAt1(unsigned char b);
    static int getNumBitsAt0(unsigned char b);
    static int getFirstBitAt1(unsigned char b);
    static int getFirstBitAt0(unsigned char b);
    static int getLastBitAt1(unsigned char b);
    static int getLastBitAt0(unsigned char b);

private:
    int usedBytes() const { return (m_size + 7) >> 3; }
    int capacityBytes() const { return static_cast<int>(m_end - m_data); }
    // Replaces the storage by exactly `bytes` fresh data bytes with their guards (content undefined).
    void allocate(int bytes);
    // Grows the storage to exactly `bytes`, keeping the first `keep` data bytes.
    void reallocate(int bytes, int keep);
    // Sets the bits of byte `index` from bit `bit` up to `value`.
    void fillHighBits(int index, int bit, bool value);
    int countSetWithin(int from, int to) const;

    unsigned char* m_data;
    unsigned char* m_end;
    int m_size;
};
