#include "smoother/attitude_output.h"

namespace vortena::smoother {
namespace {

/// About earth z, that the attitude keeps its inclination and has the heading that smooth() promises.
Quaternion heading_of_first(const Quaternion& first) {
  // Up in the body frame is the third row of the attitude's matrix.
  const Vec3 up = matrix(first).row[2];
  const Quaternion turned =
      up[2] >= 0 ? smallest_turn(up, {0, 0, 1}) : Quaternion{0, 1, 0, 0} * smallest_turn(up, {0, 0, -1});
  return normalised(turned * conjugate(first));
}

class Attitudes {
 public:
  Attitudes(const Inputs& inputs, const Recorded& recorded, const GridSmoother& grid)
      : period_s_(inputs.gyro_period_s),
        intervals_(recorded.intervals),
        grid_(grid),
        heading_(heading_of_first(grid.nodes().front().nominal)) {
    enter(0);
  }

  Quaternion at(const Sample& sample) {
    if (!sample.used) {
      return given_;
    }
    const Vec3 rate = corrected_rate(errors_, sample.value);
    if (started_) {
      integrate(sample, rate);
    }
    started_ = true;
    last_s_ = sample.time_s;
    rate_ = rate;
    turned_ = period_s_ * rate;
    const double closed_s = sample.time_s - start_s_;
    const Vec3 half = closed_s * half_closing_rate_;
    given_ = normalised(Quaternion{1, half[0], half[1], half[2]} * q_);
    if (index_ + 1 < intervals_.size() && sample.time_s >= intervals_[index_ + 1].start_s) {
      enter(index_ + 1);
      rate_ = corrected_rate(errors_, sample.value);
    }
    return given_;
  }

 private:
  void enter(std::size_t index) {
    index_ = index;
    start_s_ = intervals_[index].start_s;
    errors_ = grid_.gyro_errors(index);
    q_ = normalised(heading_ * grid_.nodes()[index].nominal);
    const bool joined = index + 1 < intervals_.size() && !intervals_[index + 1].after_gap;
    half_closing_rate_ =
        joined ? (0.5 / intervals_[index].seconds) * (matrix(heading_) * grid_.closing_error(index)) : Vec3{};
    given_ = q_;
  }
  void integrate(const Sample& sample, const Vec3& rate) {
    const double seconds = sample.time_s - last_s_;
    if (is_gap(seconds, period_s_)) {
      enter(index_ + 1);
    } else {
      const Vec3 turned = seconds * mean_between(rate_, rate, seconds, period_s_);
      q_ = q_ * exponential(with_coning(turned_, turned));
    }
  }

  double period_s_;
  const std::deque<Interval>& intervals_;
  const GridSmoother& grid_;
  Quaternion heading_;
  std::size_t index_ = 0;
  double start_s_ = 0;
  GyroErrors errors_;
  Quaternion q_;
  Vec3 half_closing_rate_{};  // earth frame, rad/s
  Quaternion given_;
  bool started_ = false;
  double last_s_ = 0;
  Vec3 rate_{}, turned_{};
};

}  // namespace

bool write_attitudes(const Inputs& inputs, const Recorded& recorded, const GridSmoother& grid, OrientationSink* sink,
                     std::size_t* unused) {
  Attitudes attitudes(inputs, recorded, grid);
  SampleReader reader(inputs.gyroscope);
  std::vector<double> piece(4 * kLargestPiece);
  std::size_t first = 0, count = 0;
  const auto flush = [&] {
    const bool taken = count == 0 || sink->write(first, count, piece.data());
    first += count;
    count = 0;
    return taken;
  };
  Sample sample;
  while (reader.next(&sample)) {
    const Quaternion q = attitudes.at(sample);
    *unused += sample.used ? 0 : 1;
    double* const wxyz = &piece[4 * count++];
    wxyz[0] = q.w;
    wxyz[1] = q.x;
    wxyz[2] = q.y;
    wxyz[3] = q.z;
    if (count == kLargestPiece && !flush()) {
      return false;
    }
  }
  return flush() && !reader.stopped();
}

}  // namespace vortena::smoother
