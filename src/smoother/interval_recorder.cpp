#include "smoother/interval_recorder.h"

#include <algorithm>
#include <cmath>

#include "smoother/gap_bridge.h"
#include "smoother/rest_detector.h"

namespace vortena::smoother {
namespace {

constexpr double kPartSeconds = 0.25;  // that rest is looked for in
constexpr float kUnknownTurn = 1;      // rad, of the heading
constexpr double kBridgeError = 0.02;  // rad
constexpr double kBridgeErrorOfTurn = 0.05;
constexpr double kConingError = 0.2;        // of what is made up for in the change of the axis within a sample
constexpr double kUnknownForce = 10;        // m/s^2, where the accelerometer has no samples
constexpr double kLimitedForceShare = 0.5;  // of the range, what may lie beyond it
constexpr double kLimitedRateShare = 0.3;
constexpr std::size_t kSamplesPerQuestion = 8192;

void store(const Vec3& v, std::array<float, 3>* to) {
  for (std::size_t k = 0; k < 3; ++k) {
    (*to)[k] = static_cast<float>(v[k]);
  }
}

void store(const Mat3& M, std::array<float, 9>* to) {
  for (std::size_t k = 0; k < 9; ++k) {
    (*to)[k] = static_cast<float>(M.row[k / 3][k % 3]);
  }
}

std::array<float, 4> narrow(const Quaternion& q) {
  return {static_cast<float>(q.w), static_cast<float>(q.x), static_cast<float>(q.y), static_cast<float>(q.z)};
}

/// The integrals of one interval while they grow.
struct Integrals {
  Quaternion q;
  Mat3 C_sum;
  std::array<Mat3, 3> C_w_sum;
  Vec3 velocity{}, distance{};
  double angle = 0;

  /// Turned within `seconds`, and the force over them. C is that of the middle.
  void add(double seconds, const Vec3& turned, const ForceIntegral& force) {
    const Quaternion before = q;
    q = q * exponential(turned);
    const Vec3 gained = matrix(before + q) * (force.sum + cross(turned, force.moment));
    distance += seconds * velocity + (0.5 * seconds) * gained;
    velocity += gained;
    step_seconds_ += seconds;
    step_turned_ += turned;
    if (step_seconds_ > kStepSeconds) {
      end_step();
    }
  }
  /// The derivatives need no finer steps than these.
  void end_step() {
    const Mat3 C = matrix(step_start_ + q);
    C_sum = C_sum + step_seconds_ * C;
    for (std::size_t j = 0; j < 3; ++j) {
      C_w_sum[j] = C_w_sum[j] + step_turned_[j] * C;
    }
    angle += norm(step_turned_);
    step_start_ = q;
    step_seconds_ = 0;
    step_turned_ = {};
  }
  void store_in(Interval* interval) const {
    interval->turn = narrow(normalised(q));
    store(C_sum, &interval->C_sum);
    for (std::size_t j = 0; j < 3; ++j) {
      store(C_w_sum[j], &interval->C_w_sum[j]);
    }
    store(velocity, &interval->velocity);
    store(distance, &interval->distance);
    interval->angle = static_cast<float>(angle);
  }

 private:
  static constexpr double kStepSeconds = 0.0301;  // no multiple of usual periods, for the roundings of a clock
  Quaternion step_start_;
  double step_seconds_ = 0;
  Vec3 step_turned_{};
};

/// Means over the parts of one interval, for the spread between them.
struct PartMeans {
  double count = 0;
  Vec3 sum{}, squares{};
  double force_variance = 0, length_variance = 0;

  void add(const Part& part) {
    for (std::size_t k = 0; k < 3; ++k) {
      sum[k] += part.mean(k);
      squares[k] += part.mean(k) * part.mean(k);
    }
    force_variance += part.variance(3);
    length_variance += part.length_variance();
    count += 1;
  }
  void store_in(Interval* interval) const {
    const double n = std::max(1.0, count);
    const Vec3 mean = (1 / n) * sum;
    store(mean, &interval->mean_rate);
    const double variance = (squares[0] + squares[1] + squares[2]) / n - dot(mean, mean);
    interval->rate_spread = static_cast<float>(std::sqrt(std::max(0.0, variance)));
    interval->shake = static_cast<float>(std::sqrt(std::max(0.0, length_variance / n)));
    interval->accel_spread = static_cast<float>(std::sqrt(std::max(0.0, force_variance / n)));
  }
};

class Recorder {
 public:
  Recorder(const Inputs& inputs, const ErrorsOf& errors_of, Recorded* recorded)
      : inputs_(inputs),
        errors_of_(errors_of),
        recorded_(*recorded),
        force_(inputs.accelerometer, inputs.accel_period_s, inputs.options.accel_range_g * kGravity),
        seconds_(interval_seconds(inputs.gyro_period_s)),
        bridge_(inputs.gyro_period_s) {
    recorded_.rest.clear();
    recorded_.gaps.clear();
  }
  void add(const Sample& sample) {
    if (!started_) {
      open(sample.time_s);
      start_turning(sample);
    } else if (is_gap(sample.time_s - last_s_, inputs_.gyro_period_s)) {
      pass_gap(sample);
    } else {
      step(sample);
    }
    last_s_ = sample.time_s;
    bridge_.add(rate_);
    if (bridge_.ready()) {
      close_bridge();
    }
  }
  void finish() {
    if (started_) {
      close_bridge();
      close();
    }
  }
  [[nodiscard]] const ForceIntegrator& force() const { return force_; }

 private:
  Interval& interval() { return recorded_.intervals[index_]; }

  void open(double time_s) {
    if (started_) {
      ++index_;
    }
    if (index_ == recorded_.intervals.size()) {
      recorded_.intervals.emplace_back();
    }
    errors_ = errors_of_(index_, rest_.rate());
    interval() = Interval{};
    interval().start_s = time_s;
    interval().after_gap = !started_;
    store(errors_.offset, &interval().offset);
    integrals_ = {};
    means_ = {};
    part_ = {.from_s = time_s};
    started_ = true;
  }

  void start_turning(const Sample& sample) {
    rate_ = corrected_rate(errors_, sample.value);
    turned_ = inputs_.gyro_period_s * rate_;
  }

  void close() {
    close_part();
    interval().seconds = last_s_ - interval().start_s;
    integrals_.end_step();
    interval().lost_angle += static_cast<float>(kConingError * norm(coning_));
    coning_ = {};
    integrals_.store_in(&interval());
    means_.store_in(&interval());
  }

  void close_part() {
    if (part_.count > 0) {
      part_.to_s = last_s_;
      means_.add(part_);
      ++interval().parts;
      rest_.add(part_, index_, &recorded_);
    }
    part_ = {.from_s = last_s_};
  }

  void step(const Sample& sample) {
    // Half a period of slack, so that the roundings of a clock do not move the grid.
    const double grid_s = last_s_ + 0.5 * inputs_.gyro_period_s;
    if (grid_s - interval().start_s >= seconds_) {
      close();
      open(last_s_);
    } else if (grid_s - part_.from_s >= kPartSeconds) {
      close_part();
    }
    const double seconds = sample.time_s - last_s_;
    const ForceIntegral force = force_.integrate(last_s_, sample.time_s);
    const Vec3 rate = corrected_rate(errors_, sample.value);
    const Vec3 turned = seconds * mean_between(rate_, rate, seconds, inputs_.gyro_period_s);
    const Vec3 coned = with_coning(turned_, turned);
    integrals_.add(seconds, coned, force);
    coning_ += coned - turned;
    rate_ = rate;
    turned_ = turned;
    part_.add(kRadians * sample.value, (1 / seconds) * force.sum);
    note_limits(sample, seconds, force);
  }

  void note_limits(const Sample& sample, double seconds, const ForceIntegral& force) {
    const double range = inputs_.options.gyro_range_deg_s, accel_range = inputs_.options.accel_range_g * kGravity;
    if (range > 0 && largest(sample.value) >= kAtLimit * range) {
      interval().lost_angle += static_cast<float>(kLimitedRateShare * range * kRadians * seconds);
    }
    if (force.unknown_s + force.limited_s > 0) {
      interval().lost_velocity +=
          static_cast<float>(kUnknownForce * force.unknown_s + kLimitedForceShare * accel_range * force.limited_s);
    }
  }

  void pass_gap(const Sample& sample) {
    const double seconds = sample.time_s - last_s_;
    close_bridge();
    close();
    rest_.forget();
    open(sample.time_s);
    start_turning(sample);
    interval().after_gap = true;
    recorded_.gaps.push_back({{last_s_, sample.time_s}, can_turn(seconds)});
    if (can_turn(seconds)) {
      bridge_.open(seconds);
      bridged_ = index_;
    } else {
      bridge_ = GapBridge(inputs_.gyro_period_s);
      interval().gap_angle = kUnknownTurn;
    }
  }

  void close_bridge() {
    if (bridge_.is_open()) {
      const Quaternion turn = bridge_.close();
      Interval& behind = recorded_.intervals[bridged_];
      behind.gap_turn = narrow(turn);
      behind.gap_angle = static_cast<float>(kBridgeError + kBridgeErrorOfTurn * norm(rotation_vector(turn)));
    }
  }

  const Inputs& inputs_;
  const ErrorsOf& errors_of_;
  Recorded& recorded_;
  ForceIntegrator force_;
  double seconds_;  // of an interval
  GapBridge bridge_;
  std::size_t bridged_ = 0;  // the interval behind the gap
  RestDetector rest_;
  Integrals integrals_;
  PartMeans means_;
  Part part_;
  GyroErrors errors_;
  double last_s_ = 0;
  Vec3 rate_{}, turned_{};  // of the last sample
  Vec3 coning_{};           // in the interval, rad
  std::size_t index_ = 0;
  bool started_ = false;
};

}  // namespace

bool record_intervals(const Inputs& inputs, const ErrorsOf& errors_of, const std::function<bool(double)>& goes_on,
                      Recorded* recorded) {
  Recorder recorder(inputs, errors_of, recorded);
  SampleReader reader(inputs.gyroscope);
  const auto count = static_cast<double>(inputs.gyroscope.count());
  Sample sample;
  while (reader.next(&sample)) {
    if (sample.used) {
      recorder.add(sample);
    }
    if (reader.position() % kSamplesPerQuestion == 0 && !goes_on(static_cast<double>(reader.position()) / count)) {
      return false;
    }
  }
  recorder.finish();
  recorded->has_force = !recorder.force().empty();
  return !reader.stopped() && !recorder.force().stopped();
}

}  // namespace vortena::smoother
