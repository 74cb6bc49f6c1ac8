// Vectors, 3 x 3 matrices and unit quaternions in double precision, without functions of the C library but the root.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>

namespace vortena::smoother {

using Vec3 = std::array<double, 3>;

constexpr Vec3 operator+(const Vec3& a, const Vec3& b) {
  return {a[0] + b[0], a[1] + b[1], a[2] + b[2]};
}
constexpr Vec3 operator-(const Vec3& a, const Vec3& b) {
  return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
constexpr Vec3 operator*(double s, const Vec3& v) {
  return {s * v[0], s * v[1], s * v[2]};
}
constexpr Vec3& operator+=(Vec3& a, const Vec3& b) {
  return a = a + b;
}
constexpr double dot(const Vec3& a, const Vec3& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
constexpr Vec3 cross(const Vec3& a, const Vec3& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
inline double norm(const Vec3& v) {
  return std::sqrt(dot(v, v));
}

/// The largest of the elements, without signs.
inline double largest(const Vec3& v) {
  const double xy = std::abs(v[0]) > std::abs(v[1]) ? std::abs(v[0]) : std::abs(v[1]);
  return std::abs(v[2]) > xy ? std::abs(v[2]) : xy;
}

/// Rows.
struct Mat3 {
  std::array<Vec3, 3> row{};
};

constexpr Vec3 operator*(const Mat3& M, const Vec3& v) {
  return {dot(M.row[0], v), dot(M.row[1], v), dot(M.row[2], v)};
}
constexpr Mat3 operator+(const Mat3& A, const Mat3& B) {
  return {{A.row[0] + B.row[0], A.row[1] + B.row[1], A.row[2] + B.row[2]}};
}
constexpr Mat3 operator*(double s, const Mat3& M) {
  return {{s * M.row[0], s * M.row[1], s * M.row[2]}};
}
constexpr Mat3 operator*(const Mat3& A, const Mat3& B) {
  Mat3 C;
  for (std::size_t r = 0; r < 3; ++r) {
    C.row[r] = A.row[r][0] * B.row[0] + A.row[r][1] * B.row[1] + A.row[r][2] * B.row[2];
  }
  return C;
}
/// v x, as a matrix.
constexpr Mat3 cross_matrix(const Vec3& v) {
  return {{Vec3{0, -v[2], v[1]}, Vec3{v[2], 0, -v[0]}, Vec3{-v[1], v[0], 0}}};
}

struct Quaternion {
  double w = 1, x = 0, y = 0, z = 0;
};

/// Hamilton's product: first b, then a.
constexpr Quaternion operator*(const Quaternion& a, const Quaternion& b) {
  return {a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z, a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y,
          a.w * b.y - a.x * b.z + a.y * b.w + a.z * b.x, a.w * b.z + a.x * b.y - a.y * b.x + a.z * b.w};
}
constexpr Quaternion operator+(const Quaternion& a, const Quaternion& b) {
  return {a.w + b.w, a.x + b.x, a.y + b.y, a.z + b.z};
}
constexpr Quaternion conjugate(const Quaternion& q) {
  return {q.w, -q.x, -q.y, -q.z};
}
inline Quaternion normalised(const Quaternion& q) {
  const double s = 1 / std::sqrt(q.w * q.w + q.x * q.x + q.y * q.y + q.z * q.z);
  return {s * q.w, s * q.x, s * q.y, s * q.z};
}

constexpr double squared_length(const Quaternion& q) {
  return q.w * q.w + q.x * q.x + q.y * q.y + q.z * q.z;
}

/// The rotation matrix of q over its length.
constexpr Mat3 matrix(const Quaternion& q) {
  const double s = 2 / squared_length(q);
  const double x = s * q.x, y = s * q.y, z = s * q.z;
  const double wx = q.w * x, wy = q.w * y, wz = q.w * z;
  const double xx = q.x * x, xy = q.x * y, xz = q.x * z, yy = q.y * y, yz = q.y * z, zz = q.z * z;
  return {{Vec3{1 - (yy + zz), xy - wz, xz + wy}, Vec3{xy + wz, 1 - (xx + zz), yz - wx},
           Vec3{xz - wy, yz + wx, 1 - (xx + yy)}}};
}

/// Turn about `v` by its length in radians. With h = |v| / 2: w = cos h, (x, y, z) = v / 2 * sin(h) / h, by their
/// series; longer ones are halved first.
inline Quaternion exponential(const Vec3& v) {
  constexpr double kLargest = 0.01;  // h^2 that the series is good for
  double h2 = 0.25 * dot(v, v), part = 1;
  int halvings = 0;
  for (; h2 > kLargest; ++halvings) {
    h2 *= 0.25;
    part *= 0.5;
  }
  const double s = part * (0.5 + h2 * (-1.0 / 12 + h2 * (1.0 / 240 + h2 * (-1.0 / 10080 + h2 * (1.0 / 725760)))));
  const double c = 1 + h2 * (-1.0 / 2 + h2 * (1.0 / 24 + h2 * (-1.0 / 720 + h2 * (1.0 / 40320))));
  Quaternion q{c, s * v[0], s * v[1], s * v[2]};
  for (; halvings > 0; --halvings) {
    q = q * q;
  }
  return q;
}

/// The vector whose exponential is q, of at most half a turn. With t = |(x, y, z)| / w: 2 atan(t) / t * (x, y, z) / w
/// by its series; longer ones are halved first.
inline Vec3 rotation_vector(const Quaternion& q) {
  constexpr double kLargest = 0.01;  // t^2 that the series is good for
  const double sign = q.w < 0 ? -1 : 1;
  const Vec3 v{sign * q.x, sign * q.y, sign * q.z};
  const double v2 = dot(v, v);
  double w = sign * q.w, factor = 2;
  // The tangent of half an angle is |v| / (w + length).
  for (; v2 > kLargest * w * w; factor *= 2) {
    w += std::sqrt(w * w + v2);
  }
  const double t2 = v2 > 0 ? v2 / (w * w) : 0;
  double sum = 1.0 / 17;
  for (int n = 15; n > 0; n -= 2) {
    sum = 1.0 / n - t2 * sum;
  }
  return (factor * sum / w) * v;
}

/// The smallest turn that takes the direction `from` to `to`, both of length 1; of opposite ones, one about a
/// horizontal axis.
inline Quaternion smallest_turn(const Vec3& from, const Vec3& to) {
  const double w = 1 + dot(from, to);
  if (w < 1e-12) {
    return {0, 1, 0, 0};
  }
  const Vec3 v = cross(from, to);
  return normalised({w, v[0], v[1], v[2]});
}

}  // namespace vortena::smoother
