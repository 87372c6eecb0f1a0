// ProgressDisplay: host colour markup turned into a live terminal line or plain log lines.
#include "ProgressDisplay.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

constexpr int kBarCells = 24;
constexpr const char* kReset = "\033[0m";
constexpr const char* kClearToEnd = "\033[K";

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// A colour switch starts at `at`: the three channel bytes, or false.
bool colourAt(const std::string& s, std::size_t at, int rgb[3]) {
    if (at + 8 > s.size() || s[at] != '\\' || s[at + 1] != 'C') return false;
    for (int i = 0; i < 3; ++i) {
        const int hi = hexDigit(s[at + 2 + 2 * i]);
        const int lo = hexDigit(s[at + 3 + 2 * i]);
        if (hi < 0 || lo < 0) return false;
        rgb[i] = hi * 16 + lo;
    }
    return true;
}

std::string escape(const int rgb[3]) {
    return "\033[38;2;" + std::to_string(rgb[0]) + ";" + std::to_string(rgb[1]) + ";" + std::to_string(rgb[2]) + "m";
}

bool isContinuationByte(char c) { return (static_cast<unsigned char>(c) & 0xc0) == 0x80; }

}  // namespace

ProgressDisplay::ProgressDisplay(FILE* out, bool terminal, int width)
    : m_out(out), m_terminal(terminal), m_width(std::max(20, width)) {}

ProgressDisplay ProgressDisplay::forStream(FILE* out) {
    const int fd = fileno(out);
    const bool terminal = fd >= 0 && isatty(fd) == 1;
    int width = 80;
    struct winsize ws {};
    if (terminal && ioctl(fd, TIOCGWINSZ, &ws) == 0 && ws.ws_col > 0) width = ws.ws_col;
    return ProgressDisplay(out, terminal, width);
}

std::string ProgressDisplay::toTerminal(const std::string& markup, std::size_t maxColumns) {
    std::string out;
    std::size_t columns = 0;
    for (std::size_t i = 0; i < markup.size();) {
        int rgb[3];
        if (colourAt(markup, i, rgb)) {
            out += escape(rgb);
            i += 8;
            continue;
        }
        const char c = markup[i];
        if (c == '\0') break;
        if (!isContinuationByte(c)) {
            if (columns == maxColumns) break;
            ++columns;
        }
        // Control characters would move the cursor and break the in-place line.
        out += (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) ? ' ' : c;
        ++i;
    }
    return out + kReset;
}

std::string ProgressDisplay::toPlain(const std::string& markup) {
    std::string text;
    for (std::size_t i = 0; i < markup.size();) {
        int rgb[3];
        if (colourAt(markup, i, rgb)) {
            i += 8;
            continue;
        }
        if (markup[i] == '\0') break;
        text += static_cast<unsigned char>(markup[i]) < 0x20 ? ' ' : markup[i];
        ++i;
    }
    // The dot animation is a trailing run of dots; in a log it is only noise.
    std::size_t end = text.size();
    while (end > 0 && (text[end - 1] == '.' || text[end - 1] == ' ')) --end;
    text.resize(end);
    std::string folded;
    for (char c : text) {
        if (c == ' ' && (folded.empty() || folded.back() == ' ')) continue;
        folded += c;
    }
    return folded;
}

std::string ProgressDisplay::bar(float fraction, int width) {
    if (!(fraction >= 0.0f)) fraction = 0.0f;
    fraction = std::min(1.0f, fraction);
    const int filled = static_cast<int>(std::lround(fraction * static_cast<float>(width)));
    std::string out = "\033[38;2;255;153;35m";
    for (int i = 0; i < filled; ++i) out += "\xe2\x96\x88";  // full block
    out += "\033[38;2;80;80;80m";
    for (int i = filled; i < width; ++i) out += "\xe2\x96\x91";  // light shade
    return out + kReset;
}

std::string ProgressDisplay::render(float fraction, const std::string& markup) const {
    std::string line = "\r";
    int used = 0;
    if (fraction >= 0.0f) {
        line += bar(fraction, kBarCells) + " ";
        used = kBarCells + 1;
    } else {
        line += "  ";
        used = 2;
    }
    // One column short of the width: a character in the last column makes some terminals wrap.
    const int room = std::max(0, m_width - used - 1);
    return line + toTerminal(markup, static_cast<std::size_t>(room)) + kClearToEnd;
}

void ProgressDisplay::update(float fraction, const std::string& markup) {
    if (m_terminal) {
        const std::string line = render(fraction, markup);
        // Polls come faster than the record changes: redraw only what differs.
        if (m_live && line == m_lastKey) return;
        m_lastKey = line;
        std::fputs(line.c_str(), m_out);
        std::fflush(m_out);
        m_live = true;
        return;
    }
    const std::string plain = toPlain(markup);
    std::string key = plain;
    if (fraction >= 0.0f) {
        // Keep the title, drop the number, count tenths.
        const std::size_t lastBlank = plain.find_last_of(' ');
        key = (lastBlank == std::string::npos ? plain : plain.substr(0, lastBlank)) + "#" +
              std::to_string(static_cast<int>(std::floor(std::min(1.0f, fraction) * 10.0f)));
    }
    if (key == m_lastKey) return;
    m_lastKey = key;
    std::fprintf(m_out, "%s\n", plain.c_str());
    std::fflush(m_out);
}

void ProgressDisplay::message(const std::string& text) {
    if (m_live) {
        std::fprintf(m_out, "\r%s", kClearToEnd);
        m_live = false;
    }
    std::fprintf(m_out, "%s\n", text.c_str());
    std::fflush(m_out);
}

void ProgressDisplay::finish() {
    if (m_live) {
        // The live line has served; the summary follows on a clean line.
        std::fprintf(m_out, "\r%s", kClearToEnd);
        std::fflush(m_out);
        m_live = false;
    }
    m_lastKey.clear();
}
