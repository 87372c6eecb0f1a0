// KVGenericConfigFileParser: registered keys, line splitting and value converters.
#include "KVGenericConfigFileParser.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include <sys/stat.h>

namespace {

// ASCII upper-casing; bytes 0x80 and up stay as they are.
struct UpperTable {
    unsigned char map[256];
    UpperTable() {
        for (int i = 0; i < 256; ++i) map[i] = static_cast<unsigned char>(i >= 'a' && i <= 'z' ? i - 32 : i);
    }
};
const UpperTable s_upper;

inline unsigned char upperOf(char c) { return s_upper.map[static_cast<unsigned char>(c)]; }
inline bool isBlank(char c) { return c == ' ' || c == '\t'; }
inline bool isSeparator(char c) { return c == ' ' || c == '\t' || c == ':' || c == '='; }
inline bool isBreak(char c) { return c == '\n' || c == '\r'; }

bool equalsNoCase(const char* a, const char* b) {
    for (;; ++a, ++b) {
        if (upperOf(*a) != upperOf(*b)) return false;
        if (*a == '\0') return true;
    }
}

char* copyName(const char* name, int length) {
    char* copy = new char[static_cast<size_t>(length) + 1];
    std::memcpy(copy, name, static_cast<size_t>(length) + 1);
    return copy;
}

}  // namespace

// ---- token list ----

KVGenericConfigFileParser::KVGenericConfigFileParser(const KVGenericConfigFileParser& other) {
    copyTokensFrom(other);
}

KVGenericConfigFileParser& KVGenericConfigFileParser::operator=(const KVGenericConfigFileParser& other) {
    if (this != &other) {
        freeTokens();
        copyTokensFrom(other);
    }
    return *this;
}

KVGenericConfigFileParser::~KVGenericConfigFileParser() { freeTokens(); }

void KVGenericConfigFileParser::copyTokensFrom(const KVGenericConfigFileParser& other) {
    // Keep the other list's order: append behind the last copied token.
    KVGenericConfigFileToken** tail = &m_firstToken;
    for (const KVGenericConfigFileToken* t = other.m_firstToken; t != nullptr; t = t->m_next) {
        KVGenericConfigFileToken* copy = new KVGenericConfigFileToken;
        copy->m_name = copyName(t->m_name, t->m_nameLength);
        copy->m_nameLength = t->m_nameLength;
        copy->m_handler = t->m_handler;
        *tail = copy;
        tail = &copy->m_next;
    }
}

void KVGenericConfigFileParser::freeTokens() {
    while (m_firstToken != nullptr) {
        KVGenericConfigFileToken* next = m_firstToken->m_next;
        delete[] m_firstToken->m_name;
        delete m_firstToken;
        m_firstToken = next;
    }
}

void KVGenericConfigFileParser::addToken(const char* name, KVGenericConfigFileHandler handler) {
    if (name == nullptr || name[0] == '\0' || handler == nullptr) return;
    KVGenericConfigFileToken* token = new KVGenericConfigFileToken;
    token->m_nameLength = static_cast<int>(std::strlen(name));
    token->m_name = copyName(name, token->m_nameLength);
    token->m_handler = handler;
    token->m_next = m_firstToken;
    m_firstToken = token;
}

int KVGenericConfigFileParser::getNumTokens() const {
    int n = 0;
    for (const KVGenericConfigFileToken* t = m_firstToken; t != nullptr; t = t->m_next) ++n;
    return n;
}

// ---- reading ----

bool KVGenericConfigFileParser::readWholeFile(const KVString& path, std::unique_ptr<char[]>& out,
                                              long long& size) {
    size = 0;
    out.reset();
    const char* p = path.getValidFilePath();
    if (p == nullptr || p[0] == '\0') return false;
    FILE* f = std::fopen(p, "rb");
    if (f == nullptr) return false;
    // Only a regular file's size is a real byte count: a folder or a device reports sizes
    // that would size the buffer for nothing.
    struct stat st;
    if (fstat(fileno(f), &st) != 0 || !S_ISREG(st.st_mode) || st.st_size < 0) {
        std::fclose(f);
        return false;
    }
    long long length = static_cast<long long>(st.st_size);
    if (length > kMaxFileBytes) length = kMaxFileBytes;
    out.reset(new char[static_cast<size_t>(length) + 1]);
    const size_t got = length > 0 ? std::fread(out.get(), 1, static_cast<size_t>(length), f) : 0;
    std::fclose(f);
    // A file that shrank while being read is taken as far as it was read.
    size = static_cast<long long>(got);
    out[got] = '\0';
    return true;
}

bool KVGenericConfigFileParser::parseFile(const KVString& path, void* context) const {
    std::unique_ptr<char[]> text;
    long long size = 0;
    if (!readWholeFile(path, text, size) || size == 0) return false;
    parseBuffer(text.get(), context);
    return true;
}

void KVGenericConfigFileParser::parseText(const char* text, long long size, void* context) const {
    if (text == nullptr || size <= 0) return;
    std::unique_ptr<char[]> copy(new char[static_cast<size_t>(size) + 1]);
    std::memcpy(copy.get(), text, static_cast<size_t>(size));
    copy[static_cast<size_t>(size)] = '\0';
    parseBuffer(copy.get(), context);
}

void KVGenericConfigFileParser::parseBuffer(char* text, void* context) const {
    char* line = text;
    while (*line != '\0') {
        char* end = line + std::strcspn(line, "\r\n");
        dispatchLine(line, end, context);
        line = end;
        while (isBreak(*line)) ++line;
    }
}

void KVGenericConfigFileParser::dispatchLine(char* begin, char* end, void* context) const {
    while (begin < end && isBlank(*begin)) ++begin;
    while (end > begin && isBlank(end[-1])) --end;
    if (begin == end) return;
    const long long lineLength = end - begin;
    for (const KVGenericConfigFileToken* t = m_firstToken; t != nullptr; t = t->m_next) {
        if (t->m_nameLength > lineLength) continue;
        int i = 0;
        while (i < t->m_nameLength && upperOf(begin[i]) == upperOf(t->m_name[i])) ++i;
        if (i < t->m_nameLength) continue;
        char* value = begin + t->m_nameLength;
        if (value == end) {
            t->m_handler("", context);
            return;
        }
        while (value < end && isSeparator(*value)) ++value;
        // Only separators behind the key: an empty value changes nothing.
        if (value == end) return;
        // The value is handed over in place, ended for the call by a NUL over its first
        // trailing byte (a blank, a break or the text's own NUL).
        const char saved = *end;
        *end = '\0';
        t->m_handler(value, context);
        *end = saved;
        return;
    }
}

// ---- line helpers ----

const char* KVGenericConfigFileParser::findEndOfLine(const char* text) {
    if (text == nullptr) return nullptr;
    while (*text != '\0' && !isBreak(*text)) ++text;
    return text;
}

const char* KVGenericConfigFileParser::findNextLine(const char* text) {
    const char* p = findEndOfLine(text);
    if (p == nullptr) return nullptr;
    while (isBreak(*p)) ++p;
    return *p == '\0' ? nullptr : p;
}

bool KVGenericConfigFileParser::parseALine(const char* begin, const char* end, KVString& key, KVString& value) {
    key = KVString();
    value = KVString();
    if (begin == nullptr || end == nullptr || end <= begin) return false;
    while (begin < end && isBlank(*begin)) ++begin;
    while (end > begin && (isBlank(end[-1]) || isBreak(end[-1]))) --end;
    const char* equal = static_cast<const char*>(std::memchr(begin, '=', static_cast<size_t>(end - begin)));
    const char* keyEnd = equal != nullptr ? equal : end;
    while (keyEnd > begin && isBlank(keyEnd[-1])) --keyEnd;
    if (keyEnd == begin) return false;
    key.create(begin, keyEnd);
    if (equal != nullptr) {
        const char* v = equal + 1;
        while (v < end && isBlank(*v)) ++v;
        value.create(v, end);
    }
    return true;
}

namespace {

// Calls `onLine(begin, end, breakEnd)` for each line of [text, text + size): [begin, end) is the
// line without its break, [end, breakEnd) its run of CR/LF.
template <typename F>
void forEachLine(const char* text, long long size, F onLine) {
    const char* const stop = text + size;
    const char* line = text;
    while (line < stop) {
        const char* end = line;
        while (end < stop && !isBreak(*end)) ++end;
        const char* next = end;
        while (next < stop && isBreak(*next)) ++next;
        onLine(line, end, next);
        line = next;
    }
}

bool lineHasKey(const char* begin, const char* end, const char* wanted, KVString& key, KVString& value) {
    // A NUL inside a line would hide its tail from the comparison; such a line never matches.
    if (std::memchr(begin, '\0', static_cast<size_t>(end - begin)) != nullptr) return false;
    return KVGenericConfigFileParser::parseALine(begin, end, key, value) && equalsNoCase(key.c_str(), wanted);
}

}  // namespace

KVString KVGenericConfigFileParser::findTokenInConfigFile(const KVString& path, const KVString& key, bool& found) {
    found = false;
    std::unique_ptr<char[]> text;
    long long size = 0;
    if (!readWholeFile(path, text, size) || size == 0) return KVString();
    // The file is a C string to this reader: it ends at its first NUL.
    size = static_cast<long long>(std::strlen(text.get()));
    KVString result;
    KVString lineKey, lineValue;
    forEachLine(text.get(), size, [&](const char* b, const char* e, const char*) {
        if (found) return;
        if (lineHasKey(b, e, key.c_str(), lineKey, lineValue)) {
            found = true;
            result = paramToString(lineValue.c_str());
        }
    });
    return result;
}

bool KVGenericConfigFileParser::replaceTokenInConfigFile(const KVString& path, const KVString& key,
                                                         const KVString& newValue, bool& found) {
    found = false;
    std::unique_ptr<char[]> text;
    long long size = 0;
    if (!readWholeFile(path, text, size) || size == 0) return false;
    std::string out;
    out.reserve(static_cast<size_t>(size) + 64);
    KVString lineKey, lineValue;
    forEachLine(text.get(), size, [&](const char* b, const char* e, const char* next) {
        if (lineHasKey(b, e, key.c_str(), lineKey, lineValue)) {
            found = true;
            out.append(key.c_str());
            out.append(" = ");
            out.append(newValue.c_str());
        } else {
            out.append(b, static_cast<size_t>(e - b));
        }
        out.append(e, static_cast<size_t>(next - e));
    });
    const char* p = path.getValidFilePath();
    FILE* f = std::fopen(p, "wb");
    if (f == nullptr) return false;
    const bool written = std::fwrite(out.data(), 1, out.size(), f) == out.size();
    return std::fclose(f) == 0 && written;
}

// ---- value converters ----

KVString KVGenericConfigFileParser::paramToString(const char* value) {
    if (value == nullptr || value[0] == '\0') return KVString();
    const char* begin = value;
    const char* end = value + std::strlen(value);
    if (*begin == '"') {
        ++begin;
        if (end > begin && end[-1] == '"') --end;
    }
    KVString s;
    s.create(begin, end);
    return s;
}

bool KVGenericConfigFileParser::paramToBool(const char* value) { return paramToBoolOrDefault(value) != 0; }

int KVGenericConfigFileParser::paramToBoolOrDefault(const char* value) {
    const char* v = value != nullptr ? value : "";
    if (equalsNoCase(v, "No") || equalsNoCase(v, "0") || equalsNoCase(v, "False") || equalsNoCase(v, "#f"))
        return 0;
    if (equalsNoCase(v, "Yes") || equalsNoCase(v, "1") || equalsNoCase(v, "True") || equalsNoCase(v, "#t"))
        return 1;
    return -1;
}

float KVGenericConfigFileParser::paramToFloat(const char* value) {
    if (value == nullptr) return 0.0f;
    // strtof reads what "%f" scans (leading white space, sign, decimal, exponent, inf, nan)
    // without first measuring the whole text.
    char* end = nullptr;
    const float f = std::strtof(value, &end);
    return end == value ? 0.0f : f;
}

int KVGenericConfigFileParser::paramToInt(const char* value) {
    const float f = paramToFloat(value);
    if (std::isnan(f)) return 0;
    if (f >= 2147483648.0f) return std::numeric_limits<int>::max();
    if (f <= -2147483648.0f) return std::numeric_limits<int>::min();
    return static_cast<int>(f);
}
