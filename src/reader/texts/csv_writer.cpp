// Buffering only; cells are printed by fixed_decimal.h.
#include "reader/texts/csv_writer.h"

#include <algorithm>
#include <string>

namespace vortena {

CsvWriter::CsvWriter(std::ostream& out, std::size_t longest_row)
    : out_(out),
      longest_row_(longest_row),
      buffer_(kBufferSize + longest_row),
      end_(buffer_.data()),
      limit_(buffer_.data() + kBufferSize) {}

void CsvWriter::flush() {
  const std::streamsize size = end_ - buffer_.data();
  end_ = buffer_.data();
  if (out_.good()) {
    out_.write(buffer_.data(), size);
  }
}

void CsvWriter::text(std::string_view text) {
  while (!text.empty()) {
    make_room();
    const std::size_t count = std::min(text.size(), longest_row_);
    end_ = std::copy_n(text.begin(), count, end_);
    text.remove_prefix(count);
  }
}

void CsvWriter::number(std::int64_t value) {
  text(std::to_string(value));
}

}  // namespace vortena
