// The numbers of the recording file format; docs/recording-format.md shows them as tables.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vortena {

/// Files are read as whole blocks; the first also holds the configuration header.
inline constexpr std::size_t kBlockSize = 512;

// Data package: an unused word, the base tick, then records.
inline constexpr std::size_t kRecordSize = 8;
inline constexpr std::size_t kBaseTickOffset = 4;
inline constexpr std::size_t kFirstRecordOffset = kBaseTickOffset + sizeof(std::uint32_t);
inline constexpr std::size_t kRecordsPerBlock = (kBlockSize - kFirstRecordOffset) / kRecordSize;
static_assert(kFirstRecordOffset == kRecordSize);
static_assert(kRecordsPerBlock == 63);

// Record: channel identifier, tick delta, sample payload.
inline constexpr std::size_t kRecordIdOffset = 0;
inline constexpr std::size_t kRecordDeltaOffset = 1;
inline constexpr std::size_t kRecordPayloadOffset = 2;

// Within a record's payload.
inline constexpr std::size_t kAxisSize = sizeof(std::int16_t);
inline constexpr std::size_t kTemperatureOffset = 3;  // behind 24 bits of pressure
inline constexpr std::size_t kEventOffset = 5;

// Header frame: magic, family, id, payload length, payload, trailer.
inline constexpr std::uint8_t kMagic0 = 0x4B;  // 'K'
inline constexpr std::uint8_t kMagic1 = 0x56;  // 'V'
inline constexpr std::size_t kFrameFamilyOffset = 2;
inline constexpr std::size_t kFrameIdOffset = 3;
inline constexpr std::size_t kFrameLengthOffset = 4;
inline constexpr std::size_t kFramePayloadOffset = kFrameLengthOffset + 1;
inline constexpr std::size_t kFrameTrailerSize = 2;
inline constexpr std::size_t kFrameOverhead = kFramePayloadOffset + kFrameTrailerSize;
inline constexpr std::size_t kMaxFrameSize = kFrameOverhead + UINT8_MAX;
static_assert(kFrameOverhead == 7);

/// Last position at which the opening of the first header frame is looked for.
inline constexpr std::size_t kLastHeaderStart = kBlockSize - kFramePayloadOffset;
static_assert(kLastHeaderStart == 507);

}  // namespace vortena
