// The C library's own macros tell its numbers.
#include "system/error_names.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

namespace vortena {
namespace {

struct NamedError {
  int number;
  std::string_view name;
};

constexpr NamedError kErrors[] = {
    {EACCES, "EACCES"},
    {EAGAIN, "EAGAIN"},
    {EBADF, "EBADF"},
    {EBUSY, "EBUSY"},
    {ECONNRESET, "ECONNRESET"},
    {EDEADLK, "EDEADLK"},
    {EEXIST, "EEXIST"},
    {EFAULT, "EFAULT"},
    {EFBIG, "EFBIG"},
    {EHOSTUNREACH, "EHOSTUNREACH"},
    {EINTR, "EINTR"},
    {EINVAL, "EINVAL"},
    {EIO, "EIO"},
    {EISDIR, "EISDIR"},
    {ELOOP, "ELOOP"},
    {EMFILE, "EMFILE"},
    {EMLINK, "EMLINK"},
    {ENAMETOOLONG, "ENAMETOOLONG"},
    {ENETDOWN, "ENETDOWN"},
    {ENETUNREACH, "ENETUNREACH"},
    {ENFILE, "ENFILE"},
    {ENODEV, "ENODEV"},
    {ENOENT, "ENOENT"},
    {ENOLCK, "ENOLCK"},
    {ENOMEM, "ENOMEM"},
    {ENOSPC, "ENOSPC"},
    {ENOSYS, "ENOSYS"},
    {ENOTCONN, "ENOTCONN"},
    {ENOTDIR, "ENOTDIR"},
    {ENOTEMPTY, "ENOTEMPTY"},
    {ENOTSUP, "ENOTSUP"},
    {ENXIO, "ENXIO"},
    {EOPNOTSUPP, "ENOTSUP"},
    {EOVERFLOW, "EOVERFLOW"},
    {EPERM, "EPERM"},
    {EPIPE, "EPIPE"},
    {EROFS, "EROFS"},
    {ESPIPE, "ESPIPE"},
    {ETIMEDOUT, "ETIMEDOUT"},
    {ETXTBSY, "ETXTBSY"},
    {EXDEV, "EXDEV"},
#ifdef ECONNABORTED
    {ECONNABORTED, "ECONNABORTED"},
#endif
#ifdef ECONNREFUSED
    {ECONNREFUSED, "ECONNREFUSED"},
#endif
#ifdef ENETRESET
    {ENETRESET, "ENETRESET"},
#endif
#ifdef ENOBUFS
    {ENOBUFS, "ENOBUFS"},
#endif
#ifdef ENOLINK
    {ENOLINK, "ENOLINK"},
#endif
#ifdef ESHUTDOWN
    {ESHUTDOWN, "ESHUTDOWN"},
#endif
#ifdef ETIME
    {ETIME, "ETIME"},
#endif
#ifdef EDQUOT
    {EDQUOT, "EDQUOT"},
#endif
#ifdef EHOSTDOWN
    {EHOSTDOWN, "EHOSTDOWN"},
#endif
#ifdef EREMOTEIO
    {EREMOTEIO, "EREMOTEIO"},
#endif
#ifdef ESTALE
    {ESTALE, "ESTALE"},
#endif
};

}  // namespace

std::string_view error_name(const std::error_code& failure) {
  if (!failure) {
    return {};
  }
  const std::error_condition condition = failure.default_error_condition();
  const auto* const known = std::find_if(std::begin(kErrors), std::end(kErrors), [&](const NamedError& error) {
    return condition.category() == std::generic_category() && error.number == condition.value();
  });
  return known == std::end(kErrors) ? "EIO" : known->name;
}

}  // namespace vortena
