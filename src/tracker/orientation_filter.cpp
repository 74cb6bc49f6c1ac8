// Extended Kalman filter of the orientation quaternion.
//   q state, P its covariance; F transition, Q process noise; h predicted measurement, H = dh/dq, R
//   measurement noise; S innovation covariance, K gain.
#include <cmath>

#include "tracker/fixed_matrix.h"
#include "tracker/tracker.h"

namespace {

using tracker::add;
using tracker::copy;
using tracker::multiply;
using tracker::multiply_transposed;
using tracker::set_diagonal;
using tracker::squared_norm;

constexpr float kMovingProcessNoise = 0.0001F;
constexpr float kMovingAccelerometerNoise = 10000.0F;  // all but switches the correction off

/// Judges the sample by its magnitudes; gyroscope in deg/s. The first test sets the raw magnitude, near 1 at
/// rest, against that of the previous gravity-free acceleration, near 0 at rest; its threshold just above 1 g
/// is made for that.
void judge_motion(tracker_state* state, const float gyroscope[3], float accel_norm) {
  const float linear_norm = std::sqrt(squared_norm<3>(state->linear_accel));
  const float gyro_norm = std::sqrt(squared_norm<3>(gyroscope));
  const float* thresholds = state->motionless_thresh;
  const bool still = thresholds[0] > std::fabs(accel_norm - linear_norm) &&
                     thresholds[1] > std::fabs(accel_norm - 1.0F) && thresholds[2] > gyro_norm;
  state->moving = still ? 0 : 1;
}

void choose_process_noise(tracker_state* state) {
  if (state->moving == 1) {
    set_diagonal<4>(state->filter_work.Q_used, kMovingProcessNoise);
  } else {
    copy<16>(state->Q[0], state->filter_work.Q_used[0]);
  }
}

/// First-order integration of dq/dt = q (0, rates) / 2, rates in the body frame.
void set_transition(tracker_filter_work& w, float half_dt) {
  const float hx = w.rates[0] * half_dt, hy = w.rates[1] * half_dt, hz = w.rates[2] * half_dt;
  const float F[4][4] = {
      {1.0F, -hx, -hy, -hz}, {hx, 1.0F, hz, -hy}, {hy, -hz, 1.0F, hx}, {hz, hy, -hx, 1.0F}};
  copy<16>(F[0], w.F[0]);
}

/// h and H of a unit vector along earth z seen in the body frame.
void predict_gravity(tracker_filter_work& w) {
  const float qw = w.q_predicted[0], qx = w.q_predicted[1], qy = w.q_predicted[2], qz = w.q_predicted[3];
  w.h[0] = 2.0F * (qx * qz - qw * qy);
  w.h[1] = 2.0F * (qw * qx + qy * qz);
  w.h[2] = qw * qw - qx * qx - qy * qy + qz * qz;
  const float H[3][4] = {{-2.0F * qy, 2.0F * qz, -2.0F * qw, 2.0F * qx},
                         {2.0F * qx, 2.0F * qw, 2.0F * qz, 2.0F * qy},
                         {2.0F * qw, -2.0F * qx, -2.0F * qy, 2.0F * qz}};
  copy<12>(H[0], w.H[0]);
}

/// Vector part of q (0, v) q*, or of q* (0, v) q with the conjugate given as q.
void sandwich(const float q[4], const float v[3], float out[3]) {
  const float pure[4] = {0.0F, v[0], v[1], v[2]};
  float conjugate[4];
  float product[4];
  get_conjugate(q, conjugate);
  quaternion_product(q, pure, product);
  quaternion_product(product, conjugate, product);
  copy<3>(product + 1, out);
}

/// The field in the earth frame, its horizontal part turned along x: (bx, 0, bz).
void reference_field(const float q[4], const float m[3], float b[3]) {
  const float w = q[0], x = q[1], y = q[2], z = q[3];
  const float s =
      2.0F * (x * z - w * y) * m[0] + 2.0F * (w * x + y * z) * m[1] + (w * w - x * x - y * y + z * z) * m[2];
  const float vertical = s < -1.0F ? -1.0F : (s > 1.0F ? 1.0F : s);
  b[0] = std::sqrt(1.0F - vertical * vertical);
  b[1] = 0.0F;
  b[2] = vertical;
}

/// h and H of the field b = (bx, 0, bz), held fixed, seen in the body frame.
void predict_field(tracker_filter_work& work, const float b[3]) {
  float conjugate[4];
  get_conjugate(work.q_predicted, conjugate);
  sandwich(conjugate, b, work.h);
  const float w = work.q_predicted[0], x = work.q_predicted[1], y = work.q_predicted[2],
              z = work.q_predicted[3];
  const float bx = b[0], bz = b[2];
  const float H[3][4] = {{2.0F * (w * bx - y * bz), 2.0F * (x * bx + z * bz), -2.0F * (y * bx + w * bz),
                          2.0F * (x * bz - z * bx)},
                         {2.0F * (x * bz - z * bx), 2.0F * (y * bx + w * bz), 2.0F * (x * bx + z * bz),
                          2.0F * (y * bz - w * bx)},
                         {2.0F * (y * bx + w * bz), 2.0F * (z * bx - x * bz), 2.0F * (w * bx - y * bz),
                          2.0F * (x * bx + z * bz)}};
  copy<12>(H[0], work.H[0]);
}

/// Disturbed when the magnitude is off, else when the dip angle is.
bool is_disturbed(const tracker_state* state, float field_norm, const float field_in_earth[3]) {
  const float* e = field_in_earth;
  const float dip = std::atan(e[2] / std::sqrt(e[0] * e[0] + e[1] * e[1]));
  return std::fabs(field_norm - state->mag_norm_reference) > state->mag_norm_tolerance ||
         std::fabs(state->deg_per_rad * std::fabs(dip) - state->mag_dip_reference) > state->mag_dip_tolerance;
}

/// K = P H^T S^-1 with S = H P H^T + R.
template <std::size_t StrideP, std::size_t StrideR>
void compute_gain(tracker_filter_work& w, const float (&P)[StrideP][StrideP],
                  const float (&R)[StrideR][StrideR]) {
  float HP[3][4];
  float PHt[4][3];
  multiply<3, 4, 4>(w.H, P, HP);
  multiply_transposed<3, 4, 3>(HP, w.H, w.S);
  add<3, 3>(w.S, R);
  inverseM(w.S[0], w.S_inverse[0]);
  multiply_transposed<4, 4, 3>(P, w.H, PHt);
  multiply<4, 3, 3>(PHt, w.S_inverse, w.K);
}

/// q = q + K innovation, normalised.
void correct_quaternion(tracker_state* state) {
  tracker_filter_work& w = state->filter_work;
  for (int i = 0; i < 4; ++i) {
    const float* K = w.K[i];
    state->q[i] =
        w.q_predicted[i] + (K[0] * w.innovation[0] + K[1] * w.innovation[1] + K[2] * w.innovation[2]);
  }
  normalize_quaternion(state->q, 4);
  copy<4>(state->q, w.q_predicted);
}

/// P = (I - K H) P_prior, where P_prior may be a copy of P.
void correct_covariance(tracker_state* state, const float (&P_prior)[4][4]) {
  tracker_filter_work& w = state->filter_work;
  multiply<4, 3, 4>(w.K, w.H, w.I_KH);
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 4; ++c) {
      w.I_KH[r][c] = (r == c ? 1.0F : 0.0F) - w.I_KH[r][c];
    }
  }
  multiply<4, 4, 4>(w.I_KH, P_prior, state->P);
}

void set_linear_accel(tracker_state* state, const float accelerometer[3]) {
  quaternion_rotate_vector(accelerometer, state->q, state->linear_accel);
  state->linear_accel[2] -= 1.0F;
}

}  // namespace

void call_ekf_quaternion(tracker_state* state, float gyroscope[3], const float accelerometer[3],
                         const float* magnetometer) {
  const float accel_norm = std::sqrt(squared_norm<3>(accelerometer));
  judge_motion(state, gyroscope, accel_norm);
  state->accel_norm = accel_norm;
  for (int i = 0; i < 3; ++i) {
    gyroscope[i] /= state->deg_per_rad;
  }
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
  copy<4>(state->q, w.q_previous);
  copy<3>(gyroscope, w.rates);
  choose_process_noise(state);
  set_transition(w, state->half_dt);
  // Not normalised here; the corrections do that.
  multiply<4, 4, 1, 4, 1, 1>(w.F[0], w.q_previous, w.q_predicted);
  copy<4>(w.q_predicted, state->q);
  float FP[4][4];
  multiply<4, 4, 4>(w.F, state->P, FP);
  multiply_transposed<4, 4, 4>(FP, w.F, w.P_predicted);
  add<4, 4>(w.P_predicted, w.Q_used);
}

void run_accelerometer(tracker_state* state, const float accelerometer[3]) {
  tracker_filter_work& w = state->filter_work;
  float R[3][3];
  if (state->moving == 1) {
    set_diagonal<3>(R, kMovingAccelerometerNoise);
  } else {
    copy<9>(state->R_acc[0], R[0]);
  }
  predict_gravity(w);
  for (int i = 0; i < 3; ++i) {
    w.innovation[i] = accelerometer[i] - w.h[i];  // as measured: its magnitude is meant to count
  }
  compute_gain(w, w.P_predicted, R);
  correct_quaternion(state);
  correct_covariance(state, w.P_predicted);
}

void run_magnetometer_update(tracker_state* state, const float magnetometer[3]) {
  tracker_filter_work& w = state->filter_work;
  const float norm = std::sqrt(squared_norm<3>(magnetometer));
  const float m[3] = {magnetometer[0] / norm, magnetometer[1] / norm, magnetometer[2] / norm};
  float field_in_earth[3];
  float b[3];
  sandwich(w.q_predicted, m, field_in_earth);
  reference_field(w.q_predicted, m, b);
  predict_field(w, b);
  const bool disturbed = is_disturbed(state, norm, field_in_earth);
  state->mag_disturbed_count += disturbed ? 1.0F : 0.0F;
  state->mag_total_count += 1.0F;
  for (int i = 0; i < 3; ++i) {
    // A disturbed sample measures what was predicted: q stays, P still shrinks.
    w.innovation[i] = (disturbed ? w.h[i] : m[i]) - w.h[i];
  }
  float P[4][4];
  for (int r = 0; r < 4; ++r) {
    copy<4>(state->P[r], P[r]);
  }
  compute_gain(w, P, state->R_mag);
  correct_quaternion(state);
  correct_covariance(state, P);
}
