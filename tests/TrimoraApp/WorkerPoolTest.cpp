// Worker pool: every worker runs once per step on its own thread, steps repeat, errors come back.
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <stdexcept>
#include <thread>

#include "WorkerPool.h"

using trimora_decimation::WorkerPool;

namespace {

TEST(WorkerPool, EachWorkerRunsOncePerStepOnItsOwnThreadAcrossManySteps) {
    WorkerPool pool(3);
    ASSERT_EQ(pool.size(), 3);
    for (int step = 0; step < 300; ++step) {
        const int workers = 1 + step % 3;
        std::atomic<int> calls[3] = {{0}, {0}, {0}};
        std::thread::id ids[3];
        pool.run(workers, [&](int w) {
            ASSERT_GE(w, 0);
            ASSERT_LT(w, 3);
            ++calls[w];
            ids[w] = std::this_thread::get_id();
        });
        for (int w = 0; w < 3; ++w) EXPECT_EQ(calls[w].load(), w < workers ? 1 : 0) << "step " << step;
        EXPECT_EQ(ids[0], std::this_thread::get_id());  // worker 0 is the caller
        std::set<std::thread::id> distinct(ids, ids + workers);
        EXPECT_EQ(int(distinct.size()), workers);
    }
}

TEST(WorkerPool, StepsSeeEachOthersWritesAndAskingTooManyWorkersUsesThePool) {
    WorkerPool pool(2);
    std::vector<long> data(10000, 1);
    for (int round = 0; round < 50; ++round)
        pool.run(8, [&](int w) {
            for (std::size_t i = std::size_t(w); i < data.size(); i += 2) data[i] *= 2;
        });
    // Clamped to the pool's two workers, each element doubled once per step.
    for (long d : data) ASSERT_EQ(d, 1L << 50);
}

TEST(WorkerPool, AnErrorInAnyWorkerReachesTheCallerAndThePoolStaysUsable) {
    WorkerPool pool(2);
    for (int thrower : {0, 1}) {
        std::atomic<int> finished{0};
        EXPECT_THROW(pool.run(2,
                              [&](int w) {
                                  if (w == thrower) throw std::runtime_error("worker failed");
                                  ++finished;
                              }),
                     std::runtime_error);
        EXPECT_EQ(finished.load(), 1);  // the other worker completed before run returned
    }
    std::atomic<int> calls{0};
    pool.run(2, [&](int) { ++calls; });
    EXPECT_EQ(calls.load(), 2);
}

TEST(WorkerPool, PoolOfOneRunsOnTheCaller) {
    WorkerPool pool(0);
    EXPECT_EQ(pool.size(), 1);
    std::thread::id id;
    int calls = 0;
    pool.run(4, [&](int w) {
        EXPECT_EQ(w, 0);
        id = std::this_thread::get_id();
        ++calls;
    });
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(id, std::this_thread::get_id());
}

}  // namespace
