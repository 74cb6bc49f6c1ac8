// The five methods by name, for boundaries whose arguments JavaScript has checked: src/requests/methods.js.
#pragma once

#include <string_view>

#include "bindings-shared/answer.h"
#include "bindings-shared/arguments.h"

namespace vortena::operations {

/// Runs a method with its arguments, as texts and lists of texts, and answers its text up to the first zero byte. What
/// it throws becomes a failure, and so does a name or an argument that is wrong.
///
/// read(path, csvPath), readAndSync2(paths, folder), readConfig(path), writeConfig(path, text),
/// readConfigDeviceId(path).
Answer call_method(std::string_view name, Arguments& arguments) noexcept;

}  // namespace vortena::operations
