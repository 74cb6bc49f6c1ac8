// Matrix functions for any size, as one writes them first: the sizes are known at run time only.
#pragma once

namespace oracle {

/// C = A B, rows x inner by inner x cols, packed.
void multiply(const float* A, const float* B, float* C, int rows, int inner, int cols);
void transpose(const float* A, float* T, int rows, int cols);

}  // namespace oracle
