// Matrix kernels of fixed size on the arrays of the record and of callers; rows.h has those in registers. Sizes and
// strides are known to the compiler, which unrolls the loops; the order of summation (ascending inner index, starting
// from the first product) is part of the filters' digits.
#pragma once

#include <cstddef>

namespace vortena::tracker::arrays {

/// C = A B, Rows x Inner by Inner x Cols, on the leading parts of arrays whose rows may be longer.
template <std::size_t Rows, std::size_t Inner, std::size_t Cols, std::size_t StrideA, std::size_t StrideB,
          std::size_t StrideC>
inline void multiply(const float* A, const float* B, float* C) {
  for (std::size_t r = 0; r < Rows; ++r) {
    for (std::size_t c = 0; c < Cols; ++c) {
      float sum = A[r * StrideA] * B[c];
      for (std::size_t k = 1; k < Inner; ++k) {
        sum += A[r * StrideA + k] * B[k * StrideB + c];
      }
      C[r * StrideC + c] = sum;
    }
  }
}

template <std::size_t Rows, std::size_t Inner, std::size_t Cols, std::size_t RowsA, std::size_t StrideA,
          std::size_t RowsB, std::size_t StrideB, std::size_t RowsC, std::size_t StrideC>
inline void multiply(const float (&A)[RowsA][StrideA], const float (&B)[RowsB][StrideB], float (&C)[RowsC][StrideC]) {
  static_assert(Rows <= RowsA && Rows <= RowsC && Inner <= StrideA && Inner <= RowsB && Cols <= StrideB &&
                Cols <= StrideC);
  multiply<Rows, Inner, Cols, StrideA, StrideB, StrideC>(A[0], B[0], C[0]);
}

/// C = A B^T, Rows x Inner by the transpose of Cols x Inner.
template <std::size_t Rows, std::size_t Inner, std::size_t Cols, std::size_t RowsA, std::size_t StrideA,
          std::size_t RowsB, std::size_t StrideB, std::size_t RowsC, std::size_t StrideC>
inline void multiply_transposed(const float (&A)[RowsA][StrideA], const float (&B)[RowsB][StrideB],
                                float (&C)[RowsC][StrideC]) {
  float B_transposed[Inner][Cols];
  for (std::size_t c = 0; c < Cols; ++c) {
    for (std::size_t k = 0; k < Inner; ++k) {
      B_transposed[k][c] = B[c][k];
    }
  }
  multiply<Rows, Inner, Cols>(A, B_transposed, C);
}

/// A += B on the leading Rows x Cols.
template <std::size_t Rows, std::size_t Cols, std::size_t RowsA, std::size_t StrideA, std::size_t RowsB,
          std::size_t StrideB>
inline void add(float (&A)[RowsA][StrideA], const float (&B)[RowsB][StrideB]) {
  for (std::size_t r = 0; r < Rows; ++r) {
    for (std::size_t c = 0; c < Cols; ++c) {
      A[r][c] += B[r][c];
    }
  }
}

/// A = value times the identity, on the leading N x N; the rest stays.
template <std::size_t N, std::size_t RowsA, std::size_t StrideA>
inline void set_diagonal(float (&A)[RowsA][StrideA], float value) {
  static_assert(N <= RowsA && N <= StrideA);
  for (std::size_t r = 0; r < N; ++r) {
    for (std::size_t c = 0; c < N; ++c) {
      A[r][c] = r == c ? value : 0.0F;
    }
  }
}

/// The leading Rows x Cols of A from a packed matrix.
template <std::size_t Rows, std::size_t Cols, std::size_t RowsA, std::size_t StrideA>
inline void set_packed(float (&A)[RowsA][StrideA], const float* packed) {
  for (std::size_t r = 0; r < Rows; ++r) {
    for (std::size_t c = 0; c < Cols; ++c) {
      A[r][c] = packed[r * Cols + c];
    }
  }
}

template <std::size_t N>
inline void copy(const float* from, float* to) {
  for (std::size_t i = 0; i < N; ++i) {
    to[i] = from[i];
  }
}

template <std::size_t Rows, std::size_t Cols>
inline void copy(const float (&from)[Rows][Cols], float (&to)[Rows][Cols]) {
  for (std::size_t r = 0; r < Rows; ++r) {
    copy<Cols>(from[r], to[r]);
  }
}

/// Sum of squares, in ascending order.
template <std::size_t N>
inline float squared_norm(const float* v) {
  float sum = v[0] * v[0];
  for (std::size_t i = 1; i < N; ++i) {
    sum += v[i] * v[i];
  }
  return sum;
}

}  // namespace vortena::tracker::arrays
