// Distribution functions of the Algebra language: densities, lower and upper tail probabilities and
// quantiles of the normal, t, chi-squared and F distributions, and the log-gamma function. Degrees of
// freedom that are not positive set a flag and give missing; t degrees of freedom are truncated.
#include "algebra/functions.h"
#include "numeric/distributions.h"

namespace tessel {

namespace {

bool BadDf(AlgebraWorkspace *ws, double df) {
    if (df <= 0.0) {
        ws->flags |= kAlgebraFlagNonPositiveDf;
        return true;
    }
    return false;
}

bool BadDf2(AlgebraWorkspace *ws, double df1, double df2) {
    if (df1 <= 0.0 || df2 <= 0.0) {
        ws->flags |= kAlgebraFlagNonPositiveDf;
        return true;
    }
    return false;
}

// Integer degrees of freedom of the t functions, or 0 after flagging.
int TDf(AlgebraWorkspace *ws, double df) {
    const int k = AlgebraTrunc(df);
    if (k <= 0) ws->flags |= kAlgebraFlagNonPositiveDf;
    return k > 0 ? k : 0;
}

}  // namespace

double AlgebraLogGamma(double x) { return LogGamma(x); }

double AlgebraFnDensN(AlgebraWorkspace *, const double *a) { return NormalDensity(a[0]); }
double AlgebraFnProbN(AlgebraWorkspace *, const double *a) { return NormalCdf(a[0]); }
double AlgebraFnQuanN(AlgebraWorkspace *, const double *a) { return NormalQuantile(a[0]); }
double AlgebraFnTailN(AlgebraWorkspace *, const double *a) { return NormalUpperTail(a[0]); }

double AlgebraFnDensChi(AlgebraWorkspace *ws, const double *a) {
    return BadDf(ws, a[1]) ? kMissing : ChiSquaredDensity(a[0], a[1]);
}
double AlgebraFnQuanChi(AlgebraWorkspace *ws, const double *a) {
    return BadDf(ws, a[1]) ? kMissing : ChiSquaredQuantile(a[0], a[1]);
}
double AlgebraFnTailChi(AlgebraWorkspace *ws, const double *a) {
    return BadDf(ws, a[1]) ? kMissing : ChiSquaredUpperTail(a[0], a[1]);
}

double AlgebraFnDensF(AlgebraWorkspace *ws, const double *a) {
    return BadDf2(ws, a[1], a[2]) ? kMissing : FDensity(a[0], a[1], a[2]);
}
double AlgebraFnQuanF(AlgebraWorkspace *ws, const double *a) {
    return BadDf2(ws, a[1], a[2]) ? kMissing : FQuantile(a[0], a[1], a[2]);
}
double AlgebraFnTailF(AlgebraWorkspace *ws, const double *a) {
    return BadDf2(ws, a[1], a[2]) ? kMissing : FUpperTail(a[0], a[1], a[2]);
}

double AlgebraFnDensT(AlgebraWorkspace *ws, const double *a) {
    const int df = TDf(ws, a[1]);
    return df > 0 ? TDensity(a[0], df) : kMissing;
}
double AlgebraFnQuanT(AlgebraWorkspace *ws, const double *a) {
    const int df = TDf(ws, a[1]);
    return df > 0 ? TQuantile(a[0], df) : kMissing;
}
double AlgebraFnTailT(AlgebraWorkspace *ws, const double *a) {
    const int df = TDf(ws, a[1]);
    return df > 0 ? TUpperTail(a[0], df) : kMissing;
}

}  // namespace tessel
