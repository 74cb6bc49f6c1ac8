// Buffering of the CSV text: lines are composed in a buffer of its own and handed to a stream in large
// pieces.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string_view>
#include <vector>

#include "reader/fixed_decimal.h"

namespace vortena {

/// Writes through to `out`, which must outlive it. Whatever is still buffered is written by flush() or at the
/// end. Failures of the stream are not looked at; the stream keeps them. The output does not depend on any
/// locale.
class CsvWriter {
 public:
  static constexpr std::size_t kCellsPerRow = 16;
  static constexpr std::size_t kLongestRow = kCellsPerRow * kLongestCell;

  explicit CsvWriter(std::ostream& out);
  ~CsvWriter() { flush(); }
  CsvWriter(const CsvWriter&) = delete;
  CsvWriter& operator=(const CsvWriter&) = delete;
  CsvWriter(CsvWriter&&) = delete;
  CsvWriter& operator=(CsvWriter&&) = delete;

  void text(std::string_view text);
  void number(std::int64_t value);
  void end_line() { text("\n"); }

  /// A place for up to kLongestRow characters; commit() tells how far it was filled. Rows are written through
  /// a pointer of the caller's, which stays in a register.
  char* begin_row() {
    make_room();
    return end_;
  }
  void commit(char* row_end) { end_ = row_end; }

  void flush();

 private:
  static constexpr std::size_t kBufferSize = std::size_t{256} * 1024;

  void make_room() {
    if (static_cast<std::size_t>(limit_ - end_) < kLongestRow) {
      flush();
    }
  }

  std::ostream& out_;
  std::vector<char> buffer_;
  char* end_;  ///< behind what is written
  char* const limit_;
};

}  // namespace vortena
