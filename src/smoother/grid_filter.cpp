#include "smoother/grid_filter.h"

#include <algorithm>
#include <cmath>

namespace vortena::smoother {
namespace {

constexpr double square(double a) {
  return a * a;
}

// Sensors as they are in worn units.
constexpr double kFirstTilt = 0.4;                      // rad
constexpr double kFirstOffset = 1.0 * kRadians;         // rad/s
constexpr double kFirstAccelOffset = 0.008 * kGravity;  // m/s^2
constexpr double kFirstScale = 0.01;
constexpr double kFirstMisalignment = 0.005;            // rad
constexpr double kAngleRandomWalk = 0.015 * kRadians;   // rad / sqrt(s)
constexpr double kTurnError = 0.001;                    // of the angle turned: what scale and alignment do not explain
constexpr double kOffsetRandomWalk = 0.003 * kRadians;  // rad/s / sqrt(s)
constexpr double kVelocityNoise = 0.01;                 // m/s
constexpr double kForceError = 0.05;                    // of the changes of the specific force
// What people do.
constexpr double kFirstVelocity = 2;             // m/s
constexpr double kUsualVelocityDeviation = 1.5;  // m/s
constexpr double kMovingVelocity = 0.7;          // m/s, of means over an interval, beside what is usual
constexpr double kShakingSeconds = 0.5;          // the more a unit is shaken, the faster it may be
constexpr double kRestingVelocity = 0.01;
constexpr double kRestingRate = 0.01 * kRadians;  // rad/s, of means over a second

Vec3 vec3(const std::array<float, 3>& v) {
  return {v[0], v[1], v[2]};
}

Mat3 mat3(const std::array<float, 9>& m) {
  return {{Vec3{m[0], m[1], m[2]}, Vec3{m[3], m[4], m[5]}, Vec3{m[6], m[7], m[8]}}};
}

/// Mean velocity less that at the start, without gravity.
Vec3 mean_gain(const Interval& interval) {
  return interval.seconds > 0 ? (1 / interval.seconds) * vec3(interval.distance) : Vec3{};
}

/// Takes the usual velocity to that of an interval.
Mat3 mean_attitude_in_motion(const Interval& interval, const Mat3& R) {
  const bool moves = interval.seconds > 0 && !interval.rests();
  return moves ? (1 / interval.seconds) * (R * mat3(interval.C_sum)) : Mat3{};
}

void add_row(double factor, const StateVector& from, StateVector* to) {
  for (std::size_t c = 0; c < kStates; ++c) {
    (*to)[c] += factor * from[c];
  }
}

/// F P F^T, block by block: rows of a block plus M times the rows of another.
void add_rows(const Mat3& M, std::size_t from, std::size_t to, StateMatrix* P) {
  for (std::size_t r = 0; r < 3; ++r) {
    for (std::size_t k = 0; k < 3; ++k) {
      add_row(M.row[r][k], (*P)[from + k], &(*P)[to + r]);
    }
  }
}

/// Columns likewise; of the rows of the block itself, whose other columns mirror() fills.
void add_columns(const Mat3& M, std::size_t from, std::size_t to, StateMatrix* P) {
  for (std::size_t row = to; row < to + 3; ++row) {
    for (std::size_t r = 0; r < 3; ++r) {
      (*P)[row][to + r] += dot(M.row[r], {(*P)[row][from], (*P)[row][from + 1], (*P)[row][from + 2]});
    }
  }
}

/// Columns of a block from its rows.
void mirror(std::size_t block, StateMatrix* P) {
  for (std::size_t r = block; r < block + 3; ++r) {
    for (std::size_t c = 0; c < kStates; ++c) {
      (*P)[c][r] = (*P)[r][c];
    }
  }
}

/// To the diagonal of a block.
void add_noise(std::size_t block, double variance, StateMatrix* P) {
  for (std::size_t k = block; k < block + 3; ++k) {
    (*P)[k][k] += variance;
  }
}

void forget(std::size_t element, double variance, Estimate* estimate) {
  estimate->x[element] = 0;
  estimate->P[element].fill(0);
  for (StateVector& row : estimate->P) {
    row[element] = 0;
  }
  estimate->P[element][element] = variance;
}

void forget_motion(const Transition& F, Estimate* estimate) {
  forget(kAttitude, square(kFirstTilt), estimate);
  forget(kAttitude + 1, square(kFirstTilt), estimate);
  estimate->P[kAttitude + 2][kAttitude + 2] += F.heading_noise;
  for (std::size_t k = 0; k < 3; ++k) {
    forget(kVelocity + k, square(kFirstVelocity), estimate);
  }
}

void measure(std::size_t element, double value, double R, Estimate* estimate, Corrections* corrections) {
  Correction& correction = corrections->at[corrections->count++];
  const StateVector column = estimate->P[element];
  const double S = column[element] + R;
  correction.element = element;
  correction.S = S;
  correction.scaled_innovation = (value - estimate->x[element]) / S;
  for (std::size_t r = 0; r < kStates; ++r) {
    correction.K[r] = column[r] / S;
    estimate->x[r] += column[r] * correction.scaled_innovation;
    add_row(-correction.K[r], column, &estimate->P[r]);
  }
}

}  // namespace

Estimate first_estimate() {
  Estimate estimate;
  const auto set = [&estimate](std::size_t from, std::size_t to, double deviation) {
    for (std::size_t k = from; k < to; ++k) {
      estimate.P[k][k] = square(deviation);
    }
  };
  set(kAttitude, kAttitude + 2, kFirstTilt);  // the first heading is what headings are counted from
  set(kVelocity, kGyroOffset, kFirstVelocity);
  set(kGyroOffset, kAccelOffset, kFirstOffset);
  set(kAccelOffset, kGyroScale, kFirstAccelOffset);
  set(kGyroScale, kUsualVelocity, kFirstMisalignment);
  for (std::size_t axis = 0; axis < 3; ++axis) {
    set(kGyroScale + 4 * axis, kGyroScale + 4 * axis + 1, kFirstScale);
  }
  set(kUsualVelocity, kStates, kUsualVelocityDeviation);
  return estimate;
}

Quaternion end_attitude(const Interval& interval, const Node& node) {
  return node.nominal * Quaternion{interval.turn[0], interval.turn[1], interval.turn[2], interval.turn[3]};
}

Transition transition(const Interval& from, const Node& node, const Interval& to, const Node& next, const Mat3& scale) {
  Transition F;
  const double seconds = to.start_s - from.start_s;
  F.offset_noise = std::min(square(kOffsetRandomWalk) * seconds, square(kFirstOffset));
  F.after_gap = to.after_gap;
  if (to.after_gap) {
    F.heading_noise = square(to.gap_angle);
    return F;
  }
  const Mat3 R = matrix(node.nominal), R_next = matrix(next.nominal);
  F.by_offset = -1 * (R * mat3(from.C_sum));
  const Vec3 jump = rotation_vector(end_attitude(from, node) * conjugate(next.nominal));
  F.drift = jump - F.by_offset * vec3(from.offset);
  for (std::size_t j = 0; j < 3; ++j) {
    F.by_scale[j] = -1 * (R * mat3(from.C_w_sum[j]));
    F.drift = F.drift - F.by_scale[j] * Vec3{scale.row[0][j], scale.row[1][j], scale.row[2][j]};
  }
  const Vec3 force_before = R * (vec3(from.velocity) - mean_gain(from));
  F.force = force_before + R_next * mean_gain(to);
  // Within an interval the errors of the gyroscope grow; about the point between two alike ones, that cancels but for
  // the jump from one nominal attitude to the other.
  F.gain = F.force - cross(jump, force_before) - Vec3{0, 0, kGravity * 0.5 * (from.seconds + to.seconds)};
  F.by_usual = mean_attitude_in_motion(from, R) + -1 * mean_attitude_in_motion(to, R_next);
  F.by_accel_offset = 0.5 * (R * mat3(from.C_sum) + R_next * mat3(to.C_sum));
  F.attitude_noise = square(kAngleRandomWalk) * seconds + square(kTurnError * from.angle) + square(from.lost_angle);
  F.velocity_noise = square(kVelocityNoise) + square(kForceError * from.accel_spread * seconds) +
                     square(from.lost_velocity) + square(to.lost_velocity);
  return F;
}

void shift_next_nominal(const Vec3& error, const Interval& from, const Node& node, Transition* F) {
  F->drift = F->drift - error;
  F->gain += cross(error, matrix(node.nominal) * (vec3(from.velocity) - mean_gain(from)));
}

Vec3 attitude_error(const Transition& F, const StateVector& x) {
  Vec3 error = F.drift + F.by_offset * block_of(x, kGyroOffset);
  for (std::size_t j = 0; j < 3; ++j) {
    error += F.by_scale[j] * block_of(x, kGyroScale + 3 * j);
  }
  return error;
}

namespace {

void predict_attitude(const Transition& F, Estimate* estimate) {
  StateMatrix& P = estimate->P;
  add_to_block(attitude_error(F, estimate->x), kAttitude, &estimate->x);
  add_rows(F.by_offset, kGyroOffset, kAttitude, &P);
  for (std::size_t j = 0; j < 3; ++j) {
    add_rows(F.by_scale[j], kGyroScale + 3 * j, kAttitude, &P);
  }
  add_columns(F.by_offset, kGyroOffset, kAttitude, &P);
  for (std::size_t j = 0; j < 3; ++j) {
    add_columns(F.by_scale[j], kGyroScale + 3 * j, kAttitude, &P);
  }
  mirror(kAttitude, &P);
  add_noise(kAttitude, F.attitude_noise, &P);
}

void predict_velocity(const Transition& F, Estimate* estimate) {
  StateMatrix& P = estimate->P;
  const StateVector& x = estimate->x;
  const Mat3 by_attitude = -1 * cross_matrix(F.force), by_accel_offset = -1 * F.by_accel_offset;
  add_to_block(by_attitude * block_of(x, kAttitude) + by_accel_offset * block_of(x, kAccelOffset) +
                   F.by_usual * block_of(x, kUsualVelocity) + F.gain,
               kVelocity, &estimate->x);
  add_rows(by_attitude, kAttitude, kVelocity, &P);
  add_rows(by_accel_offset, kAccelOffset, kVelocity, &P);
  add_rows(F.by_usual, kUsualVelocity, kVelocity, &P);
  add_columns(by_attitude, kAttitude, kVelocity, &P);
  add_columns(by_accel_offset, kAccelOffset, kVelocity, &P);
  add_columns(F.by_usual, kUsualVelocity, kVelocity, &P);
  mirror(kVelocity, &P);
  add_noise(kVelocity, F.velocity_noise, &P);
}

}  // namespace

void predict(const Transition& F, Estimate* estimate) {
  add_noise(kGyroOffset, F.offset_noise, &estimate->P);
  if (F.after_gap) {
    forget_motion(F, estimate);
    return;
  }
  predict_attitude(F, estimate);
  predict_velocity(F, estimate);
}

void correct(const Interval& interval, Estimate* estimate, Corrections* corrections) {
  corrections->count = 0;
  if (!(interval.seconds > 0)) {
    return;
  }
  const double deviation = interval.rests() ? kRestingVelocity : kMovingVelocity + kShakingSeconds * interval.shake;
  const double R = square(deviation) + square(interval.lost_velocity);
  for (std::size_t k = 0; k < 3; ++k) {
    measure(kVelocity + k, 0, R, estimate, corrections);
  }
  if (interval.rests()) {
    const double R_rate = square(kRestingRate) + square(interval.rate_spread);
    for (std::size_t k = 0; k < 3; ++k) {
      measure(kGyroOffset + k, interval.mean_rate[k], R_rate, estimate, corrections);
    }
  }
}

}  // namespace vortena::smoother
