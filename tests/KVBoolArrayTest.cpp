// KVBoolArray and KVBitMgr: byte edges, guard-byte scans, growth, shifts and set operations against a model.
#include "KVBoolArray.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

using Model = std::vector<bool>;

int modelFindFirst(const Model& m, bool v, int from) {
    for (int i = std::max(from, 0); i < static_cast<int>(m.size()); ++i)
        if (m[i] == v) return i;
    return -1;
}

int modelFindLast(const Model& m, bool v, int from) {
    for (int i = std::min(from, static_cast<int>(m.size()) - 1); i >= 0; --i)
        if (m[i] == v) return i;
    return -1;
}

int modelCount(const Model& m, bool v, int from, int to) {
    int n = 0;
    for (int i = std::max(from, 0); i < std::min(to, static_cast<int>(m.size())); ++i) n += m[i] == v;
    return n;
}

Model toModel(const KVBoolArray& a) {
    Model m(static_cast<size_t>(a.getSize()));
    for (int i = 0; i < a.getSize(); ++i) m[i] = a.get(i);
    return m;
}

// Every reading operation of `a` agrees with the model.
void expectMatches(const KVBoolArray& a, const Model& m) {
    const int n = static_cast<int>(m.size());
    ASSERT_EQ(a.getSize(), n);
    ASSERT_EQ(toModel(a), m);
    EXPECT_FALSE(a.get(n));
    EXPECT_EQ(a.getNumberOfBitSet(), modelCount(m, true, 0, n));
    EXPECT_EQ(a.getNumberOfBitCleared(), modelCount(m, false, 0, n));
    for (bool v : {true, false}) {
        EXPECT_EQ(a.findFirst(v), modelFindFirst(m, v, 0)) << "value " << v;
        EXPECT_EQ(a.findLast(v), modelFindLast(m, v, n - 1)) << "value " << v;
        for (int from : {-3, 1, 7, 8, 9, n / 2, n - 9, n - 8, n - 1, n, n + 4}) {
            EXPECT_EQ(a.findFirst(v, from), modelFindFirst(m, v, from)) << "value " << v << " from " << from;
            EXPECT_EQ(a.findLast(v, from), modelFindLast(m, v, from)) << "value " << v << " from " << from;
        }
    }
    for (int from : {-2, 0, 3, 8, 13}) {
        for (int to : {0, 5, 8, 16, n - 1, n, n + 3}) {
            EXPECT_EQ(a.getNumberOfBitSetWithin(from, to), modelCount(m, true, from, to)) << from << ".." << to;
            EXPECT_EQ(a.getNumberOfBitClearedWithin(from, to), modelCount(m, false, from, to)) << from << ".." << to;
        }
    }
}

KVBoolArray randomArray(std::mt19937& rng, int n, Model& m) {
    KVBoolArray a(n, (rng() & 1) != 0);  // the filler also lands in the bits past n
    m.assign(static_cast<size_t>(n), false);
    for (int i = 0; i < n; ++i) {
        m[i] = (rng() % 3) == 0;
        a.set(i, m[i]);
    }
    return a;
}

const int kEdgeSizes[] = {1, 7, 8, 9, 15, 16, 17, 63, 64, 65};

}  // namespace

// ---- KVBitMgr ----

TEST(KVBitMgr, WordFunctionsAgreeWithBitLoops) {
    std::mt19937 rng(7);
    std::vector<std::uint32_t> words = {0u, 1u, 0x80u, 0xFFu, 0x100u, 0x8000u, 0xFFFFu, 0x10000u, 0x80000000u, 0xFFFFFFFFu};
    for (int k = 0; k < 200; ++k) words.push_back(rng());
    for (std::uint32_t w : words) {
        int count = 0, first1 = -1, first0 = -1, last1 = -1, last0 = -1;
        for (int bit = 0; bit < 32; ++bit) {
            const bool on = (w >> bit) & 1u;
            count += on;
            if (on && first1 < 0) first1 = bit;
            if (!on && first0 < 0) first0 = bit;
            if (on) last1 = bit;
            if (!on) last0 = bit;
        }
        EXPECT_EQ(KVBitMgr::getNumBits1(w), count) << w;
        EXPECT_EQ(KVBitMgr::getNumBits0(w), 32 - count) << w;
        EXPECT_EQ(KVBitMgr::getFirstBit1(w), first1) << w;
        EXPECT_EQ(KVBitMgr::getFirstBit0(w), first0) << w;
        EXPECT_EQ(KVBitMgr::getLastBit1(w), last1) << w;
        EXPECT_EQ(KVBitMgr::getLastBit0(w), last0) << w;

        const auto h = static_cast<std::uint16_t>(w >> 8);
        EXPECT_EQ(KVBitMgr::getLastBit0(h), KVBitMgr::getLastBit1(std::uint32_t(h ^ 0xFFFFu)));
        const auto b = static_cast<std::uint8_t>(w >> 3);
        EXPECT_EQ(KVBitMgr::getFirstBit0(b), KVBoolArray::getFirstBitAt0(b));
    }
}

// ---- storage, partial last byte and guard bytes ----

TEST(KVBoolArray, ScansStopAtTheGuardBytesAndBitsPastTheSizeNeverCount) {
    // Uniform arrays (which random ones almost never are), then with their first and last bits flipped.
    for (int n : kEdgeSizes) {
        for (bool v : {false, true}) {
            SCOPED_TRACE(testing::Message() << n << " filled with " << v);
            KVBoolArray a(n, v);
            Model m(static_cast<size_t>(n), v);
            expectMatches(a, m);
            a.toggle(n - 1);
            m[n - 1] = !v;
            expectMatches(a, m);
            a.toggle(0);
            m[0] = !m[0];
            expectMatches(a, m);
        }
    }
    KVBoolArray empty;
    EXPECT_EQ(empty.findFirst(true), -1);
    EXPECT_EQ(empty.findLast(false), -1);

    // Shrinking inside the capacity leaves stale bits above the new end: they never count, and
    // growing again must not bring them back.
    KVBoolArray a(64, true);
    a.resize(9, false);
    EXPECT_EQ(a.getNumberOfBitSet(), 9);
    EXPECT_EQ(a.findFirst(false), -1);
    EXPECT_EQ(a.getNumberOfBitClearedWithin(0, 64), 0);
    a.resize(20, false);
    Model m(20, false);
    std::fill(m.begin(), m.begin() + 9, true);
    expectMatches(a, m);
}

TEST(KVBoolArray, InsertAndEraseIgnoreTheEndAndNegativeIndexes) {
    KVBoolArray a(17, false);
    a.set(16);
    Model m(17, false);
    m[16] = true;
    a.insert(a.getSize(), true);  // the end is not an insertion point
    a.insert(-1, true);
    a.erase(a.getSize());
    expectMatches(a, m);
    a.insert(7, true);  // shifts bit 16 across a byte edge
    m.insert(m.begin() + 7, true);
    expectMatches(a, m);
}

TEST(KVBoolArray, EqualityKeepsTheWholeByteQuirk) {
    KVBoolArray a(10, false), b(10, true);
    b.clearAll();
    EXPECT_TRUE(a == b);  // storage differs past bit 10, contents do not
    b.set(9);
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(KVBoolArray() == KVBoolArray());
    EXPECT_FALSE(KVBoolArray(10, false) == KVBoolArray(11, false));
    // A size that is a non-zero multiple of 8 never compares equal.
    EXPECT_FALSE(KVBoolArray(16, true) == KVBoolArray(16, true));
    KVBoolArray c(17, true), d(17, true);
    EXPECT_TRUE(c == d);
    d.clear(3);
    EXPECT_FALSE(c == d);
}

TEST(KVBoolArray, RangesListsAndIndexesClampToTheSize) {
    KVBoolArray a(70, false);
    a.set(5, 66);
    a.clear(-10, 9);
    a.clear(60, 200);
    a.set(30, 20);  // empty range
    Model m(70, false);
    for (int i = 9; i < 60; ++i) m[i] = true;
    expectMatches(a, m);

    const int list[] = {-1, 0, 69, 70, 1000};
    a.set(5, list);
    m[0] = m[69] = true;
    expectMatches(a, m);

    KVArray<int> idx;
    idx.add(10);
    idx.add(70);
    a.clear(idx);
    m[10] = false;
    expectMatches(a, m);

    KVArray<int> out;
    a.getIndexesSet(out);
    ASSERT_EQ(out.getCount(), modelCount(m, true, 0, 70));
    for (int k = 0; k < out.getCount(); ++k) EXPECT_TRUE(m[out[k]]);
    a.getIndexesCleared(out);
    EXPECT_EQ(out.getCount(), modelCount(m, false, 0, 70));
    EXPECT_EQ(out[0], 1);

    KVArray<int> changed;
    a.setAllModifiedIndices(changed);
    EXPECT_EQ(changed.getCount(), out.getCount());
    EXPECT_EQ(a.getNumberOfBitSet(), 70);
    a.clear(3);
    a.clearAllModifiedIndices(changed);
    EXPECT_EQ(changed.getCount(), 69);
    EXPECT_EQ(a.findFirst(true), -1);

    const int listed[] = {2, 11, 2};
    KVBoolArray b;
    b.assign(12, listed, 3);
    EXPECT_EQ(b.getNumberOfBitSet(), 2);
    EXPECT_TRUE(b.get(11));
    const char bytes[] = {static_cast<char>(0x81), 0x7F};
    b.assign(11, bytes);
    Model mb = {true, false, false, false, false, false, false, true, true, true, true};
    expectMatches(b, mb);
}

TEST(KVBoolArray, SetOperationsBetweenArraysOfDifferentSizes) {
    // Bits 10..15 of `ones` are set in storage only: they must not satisfy or meet anything.
    KVBoolArray ones(10, true), high(13, false);
    high.set(12);
    EXPECT_FALSE(ones.bitTest(high));
    EXPECT_FALSE(ones.hasInter(high));
    EXPECT_TRUE(high.bitTest(KVBoolArray(40, false)));
    high.clear(12);
    high.set(9);
    EXPECT_TRUE(ones.bitTest(high));

    std::mt19937 rng(11);
    for (int round = 0; round < 300; ++round) {
        const int na = static_cast<int>(rng() % 80), nb = static_cast<int>(rng() % 80);
        Model ma, mb;
        const KVBoolArray b = randomArray(rng, nb, mb);
        KVBoolArray a = randomArray(rng, na, ma);
        SCOPED_TRACE(testing::Message() << "sizes " << na << " " << nb);

        bool inter = false, subset = true;
        for (int i = 0; i < nb; ++i) {
            if (mb[i] && i < na && ma[i]) inter = true;
            if (mb[i] && (i >= na || !ma[i])) subset = false;
        }
        EXPECT_EQ(a.hasInter(b), inter);
        EXPECT_EQ(a.bitTest(b), subset);

        Model r = ma;
        KVBoolArray x = a;
        switch (round % 4) {
        case 0:
            x.merge(b);
            r.resize(std::max(na, nb), false);
            for (int i = 0; i < nb; ++i) r[i] = r[i] || mb[i];
            break;
        case 1:
            x.toggle(b);
            r.resize(std::max(na, nb), false);
            for (int i = 0; i < nb; ++i) r[i] = r[i] != mb[i];
            break;
        case 2:
            x.clear(b);
            for (int i = 0; i < std::min(na, nb); ++i) r[i] = r[i] && !mb[i];
            break;
        default:
            x.inter(b);
            r.resize(std::min(na, nb));
            for (int i = 0; i < static_cast<int>(r.size()); ++i) r[i] = r[i] && mb[i];
            break;
        }
        expectMatches(x, r);
        // Growing after an intersection must not bring stale bits back.
        x.resize(x.getSize() + 12, false);
        r.resize(r.size() + 12, false);
        expectMatches(x, r);
    }
}

TEST(KVBoolArray, RandomOperationsMatchAVectorOfBool) {
    std::mt19937 rng(2024);
    for (int run = 0; run < 40; ++run) {
        KVBoolArray a;
        Model m;
        for (int step = 0; step < 250; ++step) {
            const int n = static_cast<int>(m.size());
            const int i = n > 0 ? static_cast<int>(rng() % n) : 0;
            const bool v = (rng() & 1) != 0;
            switch (rng() % 12) {
            case 0:
                if (n > 0) { a.set(i, v); m[i] = v; }
                break;
            case 1:
                if (n > 0) { a.toggle(i); m[i] = !m[i]; }
                break;
            case 2: {
                const int j = static_cast<int>(rng() % (n + 20));
                if (v) a.setAutoResize(j); else a.toggleAutoResize(j);
                if (j >= n) m.resize(j + 1, false);
                m[j] = v ? true : !m[j];
                break;
            }
            case 3:
                a.insert(i, v);
                if (n > 0) m.insert(m.begin() + i, v);
                break;
            case 4:
                a.erase(i);
                if (n > 0) m.erase(m.begin() + i);
                break;
            case 5: {
                const int size = static_cast<int>(rng() % 140);
                a.resize(size, v);
                m.resize(size, v);
                break;
            }
            case 6: {
                const int from = static_cast<int>(rng() % (n + 10)) - 5, to = static_cast<int>(rng() % (n + 10)) - 2;
                if (v) a.set(from, to); else a.clear(from, to);
                for (int k = std::max(from, 0); k < std::min(to, n); ++k) m[k] = v;
                break;
            }
            case 7:
                a.inverse();
                m.flip();
                break;
            case 8:
                if (rng() % 8 == 0) {
                    const int size = static_cast<int>(rng() % 140);
                    a.assign(size, v);
                    m.assign(size, v);
                }
                break;
            case 9: {
                KVBoolArray other;
                other.copy(a, v);  // the fill value must not leak into the bits
                a.swap(other);
                break;
            }
            case 10:
                a.clearAutoResize(i + 3);
                if (i + 3 >= n) m.resize(i + 4, false);
                m[i + 3] = false;
                break;
            default:
                if (v) a.setAll(); else a.clearAll();
                m.assign(m.size(), v);
                break;
            }
            ASSERT_EQ(toModel(a), m) << "run " << run << " step " << step;
            if (step % 25 == 0) expectMatches(a, m);
        }
        expectMatches(a, m);
    }
}
