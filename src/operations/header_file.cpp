// Reads a block, as the answers of the five methods do; writes frames without any fill.
#include "operations/header_file.h"

#include <array>
#include <cerrno>
#include <stdexcept>
#include <vector>

#include "operations/recording_steps.h"
#include "reader/decoding/header_frames.h"
#include "reader/texts/configuration_writer.h"
#include "system/file_access.h"
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
  std::error_code failure;
  std::ifstream stream = open_recording(path, &failure);
  std::array<std::uint8_t, kBlockSize> block{};
  bool is_short = false;
  if (!failure) {
    errno = 0;
    stream.read(reinterpret_cast<char*>(block.data()), block.size());
    failure = read_failed(stream) ? last_system_error() : failure;
    is_short = static_cast<std::size_t>(stream.gcount()) < block.size();
  }
  if (failure) {
    return {.problem = Problem::kUnreadable, .stage = Stage::kDecoding, .failure = failure};
  }
  const Problem without_header = is_short ? Problem::kTooShort : Problem::kNoHeader;
  return {.problem = _readConfig(config, block) ? Problem::kNone : without_header, .stage = Stage::kDecoding};
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
