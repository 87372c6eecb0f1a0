// KVString: null/empty handling, searches, paths and formatting that the rest of the library relies on.
#include "KVString.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

namespace {

KVString advanced(const char* name) {
    KVString s(name);
    s.fileNameAdvance();
    return s;
}

KVString pathValid(const char* path) {
    KVString s(path);
    s.makePathValid();
    return s;
}

}  // namespace

// ---- null is the empty string ----

TEST(KVStringEmpty, CopiesAndBuildersOfEmptyGiveNull) {
    EXPECT_TRUE(KVString().isNull());
    EXPECT_TRUE(KVString("").isNull());
    EXPECT_TRUE(KVString(nullptr).isNull());

    KVString printed;
    printed.print("%s", "");
    ASSERT_FALSE(printed.isNull());
    EXPECT_TRUE(KVString(printed).isNull());
    KVString assigned("x");
    assigned = printed;
    EXPECT_TRUE(assigned.isNull());
    assigned = "";
    EXPECT_TRUE(assigned.isNull());

    KVString s("abc");
    s.create(0, 'x');
    EXPECT_TRUE(s.isNull());
    const char* text = "abc";
    s.create(text, text);
    EXPECT_TRUE(s.isNull());
    s.create(text + 2, text);
    EXPECT_TRUE(s.isNull());
    s.create(3, 'z');
    EXPECT_STREQ(s.getBuffer(), "zzz");

    EXPECT_TRUE(KVString("abc").subString(3).isNull());
    EXPECT_TRUE(KVString("abc").subString(1, 1).isNull());
    EXPECT_TRUE((KVString() + printed).isNull());
    EXPECT_TRUE(("" + KVString()).isNull());
    EXPECT_TRUE(KVString::emptyString().isNull());
    EXPECT_EQ(&KVString::emptyString(), &KVString::emptyString());
}

TEST(KVStringEmpty, NullAndEmptyBehaveAlike) {
    KVString null;
    KVString allocated = KVString::format("%s", "");
    EXPECT_TRUE(null == allocated);
    EXPECT_STREQ(null.c_str(), "");
    EXPECT_EQ(null.length(), 0);
    EXPECT_EQ(null.getDynMemoryUsed(), 0);
    EXPECT_EQ(allocated.getDynMemoryUsed(), 1);
    EXPECT_EQ(KVString("abcd").getDynMemoryUsed(), 5);
    EXPECT_EQ(null.getMemoryUsed(), static_cast<int>(sizeof(void*)));

    EXPECT_EQ(KVString("ab") + null, KVString("ab"));
    EXPECT_EQ(null + KVString("ab"), KVString("ab"));
    EXPECT_STREQ(("x" + KVString("yz")).getBuffer(), "xyz");
    null += "";
    EXPECT_TRUE(null.isNull());
    null += 'q';
    EXPECT_STREQ(null.getBuffer(), "q");
}

TEST(KVStringEmpty, PrintingOperationsAlwaysAllocate) {
    KVString s;
    s.printTime(3725, true);
    ASSERT_NE(s.getBuffer(), nullptr);
    EXPECT_STREQ(s.getBuffer(), "");
    s = "keep";
    s.printTime(0, false);
    EXPECT_STREQ(s.getBuffer(), "");

    EXPECT_STREQ(KVString::int2String(-42).getBuffer(), "-42");
    EXPECT_STREQ(KVString::int2String(INT_MIN).getBuffer(), "-2147483648");
    s.printShortCount(0);
    EXPECT_STREQ(s.getBuffer(), "0");
}

TEST(KVStringEmpty, OperationsOnOwnBufferAreSafe) {
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

TEST(KVStringEmpty, SubStringBounds) {
    const KVString s("abcdef");
    EXPECT_STREQ(s.subString(2, 4).getBuffer(), "cd");
    EXPECT_STREQ(s.subString(2).getBuffer(), "cdef");
    EXPECT_STREQ(s.subString(2, 100).getBuffer(), "cdef");
    EXPECT_STREQ(s.subString(4, 1).getBuffer(), "ef");  // to < from: the tail
    EXPECT_TRUE(s.subString(6).isNull());
    EXPECT_TRUE(KVString().subString(0).isNull());
}

// ---- comparison ----

TEST(KVStringCompare, NullRulesAndLimit) {
    EXPECT_EQ(KVString::cmp(nullptr, nullptr), 0);
    EXPECT_EQ(KVString::cmp(nullptr, ""), 0);
    EXPECT_EQ(KVString::cmp(nullptr, "a"), -1);
    EXPECT_EQ(KVString::cmp("a", nullptr), 1);
    EXPECT_EQ(KVString::cmp("", nullptr), 0);
    EXPECT_EQ(KVString::cmp("ab", "abc"), -1);
    EXPECT_EQ(KVString::cmp("abc", "ab"), 1);
    EXPECT_EQ(KVString::cmp("abc", "abd", 2), 0);
    EXPECT_EQ(KVString::cmp("abc", "abd", 0), -1);   // n < 1: no limit
    EXPECT_EQ(KVString::cmp("abc", "abd", -5), -1);
    EXPECT_EQ(KVString::cmp("\x80", "a"), -1);       // signed characters
    EXPECT_EQ(KVString::cmpNoCase("abc", "ABD", 2), 0);
    EXPECT_EQ(KVString::cmpNoCase("abc", "ABD"), -1);
    EXPECT_EQ(KVString::cmpNoCase("ABC", "abc"), 0);
    EXPECT_EQ(KVString::cmpNoCase(nullptr, "a"), -1);
}

TEST(KVStringCompare, UpperCaseTableIsAsciiOnly) {
    KVString s("az-AZ@[`{\xe9");
    s.toUpper();
    EXPECT_STREQ(s.getBuffer(), "AZ-AZ@[`{\xe9");
    EXPECT_NE(KVString::cmpNoCase("\xe9", "\xc9"), 0);
    EXPECT_NE(KVString::cmpNoCase("`", "@"), 0);
}

TEST(KVStringCompare, StartsEndsAndIsInPath) {
    EXPECT_TRUE(KVString().startsWith(KVString()));
    EXPECT_TRUE(KVString("abc").startsWith(""));
    EXPECT_TRUE(KVString("abc").endsWith(""));
    EXPECT_FALSE(KVString("bc").endsWith("abc"));
    EXPECT_TRUE(KVString("abc").endsWith("bc"));
    EXPECT_FALSE(KVString("abc").endsWith("BC"));
    EXPECT_TRUE(KVString("abc").endsWith("BC", true));
    EXPECT_TRUE(KVString("File:x").startsWith("file:", true));
    EXPECT_FALSE(KVString("File:x").startsWith("file:"));

    const KVString path("c:\\data\\file");
    EXPECT_TRUE(path.isInPath("C:/Data"));
    EXPECT_TRUE(path.isInPath(""));
    EXPECT_FALSE(path.isInPath("C:/Dato"));
    EXPECT_FALSE(KVString("c:/dat").isInPath("C:/Data"));
}

// ---- substring search ----

TEST(KVStringSearch, FindFirstBacktracksButRestartMatcherDoesNot) {
    const KVString text("aaab");
    EXPECT_EQ(text.findFirst("aab"), 1);
    EXPECT_EQ(text.findNext("aab", 0), -1);  // the overlapping match is deliberately missed
    EXPECT_EQ(text.findNext("ab", 0), 2);    // restart on the first character keeps it
    EXPECT_EQ(KVString("xaab").findNext("aab", 0), 1);
    // Backwards the pattern is matched from its end, so the mirror case is the one missed.
    EXPECT_EQ(KVString("baaa").findLast("baa"), -1);
    EXPECT_EQ(KVString("baaa").findPrev("baa", 4), -1);
    EXPECT_EQ(KVString("baa").findLast("baa"), 0);
    EXPECT_EQ(text.findLast("aab"), 1);
}

TEST(KVStringSearch, PositionsAndNoCase) {
    const KVString s("abcABCabc");
    EXPECT_EQ(s.findFirst("abc"), 0);
    EXPECT_EQ(s.findFirst("ABC"), 3);
    EXPECT_EQ(s.findFirst("bca", true), 1);
    EXPECT_EQ(s.findLast("abc"), 6);
    EXPECT_EQ(s.findLast("ABC"), 3);
    EXPECT_EQ(s.findLast("CA", true), 5);
    EXPECT_EQ(s.findNext("abc", 1), 6);
    EXPECT_EQ(s.findNext("abc", 1, true), 3);
    EXPECT_EQ(s.findNext("abc", -4), 0);
    EXPECT_EQ(s.findPrev("abc", 6), 0);
    EXPECT_EQ(s.findPrev("abc", 6, true), 3);
    EXPECT_EQ(s.findPrev("abc", 9), 6);
    EXPECT_EQ(s.findPrev("abc", 1), 0);  // starts before 1, ends after it
    EXPECT_EQ(KVString("abcd").findPrev("bc", 2), 1);
    EXPECT_EQ(KVString("abcd").findPrev("bc", 1), -1);
}

TEST(KVStringSearch, OutOfRangeAndEmptyGiveMinusOne) {
    const KVString s("abc");
    for (const KVString& pattern : {KVString(), KVString::format("%s", "")}) {
        EXPECT_EQ(s.findFirst(pattern), -1);
        EXPECT_EQ(s.findLast(pattern), -1);
        EXPECT_EQ(s.findNext(pattern, 0), -1);
        EXPECT_EQ(s.findPrev(pattern, 3), -1);
    }
    EXPECT_EQ(KVString().findFirst("a"), -1);
    EXPECT_EQ(KVString().findLast("a"), -1);
    EXPECT_EQ(KVString().findNext("a", 0), -1);
    EXPECT_EQ(KVString().findPrev("a", 1), -1);
    EXPECT_EQ(s.findFirst("abcd"), -1);
    EXPECT_EQ(s.findLast("abcd"), -1);
    EXPECT_EQ(s.findNext("bc", 1), 1);
    EXPECT_EQ(s.findNext("bc", 2), -1);  // beyond length - pattern length
    EXPECT_EQ(s.findNext("c", 3), -1);
    EXPECT_EQ(s.findNext("c", INT_MAX), -1);
    EXPECT_EQ(s.findPrev("a", 0), -1);
    EXPECT_EQ(s.findPrev("a", 4), -1);
    EXPECT_EQ(s.findPrev("a", INT_MAX), -1);
}

TEST(KVStringSearch, FindFirstTagSteps) {
    const KVString s("x<b>bold</b>y");
    int from = 0, to = 100;
    ASSERT_TRUE(s.findFirstTag("<b>", "</b>", from, to));
    EXPECT_EQ(from, 4);
    EXPECT_EQ(to, 8);

    from = -3, to = 13;
    EXPECT_TRUE(s.findFirstTag("<B>", "</B>", from, to, true));
    EXPECT_EQ(from, 4);
    from = -3, to = 13;
    EXPECT_FALSE(s.findFirstTag("<B>", "</B>", from, to));
    EXPECT_EQ(from, 0);

    from = 13, to = 20;  // from at the length
    EXPECT_FALSE(s.findFirstTag("<b>", "</b>", from, to));
    from = 5, to = 5;
    EXPECT_FALSE(s.findFirstTag("<b>", "</b>", from, to));

    from = 0, to = 4;  // text starts at the limit
    EXPECT_FALSE(s.findFirstTag("<b>", "</b>", from, to));
    EXPECT_EQ(from, 4);

    from = 0, to = 11;  // closing tag ends beyond the limit
    EXPECT_FALSE(s.findFirstTag("<b>", "</b>", from, to));
    EXPECT_EQ(from, 4);
    EXPECT_EQ(to, 11);
    from = 0, to = 12;  // ... and exactly at it
    EXPECT_TRUE(s.findFirstTag("<b>", "</b>", from, to));
    EXPECT_EQ(to, 8);

    from = 0, to = 100;
    EXPECT_FALSE(s.findFirstTag("", "</b>", from, to));
    EXPECT_FALSE(s.findFirstTag("<b>", KVString(), from, to));
    EXPECT_FALSE(KVString().findFirstTag("<b>", "</b>", from, to));
    EXPECT_EQ(from, 0);
    EXPECT_EQ(to, 100);
    EXPECT_FALSE(s.findFirstTag("<i>", "</b>", from, to));

    from = 0, to = 13;
    EXPECT_FALSE(s.findLastTag("<b>", "</b>", from, to));
    EXPECT_EQ(from, 0);
    EXPECT_EQ(to, 13);
}

// ---- character sets ----

TEST(KVStringCharSet, FindsAndBounds) {
    const KVString s("a/b\\c");
    const KVString seps("/\\");
    EXPECT_EQ(s.findFirstCharOf(seps), 1);
    EXPECT_EQ(s.findLastCharOf(seps), 3);
    EXPECT_EQ(s.findNextCharOf(seps, 2), 3);
    EXPECT_EQ(s.findNextCharOf(seps, 5), -1);
    EXPECT_EQ(s.findPrevCharOf(seps, 3), 1);
    EXPECT_EQ(s.findPrevCharOf(seps, 0), -1);
    EXPECT_EQ(s.findPrevCharOf(seps, 6), -1);
    EXPECT_EQ(s.findFirstCharNotOf("a/"), 2);
    EXPECT_EQ(s.findLastCharNotOf("c\\"), 2);
    EXPECT_EQ(s.findNextCharNotOf("abc", 0), 1);
    EXPECT_EQ(s.findNextCharNotOf("abc", 5), -1);
    EXPECT_EQ(s.findPrevCharNotOf("abc", 5), 3);
    EXPECT_EQ(s.findPrevCharNotOf("abc", 0), -1);

    EXPECT_EQ(s.findFirstCharOf(""), -1);  // empty set matches nothing
    EXPECT_EQ(s.findFirstCharNotOf(""), 0);
    EXPECT_EQ(s.findLastCharNotOf(KVString()), 4);
    EXPECT_EQ(KVString().findFirstCharNotOf("x"), -1);
    EXPECT_EQ(KVString("\xff").findFirstCharOf("\xff"), 0);
}

TEST(KVStringCharSet, EditingInPlace) {
    KVString s(" a b  c ");
    s.removeCharsOf(" ");
    EXPECT_STREQ(s.getBuffer(), "abc");
    s.removeCharsOf("abc");
    ASSERT_NE(s.getBuffer(), nullptr);  // emptied: keeps an allocated ""
    EXPECT_STREQ(s.getBuffer(), "");

    s = "x1y22z";
    s.removeCharsNotOf("0123456789");
    EXPECT_STREQ(s.getBuffer(), "122");
    s.removeCharsNotOf("");
    EXPECT_NE(s.getBuffer(), nullptr);

    KVString n;
    n.removeCharsOf("a");
    EXPECT_TRUE(n.isNull());

    s = "C:\\dir\\f.txt";
    s.replaceCharsOf("\\", '/');
    EXPECT_STREQ(s.getBuffer(), "C:/dir/f.txt");
    s.replaceCharsNotOf("/", '_');
    EXPECT_STREQ(s.getBuffer(), "__/___/_____");
    s.replaceCharsOf("", 'x');
    EXPECT_STREQ(s.getBuffer(), "__/___/_____");
}

// ---- cutting and paths ----

TEST(KVStringPath, CutTo) {
    KVString s("abcdef");
    s.cutTo(0);
    EXPECT_STREQ(s.getBuffer(), "abcdef");
    s.cutTo(-2);
    EXPECT_STREQ(s.getBuffer(), "abcdef");
    s.cutTo(3);
    EXPECT_STREQ(s.getBuffer(), "def");
    s.cutTo(3);
    EXPECT_TRUE(s.isNull());
    s = "ab";
    s.cutTo(7);
    EXPECT_TRUE(s.isNull());
}

TEST(KVStringPath, MakePathValidRemovesOnePrefixAndOneSeparator) {
    EXPECT_STREQ(pathValid("file:/Users/x/").c_str(), "/Users/x");
    EXPECT_STREQ(pathValid("FILE:abc").c_str(), "abc");
    EXPECT_STREQ(pathValid("!:/tmp//").c_str(), "/tmp/");
    EXPECT_STREQ(pathValid("C:\\dir\\").c_str(), "C:\\dir");
    EXPECT_STREQ(pathValid("!:file:x/").c_str(), "file:x");  // only one prefix
    EXPECT_STREQ(pathValid("!:").c_str(), "");
    EXPECT_STREQ(pathValid("/").c_str(), "");
    EXPECT_STREQ(pathValid("/a/b").c_str(), "/a/b");
    EXPECT_STREQ(pathValid("!;x").c_str(), "!;x");
    EXPECT_STREQ(pathValid("file").c_str(), "file");
    EXPECT_TRUE(pathValid(nullptr).isNull());
}

TEST(KVStringPath, GetValidFilePathPointsIntoOwnBuffer) {
    EXPECT_EQ(KVString().getValidFilePath(), nullptr);
    const KVString empty = KVString::format("%s", "");
    EXPECT_EQ(empty.getValidFilePath(), empty.getBuffer());

    const KVString volume("Macintosh HD:/Users/x/a.kel");
    EXPECT_EQ(volume.getValidFilePath(), volume.getBuffer() + 13);
    const KVString noColon("rel/dir/a");
    EXPECT_EQ(noColon.getValidFilePath(), noColon.getBuffer() + 3);
    const KVString plain("name.kel");
    EXPECT_EQ(plain.getValidFilePath(), plain.getBuffer());
    EXPECT_STREQ(KVString("!:/tmp/a").getValidFilePath(), "/tmp/a");
    EXPECT_STREQ(KVString("vol:name").getValidFilePath(), "name");
    EXPECT_STREQ(KVString("a/b:c/d").getValidFilePath(), "/d");  // first ':' decides
}

TEST(KVStringPath, GetFileName) {
    EXPECT_STREQ(KVString("dir/mesh.kel").getFileName().c_str(), "mesh");
    EXPECT_STREQ(KVString("dir/a.b.c").getFileName().c_str(), "a.b");
    EXPECT_STREQ(KVString("c:\\d.x\\tex").getFileName().c_str(), "tex");
    EXPECT_STREQ(KVString("plain").getFileName().c_str(), "plain");
    EXPECT_TRUE(KVString("dir/").getFileName().isNull());
    EXPECT_TRUE(KVString("dir/.hidden").getFileName().isNull());
    EXPECT_TRUE(KVString().getFileName().isNull());
}

TEST(KVStringPath, FileNameAdvanceCarries) {
    const struct {
        const char* in;
        const char* out;
    } cases[] = {
        {"script.txt", "script1.txt"}, {"script1.txt", "script2.txt"}, {"script9.txt", "script10.txt"},
        {"mesh12.obj", "mesh13.obj"},  {"mesh19.obj", "mesh20.obj"},   {"a199", "a200"},
        {"a9", "a10"},                 {"99", "100"},                  {"99.txt", "100.txt"},
        {"9.obj", "10.obj"},           {".obj", "1.obj"},              {"a9.9", "a10.9"},
        {"dir9/x", "dir9/x1"},         {"dir.v/x9", "dir.v/x10"},      {"d.v\\x", "d.v\\x1"},
        {"", "1"},                     {"a.b.8", "a.b1.8"},
    };
    for (const auto& c : cases) EXPECT_STREQ(advanced(c.in).c_str(), c.out) << c.in;
    KVString null;
    null.fileNameAdvance();
    EXPECT_STREQ(null.getBuffer(), "1");
    KVString empty = KVString::format("%s", "");
    empty.fileNameAdvance();
    EXPECT_STREQ(empty.getBuffer(), "1");

    KVString series("script.txt");
    for (int i = 0; i < 10; ++i) series.fileNameAdvance();
    EXPECT_STREQ(series.getBuffer(), "script10.txt");
}

// ---- formatting ----

TEST(KVStringFormat, PrintKeepsAtMost511Characters) {
    const std::string longText(600, 'x');
    KVString s;
    s.print("%s", longText.c_str());
    EXPECT_EQ(s.length(), 511);
    EXPECT_EQ(s.getDynMemoryUsed(), 512);
    EXPECT_EQ(KVString::format("%s", longText.c_str()).length(), 511);
    EXPECT_EQ(KVString::format("%.*s", 511, longText.c_str()).length(), 511);
    EXPECT_EQ(KVString::format("%.*s", 510, longText.c_str()).length(), 510);
    EXPECT_STREQ(KVString::format("%d-%s", 7, "x").getBuffer(), "7-x");
}

TEST(KVStringFormat, PrintShortCountTruncates) {
    const struct {
        int n;
        const char* text;
    } cases[] = {
        {1000, "1.0k"},      {1000000, "1.0m"}, {1999999, "1.9m"}, {25000000, "25.0m"},
        {1500, "1.5k"},      {999999, "999.9k"}, {999, "999"},    {0, "0"},
        {-1500, "-500"},     {INT_MAX, "2147.4m"}, {INT_MIN, "-648"},
    };
    KVString s;
    for (const auto& c : cases) {
        s.printShortCount(c.n);
        EXPECT_STREQ(s.getBuffer(), c.text) << c.n;
    }
}

TEST(KVStringFormat, ConvertToIntWraps) {
    EXPECT_EQ(KVString("-12ab").convertToInt(), -12);
    EXPECT_EQ(KVString("+").convertToInt(), 0);
    EXPECT_EQ(KVString("x1").convertToInt(), 0);
    EXPECT_EQ(KVString("+42").convertToInt(), 42);
    EXPECT_EQ(KVString(" 1").convertToInt(), 0);
    EXPECT_EQ(KVString().convertToInt(), 0);
    EXPECT_EQ(KVString("2147483647").convertToInt(), INT_MAX);
    EXPECT_EQ(KVString("-2147483648").convertToInt(), INT_MIN);
    EXPECT_EQ(KVString("2147483648").convertToInt(), INT_MIN);
    EXPECT_EQ(KVString("4294967297").convertToInt(), 1);
    EXPECT_EQ(KVString("99999999999999999999").convertToInt(), 1661992959);
}

TEST(KVStringFormat, SprintfBoundedAndStub) {
    char buf[12];
    std::memset(buf, '#', sizeof buf);
    EXPECT_EQ(kvSprintf_s(buf, 8, "%s", "abcdefghij"), 7);
    EXPECT_STREQ(buf, "abcdefg");
    EXPECT_EQ(buf[8], '#');  // nothing written past size
    EXPECT_EQ(kvSprintf_s(buf, 8, "%d", 42), 2);
    EXPECT_STREQ(buf, "42");
    EXPECT_EQ(kvSprintf_s(buf, 1, "%s", "abc"), 0);
    EXPECT_STREQ(buf, "");
    EXPECT_EQ(kvSprintf_s(buf, 0, "%s", "abc"), -1);
    EXPECT_EQ(kvSprintf_s(nullptr, 8, "%s", "abc"), -1);

    std::strcpy(buf, "untouched");
    kvSprintf(buf, "%s", "changed");
    EXPECT_STREQ(buf, "untouched");
}
