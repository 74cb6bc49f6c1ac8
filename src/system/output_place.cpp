// Modes, owners and syncing are POSIX's; elsewhere outputs get the system's defaults.
#include "system/output_place.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "system/file_access.h"

#if defined(__unix__) || defined(__APPLE__)
#define VORTENA_POSIX 1
#include <fcntl.h>
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
#else
std::string process_name() {
  return "host-0";
}
#endif

#ifdef VORTENA_POSIX
/// Renaming would replace even a file that must not be written.
std::error_code refuse_protected(const fs::path& path) {
  return access(path.c_str(), W_OK) == 0 || errno == ENOENT ? std::error_code() : last_system_error();
}

/// Some file systems cannot sync a folder, and need not.
std::error_code sync_folder(const fs::path& folder) {
  const int descriptor = ::open(folder.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) {
    return {};  // a folder that may be written and not be listed
  }
  const std::error_code failure = sync_descriptor(descriptor);
  ::close(descriptor);
  return failure == std::errc::invalid_argument || failure == std::errc::operation_not_supported ? std::error_code()
                                                                                                 : failure;
}
#else
std::error_code refuse_protected(const fs::path& /*path*/) {
  return {};
}
std::error_code sync_folder(const fs::path& /*folder*/) {
  return {};
}
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

/// Renames to a name that nothing has. Without a system's call for that, a further name is one: it replaces nothing.
std::error_code rename_to_free(const fs::path& from, const fs::path& to) {
#ifdef RENAME_NOREPLACE
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
    return {};
  }
  if (errno != EINVAL && errno != ENOSYS && errno != ENOTSUP) {
    return last_system_error();
  }
#endif
  std::error_code failure;
  fs::create_hard_link(from, to, failure);
  if (!failure) {
    fs::remove(from, failure);
    return {};  // a part that cannot be removed is cleared by whoever comes next
  }
  if (failure == std::errc::file_exists) {
    return failure;
  }
  // Neither is to be had: a moment is left in which another can take the name.
  if (fs::exists(fs::symlink_status(to, failure))) {
    return make_error_code(std::errc::file_exists);
  }
  fs::rename(from, to, failure);
  return failure;
}

}  // namespace

#ifdef VORTENA_POSIX
std::error_code sync_descriptor(int descriptor) {
  return fsync(descriptor) == 0 ? std::error_code() : last_system_error();
}
#else
std::error_code sync_descriptor(int /*descriptor*/) {
  return {};
}
#endif

std::error_code OutputPlace::claim(const char* path, Kind kind, Existing existing) {
  target_ = utf8_path(path);
  kind_ = kind;
  if (target_.filename().empty()) {
    return make_error_code(target_.empty() ? std::errc::no_such_file_or_directory : std::errc::is_a_directory);
  }
  if (const std::error_code failure = follow_links(&target_)) {
    return failure;
  }
  std::error_code ignored;
  stood_ = fs::exists(fs::symlink_status(target_, ignored));
  const std::error_code failure = refuse_unreplaceable();
  return !failure && stood_ && existing == Existing::kKeep ? make_error_code(std::errc::file_exists) : failure;
}

std::error_code OutputPlace::refuse_unreplaceable() const {
  std::error_code failure;
  const fs::file_type type = fs::status(target_, failure).type();
  if (type == fs::file_type::not_found) {
    return {};
  }
  if (type == fs::file_type::directory) {
    return kind_ == Kind::kFolder ? std::error_code() : make_error_code(std::errc::is_a_directory);
  }
  if (type == fs::file_type::regular) {
    return kind_ == Kind::kFile ? refuse_protected(target_) : make_error_code(std::errc::not_a_directory);
  }
  return failure ? failure : make_error_code(std::errc::operation_not_supported);
}

fs::path OutputPlace::hidden_name(const char* what, int number) const {
  const std::string ending = std::string(".") + what + "-" + process_name() + "-" + std::to_string(number);
  const std::u8string name = cut_name(target_.filename().u8string(), ending.size());
  return folder_of(target_) / fs::path(name + std::u8string(ending.begin(), ending.end()));
}

fs::path OutputPlace::free_name(const char* what) const {
  std::error_code ignored;
  int number = 0;
  while (fs::exists(fs::symlink_status(hidden_name(what, number), ignored))) {
    ++number;
  }
  return hidden_name(what, number);
}

void OutputPlace::give_rights(int descriptor) const {
  if (stood_) {
    FileRights::of(target_).give(descriptor);
  } else {
    const fs::path trial = free_name("part");
    (kind_ == Kind::kFile ? FileRights::of_new_file(trial) : FileRights::of_new_folder(trial)).give(descriptor);
  }
}

std::error_code OutputPlace::appear(const fs::path& part) {
  if (!stood_) {
    return rename_to_free(part, target_);
  }
  std::error_code failure = refuse_unreplaceable();
  if (failure) {
    return failure;
  }
  if (kind_ == Kind::kFolder) {
    return exchange_folders(part);
  }
  fs::rename(part, target_, failure);
  return failure;
}

/// Folders cannot be renamed over each other. Without a system's call that exchanges names, none has the name for a
/// moment.
std::error_code OutputPlace::exchange_folders(const fs::path& part) {
#ifdef RENAME_EXCHANGE
  if (renameat2(AT_FDCWD, part.c_str(), AT_FDCWD, target_.c_str(), RENAME_EXCHANGE) == 0) {
    previous_ = part;
    return {};
  }
#endif
  std::error_code failure;
  const fs::path aside = free_name("old");
  fs::rename(target_, aside, failure);
  if (failure) {
    return failure;
  }
  fs::rename(part, target_, failure);
  if (failure) {
    std::error_code ignored;
    fs::rename(aside, target_, ignored);
  } else {
    previous_ = aside;
  }
  return failure;
}

void OutputPlace::keep_previous() {
  std::error_code failure;
  for (int number = 0; stood_ && previous_.empty() && fs::exists(target_, failure); ++number) {
    const fs::path name = hidden_name("part", number);
    fs::create_hard_link(target_, name, failure);
    if (!failure) {
      previous_ = name;
    } else if (failure != std::errc::file_exists) {
      return;  // a file system without links: put_aside_previous() renames
    }
  }
}

void OutputPlace::put_aside_previous() {
  std::error_code failure;
  if (!stood_ || !previous_.empty() || !fs::is_regular_file(target_, failure)) {
    return;
  }
  const fs::path name = free_name("old");
  fs::rename(target_, name, failure);
  if (!failure) {  // nor can the new one be renamed otherwise
    previous_ = name;
  }
}

void OutputPlace::bring_back_previous() {
  std::error_code failure;
  if (!previous_.empty() && !fs::exists(target_, failure)) {
    fs::rename(previous_, target_, failure);
    previous_.clear();
  }
}

void OutputPlace::disappear() {
  std::error_code ignored;
  if (previous_.empty()) {
    fs::remove(target_, ignored);
  } else {
    fs::rename(previous_, target_, ignored);
    previous_.clear();
  }
}

void OutputPlace::forget_previous() {
  if (!previous_.empty()) {
    std::error_code ignored;
    fs::remove(previous_, ignored);
    previous_.clear();
  }
}

std::error_code OutputPlace::sync_name() const {
  return sync_folder(folder_of(target_));
}

}  // namespace vortena
