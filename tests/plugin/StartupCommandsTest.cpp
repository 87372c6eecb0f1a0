// The frame's commands, called through the loaded module.
#include <gtest/gtest.h>
#include <unistd.h>

#include "PluginHost.h"

TEST(GetDefaultNumThreads, AnswersTheRuleForThisMachineWithoutBias) {
    const long n = sysconf(_SC_NPROCESSORS_ONLN);
    long expected = n;
    if (n >= 3 && n <= 4) expected = 3;
    else if (n >= 5 && n <= 6) expected = 4;
    else if (n >= 7 && n <= 8) expected = 6;
    else if (n >= 9) expected = n - 2;
    EXPECT_EQ(sharedPluginHost().call("GetDefaultNumThreads"), static_cast<float>(expected));
}

TEST(SetTrimoraAppPath, AnswersZeroForAnyText) {
    const PluginHost& host = sharedPluginHost();
    EXPECT_EQ(host.call("SetTrimoraAppPath", "/opt/trimora/TrimoraApp"), 0.0f);
    EXPECT_EQ(host.call("SetTrimoraAppPath", nullptr), 0.0f);
    EXPECT_EQ(host.call("SetTrimoraAppPath", ""), 0.0f);
}
