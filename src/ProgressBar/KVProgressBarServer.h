// KVProgressBarServer: the library's one progress bar and the progress line shown to the host script.
#pragma once

#include "KVString.h"
#include "ProgressBar/KVProgressBar.h"

class KVProgressBarServer {
public:
    // Room for a progress line, NUL included; the host receives the first kLineCopySize bytes.
    static constexpr int kLineSize = 256;
    static constexpr int kLineCopySize = 252;
    // The waiting animation's dot position runs over 0..kDotPositions-1.
    static constexpr int kDotPositions = 16;

    // The one progress bar of the library, built at load, destroyed at unload.
    static KVProgressBar& getProgressBar() { return s_progressBar; }
    static const KVString& getToolName() { return s_toolName; }
    static void setToolName(const KVString& name) { s_toolName = name; }

    // Reads the server's bar from its file and forms the line; false when no task runs.
    // The dot position carries over between calls.
    static bool getProgressInfo(float& fraction, char line[kLineSize]);
    static int getDotPosition() { return s_dotPosition; }

    // The same for any bar and dot position: reads `bar` from its file and fills `fraction`
    // (-1 when no fraction is known) and `line` (always NUL-terminated within kLineSize).
    static bool formatProgress(KVProgressBar& bar, int& dotPosition, float& fraction, char line[kLineSize]);

private:
    static KVProgressBar s_progressBar;
    static KVString s_toolName;
    static int s_dotPosition;
};
