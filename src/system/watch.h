// A long operation as other threads see it: how far it is, and the wish that it stop.
#pragma once

#include <atomic>
#include <cstdint>

namespace vortena {

/// What a watched operation is doing; the unit of its counts.
enum class Stage : std::int32_t {
  kWaiting,
  kDecoding,       ///< blocks of the file
  kOrientation,    ///< samples
  kWriting,        ///< rows
  kSynchronising,  ///< channels of a set
  kLevels,         ///< samples
};

/// Four numbers in a row, free of locks, that any thread may read; any may set `stop`. The working thread asks at
/// every piece of work, a few milliseconds apart. An operation without a watch (null) costs nothing.
struct Watch {
  std::atomic<std::int32_t> stop{0};  ///< anything but 0: end the operation
  std::atomic<std::int32_t> stage{0};
  std::atomic<std::int32_t> done{0};  ///< of `total`, in the unit of the stage
  std::atomic<std::int32_t> total{0};
};
static_assert(std::atomic<std::int32_t>::is_always_lock_free && sizeof(Watch) == 4 * sizeof(std::int32_t),
              "the four numbers may lie in memory that is shared with another language");

/// Begins a stage of `total` units. Counts beyond 31 bits stay at the highest.
void begin_stage(Watch* watch, Stage stage, std::uint64_t total);

/// Tells how far the stage is; false when the operation is to stop.
bool goes_on(Watch* watch, std::uint64_t done);

/// Thrown by a Patience, for loops that know no other way out, such as those of the standard library's sorts.
struct Stopped {};

/// Asks a watch now and then from the middle of a loop.
class Patience {
 public:
  explicit Patience(Watch* watch) : watch_(watch) {}

  /// Call it at every step. Throws Stopped when the operation is to stop.
  void step() {
    if (watch_ != nullptr && ++steps_ % kStepsBetween == 0) [[unlikely]] {
      ask();
    }
  }

 private:
  static constexpr std::uint32_t kStepsBetween = 1U << 16U;  // a millisecond or less of most loops

  void ask() const;

  Watch* watch_;
  std::uint32_t steps_ = 0;
};

}  // namespace vortena
