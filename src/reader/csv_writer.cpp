// Buffering only; cells are printed by fixed_decimal.h.
#include "reader/csv_writer.h"

#include <algorithm>
#include <charconv>

namespace vortena {

CsvWriter::CsvWriter(std::ostream& out)
    : out_(out), buffer_(kBufferSize), end_(buffer_.data()), limit_(buffer_.data() + buffer_.size()) {}

void CsvWriter::flush() {
  out_.write(buffer_.data(), end_ - buffer_.data());
  end_ = buffer_.data();
}

void CsvWriter::text(std::string_view text) {
  while (!text.empty()) {
    make_room();
    const std::size_t count = std::min(text.size(), static_cast<std::size_t>(limit_ - end_));
    end_ = std::copy_n(text.begin(), count, end_);
    text.remove_prefix(count);
  }
}

void CsvWriter::number(std::int64_t value) {
  make_room();
  end_ = std::to_chars(end_, limit_, value).ptr;
}

}  // namespace vortena
