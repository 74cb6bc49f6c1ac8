// Streams tell no reasons, so those of the system are taken from where the C library leaves them.
#include "system/file_access.h"

#include <cerrno>

namespace vortena {

std::filesystem::path utf8_path(const char* path) {
  const std::string bytes = path;
  return {std::u8string(bytes.begin(), bytes.end())};
}

std::optional<FileState> file_state(const char* path) {
  const std::filesystem::path file = utf8_path(path);
  std::error_code failure;
  FileState state;
  state.bytes = std::filesystem::file_size(file, failure);
  if (!failure) {
    state.changed = std::filesystem::last_write_time(file, failure);
  }
  return failure ? std::nullopt : std::optional(state);
}

std::ifstream open_recording(const char* path, std::error_code* failure) {
  const std::filesystem::path file = utf8_path(path);
  const std::filesystem::file_status status = std::filesystem::status(file, *failure);
  if (*failure) {
    return {};
  }
  if (!std::filesystem::is_regular_file(status)) {
    *failure = make_error_code(std::filesystem::is_directory(status) ? std::errc::is_a_directory
                                                                     : std::errc::operation_not_supported);
    return {};
  }
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  if (!stream.is_open()) {
    *failure = last_system_error();
  }
  return stream;
}

std::ofstream create_output_file(const char* path) {
  const std::filesystem::path file = utf8_path(path);
  std::error_code failure;
  if (std::filesystem::is_fifo(file, failure)) {
    return {};
  }
  // Binary, so that lines end in a line feed alone on every platform.
  return std::ofstream(file, std::ios::binary | std::ios::trunc);
}

bool read_failed(const std::istream& stream) {
#ifdef _LIBCPP_VERSION
  return stream.fail() && (!stream.eof() || errno != 0);  // its streams take a failure for the end of the file
#else
  return stream.fail() && !stream.eof();
#endif
}

std::error_code last_system_error() {
  return {errno != 0 ? errno : EIO, std::generic_category()};
}

std::string _file_basename(const std::string& path) {
  const std::size_t separator = path.find_last_of("/\\");
  const std::string name = separator == std::string::npos ? path : path.substr(separator + 1);
  return name.substr(0, name.rfind('.'));
}

}  // namespace vortena
