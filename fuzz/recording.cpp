// Input: the bytes of a recording file.
#include <sstream>

#include "tests/oracle/straightforward_reader.h"
#include "fuzz/properties.h"
#include "reader/data_packages.h"
#include "reader/quaternion_channel.h"
#include "reader/recording_file.h"

using namespace vortena;

namespace {

std::istringstream stream_of(fuzz::Bytes file) {
  return std::istringstream(std::string(file.begin(), file.end()));
}

/// The same recording by another road: from a stream, in pieces.
SensorMap decode_from_stream(fuzz::Bytes file, kiv_Config config) {
  std::istringstream stream = stream_of(file);
  PackageDecoder decoder(config);
  read_packages(stream, file.size() / kBlockSize, &decoder, 1 + file.size() % 3);
  SensorMap sensors;
  decoder.transfer(config, &sensors);
  kiv_computeQuaternion(&config, &sensors);
  return sensors;
}

std::string straightforward_csv(fuzz::Bytes file) {
  std::istringstream stream = stream_of(file);
  std::ostringstream csv;
  kiv_Config config;
  SensorMap sensors;
  oracle::straightforward_decode(stream, &config, &sensors);
  oracle::straightforward_csv(csv, config, sensors);
  return csv.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::Decoded decoded = fuzz::decode({data, size});
  fuzz::require_sound_answers(decoded.config);
  fuzz::require_sound_series(decoded.config, decoded.sensors);
  if (decoded.has_header) {
    fuzz::require_equal(decoded.sensors, decode_from_stream({data, size}, decoded.config));
  }
  const std::string csv = fuzz::csv_of(decoded.config, decoded.sensors);
  fuzz::require_sound_csv(csv, decoded.config, decoded.sensors);
  fuzz::require(csv == straightforward_csv({data, size}), "the straightforward reader writes the same text");
  return 0;
}
