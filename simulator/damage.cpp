#include "simulator/damage.h"

#include <algorithm>

#include "reader/decoding/byte_order.h"

namespace vortena::simulator {
namespace {

auto block_at(Bytes& recording, std::size_t block) {
  return recording.begin() + static_cast<std::ptrdiff_t>(block * kBlockSize);
}

/// Calls `change` with each record of the channel in that time, all blocks but the header's.
template <typename Change>
void change_records(Bytes& recording, ChannelId channel, TickSpan span, Change change) {
  for (std::size_t at = kBlockSize; at + kBlockSize <= recording.size(); at += kBlockSize) {
    const std::int64_t base = u32_be(&recording[at + kBaseTickOffset]);
    for (std::size_t r = at + kFirstRecordOffset; r < at + kBlockSize; r += kRecordSize) {
      const std::int64_t tick = base + recording[r + kRecordDeltaOffset];
      if (recording[r + kRecordIdOffset] == channel && tick >= span.first && tick <= span.last) {
        change(&recording[r]);
      }
    }
  }
}

}  // namespace

void cut_off(Bytes& recording, std::size_t bytes) {
  recording.resize(recording.size() - bytes);
}

void remove_blocks(Bytes& recording, std::size_t first, std::size_t count) {
  recording.erase(block_at(recording, first), block_at(recording, first + count));
}

void swap_blocks(Bytes& recording, std::size_t a, std::size_t b) {
  std::swap_ranges(block_at(recording, a), block_at(recording, a + 1), block_at(recording, b));
}

void repeat_block(Bytes& recording, std::size_t block, std::size_t before) {
  const Bytes copy(block_at(recording, block), block_at(recording, block + 1));
  recording.insert(block_at(recording, before), copy.begin(), copy.end());
}

void blank_blocks(Bytes& recording, std::size_t first, std::size_t count, std::uint8_t byte) {
  std::fill(block_at(recording, first), block_at(recording, first + count), byte);
}

void lose_records(Bytes& recording, ChannelId channel, TickSpan span) {
  change_records(recording, channel, span, [](std::uint8_t* record) { std::fill_n(record, kRecordSize, 0); });
}

void rename_records(Bytes& recording, ChannelId channel, TickSpan span, std::uint8_t id) {
  change_records(recording, channel, span, [id](std::uint8_t* record) { record[kRecordIdOffset] = id; });
}

void saturate(Bytes& recording, ChannelId channel, TickSpan span, std::size_t axis, bool highest) {
  const Bytes count = be(highest ? INT16_MAX : INT16_MIN, kAxisSize);
  change_records(recording, channel, span, [&](std::uint8_t* record) {
    std::copy(count.begin(), count.end(), record + kRecordPayloadOffset + axis * kAxisSize);
  });
}

}  // namespace vortena::simulator
