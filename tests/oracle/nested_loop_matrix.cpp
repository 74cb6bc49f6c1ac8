#include "tests/oracle/nested_loop_matrix.h"

namespace oracle {

void multiply(const float* A, const float* B, float* C, int rows, int inner, int cols) {
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < cols; ++c) {
      float sum = A[r * inner] * B[c];
      for (int k = 1; k < inner; ++k) {
        sum += A[r * inner + k] * B[k * cols + c];
      }
      C[r * cols + c] = sum;
    }
  }
}

void transpose(const float* A, float* T, int rows, int cols) {
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < cols; ++c) {
      T[c * rows + r] = A[r * cols + c];
    }
  }
}

}  // namespace oracle
