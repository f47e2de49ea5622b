// Functions of a variable around the current observation: lags, leads, differences, windows, running
// extremes and depreciated stocks. Each reads the data column itself and checks every index it reads.
#include <cmath>
#include <cstdint>

#include "algebra/functions.h"
#include "algebra/series.h"

namespace tessel {

double AlgebraFnLag(AlgebraWorkspace *ws, const double *a) {
    const double *x = AlgebraVarColumn(ws, a[0]);
    return AlgebraColumnAt(ws, x, static_cast<int64_t>(ws->t) - AlgebraTrunc(a[1]));
}

double AlgebraFnLead(AlgebraWorkspace *ws, const double *a) {
    const double *x = AlgebraVarColumn(ws, a[0]);
    return AlgebraColumnAt(ws, x, static_cast<int64_t>(ws->t) + AlgebraTrunc(a[1]));
}

double AlgebraFnDiff(AlgebraWorkspace *ws, const double *a) {
    const double *x = AlgebraVarColumn(ws, a[0]);
    const double now = AlgebraColumnAt(ws, x, ws->t);
    const double then = AlgebraColumnAt(ws, x, static_cast<int64_t>(ws->t) - AlgebraTrunc(a[1]));
    return IsMissing(now) || IsMissing(then) ? kMissing : now - then;
}

double AlgebraFnDlog(AlgebraWorkspace *ws, const double *a) {
    const double *x = AlgebraVarColumn(ws, a[0]);
    if (x == nullptr || ws->t - 1 < 0 || ws->t - 1 > ws->t2) return kMissing;
    const double now = AlgebraColumnAt(ws, x, ws->t);
    const double then = AlgebraColumnAt(ws, x, ws->t - 1);
    if (IsMissing(now) || IsMissing(then)) return kMissing;
    if (now < 0.0 || then < 0.0) {
        ws->flags |= kAlgebraFlagLogNonPositive;
        return kMissing;
    }
    if (now == 0.0 || then == 0.0) {
        ws->flags |= kAlgebraFlagLogZero;
        return kMissing;
    }
    return std::log(now) - std::log(then);
}

double AlgebraFnMovingAvg(AlgebraWorkspace *ws, const double *a) {
    const double *x = AlgebraVarColumn(ws, a[0]);
    if (x == nullptr) return kMissing;
    return AlgebraMovingAvg(x, ws->nobs, ws->t, ws->t2, a[1], a[2]);
}

double AlgebraFnMovingSD(AlgebraWorkspace *ws, const double *a) {
    const double *x = AlgebraVarColumn(ws, a[0]);
    if (x == nullptr) return kMissing;
    return AlgebraMovingSd(x, ws->nobs, ws->t, ws->t2, a[1], a[2], a[3]);
}

double AlgebraFnAlmon(AlgebraWorkspace *ws, const double *a) {
    const double *x = AlgebraVarColumn(ws, a[0]);
    if (x == nullptr) return kMissing;
    return AlgebraAlmon(x, ws->nobs, ws->t, ws->t2, a[1], a[2]);
}

double AlgebraFnCum(AlgebraWorkspace *ws, const double *a) {
    const double *x = AlgebraVarColumn(ws, a[0]);
    if (x == nullptr) return kMissing;
    return AlgebraCum(x, ws->nobs, ws->t1, ws->t);
}

namespace {

// Largest (sign 1) or smallest (sign -1) present value over t1 .. t, missing when x[t] is missing.
double RunningExtreme(AlgebraWorkspace *ws, double arg, double sign) {
    const double *x = AlgebraVarColumn(ws, arg);
    const double now = AlgebraColumnAt(ws, x, ws->t);
    if (IsMissing(now)) return kMissing;
    double best = now;
    for (int j = ws->t1 < 0 ? 0 : ws->t1; j < ws->t; ++j)
        if (!IsMissing(x[j]) && sign * (x[j] - best) > 0.0) best = x[j];
    return best;
}

// Stock accumulated from the first present value at or after t1 up to t, with depreciation rate
// rate(j) at observation j; missing when there is no start or a gap follows it.
template <class Rate>
double Stock(AlgebraWorkspace *ws, const double *x, double init, Rate rate) {
    if (x == nullptr || ws->t < 0 || ws->t >= ws->nobs) return kMissing;
    int f = ws->t1 < 0 ? 0 : ws->t1;
    while (f <= ws->t && IsMissing(x[f])) ++f;
    if (f > ws->t) return kMissing;
    double r = rate(f);
    if (IsMissing(r)) return kMissing;
    double s = (1.0 - r) * init + x[f];
    for (int j = f + 1; j <= ws->t; ++j) {
        r = rate(j);
        if (IsMissing(x[j]) || IsMissing(r)) return kMissing;
        s = (1.0 - r) * s + x[j];
    }
    return s;
}

}  // namespace

double AlgebraFnPeak(AlgebraWorkspace *ws, const double *a) { return RunningExtreme(ws, a[0], 1.0); }
double AlgebraFnTrough(AlgebraWorkspace *ws, const double *a) { return RunningExtreme(ws, a[0], -1.0); }

double AlgebraFnStock(AlgebraWorkspace *ws, const double *a) {
    const double rate = a[1];
    return Stock(ws, AlgebraVarColumn(ws, a[0]), a[2], [rate](int) { return rate; });
}

double AlgebraFnStockV(AlgebraWorkspace *ws, const double *a) {
    const double *r = AlgebraVarColumn(ws, a[1]);
    if (r == nullptr) return kMissing;
    return Stock(ws, AlgebraVarColumn(ws, a[0]), a[2], [r](int j) { return r[j]; });
}

}  // namespace tessel
