// Files that appear whole or not at all: written under another name in the same folder, then renamed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <ostream>
#include <streambuf>
#include <system_error>

#include "system/output_place.h"

namespace vortena {

/// One output file. What stood at its path stays there until commit(). Only its owner can read it before it is whole.
class WholeFile {
 public:
  WholeFile() = default;
  /// Removes the temporary file unless it was committed.
  ~WholeFile();
  WholeFile(const WholeFile&) = delete;
  WholeFile& operator=(const WholeFile&) = delete;
  WholeFile(WholeFile&&) = delete;
  WholeFile& operator=(WholeFile&&) = delete;

  /// Takes the place at `path` (zero-terminated UTF-8), see OutputPlace::claim(). Touches no file.
  std::error_code claim(const char* path, Existing existing = Existing::kReplace);

  /// Creates the temporary file.
  std::error_code create();

  /// Both.
  std::error_code open(const char* path, Existing existing = Existing::kReplace);

  /// Unbuffered: give it large pieces. A write that fails sets badbit; commit() tells the system's reason.
  [[nodiscard]] std::ostream& stream() { return stream_; }

  /// Closes and renames. With `sync`, both the bytes and the new name are on the disk before it returns. When a write,
  /// the closing or the renaming fails, nothing is left; a new name that cannot be synced stays, and is told.
  std::error_code commit(bool sync);

  /// The first half of commit(): what may well fail. Mode, owner and access list become those of the file that will be
  /// replaced, or those of a new file.
  std::error_code finish(bool sync);

  /// The second half.
  std::error_code appear(bool sync);

  /// True when both would appear at one path: the same, or names that the file system takes for the same.
  [[nodiscard]] bool replaces_same(const WholeFile& other) const;

  [[nodiscard]] std::uint64_t bytes_written() const { return buffer_.bytes_written(); }

 private:
  friend class Together;

  class Buffer : public std::streambuf {
   public:
    std::FILE* file = nullptr;
    std::error_code failure;
    [[nodiscard]] std::uint64_t bytes_written() const { return bytes_written_; }

   protected:
    std::streamsize xsputn(const char* from, std::streamsize size) override;
    int_type overflow(int_type character) override;

   private:
    std::uint64_t bytes_written_ = 0;
  };

  std::error_code close();
  void remove_temporary();

  OutputPlace place_;
  Buffer buffer_;
  std::ostream stream_{&buffer_};
  std::filesystem::path temporary_;
  int number_ = 0;  ///< of the temporary's name
};

/// Why files did not appear together, and which of them was the first that could not.
struct TogetherFailure {
  std::error_code failure;
  std::size_t file = 0;
};

/// Renames files that are finished, all or none. On failure those that had appeared are taken back. With `sync`, all
/// new names are on the disk afterwards; one that cannot be synced takes nothing back.
TogetherFailure appear_together(std::deque<WholeFile>& files, bool sync);

}  // namespace vortena
