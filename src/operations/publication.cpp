#include "operations/publication.h"

#include "operations/recording_steps.h"
#include "system/file_access.h"

#if defined(__unix__) || defined(__APPLE__)
#define VORTENA_POSIX 1
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#endif

namespace vortena {
namespace {

namespace fs = std::filesystem;

Outcome claim(OutputPlace* place, const char* path, OutputPlace::Kind kind, const PublicationOptions& options) {
  const Outcome outcome = unwritable(place->claim(path, kind, options.existing));
  return outcome.good() && !options.may_begin_like_recording ? check_output(path) : outcome;
}

#ifdef VORTENA_POSIX
std::error_code finish(const OutputPlace& place, const fs::path& part, bool sync) {
  const int descriptor = ::open(part.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) {
    return last_system_error();
  }
  place.give_rights(descriptor);
  const std::error_code failure = sync ? sync_descriptor(descriptor) : std::error_code();
  ::close(descriptor);
  return failure;
}
#else
std::error_code finish(const OutputPlace& /*place*/, const fs::path& /*part*/, bool /*sync*/) {
  return {};
}
#endif

std::error_code appear(OutputPlace& place, const fs::path& part, bool sync) {
  const std::error_code failure = place.appear(part);
  return failure || !sync ? failure : place.sync_name();
}

}  // namespace

Outcome check_place(const char* path, OutputPlace::Kind kind, const PublicationOptions& options) {
  OutputPlace place;
  return claim(&place, path, kind, options);
}

Publication publish(const char* part, const char* path, const PublicationOptions& options) {
  std::error_code ignored;
  const fs::path from = utf8_path(part);
  const OutputPlace::Kind kind =
      fs::is_directory(from, ignored) ? OutputPlace::Kind::kFolder : OutputPlace::Kind::kFile;
  OutputPlace place;
  Publication publication;
  publication.outcome = claim(&place, path, kind, options);
  if (publication.outcome.good()) {
    publication.outcome = unwritable(finish(place, from, options.sync));
  }
  if (publication.outcome.good()) {
    publication.outcome = unwritable(appear(place, from, options.sync));
    const std::u8string aside = place.previous().u8string();
    publication.aside.assign(aside.begin(), aside.end());
  }
  return publication;
}

}  // namespace vortena
