// KVString: the library's one owned, NUL-terminated 8-bit string (paths, keys, log lines).
#pragma once

#include <cstddef>

// A null buffer is the empty string. Positions and lengths are signed 32-bit; "not found" is -1.
// Every search and no-case operation is bytewise ASCII; bytes 0x80 and up are plain bytes.
class KVString {
public:
    KVString() = default;
    KVString(const char* s);  // NOLINT: implicit on purpose, paths arrive as char*
    KVString(const KVString& other);
    KVString(KVString&& other) noexcept;
    ~KVString();

    KVString& operator=(const KVString& other);
    KVString& operator=(KVString&& other) noexcept;
    KVString& operator=(const char* s);

    // Raw buffer, null for the empty string.
    const char* getBuffer() const { return m_buffer; }
    char* getBuffer() { return m_buffer; }
    // Never null: "" for the empty string. Safe for printf("%s").
    const char* c_str() const { return m_buffer ? m_buffer : ""; }
    int length() const;
    bool isEmpty() const { return m_buffer == nullptr || m_buffer[0] == '\0'; }
    bool isNull() const { return m_buffer == nullptr; }
    char operator[](int i) const { return m_buffer[i]; }

    bool operator==(const KVString& other) const;  // byte equality, null == ""
    bool operator!=(const KVString& other) const { return !(*this == other); }
    KVString& operator+=(const KVString& other);
    KVString& operator+=(const char* s);
    KVString& operator+=(char c);
    KVString operator+(const KVString& other) const;

    // Building
    void create(int count, char c);
    void create(const char* begin, const char* end);
    KVString subString(int from, int to = -1) const;
    static KVString int2String(int n);
    KVString& toUpper();

    // Comparison and tests. n < 1 means no limit.
    static int cmp(const char* a, const char* b, int n = 0);
    static int cmpNoCase(const char* a, const char* b, int n = 0);
    bool startsWith(const KVString& s, bool noCase = false) const;
    bool endsWith(const KVString& s, bool noCase = false) const;
    bool isInPath(const KVString& folder) const;

    // Substring search; the restart matcher of findLast/findNext/findPrev is kept on purpose.
    int findFirst(const KVString& s, bool noCase = false) const;
    int findLast(const KVString& s, bool noCase = false) const;
    int findNext(const KVString& s, int from, bool noCase = false) const;
    int findPrev(const KVString& s, int from, bool noCase = false) const;
    bool findFirstTag(const KVString& open, const KVString& close, int& from, int& to, bool noCase = false) const;
    bool findLastTag(const KVString& open, const KVString& close, int& from, int& to, bool noCase = false) const;

    // Character-set search and editing.
    int findFirstCharOf(const KVString& set) const;
    int findLastCharOf(const KVString& set) const;
    int findNextCharOf(const KVString& set, int from) const;
    int findPrevCharOf(const KVString& set, int from) const;
    int findFirstCharNotOf(const KVString& set) const;
    int findLastCharNotOf(const KVString& set) const;
    int findNextCharNotOf(const KVString& set, int from) const;
    int findPrevCharNotOf(const KVString& set, int from) const;
    void removeCharsOf(const KVString& set);
    void removeCharsNotOf(const KVString& set);
    void replaceCharsOf(const KVString& set, char c);
    void replaceCharsNotOf(const KVString& set, char c);

    // Cutting and paths
    void cutTo(int n);  // drops the first n characters
    void makePathValid();
    const char* getValidFilePath() const;  // points into this string's buffer
    KVString getFileName() const;
    void fileNameAdvance();
    static const KVString& emptyString();

    // Formatting: print/format keep at most 511 characters.
    void print(const char* fmt, ...)
        __attribute__((format(printf, 2, 3)));
    static KVString format(const char* fmt, ...)
        __attribute__((format(printf, 1, 2)));
    void printShortCount(int n);
    void printTime(unsigned int seconds, bool flag);
    int convertToInt() const;

    int getMemoryUsed() const { return static_cast<int>(sizeof(*this)); }
    int getDynMemoryUsed() const;

private:
    // Replaces the content with a copy of text[0, n); text may point into this buffer.
    // n == 0 gives null, or an allocated "" when keepEmpty is set (the printing operations).
    void setText(const char* text, int n, bool keepEmpty);

    char* m_buffer = nullptr;
};

KVString operator+(const char* left, const KVString& right);

// printf into buf, at most size bytes including the NUL (truncating). Returns the number of
// characters stored before the NUL, or -1 (buf untouched) for a null buf or a size below 1.
int kvSprintf_s(char* buf, int size, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));
// Kept for old callers; deliberately leaves buf untouched.
void kvSprintf(char* buf, const char* fmt, ...);
