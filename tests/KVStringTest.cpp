// KVString: null/empty handling, searches, paths and formatting that the rest of the library relies on.
#include "KVString.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

TEST(KVString, EmptyIsNullButPrintingAllocates) {
    KVString printed;
    printed.print("%s", "");
    ASSERT_FALSE(printed.isNull());  // printing keeps an allocated ""
    EXPECT_TRUE(KVString("").isNull());
    EXPECT_TRUE(KVString(printed).isNull());
    KVString s("abc");
    s = printed;
    EXPECT_TRUE(s.isNull());
    s.create("abc" + 2, "abc");
    EXPECT_TRUE(s.isNull());
    s.create(3, 'z');
    EXPECT_STREQ(s.getBuffer(), "zzz");
    EXPECT_TRUE((KVString() + printed).isNull());
    EXPECT_TRUE(KVString() == printed);
    EXPECT_STREQ(KVString().c_str(), "");
    s.printTime(3725, true);
    EXPECT_STREQ(s.getBuffer(), "");
    EXPECT_STREQ(KVString::int2String(INT_MIN).getBuffer(), "-2147483648");
    KVString n;
    n += 'q';
    EXPECT_STREQ(n.getBuffer(), "q");
    EXPECT_STREQ(("x" + KVString("yz")).getBuffer(), "xyz");
}

TEST(KVString, OperationsOnOwnBufferAreSafe) {
    KVString s("file:/Users/x/y");
    s = s.getValidFilePath();
    EXPECT_STREQ(s.getBuffer(), "/Users/x/y");
    s += s;
    EXPECT_STREQ(s.getBuffer(), "/Users/x/y/Users/x/y");
    s.create(s.getBuffer() + 10, s.getBuffer() + 12);
    EXPECT_STREQ(s.getBuffer(), "/U");
    s.print("%s-%s", s.c_str(), s.c_str());
    EXPECT_STREQ(s.getBuffer(), "/U-/U");
}

TEST(KVString, SubStringAndCutToBounds) {
    const KVString s("abcdef");
    EXPECT_STREQ(s.subString(2, 4).getBuffer(), "cd");
    EXPECT_STREQ(s.subString(2, 100).getBuffer(), "cdef");
    EXPECT_STREQ(s.subString(4, 1).getBuffer(), "ef");  // to < from: the tail
    EXPECT_TRUE(s.subString(6).isNull());
    EXPECT_TRUE(KVString().subString(0).isNull());
    KVString c("abcdef");
    c.cutTo(-2);
    EXPECT_STREQ(c.getBuffer(), "abcdef");
    c.cutTo(3);
    EXPECT_STREQ(c.getBuffer(), "def");
    c.cutTo(7);
    EXPECT_TRUE(c.isNull());
}

TEST(KVString, CompareNullRulesLimitAndAsciiCase) {
    EXPECT_EQ(KVString::cmp(nullptr, ""), 0);
    EXPECT_EQ(KVString::cmp(nullptr, "a"), -1);
    EXPECT_EQ(KVString::cmp("a", nullptr), 1);
    EXPECT_EQ(KVString::cmp("ab", "abc"), -1);
    EXPECT_EQ(KVString::cmp("abc", "abd", 2), 0);
    EXPECT_EQ(KVString::cmp("abc", "abd", -5), -1);  // n < 1: no limit
    EXPECT_EQ(KVString::cmp("\x80", "a"), -1);        // signed characters
    EXPECT_EQ(KVString::cmpNoCase("abc", "ABD", 2), 0);
    EXPECT_EQ(KVString::cmpNoCase("abc", "ABD"), -1);
    EXPECT_NE(KVString::cmpNoCase("\xe9", "\xc9"), 0);
    EXPECT_NE(KVString::cmpNoCase("`", "@"), 0);
    KVString s("az-AZ@[`{\xe9");
    EXPECT_STREQ(s.toUpper().getBuffer(), "AZ-AZ@[`{\xe9");

    EXPECT_TRUE(KVString().startsWith(KVString()));
    EXPECT_FALSE(KVString("bc").endsWith("abc"));
    EXPECT_FALSE(KVString("abc").endsWith("BC"));
    EXPECT_TRUE(KVString("abc").endsWith("BC", true));
    EXPECT_TRUE(KVString("File:x").startsWith("file:", true));
    const KVString path("c:\\data\\file");
    EXPECT_TRUE(path.isInPath("C:/Data"));
    EXPECT_FALSE(path.isInPath("C:/Dato"));
    EXPECT_FALSE(KVString("c:/dat").isInPath("C:/Data"));
}

TEST(KVString, SubstringSearchTable) {
    enum Op { First, Last, Next, Prev };
    const struct {
        const char* text;
        const char* pattern;
        Op op;
        int from;
        bool noCase;
        int expected;
    } rows[] = {
        {"aaab", "aab", First, 0, false, 1},  // findFirst backtracks
        {"aaab", "aab", Next, 0, false, -1},  // the restart matcher misses the overlap on purpose
        {"aaab", "ab", Next, 0, false, 2},
        {"baaa", "baa", Last, 0, false, -1},  // backwards the mirror case is the one missed
        {"baaa", "baa", Prev, 4, false, -1},
        {"aaab", "aab", Last, 0, false, 1},
        {"abcABCabc", "ABC", First, 0, false, 3},
        {"abcABCabc", "bca", First, 0, true, 1},
        {"abcABCabc", "abc", Last, 0, false, 6},
        {"abcABCabc", "CA", Last, 0, true, 5},
        {"abcABCabc", "abc", Next, 1, true, 3},
        {"abcABCabc", "abc", Next, -4, false, 0},
        {"abcABCabc", "abc", Prev, 6, true, 3},
        {"abcABCabc", "abc", Prev, 9, false, 6},
        {"abcABCabc", "abc", Prev, 1, false, 0},  // starts before 1, ends after it
        {"abcd", "bc", Prev, 1, false, -1},
        {"abc", "", First, 0, false, -1},
        {"abc", "", Prev, 3, false, -1},
        {"", "a", Next, 0, false, -1},
        {"abc", "abcd", Last, 0, false, -1},
        {"abc", "bc", Next, 1, false, 1},
        {"abc", "bc", Next, 2, false, -1},  // beyond length - pattern length
        {"abc", "c", Next, INT_MAX, false, -1},
        {"abc", "a", Prev, 0, false, -1},
        {"abc", "a", Prev, INT_MAX, false, -1},
    };
    for (const auto& r : rows) {
        const KVString t(r.text);
        const int got = r.op == First  ? t.findFirst(r.pattern, r.noCase)
                        : r.op == Last ? t.findLast(r.pattern, r.noCase)
                        : r.op == Next ? t.findNext(r.pattern, r.from, r.noCase)
                                       : t.findPrev(r.pattern, r.from, r.noCase);
        EXPECT_EQ(got, r.expected) << r.text << " / " << r.pattern << " op " << r.op << " from " << r.from;
    }
    EXPECT_EQ(KVString("abc").findFirst(KVString::format("%s", "")), -1);
}

TEST(KVString, FindFirstTagLimits) {
    const KVString s("x<b>bold</b>y");
    int from = -3, to = 13;
    EXPECT_TRUE(s.findFirstTag("<B>", "</B>", from, to, true));
    EXPECT_EQ(from, 4);
    EXPECT_EQ(to, 8);
    from = -3, to = 13;
    EXPECT_FALSE(s.findFirstTag("<B>", "</B>", from, to));
    from = 13, to = 20;  // from at the length
    EXPECT_FALSE(s.findFirstTag("<b>", "</b>", from, to));
    from = 0, to = 11;  // closing tag ends beyond the limit
    EXPECT_FALSE(s.findFirstTag("<b>", "</b>", from, to));
    EXPECT_EQ(from, 4);
    EXPECT_EQ(to, 11);
    from = 0, to = 12;  // ... and exactly at it
    EXPECT_TRUE(s.findFirstTag("<b>", "</b>", from, to));
    from = 0, to = 100;
    EXPECT_FALSE(s.findFirstTag("", "</b>", from, to));
    EXPECT_FALSE(KVString().findFirstTag("<b>", "</b>", from, to));
    EXPECT_EQ(from, 0);
    EXPECT_EQ(to, 100);
    from = 0, to = 13;
    EXPECT_FALSE(s.findLastTag("<b>", "</b>", from, to));
}

TEST(KVString, CharacterSets) {
    const KVString s("a/b\\c");
    const KVString seps("/\\");
    EXPECT_EQ(s.findLastCharOf(seps), 3);
    EXPECT_EQ(s.findNextCharOf(seps, 2), 3);
    EXPECT_EQ(s.findNextCharOf(seps, 5), -1);
    EXPECT_EQ(s.findPrevCharOf(seps, 3), 1);
    EXPECT_EQ(s.findPrevCharOf(seps, 6), -1);
    EXPECT_EQ(s.findLastCharNotOf("c\\"), 2);
    EXPECT_EQ(s.findPrevCharNotOf("abc", 5), 3);
    EXPECT_EQ(s.findFirstCharOf(""), -1);  // an empty set matches nothing
    EXPECT_EQ(s.findFirstCharNotOf(""), 0);
    EXPECT_EQ(KVString("\xff").findFirstCharOf("\xff"), 0);

    KVString e(" a b  c ");
    e.removeCharsOf(" ");
    EXPECT_STREQ(e.getBuffer(), "abc");
    e.removeCharsOf("abc");
    EXPECT_STREQ(e.getBuffer(), "");  // emptied: keeps an allocated ""
    e = "x1y22z";
    e.removeCharsNotOf("0123456789");
    EXPECT_STREQ(e.getBuffer(), "122");
    e = "C:\\dir\\f.txt";
    e.replaceCharsOf("\\", '/');
    e.replaceCharsNotOf("/", '_');
    EXPECT_STREQ(e.getBuffer(), "__/___/_____");
}

TEST(KVString, PathTables) {
    const struct {
        const char* in;
        const char* valid;
    } valid[] = {
        {"file:/Users/x/", "/Users/x"}, {"FILE:abc", "abc"}, {"!:/tmp//", "/tmp/"}, {"C:\\dir\\", "C:\\dir"},
        {"!:file:x/", "file:x"},  // only one prefix
        {"!:", ""}, {"/", ""}, {"!;x", "!;x"},
    };
    for (const auto& c : valid) {
        KVString s(c.in);
        s.makePathValid();
        EXPECT_STREQ(s.c_str(), c.valid) << c.in;
    }
    const struct {
        const char* in;
        const char* name;
    } names[] = {{"dir/a.b.c", "a.b"}, {"c:\\d.x\\tex", "tex"}, {"plain", "plain"}, {"dir/", ""}, {"dir/.hidden", ""}};
    for (const auto& c : names) EXPECT_STREQ(KVString(c.in).getFileName().c_str(), c.name) << c.in;
    const struct {
        const char* in;
        const char* out;
    } advance[] = {
        {"script.txt", "script1.txt"}, {"script9.txt", "script10.txt"}, {"mesh19.obj", "mesh20.obj"},
        {"a199", "a200"}, {"99.txt", "100.txt"}, {".obj", "1.obj"}, {"a9.9", "a10.9"}, {"dir9/x", "dir9/x1"},
        {"dir.v/x9", "dir.v/x10"}, {"d.v\\x", "d.v\\x1"}, {"", "1"}, {"a.b.8", "a.b1.8"},
    };
    for (const auto& c : advance) {
        KVString s(c.in);
        s.fileNameAdvance();
        EXPECT_STREQ(s.c_str(), c.out) << c.in;
    }
}

TEST(KVString, GetValidFilePathPointsIntoOwnBuffer) {
    EXPECT_EQ(KVString().getValidFilePath(), nullptr);
    const KVString volume("Macintosh HD:/Users/x/a.kel");
    EXPECT_EQ(volume.getValidFilePath(), volume.getBuffer() + 13);
    const KVString noColon("rel/dir/a");
    EXPECT_EQ(noColon.getValidFilePath(), noColon.getBuffer() + 3);
    EXPECT_STREQ(KVString("name.kel").getValidFilePath(), "name.kel");
    EXPECT_STREQ(KVString("!:/tmp/a").getValidFilePath(), "/tmp/a");
    EXPECT_STREQ(KVString("a/b:c/d").getValidFilePath(), "/d");  // the first ':' decides
}

TEST(KVString, FormattingBoundsAndWraps) {
    const std::string longText(600, 'x');
    KVString s;
    s.print("%s", longText.c_str());
    EXPECT_EQ(s.length(), 511);
    EXPECT_EQ(KVString::format("%s", longText.c_str()).length(), 511);

    const struct {
        int n;
        const char* text;
    } counts[] = {{1000, "1.0k"}, {1999999, "1.9m"}, {999999, "999.9k"}, {999, "999"},
                  {-1500, "-500"}, {INT_MAX, "2147.4m"}, {INT_MIN, "-648"}};
    for (const auto& c : counts) {
        s.printShortCount(c.n);
        EXPECT_STREQ(s.getBuffer(), c.text) << c.n;
    }
    const struct {
        const char* text;
        int value;
    } ints[] = {{"-12ab", -12}, {"+", 0}, {"+42", 42}, {" 1", 0}, {"-2147483648", INT_MIN},
                {"2147483648", INT_MIN}, {"4294967297", 1}, {"99999999999999999999", 1661992959}};
    for (const auto& c : ints) EXPECT_EQ(KVString(c.text).convertToInt(), c.value) << c.text;

    char buf[12];
    std::memset(buf, '#', sizeof buf);
    EXPECT_EQ(kvSprintf_s(buf, 8, "%s", "abcdefghij"), 7);
    EXPECT_STREQ(buf, "abcdefg");
    EXPECT_EQ(buf[8], '#');  // nothing written past size
    EXPECT_EQ(kvSprintf_s(buf, 1, "%s", "abc"), 0);
    EXPECT_STREQ(buf, "");
    EXPECT_EQ(kvSprintf_s(buf, 0, "%s", "abc"), -1);
    EXPECT_EQ(kvSprintf_s(nullptr, 8, "%s", "abc"), -1);
    std::strcpy(buf, "untouched");
    kvSprintf(buf, "%s", "changed");
    EXPECT_STREQ(buf, "untouched");
}
