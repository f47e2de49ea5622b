// Handlers of the built-in Algebra functions, grouped by theme in algebra/functions_*.cpp, and the
// small helpers they share for reading the workspace safely.
#ifndef TESSEL_ALGEBRA_FUNCTIONS_H
#define TESSEL_ALGEBRA_FUNCTIONS_H

#include <cmath>
#include <cstdint>

#include "algebra/catalogue.h"
#include "algebra/workspace.h"
#include "numeric/missing.h"

namespace tessel {

// One built-in as registered: name, handler, kinds, signature.
struct AlgebraBuiltin {
    const char *name;
    AlgebraFunctionHandler handler;
    const char *kinds;
    const char *signature;
};

// The built-ins in registration order (kAlgebraFunctionCount entries).
extern const AlgebraBuiltin kAlgebraBuiltins[kAlgebraFunctionCount];

// Truncation toward zero to a 32-bit integer, saturating instead of overflowing.
inline int32_t AlgebraTrunc(double x) {
    if (!(x == x)) return 0;
    if (x >= 2147483647.0) return 2147483647;
    if (x <= -2147483648.0) return -2147483647 - 1;
    return static_cast<int32_t>(x);
}

// Value of a column at observation j, missing when j lies outside 0 .. nobs-1.
inline double AlgebraColumnAt(const AlgebraWorkspace *ws, const double *col, int64_t j) {
    if (col == nullptr || j < 0 || j >= ws->nobs) return kMissing;
    return col[j];
}

// log Gamma(x) of the numerical library, for loggamma.
double AlgebraLogGamma(double x);

// Mathematical functions (functions_math.cpp).
double AlgebraFnAbs(AlgebraWorkspace *ws, const double *a);
double AlgebraFnAcos(AlgebraWorkspace *ws, const double *a);
double AlgebraFnAsin(AlgebraWorkspace *ws, const double *a);
double AlgebraFnAtan(AlgebraWorkspace *ws, const double *a);
double AlgebraFnCeil(AlgebraWorkspace *ws, const double *a);
double AlgebraFnCos(AlgebraWorkspace *ws, const double *a);
double AlgebraFnDiv(AlgebraWorkspace *ws, const double *a);
double AlgebraFnExp(AlgebraWorkspace *ws, const double *a);
double AlgebraFnFloor(AlgebraWorkspace *ws, const double *a);
double AlgebraFnFmod(AlgebraWorkspace *ws, const double *a);
double AlgebraFnLog(AlgebraWorkspace *ws, const double *a);
double AlgebraFnLog10(AlgebraWorkspace *ws, const double *a);
double AlgebraFnLogGamma(AlgebraWorkspace *ws, const double *a);
double AlgebraFnMax(AlgebraWorkspace *ws, const double *a);
double AlgebraFnMin(AlgebraWorkspace *ws, const double *a);
double AlgebraFnRound(AlgebraWorkspace *ws, const double *a);
double AlgebraFnSin(AlgebraWorkspace *ws, const double *a);
double AlgebraFnSqrt(AlgebraWorkspace *ws, const double *a);
double AlgebraFnTan(AlgebraWorkspace *ws, const double *a);

// Distributions (functions_dist.cpp).
double AlgebraFnDensChi(AlgebraWorkspace *ws, const double *a);
double AlgebraFnDensF(AlgebraWorkspace *ws, const double *a);
double AlgebraFnDensN(AlgebraWorkspace *ws, const double *a);
double AlgebraFnDensT(AlgebraWorkspace *ws, const double *a);
double AlgebraFnProbN(AlgebraWorkspace *ws, const double *a);
double AlgebraFnQuanChi(AlgebraWorkspace *ws, const double *a);
double AlgebraFnQuanF(AlgebraWorkspace *ws, const double *a);
double AlgebraFnQuanN(AlgebraWorkspace *ws, const double *a);
double AlgebraFnQuanT(AlgebraWorkspace *ws, const double *a);
double AlgebraFnTailChi(AlgebraWorkspace *ws, const double *a);
double AlgebraFnTailF(AlgebraWorkspace *ws, const double *a);
double AlgebraFnTailN(AlgebraWorkspace *ws, const double *a);
double AlgebraFnTailT(AlgebraWorkspace *ws, const double *a);

// Random draws (functions_random.cpp).
double AlgebraFnRanU(AlgebraWorkspace *ws, const double *a);
double AlgebraFnRanChi(AlgebraWorkspace *ws, const double *a);
double AlgebraFnRanF(AlgebraWorkspace *ws, const double *a);
double AlgebraFnRanN(AlgebraWorkspace *ws, const double *a);
double AlgebraFnRanT(AlgebraWorkspace *ws, const double *a);
double AlgebraFnRanSeed(AlgebraWorkspace *ws, const double *a);

// Sample position and calendar (functions_calendar.cpp).
double AlgebraFnDate(AlgebraWorkspace *ws, const double *a);
double AlgebraFnDay(AlgebraWorkspace *ws, const double *a);
double AlgebraFnDayOfWeek(AlgebraWorkspace *ws, const double *a);
double AlgebraFnDummy(AlgebraWorkspace *ws, const double *a);
double AlgebraFnDummyDates(AlgebraWorkspace *ws, const double *a);
double AlgebraFnHours(AlgebraWorkspace *ws, const double *a);
double AlgebraFnIsDayOfMonth(AlgebraWorkspace *ws, const double *a);
double AlgebraFnIsEaster(AlgebraWorkspace *ws, const double *a);
double AlgebraFnMakeDate(AlgebraWorkspace *ws, const double *a);
double AlgebraFnMakeTime(AlgebraWorkspace *ws, const double *a);
double AlgebraFnMinutes(AlgebraWorkspace *ws, const double *a);
double AlgebraFnMonth(AlgebraWorkspace *ws, const double *a);
double AlgebraFnPeriod(AlgebraWorkspace *ws, const double *a);
double AlgebraFnSeason(AlgebraWorkspace *ws, const double *a);
double AlgebraFnSeconds(AlgebraWorkspace *ws, const double *a);
double AlgebraFnTime(AlgebraWorkspace *ws, const double *a);
double AlgebraFnTrend(AlgebraWorkspace *ws, const double *a);
double AlgebraFnYear(AlgebraWorkspace *ws, const double *a);

// Lags, differences and windows at observation t (functions_series.cpp).
double AlgebraFnAlmon(AlgebraWorkspace *ws, const double *a);
double AlgebraFnCum(AlgebraWorkspace *ws, const double *a);
double AlgebraFnDiff(AlgebraWorkspace *ws, const double *a);
double AlgebraFnDlog(AlgebraWorkspace *ws, const double *a);
double AlgebraFnLag(AlgebraWorkspace *ws, const double *a);
double AlgebraFnLead(AlgebraWorkspace *ws, const double *a);
double AlgebraFnMovingAvg(AlgebraWorkspace *ws, const double *a);
double AlgebraFnMovingSD(AlgebraWorkspace *ws, const double *a);
double AlgebraFnPeak(AlgebraWorkspace *ws, const double *a);
double AlgebraFnStock(AlgebraWorkspace *ws, const double *a);
double AlgebraFnStockV(AlgebraWorkspace *ws, const double *a);
double AlgebraFnTrough(AlgebraWorkspace *ws, const double *a);

// Whole-sample statistics, smoothers and sorts (functions_sample.cpp).
double AlgebraFnAcf(AlgebraWorkspace *ws, const double *a);
double AlgebraFnEwma(AlgebraWorkspace *ws, const double *a);
double AlgebraFnEwmc0(AlgebraWorkspace *ws, const double *a);
double AlgebraFnMean(AlgebraWorkspace *ws, const double *a);
double AlgebraFnPacf(AlgebraWorkspace *ws, const double *a);
double AlgebraFnPeriodogram(AlgebraWorkspace *ws, const double *a);
double AlgebraFnSmoothHp(AlgebraWorkspace *ws, const double *a);
double AlgebraFnSmoothNp(AlgebraWorkspace *ws, const double *a);
double AlgebraFnSmoothSp(AlgebraWorkspace *ws, const double *a);
double AlgebraFnSort(AlgebraWorkspace *ws, const double *a);
double AlgebraFnSortAllBy(AlgebraWorkspace *ws, const double *a);
double AlgebraFnSortBy(AlgebraWorkspace *ws, const double *a);
double AlgebraFnVariance(AlgebraWorkspace *ws, const double *a);

}  // namespace tessel

#endif
