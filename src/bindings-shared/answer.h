// What an operation leaves behind for whoever runs it: a text, large arrays, or the reason why there are none.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "system/watch.h"

namespace vortena::operations {

/// Why an operation gave nothing. Empty texts say nothing.
struct Failure {
  std::string code{};
  std::string reason{};       ///< one of the code's reasons
  std::string stage{};        ///< that it ended
  std::string message{};      ///< a sentence
  std::string system_name{};  ///< of a failure of the system, as "ENOENT"
  int recording = -1;         ///< of a set; -1 without
};

/// An array, and what it belongs to.
struct Memory {
  void* data = nullptr;
  std::size_t bytes = 0;
  std::shared_ptr<void> owner;
};

struct Answer {
  std::string json;
  std::vector<std::unique_ptr<Memory>> memory;
  Failure failure;  ///< of an empty code: none
};

/// An operation with its arguments; owns what it needs of them.
using Work = std::function<Answer(Watch*)>;

/// Runs it; what it throws becomes a failure.
Answer run_guarded(const Work& work, Watch* watch) noexcept;

}  // namespace vortena::operations
