// Two verticals run through the samples side by side, one of them turned by the rates as they are. They stand for two
// runs of the orientation filter, which would take much longer.
#include "quality/rest_tilt.h"

#include <cmath>
#include <numbers>

#include "quality/sampling.h"

namespace vortena {
namespace {

constexpr std::size_t kAxes = 3;
using Vector = std::array<double, kAxes>;

/// Share of the difference to the accelerometer that a sample takes away. The orientation filter's own share depends on
/// its motion; with this one, simulated units end at the same tilts.
constexpr double kPull = 1.0 / 4000;
constexpr double kDegrees = 180 / std::numbers::pi;

double squared(double value) {
  return value * value;
}

double dot(const Vector& a, const Vector& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

Vector cross(const Vector& a, const Vector& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

double angle_deg(const Vector& a, const Vector& b) {
  const Vector normal = cross(a, b);
  return std::atan2(std::sqrt(dot(normal, normal)), dot(a, b)) * kDegrees;
}

Vector at(const kiv_DataSensor& series, std::size_t i) {
  return {series.values[i], series.values[series.sampleCount + i], series.values[2 * series.sampleCount + i]};
}

constexpr std::size_t kRuns = 2;  // as read, and corrected
using Pair = std::array<double, kRuns>;

/// Earth z as the unit sees it, of both runs: as pairs, which compilers compute at once.
class Verticals {
 public:
  explicit Verticals(const Vector& accel_g) {
    x_.fill(accel_g[0]);
    y_.fill(accel_g[1]);
    z_.fill(accel_g[2]);
  }

  /// Turns as the filter's quaternion does, which goes (1, a) further, a being half of the angles: by twice the arc
  /// tangent of a's length. Then goes a share of the way to the accelerometer.
  void step(const Pair& ax, const Pair& ay, const Pair& az, const Vector& accel_g) {
    for (std::size_t run = 0; run < kRuns; ++run) {
      const double x = x_[run], y = y_[run], z = z_[run];
      const double a = ax[run], b = ay[run], c = az[run];
      const double factor = 2 / (1 + (a * a + b * b + c * c));
      const double first_x = y * c - z * b, first_y = z * a - x * c, first_z = x * b - y * a;
      const double turned_x = x + factor * (first_x + (first_y * c - first_z * b));
      const double turned_y = y + factor * (first_y + (first_z * a - first_x * c));
      const double turned_z = z + factor * (first_z + (first_x * b - first_y * a));
      x_[run] = turned_x + kPull * (accel_g[0] - turned_x);
      y_[run] = turned_y + kPull * (accel_g[1] - turned_y);
      z_[run] = turned_z + kPull * (accel_g[2] - turned_z);
    }
  }

  [[nodiscard]] double off_deg(std::size_t run, const Vector& accel_g) const {
    return angle_deg({x_[run], y_[run], z_[run]}, accel_g);
  }

 private:
  Pair x_{}, y_{}, z_{};
};

/// To a millionth: the last digits of an arc tangent are each C library's own.
double root_mean(double squares, std::uint64_t count) {
  return std::round(std::sqrt(squares / static_cast<double>(count)) * 1e6) / 1e6;
}

/// Samples pair by count, as they do for the orientation. `half_turn` makes half of the angle of a sample from its
/// rate.
TiltAtRest tilt_at(std::span<const RestStop> stops, const kiv_DataSensor& accel, TruePositions accel_positions,
                   const kiv_DataSensor& gyro, TruePositions gyro_positions, const Vector& offset, double half_turn) {
  Verticals verticals(stops.front().accel_g);
  TiltAtRest sum;
  auto stop = stops.begin() + 1;
  for (std::size_t i = gyro_positions.next(), k = accel_positions.next();
       stop != stops.end() && i < gyro.sampleCount && k < accel.sampleCount;
       i = gyro_positions.next(), k = accel_positions.next()) {
    if (i < stops.front().position) {
      continue;
    }
    if (i >= stop->position) {
      ++sum.rests;
      sum.as_read_deg += squared(verticals.off_deg(0, stop->accel_g));
      sum.corrected_deg += squared(verticals.off_deg(1, stop->accel_g));
      ++stop;
    }
    const auto [x, y, z] = at(gyro, i);
    verticals.step({half_turn * x, half_turn * (x - offset[0])}, {half_turn * y, half_turn * (y - offset[1])},
                   {half_turn * z, half_turn * (z - offset[2])}, at(accel, k));
  }
  return sum;
}

}  // namespace

std::optional<TiltAtRest> measure_tilt_at_rest(const Recording& recording, const LoadReport& load,
                                               std::span<const RestStop> stops,
                                               const std::array<double, 3>& offset_deg_s) {
  const kiv_DataSensor* const accel = find_series(recording.sensors, kAccelKey, kAxes);
  const kiv_DataSensor* const gyro = find_series(recording.sensors, kGyroKey, kAxes);
  const std::int32_t hz = recording.config.gyro.frequency;
  if (stops.size() < 2 || accel == nullptr || gyro == nullptr || hz <= 0 || hz != recording.config.accel.frequency) {
    return std::nullopt;
  }
  TiltAtRest sum = tilt_at(stops, *accel, TruePositions(header_positions(load, kAccelKey)), *gyro,
                           TruePositions(header_positions(load, kGyroKey)), offset_deg_s, 1 / (2 * kDegrees * hz));
  sum.as_read_deg = root_mean(sum.as_read_deg, sum.rests);
  sum.corrected_deg = root_mean(sum.corrected_deg, sum.rests);
  const bool known = sum.rests > 0 && std::isfinite(sum.as_read_deg) && std::isfinite(sum.corrected_deg);
  return known ? std::optional(sum) : std::nullopt;
}

}  // namespace vortena
