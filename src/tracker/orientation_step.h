// The formulas of the orientation filter, an extended Kalman filter of the quaternion, on values.
//   q state, P its covariance; F transition, Q process noise; h predicted measurement, H = dh/dq, R
//   measurement noise; S innovation covariance, K gain.
#pragma once

#include <cmath>

#include "tracker/rows.h"

namespace vortena::tracker {

struct Estimate {
  Row q;
  Rows<4> P;
};

/// Process noise of q and noise of the accelerometer.
struct Noise {
  Rows<4> Q;
  Rows<3> R;
};

/// The accelerometer's noise, against 0.001 at rest, all but switches the correction off.
inline Noise noise_of_motion() {
  return {diagonal<4>(0.0001F), diagonal<3>(10000.0F)};
}

// Stillness. The first test sets the raw magnitude of the acceleration, near 1 at rest, against that of the previous
// gravity-free one, near 0 at rest; its threshold just above 1 g is made for that.

inline bool is_steady(float threshold, float accel_norm, float previous_linear_norm) {
  return threshold > std::fabs(accel_norm - previous_linear_norm);
}

inline bool is_near_rest(Row thresholds, float accel_norm, Row rates_deg_s) {
  return thresholds[1] > std::fabs(accel_norm - 1.0F) && thresholds[2] > norm<3>(rates_deg_s);
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
  /// F q, which is the product of q and the first column of F.
  [[nodiscard]] Row turned(Row q) const { return hamilton_product(q, Row{1.0F, x[0], y[0], z[0]}); }
};

/// `rates` in rad/s.
inline Transition transition(Row rates, float half_dt) {
  const Row half_turn = rates * half_dt;
  return {splat<0>(half_turn), splat<1>(half_turn), splat<2>(half_turn)};
}

/// F q and F P F^T + Q. q is not normalised here; the corrections do that.
inline Estimate predicted(const Estimate& previous, const Transition& F, const Rows<4>& Q) {
  const Rows<4> FP = F.times(previous.P);
  const Rows<4> FPFt = transpose(F.times(transpose(FP)));
  return {F.turned(previous.q), add(FPFt, Q)};
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
inline Prediction<GravityJacobian> predict_gravity(Row q) {
  const float w = q[0], x = q[1], y = q[2], z = q[3];
  const Row twice = 2.0F * q;
  return {Row{2.0F * (x * z - w * y), 2.0F * (w * x + y * z), w * w - x * x - y * y + z * z, 0.0F},
          {splat<0>(twice), splat<1>(twice), splat<2>(twice), splat<3>(twice)}};
}

/// The direction v turned by q.
inline Row turned(Row q, Row v) {
  const Row direction = rotated_direction(q, Row{0.0F, v[0], v[1], v[2]});
  return Row{direction[1], direction[2], direction[3], 0.0F};
}

/// The field in the earth frame, its horizontal part turned along x: (bx, 0, bz).
inline Row reference_field(Row q, Row m) {
  const float w = q[0], x = q[1], y = q[2], z = q[3];
  const float s =
      2.0F * (x * z - w * y) * m[0] + 2.0F * (w * x + y * z) * m[1] + (w * w - x * x - y * y + z * z) * m[2];
  const float vertical = s < -1.0F ? -1.0F : (s > 1.0F ? 1.0F : s);
  return Row{std::sqrt(1.0F - vertical * vertical), 0.0F, vertical, 0.0F};
}

/// The field b = (bx, 0, bz), held fixed.
inline Prediction<FieldJacobian> predict_field(Row q, Row b) {
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

/// One correction by a measured direction:
///   S = H P H^T + R,  K = P H^T S^-1,  q = q + K (measured - h), normalised,  P = (I - K H) P.
/// Only H multiplies from the left; A H^T is computed as (H A^T)^T, and K as its transpose.
template <typename Jacobian>
[[gnu::always_inline]] inline Estimate corrected(const Estimate& predicted, const Jacobian& H, Row innovation,
                                                 const Rows<3>& R) {
  const Rows<4>& P = predicted.P;
  const Rows<3> HP = H.times(P);
  const Rows<3> S = add(first_three(transpose(H.times(transpose(HP)))), R);
  const Rows<3> PHt_transposed = H.times(transpose(P));
  const Rows<3> K_transposed = transpose_multiply(inverse(S), PHt_transposed);

  const Row correction = splat<0>(innovation) * K_transposed.row[0] + splat<1>(innovation) * K_transposed.row[1] +
                         splat<2>(innovation) * K_transposed.row[2];
  const Rows<4> KH_transposed = H.transposed_times(K_transposed);
  const Rows<4> I_KH_transposed = subtract(diagonal<4>(1.0F), KH_transposed);
  return {normalised(predicted.q + correction), transpose_multiply(I_KH_transposed, P)};
}

/// The measured acceleration in the earth frame, without gravity; g.
inline Row gravity_free(Row q, Row measured) {
  return norm<3>(measured) * turned(q, measured) - Row{0.0F, 0.0F, 1.0F, 0.0F};
}

}  // namespace vortena::tracker
