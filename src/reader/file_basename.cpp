// Works on the text of the path; no file system is asked.
#include "reader/file_basename.h"

namespace vortena {

std::string _file_basename(const std::string& path) {
  const std::size_t separator = path.find_last_of("/\\");
  const std::string name = separator == std::string::npos ? path : path.substr(separator + 1);
  return name.substr(0, name.rfind('.'));
}

}  // namespace vortena
