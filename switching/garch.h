// Conditional-variance recursions of GARCH(p, q) with an optional threshold term and of EGARCH,
// each with an optional variance-in-mean correction of the residuals.
#ifndef TESSEL_SWITCHING_GARCH_H
#define TESSEL_SWITCHING_GARCH_H

namespace tessel {

// How the conditional variance enters the mean: u = y - lambda * G(h).
enum InMeanMode { kInMeanVariance = 1, kInMeanStdDev = 2, kInMeanLogVariance = 3 };

// GARCH(p, q) variances h and in-mean corrected residuals u over T >= max(p, q, 1) observations.
// theta[1..q] holds the squared-residual lag coefficients in ARMA form and theta[m+1..m+p] the
// lagged-variance coefficients, m = max(p, q); theta[0] is not read. Presample squared residuals and
// variances are the raw mean square of y. delta == 0.0 switches the threshold term off.
void GarchVarRecursion(const double *y, const double *c, const double *theta, int T, int p, int q, int mode,
                       double lambda, double mu, double delta, double *h, double *u);

// EGARCH log variances l and in-mean corrected residuals u over T >= 1 observations, with news
// terms g_t = (|z_t| - kappa) gamma + z_t theta, lag coefficients a[0..p-1] on g and b[0..q-1] on l.
// The log variance is capped at 709 after the start-up phase t < max(p, q); start-up values are
// stored uncapped. Returns false (results zero) when the work vector cannot be allocated.
bool EgarchVarRecursion(const double *y, const double *c, int T, double theta, double gamma, double kappa,
                        const double *a, int p, const double *b, int q, int mode, double lambda, double *l,
                        double *u);

}  // namespace tessel

#endif
