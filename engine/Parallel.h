// Work spread over the processors: how many there are, and a loop whose
// iterations run on several threads.

#ifndef LEXPAND_ENGINE_PARALLEL_H
#define LEXPAND_ENGINE_PARALLEL_H

#include <atomic>
#include <cstddef>
#include <functional>
#include <optional>
#include <type_traits>
#include <vector>

namespace lexpand {

// The processors this process may run on at once (taskset and cgroups' CPU
// sets count); at least 1.
unsigned processorCount();

// The threads that a count of `threads` stands for: itself, or
// processorCount() for 0.
unsigned threadCount(unsigned threads);

// Calls `work(i)` once for every i in [0, count), on at most `threads`
// threads (0: processorCount()), the calling thread being one of them, and
// returns once every call has returned. Calls for different i may run at the
// same time and in any order. When calls throw, the first exception caught is
// thrown again here after every thread has stopped (the remaining indices are
// then skipped). Fewer threads run when the system refuses more. Cost: the
// calls, plus starting min(threads, count) - 1 threads.
void forEachIndex(std::size_t count, unsigned threads, const std::function<void(std::size_t)>& work);

// The values make(0), ..., make(count - 1), each an optional, made as
// forEachIndex makes them and answered in index order; absent when one is
// absent (the indices not yet taken are then skipped).
template <typename Make>
auto mapEachIndex(std::size_t count, unsigned threads, const Make& make)
    -> std::optional<std::vector<typename std::invoke_result_t<const Make&, std::size_t>::value_type>> {
    std::vector<std::invoke_result_t<const Make&, std::size_t>> made(count);
    std::atomic<bool> failed{false};
    forEachIndex(count, threads, [&](std::size_t i) {
        if (failed) return;
        made[i] = make(i);
        if (!made[i]) failed = true;
    });
    if (failed) return std::nullopt;
    std::vector<typename std::invoke_result_t<const Make&, std::size_t>::value_type> values;
    values.reserve(count);
    for (auto& value : made) values.push_back(std::move(*value));
    return values;
}

} // namespace lexpand

#endif // LEXPAND_ENGINE_PARALLEL_H
