// Input: a header block; what is missing of it reads as zero.
#include <algorithm>
#include <array>

#include "fuzz/properties.h"

using namespace vortena;

namespace {

using Block = std::array<std::uint8_t, kBlockSize>;

Block block_of(fuzz::Bytes bytes) {
  Block block{};
  std::copy_n(bytes.begin(), std::min(bytes.size(), block.size()), block.begin());
  return block;
}

/// Unknown frames on their own stay unknown: they are the same when they make up the whole header. The first needs both
/// magic bytes to be found there.
void require_unknown_stay_unknown(const kiv_Config& config) {
  const auto& frames = config.unknownFrames;
  if (frames.size() < 2 || frames[0] != kMagic0 || frames[1] != kMagic1) {
    return;
  }
  kiv_Config again;
  fuzz::require(_readConfig(&again, block_of(frames)), "unknown frames open a header");
  fuzz::require(again.unknownFrames == frames && !again.hasDevice && !again.headerError,
                "unknown frames are understood as little the second time");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Block block = block_of({data, size});
  kiv_Config config;
  kiv_Config again;
  const bool found = _readConfig(&config, block);
  fuzz::require(_readConfig(&again, block) == found, "a header is found twice");
  fuzz::require_equal(config, again);
  fuzz::require_sound_answers(config);
  require_unknown_stay_unknown(config);
  return 0;
}
