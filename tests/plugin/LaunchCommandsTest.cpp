// Launch commands through the loaded module, with FakeTrimoraApp as a real child process.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "PluginHost.h"

namespace {

std::string fakeApp() { return PluginHost::executableFolder() + "/FakeTrimoraApp"; }

// Polls until `done` holds; generous, so a loaded machine only makes the test slower.
bool waitFor(const std::function<bool()>& done, int seconds = 60) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (std::chrono::steady_clock::now() < limit) {
        if (done()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return done();
}

bool copyExecutable(const std::string& from, const std::string& to) {
    std::string bytes;
    return readFile(from, bytes) && writeFile(to, bytes) && chmod(to.c_str(), 0755) == 0;
}

float isRunning() { return sharedPluginHost().call("TrimoraAppIsRunning"); }

// The report FakeTrimoraApp leaves beside its job file: "argc=", "arg=" and "pid=" lines.
std::string reportValue(const std::string& report, const std::string& key) {
    const std::string prefix = key + "=";
    std::size_t at = 0;
    while (at < report.size()) {
        const std::size_t end = report.find('\n', at);
        const std::string line = report.substr(at, end == std::string::npos ? std::string::npos : end - at);
        if (line.compare(0, prefix.size(), prefix) == 0) return line.substr(prefix.size());
        if (end == std::string::npos) break;
        at = end + 1;
    }
    return "";
}

std::string waitForReport(const std::string& jobPath) {
    std::string report;
    EXPECT_TRUE(waitFor([&] { return readFile(jobPath + ".arg", report) && !reportValue(report, "pid").empty(); }))
        << "FakeTrimoraApp did not start for " << jobPath;
    return report;
}

// Children of this process that are zombies, from /proc.
std::vector<int> zombieChildren() {
    std::vector<int> zombies;
    const int self = getpid();
    for (const std::string& name : listFolder("/proc")) {
        if (name.empty() || name.find_first_not_of("0123456789") != std::string::npos) continue;
        std::string stat;
        if (!readFile("/proc/" + name + "/stat", stat)) continue;
        const std::size_t paren = stat.rfind(')');
        if (paren == std::string::npos || paren + 4 >= stat.size()) continue;
        char state = 0;
        int ppid = 0;
        if (std::sscanf(stat.c_str() + paren + 1, " %c %d", &state, &ppid) != 2) continue;
        if (ppid == self && state == 'Z') zombies.push_back(std::stoi(name));
    }
    return zombies;
}

void expectNoZombieLeft() {
    EXPECT_TRUE(waitFor([] { return zombieChildren().empty(); })) << "a launched application stayed a zombie";
}

bool processGone(const std::string& pid) {
    if (pid.empty()) return false;
    std::string stat;
    return !readFile("/proc/" + pid + "/stat", stat);
}

}  // namespace

TEST(TrimoraAppIsRunning, AnswersNoBeforeAnyLaunch) { EXPECT_EQ(isRunning(), 0.0f); }

TEST(LaunchTrimoraApp, FollowsTheApplicationUntilItDeletesItsFile) {
    TempFolder folder;
    const std::string job = folder.file("job.cfg");
    ASSERT_TRUE(writeFile(job,
                          "task Decimating\nstep Reducing\nwait Saving\nsteps 20\ndelayms 40\ncpums 2\n"
                          "holdms 600\nwaitms 600\n"));
    const PluginHost& host = sharedPluginHost();
    ASSERT_EQ(host.call("SetTrimoraAppPath", fakeApp().c_str()), 0.0f);
    ASSERT_EQ(host.call("LaunchTrimoraApp", job.c_str()), 0.0f);

    const std::regex percentLine(R"(\\CFF9923Decimating: \\CCCCCCCReducing \\CFF9923     (\d+\.\d)%)");
    const std::regex taskDots(R"(\\CFF9923Decimating\\C222222\.*\\CCCCCCC\.*\\C222222\.*)");
    const std::regex stepDots(R"(\\CFF9923Decimating: \\CCCCCCCSaving\\C222222\.*\\CCCCCCC\.*\\C222222\.*)");
    bool sawTaskDots = false;
    bool sawStepDots = false;
    std::set<std::string> percentages;
    std::vector<std::string> unexpected;
    ASSERT_TRUE(waitFor([&] {
        char buffer[256];
        std::memset(buffer, 0, sizeof buffer);
        if (host.call("GetTrimoraAppProgressInfo", nullptr, 0.0, buffer, sizeof buffer) == 1.0f) {
            float fraction;
            std::memcpy(&fraction, buffer, sizeof fraction);
            const std::string line(buffer + 4);
            std::smatch m;
            if (std::regex_match(line, m, percentLine)) {
                percentages.insert(m[1]);
                char expected[32];
                std::snprintf(expected, sizeof expected, "%.1f", 100.0f * fraction);
                EXPECT_EQ(m[1].str(), expected);
            } else if (std::regex_match(line, taskDots)) {
                EXPECT_EQ(fraction, -1.0f);
                sawTaskDots = true;
            } else if (std::regex_match(line, stepDots)) {
                EXPECT_EQ(fraction, -1.0f);
                sawStepDots = true;
            } else {
                unexpected.push_back(line);
            }
        }
        return isRunning() == 0.0f;
    }));
    EXPECT_TRUE(sawTaskDots);
    EXPECT_TRUE(sawStepDots);
    EXPECT_GE(percentages.size(), 2u) << "the counts did not reach the progress line";
    EXPECT_TRUE(unexpected.empty()) << unexpected.front();

    // The application ended on its own: its file is gone and no task is left to show.
    EXPECT_FALSE(pathExists(job + ".running"));
    char untouched[256];
    std::memset(untouched, 0x5A, sizeof untouched);
    EXPECT_EQ(host.call("GetTrimoraAppProgressInfo", nullptr, 0.0, untouched, sizeof untouched), -1.0f);
    EXPECT_EQ(untouched[0], 0x5A);
    EXPECT_EQ(reportValue(waitForReport(job), "argc"), "2");
    expectNoZombieLeft();
}

TEST(LaunchTrimoraAppAndWait, BlankInTheApplicationFolderAndColonInTheJobPath) {
    TempFolder folder;
    const std::string apps = folder.file("my apps");
    const std::string jobs = folder.file("my jobs");
    ASSERT_EQ(mkdir(apps.c_str(), 0755), 0);
    ASSERT_EQ(mkdir(jobs.c_str(), 0755), 0);
    const std::string app = apps + "/FakeTrimoraApp";
    ASSERT_TRUE(copyExecutable(fakeApp(), app));
    const std::string job = jobs + "/job.cfg";
    ASSERT_TRUE(writeFile(job, "steps 2\ndelayms 1\nholdms 1\nwaitms 1\n"));

    const PluginHost& host = sharedPluginHost();
    ASSERT_EQ(host.call("SetTrimoraAppPath", app.c_str()), 0.0f);
    const std::string hostForm = "!:" + job;
    ASSERT_EQ(host.call("LaunchTrimoraAppAndWait", hostForm.c_str()), 0.0f);

    const std::string report = waitForReport(job);
    EXPECT_EQ(reportValue(report, "argc"), "2");
    EXPECT_EQ(reportValue(report, "arg"), hostForm);
    EXPECT_TRUE(waitFor([] { return isRunning() == 0.0f; }));
    EXPECT_TRUE(waitFor([&] { return processGone(reportValue(report, "pid")); }));
    expectNoZombieLeft();
}

TEST(LaunchTrimoraApp, MissingApplicationIsRefusedAndItsFileStays) {
    TempFolder folder;
    const std::string job = folder.file("job.cfg");
    ASSERT_TRUE(writeFile(job, "steps 1\n"));
    const PluginHost& host = sharedPluginHost();
    ASSERT_EQ(host.call("SetTrimoraAppPath", folder.file("nowhere/FakeTrimoraApp").c_str()), 0.0f);
    EXPECT_EQ(host.call("LaunchTrimoraApp", job.c_str()), -1.0f);
    EXPECT_EQ(host.call("LaunchTrimoraAppAndWait", ("!:" + job).c_str()), -1.0f);

    // The progress-bar file was created before the launch failed; the library leaves it.
    EXPECT_TRUE(pathExists(job + ".running"));
    EXPECT_EQ(isRunning(), 1.0f);
    ASSERT_EQ(std::remove((job + ".running").c_str()), 0);
    EXPECT_EQ(isRunning(), 0.0f);
    EXPECT_FALSE(pathExists(job + ".arg"));
}

TEST(LaunchTrimoraApp, ApplicationThatCannotStartIsRefused) {
    TempFolder folder;
    const std::string app = folder.file("FakeTrimoraApp");
    ASSERT_TRUE(writeFile(app, "not a program"));
    ASSERT_EQ(chmod(app.c_str(), 0644), 0);
    const std::string job = folder.file("job.cfg");
    ASSERT_TRUE(writeFile(job, ""));
    const PluginHost& host = sharedPluginHost();
    ASSERT_EQ(host.call("SetTrimoraAppPath", app.c_str()), 0.0f);
    EXPECT_EQ(host.call("LaunchTrimoraApp", job.c_str()), -1.0f);
}

TEST(LaunchTrimoraApp, NullTextOrUnnamedApplicationCreateNoFile) {
    TempFolder folder;
    const PluginHost& host = sharedPluginHost();
    ASSERT_EQ(host.call("SetTrimoraAppPath", fakeApp().c_str()), 0.0f);
    EXPECT_EQ(host.call("LaunchTrimoraApp", nullptr), -1.0f);
    EXPECT_EQ(isRunning(), 0.0f);

    // Without "TrimoraApp" in its path the application cannot be told from its argument.
    const std::string job = folder.file("job.cfg");
    ASSERT_TRUE(writeFile(job, ""));
    const std::string renamed = folder.file("decimator");
    ASSERT_TRUE(copyExecutable(fakeApp(), renamed));
    ASSERT_EQ(host.call("SetTrimoraAppPath", renamed.c_str()), 0.0f);
    EXPECT_EQ(host.call("LaunchTrimoraApp", job.c_str()), -1.0f);
    EXPECT_EQ(host.call("LaunchTrimoraAppAndWait", job.c_str()), -1.0f);
    EXPECT_FALSE(pathExists(job + ".running"));
    EXPECT_FALSE(pathExists(job + ".arg"));
}

TEST(LaunchTrimoraApp, DeletingTheRunningFileStopsTheApplication) {
    TempFolder folder;
    const std::string job = folder.file("job.cfg");
    ASSERT_TRUE(writeFile(job, "steps 100000\ndelayms 20\nholdms 0\nstopOnCancel yes\n"));
    const PluginHost& host = sharedPluginHost();
    ASSERT_EQ(host.call("SetTrimoraAppPath", fakeApp().c_str()), 0.0f);
    ASSERT_EQ(host.call("LaunchTrimoraApp", job.c_str()), 0.0f);

    // Wait until it counts, then pull its file away.
    ASSERT_TRUE(waitFor([&] {
        char buffer[256] = {};
        return host.call("GetTrimoraAppProgressInfo", nullptr, 0.0, buffer, sizeof buffer) == 1.0f &&
               std::strstr(buffer + 4, "Reducing") != nullptr;
    }));
    const std::string report = waitForReport(job);
    ASSERT_EQ(std::remove((job + ".running").c_str()), 0);
    EXPECT_EQ(isRunning(), 0.0f);

    EXPECT_TRUE(waitFor([&] { return pathExists(job + ".stopped"); })) << "the application did not stop";
    EXPECT_TRUE(waitFor([&] { return processGone(reportValue(report, "pid")); }));
    EXPECT_FALSE(pathExists(job + ".running"));
    expectNoZombieLeft();
}

// What the application gets from the host: its one argument intact, and none of the host's open
// descriptors beyond the standard three.
TEST(LaunchTrimoraApp, ArgumentWithBlanksQuotesAndUtf8ArrivesIntactAndNoDescriptorLeaks) {
    TempFolder folder;
    const std::string dir = folder.file("job 'one' \"two\" \xC3\xA9t\xC3\xA9 \xE2\x9C\x93  $HOME `x` ; *");
    ASSERT_EQ(mkdir(dir.c_str(), 0755), 0);
    const std::string job = dir + "/job \xE6\x97\xA5\xE6\x9C\xAC.cfg";
    ASSERT_TRUE(writeFile(job, "steps 1\ndelayms 1\nholdms 1\nwaitms 1\n"));
    // Descriptors a host holds without close-on-exec: a file, both ends of a pipe, a high number.
    const int file = open(job.c_str(), O_RDONLY);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(dup2(file, 200), 200);

    const PluginHost& host = sharedPluginHost();
    ASSERT_EQ(host.call("SetTrimoraAppPath", fakeApp().c_str()), 0.0f);
    ASSERT_EQ(host.call("LaunchTrimoraApp", job.c_str()), 0.0f);
    const std::string report = waitForReport(job);
    for (int fd : {file, ends[0], ends[1], 200}) close(fd);
    EXPECT_EQ(reportValue(report, "argc"), "2") << report;
    EXPECT_EQ(reportValue(report, "arg"), job) << report;
    EXPECT_EQ(reportValue(report, "fds"), "0,1,2") << report;
    EXPECT_TRUE(waitFor([] { return isRunning() == 0.0f; }));
}
