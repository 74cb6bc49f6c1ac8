// Only Linux gives large pages on request; elsewhere there is nothing to do.
#include "reader/large_array.h"

#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#endif

namespace vortena {

#if defined(__linux__) && defined(MADV_HUGEPAGE)
void prefer_large_pages(void* memory, std::size_t bytes) {
  constexpr std::size_t kWorthwhile = std::size_t{4} << 20;  // two large pages on most machines
  if (bytes < kWorthwhile) {
    return;
  }
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto begin = reinterpret_cast<std::uintptr_t>(memory);
  const std::uintptr_t first_page = (begin + page - 1) / page * page;
  // Refused on kernels without large pages; the hint is then of no use, and of no harm.
  madvise(reinterpret_cast<void*>(first_page), begin + bytes - first_page, MADV_HUGEPAGE);
}
#else
void prefer_large_pages(void*, std::size_t) {}
#endif

}  // namespace vortena
