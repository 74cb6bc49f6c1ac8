// Channels as answers describe them.
#pragma once

#include "reader/decoding/channels.h"
#include "reader/texts/json_object.h"

namespace vortena::operations {

/// Adds `name`, `unit`, which is an object by axis where the axes differ in it, and `axes`, their names.
void add_description(const Channel& channel, JsonObject* json);

}  // namespace vortena::operations
