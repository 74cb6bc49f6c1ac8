#include "reader/csv_writer.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vortena {

CsvWriter::CsvWriter(std::ostream& out) : out_(out), buffer_(kBufferSize) {
  static_assert(kLongestItem > std::numeric_limits<double>::max_exponent10 + 16);
}

void CsvWriter::flush() {
  out_.write(buffer_.data(), static_cast<std::streamsize>(used_));
  used_ = 0;
}

void CsvWriter::text(std::string_view text) {
  while (!text.empty()) {
    make_room();
    const std::size_t count = std::min(text.size(), buffer_.size() - used_);
    std::copy_n(text.begin(), count, buffer_.begin() + static_cast<std::ptrdiff_t>(used_));
    used_ += count;
    text.remove_prefix(count);
  }
}

void CsvWriter::number(std::int64_t value) {
  make_room();
  char* const end = std::to_chars(buffer_.data() + used_, buffer_.data() + buffer_.size(), value).ptr;
  used_ = static_cast<std::size_t>(end - buffer_.data());
}

void CsvWriter::cell(double value, int decimals) {
  if (std::isnan(value)) {
    return text("nan,");
  }
  make_room();
  char* const end = std::to_chars(buffer_.data() + used_, buffer_.data() + buffer_.size(), value,
                                  std::chars_format::fixed, decimals)
                        .ptr;
  *end = ',';
  used_ = static_cast<std::size_t>(end + 1 - buffer_.data());
}

void CsvWriter::empty_cells(std::size_t count) {
  constexpr std::string_view kCommas = ",,,,,,,,";
  for (; count > 0; count -= std::min(count, kCommas.size())) {
    text(kCommas.substr(0, count));
  }
}

}  // namespace vortena
