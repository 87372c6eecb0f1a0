// The host simulator, run as a person runs it: a real process next to the plug-in.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>

#include "CommandTable.h"
#include "PluginHost.h"

namespace {

struct RunResult {
    int status = -1;
    std::string out;
};

RunResult runSim(const std::string& args) {
    RunResult r;
    const std::string cmd = "'" + PluginHost::executableFolder() + "/plastra-sim' " + args + " 2>/dev/null";
    FILE* pipe = popen(cmd.c_str(), "r");
    if (pipe == nullptr) return r;
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, pipe)) > 0) r.out.append(buf, n);
    const int raw = pclose(pipe);
    r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    return r;
}

}  // namespace

TEST(PlastraSim, ListsOnlyTableCommandsAndTheFrameOnes) {
    const RunResult r = runSim("commands");
    ASSERT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("GetDefaultNumThreads\n"), std::string::npos);
    EXPECT_NE(r.out.find("SetTrimoraAppPath\n"), std::string::npos);
    size_t start = 0;
    while (start < r.out.size()) {
        const size_t end = r.out.find('\n', start);
        const std::string line = r.out.substr(start, end - start);
        EXPECT_TRUE(plug::isCommandName(line.c_str())) << line;
        if (end == std::string::npos) break;
        start = end + 1;
    }
}

TEST(PlastraSim, CallPrintsTheFloatResult) {
    const RunResult r = runSim("call GetDefaultNumThreads");
    ASSERT_EQ(r.status, 0);
    const float direct = sharedPluginHost().call("GetDefaultNumThreads");
    char expected[64];
    std::snprintf(expected, sizeof expected, "GetDefaultNumThreads -> %g\n", static_cast<double>(direct));
    EXPECT_EQ(r.out, expected);
    EXPECT_EQ(runSim("call SetTrimoraAppPath --text '/a b/TrimoraApp'").out, "SetTrimoraAppPath -> 0\n");
}

TEST(PlastraSim, RefusesUnknownCommandsAndBadArguments) {
    EXPECT_EQ(runSim("call NoSuchCommand").status, 1);
    EXPECT_EQ(runSim("call GetDefaultNumThreads --value abc").status, 2);
    EXPECT_EQ(runSim("frobnicate").status, 2);
    EXPECT_EQ(runSim("").status, 2);
}
