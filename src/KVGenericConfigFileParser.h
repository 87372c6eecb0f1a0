// KVGenericConfigFileParser: the key/value text reader of job and preference files.
#pragma once

#include <memory>

#include "KVString.h"

// Receives the value text of a line (NUL-terminated, valid during the call) and the context
// handed to parseFile.
typedef void (*KVGenericConfigFileHandler)(const char* value, void* context);

// One registered key.
struct KVGenericConfigFileToken {
    char* m_name = nullptr;  // owned copy of the key text
    int m_nameLength = 0;
    KVGenericConfigFileHandler m_handler = nullptr;
    KVGenericConfigFileToken* m_next = nullptr;
};

// Line syntax read by parseFile:
//   - lines end at LF or CR; a run of CR/LF is one break, so blank lines vanish;
//   - a NUL byte ends the text (the file is read as one C string);
//   - leading and trailing blanks (space, tab) of a line are ignored;
//   - a line belongs to the first key, most recently registered first, that it begins with,
//     letters compared without regard to case; no separator is required after the key;
//   - then a run of ' ', '\t', ':' and '=' is skipped and the rest is the value; when only
//     separators follow, the line is consumed without calling the handler; a line that is
//     exactly the key calls the handler with "";
//   - lines no key accepts (comments, garbage, unknown keys) are skipped silently.
class KVGenericConfigFileParser {
public:
    KVGenericConfigFileParser() = default;
    KVGenericConfigFileParser(const KVGenericConfigFileParser& other);
    KVGenericConfigFileParser& operator=(const KVGenericConfigFileParser& other);
    ~KVGenericConfigFileParser();

    // Pushes the key at the head of the list: it will be tried before every earlier key.
    // A null or empty name or a null handler registers nothing.
    void addToken(const char* name, KVGenericConfigFileHandler handler);
    const KVGenericConfigFileToken* getFirstToken() const { return m_firstToken; }
    int getNumTokens() const;

    // Reads the whole file ("rb", one bulk read) and dispatches every line. False only when the
    // file cannot be opened or is empty. Time is linear in the file size.
    bool parseFile(const KVString& path, void* context) const;
    // The same for text in memory: [text, text + size), ending early at a NUL byte.
    void parseText(const char* text, long long size, void* context) const;

    // First NUL, LF or CR at or after text; null for a null text.
    static const char* findEndOfLine(const char* text);
    // First character after the current line's run of CR/LF; null at the end of the text or
    // for a null text.
    static const char* findNextLine(const char* text);
    // Splits [begin, end) at the first '=' into a key and a value, blanks around both cut.
    // A line without '=' is all key, with an empty value. False when the key is empty.
    static bool parseALine(const char* begin, const char* end, KVString& key, KVString& value);

    // Value of the first line (split by parseALine) whose key equals `key` without regard to
    // case, with one pair of surrounding quotes removed. Empty with found false when no line
    // matches or the file is empty or unreadable.
    static KVString findTokenInConfigFile(const KVString& path, const KVString& key, bool& found);
    // Rewrites every line whose key equals `key` (no case) as "key = newValue", keeping every
    // other byte of the file, and writes the file back ("wb"). False when the file cannot be
    // read or written back.
    static bool replaceTokenInConfigFile(const KVString& path, const KVString& key, const KVString& newValue,
                                         bool& found);

    // Value converters; a null value reads as "".
    // One pair of surrounding double quotes removed; a lone leading quote is dropped alone.
    static KVString paramToString(const char* value);
    // False for "No", "0", "False", "#f" (any case); true for anything else, "" included.
    static bool paramToBool(const char* value);
    // 0 for the false words, 1 for "Yes", "1", "True", "#t" (any case), -1 otherwise.
    static int paramToBoolOrDefault(const char* value);
    // One number as scanned by "%f"; 0 when the text does not start with one.
    static float paramToFloat(const char* value);
    // paramToFloat truncated toward zero (2.9 -> 2, 1e3 -> 1000); NaN gives 0 and values
    // beyond the int range stop at its ends.
    static int paramToInt(const char* value);

    // Whole regular file into `out` in one read, with a NUL after the last byte (the count
    // excludes it). False when it cannot be opened or is not a regular file. Only the first
    // kMaxFileBytes bytes are read.
    static bool readWholeFile(const KVString& path, std::unique_ptr<char[]>& out, long long& size);
    static const long long kMaxFileBytes = 0x7FFFFFF0LL;

private:
    void copyTokensFrom(const KVGenericConfigFileParser& other);
    void freeTokens();
    // Dispatches every line of a NUL-terminated text that this parser may write into.
    void parseBuffer(char* text, void* context) const;
    // Offers one line [begin, end) (no CR/LF inside) to the keys; *end is writable.
    void dispatchLine(char* begin, char* end, void* context) const;

    KVGenericConfigFileToken* m_firstToken = nullptr;
};
