// KVPlatform and KVTimeService on Linux; the launch tests start the real helper trimora_argdump.
#include "native/KVPlatform.h"
#include "native/KVTimeService.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>

#include "NativeTestSupport.h"

namespace {

KVString ks(const std::string& s) { return KVString(s.c_str()); }
std::string str(const KVString& s) { return s.c_str(); }

bool isFolder(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

TEST(KVPlatformTest, SystemFolders) {
    EXPECT_EQ(KVPlatform::processorsScheduled(), sysconf(_SC_NPROCESSORS_ONLN));
    EXPECT_EQ(str(KVPlatform::publicFolder()), isFolder("/home") ? "/home" : "");
    EXPECT_EQ(str(KVPlatform::hostApplicationFolder()), nativetest::executableFolder());  // no trailing '/'
}

TEST(KVPlatformTest, CreateOneFolderMakesNoParents) {
    TempFolder tmp;
    ASSERT_TRUE(tmp.ok());
    const std::string one = tmp / "one";
    EXPECT_TRUE(KVPlatform::createOneFolder(ks(one)));
    EXPECT_TRUE(isFolder(one));
    struct stat st;
    ASSERT_EQ(stat(one.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0700, 0700u);
    EXPECT_FALSE(KVPlatform::createOneFolder(ks(one)));  // already there
    EXPECT_FALSE(KVPlatform::createOneFolder(ks(tmp / "x/y/z")));
    EXPECT_FALSE(isFolder(tmp / "x"));
    EXPECT_TRUE(KVPlatform::createOneFolder(ks("file:" + (tmp / "prefixed"))));
    EXPECT_TRUE(isFolder(tmp / "prefixed"));
    EXPECT_FALSE(KVPlatform::createOneFolder(KVString()));
}

// ---- launching ----

std::string argdumpPath() { return nativetest::executableFolder() + "/trimora_argdump"; }

std::map<std::string, std::string> readReport(const std::string& path) {
    std::map<std::string, std::string> report;
    std::istringstream in(nativetest::readText(path));
    std::string line;
    while (std::getline(in, line)) {
        const std::size_t eq = line.find('=');
        if (eq != std::string::npos) report[line.substr(0, eq)] = line.substr(eq + 1);
    }
    return report;
}

// State letter and parent of a process, from /proc/<pid>/stat; false when there is no entry.
bool processState(pid_t pid, char& state, pid_t& parent) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    if (!std::getline(in, text)) return false;
    const std::size_t close = text.rfind(')');  // the command name may hold blanks and parentheses
    if (close == std::string::npos) return false;
    std::istringstream rest(text.substr(close + 1));
    long ppid = 0;
    rest >> state >> ppid;
    parent = static_cast<pid_t>(ppid);
    return static_cast<bool>(rest);
}

// Whether `pid` is listed among the children of any thread of this process.
bool isListedAsOurChild(pid_t pid) {
    const std::string target = std::to_string(pid);
    DIR* dir = opendir("/proc/self/task");
    if (dir == nullptr) return false;
    bool found = false;
    while (dirent* entry = readdir(dir)) {
        if (entry->d_name[0] == '.') continue;
        std::ifstream in(std::string("/proc/self/task/") + entry->d_name + "/children");
        std::string child;
        while (in >> child) found = found || child == target;
    }
    closedir(dir);
    return found;
}

// True once `pid` is no longer a child of ours (reaped), waiting at most `seconds`.
bool waitUntilReaped(pid_t pid, double seconds) {
    return waitFor([&] {
        char state = '?';
        pid_t parent = 0;
        const bool present = processState(pid, state, parent) && parent == getpid();
        return !present && !isListedAsOurChild(pid);
    }, seconds);
}

class KVPlatformLaunchTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_tmp.ok());
        ASSERT_EQ(access(argdumpPath().c_str(), X_OK), 0) << "helper missing: " << argdumpPath();
    }

    // Launches the helper with `argument`, waits for its report and for it to be reaped.
    void launchAndCheck(const std::string& argument) {
        // A descriptor of the host without close-on-exec: it must not reach the application.
        const int extra = open("/dev/null", O_RDONLY);
        ASSERT_GE(extra, 3);
        const bool launched = KVPlatform::launchApplication(ks(argdumpPath()), ks(argument));
        close(extra);
        ASSERT_TRUE(launched);

        const std::string out = argument + ".out";
        ASSERT_TRUE(waitFor([&] { return pathExists(out); }, 10.0)) << "no report from the launched helper";
        std::map<std::string, std::string> report = readReport(out);
        EXPECT_EQ(report["argc"], "2");
        EXPECT_EQ(report["arg"], argument);
        EXPECT_EQ(report["session"], "1") << "not in a session of its own";
        EXPECT_EQ(report["stdin"], "/dev/null");
        EXPECT_EQ(report["fds"], "0,1,2") << "host descriptors leaked into the application";

        const pid_t pid = static_cast<pid_t>(std::atoi(report["pid"].c_str()));
        ASSERT_GT(pid, 0);
        EXPECT_TRUE(waitUntilReaped(pid, 10.0)) << "the launched application was left as a zombie";
        char state = '?';
        pid_t parent = 0;
        if (processState(pid, state, parent) && parent == getpid()) {
            EXPECT_NE(state, 'Z');
        }
    }

    TempFolder m_tmp;
};

// The argument's intactness and the descriptors are also checked through the module's launch
// commands; the session, stdin and reaping are only visible here.
TEST_F(KVPlatformLaunchTest, OneArgumentInANewSessionAndReaped) {
    launchAndCheck(m_tmp / "my job 'single' \"double\" $HOME ; * \xC3\xA9t\xC3\xA9.cfg");
}

TEST_F(KVPlatformLaunchTest, MissingOrNonExecutableApplicationFails) {
    const std::string plain = m_tmp / "plain";
    ASSERT_TRUE(writeFile(plain, "#!/bin/sh\nexit 0\n"));
    ASSERT_EQ(chmod(plain.c_str(), 0644), 0);
    for (const std::string& app : {plain, m_tmp.path(), m_tmp / "NoSuchTrimoraApp", std::string()})
        EXPECT_FALSE(KVPlatform::launchApplication(ks(app), ks(m_tmp / "a.cfg"))) << app;
}

// ---- time service ----

void kvTimeTestSignalHandler(int) {}

TEST(KVPlatformTimeServiceTest, SleepResumesAfterSignals) {
    struct sigaction action = {};
    struct sigaction previous = {};
    action.sa_handler = kvTimeTestSignalHandler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;  // no SA_RESTART: nanosleep is interrupted with EINTR
    ASSERT_EQ(sigaction(SIGUSR1, &action, &previous), 0);

    const pthread_t sleeper = pthread_self();
    std::atomic<bool> done{false};
    std::thread interrupter([&]() {
        for (int i = 0; i < 5 && !done; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(15));
            if (!done) pthread_kill(sleeper, SIGUSR1);
        }
    });
    const std::int64_t start = KVTimeService::monotonicMilliseconds();
    KVTimeService::sleep(120);
    const std::int64_t elapsed = KVTimeService::monotonicMilliseconds() - start;
    done = true;
    interrupter.join();
    sigaction(SIGUSR1, &previous, nullptr);
    EXPECT_GE(elapsed, 120);
}

}  // namespace
