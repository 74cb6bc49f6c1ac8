// Paths come from JavaScript as UTF-8 on every platform; file streams get them in the platform's own form.
#pragma once

#include <filesystem>
#include <string>

namespace vortena {

/// `path` is zero-terminated UTF-8.
inline std::filesystem::path utf8_path(const char* path) {
  const std::string bytes = path;
  return {std::u8string(bytes.begin(), bytes.end())};
}

}  // namespace vortena
