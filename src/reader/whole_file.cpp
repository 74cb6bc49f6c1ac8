// C streams, because they tell why a write failed. Modes, owners and syncing are POSIX's; elsewhere files get the
// system's defaults.
#include "reader/whole_file.h"

#include <algorithm>
#include <cerrno>

#include "reader/file_access.h"

#if defined(__unix__) || defined(__APPLE__)
#define VORTENA_POSIX 1
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#endif

namespace vortena {
namespace {

namespace fs = std::filesystem;

#if defined(__EMSCRIPTEN__)
/// An instance has no number of its own: its loader says whose it is.
std::string process_name() {
  const char* const name = std::getenv("VORTENA_PROCESS");
  return name == nullptr ? "instance" : name;
}
#elif defined(VORTENA_POSIX)
std::string process_name() {
  std::array<char, 256> host{};
  gethostname(host.data(), host.size() - 1);
  return std::string(host.data()) + "-" + std::to_string(getpid());
}
#endif

#ifdef VORTENA_POSIX
/// Refused changes of the owner are no failure: the file belongs to whoever writes it then.
std::error_code take_over_mode(std::FILE* file, const fs::path& from) {
  struct stat old{};
  if (stat(from.c_str(), &old) != 0) {
    return {};
  }
  const int descriptor = fileno(file);
  const bool owner_kept = fchown(descriptor, old.st_uid, old.st_gid) == 0;
  constexpr mode_t kPermissions = 0777;
  constexpr mode_t kAll = 07777;  // set-user-id and the like only for the same owner
  return fchmod(descriptor, old.st_mode & (owner_kept ? kAll : kPermissions)) == 0 ? std::error_code()
                                                                                   : last_system_error();
}

/// Renaming would replace even a file that must not be written.
std::error_code refuse_protected(const fs::path& path) {
  return access(path.c_str(), W_OK) == 0 || errno == ENOENT ? std::error_code() : last_system_error();
}

std::error_code sync_file(std::FILE* file) {
  return fsync(fileno(file)) == 0 ? std::error_code() : last_system_error();
}

/// Makes a new name in `folder` last. Some file systems cannot, and need not.
void sync_folder(const fs::path& folder) {
  const int descriptor = ::open(folder.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor >= 0) {
    fsync(descriptor);
    ::close(descriptor);
  }
}
#else
std::string process_name() {
  return "host-0";
}
std::error_code take_over_mode(std::FILE*, const fs::path&) {
  return {};
}
std::error_code refuse_protected(const fs::path&) {
  return {};
}
std::error_code sync_file(std::FILE* file) {
  return std::fflush(file) == 0 ? std::error_code() : last_system_error();
}
void sync_folder(const fs::path&) {}
#endif

fs::path folder_of(const fs::path& file) {
  return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

/// Where the links that begin at `path` lead, whether or not something is there.
std::error_code follow_links(fs::path* path) {
  constexpr int kMostLinks = 40;
  std::error_code failure;
  for (int links = 0; fs::is_symlink(fs::symlink_status(*path, failure)); ++links) {
    if (links == kMostLinks) {
      return make_error_code(std::errc::too_many_symbolic_link_levels);
    }
    const fs::path next = fs::read_symlink(*path, failure);
    if (failure) {
      return failure;
    }
    *path = folder_of(*path) / next;  // an absolute one replaces the folder
  }
  return {};
}

std::error_code refuse_other_than_file(const fs::path& path) {
  std::error_code failure;
  const fs::file_status status = fs::status(path, failure);
  if (status.type() == fs::file_type::directory) {
    return make_error_code(std::errc::is_a_directory);
  }
  const bool usable = status.type() == fs::file_type::not_found || status.type() == fs::file_type::regular;
  return usable ? std::error_code() : failure ? failure : make_error_code(std::errc::operation_not_supported);
}

/// `name` cut so that `ending` fits behind it; not within a character of more than one byte.
std::u8string cut_name(std::u8string name, std::size_t ending) {
  constexpr std::size_t kLongestName = 255;
  std::size_t size = std::min(name.size(), kLongestName - std::min(ending, kLongestName));
  const auto continues_character = [&](std::size_t at) { return at < name.size() && (name[at] & 0xC0) == 0x80; };
  while (size > 0 && continues_character(size)) {
    --size;
  }
  name.resize(size);
  return name;
}

std::FILE* create_exclusively(const fs::path& path) {
  errno = 0;
#ifdef _WIN32
  return _wfopen(path.c_str(), L"wbx");
#elif defined(VORTENA_POSIX)
  return std::fopen(path.c_str(), "wbxe");  // not for child processes
#else
  return std::fopen(path.c_str(), "wbx");
#endif
}

}  // namespace

std::streamsize WholeFile::Buffer::xsputn(const char* from, std::streamsize size) {
  errno = 0;
  const std::size_t written = failure ? 0 : std::fwrite(from, 1, static_cast<std::size_t>(size), file);
  bytes_written_ += written;
  if (written != static_cast<std::size_t>(size) && !failure) {
    failure = last_system_error();
  }
  return static_cast<std::streamsize>(written);
}

WholeFile::Buffer::int_type WholeFile::Buffer::overflow(int_type character) {
  const char c = traits_type::to_char_type(character);
  return xsputn(&c, 1) == 1 ? traits_type::not_eof(character) : traits_type::eof();
}

WholeFile::~WholeFile() {
  if (buffer_.file != nullptr) {
    std::fclose(buffer_.file);
  }
  remove(&temporary_);
  remove(&previous_);
}

void WholeFile::remove(fs::path* path) {
  if (!path->empty()) {
    std::error_code ignored;
    fs::remove(*path, ignored);
    path->clear();
  }
}

std::error_code WholeFile::open(const char* path) {
  target_ = utf8_path(path);
  if (target_.filename().empty()) {
    return make_error_code(target_.empty() ? std::errc::no_such_file_or_directory : std::errc::is_a_directory);
  }
  std::error_code failure = follow_links(&target_);
  if (!failure) {
    failure = refuse_other_than_file(target_);
  }
  if (!failure) {
    failure = refuse_protected(target_);
  }
  return failure ? failure : create_temporary();
}

fs::path WholeFile::hidden_name(int number) const {
  const std::string ending = ".part-" + process_name() + "-" + std::to_string(number);
  const std::u8string name = cut_name(target_.filename().u8string(), ending.size());
  return folder_of(target_) / fs::path(name + std::u8string(ending.begin(), ending.end()));
}

std::error_code WholeFile::create_temporary() {
  for (int number = 0; buffer_.file == nullptr; ++number) {
    const fs::path name = hidden_name(number);
    buffer_.file = create_exclusively(name);
    if (buffer_.file != nullptr) {
      temporary_ = name;
    } else if (errno != EEXIST) {
      return last_system_error();
    }
  }
  std::setvbuf(buffer_.file, nullptr, _IONBF, 0);
  return take_over_mode(buffer_.file, target_);
}

std::error_code WholeFile::close() {
  errno = 0;
  const bool closed = std::fclose(buffer_.file) == 0;
  buffer_.file = nullptr;
  return closed ? std::error_code() : last_system_error();
}

std::error_code WholeFile::finish(bool sync) {
  std::error_code failure = buffer_.failure;
  if (!failure && sync) {
    failure = sync_file(buffer_.file);
  }
  const std::error_code closing = close();
  failure = failure ? failure : closing;
  if (failure) {
    remove(&temporary_);
  }
  return failure;
}

std::error_code WholeFile::appear(bool sync) {
  std::error_code failure;
  fs::rename(temporary_, target_, failure);
  if (failure) {
    remove(&temporary_);
    return failure;
  }
  temporary_.clear();
  if (sync) {
    sync_folder(folder_of(target_));
  }
  return {};
}

std::error_code WholeFile::commit(bool sync) {
  const std::error_code failure = finish(sync);
  return failure ? failure : appear(sync);
}

void WholeFile::keep_previous() {
  std::error_code failure;
  for (int number = 0; previous_.empty() && fs::exists(target_, failure); ++number) {
    const fs::path name = hidden_name(number);
    fs::create_hard_link(target_, name, failure);
    if (!failure) {
      previous_ = name;
    } else if (failure != std::errc::file_exists) {
      return;  // a file system without links: put_aside_previous() renames
    }
  }
}

void WholeFile::put_aside_previous() {
  std::error_code failure;
  for (int number = 0; previous_.empty() && fs::is_regular_file(target_, failure); ++number) {
    const fs::path name = hidden_name(number);
    if (fs::exists(name, failure)) {
      continue;
    }
    fs::rename(target_, name, failure);
    if (failure) {
      return;  // nor can the new one be renamed then
    }
    previous_ = name;
  }
}

void WholeFile::bring_back_previous() {
  std::error_code failure;
  if (!previous_.empty() && !fs::exists(target_, failure)) {
    fs::rename(previous_, target_, failure);
    previous_.clear();
  }
}

void WholeFile::disappear() {
  std::error_code ignored;
  if (previous_.empty()) {
    fs::remove(target_, ignored);
  } else {
    fs::rename(previous_, target_, ignored);
    previous_.clear();
  }
}

std::error_code appear_together(std::deque<WholeFile>& files, bool sync) {
  for (WholeFile& file : files) {
    file.keep_previous();
  }
  for (auto file = files.begin(); file != files.end(); ++file) {
    file->put_aside_previous();
    if (const std::error_code failure = file->appear(sync)) {
      file->bring_back_previous();
      std::for_each(files.begin(), file, [](WholeFile& appeared) { appeared.disappear(); });
      return failure;
    }
  }
  return {};
}

}  // namespace vortena
