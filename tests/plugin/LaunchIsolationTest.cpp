// What the launched application receives from the host: its one argument intact, and none of the
// host's open descriptors beyond the standard three.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "PluginHost.h"

namespace {

std::string reportValue(const std::string& report, const std::string& key) {
    const std::string prefix = "\n" + key + "=";
    const std::string text = "\n" + report;
    const std::size_t at = text.find(prefix);
    if (at == std::string::npos) return "";
    const std::size_t begin = at + prefix.size();
    return text.substr(begin, text.find('\n', begin) - begin);
}

// The stand-in writes its report whole once it has started; generous for a loaded machine.
std::string waitForReport(const std::string& job) {
    std::string report;
    for (int i = 0; i < 6000; ++i) {
        if (readFile(job + ".arg", report) && !reportValue(report, "pid").empty()) return report;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return report;
}

void waitUntilDone() {
    for (int i = 0; i < 6000 && sharedPluginHost().call("TrimoraAppIsRunning") != 0.0f; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

}  // namespace

TEST(LaunchIsolation, ArgumentWithBlanksQuotesAndUtf8ArrivesIntactAndNoDescriptorLeaks) {
    TempFolder folder;
    const std::string dir = folder.file("job 'one' \"two\" \xC3\xA9t\xC3\xA9 \xE2\x9C\x93  $HOME `x` ; *");
    ASSERT_EQ(mkdir(dir.c_str(), 0755), 0);
    const std::string job = dir + "/job \xE6\x97\xA5\xE6\x9C\xAC.cfg";
    ASSERT_TRUE(writeFile(job, "steps 1\ndelayms 1\nholdms 1\nwaitms 1\n"));

    // Descriptors a host holds without close-on-exec: a file, both ends of a pipe, a high number.
    const int file = open(job.c_str(), O_RDONLY);
    ASSERT_GE(file, 0);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const int high = dup2(file, 200);
    ASSERT_EQ(high, 200);

    const PluginHost& host = sharedPluginHost();
    ASSERT_EQ(host.call("SetTrimoraAppPath", (PluginHost::executableFolder() + "/FakeTrimoraApp").c_str()), 0.0f);
    ASSERT_EQ(host.call("LaunchTrimoraApp", job.c_str()), 0.0f);
    const std::string report = waitForReport(job);
    close(file);
    close(ends[0]);
    close(ends[1]);
    close(high);

    EXPECT_EQ(reportValue(report, "argc"), "2") << report;
    EXPECT_EQ(reportValue(report, "arg"), job) << report;
    EXPECT_EQ(reportValue(report, "fds"), "0,1,2") << report;
    waitUntilDone();
}
