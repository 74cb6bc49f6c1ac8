// The matrix operations of the public interface.
#include "tracker/fixed_matrix.h"
#include "tracker/tracker.h"

namespace {

namespace arrays = vortena::tracker::arrays;

/// One Gauss-Jordan step on an n x 2n matrix whose rows are `Stride` floats long.
template <std::size_t Stride>
void eliminate(float* augmented, std::size_t n, std::size_t pivot_row, std::size_t pivot_column) {
  float* const pivots = augmented + pivot_row * Stride;
  const float pivot = pivots[pivot_column];
  for (std::size_t c = 0; c < 2 * n; ++c) {
    pivots[c] /= pivot;
  }
  for (std::size_t r = 0; r < n; ++r) {
    float* const row = augmented + r * Stride;
    const float factor = row[pivot_column];
    for (std::size_t c = 0; r != pivot_row && c < 2 * n; ++c) {
      row[c] -= factor * pivots[c];
    }
  }
}

/// Inverse of a packed N x N matrix. The pivots are taken in order, without a search for larger ones: a zero pivot
/// gives non-numbers.
template <std::size_t N>
void invert(const float* A, float* A_inverse) {
  float augmented[N][2 * N] = {};
  arrays::set_packed<N, N>(augmented, A);
  for (std::size_t r = 0; r < N; ++r) {
    augmented[r][N + r] = 1.0F;
  }
  for (std::size_t k = 0; k < N; ++k) {
    eliminate<2 * N>(augmented[0], N, k, k);
  }
  for (std::size_t r = 0; r < N; ++r) {
    arrays::copy<N>(augmented[r] + N, A_inverse + r * N);
  }
}

}  // namespace

void matrix_mult_3_3(const float* A, const float* B, float* C) {
  arrays::multiply<3, 3, 3, 3, 3, 3>(A, B, C);
}

void matrix_mult_4_4(const float* A, const float* B, float* C) {
  arrays::multiply<4, 4, 4, 4, 6, 6>(A, B, C);
}

void matrix_mult_6_4_4_4(const float* A, const float* B, float* C) {
  arrays::multiply<6, 4, 4, 4, 6, 4>(A, B, C);
}

void matrix_mult_6_6_6_6(const float* A, const float* B, float* C) {
  arrays::multiply<6, 6, 6, 6, 6, 6>(A, B, C);
}

void inverseM(const float A[9], float A_inverse[9]) {
  invert<3>(A, A_inverse);
}

void inverseM_magneto(const float A[36], float A_inverse[36]) {
  invert<6>(A, A_inverse);
}

void reduction(float* augmented, int32_t n, int32_t pivot_row, int32_t pivot_column) {
  eliminate<6>(augmented, static_cast<std::size_t>(n), static_cast<std::size_t>(pivot_row),
               static_cast<std::size_t>(pivot_column));
}

void reduction_magneto(float* augmented, int32_t n, int32_t pivot_row, int32_t pivot_column) {
  eliminate<12>(augmented, static_cast<std::size_t>(n), static_cast<std::size_t>(pivot_row),
                static_cast<std::size_t>(pivot_column));
}
