// The C boundary: every command of the table, called with null text, null buffers and zero values,
// answers without crashing, hanging or raising anything into the host.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "CommandTable.h"
#include "PluginHost.h"

namespace {

struct Arguments {
    const char* label;
    bool emptyText;       // "" instead of null
    bool zeroedBuffers;   // two zeroed 4 KiB blocks instead of null
    double value;
};

// Calls one command in a child process, so a crash is reported by name and the next command runs
// on a clean copy of the module's state. The child works in `folder`, so commands that default to
// the current folder touch nothing else. Returns "" when the command answered normally.
std::string callInChild(PlugCall command, const Arguments& args, const std::string& folder) {
    const pid_t pid = fork();
    if (pid == 0) {
        alarm(60);  // a command that hangs is a failure too
        if (chdir(folder.c_str()) != 0) _exit(5);
        std::vector<char> text(1, '\0');
        std::vector<char> buf1(4096, '\0'), buf2(4096, '\0');
        const float r = command(args.emptyText ? text.data() : nullptr, args.value,
                                args.zeroedBuffers ? buf1.data() : nullptr, 0,
                                args.zeroedBuffers ? buf2.data() : nullptr, 0, nullptr);
        // Every answer is a number the host script can use.
        _exit(std::isnan(r) ? 4 : 0);
    }
    if (pid < 0) return "fork failed";
    int status = 0;
    if (waitpid(pid, &status, 0) != pid) return "lost the child";
    if (WIFSIGNALED(status)) return std::string("killed by signal ") + strsignal(WTERMSIG(status));
    if (!WIFEXITED(status)) return "did not exit";
    if (WEXITSTATUS(status) == 4) return "answered NaN";
    if (WEXITSTATUS(status) != 0) return "exit status " + std::to_string(WEXITSTATUS(status));
    return "";
}

void callEveryCommand(const Arguments& args) {
    const PluginHost& host = sharedPluginHost();
    ASSERT_TRUE(host.isLoaded()) << host.getError();
    TempFolder folder;
    for (const char* name : plug::kCommandNames) {
        const PlugCall command = host.find(name);
        ASSERT_NE(command, nullptr) << name;
        const std::string problem = callInChild(command, args, folder.path());
        EXPECT_EQ(problem, "") << name << " with " << args.label;
    }
}

}  // namespace

// One session: state left by one command (a started export, a declared list) meets the next.
TEST(NullArguments, AllCommandsInOneSessionInTableOrder) {
    const PluginHost& host = sharedPluginHost();
    TempFolder folder;
    for (bool buffers : {false, true}) {
        const pid_t pid = fork();
        if (pid == 0) {
            alarm(120);
            if (chdir(folder.path().c_str()) != 0) _exit(5);
            std::vector<char> buf1(4096, '\0'), buf2(4096, '\0');
            for (int round = 0; round < 2; ++round) {
                for (const char* name : plug::kCommandNames) {
                    const PlugCall command = host.find(name);
                    if (command == nullptr) _exit(6);
                    command(nullptr, 0.0, buffers ? buf1.data() : nullptr, 0, buffers ? buf2.data() : nullptr, 0,
                            nullptr);
                }
            }
            _exit(0);
        }
        ASSERT_GT(pid, 0);
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
            << (WIFSIGNALED(status) ? strsignal(WTERMSIG(status)) : "exit status") << " with buffers " << buffers;
    }
}

TEST(NullArguments, EachCommandAloneWithNullEmptyAndOddArguments) {
    const Arguments rows[] = {{"null text and buffers", false, false, 0.0},
                              {"empty text, null buffers", true, false, 0.0},
                              {"null text, zeroed buffers", false, true, 0.0},
                              {"value -1", false, false, -1.0},
                              {"value 3.5", false, false, 3.5}};
    for (const Arguments& args : rows) callEveryCommand(args);
}
