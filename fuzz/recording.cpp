// Input: the bytes of a recording file.
#include <sstream>

#include "fuzz/properties.h"
#include "operations/csv_stream.h"
#include "reader/quaternion_channel.h"
#include "tests/oracle/straightforward_reader.h"

using namespace vortena;

namespace {

std::istringstream stream_of(fuzz::Bytes file) {
  return std::istringstream(std::string(file.begin(), file.end()));
}

/// The same recording by another road.
Recording decode_from_stream(fuzz::Bytes file) {
  std::istringstream stream = stream_of(file);
  Recording recording;
  load_recording(&recording, stream);
  kiv_computeQuaternion(&recording.config, &recording.sensors);
  return recording;
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

std::string csv_in_pieces(fuzz::Bytes file) {
  std::istringstream stream = stream_of(file);
  CsvStream csv;
  fuzz::require(csv.open(stream).good(), "what is decoded is decoded as counts");
  std::string text;
  for (std::string_view piece = csv.next(); !piece.empty(); piece = csv.next()) {
    text += piece;
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::Decoded decoded = fuzz::decode({data, size});
  fuzz::require_sound_answers(decoded.config);
  fuzz::require_sound_series(decoded.config, decoded.sensors);
  if (decoded.report.status == LoadStatus::kRead) {
    fuzz::require_sound_report(decoded.report, decoded.sensors);
    fuzz::require_equal(decoded.sensors, decode_from_stream({data, size}).sensors);
    fuzz::require(fuzz::csv_of(decoded.config, decoded.sensors) == csv_in_pieces({data, size}),
                  "pieces made from counts are the same text");
  }
  fuzz::require(fuzz::csv_of(decoded.config, decoded.sensors) == straightforward_csv({data, size}),
                "the straightforward reader writes the same text");
  return 0;
}
