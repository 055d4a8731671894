/// Runs many jobs on all cores and delivers the results in the order of the jobs.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

/// Runs jobs in parallel, at most `jobsInFlight` at a time including undelivered results, which bounds the
/// memory. One thread at a time delivers a result, after the results of all earlier jobs.
template <typename Job, typename Result>
class OrderedWork {
public:
    OrderedWork(std::function<Result(Job const&)> workOnJob, std::function<void(Result const&)> deliverResult)
        : work(std::move(workOnJob)), deliver(std::move(deliverResult)) {
        unsigned const threads = std::max(1U, std::thread::hardware_concurrency());
        jobsInFlight = 16 * threads;
        try {
            for (unsigned i = 0; i < threads; ++i)
                workers.emplace_back([this] { run(); });
        } catch (std::system_error const&) {
            // Fewer threads are enough, but at least one is required.
            if (workers.empty())
                throw;
        }
    }
    OrderedWork(OrderedWork const&) = delete;
    OrderedWork& operator=(OrderedWork const&) = delete;
    ~OrderedWork() { finish(); }

    /// Waits if too many jobs are in flight.
    void add(Job job) {
        std::unique_lock lock(mutex);
        hasRoom.wait(lock, [&] { return slots.size() < jobsInFlight; });
        slots.push_back({std::move(job), std::nullopt});
        hasJobs.notify_one();
    }

    /// Waits for the last result. No job may be added afterwards.
    void finish() {
        {
            std::lock_guard const lock(mutex);
            isClosed = true;
        }
        hasJobs.notify_all();
        for (std::thread& worker : workers)
            worker.join();
        workers.clear();
    }

private:
    struct Slot {
        Job job;
        std::optional<Result> result;
    };

    void run() {
        std::unique_lock lock(mutex);
        for (;;) {
            hasJobs.wait(lock, [&] { return taken < slots.size() || isClosed; });
            if (taken == slots.size())
                return;
            // Only finished slots leave the queue, at its front, so references to other elements stay valid.
            Slot& slot = slots[taken++];
            lock.unlock();
            Result result = work(slot.job);
            lock.lock();
            slot.result = std::move(result);
            deliverFinished();
        }
    }

    void deliverFinished() {
        while (!slots.empty() && slots.front().result) {
            deliver(*slots.front().result);
            slots.pop_front();
            --taken;
            hasRoom.notify_one();
        }
    }

    std::function<Result(Job const&)> work;
    std::function<void(Result const&)> deliver;
    size_t jobsInFlight;
    std::mutex mutex;
    std::condition_variable hasJobs, hasRoom;
    std::deque<Slot> slots; ///< In the order of the jobs.
    size_t taken = 0;       ///< The number of slots, from the front, that workers have taken.
    bool isClosed = false;
    std::vector<std::thread> workers;
};
