#include "tests/oracle/nested_loop_filter.h"

#include <algorithm>
#include <cmath>

#include "tests/oracle/nested_loop_matrix.h"
#include "tracker/tracker.h"

namespace oracle {
namespace {

constexpr float kDegreesPerRadian = 57.2957763671875F;

void diagonal(float* A, int n, float value) {
  for (int i = 0; i < n * n; ++i) {
    A[i] = i / n == i % n ? value : 0.0F;
  }
}

float norm(const float* v) {
  return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

}  // namespace

NestedLoopFilter::NestedLoopFilter(float rate) : half_dt(0.5F / rate) {
  diagonal(P.data(), 4, 0.0001F);
  diagonal(Q.data(), 4, 1e-5F);
  diagonal(R.data(), 3, 10000.0F);
}

void NestedLoopFilter::feed(const float* a, const float* gyro_deg_s) {
  const float n = norm(a);
  moving = thresholds[0] > std::fabs(n - norm(linear_accel.data())) && thresholds[1] > std::fabs(n - 1.0F) &&
                   thresholds[2] > norm(gyro_deg_s)
               ? 0
               : 1;
  float h[3];
  for (int i = 0; i < 3; ++i) {
    h[i] = gyro_deg_s[i] / kDegreesPerRadian * half_dt;
  }
  const float F[16] = {1, -h[0], -h[1], -h[2], h[0], 1, h[2], -h[1], h[1], -h[2], 1, h[0], h[2], h[1], -h[0], 1};
  float q_predicted[4], FP[16], Ft[16], P_predicted[16], Q_used[16];
  multiply(F, q.data(), q_predicted, 4, 4, 1);
  multiply(F, P.data(), FP, 4, 4, 4);
  transpose(F, Ft, 4, 4);
  multiply(FP, Ft, P_predicted, 4, 4, 4);
  std::copy(Q.begin(), Q.end(), Q_used);
  if (moving == 1) {
    diagonal(Q_used, 4, 0.0001F);
  }
  for (int i = 0; i < 16; ++i) {
    P_predicted[i] += Q_used[i];
  }

  const float w = q_predicted[0], x = q_predicted[1], y = q_predicted[2], z = q_predicted[3];
  const float predicted[3] = {2.0F * (x * z - w * y), 2.0F * (w * x + y * z), w * w - x * x - y * y + z * z};
  const float H[12] = {-2 * y, 2 * z, -2 * w, 2 * x, 2 * x, 2 * w, 2 * z, 2 * y, 2 * w, -2 * x, -2 * y, 2 * z};
  float R_used[9], Ht[12], HP[12], S[9], S_inverse[9], PHt[12], K[12], innovation[3], correction[4], KH[16], I_KH[16];
  std::copy(R.begin(), R.end(), R_used);
  if (moving == 1) {
    diagonal(R_used, 3, 10000.0F);
  }
  transpose(H, Ht, 3, 4);
  multiply(H, P_predicted, HP, 3, 4, 4);
  multiply(HP, Ht, S, 3, 4, 3);
  for (int i = 0; i < 9; ++i) {
    S[i] += R_used[i];
  }
  inverseM(S, S_inverse);
  multiply(P_predicted, Ht, PHt, 4, 4, 3);
  multiply(PHt, S_inverse, K, 4, 3, 3);
  for (int i = 0; i < 3; ++i) {
    innovation[i] = a[i] - predicted[i];
  }
  multiply(K, innovation, correction, 4, 3, 1);
  for (std::size_t i = 0; i < 4; ++i) {
    q[i] = q_predicted[i] + correction[i];
  }
  normalize_quaternion(q.data(), 4);
  multiply(K, H, KH, 4, 3, 4);
  for (int i = 0; i < 16; ++i) {
    I_KH[i] = (i / 4 == i % 4 ? 1.0F : 0.0F) - KH[i];
  }
  multiply(I_KH, P_predicted, P.data(), 4, 4, 4);
  quaternion_rotate_vector(a, q.data(), linear_accel.data());
  linear_accel[2] -= 1.0F;
}

}  // namespace oracle
