// A hint to the system, for the arrays of whole recordings: most of the time of touching fresh memory goes into its
// pages, one by one, and large pages are a few hundred times fewer.
#pragma once

#include <cstddef>

namespace vortena {

/// Asks for large pages in `memory`, before it is first touched. A system that has none, or a block too small for them,
/// stays as it is; nothing else changes.
void prefer_large_pages(void* memory, std::size_t bytes);

}  // namespace vortena
