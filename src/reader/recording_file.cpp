// File access of the reader. Pieces of many blocks are read at a time; decoding sees one block at a time.
#include "reader/recording_file.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <span>
#include <vector>

#include "reader/header_frames.h"
#include "reader/recording_format.h"
#include "reader/utf8_path.h"

namespace vortena {
namespace {

using Block = std::array<std::uint8_t, kBlockSize>;

/// Only regular files are recordings: opening a pipe or a terminal could wait for ever.
std::ifstream open_recording(const char* path) {
  const std::filesystem::path file = utf8_path(path);
  std::error_code failure;
  if (!std::filesystem::is_regular_file(file, failure)) {
    return {};
  }
  return std::ifstream(file, std::ios::binary);
}

/// Reads as many bytes as there are, up to the span's size.
std::size_t read_bytes(std::istream& stream, std::span<std::uint8_t> bytes) {
  stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return static_cast<std::size_t>(stream.gcount());
}

/// Whole blocks in the file; leaves the stream at its start.
std::uint64_t count_blocks(std::istream& stream) {
  stream.seekg(0, std::ios::end);
  const std::streamoff size = stream.tellg();
  stream.seekg(0);
  return size < 0 ? 0 : static_cast<std::uint64_t>(size) / kBlockSize;
}

void decode_blocks(PackageDecoder* decoder, std::span<const std::uint8_t> blocks) {
  for (; blocks.size() >= kBlockSize; blocks = blocks.subspan(kBlockSize)) {
    decoder->decode_block(blocks.first<kBlockSize>());
  }
}

}  // namespace

bool kiv_readConfig(kiv_Config* config, const char* path) {
  std::ifstream stream = open_recording(path);
  return _kiv_readConfig(config, stream);
}

bool _kiv_readConfig(kiv_Config* config, std::ifstream& stream) {
  if (!stream.is_open()) {
    return false;
  }
  Block block{};
  read_bytes(stream, block);
  const bool at_end = stream.eof();
  stream.close();
  if (stream.fail() && !at_end) {
    return false;
  }
  return _readConfig(config, block);
}

bool kiv_read(kiv_Config* config, SensorMap* sensors, const char* path) {
  std::ifstream stream = open_recording(path);
  return _kiv_read(config, sensors, stream);
}

bool _kiv_read(kiv_Config* config, SensorMap* sensors, std::ifstream& stream) {
  if (!stream.is_open()) {
    return false;
  }
  Block header{};
  if (read_bytes(stream, header) < kBlockSize) {
    return false;
  }
  const std::uint64_t block_count = count_blocks(stream);
  const bool decoded = _readConfig(config, header);
  if (decoded) {
    PackageDecoder decoder(*config);
    // From block 0 on, on purpose: the header block counts as a data package like any other.
    read_packages(stream, block_count, &decoder);
    decoder.transfer(*config, sensors);
  }
  stream.close();
  return decoded;
}

void read_packages(std::istream& stream, std::uint64_t block_count, PackageDecoder* decoder, std::size_t piece_blocks) {
  // A file may claim any size: no reservation goes further beyond what was decoded than this.
  constexpr std::uint64_t kForesight = 64;
  std::vector<std::uint8_t> piece(std::min<std::uint64_t>(block_count, piece_blocks) * kBlockSize);
  std::uint64_t next = 0;
  std::uint64_t foreseen = 0;
  while (next < block_count) {
    const std::size_t wanted = std::min<std::uint64_t>(piece_blocks, block_count - next);
    const std::size_t bytes = read_bytes(stream, std::span(piece).first(wanted * kBlockSize));
    const std::size_t got = bytes / kBlockSize;
    decode_blocks(decoder, std::span<const std::uint8_t>(piece).first(got * kBlockSize));
    next += got;
    if (next > foreseen) {
      foreseen = std::min(block_count, next * kForesight);
      decoder->reserve(foreseen, next);
    }
    if (got < wanted && piece_blocks == 1) {
      return;
    }
    if (got < wanted) {
      // A stream that fails within a piece may deliver nothing of it. Block by block, all before the fault is
      // kept.
      piece_blocks = 1;
      stream.clear();
      stream.seekg(static_cast<std::streamoff>(next * kBlockSize));
    }
  }
}

}  // namespace vortena
