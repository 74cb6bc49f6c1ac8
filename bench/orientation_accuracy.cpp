// orientation_accuracy RECORDING REFERENCE.csv: the orientation of a recording against an attitude measured by other
// means, as it is read and with the gyroscope's offset at rest taken off. Row i of the reference, behind one line of
// titles, is the attitude w,x,y,z of sample i, body to earth with z up; rows without numbers are passed over.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <numbers>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "quality/rest.h"
#include "reader/quaternion_channel.h"
#include "reader/recording.h"

namespace {

using namespace vortena;

using Quaternion = std::array<double, 4>;

constexpr double kDegrees = 180 / std::numbers::pi;

std::vector<std::optional<Quaternion>> read_reference(const char* path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  std::vector<std::optional<Quaternion>> rows;
  while (std::getline(file, line)) {
    std::replace(line.begin(), line.end(), ',', ' ');
    std::istringstream cells(line);
    Quaternion q{};
    const bool whole = static_cast<bool>(cells >> q[0] >> q[1] >> q[2] >> q[3]);
    rows.push_back(whole ? std::optional(q) : std::nullopt);
  }
  return rows;
}

/// Each sample the mean of `count` samples: what a unit of a lower rate would have recorded.
kiv_DataSensor averaged(const kiv_DataSensor& series, std::size_t count) {
  kiv_DataSensor result(series.axisCount, series.sampleCount / count);
  for (std::size_t i = 0; i < result.sampleCount; ++i) {
    result.timestamps[i] = series.timestamps[i * count];
    for (std::size_t axis = 0; axis < series.axisCount; ++axis) {
      double sum = 0;
      for (std::size_t k = 0; k < count; ++k) {
        sum += series.values[axis * series.sampleCount + i * count + k];
      }
      result.values[axis * result.sampleCount + i] = sum / static_cast<double>(count);
    }
  }
  return result;
}

Quaternion row(const kiv_DataSensor& series, std::size_t i) {
  const std::size_t n = series.sampleCount;
  return {series.values[i], series.values[n + i], series.values[2 * n + i], series.values[3 * n + i]};
}

/// a times the inverse of b: the rotation, in the earth's frame, from b's attitude to a's.
Quaternion difference(const Quaternion& a, const Quaternion& b) {
  return {a[0] * b[0] + a[1] * b[1] + a[2] * b[2] + a[3] * b[3], -a[0] * b[1] + a[1] * b[0] - a[2] * b[3] + a[3] * b[2],
          -a[0] * b[2] + a[2] * b[0] - a[3] * b[1] + a[1] * b[3],
          -a[0] * b[3] + a[3] * b[0] - a[1] * b[2] + a[2] * b[1]};
}

struct Errors {
  double inclination_squares = 0;
  double worst_inclination = 0;
  double first_heading = 0;
  double heading = 0;
  std::size_t count = 0;

  void add(const Quaternion& error) {
    const double inclination =
        2 * std::atan2(std::hypot(error[1], error[2]), std::hypot(error[0], error[3])) * kDegrees;
    inclination_squares += inclination * inclination;
    worst_inclination = std::max(worst_inclination, inclination);
    const double turned = 2 * std::atan2(error[3], error[0]) * kDegrees;
    first_heading = count == 0 ? turned : first_heading;
    // The shortest way from the heading before, so that whole turns count.
    heading = count == 0 ? turned : heading + std::remainder(turned - heading, 360);
    ++count;
  }
  void print(const char* name, int hz) const {
    std::printf("| %-20s | %4d Hz | %14.2f | %5.2f | %13.2f |\n", name, hz,
                std::sqrt(inclination_squares / static_cast<double>(count)), worst_inclination,
                heading - first_heading);
  }
};

/// Every `count` samples averaged, then filtered.
void compare(const char* name, Recording recording, std::size_t count,
             const std::vector<std::optional<Quaternion>>& reference) {
  const int hz = recording.config.accel.frequency / static_cast<int>(count);
  recording.config.accel.frequency = recording.config.gyro.frequency = hz;
  for (const ChannelKey key : {kAccelKey, kGyroKey}) {
    recording.sensors.at(key) = averaged(recording.sensors.at(key), count);
  }
  if (!kiv_computeQuaternion(&recording.config, &recording.sensors)) {
    throw std::runtime_error("the recording has no orientation");
  }
  const kiv_DataSensor& orientation = recording.sensors.at(kQuaternionKey);
  Errors errors;
  for (std::size_t i = 0; i < orientation.sampleCount; ++i) {
    const std::size_t at = i * count + count - 1;  // the mean ends with this sample
    const Quaternion q = row(orientation, i);
    if (q != Quaternion{} && at < reference.size() && reference[at]) {
      errors.add(difference(q, *reference[at]));
    }
  }
  errors.print(name, hz);
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 3) {
    std::fputs("usage: orientation_accuracy RECORDING REFERENCE.csv\n", stderr);
    return EXIT_FAILURE;
  }
  Recording recording;
  const LoadReport report = load_recording(&recording, argv[1], {.header_samples = false});
  const auto reference = read_reference(argv[2]);
  const RestEstimate rest = estimate_rest(recording, report);
  if (report.status != LoadStatus::kRead || reference.empty() || rest.problem != RestProblem::kNone) {
    std::fputs("orientation_accuracy: not readable, or without enough rest\n", stderr);
    return EXIT_FAILURE;
  }
  Recording corrected = recording;
  subtract_gyroscope_offset(&corrected.sensors.at(kGyroKey), rest.offset_deg_s);
  const auto& offset = rest.offset_deg_s;
  const auto& error = rest.standard_error_deg_s;
  std::printf("Offset at rest, from %.1f s: x %.4f +- %.4f, y %.4f +- %.4f, z %.4f +- %.4f deg/s\n\n", rest.seconds,
              offset[0], error[0], offset[1], error[1], offset[2], error[2]);
  std::puts("| gyroscope            | rate    | tilt rms, deg  | worst | heading drift |");
  std::puts("| -------------------- | ------- | -------------- | ----- | ------------- |");
  for (const std::size_t count : {1U, 2U, 11U}) {
    compare("as read", recording, count, reference);
    compare("offset taken off", corrected, count, reference);
  }
  return EXIT_SUCCESS;
} catch (const std::exception& problem) {
  std::fprintf(stderr, "orientation_accuracy: %s\n", problem.what());
  return EXIT_FAILURE;
}
