// Arrays of whole recordings. Touching fresh memory page by page is a good part of the time of reading, so it is asked
// for in large pages.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace vortena {

/// Asks for large pages in `memory`, before it is first touched. A system that has none, or a block too small for them,
/// stays as it is. Contents never change; an allocator that keeps freed memory may keep its large pages, too.
void prefer_large_pages(void* memory, std::size_t bytes);

/// Gives the whole pages in `memory` back to the system, where it takes them; the contents are lost. For the part of an
/// array that is not needed any more, before all of it is freed.
void give_back_pages(void* memory, std::size_t bytes);

/// The standard allocator, except for large pages.
template <typename T>
struct LargeArrayAllocator {
  using value_type = T;

  LargeArrayAllocator() = default;
  template <typename U>
  explicit LargeArrayAllocator(const LargeArrayAllocator<U>& /*other*/) {}

  T* allocate(std::size_t count) {
    T* const memory = std::allocator<T>().allocate(count);
    prefer_large_pages(memory, count * sizeof(T));
    return memory;
  }
  void deallocate(T* memory, std::size_t count) { std::allocator<T>().deallocate(memory, count); }

  bool operator==(const LargeArrayAllocator&) const = default;
};

template <typename T>
using LargeArray = std::vector<T, LargeArrayAllocator<T>>;

}  // namespace vortena
