// Creation of output files.
#pragma once

#include <filesystem>
#include <fstream>
#include <system_error>

#include "reader/utf8_path.h"

namespace vortena {

/// Creates or truncates the file at `path` (zero-terminated UTF-8); the stream is not open when that fails. A
/// pipe counts as a file that cannot be created: opening it would wait for a reader, perhaps for ever.
inline std::ofstream create_output_file(const char* path) {
  const std::filesystem::path file = utf8_path(path);
  std::error_code failure;
  if (std::filesystem::is_fifo(file, failure)) {
    return {};
  }
  // Binary, so that lines end in a line feed alone on every platform.
  return std::ofstream(file, std::ios::binary | std::ios::trunc);
}

}  // namespace vortena
