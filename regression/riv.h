// Recursive instrumental-variables estimation of one equation over a growing sample.
#ifndef TESSEL_REGRESSION_RIV_H
#define TESSEL_REGRESSION_RIV_H

#include "numeric/matrix.h"

namespace tessel {

// data holds one variable per row and one observation per column: row 0 the dependent variable,
// rows 1..nEndog-1 the endogenous regressors, rows nEndog..k the exogenous regressors and rows
// k+1..k+nInstr the further instruments; the instruments are rows nEndog..k+nInstr.
// For t = t1+m0-1 .. t2 the equation is estimated by two-stage least squares on t1..t; column t of
//   coef  (k rows)  the coefficients, in the order of data rows 1..k
//   diagV (k rows)  the diagonal of V = (X'Z (Z'Z)^-1 Z'X)^-1, floored at 0
//   rss, resid (1 row)  the residual sum of squares over t1..t and the residual of t
// and column t+1 (for t < t2) of
//   fore, wfore (1 row)  the forecast error of t+1 and that error / sqrt(1 + x' V x).
// Outputs may be null; those present are filled with NaN first. The inverse moment matrices are
// carried by rank-one updates and recomputed from scratch every 50 steps.
// Requires 1 <= nEndog <= k + 1, nInstr >= 1, 0 <= t1 <= t2 < columns of data and m0 >= 1.
// Returns 1 when the recursion reached t2 (or had nothing to do), 0 when memory was short or a
// moment matrix could not be inverted.
int RivRun(CMATRIX data, int nEndog, int k, int nInstr, int t1, int t2, int m0, MATRIX coef, MATRIX diagV,
           MATRIX wfore, MATRIX fore, MATRIX rss, MATRIX resid);

}  // namespace tessel

#endif
