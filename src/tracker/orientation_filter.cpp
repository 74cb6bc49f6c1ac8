// Extended Kalman filter of the orientation quaternion.
//   q state, P its covariance; F transition, Q process noise; h predicted measurement, H = dh/dq, R
//   measurement noise; S innovation covariance, K gain.
#include <cmath>

#include "tracker/rows.h"
#include "tracker/tracker.h"

namespace {

using tracker::add;
using tracker::broadcast;
using tracker::diagonal;
using tracker::Factors;
using tracker::first_three;
using tracker::inverse;
using tracker::load;
using tracker::load_3x3;
using tracker::load_rows;
using tracker::multiply;
using tracker::normalised;
using tracker::Row;
using tracker::Rows;
using tracker::splat;
using tracker::store;
using tracker::store_rows;
using tracker::subtract;
using tracker::transpose;
using tracker::transpose_multiply;

constexpr float kMovingProcessNoise = 0.0001F;
constexpr float kMovingAccelerometerNoise = 10000.0F;  // against 0.001 at rest: all but switches the correction off

Row vector3(const float v[3]) {
  return Row{v[0], v[1], v[2], 0.0F};
}

void store3(Row v, float out[3]) {
  for (int i = 0; i < 3; ++i) {
    out[i] = v[i];
  }
}

/// Judges the sample by its magnitudes; gyroscope in deg/s. The first test sets the raw magnitude, near 1 at
/// rest, against that of the previous gravity-free acceleration, near 0 at rest; its threshold just above 1 g
/// is made for that.
void judge_motion(tracker_state* state, Row gyroscope, float accel_norm) {
  const float linear_norm = tracker::norm<3>(vector3(state->linear_accel));
  const float* thresholds = state->motionless_thresh;
  const bool still = thresholds[0] > std::fabs(accel_norm - linear_norm) &&
                     thresholds[1] > std::fabs(accel_norm - 1.0F) && thresholds[2] > tracker::norm<3>(gyroscope);
  state->moving = still ? 0 : 1;
}

Rows<4> process_noise(const tracker_state* state) {
  return state->moving == 1 ? diagonal<4>(kMovingProcessNoise) : load_rows<4>(state->Q);
}

/// F. First-order integration of dq/dt = q (0, rates) / 2, rates in the body frame. Half of the turn about each axis
/// during the sample, in all lanes.
struct Transition {
  Row x, y, z;

  /// F B.
  [[nodiscard]] Rows<4> times(const Rows<4>& B) const {
    const Row* const b = B.row;
    return {{b[0] - x * b[1] - y * b[2] - z * b[3], x * b[0] + b[1] + z * b[2] - y * b[3],
             y * b[0] - z * b[1] + b[2] + x * b[3], z * b[0] + y * b[1] - x * b[2] + b[3]}};
  }
};

Transition transition(const float rates[3], float half_dt) {
  return {broadcast(rates[0] * half_dt), broadcast(rates[1] * half_dt), broadcast(rates[2] * half_dt)};
}

/// H of the predicted gravity: twice q, each component in all lanes. Where the first term of a sum is negative, the
/// second stands before it: to the bits, that is the sum in ascending order.
struct GravityJacobian {
  Row w, x, y, z;

  /// H B.
  [[nodiscard]] Rows<3> times(const Rows<4>& B) const {
    const Row* const b = B.row;
    return {{z * b[1] - y * b[0] - w * b[2] + x * b[3], x * b[0] + w * b[1] + z * b[2] + y * b[3],
             w * b[0] - x * b[1] - y * b[2] + z * b[3]}};
  }
  /// H^T B.
  [[nodiscard]] Rows<4> transposed_times(const Rows<3>& B) const {
    const Row* const b = B.row;
    return {{x * b[1] - y * b[0] + w * b[2], z * b[0] + w * b[1] - x * b[2], z * b[1] - w * b[0] - y * b[2],
             x * b[0] + y * b[1] + z * b[2]}};
  }
  [[nodiscard]] Rows<3> rows() const {
    return {{Row{-y[0], z[0], -w[0], x[0]}, Row{x[0], w[0], z[0], y[0]}, Row{w[0], -x[0], -y[0], z[0]}}};
  }
};

/// H of the predicted field: no two of its elements need be alike.
struct FieldJacobian {
  Factors<3, 4> H;

  [[nodiscard]] Rows<3> times(const Rows<4>& B) const { return multiply(H, B); }
  [[nodiscard]] Rows<4> transposed_times(const Rows<3>& B) const { return multiply(transpose(H), B); }
  [[nodiscard]] Rows<3> rows() const { return {{load(H.at[0]), load(H.at[1]), load(H.at[2])}}; }
};

/// A direction in the body frame as predicted from q, and how it changes with w, x, y, z.
template <typename Jacobian>
struct Prediction {
  Row h;
  Jacobian H;
};

/// The unit vector along earth z.
Prediction<GravityJacobian> predict_gravity(const float q[4]) {
  const float w = q[0], x = q[1], y = q[2], z = q[3];
  const Row twice = 2.0F * load(q);
  return {Row{2.0F * (x * z - w * y), 2.0F * (w * x + y * z), w * w - x * x - y * y + z * z, 0.0F},
          {splat<0>(twice), splat<1>(twice), splat<2>(twice), splat<3>(twice)}};
}

/// The direction v turned by q.
Row turned(Row q, Row v) {
  const Row direction = tracker::rotated_direction(q, Row{0.0F, v[0], v[1], v[2]});
  return Row{direction[1], direction[2], direction[3], 0.0F};
}

/// The field in the earth frame, its horizontal part turned along x: (bx, 0, bz).
Row reference_field(Row q, Row m) {
  const float w = q[0], x = q[1], y = q[2], z = q[3];
  const float s =
      2.0F * (x * z - w * y) * m[0] + 2.0F * (w * x + y * z) * m[1] + (w * w - x * x - y * y + z * z) * m[2];
  const float vertical = s < -1.0F ? -1.0F : (s > 1.0F ? 1.0F : s);
  return Row{std::sqrt(1.0F - vertical * vertical), 0.0F, vertical, 0.0F};
}

/// The field b = (bx, 0, bz), held fixed.
Prediction<FieldJacobian> predict_field(Row q, Row b) {
  const float w = q[0], x = q[1], y = q[2], z = q[3];
  const float bx = b[0], bz = b[2];
  const Row conjugate = normalised(tracker::conjugate(q));
  const float along_w = 2.0F * (w * bx - y * bz), along_x = 2.0F * (x * bx + z * bz);
  const float along_y = 2.0F * (y * bx + w * bz), along_z = 2.0F * (x * bz - z * bx);
  return {turned(conjugate, b),
          {{{{along_w, along_x, -along_y, along_z},
             {along_z, along_y, along_x, 2.0F * (y * bz - w * bx)},
             {along_y, 2.0F * (z * bx - x * bz), along_w, along_x}}}}};
}

/// Disturbed when the magnitude is off, else when the dip angle is.
bool is_disturbed(const tracker_state* state, float field_norm, Row e) {
  const float dip = std::atan(e[2] / std::sqrt(e[0] * e[0] + e[1] * e[1]));
  return std::fabs(field_norm - state->mag_norm_reference) > state->mag_norm_tolerance ||
         std::fabs(state->deg_per_rad * std::fabs(dip) - state->mag_dip_reference) > state->mag_dip_tolerance;
}

/// One correction of q and P by a measured direction:
///   S = H P H^T + R,  K = P H^T S^-1,  q = q + K (measured - h), normalised,  P = (I - K H) P.
/// Only H multiplies from the left; A H^T is computed as (H A^T)^T, and K as its transpose.
template <typename Jacobian>
[[gnu::always_inline]] inline void correct(tracker_state* state, const Prediction<Jacobian>& predicted, Row innovation,
                                           const Rows<4>& P, const Rows<3>& R) {
  tracker_filter_work& w = state->filter_work;
  const Jacobian& H = predicted.H;
  const Rows<3> HP = H.times(P);
  const Rows<3> S = add(first_three(transpose(H.times(transpose(HP)))), R);
  const Rows<3> PHt_transposed = H.times(transpose(P));
  const Rows<3> K_transposed = transpose_multiply(inverse(S), PHt_transposed);

  const Row correction = splat<0>(innovation) * K_transposed.row[0] + splat<1>(innovation) * K_transposed.row[1] +
                         splat<2>(innovation) * K_transposed.row[2];
  const Row q = normalised(load(w.q_predicted) + correction);
  const Rows<4> KH_transposed = H.transposed_times(K_transposed);
  const Rows<4> I_KH_transposed = subtract(diagonal<4>(1.0F), KH_transposed);
  store_rows(transpose_multiply(I_KH_transposed, P), state->P);
  store(q, state->q);
  store(q, w.q_predicted);  // a further correction continues from here
  store_rows(H.rows(), w.H);
  store3(predicted.h, w.h);
  store3(innovation, w.innovation);
}

void set_linear_accel(tracker_state* state, const float accelerometer[3]) {
  const Row measured = vector3(accelerometer);
  const Row in_earth = tracker::norm<3>(measured) * turned(load(state->q), measured);
  store3(in_earth - Row{0.0F, 0.0F, 1.0F, 0.0F}, state->linear_accel);
}

}  // namespace

// Flattened: what one step hands to the next then stays in registers.
[[gnu::flatten]] void call_ekf_quaternion(tracker_state* state, float gyroscope[3], const float accelerometer[3],
                                          const float* magnetometer) {
  const Row rates_deg_s = vector3(gyroscope);
  state->accel_norm = tracker::norm<3>(vector3(accelerometer));
  judge_motion(state, rates_deg_s, state->accel_norm);
  store3(rates_deg_s / state->deg_per_rad, gyroscope);
  imu_ekf_quaternion_tracker(state, gyroscope, accelerometer, magnetometer);
}

void imu_ekf_quaternion_tracker(tracker_state* state, const float gyroscope[3], const float* accelerometer,
                                const float* magnetometer) {
  predict(state, gyroscope);
  if (accelerometer != nullptr) {
    run_accelerometer(state, accelerometer);
  }
  if (magnetometer != nullptr) {
    run_magnetometer_update(state, magnetometer);
  }
  if (accelerometer != nullptr) {
    set_linear_accel(state, accelerometer);
  }
}

void predict(tracker_state* state, const float gyroscope[3]) {
  tracker_filter_work& w = state->filter_work;
  const Row q = load(state->q);
  const Transition F = transition(gyroscope, state->half_dt);
  const Rows<4> FP = F.times(load_rows<4>(state->P));
  const Rows<4> FPFt = transpose(F.times(transpose(FP)));
  store_rows(add(FPFt, process_noise(state)), w.P_predicted);
  // F q, which is the product of q and the first column of F. Not normalised here; the corrections do that.
  const Row predicted = tracker::hamilton_product(q, Row{1.0F, F.x[0], F.y[0], F.z[0]});
  store(q, w.q_previous);
  store(predicted, w.q_predicted);
  store(predicted, state->q);
  store3(vector3(gyroscope), w.rates);
}

void run_accelerometer(tracker_state* state, const float accelerometer[3]) {
  const tracker_filter_work& w = state->filter_work;
  const Prediction gravity = predict_gravity(w.q_predicted);
  const Rows<3> R = state->moving == 1 ? diagonal<3>(kMovingAccelerometerNoise) : load_3x3(state->R_acc);
  // As measured, not normalised: its magnitude is meant to count.
  const Row innovation = vector3(accelerometer) - gravity.h;
  correct(state, gravity, innovation, load_rows<4>(w.P_predicted), R);
}

void run_magnetometer_update(tracker_state* state, const float magnetometer[3]) {
  const Row q = load(state->filter_work.q_predicted);
  const Row measured = vector3(magnetometer);
  const float magnitude = tracker::norm<3>(measured);
  const Row m = measured / magnitude;
  const Prediction field = predict_field(q, reference_field(q, m));
  const bool disturbed = is_disturbed(state, magnitude, turned(q, m));
  state->mag_disturbed_count += disturbed ? 1.0F : 0.0F;
  state->mag_total_count += 1.0F;
  // A disturbed sample measures what was predicted: q stays, P still shrinks.
  const Row innovation = (disturbed ? field.h : m) - field.h;
  correct(state, field, innovation, load_rows<4>(state->P), load_3x3(state->R_mag));
}
