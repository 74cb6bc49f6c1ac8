// Outcomes of the core as failures with the codes that docs/promises.md lists.
#pragma once

#include "bindings-shared/answer.h"
#include "operations/outcome.h"

namespace vortena::operations {

/// The failure has an empty code when the outcome is good.
Failure failure_of(const Outcome& outcome);

const char* stage_name(Stage stage);

}  // namespace vortena::operations
