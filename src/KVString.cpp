// KVString: owned NUL-terminated 8-bit string with the search, path and formatting operations.
#include "KVString.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

// The one upper-case table: 'a'..'z' to 'A'..'Z', every other byte to itself.
struct UpperTable {
    unsigned char map[256];
    constexpr UpperTable() : map() {
        for (int i = 0; i < 256; ++i)
            map[i] = static_cast<unsigned char>(i >= 'a' && i <= 'z' ? i - 'a' + 'A' : i);
    }
};
constexpr UpperTable kUpper;

inline unsigned char upper(char c) { return kUpper.map[static_cast<unsigned char>(c)]; }
inline unsigned char fold(char c, bool noCase) {
    return noCase ? upper(c) : static_cast<unsigned char>(c);
}

// Membership table of a character set; an empty set matches nothing.
struct CharSet {
    bool in[256] = {};
    explicit CharSet(const KVString& set) {
        for (const char* p = set.c_str(); *p; ++p) in[static_cast<unsigned char>(*p)] = true;
    }
    bool has(char c) const { return in[static_cast<unsigned char>(c)]; }
};

int lengthOf(const char* s) { return s ? static_cast<int>(std::strlen(s)) : 0; }

// Shared comparison; the null rules come first, then signed-char order (through the table for noCase).
int compare(const char* a, const char* b, int n, bool noCase) {
    if (a == nullptr) return (b == nullptr || b[0] == '\0') ? 0 : -1;
    if (b == nullptr) return a[0] != '\0' ? 1 : 0;
    for (int i = 0; n < 1 || i < n; ++i) {
        const signed char ca = static_cast<signed char>(fold(a[i], noCase));
        const signed char cb = static_cast<signed char>(fold(b[i], noCase));
        if (ca != cb) return ca < cb ? -1 : 1;
        if (ca == '\0') return 0;
    }
    return 0;
}

// Restart matcher, forwards over text[from, len): on a mismatch the pattern goes back to its first
// character, or to its second when the text character equals the first. The text never backtracks.
int restartMatchForward(const char* text, int from, int len, const char* pat, int plen, bool noCase) {
    const unsigned char first = fold(pat[0], noCase);
    int j = 0;
    for (int i = from; i < len; ++i) {
        const unsigned char t = fold(text[i], noCase);
        if (t == fold(pat[j], noCase)) {
            if (++j == plen) return i - plen + 1;
        } else {
            j = (t == first) ? 1 : 0;
        }
    }
    return -1;
}

// The same matcher run backwards from text[last] down to text[0], the pattern from its end.
int restartMatchBackward(const char* text, int last, const char* pat, int plen, bool noCase) {
    const unsigned char lastChar = fold(pat[plen - 1], noCase);
    int j = plen - 1;
    for (int i = last; i >= 0; --i) {
        const unsigned char t = fold(text[i], noCase);
        if (t == fold(pat[j], noCase)) {
            if (j == 0) return i;
            --j;
        } else {
            j = (t == lastChar) ? plen - 2 : plen - 1;
        }
    }
    return -1;
}

// printf into a 512-byte buffer; returns the number of characters kept (at most 511).
int format512(char (&buf)[512], const char* fmt, va_list args) {
    buf[0] = '\0';
    if (fmt == nullptr) return 0;
    const int n = std::vsnprintf(buf, sizeof buf, fmt, args);
    if (n < 0) {
        buf[0] = '\0';
        return 0;
    }
    return n < static_cast<int>(sizeof buf) ? n : static_cast<int>(sizeof buf) - 1;
}

}  // namespace

// ---- construction, copy, assignment ----

void KVString::setText(const char* text, int n, bool keepEmpty) {
    char* fresh = nullptr;
    if (n > 0 || keepEmpty) {
        if (n < 0) n = 0;
        fresh = new char[static_cast<size_t>(n) + 1];
        if (n > 0) std::memcpy(fresh, text, static_cast<size_t>(n));
        fresh[n] = '\0';
    }
    delete[] m_buffer;  // after the copy: text may lie in the old buffer
    m_buffer = fresh;
}

KVString::KVString(const char* s) { setText(s, lengthOf(s), false); }

KVString::KVString(const KVString& other) { setText(other.m_buffer, other.length(), false); }

KVString::KVString(KVString&& other) noexcept : m_buffer(other.m_buffer) { other.m_buffer = nullptr; }

KVString::~KVString() { delete[] m_buffer; }

KVString& KVString::operator=(const KVString& other) {
    if (this != &other) setText(other.m_buffer, other.length(), false);
    return *this;
}

KVString& KVString::operator=(KVString&& other) noexcept {
    if (this != &other) {
        delete[] m_buffer;
        m_buffer = other.m_buffer;
        other.m_buffer = nullptr;
    }
    return *this;
}

KVString& KVString::operator=(const char* s) {
    setText(s, lengthOf(s), false);
    return *this;
}

int KVString::length() const { return lengthOf(m_buffer); }

bool KVString::operator==(const KVString& other) const {
    return std::strcmp(c_str(), other.c_str()) == 0;
}

// ---- concatenation ----

KVString& KVString::operator+=(const char* s) {
    const int ls = lengthOf(s);
    if (ls == 0) return *this;
    const int l = length();
    char* fresh = new char[static_cast<size_t>(l) + static_cast<size_t>(ls) + 1];
    if (l > 0) std::memcpy(fresh, m_buffer, static_cast<size_t>(l));
    std::memcpy(fresh + l, s, static_cast<size_t>(ls) + 1);
    delete[] m_buffer;  // s may have pointed into it; it is copied already
    m_buffer = fresh;
    return *this;
}

KVString& KVString::operator+=(const KVString& other) { return *this += other.m_buffer; }

KVString& KVString::operator+=(char c) {
    const char s[2] = {c, '\0'};
    return *this += s;
}

// Empty + empty stays null; one empty side gives a copy of the other.
KVString KVString::operator+(const KVString& other) const {
    KVString r(*this);
    r += other;
    return r;
}

KVString operator+(const char* left, const KVString& right) {
    KVString r(left);
    r += right;
    return r;
}

// ---- building ----

void KVString::create(int count, char c) {
    delete[] m_buffer;
    m_buffer = nullptr;
    if (count <= 0) return;
    m_buffer = new char[static_cast<size_t>(count) + 1];
    std::memset(m_buffer, c, static_cast<size_t>(count));
    m_buffer[count] = '\0';
}

void KVString::create(const char* begin, const char* end) {
    const bool some = begin != nullptr && end > begin;
    setText(begin, some ? static_cast<int>(end - begin) : 0, false);
}

KVString KVString::subString(int from, int to) const {
    KVString r;
    const int len = length();
    if (from < 0) from = 0;
    if (from >= len) return r;
    if (to == -1 || to > len || to < from) to = len;
    r.setText(m_buffer + from, to - from, false);
    return r;
}

KVString KVString::int2String(int n) {
    KVString r;
    r.print("%d", n);
    return r;
}

KVString& KVString::toUpper() {
    if (m_buffer)
        for (char* p = m_buffer; *p; ++p) *p = static_cast<char>(upper(*p));
    return *this;
}

// ---- comparison and tests ----

int KVString::cmp(const char* a, const char* b, int n) { return compare(a, b, n, false); }

int KVString::cmpNoCase(const char* a, const char* b, int n) { return compare(a, b, n, true); }

bool KVString::startsWith(const KVString& s, bool noCase) const {
    const int ls = s.length();
    if (length() < ls) return false;
    if (ls == 0) return true;
    return compare(m_buffer, s.m_buffer, ls, noCase) == 0;
}

bool KVString::endsWith(const KVString& s, bool noCase) const {
    const int len = length();
    const int ls = s.length();
    if (len < ls) return false;
    if (ls == 0) return true;
    return compare(m_buffer + len - ls, s.m_buffer, ls, noCase) == 0;
}

bool KVString::isInPath(const KVString& folder) const {
    const int lf = folder.length();
    if (lf == 0) return true;
    if (length() < lf) return false;
    for (int i = 0; i < lf; ++i) {
        unsigned char a = upper(m_buffer[i]);
        unsigned char b = upper(folder.m_buffer[i]);
        if (a == '\\') a = '/';
        if (b == '\\') b = '/';
        if (a != b) return false;
    }
    return true;
}

// ---- substring search ----

int KVString::findFirst(const KVString& s, bool noCase) const {
    const int len = length();
    const int ls = s.length();
    if (ls == 0 || len < ls) return -1;
    for (int i = 0; i <= len - ls; ++i) {
        int j = 0;
        while (j < ls && fold(m_buffer[i + j], noCase) == fold(s.m_buffer[j], noCase)) ++j;
        if (j == ls) return i;
    }
    return -1;
}

int KVString::findLast(const KVString& s, bool noCase) const {
    const int len = length();
    const int ls = s.length();
    if (ls == 0 || len < ls) return -1;
    return restartMatchBackward(m_buffer, len - 1, s.m_buffer, ls, noCase);
}

int KVString::findNext(const KVString& s, int from, bool noCase) const {
    const int len = length();
    const int ls = s.length();
    if (from < 0) from = 0;
    if (ls == 0 || from > len - ls) return -1;
    return restartMatchForward(m_buffer, from, len, s.m_buffer, ls, noCase);
}

int KVString::findPrev(const KVString& s, int from, bool noCase) const {
    const int len = length();
    const int ls = s.length();
    if (ls == 0 || from < 1 || from > len || len < ls) return -1;
    // The match must start before from; its last character may lie at from - 1 + ls - 1.
    const int last = (from - 1 > len - ls) ? len - 1 : from - 1 + ls - 1;
    return restartMatchBackward(m_buffer, last, s.m_buffer, ls, noCase);
}

bool KVString::findFirstTag(const KVString& open, const KVString& close, int& from, int& to,
                            bool noCase) const {
    const int len = length();
    if (len == 0 || open.isEmpty() || close.isEmpty()) return false;
    if (from < 0) from = 0;
    if (from >= len) return false;
    if (to > len) to = len;
    if (to <= from) return false;
    const int openAt = findNext(open, from, noCase);
    if (openAt < 0) return false;
    from = openAt + open.length();
    if (from >= to) return false;
    const int closeAt = findNext(close, from, noCase);
    if (closeAt < 0) return false;
    if (closeAt + close.length() > to) return false;
    to = closeAt;
    return true;
}

bool KVString::findLastTag(const KVString&, const KVString&, int&, int&, bool) const { return false; }

// ---- character sets ----

int KVString::findFirstCharOf(const KVString& set) const { return findNextCharOf(set, 0); }

int KVString::findLastCharOf(const KVString& set) const { return findPrevCharOf(set, length()); }

int KVString::findNextCharOf(const KVString& set, int from) const {
    const int len = length();
    if (from >= len) return -1;
    if (from < 0) from = 0;
    const CharSet cs(set);
    for (int i = from; i < len; ++i)
        if (cs.has(m_buffer[i])) return i;
    return -1;
}

int KVString::findPrevCharOf(const KVString& set, int from) const {
    if (from < 1 || from > length()) return -1;
    const CharSet cs(set);
    for (int i = from - 1; i >= 0; --i)
        if (cs.has(m_buffer[i])) return i;
    return -1;
}

int KVString::findFirstCharNotOf(const KVString& set) const { return findNextCharNotOf(set, 0); }

int KVString::findLastCharNotOf(const KVString& set) const { return findPrevCharNotOf(set, length()); }

int KVString::findNextCharNotOf(const KVString& set, int from) const {
    const int len = length();
    if (from >= len) return -1;
    if (from < 0) from = 0;
    const CharSet cs(set);
    for (int i = from; i < len; ++i)
        if (!cs.has(m_buffer[i])) return i;
    return -1;
}

int KVString::findPrevCharNotOf(const KVString& set, int from) const {
    if (from < 1 || from > length()) return -1;
    const CharSet cs(set);
    for (int i = from - 1; i >= 0; --i)
        if (!cs.has(m_buffer[i])) return i;
    return -1;
}

// In place; a string emptied this way keeps its allocated "".
void KVString::removeCharsOf(const KVString& set) {
    if (m_buffer == nullptr) return;
    const CharSet cs(set);
    char* out = m_buffer;
    for (const char* p = m_buffer; *p; ++p)
        if (!cs.has(*p)) *out++ = *p;
    *out = '\0';
}

void KVString::removeCharsNotOf(const KVString& set) {
    if (m_buffer == nullptr) return;
    const CharSet cs(set);
    char* out = m_buffer;
    for (const char* p = m_buffer; *p; ++p)
        if (cs.has(*p)) *out++ = *p;
    *out = '\0';
}

void KVString::replaceCharsOf(const KVString& set, char c) {
    if (m_buffer == nullptr) return;
    const CharSet cs(set);
    for (char* p = m_buffer; *p; ++p)
        if (cs.has(*p)) *p = c;
}

void KVString::replaceCharsNotOf(const KVString& set, char c) {
    if (m_buffer == nullptr) return;
    const CharSet cs(set);
    for (char* p = m_buffer; *p; ++p)
        if (!cs.has(*p)) *p = c;
}

// ---- cutting and paths ----

void KVString::cutTo(int n) {
    if (n <= 0) return;
    const int len = length();
    if (len <= n) {
        setText(nullptr, 0, false);
        return;
    }
    setText(m_buffer + n, len - n, false);
}

void KVString::makePathValid() {
    if (cmp(m_buffer, "!:", 2) == 0)
        cutTo(2);
    else if (cmpNoCase(m_buffer, "file:", 5) == 0)
        cutTo(5);
    const int len = length();
    if (len > 0 && (m_buffer[len - 1] == '/' || m_buffer[len - 1] == '\\'))
        setText(m_buffer, len - 1, false);
}

const char* KVString::getValidFilePath() const {
    if (m_buffer == nullptr) return nullptr;
    const char* p = m_buffer;
    if (const char* colon = std::strchr(p, ':')) p = colon + 1;
    if (const char* slash = std::strchr(p, '/')) p = slash;
    return p;
}

KVString KVString::getFileName() const {
    const int len = length();
    int end = len;
    int start = 0;
    for (int i = len - 1; i >= 0; --i) {
        const char c = m_buffer[i];
        if (c == '/' || c == '\\') {
            start = i + 1;
            break;
        }
        if (c == '.' && end == len) end = i;
    }
    KVString r;
    r.setText(m_buffer + start, end - start, false);
    return r;
}

void KVString::fileNameAdvance() {
    const char* text = c_str();
    const int len = length();
    // The number ends at the last '.', if that dot belongs to the last path component.
    int end = len;
    for (int i = len - 1; i >= 0 && text[i] != '/' && text[i] != '\\'; --i) {
        if (text[i] == '.') {
            end = i;
            break;
        }
    }
    int i = end - 1;
    while (i >= 0 && text[i] == '9') --i;
    if (i >= 0 && text[i] >= '0' && text[i] <= '8') {
        ++m_buffer[i];
        std::memset(m_buffer + i + 1, '0', static_cast<size_t>(end - i - 1));
        return;
    }
    // No digit to carry into: the 9s become 0s and a "1" goes in front of them.
    const int at = i + 1;
    char* fresh = new char[static_cast<size_t>(len) + 2];
    std::memcpy(fresh, text, static_cast<size_t>(at));
    fresh[at] = '1';
    std::memset(fresh + at + 1, '0', static_cast<size_t>(end - at));
    std::memcpy(fresh + end + 1, text + end, static_cast<size_t>(len - end) + 1);
    delete[] m_buffer;
    m_buffer = fresh;
}

const KVString& KVString::emptyString() {
    static const KVString s_empty;
    return s_empty;
}

// ---- formatting ----

void KVString::print(const char* fmt, ...) {
    char buf[512];
    va_list args;
    va_start(args, fmt);
    const int n = format512(buf, fmt, args);
    va_end(args);
    setText(buf, n, true);
}

KVString KVString::format(const char* fmt, ...) {
    char buf[512];
    va_list args;
    va_start(args, fmt);
    const int n = format512(buf, fmt, args);
    va_end(args);
    KVString r;
    r.setText(buf, n, true);
    return r;
}

void KVString::printShortCount(int n) {
    if (n >= 1000000) {
        print("%d.%dm", n / 1000000, (n % 1000000) / 100000);
        return;
    }
    const int r = n % 1000000;
    if (r >= 1000)
        print("%d.%dk", r / 1000, (r % 1000) / 100);
    else
        print("%d", r % 1000);
}

void KVString::printTime(unsigned int, bool) { setText("", 0, true); }

int KVString::convertToInt() const {
    const char* p = c_str();
    bool negative = false;
    if (*p == '+' || *p == '-') negative = (*p++ == '-');
    unsigned int value = 0;  // unsigned: overflow wraps instead of being undefined
    for (; *p >= '0' && *p <= '9'; ++p) value = value * 10u + static_cast<unsigned int>(*p - '0');
    if (negative) value = 0u - value;
    return static_cast<int>(value);
}

int KVString::getDynMemoryUsed() const { return m_buffer ? length() + 1 : 0; }

// ---- free formatting functions ----

int kvSprintf_s(char* buf, int size, const char* fmt, ...) {
    if (buf == nullptr || size < 1) return -1;
    buf[0] = '\0';
    if (fmt == nullptr) return 0;
    va_list args;
    va_start(args, fmt);
    const int n = std::vsnprintf(buf, static_cast<size_t>(size), fmt, args);
    va_end(args);
    if (n < 0) {
        buf[0] = '\0';
        return 0;
    }
    return n < size ? n : size - 1;
}

void kvSprintf(char*, const char*, ...) {}
