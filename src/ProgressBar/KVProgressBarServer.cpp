// KVProgressBarServer: the static progress bar and the coloured progress line with its dot animation.
#include "ProgressBar/KVProgressBarServer.h"

#include <cstring>

KVProgressBar KVProgressBarServer::s_progressBar;
KVString KVProgressBarServer::s_toolName;
int KVProgressBarServer::s_dotPosition = 0;

namespace {

constexpr int kMaxDots = 8;

void makeDots(char out[kMaxDots + 1], int count) {
    if (count < 0) count = 0;
    if (count > kMaxDots) count = kMaxDots;
    std::memset(out, '.', static_cast<std::size_t>(count));
    out[count] = '\0';
}

}  // namespace

bool KVProgressBarServer::getProgressInfo(float& fraction, char line[kLineSize]) {
    return formatProgress(s_progressBar, s_dotPosition, fraction, line);
}

bool KVProgressBarServer::formatProgress(KVProgressBar& bar, int& dotPosition, float& fraction,
                                         char line[kLineSize]) {
    // The file is gone (job ended or never started) or no task runs yet.
    if (!bar.updateFromProgressBarFile() || !bar.isStarted()) {
        dotPosition = 0;
        return false;
    }

    const KVString task = bar.getTaskTitle();
    const KVString step = bar.getStepTitle();
    std::memset(line, 0, kLineSize);

    if (bar.isStepActive() && bar.getStepTotal() > 0) {
        fraction = static_cast<float>(bar.getStepCount()) / static_cast<float>(bar.getStepTotal());
        kvSprintf_s(line, kLineSize, "\\CFF9923%s: \\CCCCCCC%s \\CFF9923     %.1f%%%c", task.c_str(), step.c_str(),
                    static_cast<double>(100.0f * fraction), '\0');
        dotPosition = 0;
        return true;
    }

    // Waiting animation: a bright run of dots sweeps across a row of dim ones, one place a call.
    if (dotPosition < 0 || dotPosition >= kDotPositions) dotPosition = 0;
    const int k = dotPosition;
    char first[kMaxDots + 1];
    char second[kMaxDots + 1];
    char third[kMaxDots + 1];
    if (k < 8) {
        makeDots(first, 0);
        makeDots(second, k);
        makeDots(third, 7 - k);
    } else {
        makeDots(first, k - 8);
        makeDots(second, 16 - k);
        makeDots(third, 0);
    }
    dotPosition = (k + 1) % kDotPositions;

    if (bar.isStepActive()) {
        kvSprintf_s(line, kLineSize, "\\CFF9923%s: \\CCCCCCC%s\\C222222%s\\CCCCCCC%s\\C222222%s%c", task.c_str(),
                    step.c_str(), first, second, third, '\0');
    } else {
        kvSprintf_s(line, kLineSize, "\\CFF9923%s\\C222222%s\\CCCCCCC%s\\C222222%s%c", task.c_str(), first, second,
                    third, '\0');
    }
    fraction = -1.0f;
    return true;
}
