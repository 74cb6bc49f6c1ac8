// Memory of whole recordings. Touching fresh memory page by page is a good part of the time of reading, so it is asked
// for in large pages.
#pragma once

#include <cstddef>
#include <vector>

namespace vortena {

/// Asks for large pages in `memory`, before it is first touched. A system that has none, or a block too small for them,
/// stays as it is. Contents never change; an allocator that keeps freed memory may keep its large pages, too.
void prefer_large_pages(void* memory, std::size_t bytes);

/// Gives the whole pages in `memory` back to the system, where it takes them; the contents are lost. For the part of an
/// array that is not needed any more, before all of it is freed.
void give_back_pages(void* memory, std::size_t bytes);

/// Makes room for `count` elements, in large pages; the elements that are there move into it.
template <typename T>
void reserve_large(std::vector<T>* array, std::size_t count) {
  if (count > array->capacity()) {
    std::vector<T> roomy;
    roomy.reserve(count);
    prefer_large_pages(roomy.data(), count * sizeof(T));
    roomy.insert(roomy.end(), array->begin(), array->end());
    array->swap(roomy);
  }
}

}  // namespace vortena
