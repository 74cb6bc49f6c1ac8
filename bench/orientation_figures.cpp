// The figures of docs/orientation.md, as tables in Markdown. Every figure is from runs of the tracker.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string>

#include "tracker/tracker.h"

namespace {

using Triple = std::array<float, 3>;

constexpr Triple kUp{0, 0, 1}, kNoTurn{0, 0, 0};
constexpr std::array kRates{100, 400};
constexpr double kDegrees = 180 / M_PI;

/// A tracker that has been started at rest, level.
struct Unit {
  tracker_state state;
  std::array<float, 7> output{};
  int rate;

  Unit(int samples_per_second, bool as_recordings, bool with_position = false) : rate(samples_per_second) {
    init_tracker(&state, rate, with_position ? 1 : 0);
    if (as_recordings) {
      const std::array R{1e4F, 0.0F, 0.0F, 0.0F, 1e4F, 0.0F, 0.0F, 0.0F, 1e4F};
      set_motionless_thresh(&state, std::array{1.05F, 0.1F, 15.0F}.data());
      set_imu_quaternion_observation_noise_cov_matrix(&state, R.data(), R.data());
    }
    for (int i = 0; i < 5; ++i) {
      feed(kUp, kNoTurn);
    }
  }

  void feed(const Triple& accel, const Triple& gyro) {
    add_to_tracker_buffer(&state, accel.data(), gyro.data(), nullptr);
    run_tracker(&state, output.data());
  }
  void rest(double seconds) { run(seconds, kUp, kNoTurn); }
  void run(double seconds, const Triple& accel, const Triple& gyro) {
    for (int i = 0; i < seconds * rate; ++i) {
      feed(accel, gyro);
    }
  }
  /// Between earth z and what q takes for it; degrees.
  [[nodiscard]] double tilt() const {
    const double x = state.q[1], y = state.q[2];
    return 2 * std::asin(std::min(1.0, std::sqrt(x * x + y * y))) * kDegrees;
  }
  [[nodiscard]] double yaw() const {
    const double w = state.q[0], x = state.q[1], y = state.q[2], z = state.q[3];
    return std::atan2(2 * (w * z + x * y), 1 - 2 * (y * y + z * z)) * kDegrees;
  }
};

/// One row: a name, and a cell for each rate.
void print_row(const char* name, const char* format, const std::function<double(int rate)>& figure) {
  std::printf("| %s |", name);
  for (const int rate : kRates) {
    std::printf(" ");
    std::printf(format, figure(rate));
    std::printf(" |");
  }
  std::printf("\n");
}

void print_head(const char* title) {
  std::printf("\n| %s | 100 Hz | 400 Hz |\n| --- | --- | --- |\n", title);
}

/// Seconds until 10 degrees of tilt have become 5.
double halving_time(Unit unit) {
  const double half = 5 / kDegrees;
  unit.state.q[0] = static_cast<float>(std::cos(half));
  unit.state.q[1] = static_cast<float>(std::sin(half));
  unit.state.q[2] = unit.state.q[3] = 0;
  int samples = 0;
  for (; unit.tilt() > 5; ++samples) {
    unit.feed(kUp, kNoTurn);
  }
  return static_cast<double>(samples) / unit.rate;
}

void print_tilt() {
  print_head("10 degrees of tilt become 5");
  print_row("right after the start, while P grows", "%.1f s", [](int rate) { return halving_time(Unit(rate, true)); });
  print_row("after ten minutes of rest", "%.1f s", [](int rate) {
    Unit unit(rate, true);
    unit.rest(600);
    return halving_time(unit);
  });
  print_row("after ten minutes judged moving, and still so", "%.1f s", [](int rate) {
    Unit unit(rate, true);
    set_motionless_thresh(&unit.state, kNoTurn.data());
    unit.rest(600);
    return halving_time(unit);
  });
  print_row("library default, right after the start", "%.4f s",
            [](int rate) { return halving_time(Unit(rate, false)); });
}

void print_drift() {
  print_head("tilt from a bias about a horizontal axis, after an hour");
  for (const float bias : {0.01F, 0.03F, 0.1F}) {
    print_row((std::to_string(bias).substr(0, 4) + " deg/s").c_str(), "%.1f degrees", [bias](int rate) {
      Unit unit(rate, true);
      unit.run(3600, kUp, {bias, 0, 0});
      return unit.tilt();
    });
  }
}

void print_acceleration() {
  print_head("tilt from ten seconds of acceleration, after ten minutes of rest");
  for (const float g : {0.2F, 0.5F}) {
    print_row((std::to_string(g).substr(0, 3) + " g along x").c_str(), "%.1f degrees", [g](int rate) {
      Unit unit(rate, true);
      unit.rest(600);
      unit.run(10, {g, 0, 1}, kNoTurn);
      return unit.tilt();
    });
  }
  print_row("0.5 g to and fro at 1 Hz, at most", "%.2f degrees", [](int rate) {
    Unit unit(rate, true);
    unit.rest(600);
    double largest = 0;
    for (int i = 0; i < 10 * rate; ++i) {
      unit.feed({static_cast<float>(0.5 * std::sin(2 * M_PI * i / rate)), 0, 1}, kNoTurn);
      largest = std::max(largest, unit.tilt());
    }
    return largest;
  });
}

void print_rotation() {
  print_head("missing after ten seconds about the vertical");
  for (const float rate_deg_s : {500.0F, 1000.0F, 2000.0F}) {
    print_row((std::to_string(static_cast<int>(rate_deg_s)) + " deg/s").c_str(), "%.1f degrees", [&](int rate) {
      Unit unit(rate, true);
      double turned = 0, before = unit.yaw();
      for (int i = 0; i < 10 * rate; ++i) {
        unit.feed(kUp, {0, 0, rate_deg_s});
        turned += std::remainder(unit.yaw() - before, 360);
        before = unit.yaw();
      }
      return 10 * static_cast<double>(rate_deg_s) - turned;
    });
  }
}

/// The largest acceleration along x that passes for stillness when it rises slowly from rest; g.
double hidden_acceleration(int rate, bool as_recordings) {
  Unit unit(rate, as_recordings);
  float accel = 0;
  for (; unit.state.moving == 0; accel += 0.001F) {
    unit.feed({accel, 0, 1}, kNoTurn);
  }
  return static_cast<double>(accel);
}

void print_position() {
  print_head("position filter, after rest");
  print_row("speed after one second of 0.4 g upwards (truly 3.92 m/s)", "%.2f m/s", [](int rate) {
    Unit unit(rate, true, true);
    unit.rest(1);
    unit.run(1, {0, 0, 1.4F}, kNoTurn);
    return static_cast<double>(unit.state.position_state[5]);
  });
  print_row("largest horizontal acceleration that passes for stillness, if it rises slowly", "%.2f g",
            [](int rate) { return hidden_acceleration(rate, true); });
  print_row("the same, library default", "%.2f g", [](int rate) { return hidden_acceleration(rate, false); });
}

}  // namespace

int main() {
  print_tilt();
  print_drift();
  print_acceleration();
  print_rotation();
  print_position();
}
