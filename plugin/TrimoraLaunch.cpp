// Launch and progress commands.
#include "TrimoraLaunch.h"

#include <cstring>

#include "ProgressBar/KVProgressBarServer.h"
#include "Trimora.h"
#include "log/KVLogServer.h"
#include "native/KVDiskServer.h"
#include "native/KVPlatform.h"

namespace {

constexpr int kCommandLineSize = 560;

// Progress-bar file of the last launched job; empty when none is followed.
KVString s_runningFileName;
int s_launchCount = 0;
int s_launchAndWaitCount = 0;
// The joined command line "<application> <configuration path>", cut to the buffer when longer.
char s_commandLine[kCommandLineSize];

const char* orNull(const char* s) { return s ? s : "(null)"; }

KVString validForm(const KVString& s) {
    const char* p = s.getValidFilePath();
    return KVString(p);
}

// The launch split: the host hands its paths in a colon-prefixed form, so the last colon lies in
// the configuration path and the last blank before it separates the two, whatever blanks the
// application path holds. False when there is no colon or no blank before it.
bool splitAtLastColon(const KVString& commandLine, KVString& appPath, KVString& argument) {
    const int colon = commandLine.findLastCharOf(":");
    if (colon < 0) return false;
    const int blank = commandLine.findPrevCharOf(" ", colon);
    if (blank < 0) return false;
    appPath = validForm(commandLine.subString(0, blank));
    argument = commandLine.subString(blank + 1);
    return true;
}

// Steps shared by both launch commands, from the joined command line on.
float launchCommandLine() {
    const KVString commandLine(s_commandLine);

    KVString appPath;
    KVString arguments;
    if (!getTrimoraAppPathAndArguments(commandLine, appPath, arguments)) {
        // No application in the command line: nothing to follow, nothing to start.
        KVLogServer::printLine("FSPathMakeRefs FAILED !");
        return -1.0f;
    }
    s_runningFileName = arguments + ".running";

    if (!KVProgressBarServer::getProgressBar().create(s_runningFileName)) {
        KVLogServer::printLine("Create progress-bar FAILED");
        return -1.0f;
    }

    // Take the launch split when it names an existing application; plain paths without a colon
    // fall back to the first split.
    KVString launchPath;
    KVString launchArgument;
    if (!splitAtLastColon(commandLine, launchPath, launchArgument) || !KVDiskServer::fileExists(launchPath)) {
        launchPath = appPath;
        launchArgument = arguments;
    }
    if (launchPath.isEmpty() || !KVDiskServer::fileExists(launchPath)) {
        KVLogServer::printLine("FSPathMakeRefs FAILED !");
        return -1.0f;
    }

    if (!KVPlatform::launchApplication(launchPath, launchArgument)) {
        KVLogServer::printLine("LSOpenApplication FAILED !");
        return -1.0f;
    }
    return 0.0f;
}

// Copies a joined command into the command-line buffer, cut to its size.
void setCommandLine(const KVString& joined) {
    std::memset(s_commandLine, 0, sizeof s_commandLine);
    const int n = joined.length();
    const int kept = n < kCommandLineSize - 1 ? n : kCommandLineSize - 1;
    if (kept > 0) std::memcpy(s_commandLine, joined.getBuffer(), static_cast<std::size_t>(kept));
}

}  // namespace

bool getTrimoraAppPathAndArguments(const KVString& commandLine, KVString& appPath, KVString& arguments) {
    appPath = KVString();
    arguments = KVString();
    const int app = commandLine.findFirst("TrimoraApp");
    if (app < 0) return false;
    const int blank = commandLine.findNextCharOf(" ", app);
    if (blank < 0) {
        appPath = validForm(commandLine);
        return true;
    }
    appPath = validForm(commandLine.subString(0, blank));
    const int rest = commandLine.findNextCharNotOf(" ", blank);
    if (rest >= 0) arguments = validForm(commandLine.subString(rest));
    return true;
}

TRIMORA_COMMAND(LaunchTrimoraApp) {
    KVLogServer::printLine("LaunchTrimoraApp called.");
    ++s_launchCount;
    KVLogServer::printLine("LaunchTrimoraApp[#%d] [File=%s]", s_launchCount, orNull(a.text));
    KVLogServer::printLine(" Running Exe: %s", gAppFullPath.c_str());
    if (a.text == nullptr) {
        KVLogServer::printLine("Bad Config File Name (NULL)");
        return -1.0f;
    }
    setCommandLine(gAppFullPath + " " + KVString(a.text));
    return launchCommandLine();
}

TRIMORA_COMMAND(LaunchTrimoraAppAndWait) {
    ++s_launchAndWaitCount;
    KVLogServer::printLine("LaunchTrimoraAppAndWait() starting... [#%d] [File=%s]", s_launchAndWaitCount,
                           orNull(a.text));
    KVLogServer::printLine(" Running Exe: %s", gAppFullPath.c_str());
    // No null check here: a null path is formatted as the C library prints it.
    std::memset(s_commandLine, 0, 512);
    kvSprintf_s(s_commandLine, kCommandLineSize, "%s %s", orNull(gAppFullPath.getBuffer()), orNull(a.text));
    const float result = launchCommandLine();
    if (result == 0.0f) KVLogServer::printLine("LaunchTrimoraAppAndWait() done (OK)!");
    return result;
}

TRIMORA_COMMAND_OR(TrimoraAppIsRunning, 0.0f) {
    if (s_runningFileName.isEmpty()) return 0.0f;
    if (KVDiskServer::fileExists(s_runningFileName)) return 1.0f;
    s_runningFileName = KVString();
    return 0.0f;
}

TRIMORA_COMMAND(GetTrimoraAppProgressInfo) {
    float fraction = -1.0f;
    char line[KVProgressBarServer::kLineSize];
    if (!KVProgressBarServer::getProgressInfo(fraction, line)) return -1.0f;
    if (a.outBuf1 != nullptr) {
        std::memcpy(a.outBuf1, &fraction, sizeof fraction);
        line[KVProgressBarServer::kLineCopySize - 1] = '\0';
        std::memcpy(a.outBuf1 + 4, line, KVProgressBarServer::kLineCopySize);
    }
    return 1.0f;
}
