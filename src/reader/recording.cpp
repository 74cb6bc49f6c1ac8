#include "reader/recording.h"

#include <algorithm>

#include "reader/loader.h"

namespace vortena {

LoadReport load_recording(Recording* recording, const char* path, const LoadOptions& options) {
  return loading::load(recording, path, options);
}

LoadReport load_recording(Recording* recording, std::istream& stream, const LoadOptions& options) {
  return loading::load(recording, stream, options);
}

LoadReport load_recording(Recording* recording, std::span<const std::uint8_t> bytes, const LoadOptions& options) {
  LoadReport report;
  loading::Loader loader(&report, options);
  if (!loader.begin(bytes.size(), bytes.first(std::min(bytes.size(), kBlockSize)))) {
    return report;
  }
  while (loader.blocks_left() > 0) {
    const std::size_t count = std::min<std::uint64_t>(loading::kPieceBlocks, loader.blocks_left());
    if (!loader.take(bytes.subspan(loader.next_block() * kBlockSize, count * kBlockSize))) {
      report.status = LoadStatus::kStopped;
      return report;
    }
  }
  loading::finish(loader, recording, &report);
  return report;
}

LoadReport load_header(kiv_Config* config, const char* path) {
  LoadReport report;
  std::ifstream stream = open_recording(path, &report.failure);
  return stream.is_open() ? load_header(config, stream) : report;
}

LoadReport load_header(kiv_Config* config, std::istream& stream) {
  LoadReport report;
  std::array<std::uint8_t, kBlockSize> block{};
  if (const std::optional<std::size_t> got = loading::read_first_block(stream, block, &report)) {
    const LoadStatus without_header = *got < kBlockSize ? LoadStatus::kTooShort : LoadStatus::kNoHeader;
    report.status = _readConfig(config, block) ? LoadStatus::kRead : without_header;
  }
  return report;
}

}  // namespace vortena
