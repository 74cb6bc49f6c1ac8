// Extended Kalman filter of the orientation quaternion.
//   q state, P its covariance; F transition, Q process noise; h predicted measurement, H = dh/dq, R
//   measurement noise; S innovation covariance, K gain.
#include <cmath>
#include <cstring>

#include "tracker/rows.h"
#include "tracker/tracker.h"

namespace {

using tracker::add;
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

/// F. First-order integration of dq/dt = q (0, rates) / 2, rates in the body frame.
Factors<4, 4> transition(const float rates[3], float half_dt) {
  const float hx = rates[0] * half_dt, hy = rates[1] * half_dt, hz = rates[2] * half_dt;
  return {{{1.0F, -hx, -hy, -hz}, {hx, 1.0F, hz, -hy}, {hy, -hz, 1.0F, hx}, {hz, hy, -hx, 1.0F}}};
}

/// A direction in the body frame as predicted from q, and how it changes with w, x, y, z.
struct Prediction {
  Row h;
  Factors<3, 4> H;
};

/// The unit vector along earth z.
Prediction predict_gravity(const float q[4]) {
  const float w = q[0], x = q[1], y = q[2], z = q[3];
  return {Row{2.0F * (x * z - w * y), 2.0F * (w * x + y * z), w * w - x * x - y * y + z * z, 0.0F},
          {{{-2.0F * y, 2.0F * z, -2.0F * w, 2.0F * x},
            {2.0F * x, 2.0F * w, 2.0F * z, 2.0F * y},
            {2.0F * w, -2.0F * x, -2.0F * y, 2.0F * z}}}};
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
Prediction predict_field(Row q, Row b) {
  const float w = q[0], x = q[1], y = q[2], z = q[3];
  const float bx = b[0], bz = b[2];
  const Row conjugate = normalised(tracker::conjugate(q));
  const float along_w = 2.0F * (w * bx - y * bz), along_x = 2.0F * (x * bx + z * bz);
  const float along_y = 2.0F * (y * bx + w * bz), along_z = 2.0F * (x * bz - z * bx);
  return {turned(conjugate, b),
          {{{along_w, along_x, -along_y, along_z},
            {along_z, along_y, along_x, 2.0F * (y * bz - w * bx)},
            {along_y, 2.0F * (z * bx - x * bz), along_w, along_x}}}};
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
[[gnu::always_inline]] inline void correct(tracker_state* state, const Prediction& predicted, Row innovation,
                                           const Rows<4>& P, const Rows<3>& R) {
  tracker_filter_work& w = state->filter_work;
  const Factors<3, 4>& H = predicted.H;
  const Rows<3> HP = multiply(H, P);
  const Rows<3> S = add(first_three(transpose(multiply(H, transpose(HP)))), R);
  const Rows<3> PHt_transposed = multiply(H, transpose(P));
  const Rows<3> K_transposed = transpose_multiply(inverse(S), PHt_transposed);

  const Row correction = splat<0>(innovation) * K_transposed.row[0] + splat<1>(innovation) * K_transposed.row[1] +
                         splat<2>(innovation) * K_transposed.row[2];
  const Row q = normalised(load(w.q_predicted) + correction);
  const Rows<4> KH_transposed = multiply(transpose(H), K_transposed);
  const Rows<4> I_KH_transposed = subtract(diagonal<4>(1.0F), KH_transposed);
  store_rows(transpose_multiply(I_KH_transposed, P), state->P);
  store(q, state->q);
  store(q, w.q_predicted);  // a further correction continues from here
  std::memcpy(w.H, H.at, sizeof w.H);
  store3(predicted.h, w.h);
  store3(innovation, w.innovation);
}

void set_linear_accel(tracker_state* state, const float accelerometer[3]) {
  const Row measured = vector3(accelerometer);
  const Row in_earth = tracker::norm<3>(measured) * turned(load(state->q), measured);
  store3(in_earth - Row{0.0F, 0.0F, 1.0F, 0.0F}, state->linear_accel);
}

}  // namespace

void call_ekf_quaternion(tracker_state* state, float gyroscope[3], const float accelerometer[3],
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
  const Factors<4, 4> F = transition(gyroscope, state->half_dt);
  const Rows<4> FP = multiply(F, load_rows<4>(state->P));
  const Rows<4> FPFt = transpose(multiply(F, transpose(FP)));
  store_rows(add(FPFt, process_noise(state)), w.P_predicted);
  // F q, which is the product of q and the first column of F. Not normalised here; the corrections do that.
  const Row predicted = tracker::hamilton_product(q, Row{1.0F, F.at[1][0], F.at[2][0], F.at[3][0]});
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
