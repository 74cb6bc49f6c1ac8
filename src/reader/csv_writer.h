// Text output of the CSV export: composes lines in a buffer of its own and hands whole pieces to a stream.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string_view>
#include <vector>

namespace vortena {

/// Writes through to `out`, which must outlive it. Whatever is still buffered is written by flush() or at the
/// end. Failures of the stream are not looked at; the stream keeps them. The output does not depend on any
/// locale.
class CsvWriter {
 public:
  explicit CsvWriter(std::ostream& out);
  ~CsvWriter() { flush(); }
  CsvWriter(const CsvWriter&) = delete;
  CsvWriter& operator=(const CsvWriter&) = delete;
  CsvWriter(CsvWriter&&) = delete;
  CsvWriter& operator=(CsvWriter&&) = delete;

  void text(std::string_view text);
  void number(std::int64_t value);

  /// The value with exactly `decimals` decimals, then a comma. The digits are those of the nearest decimal to
  /// the exact binary value, ties to even: what a stream in fixed notation prints. "inf", "-inf"; "nan"
  /// whatever its sign.
  void cell(double value, int decimals);

  void empty_cells(std::size_t count);
  void end_line() { text("\n"); }
  void flush();

 private:
  /// Room for the longest single item: the digits of the largest double, sign, point, decimals and comma.
  static constexpr std::size_t kLongestItem = 384;
  static constexpr std::size_t kBufferSize = std::size_t{256} * 1024;

  void make_room() {
    if (buffer_.size() - used_ < kLongestItem) {
      flush();
    }
  }

  std::ostream& out_;
  std::vector<char> buffer_;
  std::size_t used_ = 0;
};

}  // namespace vortena
