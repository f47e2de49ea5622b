// Sargan's Wald test of common factors in the lag polynomials of one dynamic equation
//   a(L) y_t = b_1(L) x_1t + ... + b_m(L) x_mt + ... + e_t,
// a(L) = 1 - a_1 L - ... - a_r L^r, each b_j of degree r. c common factors of a(L) and every b_j(L)
// impose c m restrictions, written as determinantal conditions on Sylvester-type matrices of the
// coefficients; their derivatives are taken numerically.
#ifndef TESSEL_DYNAMICS_COMFAC_H
#define TESSEL_DYNAMICS_COMFAC_H

#include "numeric/matrix.h"

namespace tessel {

// The c m restriction values g(theta) at theta for c common factors (c = 1..r), with the minors
// chosen at `chosen_at` (normally the estimate). pos holds the r + m (r + 1) positions in theta of
// a_1..a_r, b_1,0..b_1,r, ..., b_m,0..b_m,r. Returns 0, or 1 when the Sylvester-type matrix at
// chosen_at has rank below its row count less one (more than c common factors, or zero
// polynomials): no set of independent conditions can be picked there.
int ComfacRestrictions(const double *theta, const double *chosen_at, int r, int m, const int *pos, int c,
                       double *g);

// Wald statistics for c = 1..cmax common factors, with their degrees of freedom (c m) and
// chi-squared p-values; V is the covariance of theta (p x p, p at least 1 + the largest position).
// A statistic that cannot be formed (singular restriction covariance, no independent conditions)
// is NaN. Any output but stat may be null. Returns the number of finite statistics.
int ComfacTest(const double *theta, CMATRIX V, int r, int m, const int *pos, int cmax, double *stat, double *df,
               double *pval);

}  // namespace tessel

#endif
