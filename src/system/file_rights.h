// Who may do what with a file or folder: owner, mode and access list, where the system has them. Elsewhere nothing is
// kept and nothing given.
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace vortena {

class FileRights {
 public:
  FileRights() = default;

  /// Those of what stands at `path`.
  static FileRights of(const std::filesystem::path& path);

  /// Those that the system gives a new file of a name that is free: `trial` is made and removed for that.
  static FileRights of_new_file(const std::filesystem::path& trial);

  /// The same for a folder.
  static FileRights of_new_folder(const std::filesystem::path& trial);

  /// Gives them to the open file or folder `descriptor`. What the system refuses leaves it with less, never with more:
  /// where the group or an access list cannot be taken over, the group gets no more than everybody.
  void give(int descriptor) const;

 private:
  std::uint32_t mode_ = 0;
  bool known_ = false;
  bool owned_ = false;  ///< owner and group are to be taken over
  std::uint32_t user_ = 0;
  std::uint32_t group_ = 0;
  bool lists_known_ = false;
  std::vector<char> list_;  ///< the access list as the system stores it; empty without one
};

}  // namespace vortena
