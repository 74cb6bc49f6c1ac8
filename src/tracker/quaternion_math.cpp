// Quaternions (w, x, y, z) with Hamilton products, and rotation matrices.
#include <cmath>

#include "tracker/fixed_matrix.h"
#include "tracker/rows.h"
#include "tracker/tracker.h"

using namespace vortena::tracker;

void quaternion_product(const float a[4], const float b[4], float out[4]) {
  store(normalised(hamilton_product(load(a), load(b))), out);
}

void get_conjugate(const float q[4], float out[4]) {
  // Over the norm, not the squared norm: the result turns back by as much whatever the length of q, but is its
  // inverse only at length 1.
  store(normalised(conjugate(load(q))), out);
}

void normalize_quaternion(float v[4], int32_t n) {
  float sum = 0.0F;
  for (int32_t i = 0; i < n; ++i) {
    sum += v[i] * v[i];
  }
  if (sum != 0.0F) {
    store(load(v) / std::sqrt(sum), v);  // always four entries, however many made up the norm
  }
}

void quaternion_rotate_vector(const float v[3], const float q[4], float out[3]) {
  const Row turned = rotated_direction(load(q), Row{0.0F, v[0], v[1], v[2]});
  const float length = norm<3>(vector3(v));
  for (int i = 0; i < 3; ++i) {
    out[i] = length * turned[1 + i];
  }
}

void quaternion_to_rotation_matrix(const float q[4], float M[9]) {
  const float w = q[0], x = q[1], y = q[2], z = q[3];
  M[0] = w * w + x * x - y * y - z * z;
  M[1] = 2.0F * (x * y + w * z);
  M[2] = 2.0F * (x * z - w * y);
  M[3] = 2.0F * (x * y - w * z);
  M[4] = w * w - x * x + y * y - z * z;
  M[5] = 2.0F * (w * x + y * z);
  M[6] = 2.0F * (w * y + x * z);
  M[7] = 2.0F * (y * z - w * x);
  M[8] = w * w - x * x - y * y + z * z;
}

void euler_to_rotation_matrix(float M[9], float roll, float pitch, float yaw) {
  const float cr = std::cos(roll), sr = std::sin(roll);
  const float cp = std::cos(pitch), sp = std::sin(pitch);
  const float cy = std::cos(yaw), sy = std::sin(yaw);
  M[0] = cy * cp;
  M[1] = cy * sp * sr - sy * cr;
  M[2] = cy * sp * cr + sy * sr;
  M[3] = sy * cp;
  M[4] = sy * sp * sr + cy * cr;
  M[5] = sy * sp * cr - cy * sr;
  M[6] = -sp;
  M[7] = cp * sr;
  M[8] = cp * cr;
}

void rotate_vector(const float v[3], const float M[9], float out[3]) {
  arrays::multiply<3, 3, 1, 3, 1, 1>(M, v, out);
}
