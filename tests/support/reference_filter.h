// A plain double-precision orientation tracker for the tests to hold the library against; it shares no code
// with it. Quaternions are (w, x, y, z), Hamilton, body to earth; the earth frame has z up; acceleration is
// in g. F transition, H measurement Jacobian, P error covariance, Q process and R measurement noise, S
// innovation covariance, K gain.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numeric>

namespace reference {

template <std::size_t N>
using Vec = std::array<double, N>;
template <std::size_t R, std::size_t C>
using Mat = std::array<std::array<double, C>, R>;
using Vec3 = Vec<3>;
using Quat = Vec<4>;

// Sum and difference of vectors, and through their rows of matrices.
template <typename T, std::size_t N>
std::array<T, N> operator+(std::array<T, N> a, const std::array<T, N>& b) {
  for (std::size_t i = 0; i < N; ++i) a[i] = a[i] + b[i];
  return a;
}

template <typename T, std::size_t N>
std::array<T, N> operator-(std::array<T, N> a, const std::array<T, N>& b) {
  for (std::size_t i = 0; i < N; ++i) a[i] = a[i] - b[i];
  return a;
}

template <std::size_t N>
Vec<N> operator*(double factor, Vec<N> v) {
  for (double& component : v) component *= factor;
  return v;
}

template <std::size_t N>
double dot(const Vec<N>& a, const Vec<N>& b) {
  return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

double norm(const auto& v) { return std::sqrt(dot(v, v)); }
auto unit(const auto& v) { return 1.0 / norm(v) * v; }

template <std::size_t R, std::size_t C>
Mat<C, R> transpose(const Mat<R, C>& a) {
  Mat<C, R> t{};
  for (std::size_t r = 0; r < R; ++r)
    for (std::size_t c = 0; c < C; ++c) t[c][r] = a[r][c];
  return t;
}

template <std::size_t R, std::size_t C>
Vec<R> operator*(const Mat<R, C>& a, const Vec<C>& v) {
  Vec<R> out{};
  for (std::size_t r = 0; r < R; ++r) out[r] = dot(a[r], v);
  return out;
}

template <std::size_t R, std::size_t N, std::size_t C>
Mat<R, C> operator*(const Mat<R, N>& a, const Mat<N, C>& b) {
  Mat<R, C> out{};
  for (std::size_t r = 0; r < R; ++r) out[r] = transpose(b) * a[r];
  return out;
}

template <std::size_t N>
Mat<N, N> diagonal(double value) {
  Mat<N, N> d{};
  for (std::size_t i = 0; i < N; ++i) d[i][i] = value;
  return d;
}

inline Vec3 cross(const Vec3& a, const Vec3& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

// By cofactors: the columns of the adjugate are the cross products of the rows.
inline Mat<3, 3> inverse(const Mat<3, 3>& a) {
  const Mat<3, 3> cofactors{cross(a[1], a[2]), cross(a[2], a[0]), cross(a[0], a[1])};
  const double determinant = dot(a[0], cofactors[0]);
  return transpose(cofactors) * diagonal<3>(1.0 / determinant);
}

inline Quat operator*(const Quat& a, const Quat& b) {
  return {a[0] * b[0] - a[1] * b[1] - a[2] * b[2] - a[3] * b[3], a[0] * b[1] + a[1] * b[0] + a[2] * b[3] - a[3] * b[2],
          a[0] * b[2] - a[1] * b[3] + a[2] * b[0] + a[3] * b[1], a[0] * b[3] + a[1] * b[2] - a[2] * b[1] + a[3] * b[0]};
}

inline Quat conjugate(const Quat& q) { return {q[0], -q[1], -q[2], -q[3]}; }
inline Quat pure(const Vec3& v) { return {0.0, v[0], v[1], v[2]}; }
inline Vec3 imaginary(const Quat& q) { return {q[1], q[2], q[3]}; }

inline Vec3 to_earth(const Quat& q, const Vec3& body) { return imaginary(q * pure(body) * conjugate(q)); }
inline Vec3 to_body(const Quat& q, const Vec3& earth) { return imaginary(conjugate(q) * pure(earth) * q); }

// Derivative of to_body(q, earth) by the four components of q: the product rule on q* e q.
inline Mat<3, 4> to_body_jacobian(const Quat& q, const Vec3& earth) {
  Mat<4, 3> columns{};
  for (std::size_t i = 0; i < 4; ++i) {
    const Quat axis = diagonal<4>(1.0)[i];
    columns[i] = imaginary(conjugate(axis) * pure(earth) * q + conjugate(q) * pure(earth) * axis);
  }
  return transpose(columns);
}

// Everything is public: a test may configure it, or start it from any state by setting q, P and initialised.
struct OrientationFilter {
  static constexpr double deg_per_rad = 57.2957763671875;
  static constexpr int still_samples_needed = 5;
  static constexpr Vec3 up{0.0, 0.0, 1.0};

  Vec3 motionless_thresh{1.006, 0.06, 18.0};  // against the last linear_accel (g), against 1 g (g), rate (deg/s)
  Mat<4, 4> Q = diagonal<4>(1e-5);            // while motionless
  Mat<3, 3> R_acc = diagonal<3>(0.001);       // while motionless
  Mat<3, 3> R_mag = diagonal<3>(0.004);
  double mag_norm_reference = 23.0, mag_norm_tolerance = 5.0;
  double mag_dip_reference = 75.4, mag_dip_tolerance = 10.0;  // degrees

  double dt;  // seconds
  bool position_enabled;
  bool initialised = false, moving = false;
  Quat q{1.0, 0.0, 0.0, 0.0};
  Mat<4, 4> P = diagonal<4>(0.0001);
  Vec3 linear_accel{};  // earth frame, g, gravity removed; the mean still acceleration right after
                        // initialisation
  int mag_disturbed_count = 0, mag_total_count = 0;
  Vec<6> position_state{};  // position x, y, z in m, velocity x, y, z in m/s
  Mat<6, 6> P_pos = diagonal<6>(0.1);
  int still_count = 0;
  Vec3 accel_sum{}, mag_sum{};

  explicit OrientationFilter(double rate_hz, bool with_position = false)
      : dt(1.0 / rate_hz), position_enabled(with_position) {}

  // Takes one sample in g, deg/s and field units; mag may be null. Returns 2 while collecting still samples,
  // else 3.
  int feed(const Vec3& accel, const Vec3& gyro_deg_s, const Vec3* mag = nullptr) {
    if (!initialised) return collect(accel, gyro_deg_s, mag) ? 3 : 2;
    detect_motion(accel, gyro_deg_s);
    predict(1.0 / deg_per_rad * gyro_deg_s);
    correct_by_gravity(accel);
    if (mag) correct_by_field(*mag);
    linear_accel = to_earth(q, accel) - up;
    if (position_enabled) step_position();
    return 3;
  }

  // True when this sample completed the collection and set the first orientation.
  bool collect(const Vec3& accel, const Vec3& gyro_deg_s, const Vec3* mag) {
    if (mag) mag_sum = mag_sum + *mag;
    const bool still = std::abs(norm(accel) - 1.0) < motionless_thresh[1] && norm(gyro_deg_s) < motionless_thresh[2];
    if (still) {
      accel_sum = accel_sum + accel;
      ++still_count;
    } else if (still_count > 0) {  // with none collected yet, the field summed so far stays on purpose
      still_count = 0;
      accel_sum = mag_sum = Vec3{};
    }
    if (still_count == still_samples_needed) initialise();
    return initialised;
  }

  void initialise() {
    linear_accel = 1.0 / still_samples_needed * accel_sum;
    q = unit(tilt(unit(accel_sum)) * heading(mag_sum));
    initialised = true;
  }

  // Half-angle form of the rotation that takes the unit vector a to the vertical; the branch avoids 0/0 at a
  // = -up.
  static Quat tilt(const Vec3& a) {
    return unit(a[2] >= 0.0 ? Quat{1.0 + a[2], a[1], -a[0], 0.0} : Quat{a[1], 1.0 - a[2], 0.0, a[0]});
  }

  // The field is used as measured, not levelled by the tilt first; a purely vertical field gives non-numbers.
  static Quat heading(const Vec3& field) {
    if (field == Vec3{}) return {1.0, 0.0, 0.0, 0.0};
    const double horizontal = std::hypot(field[0], field[1]);
    return unit(field[0] >= 0.0 ? Quat{horizontal + field[0], 0.0, 0.0, field[1]}
                                : Quat{field[1], 0.0, 0.0, horizontal - field[0]});
  }

  // A whole acceleration is compared with a gravity-free one, which is why the first threshold lies just
  // above 1 g.
  void detect_motion(const Vec3& accel, const Vec3& gyro_deg_s) {
    const bool steady = std::abs(norm(accel) - norm(linear_accel)) < motionless_thresh[0];
    const bool one_g = std::abs(norm(accel) - 1.0) < motionless_thresh[1];
    moving = !(steady && one_g && norm(gyro_deg_s) < motionless_thresh[2]);
  }

  // q grows by dt/2 q (0, rate); it stays unnormalised until the next correction.
  void predict(const Vec3& rate_rad_s) {
    const Quat step = Quat{1.0, 0.0, 0.0, 0.0} + pure(0.5 * dt * rate_rad_s);
    Mat<4, 4> columns{};
    for (std::size_t i = 0; i < 4; ++i) columns[i] = diagonal<4>(1.0)[i] * step;
    const Mat<4, 4> F = transpose(columns);
    q = q * step;
    P = F * P * transpose(F) + (moving ? diagonal<4>(0.0001) : Q);
  }

  void correct_by_gravity(const Vec3& accel) {
    correct(accel - to_body(q, up), to_body_jacobian(q, up), moving ? diagonal<3>(10000.0) : R_acc);
  }

  // A disturbed sample brings no innovation and yet reduces P.
  void correct_by_field(const Vec3& mag) {
    const Vec3 field = to_earth(q, unit(mag));
    const double vertical = std::clamp(field[2], -1.0, 1.0);
    const Vec3 expected{std::sqrt(1.0 - vertical * vertical), 0.0, vertical};
    const bool rejected = disturbed(norm(mag), field);
    mag_disturbed_count += rejected ? 1 : 0;
    ++mag_total_count;
    const Vec3 innovation = rejected ? Vec3{} : unit(mag) - to_body(q, expected);
    correct(innovation, to_body_jacobian(q, expected), R_mag);
  }

  bool disturbed(double magnitude, const Vec3& field_in_earth) const {
    const double dip_rad = std::atan2(field_in_earth[2], std::hypot(field_in_earth[0], field_in_earth[1]));
    return std::abs(magnitude - mag_norm_reference) > mag_norm_tolerance ||
           std::abs(deg_per_rad * std::abs(dip_rad) - mag_dip_reference) > mag_dip_tolerance;
  }

  void correct(const Vec3& innovation, const Mat<3, 4>& H, const Mat<3, 3>& R) {
    const Mat<3, 3> S = H * P * transpose(H) + R;
    const Mat<4, 3> K = P * transpose(H) * inverse(S);
    q = unit(q + K * innovation);
    P = (diagonal<4>(1.0) - K * H) * P;
  }

  // Motionless, the velocity rows of F vanish: the velocity is known to be zero and carries process noise
  // alone.
  void step_position() {
    const Vec3 input = (moving ? 9.806 : 0.0) * linear_accel;
    Mat<6, 6> F = diagonal<6>(1.0);
    for (std::size_t axis = 0; axis < 3; ++axis) {
      double& position = position_state[axis];
      double& velocity = position_state[axis + 3];
      F[axis][axis + 3] = dt;
      F[axis + 3][axis + 3] = moving ? 1.0 : 0.0;
      velocity = moving ? 0.98 * velocity : 0.0;
      position = bounded(position + dt * velocity + 0.5 * dt * dt * input[axis], 1e9, 1e9);
      velocity = bounded(velocity + dt * input[axis], 100.0, 90.0);
    }
    P_pos = F * P_pos * transpose(F) + diagonal<6>(4e-6);
  }

  static double bounded(double value, double limit, double replacement) {
    return std::abs(value) > limit ? std::copysign(replacement, value) : value;
  }
};

}  // namespace reference
