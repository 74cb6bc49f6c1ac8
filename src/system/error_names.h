// Names of the system's errors, the same on every system, as users look them up.
#pragma once

#include <string_view>
#include <system_error>

namespace vortena {

/// "ENOENT" and the like; "EIO" for an error that has no name here, and empty without an error. Numbers differ between
/// systems, C libraries and runtimes, so they are of no use outside this process.
std::string_view error_name(const std::error_code& failure);

}  // namespace vortena
