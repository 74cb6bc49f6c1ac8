// check_cells COUNT: compares the cell writer with std::to_chars on COUNT hard doubles, each in 1, 3 and 5 decimals.
#include <cstdio>
#include <cstdlib>

#include "tests/oracle/cell_cases.h"

int main(int argc, char** argv) {
  const long count = argc == 2 ? std::atol(argv[1]) : 0;
  if (count <= 0) {
    std::fputs("usage: check_cells COUNT\n", stderr);
    return EXIT_FAILURE;
  }
  oracle::CellCases cases(1);
  for (long i = 0; i < count; ++i) {
    const double value = cases.next();
    if (!oracle::cell_agrees(value)) {
      std::printf("%a differs\n", value);
      return EXIT_FAILURE;
    }
  }
  std::printf("%ld doubles agree with std::to_chars in 1, 3 and 5 decimals\n", count);
  return EXIT_SUCCESS;
}
