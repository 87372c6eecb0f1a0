// KVArray: the growable contiguous array of the library (strings, integers, vectors, bulk reads).
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <utility>
#include <vector>

// Leaves new plain-data elements uninitialised when no value is given, so that a bulk read
// straight into the storage does not pay for zeroing it first.
template <typename T>
struct KVDefaultInitAllocator : std::allocator<T> {
    using std::allocator<T>::allocator;
    KVDefaultInitAllocator() = default;
    template <typename U>
    KVDefaultInitAllocator(const KVDefaultInitAllocator<U>&) noexcept {}
    template <typename U>
    struct rebind {
        using other = KVDefaultInitAllocator<U>;
    };
    template <typename U>
    void construct(U* p) {
        ::new (static_cast<void*>(p)) U;
    }
    template <typename U, typename... Args>
    void construct(U* p, Args&&... args) {
        ::new (static_cast<void*>(p)) U(std::forward<Args>(args)...);
    }
};

// Elements sit in one block, so a reader can fill getData() with a single bulk transfer.
template <typename T>
class KVArray {
public:
    KVArray() = default;
    explicit KVArray(int count, const T& fill = T()) { resize(count, fill); }

    int getCount() const { return static_cast<int>(m_items.size()); }
    bool isEmpty() const { return m_items.empty(); }

    // Grows with `fill` or shrinks to `count`; a negative count empties the array.
    void resize(int count, const T& fill = T()) {
        m_items.resize(count > 0 ? static_cast<std::size_t>(count) : 0, fill);
    }
    // Grows or shrinks to `count`; new plain-data elements are left for the caller to overwrite.
    void resizeForOverwrite(int count) { m_items.resize(count > 0 ? static_cast<std::size_t>(count) : 0); }
    void reserve(int count) {
        if (count > 0) m_items.reserve(static_cast<std::size_t>(count));
    }
    void clear() { m_items.clear(); }
    void add(const T& item) { m_items.push_back(item); }
    void add(T&& item) { m_items.push_back(static_cast<T&&>(item)); }
    // Removes the last element; nothing on an empty array.
    void removeLast() {
        if (!m_items.empty()) m_items.pop_back();
    }

    T& operator[](int i) { return m_items[static_cast<std::size_t>(i)]; }
    const T& operator[](int i) const { return m_items[static_cast<std::size_t>(i)]; }
    T& getLast() { return m_items.back(); }
    const T& getLast() const { return m_items.back(); }

    T* getData() { return m_items.data(); }
    const T* getData() const { return m_items.data(); }
    T* begin() { return m_items.data(); }
    T* end() { return m_items.data() + m_items.size(); }
    const T* begin() const { return m_items.data(); }
    const T* end() const { return m_items.data() + m_items.size(); }

private:
    std::vector<T, KVDefaultInitAllocator<T>> m_items;
};
