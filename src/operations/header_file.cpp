// Frames are written without any fill.
#include "operations/header_file.h"

#include <stdexcept>
#include <vector>

#include "operations/recording_steps.h"
#include "reader/texts/configuration_writer.h"
#include "system/whole_file.h"

namespace vortena {
namespace {

Outcome write_frames(const char* path, const std::vector<std::uint8_t>& frames, bool sync) {
  WholeFile file;
  if (const std::error_code failure = file.open(path)) {
    return unwritable(failure);
  }
  file.stream().write(reinterpret_cast<const char*>(frames.data()), static_cast<std::streamsize>(frames.size()));
  return unwritable(file.commit(sync));
}

}  // namespace

Outcome read_header(kiv_Config* config, const char* path) {
  return outcome_of(load_header(config, path));
}

Outcome write_header(const char* path, const char* text, bool sync) {
  Outcome outcome = check_output(path, true);
  if (!outcome.good()) {
    return outcome;
  }
  try {
    return write_frames(path, configuration_frames(text), sync);
  } catch (const std::logic_error& error) {  // what the text is refused with
    return {.problem = Problem::kConfigurationText, .stage = Stage::kWriting, .message = error.what()};
  }
}

}  // namespace vortena
