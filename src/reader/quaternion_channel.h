// The orientation channel: accelerometer and gyroscope series through the orientation tracker.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "reader/decoding/recording_model.h"
#include "reader/orientation_problem.h"
#include "system/watch.h"
#include "tracker/tracker.h"

namespace vortena {

/// Makes the entry under kQuaternionKey that fill_orientation() fills: 4 axes, W X Y Z, as many samples as the shorter
/// of the two inputs, and the accelerometer's time stamps. An entry that already stands there is taken, whatever its
/// size, and gets as many time stamps as it has samples. After a problem the map is unchanged.
OrientationProblem prepare_orientation(const kiv_Config& config, SensorMap* sensors);

/// Fills the entry that prepare_orientation() made: body to earth with z up. Samples before the tracker found its
/// motionless start, and always the last one, are four zeros. The axes lie as many values apart as the shorter input
/// has samples, in an entry of another size too; one that is too small for all gets the values that have a place in it.
/// No other entry of the map is touched. `ready`, where given, counts the samples that stand, so that another thread
/// may use them while more are computed. kNone or kStopped.
OrientationProblem fill_orientation(const kiv_Config& config, SensorMap* sensors, Watch* watch = nullptr,
                                    std::atomic<std::uint64_t>* ready = nullptr);

/// Why a map allows no orientation; kNone when it does.
OrientationProblem find_orientation_problem(const kiv_Config& config, const SensorMap& sensors);

/// The values that fill_orientation() would fill in, in single precision, which is what they are computed in. Of the
/// two inputs, which find_orientation_problem() found nothing about, only the values count. kNone or kStopped.
OrientationProblem fill_narrow_orientation(std::int32_t rate_hz, const kiv_DataSensor& accel,
                                           const kiv_DataSensor& gyro, std::vector<float>* quaternion,
                                           Watch* watch = nullptr);

/// Both. False, with the map unchanged, for a null argument and for every problem.
bool kiv_computeQuaternion(kiv_Config* config, SensorMap* sensors);

/// The orientation of an accelerometer and a gyroscope, piece by piece from the first sample to the last, which never
/// gets one and is four zeros.
///
/// Inputs are axis-major. The stride of both is the number of samples they have in common, on purpose: of a longer one,
/// the second and third axis are read from shifted positions.
class OrientationRun {
 public:
  static constexpr std::size_t kMostSamples = 4096;  ///< in a piece

  /// For inputs that have `samples` samples in common.
  OrientationRun(std::int32_t rate_hz, std::uint64_t samples);

  [[nodiscard]] std::uint64_t done() const { return done_; }

  /// The next piece, where inputs and orientation lie whole.
  void fill(const tracker_series& whole, std::size_t count);

  /// The next piece, of inputs whose elements `accel(e)` and `gyro(e)` tell: component k of its sample i is element
  /// k * kMostSamples + i of what comes back, which stands until the next call.
  template <typename Accel, typename Gyro>
  const double* next(std::size_t count, Accel accel, Gyro gyro) {
    if (!piece_) {
      piece_ = std::make_unique<Piece>();
    }
    take(count, accel, piece_->accel.data());
    take(count, gyro, piece_->gyro.data());
    filter({piece_->accel.data(), piece_->gyro.data(), piece_->quaternion.data(), kMostSamples}, 0, count);
    return piece_->quaternion.data();
  }

 private:
  static constexpr std::size_t kAxes = 3;
  static constexpr std::size_t kComponents = 4;

  struct Piece {
    std::array<double, kAxes * kMostSamples> accel;
    std::array<double, kAxes * kMostSamples> gyro;
    std::array<double, kComponents * kMostSamples> quaternion;
  };

  template <typename Input>
  void take(std::size_t count, Input input, double* to) const {
    for (std::size_t axis = 0; axis < kAxes; ++axis) {
      for (std::size_t i = 0; i < count; ++i) {
        to[axis * kMostSamples + i] = input(axis * samples_ + done_ + i);
      }
    }
  }

  void filter(const tracker_series& series, std::size_t first, std::size_t count);

  std::unique_ptr<tracker_state> tracker_;
  std::uint64_t samples_;
  std::uint64_t done_ = 0;
  std::unique_ptr<Piece> piece_;
};

}  // namespace vortena
