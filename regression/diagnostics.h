// Small regression utilities: the seasonal R-squared, removal of seasonal means, and selected
// elements of a Kronecker product.
#ifndef TESSEL_REGRESSION_DIAGNOSTICS_H
#define TESSEL_REGRESSION_DIAGNOSTICS_H

namespace tessel {

// R-squared of a model with residual sum of squares rss measured against the seasonal means of the
// first differences of y (T values, season = t mod s). means[0..s-1] receives those means. Returns
// -1.0, means untouched, when T <= 2s.
double SeasonalRsq(double rss, int T, const double *y, int s, double *means);

// Subtracts from every column of the T x k matrix X its mean over each season (rows t = j, j+s, ...).
// work holds s doubles.
void DeSeasonalize(double **X, int T, int k, int s, double *work);

// Out (nRows x nCols) = the selected rows and columns of the Kronecker product of A (ra x ca) and
// B (rb x cb). Selections are indices stored as doubles and truncated toward zero; a null selection
// takes indices 0, 1, ... in order. The indices must lie inside the product.
void KroneckerSel(double **Out, double *const *A, int ra, int ca, double *const *B, int rb, int cb,
                  const double *rowSel, int nRows, const double *colSel, int nCols);

}  // namespace tessel

#endif
