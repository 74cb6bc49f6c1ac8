// The road of `read` as one writes it first: samples in ordered trees, text through streams, the filter in nested
// loops. The library's rival in speed, and a second opinion on its CSV.
#pragma once

#include <istream>
#include <ostream>

#include "reader/decoding/recording_model.h"

namespace oracle {

/// Header, channels and orientation of the recording in `file`, from its start. False without a header.
bool straightforward_decode(std::istream& file, vortena::kiv_Config* config, vortena::SensorMap* sensors);

void straightforward_csv(std::ostream& csv, const vortena::kiv_Config& config, const vortena::SensorMap& sensors);

/// The whole road, from file to file.
void straightforward_read(const char* path, const char* csv_path);

}  // namespace oracle
