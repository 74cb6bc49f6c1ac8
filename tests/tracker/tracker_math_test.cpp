#include <gmock/gmock.h>

#include "tracker/tracked_unit.h"

namespace tracker_testing {
namespace {

using ::testing::ElementsAre;
using ::testing::FloatNear;
using ::testing::Pointwise;

using Q4 = std::array<float, 4>;

Q4 product(const Q4& a, const Q4& b) {
  Q4 out{};
  quaternion_product(a.data(), b.data(), out.data());
  return out;
}

TEST(Quaternions, ProductConjugateAndNorm) {
  EXPECT_THAT(product({0, 1, 0, 0}, {0, 0, 1, 0}), ElementsAre(0, 0, 0, 1));  // i j = k
  EXPECT_THAT(product({0, 0, 1, 0}, {0, 1, 0, 0}), ElementsAre(0, 0, 0, -1));
  EXPECT_THAT(product({0, 0, 1, 0}, {0, 0, 0, 1}), ElementsAre(0, 1, 0, 0));
  EXPECT_THAT(product({0, 0, 0, 1}, {0, 1, 0, 0}), ElementsAre(0, 0, 1, 0));
  EXPECT_THAT(product({1, 0, 0, 0}, {0, 3, 0, 4}), Pointwise(FloatNear(1e-7F), Q4{0, 0.6F, 0, 0.8F}));
  EXPECT_THAT(product({0, 0, 0, 0}, {1, 2, 3, 4}), ElementsAre(0, 0, 0, 0));
  Q4 conjugate{};
  get_conjugate(Q4{2, 0, 0, 0}.data(), conjugate.data());
  EXPECT_THAT(conjugate, ElementsAre(1, 0, 0, 0));
  get_conjugate(Q4{0, 3, -4, 0}.data(), conjugate.data());
  EXPECT_THAT(conjugate, Pointwise(FloatNear(1e-7F), Q4{0, -0.6F, 0.8F, 0}));
  Q4 v{3, 4, 8, 8};
  normalize_quaternion(v.data(), 2);
  EXPECT_THAT(v, Pointwise(FloatNear(1e-6F), Q4{0.6F, 0.8F, 1.6F, 1.6F}));
}

TEST(Quaternions, RotationsAgreeWithTheSandwichAndWithEachOther) {
  Noise noise(1);
  for (int i = 0; i < 200; ++i) {
    const Quat q = reference::unit(Quat{noise.uniform(1), noise.uniform(1), noise.uniform(1), noise.uniform(1)});
    const Vec3 v = noise.vector(5);
    const Q4 qf{float(q[0]), float(q[1]), float(q[2]), float(q[3])};
    std::array<float, 3> earth{}, back{};
    std::array<float, 9> M{};
    quaternion_rotate_vector(narrow(v).data(), qf.data(), earth.data());
    EXPECT_THAT(earth, Pointwise(FloatNear(1e-5F), narrow(reference::to_earth(q, v))));
    quaternion_to_rotation_matrix(qf.data(), M.data());
    rotate_vector(earth.data(), M.data(), back.data());
    EXPECT_THAT(back, Pointwise(FloatNear(1e-5F), narrow(v))) << "the matrix leads back into the body frame";
  }
  std::array<float, 9> M{};
  euler_to_rotation_matrix(M.data(), 0.3F, -0.5F, 1.1F);  // Rz Ry Rx, against three single rotations
  using reference::operator*;
  const Quat euler = Quat{std::cos(0.55), 0, 0, std::sin(0.55)} * Quat{std::cos(-0.25), 0, std::sin(-0.25), 0} *
                     Quat{std::cos(0.15), std::sin(0.15), 0, 0};
  std::array<float, 3> turned{};
  rotate_vector(std::array{1.0F, 2.0F, 3.0F}.data(), M.data(), turned.data());
  EXPECT_THAT(turned, Pointwise(FloatNear(1e-5F), narrow(reference::to_earth(euler, {1, 2, 3}))));
}

/// Random matrix in rows of `stride`, diagonally dominant so that elimination without exchanges is sound.
std::vector<float> random_matrix(Noise& noise, std::size_t rows, std::size_t stride) {
  std::vector<float> A(rows * stride);
  for (std::size_t i = 0; i < A.size(); ++i) {
    A[i] = static_cast<float>(noise.uniform(1) + (i / stride == i % stride ? 4 : 0));
  }
  return A;
}

struct Product {
  void (*multiply)(const float*, const float*, float*);
  std::size_t rows, inner, cols, stride_a, stride_b, stride_c;
};

TEST(Matrices, ProductsHonourShapesAndStrides) {
  Noise noise(2);
  for (const Product& p :
       {Product{matrix_mult_3_3, 3, 3, 3, 3, 3, 3}, Product{matrix_mult_4_4, 4, 4, 4, 4, 6, 6},
        Product{matrix_mult_6_4_4_4, 6, 4, 4, 4, 6, 4}, Product{matrix_mult_6_6_6_6, 6, 6, 6, 6, 6, 6}}) {
    const auto A = random_matrix(noise, p.rows, p.stride_a), B = random_matrix(noise, p.inner, p.stride_b);
    std::vector<float> C(p.rows * p.stride_c, -99.0F);
    p.multiply(A.data(), B.data(), C.data());
    for (std::size_t r = 0; r < p.rows; ++r) {
      for (std::size_t c = 0; c < p.stride_c; ++c) {
        double sum = 0;
        for (std::size_t k = 0; k < p.inner; ++k) {
          sum += double(A[r * p.stride_a + k]) * double(B[k * p.stride_b + std::min(c, p.cols - 1)]);
        }
        EXPECT_NEAR(C[r * p.stride_c + c], c < p.cols ? sum : -99.0, 1e-5) << p.rows << p.cols << r << c;
      }
    }
  }
}

TEST(Matrices, InversesUndoTheirMatrices) {
  Noise noise(3);
  std::array<float, 36> inverse{}, identity{};
  const auto A = random_matrix(noise, 6, 6);
  inverseM_magneto(A.data(), inverse.data());
  matrix_mult_6_6_6_6(A.data(), inverse.data(), identity.data());
  for (std::size_t i = 0; i < 36; ++i) { EXPECT_NEAR(identity[i], i / 6 == i % 6 ? 1 : 0, 1e-5); }
  const auto B = random_matrix(noise, 3, 3);
  inverseM(B.data(), inverse.data());
  matrix_mult_3_3(B.data(), inverse.data(), identity.data());
  for (std::size_t i = 0; i < 9; ++i) { EXPECT_NEAR(identity[i], i / 3 == i % 3 ? 1 : 0, 1e-5); }
  const std::array<float, 9> regular_with_zero_pivot{0, 1, 0, 1, 0, 0, 0, 0, 1};
  inverseM(regular_with_zero_pivot.data(), inverse.data());
  EXPECT_FALSE(std::isfinite(inverse[0]));
}

}  // namespace
}  // namespace tracker_testing
