#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

// Work done on several threads and used in order: items are made on workers, a bounded number
// ahead of the one in use, and handed to the calling thread one after another by index.
namespace nvrprint::platform {

// Workers for work that fills the processor: one per core, at least one, at most eight.
inline unsigned WorkersForCores() {
    return std::clamp(std::thread::hardware_concurrency(), 1u, 8u);
}

// Makes items 0..count-1 with make(worker, index) on `workers` threads (worker counts from 0,
// so each may keep state of its own) and hands each to use(index, item) on the calling
// thread, in index order. No more than `ahead` items are made or waiting beyond the one in
// use. An item that could not be made (nullopt, or make threw) is still handed to use, in its
// turn; a false from use (or a throw) stops the work: no further item is started, and the call
// returns false once every worker has ended. So it does when no worker thread can be started.
template <class Item>
bool RunInOrder(size_t count, unsigned workers, size_t ahead,
                const std::function<std::optional<Item>(unsigned worker, size_t index)>& make,
                const std::function<bool(size_t index, std::optional<Item>&& item)>& use) {
    workers = std::max(1u, workers);
    ahead = std::max<size_t>(ahead, workers);
    std::mutex lock;
    std::condition_variable changed;
    std::map<size_t, std::optional<Item>> ready;
    size_t nextToMake = 0;
    size_t nextToUse = 0;
    bool stopped = false;

    auto work = [&](unsigned worker) {
        std::unique_lock guard(lock);
        while (true) {
            changed.wait(guard, [&] {
                return stopped || nextToMake >= count || nextToMake < nextToUse + ahead;
            });
            if (stopped || nextToMake >= count) {
                return;
            }
            const size_t index = nextToMake++;
            guard.unlock();
            std::optional<Item> item;
            try {
                item = make(worker, index);
            } catch (...) {
                item.reset();
            }
            guard.lock();
            ready.emplace(index, std::move(item));
            changed.notify_all();
        }
    };
    auto stop = [&] {
        std::lock_guard hold(lock);
        stopped = true;
        changed.notify_all();
    };
    std::vector<std::jthread> threads;
    try {
        threads.reserve(workers);
        for (unsigned w = 0; w < workers; ++w) {
            threads.emplace_back(work, w);
        }
    } catch (...) {
        stop();
        return false;  // the threads started end with the vector
    }

    bool ok = true;
    std::unique_lock guard(lock);
    while (nextToUse < count) {
        changed.wait(guard, [&] { return ready.contains(nextToUse); });
        auto node = ready.extract(nextToUse);
        guard.unlock();
        try {
            ok = use(nextToUse, std::move(node.mapped()));
        } catch (...) {
            ok = false;
        }
        guard.lock();
        if (!ok) {
            stopped = true;
            changed.notify_all();
            break;
        }
        ++nextToUse;
        changed.notify_all();
    }
    guard.unlock();
    threads.clear();  // joins
    return ok;
}

}  // namespace nvrprint::platform
