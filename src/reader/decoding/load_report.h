// What was found while a recording was read: the counts are kept by the decoder, without a second pass.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <system_error>
#include <vector>

#include "reader/decoding/recording_model.h"

namespace vortena {

enum class LoadStatus : std::uint8_t {
  kRead,        ///< up to the end, or to the first unreadable block
  kStopped,     ///< its watch wanted it to stop; nothing was kept
  kUnreadable,  ///< cannot be opened, or its first block cannot be read
  kTooShort,    ///< shorter than one block
  kNoHeader,    ///< no header frame opens in the first block
};

/// One channel. Its series holds records - repeated samples, and those of the header block.
struct ChannelCounts {
  std::uint64_t records = 0;         ///< decoded from all blocks but the first
  std::uint64_t repeated = 0;        ///< dropped, as an earlier record of the file has their tick
  std::uint64_t out_of_order = 0;    ///< kept, but earlier in time than a record before them
  std::uint64_t header_records = 0;  ///< decoded from the header block
  /// Samples of the series, without those of the header block, whose count on some axis is the lowest or the highest
  /// there is: the true value may lie beyond. Of three-axis channels only.
  std::uint64_t at_full_scale = 0;
  /// Positions in the series, ascending, of samples that come from the header block. They are decoded on purpose, and
  /// may lie days away: whatever uses true times leaves them out.
  std::vector<std::uint64_t> header_samples;
  std::uint64_t header_samples_left_out = 0;  ///< at ticks that no other block has
};

/// Counts of blocks and records.
struct PackageCounts {
  std::uint64_t blank_blocks = 0;         ///< one byte throughout, as of memory that was never written or was erased
  std::uint64_t blocks_back_in_time = 0;  ///< base tick before that of the last block that was not blank
  std::uint64_t blank_records = 0;        ///< unused places in blocks that are not blank
  std::uint64_t skipped_records = 0;      ///< of channels that are known and not decoded
  std::array<std::uint64_t, UINT8_MAX + 1> foreign_records{};  ///< by identifier: of no channel in the header
};

struct LoadReport {
  LoadStatus status = LoadStatus::kUnreadable;
  std::error_code failure;          ///< the system's reason: of kUnreadable, or for the first unreadable block
  std::uint64_t bytes = 0;          ///< size of the file
  std::uint64_t blocks = 0;         ///< whole blocks in it, the header block included
  std::uint64_t cut_off_bytes = 0;  ///< behind the last whole block
  bool changed = false;             ///< the file, by its size or time of change, since its reading began
  std::optional<std::uint64_t> first_unreadable_block;  ///< reading ended before it
  PackageCounts packages;                               ///< of all blocks but the first
  std::map<ChannelKey, ChannelCounts> channels;         ///< of the channels that the header names
};

}  // namespace vortena
