// Damage that recordings come with: cut, lost, swapped, repeated and blank blocks, lost and foreign records, saturated
// samples. Each function damages a recording's bytes in one way. Blocks count from 0, the header block.
#pragma once

#include <cstddef>
#include <cstdint>

#include "simulator/recording_builder.h"

namespace vortena::simulator {

/// A span of time, its ends included.
struct TickSpan {
  std::int64_t first;
  std::int64_t last;
};

void cut_off(Bytes& recording, std::size_t bytes);
void remove_blocks(Bytes& recording, std::size_t first, std::size_t count);
void swap_blocks(Bytes& recording, std::size_t a, std::size_t b);
/// A copy of `block` comes to stand before `before`.
void repeat_block(Bytes& recording, std::size_t block, std::size_t before);
/// As of memory that was never written (0x00) or was erased (0xFF).
void blank_blocks(Bytes& recording, std::size_t first, std::size_t count, std::uint8_t byte = 0);

/// The channel's records of that time become unused places.
void lose_records(Bytes& recording, ChannelId channel, TickSpan span);
/// The channel's records of that time get another identifier.
void rename_records(Bytes& recording, ChannelId channel, TickSpan span, std::uint8_t id);
/// The axis, 0 to 2, of a three-axis channel stands at its lowest or highest count.
void saturate(Bytes& recording, ChannelId channel, TickSpan span, std::size_t axis, bool highest);

}  // namespace vortena::simulator
