// Paths and files. Paths come from JavaScript as UTF-8 on every platform; streams get them in the platform's own form.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <system_error>

namespace vortena {

/// `path` is zero-terminated UTF-8.
std::filesystem::path utf8_path(const char* path);

/// What tells one state of a file from another.
struct FileState {
  std::uintmax_t bytes = 0;
  std::filesystem::file_time_type changed{};

  bool operator==(const FileState&) const = default;
};

/// The state of the file at `path`; empty when it cannot be told, as of a file that is gone.
std::optional<FileState> file_state(const char* path);

/// The recording at `path`, open for binary reading; `*failure` tells why it is not. Only regular files are recordings:
/// opening a pipe or a terminal could wait for ever.
std::ifstream open_recording(const char* path, std::error_code* failure);

/// Creates or truncates the file at `path`; the stream is not open when that fails. A pipe counts as a file that cannot
/// be created: opening it would wait for a reader, perhaps for ever.
std::ofstream create_output_file(const char* path);

/// Whether the last read, with errno 0 before it, met a failure rather than the end.
bool read_failed(const std::istream& stream);

/// The system's reason for the failure that just happened, or "input/output error" where it told none.
std::error_code last_system_error();

/// The file name in `path` without folder and last extension; both "/" and "\\" separate folders. ".bin" gives "". The
/// path is taken as text; no file system is asked.
std::string _file_basename(const std::string& path);

}  // namespace vortena
