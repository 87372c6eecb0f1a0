// Tree operations on host windows, shared by both host generations; each supplies its link access.
#pragma once

#include "KVString.h"

// Links provides, for its window type Links::Win:
//   parent, child, next, prev (Win*) -> Win*; setParent, setChild, setNext, setPrev (Win*, Win*);
//   name (Win*) -> const char* (may be null); pulldownCount (Win*) -> int, -1 when not a pull-down;
//   pulldownItem (Win*, int) -> Win*.
template <typename Links>
class WindowTree {
public:
    using Win = typename Links::Win;

    // The first window with neither a parent nor a previous sibling, climbing from w.
    static Win* getRootWindow(Win* w) {
        for (long steps = 0; w != nullptr && steps < kMaxSteps; ++steps) {
            Win* p = Links::parent(w);
            Win* next = p;
            if (p == nullptr) {
                next = Links::prev(w);
                if (next == nullptr) return w;
            }
            if (next == w) return w;  // a window linked to itself
            w = next;
        }
        return w;
    }

    // The window reached from start by a path of names separated by ':' (case ignored); unnamed
    // windows are searched through with the whole path.
    static Win* getWindowFromPath(Win* start, const KVString& path) { return find(start, path, 0); }

    // Position among the parent's children from 0; -1 for null, no parent, or not in the list.
    static int getWindowChildIndex(Win* w) {
        Win* parent = w ? Links::parent(w) : nullptr;
        if (parent == nullptr) return -1;
        int index = 0;
        for (Win* c = Links::child(parent); c != nullptr && index < kMaxSteps; c = Links::next(c), ++index)
            if (c == w) return index;
        return -1;
    }

    // Unlinks w from its parent and siblings; its own children stay with it.
    static bool disconnectWindow(Win* w) {
        if (w == nullptr) return false;
        Win* parent = Links::parent(w);
        Win* prev = Links::prev(w);
        Win* next = Links::next(w);
        if (parent == nullptr && prev == nullptr && next == nullptr) return false;
        if (parent != nullptr && Links::child(parent) == w) Links::setChild(parent, next);
        if (prev != nullptr) Links::setNext(prev, next);
        if (next != nullptr) Links::setPrev(next, prev);
        Links::setParent(w, nullptr);
        Links::setPrev(w, nullptr);
        Links::setNext(w, nullptr);
        return true;
    }

    // Moves w under parent so that it follows the child at index - 1 (index < 1: first). False
    // when w is already in that place.
    static bool moveWindow(Win* w, Win* parent, int index) {
        if (w == nullptr || parent == nullptr) return false;
        Win* first = Links::child(parent);
        if (first == nullptr) {
            disconnectWindow(w);
            Links::setParent(w, parent);
            Links::setChild(parent, w);
            return true;
        }
        if (index >= 1) {
            Win* a = first;
            for (int i = 0; i < index - 1 && Links::next(a) != nullptr; ++i) a = Links::next(a);
            Win* b = Links::next(a);
            if (a == w || b == w) return false;
            disconnectWindow(w);
            Links::setParent(w, parent);
            Links::setPrev(w, a);
            Links::setNext(w, b);
            Links::setNext(a, w);
            if (b != nullptr) Links::setPrev(b, w);
            return true;
        }
        if (first == w) return false;
        disconnectWindow(w);
        first = Links::child(parent);
        Links::setParent(w, parent);
        Links::setNext(w, first);
        Links::setChild(parent, w);
        if (first != nullptr) Links::setPrev(first, w);
        return true;
    }

private:
    // Bounds the walks on a host tree whose links loop, and the depth of the search's recursion.
    static constexpr int kMaxSteps = 1 << 20;
    static constexpr int kMaxDepth = 256;

    static Win* find(Win* start, const KVString& path, int depth) {
        if (path.isEmpty()) return start;
        if (start == nullptr || depth >= kMaxDepth) return nullptr;
        const int colon = path.findFirst(":");
        const KVString head = colon < 0 ? path : path.subString(0, colon);
        const KVString rest = colon < 0 ? KVString() : path.subString(colon + 1);
        const int count = Links::pulldownCount(start);
        if (count >= 0) {
            for (int i = 0; i < count; ++i) {
                Win* item = Links::pulldownItem(start, i);
                if (item == nullptr || Links::parent(item) != nullptr) continue;
                if (Win* found = tryCandidate(item, head, rest, path, depth)) return found;
            }
            return nullptr;
        }
        int steps = 0;
        for (Win* c = Links::child(start); c != nullptr && steps < kMaxSteps; c = Links::next(c), ++steps)
            if (Win* found = tryCandidate(c, head, rest, path, depth)) return found;
        return nullptr;
    }

    static Win* tryCandidate(Win* c, const KVString& head, const KVString& rest, const KVString& path, int depth) {
        const char* name = Links::name(c);
        if (KVString::cmpNoCase(name, head.getBuffer()) == 0) {
            if (Win* found = find(c, rest, depth + 1)) return found;
        }
        if (name == nullptr || name[0] == '\0') {
            if (Win* found = find(c, path, depth + 1)) return found;
        }
        return nullptr;
    }
};
