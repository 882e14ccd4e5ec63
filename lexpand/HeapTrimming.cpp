// Exports PeriodicHeapTrimming.

#include "HeapTrimming.h"

#include <malloc.h>

namespace lexpand {

PeriodicHeapTrimming::PeriodicHeapTrimming(std::chrono::milliseconds period)
    : thread_([this, period](const std::stop_token& stop) {
          std::unique_lock lock(mutex_);
          // Each wait ends after the period, or at once when the owner stops
          // the thread (the jthread's destructor asks it to, then joins it).
          do {
              malloc_trim(0);
          } while (!stopped_.wait_for(lock, stop, period, [&] { return stop.stop_requested(); }));
      }) {}

} // namespace lexpand
