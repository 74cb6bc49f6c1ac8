// Files of tests.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "simulator/recording_builder.h"

namespace vortena::testing {

/// A folder of its own for a test's files, removed with everything in it.
class ScratchFolder {
 public:
  ScratchFolder() { std::filesystem::create_directory(folder_); }
  ScratchFolder(const ScratchFolder&) = delete;
  ~ScratchFolder() { std::filesystem::remove_all(folder_); }

  [[nodiscard]] std::string path(const std::string& name) const { return (folder_ / name).string(); }
  [[nodiscard]] std::string write(const std::string& name, const simulator::Bytes& bytes) const {
    std::ofstream(path(name), std::ios::binary) << std::string(bytes.begin(), bytes.end());
    return path(name);
  }
  [[nodiscard]] std::string read(const std::string& name) const {
    std::ifstream file(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() / ("vortena-" + std::to_string(std::random_device{}()));
};

}  // namespace vortena::testing
