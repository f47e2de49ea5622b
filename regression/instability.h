// Parameter-constancy statistics of a least-squares regression from the cumulative sums of its
// first-order conditions (the coefficient scores x_t u_t and the variance score u_t^2 - rss/T).
#ifndef TESSEL_REGRESSION_INSTABILITY_H
#define TESSEL_REGRESSION_INSTABILITY_H

#include "numeric/matrix.h"

namespace tessel {

// Over observations first..last (T of them) of X (rows, k columns) and the residuals u[t]:
// indiv[j] = sum_t S_t[j]^2 / (T F[j][j]) for the k + 1 scores, and returns the joint statistic
// trace(F^-1 sum_t S_t S_t') / T, or -1.0 when F = sum_t f_t f_t' cannot be inverted.
// Fsum and Ssum are (k+1) x (k+1) scratch, scores and sums k + 1 doubles each.
double InstabilityStats(CMATRIX X, int first, int last, int k, const double *u, double rss, MATRIX Fsum,
                        MATRIX Ssum, double *scores, double *sums, double *indiv);

}  // namespace tessel

#endif
