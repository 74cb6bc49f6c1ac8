// Small matrices as rows of four floats that are computed side by side. A row times a broadcast factor, added
// up in ascending order: per element the very operations, in the very order, of the textbook's nested loops,
// so the digits are the same. The vector type is the compiler's own; it becomes SSE on x86-64 and NEON on
// arm64.
#pragma once

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if !defined(__GNUC__) && !defined(__clang__)
#error "the tracker needs the vector types of GCC or clang"
#endif

namespace vortena::tracker {

static_assert(FLT_EVAL_METHOD == 0, "excess precision would change the digits");

inline constexpr std::size_t kLanes = 4;

using Row __attribute__((vector_size(kLanes * sizeof(float)))) = float;

/// N rows; matrices of three columns leave the last lane unused.
template <std::size_t N>
struct Rows {
  Row row[N];
};

inline Row load(const float* from) {
  Row row;
  std::memcpy(&row, from, sizeof row);
  return row;
}

inline void store(Row row, float* to) {
  std::memcpy(to, &row, sizeof row);
}

/// Three elements and a zero.
inline Row vector3(const float v[3]) {
  return Row{v[0], v[1], v[2], 0.0F};
}

inline void store3(Row v, float out[3]) {
  for (int i = 0; i < 3; ++i) {
    out[i] = v[i];
  }
}

inline Row broadcast(float value) {
  return Row{value, value, value, value};
}

/// Four lanes of a (0 to 3) and b (4 to 7).
template <int I, int J, int K, int L>
inline Row pick(Row a, Row b) {
#if __has_builtin(__builtin_shufflevector)
  return __builtin_shufflevector(a, b, I, J, K, L);
#else
  using Lanes __attribute__((vector_size(sizeof(Row)))) = std::int32_t;
  return __builtin_shuffle(a, b, Lanes{I, J, K, L});  // GCC before 12
#endif
}

/// Lane K in every lane.
template <int K>
inline Row splat(Row v) {
  return pick<K, K, K, K>(v, v);
}

/// The leading N x 4 of an array whose rows may be longer.
template <std::size_t N, std::size_t RowsA, std::size_t StrideA>
inline Rows<N> load_rows(const float (&A)[RowsA][StrideA]) {
  static_assert(N <= RowsA && kLanes <= StrideA);
  Rows<N> rows{};
  for (std::size_t r = 0; r < N; ++r) {
    rows.row[r] = load(A[r]);
  }
  return rows;
}

template <std::size_t N, std::size_t RowsA, std::size_t StrideA>
inline void store_rows(const Rows<N>& rows, float (&A)[RowsA][StrideA]) {
  static_assert(N <= RowsA && kLanes <= StrideA);
  for (std::size_t r = 0; r < N; ++r) {
    store(rows.row[r], A[r]);
  }
}

/// The leading 3 x 3 of an array as rows, last lane zero.
template <std::size_t RowsA, std::size_t StrideA>
inline Rows<3> load_3x3(const float (&A)[RowsA][StrideA]) {
  static_assert(RowsA >= 3 && StrideA >= 3);
  return {{Row{A[0][0], A[0][1], A[0][2], 0}, Row{A[1][0], A[1][1], A[1][2], 0}, Row{A[2][0], A[2][1], A[2][2], 0}}};
}

/// A matrix that multiplies from the left: its elements are used one by one.
template <std::size_t N, std::size_t Cols>
struct Factors {
  float at[N][Cols];
};

/// A B: row r is A[r][0] times row 0 of B, plus A[r][1] times row 1, and so on.
template <std::size_t N, std::size_t Inner>
inline Rows<N> multiply(const Factors<N, Inner>& A, const Rows<Inner>& B) {
  Rows<N> C{};
  for (std::size_t r = 0; r < N; ++r) {
    C.row[r] = A.at[r][0] * B.row[0];
    for (std::size_t k = 1; k < Inner; ++k) {
      C.row[r] += A.at[r][k] * B.row[k];
    }
  }
  return C;
}

/// Row K of A^T B.
template <int K, std::size_t Inner>
inline Row transposed_product_row(const Rows<Inner>& A, const Rows<Inner>& B) {
  Row sum = splat<K>(A.row[0]) * B.row[0];
  for (std::size_t k = 1; k < Inner; ++k) {
    sum += splat<K>(A.row[k]) * B.row[k];
  }
  return sum;
}

/// A^T B; of A, the first three or all four columns are in use, as many as there are rows.
inline Rows<3> transpose_multiply(const Rows<3>& A, const Rows<3>& B) {
  return {{transposed_product_row<0>(A, B), transposed_product_row<1>(A, B), transposed_product_row<2>(A, B)}};
}

inline Rows<4> transpose_multiply(const Rows<4>& A, const Rows<4>& B) {
  return {{transposed_product_row<0>(A, B), transposed_product_row<1>(A, B), transposed_product_row<2>(A, B),
           transposed_product_row<3>(A, B)}};
}

template <std::size_t N, std::size_t Cols>
inline Factors<Cols, N> transpose(const Factors<N, Cols>& A) {
  Factors<Cols, N> T{};
  for (std::size_t r = 0; r < N; ++r) {
    for (std::size_t c = 0; c < Cols; ++c) {
      T.at[c][r] = A.at[r][c];
    }
  }
  return T;
}

/// The transpose of four rows, or of three with zeros for the fourth.
inline Rows<4> transpose(Row a, Row b, Row c, Row d) {
  const Row ab_low = pick<0, 4, 1, 5>(a, b), ab_high = pick<2, 6, 3, 7>(a, b);
  const Row cd_low = pick<0, 4, 1, 5>(c, d), cd_high = pick<2, 6, 3, 7>(c, d);
  return {{pick<0, 1, 4, 5>(ab_low, cd_low), pick<2, 3, 6, 7>(ab_low, cd_low), pick<0, 1, 4, 5>(ab_high, cd_high),
           pick<2, 3, 6, 7>(ab_high, cd_high)}};
}

inline Rows<4> transpose(const Rows<4>& A) {
  return transpose(A.row[0], A.row[1], A.row[2], A.row[3]);
}

inline Rows<4> transpose(const Rows<3>& A) {
  return transpose(A.row[0], A.row[1], A.row[2], Row{});
}

/// The first three rows of a matrix.
inline Rows<3> first_three(const Rows<4>& A) {
  return {{A.row[0], A.row[1], A.row[2]}};
}

template <std::size_t N>
inline Rows<N> add(const Rows<N>& A, const Rows<N>& B) {
  Rows<N> C{};
  for (std::size_t r = 0; r < N; ++r) {
    C.row[r] = A.row[r] + B.row[r];
  }
  return C;
}

template <std::size_t N>
inline Rows<N> subtract(const Rows<N>& A, const Rows<N>& B) {
  Rows<N> C{};
  for (std::size_t r = 0; r < N; ++r) {
    C.row[r] = A.row[r] - B.row[r];
  }
  return C;
}

/// value times the identity.
template <std::size_t N>
inline Rows<N> diagonal(float value) {
  Rows<N> D{};
  for (std::size_t r = 0; r < N; ++r) {
    D.row[r][r] = value;
  }
  return D;
}

/// Sum of the squares of the first N lanes, in ascending order.
template <std::size_t N>
inline float squared_norm(Row v) {
  const Row squares = v * v;
  float sum = squares[0];
  for (std::size_t i = 1; i < N; ++i) {
    sum += squares[i];
  }
  return sum;
}

/// Euclidean norm of the first N lanes.
template <std::size_t N>
inline float norm(Row v) {
  return std::sqrt(squared_norm<N>(v));
}

/// v over its norm, or v itself when that is zero.
inline Row normalised(Row v) {
  const float length = norm<kLanes>(v);
  return length == 0.0F ? v : v / length;
}

/// Hamilton product a b of quaternions (w, x, y, z).
inline Row hamilton_product(Row a, Row b) {
  const Row by_x = pick<1, 0, 3, 2>(b, b) * Row{-1, 1, -1, 1};
  const Row by_y = pick<2, 3, 0, 1>(b, b) * Row{-1, 1, 1, -1};
  const Row by_z = pick<3, 2, 1, 0>(b, b) * Row{-1, -1, 1, 1};
  return splat<0>(a) * b + splat<1>(a) * by_x + splat<2>(a) * by_y + splat<3>(a) * by_z;
}

inline Row conjugate(Row q) {
  return q * Row{1, -1, -1, -1};
}

/// Vector part of q (0, v) q*, v in the last three lanes of `pure`; every product is normalised, so the
/// result has unit length whatever the lengths of q and v are. The first lane is the scalar part.
inline Row rotated_direction(Row q, Row pure) {
  const Row half_turned = normalised(hamilton_product(q, pure));
  return normalised(hamilton_product(half_turned, normalised(conjugate(q))));
}

/// One Gauss-Jordan step on [A | right]: divides row K by its pivot and clears column K of the other rows.
template <int K>
inline void eliminate(Rows<3>& A, Rows<3>& right) {
  const Row pivot = splat<K>(A.row[K]);
  A.row[K] /= pivot;
  right.row[K] /= pivot;
  for (int r = 0; r < 3; ++r) {
    if (r != K) {
      const Row factor = splat<K>(A.row[r]);
      A.row[r] -= factor * A.row[K];
      right.row[r] -= factor * right.row[K];
    }
  }
}

/// Inverse of a 3 x 3 matrix. The pivots are taken in order, without a search for larger ones: a zero pivot gives
/// non-numbers.
inline Rows<3> inverse(Rows<3> A) {
  Rows<3> right = diagonal<3>(1.0F);
  eliminate<0>(A, right);
  eliminate<1>(A, right);
  eliminate<2>(A, right);
  return right;
}

}  // namespace vortena::tracker
