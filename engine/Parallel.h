// Work spread over the processors: how many there are, and a loop whose
// iterations run on several threads.

#ifndef LEXPAND_ENGINE_PARALLEL_H
#define LEXPAND_ENGINE_PARALLEL_H

#include <cstddef>
#include <functional>

namespace lexpand {

// The processors this process may run on at once (taskset and cgroups' CPU
// sets count); at least 1.
unsigned processorCount();

// Calls `work(i)` once for every i in [0, count), on at most `threads`
// threads (0: processorCount()), the calling thread being one of them, and
// returns once every call has returned. Calls for different i may run at the
// same time and in any order. When calls throw, the first exception caught is
// thrown again here after every thread has stopped (the remaining indices are
// then skipped). Fewer threads run when the system refuses more. Cost: the
// calls, plus starting min(threads, count) - 1 threads.
void forEachIndex(std::size_t count, unsigned threads, const std::function<void(std::size_t)>& work);

} // namespace lexpand

#endif // LEXPAND_ENGINE_PARALLEL_H
