// WorkerPool: a condition variable hands each run to the pool threads; the caller waits for them.
#include "WorkerPool.h"

#include <algorithm>
#include <system_error>

namespace trimora_decimation {

WorkerPool::WorkerPool(int workers) {
    for (int i = 1; i < workers; ++i) {
        try {
            m_threads.emplace_back(&WorkerPool::loop, this, i);
        } catch (const std::system_error&) {
            break;  // fewer workers; the results never depend on their number
        }
    }
}

WorkerPool::~WorkerPool() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_wake.notify_all();
    for (std::thread& t : m_threads) t.join();
}

void WorkerPool::loop(int index) {
    std::uint64_t seen = 0;
    for (;;) {
        const std::function<void(int)>* task;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_wake.wait(lock, [&] { return m_stop || m_generation != seen; });
            if (m_stop) return;
            seen = m_generation;
            if (index >= m_active) continue;
            task = m_task;
        }
        std::exception_ptr error;
        try {
            (*task)(index);
        } catch (...) {
            error = std::current_exception();
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        if (error && !m_error) m_error = error;
        if (--m_pending == 0) m_finished.notify_one();
    }
}

void WorkerPool::run(int workers, const std::function<void(int)>& task) {
    workers = std::max(1, std::min(workers, size()));
    if (workers == 1) {
        task(0);
        return;
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_task = &task;
        m_active = workers;
        m_pending = workers - 1;
        m_error = nullptr;
        ++m_generation;
    }
    m_wake.notify_all();
    std::exception_ptr error;
    try {
        task(0);
    } catch (...) {
        error = std::current_exception();
    }
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_finished.wait(lock, [&] { return m_pending == 0; });
        m_task = nullptr;
        if (!error) error = m_error;
        m_error = nullptr;
    }
    if (error) std::rethrow_exception(error);
}

}  // namespace trimora_decimation
