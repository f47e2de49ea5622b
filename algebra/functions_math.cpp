// Elementary mathematical functions of the Algebra language. Arguments are never missing here: the
// interpreter yields missing without calling a handler when any argument is missing.
#include <cmath>
#include <cstdint>

#include "algebra/functions.h"

namespace tessel {

double AlgebraFnAbs(AlgebraWorkspace *, const double *a) { return std::fabs(a[0]); }
double AlgebraFnAcos(AlgebraWorkspace *, const double *a) { return std::acos(a[0]); }
double AlgebraFnAsin(AlgebraWorkspace *, const double *a) { return std::asin(a[0]); }
double AlgebraFnAtan(AlgebraWorkspace *, const double *a) { return std::atan(a[0]); }
double AlgebraFnCeil(AlgebraWorkspace *, const double *a) { return std::ceil(a[0]); }
double AlgebraFnCos(AlgebraWorkspace *, const double *a) { return std::cos(a[0]); }
double AlgebraFnFloor(AlgebraWorkspace *, const double *a) { return std::floor(a[0]); }
double AlgebraFnFmod(AlgebraWorkspace *, const double *a) { return std::fmod(a[0], a[1]); }
double AlgebraFnSin(AlgebraWorkspace *, const double *a) { return std::sin(a[0]); }
double AlgebraFnTan(AlgebraWorkspace *, const double *a) { return std::tan(a[0]); }
double AlgebraFnRound(AlgebraWorkspace *, const double *a) { return std::floor(a[0] + 0.5); }
double AlgebraFnMax(AlgebraWorkspace *, const double *a) { return a[1] > a[0] ? a[1] : a[0]; }
double AlgebraFnMin(AlgebraWorkspace *, const double *a) { return a[1] > a[0] ? a[0] : a[1]; }

// Integer quotient of the truncated arguments; a zero divisor flags and gives missing. The division is
// done in 64 bits so that the most negative 32-bit integer divided by -1 cannot overflow.
double AlgebraFnDiv(AlgebraWorkspace *ws, const double *a) {
    const int64_t num = AlgebraTrunc(a[0]);
    const int64_t den = AlgebraTrunc(a[1]);
    if (den == 0) {
        ws->flags |= kAlgebraFlagDivideByZero;
        return kMissing;
    }
    return static_cast<double>(num / den);
}

double AlgebraFnExp(AlgebraWorkspace *ws, const double *a) {
    if (a[0] >= 709.0) ws->flags |= kAlgebraFlagExpOverflow;
    return std::exp(a[0]);
}

namespace {

// Shared failure rule of the logarithms: a negative argument is an error and missing, zero a warning
// and minus infinity.
bool LogDomain(AlgebraWorkspace *ws, double x, double *result) {
    if (x < 0.0) {
        ws->flags |= kAlgebraFlagLogNonPositive;
        *result = kMissing;
        return false;
    }
    if (x == 0.0) {
        ws->flags |= kAlgebraFlagLogZero;
        *result = -HUGE_VAL;
        return false;
    }
    return true;
}

}  // namespace

double AlgebraFnLog(AlgebraWorkspace *ws, const double *a) {
    double r;
    return LogDomain(ws, a[0], &r) ? std::log(a[0]) : r;
}

double AlgebraFnLog10(AlgebraWorkspace *ws, const double *a) {
    double r;
    return LogDomain(ws, a[0], &r) ? std::log10(a[0]) : r;
}

double AlgebraFnLogGamma(AlgebraWorkspace *ws, const double *a) {
    double r;
    return LogDomain(ws, a[0], &r) ? AlgebraLogGamma(a[0]) : r;
}

double AlgebraFnSqrt(AlgebraWorkspace *ws, const double *a) {
    if (a[0] < 0.0) {
        ws->flags |= kAlgebraFlagSqrtNegative;
        return kMissing;
    }
    return std::sqrt(a[0]);
}

}  // namespace tessel
