// KVGenericConfigFileParser: key matching, separators, line breaks, helpers and converters.
#include "KVGenericConfigFileParser.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "PluginHost.h"

namespace {

// What the handlers saw, in order: (key tag, value).
struct Calls {
    std::vector<std::pair<std::string, std::string>> seen;
};

template <char Tag>
void record(const char* value, void* context) {
    static_cast<Calls*>(context)->seen.emplace_back(std::string(1, Tag), value);
}

typedef std::vector<std::pair<std::string, std::string>> Seen;

Seen parse(const KVGenericConfigFileParser& parser, const std::string& text) {
    Calls calls;
    parser.parseText(text.data(), static_cast<long long>(text.size()), &calls);
    return calls.seen;
}

KVGenericConfigFileParser numThreadParser() {
    KVGenericConfigFileParser p;
    p.addToken("NumThread", record<'N'>);
    return p;
}

}  // namespace

// ---- matching ----

TEST(KVGenericConfigFileParserMatch, KeysSeparatorsValuesAndLines) {
    KVGenericConfigFileParser p = numThreadParser();
    p.addToken("A", record<'A'>);
    p.addToken("B", record<'B'>);
    static const char withNul[] = "NumThread = 1\nNumThr\0ead = 2\nNumThread = 3";  // a NUL ends the text
    const std::vector<std::pair<std::string, Seen>> table = {
        // The key is a prefix without regard to case; separators are optional.
        {"NumThread = 8", {{"N", "8"}}},
        {"numthread 8", {{"N", "8"}}},
        {"NumThread8", {{"N", "8"}}},
        {" \t NumThread\t=:= 8 \t", {{"N", "8"}}},
        {"nUmThReAd:=::  8", {{"N", "8"}}},
        // The key must begin the line (after blanks) and be complete.
        {"# NumThread = 8", {}},
        {"NumThrea = 8", {}},
        {"xNumThread = 8", {}},
        // The value keeps inner separators and quotes.
        {"NumThread = \"a b\" = c: d  \r\n", {{"N", "\"a b\" = c: d"}}},
        {"NumThreads = 4", {{"N", "s = 4"}}},
        // Only separators after the key change nothing; the bare key calls with an empty value.
        {"NumThread =", {}},
        {"NumThread : \t= ", {}},
        {"NumThread", {{"N", ""}}},
        // Each line goes to one key; unknown lines and runs of breaks are skipped.
        {"// comment\nA=1\r\n\r\n\n\rB=2\rzzz\n# A=9\n\t\nA = 3", {{"A", "1"}, {"B", "2"}, {"A", "3"}}},
        {std::string(withNul, sizeof withNul - 1), {{"N", "1"}}},
    };
    for (const auto& row : table) EXPECT_EQ(parse(p, row.first), row.second) << row.first;
}

TEST(KVGenericConfigFileParserMatch, MostRecentlyRegisteredKeyIsTriedFirst) {
    KVGenericConfigFileParser shortFirst;
    shortFirst.addToken("UseVtxColors", record<'S'>);
    shortFirst.addToken("UseVtxColorsCoef", record<'L'>);
    EXPECT_EQ(parse(shortFirst, "UseVtxColorsCoef = 7\nUseVtxColors = Yes\nusevtxcolorsX"),
              (Seen{{"L", "7"}, {"S", "Yes"}, {"S", "X"}}));

    KVGenericConfigFileParser longFirst;
    longFirst.addToken("UseVtxColorsCoef", record<'L'>);
    longFirst.addToken("UseVtxColors", record<'S'>);
    EXPECT_EQ(parse(longFirst, "UseVtxColorsCoef = 7"), (Seen{{"S", "Coef = 7"}}));
    EXPECT_EQ(longFirst.getNumTokens(), 2);
    EXPECT_STREQ(longFirst.getFirstToken()->m_name, "UseVtxColors");
}

TEST(KVGenericConfigFileParserMatch, CopiesKeepTheWholeListInOrder) {
    KVGenericConfigFileParser original;
    original.addToken("Key", record<'K'>);
    original.addToken("KeyLong", record<'L'>);
    original.addToken("", record<'E'>);  // ignored
    const KVGenericConfigFileParser copy(original);
    KVGenericConfigFileParser assigned;
    assigned.addToken("Other", record<'O'>);
    assigned = original;
    for (const KVGenericConfigFileParser* p : std::vector<const KVGenericConfigFileParser*>{&original, &copy, &assigned}) {
        EXPECT_EQ(p->getNumTokens(), 2);
        EXPECT_EQ(parse(*p, "KeyLong=1\nKey=2\nOther=3"), (Seen{{"L", "1"}, {"K", "2"}}));
    }
}

// ---- files ----

TEST(KVGenericConfigFileParserFile, FailsOnlyForMissingOrEmptyFiles) {
    TempFolder dir;
    const KVGenericConfigFileParser p = numThreadParser();
    Calls calls;
    EXPECT_FALSE(p.parseFile(dir.file("missing.ydc").c_str(), &calls));
    ASSERT_TRUE(writeFile(dir.file("empty.ydc"), ""));
    EXPECT_FALSE(p.parseFile(dir.file("empty.ydc").c_str(), &calls));
    EXPECT_FALSE(p.parseFile(dir.path().c_str(), &calls));  // a folder cannot be read
    ASSERT_TRUE(writeFile(dir.file("blank.ydc"), "\n\r\n  \t\n# nothing\n"));
    EXPECT_TRUE(p.parseFile(dir.file("blank.ydc").c_str(), &calls));
    ASSERT_TRUE(writeFile(dir.file("job.ydc"), "NumThread = 3\r\n"));
    EXPECT_TRUE(p.parseFile(("file:" + dir.file("job.ydc")).c_str(), &calls));
    EXPECT_EQ(calls.seen, (Seen{{"N", "3"}}));
}

TEST(KVGenericConfigFileParserFile, HostileFilesParseWhole) {
    TempFolder dir;
    KVGenericConfigFileParser p;
    p.addToken("A", record<'A'>);
    p.addToken("NumThread", record<'N'>);

    // Garbage bytes without NUL: every value handed over is a piece of one line.
    std::mt19937 rng(7);
    std::string garbage(3 << 20, '\0');
    for (char& c : garbage) c = static_cast<char>(1 + rng() % 255);
    ASSERT_TRUE(writeFile(dir.file("garbage.ydc"), garbage));
    Calls calls;
    EXPECT_TRUE(p.parseFile(dir.file("garbage.ydc").c_str(), &calls));
    for (const auto& call : calls.seen) {
        EXPECT_EQ(call.second.find_first_of("\r\n"), std::string::npos);
        EXPECT_NE(garbage.find(call.second), std::string::npos);
    }

    // One line of several MB: one call with the whole value.
    const std::string value(4 << 20, 'x');
    ASSERT_TRUE(writeFile(dir.file("oneline.ydc"), "NumThread = " + value + "  \t"));
    calls.seen.clear();
    EXPECT_TRUE(p.parseFile(dir.file("oneline.ydc").c_str(), &calls));
    ASSERT_EQ(calls.seen.size(), 1u);
    EXPECT_EQ(calls.seen[0].second, value);

    // Many short lines: every one reaches its handler.
    std::string many;
    for (int i = 0; i < 200000; ++i) many += (i % 2 ? "A=" : "NumThread : ") + std::to_string(i) + (i % 3 ? "\n" : "\r\n");
    ASSERT_TRUE(writeFile(dir.file("many.ydc"), many));
    calls.seen.clear();
    EXPECT_TRUE(p.parseFile(dir.file("many.ydc").c_str(), &calls));
    ASSERT_EQ(calls.seen.size(), 200000u);
    EXPECT_EQ(calls.seen[199999], (std::pair<std::string, std::string>{"A", "199999"}));
    EXPECT_EQ(calls.seen[4], (std::pair<std::string, std::string>{"N", "4"}));
}

// ---- line helpers ----

TEST(KVGenericConfigFileParserLines, EndAndNextLineHandleBreakRunsAndTheEnd) {
    EXPECT_EQ(KVGenericConfigFileParser::findEndOfLine(nullptr), nullptr);
    EXPECT_EQ(KVGenericConfigFileParser::findNextLine(nullptr), nullptr);
    const char* text = "ab\r\n\n\rcd\r";
    EXPECT_EQ(KVGenericConfigFileParser::findEndOfLine(text), text + 2);
    EXPECT_EQ(KVGenericConfigFileParser::findNextLine(text), text + 6);
    EXPECT_EQ(KVGenericConfigFileParser::findNextLine(text + 6), nullptr);
    const char* empty = "";
    EXPECT_EQ(KVGenericConfigFileParser::findEndOfLine(empty), empty);
    EXPECT_EQ(KVGenericConfigFileParser::findNextLine(empty), nullptr);
    const char* noBreak = "abc";
    EXPECT_EQ(KVGenericConfigFileParser::findEndOfLine(noBreak), noBreak + 3);
    EXPECT_EQ(KVGenericConfigFileParser::findNextLine(noBreak), nullptr);
}

TEST(KVGenericConfigFileParserLines, ParseALineSplitsAtTheFirstEqualSign) {
    KVString key, value;
    auto split = [&](const std::string& line) {
        return KVGenericConfigFileParser::parseALine(line.data(), line.data() + line.size(), key, value);
    };
    EXPECT_TRUE(split(" \tInputFile \t=  /a b=c.kel \t\r\n"));
    EXPECT_STREQ(key.c_str(), "InputFile");
    EXPECT_STREQ(value.c_str(), "/a b=c.kel");
    EXPECT_TRUE(split("  Lonely key  "));
    EXPECT_STREQ(key.c_str(), "Lonely key");
    EXPECT_TRUE(value.isEmpty());
    EXPECT_TRUE(split("K="));
    EXPECT_STREQ(key.c_str(), "K");
    EXPECT_TRUE(value.isEmpty());
    EXPECT_FALSE(split("  = value"));
    EXPECT_FALSE(split(" \t\r\n"));
    EXPECT_FALSE(KVGenericConfigFileParser::parseALine(nullptr, nullptr, key, value));
}

TEST(KVGenericConfigFileParserLines, FindTokenTakesTheFirstMatchingKeyAndUnquotes) {
    TempFolder dir;
    const std::string path = dir.file("job.ydc");
    ASSERT_TRUE(writeFile(path, "# head\r\ninputfileX = no\ninputFILE = \"/a b/c.kel\"\nInputFile = /second\n"));
    bool found = false;
    EXPECT_STREQ(KVGenericConfigFileParser::findTokenInConfigFile(path.c_str(), "InputFile", found).c_str(), "/a b/c.kel");
    EXPECT_TRUE(found);
    EXPECT_TRUE(KVGenericConfigFileParser::findTokenInConfigFile(path.c_str(), "Input", found).isEmpty());
    EXPECT_FALSE(found);
    found = true;
    EXPECT_TRUE(KVGenericConfigFileParser::findTokenInConfigFile(dir.file("none").c_str(), "InputFile", found).isEmpty());
    EXPECT_FALSE(found);
}

TEST(KVGenericConfigFileParserLines, ReplaceTokenRewritesMatchingLinesAndKeepsTheRest) {
    TempFolder dir;
    const std::string path = dir.file("job.ydc");
    ASSERT_TRUE(writeFile(path, "  NumThread=2\r\n\r\nKeep = me  \nnumthread : x\nNumThreads = 9\n\nTail"));
    bool found = false;
    EXPECT_TRUE(KVGenericConfigFileParser::replaceTokenInConfigFile(path.c_str(), "NUMTHREAD", "8", found));
    EXPECT_TRUE(found);
    std::string bytes;
    ASSERT_TRUE(readFile(path, bytes));
    // "numthread : x" has the key "numthread : x" for parseALine (no '='), so it stays.
    EXPECT_EQ(bytes, "NUMTHREAD = 8\r\n\r\nKeep = me  \nnumthread : x\nNumThreads = 9\n\nTail");
    EXPECT_TRUE(KVGenericConfigFileParser::replaceTokenInConfigFile(path.c_str(), "Absent", "1", found));
    EXPECT_FALSE(found);
    std::string again;
    ASSERT_TRUE(readFile(path, again));
    EXPECT_EQ(again, bytes);
    EXPECT_FALSE(KVGenericConfigFileParser::replaceTokenInConfigFile(dir.file("none").c_str(), "A", "1", found));
    EXPECT_FALSE(pathExists(dir.file("none")));
}

// ---- value converters ----

TEST(KVGenericConfigFileParserValues, StringsDropOnePairOfQuotesAndBoolWords) {
    const std::pair<const char*, const char*> strings[] = {{"\"a b\"", "a b"}, {"\"\"a\"\"", "\"a\""}, {"\"", ""},
                                                          {"\"\"", ""},         {"\"open", "open"},        {"close\"", "close\""},
                                                          {"plain", "plain"},   {nullptr, ""}};
    for (const auto& row : strings)
        EXPECT_STREQ(KVGenericConfigFileParser::paramToString(row.first).c_str(), row.second) << row.first;
    // paramToBoolOrDefault: 0, 1 or -1 for an unknown word, which paramToBool takes as true.
    const std::pair<const char*, int> words[] = {
        {"NO", 0},  {"0", 0},  {"fAlSe", 0}, {"#F", 0},  {"yes", 1},     {"1", 1},     {"TRUE", 1},
        {"#t", 1},  {"", -1},  {"maybe", -1}, {"No ", -1}, {"00", -1}, {"s = No", -1}, {"Yess", -1}, {"2", -1}};
    for (const auto& row : words) {
        EXPECT_EQ(KVGenericConfigFileParser::paramToBoolOrDefault(row.first), row.second) << row.first;
        EXPECT_EQ(KVGenericConfigFileParser::paramToBool(row.first), row.second != 0) << row.first;
    }
    EXPECT_TRUE(KVGenericConfigFileParser::paramToBool(nullptr));
}

TEST(KVGenericConfigFileParserValues, NumbersScanLikePercentFAndIntegersTruncate) {
    const std::pair<const char*, float> floats[] = {{"  25.5xyz", 25.5f}, {"-1e2", -100.0f}, {"abc", 0.0f}, {"", 0.0f}};
    for (const auto& row : floats) EXPECT_EQ(KVGenericConfigFileParser::paramToFloat(row.first), row.second) << row.first;
    // Integers go through a float on their way.
    const std::pair<const char*, int> ints[] = {{"2.9", 2},          {"-2.9", -2},         {"1e3", 1000},
                                                {"6.9 threads", 6},  {"16777217", 16777216}, {"1e30", INT_MAX},
                                                {"-inf", INT_MIN},   {"nan", 0},           {"x", 0}};
    for (const auto& row : ints) EXPECT_EQ(KVGenericConfigFileParser::paramToInt(row.first), row.second) << row.first;
}
