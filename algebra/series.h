// Series transformations on plain arrays: the Hodrick-Prescott filter, exponential smoothing with
// trend, the exponentially weighted correlation, moving statistics at one observation and the
// running sum. Missing values are NaNs.
#ifndef TESSEL_ALGEBRA_SERIES_H
#define TESSEL_ALGEBRA_SERIES_H

namespace tessel {

// Hodrick-Prescott trend tau of y[0..n-1]. Needs n >= 3 (else tau is left
// alone); lambda <= 1e-20 means 1600. `exact` false uses the cubic-spline variant of the system.
// Returns 1 on success, 0 on failure (short series, no memory, or a singular system).
int HpFilter(const double *y, int n, double lambda, double *tau, bool exact);

// Exponential smoothing with trend (alpha, beta clipped into [0, 1]); missing inputs after the start
// are filled by extending the last level and trend. Needs n >= 3; returns 1, or 0 (out untouched).
int Ewma(const double *y, int n, double alpha, double beta, double *out);

// Exponentially weighted correlation of x and y with decay lambda (clipped into [0, 1]), about zero
// means or about running means. Needs n >= 4; returns 1, or 0 (out untouched).
int Ewmc(const double *x, const double *y, int n, double lambda, bool zeroMean, double *out);

// Moving statistics of x (nobs values) at observation t; an index j is usable when 0 <= j <= t2
// (and j < nobs). LAG and LEAD are truncated for the window; the divisor uses them as passed.
double AlgebraMovingAvg(const double *x, int nobs, int t, int t2, double lag, double lead);
double AlgebraMovingSd(const double *x, int nobs, int t, int t2, double lag, double lead, double mean);
// Almon-weighted average of x[t-LAG..t], weights (LAG + 1 - i)^power.
double AlgebraAlmon(const double *x, int nobs, int t, int t2, double lag, double power);
// Sum of x from the first present value at or after t1 up to t; missing if a gap lies between.
double AlgebraCum(const double *x, int nobs, int t1, int t);

// The span the HP filter works on: from the first present value at or after t1 up to the last
// observation before the next missing value (never beyond t2). Returns its length (0 when there is
// none) with first and last through the pointers.
int AlgebraSpanWithoutMissing(const double *x, int nobs, int t1, int t2, int *first, int *last);

}  // namespace tessel

#endif
