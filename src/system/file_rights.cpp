// On Linux access lists are extended attributes, which need no further library. With such a list, the group's bits of
// the mode are the most that any entry of the list grants.
#include "system/file_rights.h"

#if defined(__unix__) || defined(__APPLE__)
#define VORTENA_POSIX 1
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif
#if defined(__linux__) && !defined(__EMSCRIPTEN__)
#define VORTENA_ACCESS_LISTS 1
#include <sys/xattr.h>

#include <cerrno>
#endif

namespace vortena {

namespace fs = std::filesystem;

#ifdef VORTENA_POSIX
namespace {

constexpr mode_t kAll = 07777;
constexpr mode_t kWithoutIdentity = 0777;  // set-user-id and the like are for the same owner only

/// The group's bits without what others lack.
mode_t narrowed(mode_t mode) {
  constexpr unsigned kGroupBehindOthers = 3;
  return (mode & ~mode_t{S_IRWXG}) | (mode & S_IRWXG & ((mode & S_IRWXO) << kGroupBehindOthers));
}

#ifdef VORTENA_ACCESS_LISTS
constexpr const char* kAccessList = "system.posix_acl_access";

/// False when the system does not tell.
bool read_access_list(const fs::path& path, std::vector<char>* list) {
  const ssize_t size = getxattr(path.c_str(), kAccessList, nullptr, 0);
  if (size < 0) {
    return errno == ENODATA || errno == ENOTSUP;
  }
  list->resize(static_cast<std::size_t>(size));
  return getxattr(path.c_str(), kAccessList, list->data(), list->size()) == size;
}

bool write_access_list(int descriptor, const std::vector<char>& list) {
  return list.empty() ? fremovexattr(descriptor, kAccessList) == 0 || errno == ENODATA || errno == ENOTSUP
                      : fsetxattr(descriptor, kAccessList, list.data(), list.size(), 0) == 0;
}
#else
bool read_access_list(const fs::path& /*path*/, std::vector<char>* /*list*/) {
  return false;
}
bool write_access_list(int /*descriptor*/, const std::vector<char>& /*list*/) {
  return false;
}
#endif

}  // namespace

FileRights FileRights::of(const fs::path& path) {
  FileRights rights;
  struct stat status{};
  if (stat(path.c_str(), &status) == 0) {
    rights.known_ = true;
    rights.owned_ = true;
    rights.mode_ = status.st_mode & kAll;
    rights.user_ = status.st_uid;
    rights.group_ = status.st_gid;
    rights.lists_known_ = read_access_list(path, &rights.list_);
  }
  return rights;
}

FileRights FileRights::of_new_file(const fs::path& trial) {
  const int descriptor = ::open(trial.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
  if (descriptor < 0) {
    return {};
  }
  ::close(descriptor);
  FileRights rights = of(trial);
  rights.owned_ = false;
  ::unlink(trial.c_str());
  return rights;
}

FileRights FileRights::of_new_folder(const fs::path& trial) {
  if (mkdir(trial.c_str(), 0777) != 0) {
    return {};
  }
  FileRights rights = of(trial);
  rights.owned_ = false;
  rmdir(trial.c_str());
  return rights;
}

void FileRights::give(int descriptor) const {
  struct stat now{};
  if (!known_ || fstat(descriptor, &now) != 0) {
    return;
  }
  const bool owner_kept = !owned_ || now.st_uid == user_ || fchown(descriptor, user_, group_) == 0;
  const bool group_kept =
      !owned_ || fchown(descriptor, static_cast<uid_t>(-1), group_) == 0;  // an owner may choose among its groups
  // Only an owner's own files may run with its identity.
  mode_t mode = static_cast<mode_t>(mode_) & (owner_kept && group_kept ? kAll : kWithoutIdentity);
  const bool list_kept = !owned_ ? true : lists_known_ && write_access_list(descriptor, list_);
  if (!group_kept || !list_kept) {
    mode = narrowed(mode);
  }
  // Refused, the file stays with its owner alone.
  static_cast<void>(fchmod(descriptor, mode));
}
#else
FileRights FileRights::of(const fs::path& /*path*/) {
  return {};
}
FileRights FileRights::of_new_file(const fs::path& /*trial*/) {
  return {};
}
FileRights FileRights::of_new_folder(const fs::path& /*trial*/) {
  return {};
}
void FileRights::give(int /*descriptor*/) const {}
#endif

}  // namespace vortena
