// The one loop over the blocks of a recording, for whatever keeps its samples. Streams are read in pieces of many
// blocks; decoding sees one block at a time.
#pragma once

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <optional>
#include <utility>
#include <vector>

#include "reader/counted_recording.h"
#include "reader/decoding/data_packages.h"
#include "reader/decoding/header_frames.h"
#include "reader/decoding/recording_format.h"
#include "reader/recording.h"
#include "system/file_access.h"

namespace vortena::loading {

using Bytes = std::span<const std::uint8_t>;

/// 256 KiB: large enough for the system's calls not to count, small enough for the cache.
constexpr std::size_t kPieceBlocks = 512;

/// The one loop over blocks: takes them in pieces, in file order, from whatever source.
class Loader {
 public:
  Loader(LoadReport* report, const LoadOptions& options) : report_(report), options_(options) {}

  /// The file's size and first block; false when there is nothing to read, and the report says why.
  bool begin(std::uint64_t bytes, Bytes first_block) {
    report_->bytes = bytes;
    report_->blocks = bytes / kBlockSize;
    report_->cut_off_bytes = bytes % kBlockSize;
    if (first_block.size() < kBlockSize) {
      report_->status = LoadStatus::kTooShort;
      return false;
    }
    if (!_readConfig(&config_, first_block.first<kBlockSize>())) {
      report_->status = LoadStatus::kNoHeader;
      return false;
    }
    begin_stage(options_.watch, Stage::kDecoding, report_->blocks);
    decoder_ = PackageDecoder(config_);
    return true;
  }

  [[nodiscard]] std::uint64_t next_block() const { return next_; }
  [[nodiscard]] std::uint64_t blocks_left() const { return report_->blocks - std::min(next_, report_->blocks); }

  /// Whole blocks, from next_block() on; false when the loading is to stop.
  bool take(Bytes blocks) {
    for (; blocks.size() >= kBlockSize; blocks = blocks.subspan(kBlockSize)) {
      decode(blocks.first<kBlockSize>());
    }
    reserve();
    return goes_on(options_.watch, next_);
  }

  void finish(CountedRecording* recording) {
    decoder_.order(options_.watch);
    report_->status = LoadStatus::kRead;
    report_->packages = decoder_.packages();
    recording->config = std::move(config_);
    recording->packages = std::move(decoder_);
  }

  void finish(Recording* recording) {
    report_->channels = decoder_.transfer(config_, &recording->sensors, options_.watch);
    report_->status = LoadStatus::kRead;
    report_->packages = decoder_.packages();
    recording->config = std::move(config_);
  }

 private:
  void decode(BlockBytes block) {
    if (next_++ == 0) {
      // On purpose: the header block counts as a data package like any other.
      decoder_.decode_header_block(block, options_.header_samples);
    } else {
      decoder_.decode_block(block);
    }
  }

  void reserve() {
    if (next_ > foreseen_) {
      foreseen_ = std::min(report_->blocks, next_ * foresight());
      decoder_.reserve(foreseen_, next_);
    }
  }

  /// A file may claim any size: no reservation goes further beyond what was decoded than so many times it.
  [[nodiscard]] std::uint64_t foresight() const {
    constexpr std::uint64_t kForesight = 64;
#if defined(__EMSCRIPTEN__)
    // Each further stage would leave a hole in memory that never goes back. What an instance asks for is taken from the
    // system when it is touched.
    return next_ > kPieceBlocks ? report_->blocks / next_ + 1 : kForesight;
#else
    return kForesight;
#endif
  }

  LoadReport* report_;
  LoadOptions options_;
  kiv_Config config_;
  PackageDecoder decoder_{config_};
  std::uint64_t next_ = 0;
  std::uint64_t foreseen_ = 0;
};

/// Reads as many bytes as there are, up to the span's size.
inline std::size_t read_bytes(std::istream& stream, std::span<std::uint8_t> bytes) {
  errno = 0;
  stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return static_cast<std::size_t>(stream.gcount());
}

/// The bytes that there are of the first block; none, with the reason in the report, when the system gives none.
inline std::optional<std::size_t> read_first_block(std::istream& stream, std::span<std::uint8_t> block,
                                                   LoadReport* report) {
  const std::size_t got = read_bytes(stream, block);
  if (read_failed(stream)) {
    report->failure = last_system_error();
    return std::nullopt;
  }
  return got;
}

/// Size of the file; leaves the stream at its start.
inline std::uint64_t count_bytes(std::istream& stream) {
  stream.seekg(0, std::ios::end);
  const std::streamoff size = stream.tellg();
  stream.seekg(0);
  return size < 0 ? 0 : static_cast<std::uint64_t>(size);
}

/// A stream that fails within a piece may deliver nothing of it. Asked again block by block, it gives all before the
/// fault. False when the loading is to stop.
inline bool take_singly(Loader& loader, std::istream& stream) {
  std::array<std::uint8_t, kBlockSize> block{};
  stream.clear();
  stream.seekg(static_cast<std::streamoff>(loader.next_block() * kBlockSize));
  while (loader.blocks_left() > 0 && read_bytes(stream, block) == kBlockSize) {
    if (!loader.take(block)) {
      return false;
    }
  }
  return true;
}

inline bool take_all(Loader& loader, std::istream& stream) {
  std::vector<std::uint8_t> piece(std::min<std::uint64_t>(loader.blocks_left(), kPieceBlocks) * kBlockSize);
  while (loader.blocks_left() > 0) {
    const std::size_t wanted = std::min<std::uint64_t>(kPieceBlocks, loader.blocks_left()) * kBlockSize;
    const std::size_t got = read_bytes(stream, std::span(piece).first(wanted));
    if (!loader.take(Bytes(piece).first(got / kBlockSize * kBlockSize))) {
      return false;
    }
    if (got < wanted) {
      return take_singly(loader, stream);
    }
  }
  return true;
}

/// Stopped here, a recording may be left with some of its channels.
template <typename Target>
void finish(Loader& loader, Target* recording, LoadReport* report) {
  try {
    loader.finish(recording);
  } catch (const Stopped&) {
    *recording = {};
    report->status = LoadStatus::kStopped;
  }
}

template <typename Target>
LoadReport load(Target* recording, std::istream& stream, const LoadOptions& options) {
  LoadReport report;
  Loader loader(&report, options);
  std::array<std::uint8_t, kBlockSize> first{};
  const std::optional<std::size_t> got = read_first_block(stream, first, &report);
  if (!got) {
    return report;
  }
  stream.clear();
  if (!loader.begin(*got < kBlockSize ? *got : count_bytes(stream), Bytes(first).first(*got))) {
    return report;
  }
  if (!take_all(loader, stream)) {
    report.status = LoadStatus::kStopped;
    return report;
  }
  if (loader.blocks_left() > 0) {
    report.first_unreadable_block = loader.next_block();
    report.failure = last_system_error();
  }
  finish(loader, recording, &report);
  return report;
}

/// A file that is gone was still read to its end.
inline bool has_changed(const std::optional<FileState>& before, const std::optional<FileState>& after) {
  return before && after && *before != *after;
}

template <typename Target>
LoadReport load(Target* recording, const char* path, const LoadOptions& options) {
  const std::optional<FileState> before = file_state(path);
  LoadReport report;
  std::ifstream stream = open_recording(path, &report.failure);
  if (!stream.is_open()) {
    return report;
  }
  report = load(recording, stream, options);
  report.changed = has_changed(before, file_state(path));
  return report;
}

}  // namespace vortena::loading
