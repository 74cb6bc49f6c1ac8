// Files that appear whole or not at all: written under another name in the same folder, then renamed.
#pragma once

#include <cstdint>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <system_error>

namespace vortena {

/// One output file. What stood at its path stays there until commit(). A link stays a link: its target is replaced.
/// Anything else than a regular file is refused, as the renaming would replace a device by a file.
///
/// The temporary file is called NAME.part-HOST-PID-N (NAME cut where that is too long for the file system), so that
/// whoever finds one of a process that was killed can tell whose it was.
class WholeFile {
 public:
  WholeFile() = default;
  /// Removes the temporary file unless it was committed.
  ~WholeFile();
  WholeFile(const WholeFile&) = delete;
  WholeFile& operator=(const WholeFile&) = delete;
  WholeFile(WholeFile&&) = delete;
  WholeFile& operator=(WholeFile&&) = delete;

  /// Creates the temporary file for `path` (zero-terminated UTF-8). Its mode and, where allowed, its owner are those of
  /// the file that it will replace.
  std::error_code open(const char* path);

  /// Unbuffered: give it large pieces. A write that fails sets badbit; commit() tells the system's reason.
  [[nodiscard]] std::ostream& stream() { return stream_; }

  /// Closes and renames. With `sync`, both the bytes and the new name are on the disk before it returns. On failure,
  /// the first one of all writes included, nothing is left.
  std::error_code commit(bool sync);

  /// The two halves of commit(): first what may well fail, then the renaming.
  std::error_code finish(bool sync);
  std::error_code appear(bool sync);

  /// Keeps what stands at the path, where the file system has links, until this object ends.
  void keep_previous();

  /// Just before appear(), where keep_previous() could not: moves what stands at the path aside until this object ends.
  void put_aside_previous();

  /// After an appear() that failed: what was put aside stands at the path again.
  void bring_back_previous();

  /// Undoes appear(): what was kept comes back; without it, nothing stands at the path.
  void disappear();

  /// Where links lead: the file that will be replaced.
  [[nodiscard]] const std::filesystem::path& target() const { return target_; }

  [[nodiscard]] std::uint64_t bytes_written() const { return buffer_.bytes_written(); }

 private:
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

  [[nodiscard]] std::filesystem::path hidden_name(int number) const;
  static void remove(std::filesystem::path* path);
  std::error_code create_temporary();
  std::error_code close();

  Buffer buffer_;
  std::ostream stream_{&buffer_};
  std::filesystem::path target_;
  std::filesystem::path temporary_;
  std::filesystem::path previous_;  ///< a further name of what stood at the target
};

/// Renames files that are finished, all or none. On failure those that had appeared are taken back.
std::error_code appear_together(std::deque<WholeFile>& files, bool sync);

}  // namespace vortena
