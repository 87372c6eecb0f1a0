// Launch commands through the loaded module, with FakeTrimoraApp as a real child process.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "PluginTestSupport.h"

using testsupport::waitFor;

namespace {

std::string fakeApp() { return PluginHost::executableFolder() + "/FakeTrimoraApp"; }

bool copyExecutable(const std::string& from, const std::string& to) {
    std::string bytes;
    return readFile(from, bytes) && writeFile(to, bytes) && chmod(to.c_str(), 0755) == 0;
}

float call(const char* name, const std::string& text) { return sharedPluginHost().call(name, text.c_str()); }
float isRunning() { return sharedPluginHost().call("TrimoraAppIsRunning"); }

// The report FakeTrimoraApp leaves beside its job file: "argc=", "arg=", "fds=" and "pid=" lines.
std::string reportValue(const std::string& report, const std::string& key) {
    const std::size_t at = ("\n" + report).find("\n" + key + "=");
    if (at == std::string::npos) return "";
    const std::size_t from = at + key.size() + 1;
    return report.substr(from, report.find('\n', from) - from);
}

std::string waitForReport(const std::string& jobPath) {
    std::string report;
    EXPECT_TRUE(waitFor([&] { return readFile(jobPath + ".arg", report) && !reportValue(report, "pid").empty(); }))
        << "FakeTrimoraApp did not start for " << jobPath;
    return report;
}

bool processGone(const std::string& pid) { return !pid.empty() && !pathExists("/proc/" + pid + "/stat"); }

void expectEndedAndReaped(const std::string& report) {
    EXPECT_TRUE(waitFor([] { return isRunning() == 0.0f; }));
    EXPECT_TRUE(waitFor([&] { return processGone(reportValue(report, "pid")); }));
    EXPECT_TRUE(waitFor(testsupport::noZombieChild)) << "a launched application stayed a zombie";
}

}  // namespace

TEST(LaunchTrimoraApp, FollowsTheApplicationUntilItDeletesItsFile) {
    EXPECT_EQ(isRunning(), 0.0f);  // nothing launched yet
    TempFolder folder;
    const std::string job = folder.file("job.cfg");
    ASSERT_TRUE(writeFile(job,
                          "task Decimating\nstep Reducing\nwait Saving\nsteps 20\ndelayms 40\ncpums 2\n"
                          "holdms 600\nwaitms 600\n"));
    const PluginHost& host = sharedPluginHost();
    ASSERT_EQ(call("SetTrimoraAppPath", fakeApp()), 0.0f);
    ASSERT_EQ(call("LaunchTrimoraApp", job), 0.0f);

    // The exact line format is pinned by the progress tests; here the counts must reach the host.
    std::set<float> fractions;
    bool sawDots = false;
    ASSERT_TRUE(waitFor([&] {
        char buffer[256] = {};
        if (host.call("GetTrimoraAppProgressInfo", nullptr, 0.0, buffer, sizeof buffer) == 1.0f) {
            float fraction;
            std::memcpy(&fraction, buffer, sizeof fraction);
            if (fraction >= 0.0f) fractions.insert(fraction);
            sawDots = sawDots || (fraction == -1.0f && std::strstr(buffer + 4, "\\C222222.") != nullptr);
        }
        return isRunning() == 0.0f;
    }));
    EXPECT_TRUE(sawDots);
    EXPECT_GE(fractions.size(), 2u) << "the counts did not reach the progress line";

    // The application ended on its own: its file is gone and no task is left to show.
    EXPECT_FALSE(pathExists(job + ".running"));
    char untouched[256];
    std::memset(untouched, 0x5A, sizeof untouched);
    EXPECT_EQ(host.call("GetTrimoraAppProgressInfo", nullptr, 0.0, untouched, sizeof untouched), -1.0f);
    EXPECT_EQ(untouched[0], 0x5A);
    const std::string report = waitForReport(job);
    EXPECT_EQ(reportValue(report, "argc"), "2");
    expectEndedAndReaped(report);
}

// An application that is missing or cannot be started: refused, and the progress-bar file, created
// before the launch failed, is left (so the job looks running until it goes).
TEST(LaunchTrimoraApp, ApplicationMissingOrNotAProgramIsRefusedAndItsFileStays) {
    TempFolder folder;
    const std::string notAProgram = folder.file("FakeTrimoraApp");
    ASSERT_TRUE(writeFile(notAProgram, "not a program"));
    const std::string job = folder.file("job.cfg");
    ASSERT_TRUE(writeFile(job, "steps 1\n"));
    for (const std::string& app : {folder.file("nowhere/FakeTrimoraApp"), notAProgram}) {
        SCOPED_TRACE(app);
        ASSERT_EQ(call("SetTrimoraAppPath", app), 0.0f);
        EXPECT_EQ(call("LaunchTrimoraApp", job), -1.0f);
        EXPECT_EQ(call("LaunchTrimoraAppAndWait", "!:" + job), -1.0f);
        EXPECT_EQ(isRunning(), 1.0f);
        ASSERT_EQ(std::remove((job + ".running").c_str()), 0);
        EXPECT_EQ(isRunning(), 0.0f);
    }
    EXPECT_FALSE(pathExists(job + ".arg"));
}

TEST(LaunchTrimoraApp, NullTextOrUnnamedApplicationCreateNoFile) {
    TempFolder folder;
    const PluginHost& host = sharedPluginHost();
    ASSERT_EQ(call("SetTrimoraAppPath", fakeApp()), 0.0f);
    EXPECT_EQ(host.call("LaunchTrimoraApp", nullptr), -1.0f);
    EXPECT_EQ(isRunning(), 0.0f);

    // Without "TrimoraApp" in its path the application cannot be told from its argument.
    const std::string job = folder.file("job.cfg"), renamed = folder.file("decimator");
    ASSERT_TRUE(writeFile(job, ""));
    ASSERT_TRUE(copyExecutable(fakeApp(), renamed));
    ASSERT_EQ(call("SetTrimoraAppPath", renamed), 0.0f);
    EXPECT_EQ(call("LaunchTrimoraApp", job), -1.0f);
    EXPECT_EQ(call("LaunchTrimoraAppAndWait", job), -1.0f);
    EXPECT_FALSE(pathExists(job + ".running"));
    EXPECT_FALSE(pathExists(job + ".arg"));
}

// What the application gets from the host: its one argument intact (the host's colon form splits
// at the last blank before the last colon, whatever blanks the folders hold), and none of the
// host's open descriptors beyond the standard three.
TEST(LaunchTrimoraAppAndWait, ArgumentWithBlanksQuotesAndUtf8ArrivesIntactAndNoDescriptorLeaks) {
    TempFolder folder;
    ASSERT_EQ(mkdir(folder.file("my apps").c_str(), 0755), 0);
    const std::string app = folder.file("my apps/FakeTrimoraApp");
    ASSERT_TRUE(copyExecutable(fakeApp(), app));
    const std::string dir = folder.file("job 'one' \"two\" \xC3\xA9t\xC3\xA9 \xE2\x9C\x93  $HOME `x` ; *");
    ASSERT_EQ(mkdir(dir.c_str(), 0755), 0);
    const std::string job = dir + "/job \xE6\x97\xA5\xE6\x9C\xAC.cfg";
    ASSERT_TRUE(writeFile(job, "steps 1\ndelayms 1\nholdms 1\nwaitms 1\n"));
    // Descriptors a host holds without close-on-exec: a file, both ends of a pipe, a high number.
    const int file = open(job.c_str(), O_RDONLY);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(dup2(file, 200), 200);

    ASSERT_EQ(call("SetTrimoraAppPath", app), 0.0f);
    ASSERT_EQ(call("LaunchTrimoraAppAndWait", "!:" + job), 0.0f);
    const std::string report = waitForReport(job);
    for (int fd : {file, ends[0], ends[1], 200}) close(fd);
    EXPECT_EQ(reportValue(report, "argc"), "2") << report;
    EXPECT_EQ(reportValue(report, "arg"), "!:" + job) << report;
    EXPECT_EQ(reportValue(report, "fds"), "0,1,2") << report;
    expectEndedAndReaped(report);
}
