// Linear systems with a symmetric positive definite banded Toeplitz matrix, solved in O(n m^2).
#ifndef TESSEL_NUMERIC_BANDED_TOEPLITZ_H
#define TESSEL_NUMERIC_BANDED_TOEPLITZ_H

namespace tessel {

// Solves A x = b, where A is n x n with A[i][j] = a[|i - j|] for |i - j| <= m and 0 beyond
// (half-bandwidth m, a[0..m]). b and x may be the same array. `work` holds at least (m + 1) * n
// doubles (2 * n suffice for m = 2). Returns 0, -1 for bad arguments, or -2 when A is not positive definite (x is then
// undefined).
int MatSolveSymBandToeplitz(const double *a, int m, int n, const double *b, double *x, double *work);

}  // namespace tessel

#endif
