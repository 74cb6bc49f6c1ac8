// The JSON texts that the reader's operations answer with: no spaces, numbers as signed 32-bit decimals.
#pragma once

#include <string>

#include "reader/decoding/recording_model.h"

namespace vortena {

/// Summary of a recording that was read: dates, time base, version numbers (as strings) and measure
/// identifier.
std::string _generate_read_answer_JSON(const kiv_Config& config);

/// Every decoded setting of a header. Calibration offsets and gains carry their integer part only.
std::string config_answer_json(const kiv_Config& config);

/// The device identifier alone, as a signed 32-bit number; -1 when the header names no device.
std::string device_id_answer_json(const kiv_Config& config);

}  // namespace vortena
