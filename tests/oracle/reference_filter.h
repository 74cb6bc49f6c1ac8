// A plain double-precision orientation filter for the tests to hold the library against; it shares no code
// with it. Quaternions are (w, x, y, z), Hamilton, body to earth; the earth frame has z up; acceleration is
// in g. P error covariance, R measurement noise.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace reference {

using Vec3 = std::array<double, 3>;
using Quat = std::array<double, 4>;

// Sum, multiple and difference of vectors, and through their rows of matrices.
template <typename T, std::size_t N>
std::array<T, N> operator+(std::array<T, N> a, const std::array<T, N>& b) {
  for (std::size_t i = 0; i < N; ++i) {
    a[i] = a[i] + b[i];
  }
  return a;
}

template <typename T, std::size_t N>
std::array<T, N> operator*(double factor, std::array<T, N> a) {
  for (T& element : a) {
    element = factor * element;
  }
  return a;
}

template <typename T, std::size_t N>
std::array<T, N> operator-(const std::array<T, N>& a, const std::array<T, N>& b) {
  return a + -1.0 * b;
}

double dot(const auto& a, const auto& b) {
  return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}
double norm(const auto& v) {
  return std::sqrt(dot(v, v));
}
auto unit(const auto& v) {
  return 1.0 / norm(v) * v;
}

template <std::size_t N>
std::array<std::array<double, N>, N> diagonal(double value) {
  std::array<std::array<double, N>, N> d{};
  for (std::size_t i = 0; i < N; ++i) {
    d[i][i] = value;
  }
  return d;
}

inline Quat operator*(const Quat& a, const Quat& b) {
  return {a[0] * b[0] - a[1] * b[1] - a[2] * b[2] - a[3] * b[3], a[0] * b[1] + a[1] * b[0] + a[2] * b[3] - a[3] * b[2],
          a[0] * b[2] - a[1] * b[3] + a[2] * b[0] + a[3] * b[1], a[0] * b[3] + a[1] * b[2] - a[2] * b[1] + a[3] * b[0]};
}

inline Quat conjugate(const Quat& q) {
  return {q[0], -q[1], -q[2], -q[3]};
}
inline Quat pure(const Vec3& v) {
  return {0.0, v[0], v[1], v[2]};
}
inline Vec3 imaginary(const Quat& q) {
  return {q[1], q[2], q[3]};
}
inline Vec3 to_earth(const Quat& q, const Vec3& body) {
  return imaginary(q * pure(body) * conjugate(q));
}
inline Vec3 to_body(const Quat& q, const Vec3& earth) {
  return imaginary(conjugate(q) * pure(earth) * q);
}

// Everything is public: a test may configure it and start it from any state.
struct OrientationFilter {
  double dt = 0.01;      // seconds
  double R_acc = 0.001;  // while motionless
  double R_mag = 0.004;
  bool moving = false;
  Quat q{1.0, 0.0, 0.0, 0.0};
  std::array<Quat, 4> P = diagonal<4>(0.0001);
  Vec3 linear_accel{};  // earth frame, g, gravity removed
  int mag_disturbed_count = 0;

  // Takes one sample in g, deg/s and field units; mag may be null.
  void feed(const Vec3& accel, const Vec3& gyro_deg_s, const Vec3* mag) {
    // A whole acceleration is compared with a gravity-free one: the first threshold lies just above 1 g.
    const bool steady = std::abs(norm(accel) - norm(linear_accel)) < 1.006 && std::abs(norm(accel) - 1.0) < 0.06;
    moving = !steady || norm(gyro_deg_s) >= 18.0;
    predict(1.0 / 57.2957763671875 * gyro_deg_s);
    correct(accel, {0.0, 0.0, 1.0}, moving ? 10000.0 : R_acc);
    if (mag != nullptr) {
      correct_by_field(*mag);
    }
    linear_accel = to_earth(q, accel) - Vec3{0.0, 0.0, 1.0};
  }

  // q grows by dt/2 q (0, rate), unnormalised until the next correction; so do the rows and the columns of P.
  void predict(const Vec3& rate_rad_s) {
    const Quat step = Quat{1.0, 0.0, 0.0, 0.0} + pure(0.5 * dt * rate_rad_s);
    q = q * step;
    for (int side = 0; side < 2; ++side) {
      const auto before = P;
      for (std::size_t i = 0; i < 16; ++i) {
        P[i % 4][i / 4] = before[i / 4][i % 4];
      }
      for (Quat& row : P) {
        row = row * step;
      }
    }
    P = P + diagonal<4>(moving ? 0.0001 : 1e-5);
  }

  // A disturbed sample brings no innovation and yet reduces P.
  void correct_by_field(const Vec3& mag) {
    const Vec3 field = to_earth(q, unit(mag)), expected{std::hypot(field[0], field[1]), 0.0, field[2]};
    const double dip_deg = 57.2957763671875 * std::abs(std::atan2(expected[2], expected[0]));
    const bool disturbed = std::abs(norm(mag) - 23.0) > 5.0 || std::abs(dip_deg - 75.4) > 10.0;
    mag_disturbed_count += disturbed ? 1 : 0;
    correct(disturbed ? to_body(q, expected) : unit(mag), expected, R_mag);
  }

  // The unit measures the earth vector `expected`, its axes one after the other, as their noises are independent.
  void correct(const Vec3& measured, const Vec3& expected, double R) {
    const Vec3 innovation = measured - to_body(q, expected);
    Quat correction{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const Quat slope = -2.0 * (pure(expected) * q * pure(diagonal<3>(1.0)[axis]));  // of to_body by q
      const Quat gain_of_slope{dot(P[0], slope), dot(P[1], slope), dot(P[2], slope), dot(P[3], slope)};
      const Quat gain = 1.0 / (dot(slope, gain_of_slope) + R) * gain_of_slope;
      correction = correction + (innovation[axis] - dot(slope, correction)) * gain;
      for (std::size_t k = 0; k < 4; ++k) {
        P[k] = P[k] - gain[k] * gain_of_slope;
      }
    }
    q = unit(q + correction);
  }
};

}  // namespace reference
