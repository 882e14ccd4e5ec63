// Exports trimHeaps and PeriodicHeapTrimming.

#include "HeapTrimming.h"

#include <malloc.h>

namespace lexpand {

void trimHeaps() {
    malloc_trim(0);
}

PeriodicHeapTrimming::PeriodicHeapTrimming(std::chrono::milliseconds period)
    : thread_([this, period](const std::stop_token& stop) {
          std::unique_lock lock(mutex_);
          // Each wait ends after the period, or at once when the owner stops
          // the thread (the jthread's destructor asks it to, then joins it).
          while (!stopped_.wait_for(lock, stop, period, [&] { return stop.stop_requested(); })) trimHeaps();
      }) {}

} // namespace lexpand
