// WorkerPool: threads started once per job and reused by each of its parallel steps.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace trimora_decimation {

// A job runs dozens of short parallel steps; starting threads for each one cost as much as the
// step itself on small meshes. The calling thread takes part as worker 0, so a pool of one
// starts no thread at all.
class WorkerPool {
public:
    // `workers` counts the calling thread; at least 1. When the system refuses a thread the pool
    // simply has fewer workers.
    explicit WorkerPool(int workers);
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    int size() const { return int(m_threads.size()) + 1; }

    // Runs task(worker) once on each of `workers` workers (clamped to [1, size()]), worker 0 on the
    // calling thread, and returns when all have finished. An exception thrown by any of them is
    // rethrown here after the others have finished.
    void run(int workers, const std::function<void(int)>& task);

private:
    void loop(int index);

    std::vector<std::thread> m_threads;
    std::mutex m_mutex;
    std::condition_variable m_wake, m_finished;
    const std::function<void(int)>* m_task = nullptr;
    int m_active = 0;    // workers taking part in the current run
    int m_pending = 0;   // pool threads still working on it
    std::uint64_t m_generation = 0;
    bool m_stop = false;
    std::exception_ptr m_error;
};

}  // namespace trimora_decimation
