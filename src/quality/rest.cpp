// Rest is judged in windows of half a second; the offset is the mean of the windows at rest, and its error is estimated
// from how they differ.
#include "quality/rest.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <numbers>
#include <span>
#include <vector>

#include "quality/sampling.h"
#include "reader/stillness.h"
#include "reader/texts/json_object.h"

namespace vortena {
namespace {

constexpr std::size_t kAxes = 3;
using Vector = std::array<double, kAxes>;

/// Long enough for a mean, short enough to fit between movements. Slow channels get windows of more seconds.
constexpr double kWindowSeconds = 0.5;
constexpr std::size_t kLeastSamples = 10;

/// A window with a gap shows too little of its time.
constexpr double kLongestWindow = 1.2;

/// Sensors of worn units scatter by 0.05 to 0.2 deg/s on a table or on a foot that stands; a hip or a hand that is held
/// still sways by 0.4 and more, and its mean rate over seconds is no offset.
constexpr double kGyroSpread = 0.3;
/// The same for the accelerometer: 0.002 to 0.008 g at rest.
constexpr double kAccelSpread = 0.02;
/// A turntable or a slow hand turns steadily, too. A larger offset than this is a case for calibration.
constexpr double kLargestRate = 3.0;

/// Below this the error of the mean is no better than no correction in many units.
constexpr double kLeastRest = 5.0;
/// For either half of a recording to have a say in whether they agree.
constexpr double kLeastRestOfHalf = 2.0;
/// Turns the heading by three degrees in a minute: a smaller change, as of temperature, is to be expected.
constexpr double kSmallChange = 0.05;
/// Change that errors explain, in standard deviations.
constexpr double kLikelyDeviations = 3.0;

/// Windows that pass for rest while the unit creeps stand out from the others by more than this many deviations.
constexpr double kOutlier = 5.0;
constexpr double kDeviationsPerMad = 1.4826;  // of a normal distribution

/// The root of the sum of squares, as independent errors add up. The C library's own function for it has other digits
/// on other systems.
double root_of_squares(double a, double b) {
  return std::sqrt(a * a + b * b);
}

/// Mean and standard deviation, per axis, of samples of a series.
struct Moments {
  Vector mean{};
  Vector spread{};
};

struct Window {
  std::size_t position;  ///< of its first sample of the gyroscope
  double start;
  Vector rate;         ///< mean, deg/s
  Vector rate_spread;  ///< deg/s
  Vector accel;        ///< mean, g
};

double norm(const Vector& v) {
  return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

struct AxisMoments {
  double mean;
  double spread;
};

AxisMoments moments(std::span<const double> values) {
  const auto count = static_cast<double>(values.size());
  double sum = 0;
  for (const double value : values) {
    sum += value;
  }
  const double mean = sum / count;
  double squares = 0;
  for (const double value : values) {
    squares += (value - mean) * (value - mean);
  }
  return {mean, std::sqrt(squares / count)};
}

/// Mean and spread over positions from `begin` to before `end`; nothing when an axis varies by `most_spread` or more.
std::optional<Moments> calm_moments(const kiv_DataSensor& series, std::size_t begin, std::size_t end,
                                    double most_spread) {
  Moments result;
  for (std::size_t axis = 0; axis < kAxes; ++axis) {
    const double* const values = series.values.data() + axis * series.sampleCount;
    const auto [mean, spread] = moments({values + begin, values + end});
    if (!(spread < most_spread)) {  // not-a-number included
      return std::nullopt;
    }
    result.mean[axis] = mean;
    result.spread[axis] = spread;
  }
  return result;
}

/// Walks both series side by side, a window of time after the other.
class WindowSearch {
 public:
  WindowSearch(const Recording& recording, const LoadReport& load)
      : gyro_(recording.sensors.at(kGyroKey)),
        accel_(recording.sensors.at(kAccelKey)),
        gyro_header_(header_positions(load, kGyroKey)),
        accel_header_(header_positions(load, kAccelKey)) {}

  /// `length` samples of the gyroscope to a window of `seconds`.
  std::vector<Window> at_rest(std::size_t length, double seconds) {
    std::vector<Window> windows;
    std::size_t accel_begin = 0;
    for (std::size_t begin = 0; begin + length <= gyro_.sampleCount; begin += length) {
      const double start = gyro_.timestamps[begin];
      const double last = gyro_.timestamps[begin + length - 1];
      accel_begin = position_at(start, accel_begin);
      const std::size_t accel_end = position_at(last, accel_begin);
      if (last - start < kLongestWindow * seconds && accel_end - accel_begin >= kLeastSamples / 2 &&
          is_true(gyro_header_, begin, begin + length) && is_true(accel_header_, accel_begin, accel_end)) {
        add_rest(windows, {begin, begin + length}, {accel_begin, accel_end});
      }
    }
    return windows;
  }

 private:
  struct Range {
    std::size_t begin, end;
  };

  /// The position of the first accelerometer sample from `from` on that is not earlier than `time`.
  [[nodiscard]] std::size_t position_at(double time, std::size_t from) const {
    while (from < accel_.sampleCount && accel_.timestamps[from] < time) {
      ++from;
    }
    return from;
  }

  /// No sample of the header block among them.
  static bool is_true(std::span<const std::uint64_t> header, std::size_t begin, std::size_t end) {
    const auto at = std::lower_bound(header.begin(), header.end(), begin);
    return at == header.end() || *at >= end;
  }

  void add_rest(std::vector<Window>& windows, Range gyro_range, Range accel_range) const {
    const auto gyro = calm_moments(gyro_, gyro_range.begin, gyro_range.end, kGyroSpread);
    if (!gyro || norm(gyro->mean) >= kLargestRate) {
      return;
    }
    const auto accel = calm_moments(accel_, accel_range.begin, accel_range.end, kAccelSpread);
    // Uncalibrated accelerometers are off by some hundredths; what is further off is moving.
    if (accel && std::abs(norm(accel->mean) - 1) < kStillAccelErrorG) {
      const std::size_t position = gyro_range.begin;
      windows.push_back({position, gyro_.timestamps[position], gyro->mean, gyro->spread, accel->mean});
    }
  }

  const kiv_DataSensor& gyro_;
  const kiv_DataSensor& accel_;
  std::span<const std::uint64_t> gyro_header_;
  std::span<const std::uint64_t> accel_header_;
};

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

std::vector<double> rates_of(std::span<const Window> windows, std::size_t axis) {
  std::vector<double> rates;
  std::transform(windows.begin(), windows.end(), std::back_inserter(rates),
                 [axis](const Window& window) { return window.rate[axis]; });
  return rates;
}

/// `count` is the width of one count, deg/s, per axis: no deviation can be judged more finely.
void drop_outliers(std::vector<Window>& windows, const Vector& count) {
  Vector centre{};
  Vector limit{};
  for (std::size_t axis = 0; axis < kAxes; ++axis) {
    std::vector<double> rates = rates_of(windows, axis);
    centre[axis] = median(rates);
    for (double& rate : rates) {
      rate = std::abs(rate - centre[axis]);
    }
    limit[axis] = std::max(kOutlier * kDeviationsPerMad * median(rates), count[axis]);
  }
  std::erase_if(windows, [&](const Window& window) {
    for (std::size_t axis = 0; axis < kAxes; ++axis) {
      if (std::abs(window.rate[axis] - centre[axis]) > limit[axis]) {
        return true;
      }
    }
    return false;
  });
}

double mean_of(std::span<const double> values) {
  double sum = 0;
  for (const double value : values) {
    sum += value;
  }
  return sum / static_cast<double>(values.size());
}

/// Sample standard deviation; zero of a single value.
double deviation_of(std::span<const double> values) {
  if (values.size() < 2) {
    return 0;
  }
  const double mean = mean_of(values);
  double squares = 0;
  for (const double value : values) {
    squares += (value - mean) * (value - mean);
  }
  return std::sqrt(squares / static_cast<double>(values.size() - 1));
}

/// Means of two neighbours each; an odd last value is left out.
std::vector<double> pair_means(const std::vector<double>& values) {
  std::vector<double> means;
  for (std::size_t i = 0; i + 1 < values.size(); i += 2) {
    means.push_back((values[i] + values[i + 1]) / 2);
  }
  return means;
}

/// Standard error of the mean of correlated values: that of means over more and more neighbours, the largest of all, as
/// the error stops growing where the means no longer depend on each other. (H. Flyvbjerg, H. G. Petersen: Error
/// estimates on averages of correlated data. J. Chem. Phys. 91, 461, 1989. doi:10.1063/1.457480) Few values know their
/// own spread badly, which Student's distribution makes up for.
double error_of_mean(std::vector<double> values) {
  constexpr std::size_t kLeastMeans = 5;  // fewer say nothing about their own spread
  const double freedom = static_cast<double>(values.size()) - 1;
  const double few = freedom > 2 ? std::sqrt(freedom / (freedom - 2)) : std::sqrt(3.0);
  double error = 0;
  do {
    error = std::max(error, deviation_of(values) / std::sqrt(static_cast<double>(values.size())));
    values = pair_means(values);
  } while (values.size() >= kLeastMeans);
  return few * error;
}

/// Standard deviation of what rounding to counts adds to a mean. Without noise it is that of an even distribution over
/// one count; noise as large as a count lets the mean see between counts, and the error vanishes. The exponential is
/// that of the first harmonic of the rounding error (B. Widrow, I. Kollár: Quantization Noise. Cambridge 2008), to nine
/// decimals: its last digits are each C library's own.
double rounding_error(double count, double spread) {
  const double even = count / std::sqrt(12.0);
  const double noise = std::sqrt(std::max(0.0, spread * spread - even * even)) / count;
  return even * std::round(std::exp(-2 * std::numbers::pi * std::numbers::pi * noise * noise) * 1e9) / 1e9;
}

struct Estimate {
  Vector offset{};
  Vector error{};
};

Estimate estimate(std::span<const Window> windows, const Vector& count) {
  Estimate result;
  for (std::size_t axis = 0; axis < kAxes; ++axis) {
    const std::vector<double> rates = rates_of(windows, axis);
    double spread = 0;
    for (const Window& window : windows) {
      spread += window.rate_spread[axis] / static_cast<double>(windows.size());
    }
    result.offset[axis] = mean_of(rates);
    result.error[axis] = root_of_squares(error_of_mean(rates), rounding_error(count[axis], spread));
  }
  return result;
}

/// Windows are in order of time.
void compare_halves(RestEstimate& rest, std::span<const Window> windows, double middle, double seconds,
                    const Vector& count) {
  const auto split =
      std::find_if(windows.begin(), windows.end(), [middle](const Window& w) { return w.start >= middle; });
  const auto in_first = static_cast<std::size_t>(split - windows.begin());
  const double least = kLeastRestOfHalf / seconds;
  if (static_cast<double>(in_first) < least || static_cast<double>(windows.size() - in_first) < least) {
    return;
  }
  const Estimate first = estimate(windows.first(in_first), count);
  const Estimate second = estimate(windows.subspan(in_first), count);
  Vector change{};
  for (std::size_t axis = 0; axis < kAxes; ++axis) {
    change[axis] = second.offset[axis] - first.offset[axis];
    const double explained = kLikelyDeviations * root_of_squares(first.error[axis], second.error[axis]);
    rest.agrees = rest.agrees && std::abs(change[axis]) <= std::max(kSmallChange, explained);
  }
  rest.change_deg_s = change;
}

/// Width of one count, deg/s.
Vector count_width(const kiv_Config::SensorConfig& gyro) {
  constexpr double kCounts = 1 << 15;
  const double width = gyro.range / kCounts;
  return {width / std::abs(gyro.gainX), width / std::abs(gyro.gainY), width / std::abs(gyro.gainZ)};
}

void describe_accelerometer(RestEstimate& rest, std::span<const Window> windows) {
  std::vector<double> norms;
  std::transform(windows.begin(), windows.end(), std::back_inserter(norms),
                 [](const Window& window) { return norm(window.accel); });
  rest.accel_norm_g = mean_of(norms);
  rest.accel_norm_spread_g = deviation_of(norms);
}

/// The first window, and each that follows motion: a window or more that is not at rest.
std::vector<RestStop> stops_of(std::span<const Window> windows, std::size_t length) {
  std::vector<RestStop> stops;
  std::optional<std::size_t> last;
  for (const Window& window : windows) {
    if (!last || window.position > *last + length) {
      stops.push_back({window.position + length / 2, window.accel});
    }
    last = window.position;
  }
  return stops;
}

RestEstimate with_problem(RestProblem problem) {
  RestEstimate rest;
  rest.problem = problem;
  return rest;
}

RestEstimate estimate_from(const Recording& recording, const LoadReport& load, const Sampling& sampling,
                           double rate_hz) {
  const std::size_t length = std::max(kLeastSamples, static_cast<std::size_t>(std::lround(kWindowSeconds * rate_hz)));
  const double seconds = static_cast<double>(length) / rate_hz;
  const Vector count = count_width(recording.config.gyro);
  std::vector<Window> windows = WindowSearch(recording, load).at_rest(length, seconds);
  if (windows.size() > 1) {
    drop_outliers(windows, count);
  }
  RestEstimate rest;
  rest.seconds = static_cast<double>(windows.size()) * seconds;
  // Half a window more, as windows are whole numbers of samples.
  if (rest.seconds + seconds / 2 < kLeastRest || windows.size() < 2) {
    rest.problem = RestProblem::kTooLittle;
    return rest;
  }
  const Estimate all = estimate(windows, count);
  rest.offset_deg_s = all.offset;
  rest.standard_error_deg_s = all.error;
  compare_halves(rest, windows, (sampling.first + sampling.last) / 2, seconds, count);
  describe_accelerometer(rest, windows);
  rest.tilt = measure_tilt_at_rest(recording, load, stops_of(windows, length), rest.offset_deg_s);
  return rest;
}

}  // namespace

RestEstimate estimate_rest(const Recording& recording, const LoadReport& load) {
  const kiv_DataSensor* const gyro = find_series(recording.sensors, kGyroKey, kAxes);
  if (gyro == nullptr) {
    return with_problem(RestProblem::kNoGyroscope);
  }
  if (find_series(recording.sensors, kAccelKey, kAxes) == nullptr) {
    return with_problem(RestProblem::kNoAccelerometer);
  }
  const Sampling sampling = measure_sampling(*gyro, header_positions(load, kGyroKey), recording.config.frequency,
                                             recording.config.gyro.frequency);
  const double rate_hz = sampling.rate_hz.value_or(0);
  const bool has_rate = rate_hz > 0 && std::isfinite(rate_hz);
  return has_rate ? estimate_from(recording, load, sampling, rate_hz) : with_problem(RestProblem::kNoTimes);
}

void subtract_gyroscope_offset(kiv_DataSensor* gyro, const std::array<double, 3>& deg_s) {
  if (gyro == nullptr || !gyro->has_shape(kAxes, gyro->sampleCount)) {
    return;
  }
  for (std::size_t axis = 0; axis < kAxes; ++axis) {
    for (double& value : std::span(gyro->values).subspan(axis * gyro->sampleCount, gyro->sampleCount)) {
      value -= deg_s[axis];
    }
  }
}

namespace {

std::string tilt_json(const TiltAtRest& tilt) {
  JsonObject json;
  json.number("rests", tilt.rests);
  json.number("asRead", tilt.as_read_deg);
  json.number("offsetTakenOff", tilt.corrected_deg);
  return json.close();
}

}  // namespace

std::string rest_json(const RestEstimate& rest) {
  constexpr std::array kReasons{"", "no-accelerometer", "no-gyroscope", "no-times", "too-little-rest"};
  const bool found = rest.problem == RestProblem::kNone;
  JsonObject json;
  json.boolean("found", found);
  json.member("reason", found ? "null" : text_json(kReasons.at(static_cast<std::size_t>(rest.problem))));
  json.number("seconds", rest.seconds);
  json.member("offset", found ? axes_json(rest.offset_deg_s) : "null");
  json.member("standardError", found ? axes_json(rest.standard_error_deg_s) : "null");
  json.member("change", rest.change_deg_s ? axes_json(*rest.change_deg_s) : "null");
  json.member("agrees", rest.change_deg_s ? (rest.agrees ? "true" : "false") : "null");
  json.member("accelerometerNorm", found ? number_json(rest.accel_norm_g) : "null");
  json.member("accelerometerNormSpread", found ? number_json(rest.accel_norm_spread_g) : "null");
  json.member("tilt", rest.tilt ? tilt_json(*rest.tilt) : "null");
  return json.close();
}

}  // namespace vortena
