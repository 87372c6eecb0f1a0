// The C boundary: every command of the table, called with null text, null buffers and zero values,
// answers without crashing, hanging or raising anything into the host.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "CommandTable.h"
#include "PluginHost.h"

namespace {

// Runs `body` in a child process working in `folder` (commands that default to the current folder
// touch nothing else), so a crash is reported and the next run starts from a clean copy of the
// module's state. Returns "" when the child exited with 0.
std::string inChild(const std::string& folder, int seconds, const std::function<int()>& body) {
    const pid_t pid = fork();
    if (pid == 0) {
        alarm(seconds);  // a command that hangs is a failure too
        _exit(chdir(folder.c_str()) != 0 ? 5 : body());
    }
    if (pid < 0) return "fork failed";
    int status = 0;
    if (waitpid(pid, &status, 0) != pid) return "lost the child";
    if (WIFSIGNALED(status)) return std::string("killed by signal ") + strsignal(WTERMSIG(status));
    if (WEXITSTATUS(status) == 4) return "answered NaN";
    return WEXITSTATUS(status) == 0 ? "" : "exit status " + std::to_string(WEXITSTATUS(status));
}

float callWith(PlugCall command, bool emptyText, bool zeroedBuffers, double value) {
    std::vector<char> text(1, '\0'), buf1(4096, '\0'), buf2(4096, '\0');
    return command(emptyText ? text.data() : nullptr, value, zeroedBuffers ? buf1.data() : nullptr, 0,
                   zeroedBuffers ? buf2.data() : nullptr, 0, nullptr);
}

}  // namespace

// One session: state left by one command (a started export, a declared list) meets the next.
TEST(NullArguments, AllCommandsInOneSessionInTableOrder) {
    const PluginHost& host = sharedPluginHost();
    ASSERT_TRUE(host.isLoaded()) << host.getError();
    TempFolder folder;
    for (bool buffers : {false, true}) {
        EXPECT_EQ(inChild(folder.path(), 120,
                          [&] {
                              for (int round = 0; round < 2; ++round)
                                  for (const char* name : plug::kCommandNames) {
                                      const PlugCall command = host.find(name);
                                      if (command == nullptr) return 6;
                                      callWith(command, false, buffers, 0.0);
                                  }
                              return 0;
                          }),
                  "")
            << "with buffers " << buffers;
    }
}

// Each command alone; every answer is a number the host script can use.
TEST(NullArguments, EachCommandAloneWithNullEmptyAndOddArguments) {
    const struct {
        const char* label;
        bool emptyText, zeroedBuffers;
        double value;
    } rows[] = {{"null text and buffers", false, false, 0.0},
                {"empty text, null buffers", true, false, 0.0},
                {"null text, zeroed buffers", false, true, 0.0},
                {"value -1", false, false, -1.0},
                {"value 3.5", false, false, 3.5}};
    const PluginHost& host = sharedPluginHost();
    ASSERT_TRUE(host.isLoaded()) << host.getError();
    TempFolder folder;
    for (const auto& args : rows)
        for (const char* name : plug::kCommandNames) {
            const PlugCall command = host.find(name);
            ASSERT_NE(command, nullptr) << name;
            EXPECT_EQ(inChild(folder.path(), 60,
                              [&] {
                                  const float r = callWith(command, args.emptyText, args.zeroedBuffers, args.value);
                                  return std::isnan(r) ? 4 : 0;
                              }),
                      "")
                << name << " with " << args.label;
        }
}
