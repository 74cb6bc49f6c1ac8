// Names of CSV files after the recordings they come from.
#pragma once

#include <string>

namespace vortena {

/// The file name in `path` without folder and last extension; both "/" and "\\" separate folders. ".bin"
/// gives "".
std::string _file_basename(const std::string& path);

}  // namespace vortena
