// Only Linux gives large pages on request; elsewhere there is nothing to do.
#include "system/large_pages.h"

#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#endif

namespace vortena {

#if defined(__linux__) && defined(MADV_HUGEPAGE)
namespace {

/// The first page that begins in or behind `memory`.
std::uintptr_t next_page(const void* memory, std::uintptr_t page) {
  return (reinterpret_cast<std::uintptr_t>(memory) + page - 1) / page * page;
}

}  // namespace

void prefer_large_pages(void* memory, std::size_t bytes) {
  constexpr std::size_t kWorthwhile = std::size_t{4} << 20;  // two large pages on most machines
  if (bytes < kWorthwhile) {
    return;
  }
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const std::uintptr_t to_next_page = next_page(memory, page) - reinterpret_cast<std::uintptr_t>(memory);
  // Refused on kernels without large pages; the hint is then of no use, and of no harm.
  madvise(static_cast<std::byte*>(memory) + to_next_page, bytes - to_next_page, MADV_HUGEPAGE);
}

void give_back_pages(void* memory, std::size_t bytes) {
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const std::uintptr_t to_next_page = next_page(memory, page) - reinterpret_cast<std::uintptr_t>(memory);
  if (to_next_page < bytes) {
    const std::size_t whole = (bytes - to_next_page) / page * page;
    madvise(static_cast<std::byte*>(memory) + to_next_page, whole, MADV_DONTNEED);
  }
}
#else
void prefer_large_pages(void*, std::size_t) {}
void give_back_pages(void*, std::size_t) {}
#endif

}  // namespace vortena
