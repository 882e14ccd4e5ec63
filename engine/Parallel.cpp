// Exports processorCount and forEachIndex.

#include "Parallel.h"

#include <sched.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace lexpand {

unsigned processorCount() {
    cpu_set_t processors;
    CPU_ZERO(&processors);
    if (sched_getaffinity(0, sizeof processors, &processors) == 0)
        return static_cast<unsigned>(std::max(1, CPU_COUNT(&processors)));
    return std::max(1u, std::thread::hardware_concurrency());
}

unsigned threadCount(unsigned threads) {
    return threads != 0 ? threads : processorCount();
}

void forEachIndex(std::size_t count, unsigned threads, const std::function<void(std::size_t)>& work) {
    threads = threadCount(threads);
    if (threads <= 1 || count <= 1) {
        for (std::size_t i = 0; i < count; ++i) work(i);
        return;
    }
    std::atomic<std::size_t> next{0};
    std::mutex failureMutex;
    std::exception_ptr failure;
    const auto run = [&] {
        for (std::size_t i = next++; i < count; i = next++) {
            try {
                work(i);
            } catch (...) {
                const std::lock_guard lock(failureMutex);
                if (!failure) failure = std::current_exception();
                next = count; // no further index is taken
            }
        }
    };
    {
        std::vector<std::jthread> helpers;
        const std::size_t wanted = std::min<std::size_t>(threads, count) - 1;
        helpers.reserve(wanted);
        try {
            for (std::size_t t = 0; t < wanted; ++t) helpers.emplace_back(run);
        } catch (const std::system_error&) {
            // The threads that started, and this one, take every index.
        }
        run();
    } // the helpers are joined here
    if (failure) std::rethrow_exception(failure);
}

} // namespace lexpand
