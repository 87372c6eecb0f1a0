// FakeTrimoraApp: a stand-in decimation application that writes the progress-bar file of its job.
//
// One argument, the job file's path (host path form accepted). The job file steers the run, one
// "key value" a line; unknown lines are ignored:
//   task <title>       task title (default "Decimating")
//   step <title>       title of the counted step (default "Reducing")
//   wait <title>       title of the step without a total (default "Saving")
//   steps N            counts of the counted step (default 10)
//   delayms N          sleep after each count (default 20)
//   cpums N            processor time used by each count, so the writer's throttle lets writes through (default 2)
//   holdms N           time with a task and no step, before the counted step (default 100)
//   waitms N           length of the step without a total (default 200)
// It leaves <job>.arg beside the job file ("argc=N", "arg=<argv[1]>", "fds=<open descriptors,
// comma-separated>", "pid=N"). Exit codes: 0 done, 2 usage, 4 no progress-bar file to open.
#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "KVString.h"
#include "ProgressBar/KVProgressBar.h"
#include "native/KVTimeService.h"

namespace {

struct Job {
    std::string task = "Decimating";
    std::string step = "Reducing";
    std::string wait = "Saving";
    int steps = 10;
    int delayMs = 20;
    int cpuMs = 2;
    int holdMs = 100;
    int waitMs = 200;
};

Job readJob(const std::string& path) {
    Job job;
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return job;
    char buffer[512];
    while (std::fgets(buffer, sizeof buffer, f) != nullptr) {
        std::string line(buffer);
        while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
        const std::size_t blank = line.find(' ');
        if (blank == std::string::npos) continue;
        const std::string key = line.substr(0, blank);
        const std::string value = line.substr(blank + 1);
        const int number = std::atoi(value.c_str());
        if (key == "task") job.task = value;
        else if (key == "step") job.step = value;
        else if (key == "wait") job.wait = value;
        else if (key == "steps") job.steps = number;
        else if (key == "delayms") job.delayMs = number;
        else if (key == "cpums") job.cpuMs = number;
        else if (key == "holdms") job.holdMs = number;
        else if (key == "waitms") job.waitMs = number;
    }
    std::fclose(f);
    return job;
}

// Written under a temporary name and renamed, so a reader sees the file whole.
void writeMarker(const std::string& path, const std::string& text) {
    const std::string tmp = path + ".tmp";
    FILE* f = std::fopen(tmp.c_str(), "wb");
    if (f == nullptr) return;
    std::fwrite(text.data(), 1, text.size(), f);
    std::fclose(f);
    std::rename(tmp.c_str(), path.c_str());
}

void useProcessorTime(int milliseconds) {
    const long start = KVTimeService::processorClock();
    const long needed = KVTimeService::processorClocksPerSecond() * milliseconds / 1000;
    volatile unsigned sink = 0;
    while (KVTimeService::processorClock() - start < needed) sink = sink + 1;
}

class Runner {
public:
    explicit Runner(const Job& job) : m_job(job) {}

    int run(const std::string& runningPath) {
        if (!m_bar.open(KVString(runningPath.c_str()))) return 4;
        m_bar.start(m_job.task.c_str());
        m_bar.enableStop(true);
        KVTimeService::sleep(m_job.holdMs);

        m_bar.startStep(m_job.step.c_str(), m_job.steps);
        for (int i = 1; i <= m_job.steps; ++i) {
            useProcessorTime(m_job.cpuMs);
            m_bar.setCount(i);
            KVTimeService::sleep(m_job.delayMs);
        }
        m_bar.endStep();

        m_bar.startStep(m_job.wait.c_str(), 0);
        KVTimeService::sleep(m_job.waitMs);
        m_bar.endStep();
        m_bar.end();
        m_bar.close();  // deletes the file: the job is over
        return 0;
    }

private:
    Job m_job;
    KVProgressBar m_bar;
};

// The descriptors open at start, in increasing order ("0,1,2" when only the standard three were
// inherited); the one that lists them is left out.
std::string openDescriptors() {
    DIR* dir = opendir("/proc/self/fd");
    if (dir == nullptr) return "?";
    std::vector<int> fds;
    while (dirent* e = readdir(dir)) {
        if (e->d_name[0] < '0' || e->d_name[0] > '9') continue;
        const int fd = std::atoi(e->d_name);
        if (fd != dirfd(dir)) fds.push_back(fd);
    }
    closedir(dir);
    std::sort(fds.begin(), fds.end());
    std::string text;
    for (int fd : fds) text += (text.empty() ? "" : ",") + std::to_string(fd);
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    const KVString given(argv[1]);
    const char* valid = given.getValidFilePath();
    const std::string jobPath = valid ? valid : "";
    // Report how it was started before anything else, for the launch tests.
    writeMarker(jobPath + ".arg", "argc=" + std::to_string(argc) + "\narg=" + argv[1] + "\nfds=" + openDescriptors() + "\npid=" +
                                      std::to_string(getpid()) + "\n");
    if (argc != 2) return 2;

    const Job job = readJob(jobPath);
    Runner runner(job);
    return runner.run(jobPath + ".running");
}
