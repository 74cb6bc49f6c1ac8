// What src/bindings-js.cpp holds the arguments of the five methods to, and what becomes of exceptions. For the other
// boundaries src/requests/methods.js does the same.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "reader/recording.h"

namespace vortena {

enum class Kind { kString, kArray };

/// Bytes that a list of paths may hold, with what each recording takes before it is read: some 300,000 recordings. The
/// length that an array claims says nothing: it may be sparse, or its elements may come from a getter without end.
constexpr std::size_t kLargestPathList = std::size_t{256} * 1024 * 1024;

/// How many elements of a list that is too long anyway are still tested: a wrong kind is the error that counts.
constexpr std::uint32_t kMostTested = std::uint32_t{1} << 20;

/// Conversions from this many UTF-16 units on make sure of their memory first.
constexpr std::size_t kLongString = std::size_t{1024} * 1024;
constexpr std::size_t kMaxUtf8BytesPerUnit = 3;

/// Out of memory, the runtime's own conversion ends the process. Asking for the same amount first throws instead.
inline void require_memory_for_text(std::size_t units) {
  if (units >= kLongString) {
    // Called by name: unlike a new-expression, these calls are never optimised away.
    ::operator delete(::operator new(units * kMaxUtf8BytesPerUnit + 1));
  }
}

/// The paths of one call.
class PathList {
 public:
  void add(const char* path) {
    paths_.emplace_back(path);
    held_ += sizeof(Recording) + sizeof(std::string) + paths_.back().capacity();
  }

  [[nodiscard]] bool is_too_long() const { return held_ > kLargestPathList; }

  /// Whether the element of this index is to be tested.
  [[nodiscard]] bool tests(std::uint32_t index) const { return !is_too_long() || index <= kMostTested; }

  /// Throws std::length_error.
  std::vector<std::string> take() {
    if (is_too_long()) {
      throw std::length_error("The list of recordings is too long");
    }
    return std::move(paths_);
  }

 private:
  std::vector<std::string> paths_;
  std::size_t held_ = 0;
};

/// Runs `method`, which may throw anything; `throw_error(message)` takes it on to JavaScript.
template <typename Method, typename ThrowError>
void guard(Method method, ThrowError throw_error) {
  try {
    method();
  } catch (const std::bad_alloc&) {
    throw_error("Not enough memory for this call");
  } catch (const std::exception& error) {
    throw_error(error.what());
  } catch (...) {
    throw_error("The call failed");
  }
}

}  // namespace vortena
