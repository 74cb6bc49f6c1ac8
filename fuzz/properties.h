// What must hold whatever the input was. A violation ends the fuzzer, which keeps the input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "reader/decoding/header_frames.h"
#include "reader/recording.h"

namespace fuzz {

using Bytes = std::span<const std::uint8_t>;

/// Prints `claim` and aborts unless it holds.
void require(bool holds, const char* claim);

/// One recording, decoded with its orientation as `read` does it.
struct Decoded : vortena::Recording {
  vortena::LoadReport report;
};
Decoded decode(Bytes file);

std::string csv_of(const vortena::kiv_Config& config, const vortena::SensorMap& sensors);

void require_equal(const vortena::kiv_Config& a, const vortena::kiv_Config& b);
/// Bit by bit.
void require_equal(const vortena::SensorMap& a, const vortena::SensorMap& b);

/// The three answers are JSON, and the header's own bytes come back through Base64.
void require_sound_answers(const vortena::kiv_Config& config);
/// Counts agree with vectors; time stamps strictly increase when the time base is not 0.
void require_sound_series(const vortena::kiv_Config& config, const vortena::SensorMap& sensors);
/// Of a recording that was read: the counts account for every record.
void require_sound_report(const vortena::LoadReport& report, const vortena::SensorMap& sensors);

}  // namespace fuzz
