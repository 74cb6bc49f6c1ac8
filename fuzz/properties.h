// What must hold whatever the input was. A violation ends the fuzzer, which keeps the input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "reader/header_frames.h"
#include "reader/recording_model.h"

namespace fuzz {

using Bytes = std::span<const std::uint8_t>;

/// Prints `claim` and aborts unless it holds.
void require(bool holds, const char* claim);

/// One recording, decoded with its orientation as `read` does it.
struct Decoded {
  vortena::kiv_Config config;
  vortena::SensorMap sensors;
  bool has_header = false;
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
/// As many rows as the third line promises, which is the longest exported series, each with the cells of the channels
/// that have samples.
void require_sound_csv(const std::string& csv, const vortena::kiv_Config& config, const vortena::SensorMap& sensors);

}  // namespace fuzz
