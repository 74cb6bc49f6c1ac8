// The best orientation that a whole recording of accelerometer and gyroscope allows: every attitude is estimated from
// the samples before and after it. Beside it the tracker's filter knows only the samples before.
//
// Estimated together, every second or two: attitude, mean velocity, gyroscope offset (a random walk), accelerometer
// offset, and the gyroscope's errors of scale and alignment (constants). What is known of them: a unit that people
// carry or wear has a velocity near zero, beside one in the body frame that is usual for it; where it rests, velocity
// and rate are zero. So integrated acceleration tells the direction of gravity, at rest and in motion.
//
// What it cannot tell: an offset of the accelerometer that all attitudes share (5 mg are 0.3 degrees of inclination), a
// gyroscope's error of scale about an axis that stays vertical, and, from an offset, a rotation about the vertical that
// is steady and below 3 deg/s. In vehicles, whose velocities last, the uncertainty is larger than it says.
//
// The sample work is strapdown integration over intervals of a second, with its derivatives by the errors of the
// gyroscope (T. Lupton, S. Sukkarieh, IEEE Trans. Robotics 28(1), 2012, doi:10.1109/TRO.2011.2170332). The estimate is
// an extended Kalman filter over the intervals and the smoother of fixed interval behind it, in the form that inverts
// no covariance (G. J. Bierman, "Fixed interval smoothing with discrete measurements", Int. J. Control 18(1), 1973,
// doi:10.1080/00207177308932487; A. E. Bryson, M. Frazier, 1963), repeated about its own result (B. M. Bell, "The
// iterated Kalman smoother as a Gauss-Newton method", SIAM J. Optimization 4(3), 1994, doi:10.1137/0804035). That an
// offline estimate may look both ways, take gravity in a nearly inertial frame and estimate the offset in motion as
// well is shown by D. Laidig, T. Seel, "VQF", Information Fusion 91, 2023, doi:10.1016/j.inffus.2022.10.014.
//
// The same digits on all processors: + - * / and square roots of doubles, in a fixed order.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vortena::smoother {

/// Samples of one sensor in order of time, calibrated, x y z in the body frame: g for an accelerometer (1 g upwards at
/// rest), deg/s for a gyroscope. A sample is the mean since the one before, as sensors average and as the tracker takes
/// it. Passed over are samples that are not finite, of 100 000 g or deg/s and more, not after the one before, or after
/// 1e12 s.
class SampleSource {
 public:
  SampleSource() = default;
  SampleSource(const SampleSource&) = default;
  SampleSource& operator=(const SampleSource&) = default;
  virtual ~SampleSource() = default;
  [[nodiscard]] virtual std::size_t count() const = 0;
  /// Samples `first` to `first + count` - 1: times in seconds on a clock that both sensors share, and x y z of each
  /// sample in a row. Asked for in order, in pieces of at most kLargestPiece; the whole recording a few times. False
  /// ends the work.
  virtual bool read(std::size_t first, std::size_t count, double* times_s, double* xyz) = 0;
};

/// Takes the attitudes.
class OrientationSink {
 public:
  OrientationSink() = default;
  OrientationSink(const OrientationSink&) = default;
  OrientationSink& operator=(const OrientationSink&) = default;
  virtual ~OrientationSink() = default;
  /// Attitudes of gyroscope samples `first` to `first + count` - 1, in order and without gaps: w x y z in a row, body
  /// to earth with z up, of length 1. False ends the work.
  virtual bool write(std::size_t first, std::size_t count, const double* wxyz) = 0;
  /// Asked between pieces of the work, of which `share` is done, 0 to 1. False ends the work.
  virtual bool goes_on(double share) {
    static_cast<void>(share);
    return true;
  }
};

inline constexpr std::size_t kLargestPiece = 2048;

enum class Status : std::uint8_t {
  kDone,
  kNoGyroscope,  ///< no usable sample; nothing was written
  kStopped,      ///< by a source or by the sink
};

struct Options {
  /// What the sensors can measure at most; 0 is unknown. Samples at the limit widen the uncertainty.
  double gyro_range_deg_s = 0;
  double accel_range_g = 0;
};

/// At one instant, every second or two.
struct GridPoint {
  double time_s = 0;
  std::array<float, 3> gyro_offset_deg_s{};  ///< to be subtracted from what the gyroscope reads
  /// Root mean square to expect of the angle between the true vertical and the estimated one.
  float inclination_error_deg = 0;
};

struct Stretch {
  double from_s = 0;
  double to_s = 0;
};

/// Time without samples of the gyroscope.
struct Gap {
  Stretch stretch;
  /// True: what it turned was guessed from the rates on both sides. False: too long for that. Either way the
  /// inclination behind it is estimated anew, and the heading is the one before, turned by what was assumed.
  bool turned = false;
};

struct Result {
  Status status = Status::kDone;
  bool has_accelerometer = true;  ///< without one, inclination and offset are known from the gyroscope alone: hardly
  std::vector<GridPoint> grid;    ///< in order of time; values between two points lie between them
  std::vector<Stretch> rest;
  std::vector<Gap> gaps;
  /// Error of scale and alignment, row by row: the rate that was read, less the offset, is (1 + E) times the true one.
  std::array<double, 9> gyro_scale_error{};
  std::array<double, 9> gyro_scale_sigma{};  ///< standard deviations of its elements
  std::array<double, 3> accel_offset_g{};    ///< to be subtracted from what the accelerometer reads
  std::array<double, 3> accel_offset_sigma_g{};
  std::size_t unused_gyro_samples = 0;  ///< passed over
};

/// Estimates the orientation of a recording and gives `sink` one attitude for each sample of the gyroscope; a sample
/// that is not used has the attitude of the one before. The heading is free: that of the first attitude is the
/// tracker's, the smallest turn that takes up to earth z (no z component), unless up is towards the body's negative z;
/// then the one without y component. Memory: about 1.7 MB for each hour, half of it at 100 Hz and less; nothing else
/// grows with the recording. Throws nothing but std::bad_alloc and what sources and sink throw.
Result smooth(SampleSource& accelerometer, SampleSource& gyroscope, const Options& options, OrientationSink& sink);

}  // namespace vortena::smoother
