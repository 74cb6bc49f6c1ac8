// Buffering of the CSV text: lines are composed in a buffer of its own and handed to a stream in large
// pieces.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string_view>
#include <vector>

namespace vortena {

/// Writes through to `out`, which must outlive it. What is still buffered is lost unless flush() is called: nothing is
/// written by the destructor, as streams may throw. The output does not depend on any locale.
class CsvWriter {
 public:
  /// Rows take at most `longest_row` characters.
  CsvWriter(std::ostream& out, std::size_t longest_row);
  CsvWriter(const CsvWriter&) = delete;
  CsvWriter& operator=(const CsvWriter&) = delete;
  CsvWriter(CsvWriter&&) = delete;
  CsvWriter& operator=(CsvWriter&&) = delete;
  ~CsvWriter() = default;

  void text(std::string_view text);
  void number(std::int64_t value);
  void end_line() { text("\n"); }

  /// A place for the characters of a row; commit() tells how far it was filled. Rows are written through
  /// a pointer of the caller's, which stays in a register.
  char* begin_row() {
    make_room();
    return end_;
  }
  void commit(char* row_end) { end_ = row_end; }

  /// Hands everything to the stream, which keeps its failures: once it has failed, nothing more is handed to it.
  void flush();

 private:
  static constexpr std::size_t kBufferSize = std::size_t{256} * 1024;

  void make_room() {
    if (end_ > limit_) {
      flush();
    }
  }

  std::ostream& out_;
  std::size_t longest_row_;
  std::vector<char> buffer_;
  char* end_;          ///< behind what is written
  char* const limit_;  ///< a longest row before the end of the buffer
};

}  // namespace vortena
