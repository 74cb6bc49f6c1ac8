#include <gmock/gmock.h>

#include "tests/support/tracked_unit.h"

namespace tracker_testing {
namespace {

using ::testing::DoubleNear;
using ::testing::Each;
using ::testing::Pointwise;

TEST(Quaternions, NormsFollowTheirOddRules) {
  std::array<float, 4> out{};
  quaternion_product(out.data(), narrow(Quat{1, 2, 3, 4}).data(), out.data());
  normalize_quaternion(out.data(), 4);
  EXPECT_THAT(out, Each(0)) << "zero stays zero";
  get_conjugate(narrow(Quat{0, 3, -4, 0}).data(), out.data());
  EXPECT_THAT(out, Pointwise(DoubleNear(1e-6), Quat{0, -0.6, 0.8, 0})) << "over the norm, not its square";
  out = {3, 4, 8, 8};
  normalize_quaternion(out.data(), 2);
  EXPECT_THAT(out, Pointwise(DoubleNear(1e-6), Quat{0.6, 0.8, 1.6, 1.6})) << "the norm of two divides four";
}

TEST(Quaternions, ProductsAndRotationsAgreeWithTheAlgebra) {
  Noise noise{std::mt19937(1)};
  for (int i = 0; i < 200; ++i) {
    const Quat a = noise.attitude(), b = noise.attitude();
    const Vec3 v = noise.vector(5), angles = noise.vector(3);
    std::array<float, 4> product{};
    std::array<float, 3> turned{};
    std::array<float, 9> M{};
    quaternion_product(narrow(a).data(), narrow(3 * b).data(), product.data());
    EXPECT_THAT(product, Pointwise(DoubleNear(1e-6), a * b)) << "of unit length";
    quaternion_rotate_vector(narrow(v).data(), narrow(a).data(), turned.data());
    EXPECT_THAT(turned, Pointwise(DoubleNear(1e-5), to_earth(a, v)));
    quaternion_to_rotation_matrix(narrow(a).data(), M.data());
    rotate_vector(narrow(v).data(), M.data(), turned.data());
    EXPECT_THAT(turned, Pointwise(DoubleNear(1e-5), to_body(a, v))) << "the matrix leads into the body frame";
    euler_to_rotation_matrix(M.data(), narrow(angles)[0], narrow(angles)[1], narrow(angles)[2]);
    rotate_vector(narrow(v).data(), M.data(), turned.data());
    const Quat euler = turn(2, angles[2]) * turn(1, angles[1]) * turn(0, angles[0]);
    EXPECT_THAT(turned, Pointwise(DoubleNear(1e-5), to_earth(euler, v)));
  }
}

/// Random matrix in rows of `stride`, diagonally dominant so that elimination without exchanges is sound.
std::vector<float> random_matrix(std::size_t rows, std::size_t stride) {
  static Noise noise{std::mt19937(2)};
  std::vector<float> A(rows * stride);
  for (float& element : A) {
    element = static_cast<float>(noise.uniform(1));
  }
  for (std::size_t i = 0; i < std::min(rows, stride); ++i) {
    A[i * stride + i] += 4;
  }
  return A;
}

TEST(Matrices, ProductsHonourShapesAndStrides) {
  const struct {
    void (*multiply)(const float*, const float*, float*);
    std::size_t rows, inner, cols, stride_b, stride_c;
  } products[] = {{matrix_mult_3_3, 3, 3, 3, 3, 3},
                  {matrix_mult_4_4, 4, 4, 4, 6, 6},
                  {matrix_mult_6_4_4_4, 6, 4, 4, 6, 4},
                  {matrix_mult_6_6_6_6, 6, 6, 6, 6, 6}};
  for (const auto& p : products) {
    const auto A = random_matrix(p.rows, p.inner), B = random_matrix(p.inner, p.stride_b);
    std::vector<float> C(p.rows * p.stride_c, -99.0F);
    p.multiply(A.data(), B.data(), C.data());
    for (std::size_t r = 0; r < p.rows; ++r) {
      for (std::size_t c = 0; c < p.stride_c; ++c) {
        float sum = c < p.cols ? 0 : -99;  // what lies between the rows stays
        for (std::size_t k = 0; k < p.inner && c < p.cols; ++k) {
          sum += A[r * p.inner + k] * B[k * p.stride_b + c];
        }
        EXPECT_NEAR(C[r * p.stride_c + c], sum, 1e-5) << p.rows << p.cols << r << c;
      }
    }
  }
}

TEST(Matrices, InversesAndTheirStepsUndoTheirMatrices) {
  for (const std::size_t n : {3U, 6U}) {
    const auto A = random_matrix(n, n);
    auto augmented = random_matrix(n, 2 * n);
    std::vector<float> inverse(n * n), product(n * n);
    (n == 3 ? inverseM : inverseM_magneto)(A.data(), inverse.data());
    (n == 3 ? matrix_mult_3_3 : matrix_mult_6_6_6_6)(A.data(), inverse.data(), product.data());
    for (std::size_t i = 0; i < n * n; ++i) {
      EXPECT_NEAR(product[i], i / n == i % n ? 1 : 0, 1e-5);
    }
    const auto before = augmented;  // one step with the pivot 4: row 1 over the pivot, multiples of it off the others
    (n == 3 ? reduction : reduction_magneto)(augmented.data(), static_cast<std::int32_t>(n), 1, 1);
    for (std::size_t i = 0; i < before.size(); ++i) {
      const float pivots = before[2 * n + i % (2 * n)] / before[2 * n + 1], factor = before[i / (2 * n) * 2 * n + 1];
      EXPECT_NEAR(augmented[i], i / (2 * n) == 1 ? pivots : before[i] - factor * pivots, 1e-5);
    }
  }
  std::array<float, 9> inverse{};
  inverseM(std::array<float, 9>{0, 1, 0, 1, 0, 0, 0, 0, 1}.data(), inverse.data());
  EXPECT_FALSE(std::isfinite(inverse[0])) << "pivots are taken in order, even where another would do";
}

}  // namespace
}  // namespace tracker_testing
