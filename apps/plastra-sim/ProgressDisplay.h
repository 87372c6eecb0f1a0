// ProgressDisplay: the job's progress line on a terminal, or as plain lines in a log.
#pragma once

#include <cstdio>
#include <string>

// Lines come as the progress command writes them: text with the host's colour markup, a
// backslash, 'C' and six hexadecimal digits (red, green, blue) switching the colour.
class ProgressDisplay {
public:
    // `terminal`: one line redrawn in place, in colour, cut to `width` columns. Otherwise a plain
    // line each time the task or step changes or the percentage enters a new tenth.
    ProgressDisplay(FILE* out, bool terminal, int width);
    // For a stream: a terminal when it is one, its width from the terminal.
    static ProgressDisplay forStream(FILE* out);

    void update(float fraction, const std::string& markup);
    // A message of its own line; a live line is cleared first and drawn again at the next update.
    void message(const std::string& text);
    // Clears the live line, if any.
    void finish();

    bool isTerminal() const { return m_terminal; }

    // The markup as terminal colours (24-bit escapes), cut after `maxColumns` visible characters
    // (counted in UTF-8 characters), colours reset at the end.
    static std::string toTerminal(const std::string& markup, std::size_t maxColumns);
    // The markup removed, runs of blanks and the dot animation folded away.
    static std::string toPlain(const std::string& markup);
    // A bar of `width` cells for a fraction (clamped to 0..1), in terminal colours.
    static std::string bar(float fraction, int width);
    // What a terminal shows for one update, from the start of the line.
    std::string render(float fraction, const std::string& markup) const;

private:
    FILE* m_out;
    bool m_terminal;
    int m_width;
    bool m_live = false;
    std::string m_lastKey;
};
