#include "support/recording_builder.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>

namespace vortena::testing {

Bytes le(std::int64_t value, int size) {
  Bytes bytes;
  for (int k = 0; k < size; ++k) { bytes.push_back(static_cast<std::uint8_t>(value >> (8 * k) & UINT8_MAX)); }
  return bytes;
}

Bytes be(std::int64_t value, int size) {
  const Bytes bytes = le(value, size);
  return {bytes.rbegin(), bytes.rend()};
}

Bytes be_axes(const Axes& values, int size) {
  return join({be(values[0], size), be(values[1], size), be(values[2], size)});
}

Bytes join(std::initializer_list<Bytes> pieces) {
  Bytes all;
  for (const Bytes& piece : pieces) { all.insert(all.end(), piece.begin(), piece.end()); }
  return all;
}

HeaderBuilder& HeaderBuilder::raw(const Bytes& bytes) {
  for (const std::uint8_t byte : bytes) {
    if (position_ < kBlockSize) { block_[position_++] = byte; }
  }
  return *this;
}

HeaderBuilder& HeaderBuilder::frame(int family, int id, const Bytes& payload) {
  raw({kMagic0, kMagic1, static_cast<std::uint8_t>(family), static_cast<std::uint8_t>(id)});
  return raw(join({be(static_cast<std::int64_t>(payload.size()), 1), payload, {0xFF, 0xFE}}));
}

BlockBuilder::BlockBuilder(std::uint32_t base_tick) {
  std::ranges::copy(be(base_tick, 4), block_.begin() + kBaseTickOffset);
}

BlockBuilder& BlockBuilder::record(std::uint8_t id, std::uint8_t delta, const Bytes& payload) {
  block_.at(next_ + kRecordIdOffset) = id;
  block_.at(next_ + kRecordDeltaOffset) = delta;
  std::ranges::copy(payload, block_.begin() + static_cast<std::ptrdiff_t>(next_ + kRecordPayloadOffset));
  next_ += kRecordSize;
  return *this;
}

Bytes recording(std::initializer_list<BlockArray> blocks) {
  Bytes bytes;
  for (const BlockArray& block : blocks) { bytes.insert(bytes.end(), block.begin(), block.end()); }
  return bytes;
}

ScratchFolder::ScratchFolder()
    : folder_(std::filesystem::temp_directory_path() / ("vortena-" + std::to_string(std::random_device{}()))) {
  std::filesystem::create_directory(folder_);
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

std::string ScratchFolder::write(const std::string& name, const Bytes& bytes) const {
  std::ofstream(path(name), std::ios::binary) << std::string(bytes.begin(), bytes.end());
  return path(name);
}

std::string ScratchFolder::read(const std::string& name) const {
  std::ifstream file(path(name), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace vortena::testing
