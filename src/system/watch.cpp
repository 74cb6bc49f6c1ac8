// Relaxed order suffices: the numbers guard no other memory.
#include "system/watch.h"

#include <algorithm>
#include <limits>

namespace vortena {
namespace {

std::int32_t clamped(std::uint64_t count) {
  constexpr std::uint64_t kHighest = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::min(count, kHighest));
}

#if defined(__EMSCRIPTEN__)
/// No other thread reaches the memory of an instance: its loader looks at the numbers, and may set `stop`, in this
/// call.
extern "C" void vortena_look(Watch*) __attribute__((import_module("env"), import_name("vortena_look")));

void show(Watch* watch) {
  vortena_look(watch);
}
#else
void show(Watch* /*watch*/) {}
#endif

}  // namespace

void begin_stage(Watch* watch, Stage stage, std::uint64_t total) {
  if (watch != nullptr) {
    watch->done.store(0, std::memory_order_relaxed);
    watch->total.store(clamped(total), std::memory_order_relaxed);
    watch->stage.store(static_cast<std::int32_t>(stage), std::memory_order_relaxed);
  }
}

void Patience::ask() const {
  show(watch_);
  if (watch_->stop.load(std::memory_order_relaxed) != 0) {
    throw Stopped{};
  }
}

bool goes_on(Watch* watch, std::uint64_t done) {
  if (watch == nullptr) {
    return true;
  }
  watch->done.store(clamped(done), std::memory_order_relaxed);
  show(watch);
  return watch->stop.load(std::memory_order_relaxed) == 0;
}

}  // namespace vortena
