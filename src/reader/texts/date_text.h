// Header dates as text, shared by the JSON answers and the CSV preamble.
#pragma once

#include <string>

#include "reader/decoding/recording_model.h"

namespace vortena {

/// "year-month-day hour:minute:second". The year is "0000" when 0, otherwise unpadded; every other field gets
/// a "0" in front unless it is above 9, negative values included.
std::string _date_to_string(const kiv_Config::DateStruct& date);

}  // namespace vortena
