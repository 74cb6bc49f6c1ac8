// The place where an output appears: whole or not at all, and in nobody's way.
#pragma once

#include <cstdint>
#include <filesystem>
#include <system_error>

#include "system/file_rights.h"

namespace vortena {

/// What becomes of a file that stands at the path of an output.
enum class Existing : std::uint8_t {
  kReplace,
  kKeep,  ///< the output is refused with std::errc::file_exists
};

/// One path. What is to stand there is written under a hidden name in the same folder, a part, and then renamed. A link
/// stays a link: its target is replaced. Parts are called NAME.part-HOST-PID-N (NAME cut where that is too long for the
/// file system), so that whoever finds one of a process that was killed can tell whose it was; what stands aside
/// meanwhile is called NAME.old-HOST-PID-N.
class OutputPlace {
 public:
  enum class Kind : std::uint8_t { kFile, kFolder };

  /// Takes the place at `path` (zero-terminated UTF-8). Refuses what cannot be replaced by a file or a folder: anything
  /// of another kind, what must not be written, and, with kKeep, whatever stands there.
  std::error_code claim(const char* path, Kind kind, Existing existing);

  /// Where links lead: what will be replaced.
  [[nodiscard]] const std::filesystem::path& target() const { return target_; }

  /// `what` is "part" or "old".
  [[nodiscard]] std::filesystem::path hidden_name(const char* what, int number) const;

  /// Gives what is open as `descriptor` the rights of what it replaces, or those of something new.
  void give_rights(int descriptor) const;

  /// Renames `part`. Where nothing stood when the place was claimed, nothing is replaced (std::errc::file_exists); else
  /// what stands there now is looked at once more. On failure `part` stays. A folder that is replaced stands aside, see
  /// previous().
  std::error_code appear(const std::filesystem::path& part);

  /// Keeps the file that stands at the path under a further name, where the file system has links.
  void keep_previous();

  /// Just before appear(), where keep_previous() could not: moves the file that stands at the path aside.
  void put_aside_previous();

  /// After an appear() that failed: what was put aside stands at the path again.
  void bring_back_previous();

  /// Undoes appear() for a file: what was kept comes back; without it, nothing stands at the path.
  void disappear();

  /// The hidden name of what was kept or stands aside; empty without.
  [[nodiscard]] const std::filesystem::path& previous() const { return previous_; }

  /// Removes a file that was kept.
  void forget_previous();

  /// The new name, too, is on the disk afterwards.
  [[nodiscard]] std::error_code sync_name() const;

 private:
  [[nodiscard]] std::error_code refuse_unreplaceable() const;
  [[nodiscard]] std::filesystem::path free_name(const char* what) const;
  std::error_code exchange_folders(const std::filesystem::path& part);

  std::filesystem::path target_;
  std::filesystem::path previous_;
  Kind kind_ = Kind::kFile;
  bool stood_ = false;
};

/// Writes what was written through `descriptor` to the disk.
std::error_code sync_descriptor(int descriptor);

}  // namespace vortena
