#include "numeric/distributions.h"

#include <cmath>
#include <limits>

#include <boost/math/distributions/chi_squared.hpp>
#include <boost/math/distributions/complement.hpp>
#include <boost/math/special_functions/beta.hpp>
#include <boost/math/distributions/students_t.hpp>
#include <boost/math/special_functions/digamma.hpp>
#include <boost/math/special_functions/erf.hpp>
#include <boost/math/special_functions/gamma.hpp>

namespace tessel {
namespace {

namespace bm = boost::math;
namespace bp = boost::math::policies;

// Errors become return values (NaN for domain errors and poles, +-inf on overflow), never exceptions.
// The distributions compute internally in long double where the platform has it.
using DistPolicy =
    bp::policy<bp::domain_error<bp::errno_on_error>, bp::pole_error<bp::errno_on_error>,
               bp::overflow_error<bp::errno_on_error>, bp::evaluation_error<bp::errno_on_error>,
               bp::rounding_error<bp::errno_on_error>, bp::underflow_error<bp::ignore_error>,
               bp::indeterminate_result_error<bp::ignore_error>>;
// The special functions sit in per-observation loops of the likelihoods: plain double is accurate to
// a few ulps there and markedly faster than promoting.
using FastPolicy =
    bp::policy<bp::domain_error<bp::errno_on_error>, bp::pole_error<bp::errno_on_error>,
               bp::overflow_error<bp::errno_on_error>, bp::evaluation_error<bp::errno_on_error>,
               bp::rounding_error<bp::errno_on_error>, bp::underflow_error<bp::ignore_error>,
               bp::indeterminate_result_error<bp::ignore_error>, bp::promote_double<false>>;

using StudentsT = bm::students_t_distribution<double, DistPolicy>;
using ChiSquared = bm::chi_squared_distribution<double, DistPolicy>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

bool ValidProbability(double p) { return p >= 0.0 && p <= 1.0; }
bool ValidDf(double df) { return df > 0.0; }  // false for NaN; +inf passes

// P(X > x) for the standard normal as erfc(x / sqrt 2) / 2. The quotient x / sqrt 2 is rounded; in the
// far tail erfc magnifies that rounding by about 2 t^2 in relative terms, so the rounding error delta is
// recovered exactly and removed to first order: erfc(t + delta) = erfc(t) - 2/sqrt(pi) exp(-t^2) delta.
double UpperTailOfStandardNormal(double x) {
    constexpr double kInvSqrt2Hi = 0.70710678118654757;     // 1/sqrt(2) rounded to double
    constexpr double kInvSqrt2Lo = -4.8336466567264567e-17;  // 1/sqrt(2) - kInvSqrt2Hi
    constexpr double kTwoOverSqrtPi = 1.1283791670955126;
    const double t = x * kInvSqrt2Hi;
    const double delta = std::fma(x, kInvSqrt2Hi, -t) + x * kInvSqrt2Lo;
    const double e = bm::erfc(t, DistPolicy());
    return 0.5 * (e - kTwoOverSqrtPi * std::exp(-t * t) * delta);
}

}  // namespace

// ---- standard normal ----

double NormalDensity(double x) {
    if (std::isnan(x)) return kNaN;
    if (std::fabs(x) > 40.0) return 0.0;  // below the smallest subnormal
    constexpr double kInvSqrt2Pi = 0.3989422804014327;
    // x*x = hi + lo exactly; exp(-hi/2) * (1 - lo/2) avoids the relative error x^2 * eps of exp(-x*x/2).
    const double hi = x * x;
    const double lo = std::fma(x, x, -hi);
    return kInvSqrt2Pi * std::exp(-0.5 * hi) * (1.0 - 0.5 * lo);
}

double NormalCdf(double x) {
    if (std::isnan(x)) return kNaN;
    if (std::isinf(x)) return x > 0 ? 1.0 : 0.0;
    return UpperTailOfStandardNormal(-x);
}

double NormalUpperTail(double x) {
    if (std::isnan(x)) return kNaN;
    if (std::isinf(x)) return x > 0 ? 0.0 : 1.0;
    return UpperTailOfStandardNormal(x);
}

double NormalQuantile(double p) {
    if (!ValidProbability(p)) return kNaN;
    if (p == 0.0) return -kInf;
    if (p == 1.0) return kInf;
    // Phi^-1(p) = -sqrt(2) erfc^-1(2p); 2p is exact, so small p keeps full precision.
    return -1.4142135623730951 * bm::erfc_inv(2.0 * p, DistPolicy());
}

double NormalUpperQuantile(double q) {
    if (!ValidProbability(q)) return kNaN;
    if (q == 0.0) return kInf;
    if (q == 1.0) return -kInf;
    return 1.4142135623730951 * bm::erfc_inv(2.0 * q, DistPolicy());
}

// ---- Student t ----

double TDensity(double x, double df) {
    if (std::isnan(x) || !ValidDf(df)) return kNaN;
    if (std::isinf(x)) return 0.0;
    return bm::pdf(StudentsT(df), x);
}

double TCdf(double x, double df) {
    if (std::isnan(x) || !ValidDf(df)) return kNaN;
    if (std::isinf(x)) return x > 0 ? 1.0 : 0.0;
    return bm::cdf(StudentsT(df), x);
}

double TUpperTail(double x, double df) {
    if (std::isnan(x) || !ValidDf(df)) return kNaN;
    if (std::isinf(x)) return x > 0 ? 0.0 : 1.0;
    return bm::cdf(bm::complement(StudentsT(df), x));
}

double TQuantile(double p, double df) {
    if (!ValidProbability(p) || !ValidDf(df)) return kNaN;
    if (p == 0.0) return -kInf;
    if (p == 1.0) return kInf;
    return bm::quantile(StudentsT(df), p);
}

double TUpperQuantile(double q, double df) {
    if (!ValidProbability(q) || !ValidDf(df)) return kNaN;
    if (q == 0.0) return kInf;
    if (q == 1.0) return -kInf;
    return bm::quantile(bm::complement(StudentsT(df), q));
}

// ---- chi-squared ----

double ChiSquaredDensity(double x, double df) {
    if (std::isnan(x) || !ValidDf(df) || std::isinf(df)) return kNaN;
    if (x < 0.0 || std::isinf(x)) return 0.0;
    return bm::pdf(ChiSquared(df), x);
}

double ChiSquaredCdf(double x, double df) {
    if (std::isnan(x) || !ValidDf(df) || std::isinf(df)) return kNaN;
    if (x <= 0.0) return 0.0;
    if (std::isinf(x)) return 1.0;
    return bm::cdf(ChiSquared(df), x);
}

double ChiSquaredUpperTail(double x, double df) {
    if (std::isnan(x) || !ValidDf(df) || std::isinf(df)) return kNaN;
    if (x <= 0.0) return 1.0;
    if (std::isinf(x)) return 0.0;
    return bm::cdf(bm::complement(ChiSquared(df), x));
}

double ChiSquaredQuantile(double p, double df) {
    if (!ValidProbability(p) || !ValidDf(df) || std::isinf(df)) return kNaN;
    if (p == 0.0) return 0.0;
    if (p == 1.0) return kInf;
    return bm::quantile(ChiSquared(df), p);
}

double ChiSquaredUpperQuantile(double q, double df) {
    if (!ValidProbability(q) || !ValidDf(df) || std::isinf(df)) return kNaN;
    if (q == 0.0) return kInf;
    if (q == 1.0) return 0.0;
    return bm::quantile(bm::complement(ChiSquared(df), q));
}

// ---- F ----
// Through the incomplete beta function: with u = df1 x / (df1 x + df2) and 1 - u = df2 / (df1 x + df2),
// both formed directly, P(X <= x) = I_u(df1/2, df2/2) and P(X > x) = I_(1-u)(df2/2, df1/2).

namespace {
bool ValidFDf(double df1, double df2) { return ValidDf(df1) && ValidDf(df2) && !std::isinf(df1) && !std::isinf(df2); }

double FFromBeta(double u, double one_minus_u, double df1, double df2) {
    return (df2 * u) / (df1 * one_minus_u);
}
}  // namespace

// Beyond this many degrees of freedom the F distribution is taken at its limit: chi-squared(df1) / df1
// as df2 grows, df2 / chi-squared(df2) as df1 grows, a point mass at 1 when both do. The error is of
// the order of 1 / df, below the last bit; further out the incomplete beta function's continued
// fraction stops converging in reasonable time and overflows its term counter.
constexpr double kFLimitDf = 1e15;

double FDensity(double x, double df1, double df2) {
    if (std::isnan(x) || !ValidFDf(df1, df2)) return kNaN;
    if (x < 0.0 || std::isinf(x)) return 0.0;
    if (x == 0.0) return df1 < 2.0 ? kInf : (df1 == 2.0 ? 1.0 : 0.0);
    if (df1 > kFLimitDf && df2 > kFLimitDf) return x == 1.0 ? kInf : 0.0;
    if (df2 > kFLimitDf) return df1 * ChiSquaredDensity(x * df1, df1);
    if (df1 > kFLimitDf) return ChiSquaredDensity(df2 / x, df2) * (df2 / x) / x;
    const double v = df1 * x + df2;
    const double u = df1 * x / v, w = df2 / v;
    // d/dx I_u(a, b) = ibeta_derivative(a, b, u) * du/dx, du/dx = df1 df2 / v^2.
    return bm::ibeta_derivative(0.5 * df1, 0.5 * df2, u, DistPolicy()) * (df1 / v) * w;
}

double FCdf(double x, double df1, double df2) {
    if (std::isnan(x) || !ValidFDf(df1, df2)) return kNaN;
    if (x <= 0.0) return 0.0;
    if (std::isinf(x)) return 1.0;
    if (df1 > kFLimitDf && df2 > kFLimitDf) return x < 1.0 ? 0.0 : 1.0;
    if (df2 > kFLimitDf) return ChiSquaredCdf(x * df1, df1);
    if (df1 > kFLimitDf) return ChiSquaredUpperTail(df2 / x, df2);
    const double v = df1 * x + df2;
    return bm::ibeta(0.5 * df1, 0.5 * df2, df1 * x / v, DistPolicy());
}

double FUpperTail(double x, double df1, double df2) {
    if (std::isnan(x) || !ValidFDf(df1, df2)) return kNaN;
    if (x <= 0.0) return 1.0;
    if (std::isinf(x)) return 0.0;
    if (df1 > kFLimitDf && df2 > kFLimitDf) return x < 1.0 ? 1.0 : 0.0;
    if (df2 > kFLimitDf) return ChiSquaredUpperTail(x * df1, df1);
    if (df1 > kFLimitDf) return ChiSquaredCdf(df2 / x, df2);
    const double v = df1 * x + df2;
    return bm::ibeta(0.5 * df2, 0.5 * df1, df2 / v, DistPolicy());
}

namespace {
// The inverse incomplete beta loses its way for probabilities far below 1e-20 (tails where the root
// lies beyond about 1e-50 or 1e50); a few Newton steps on log P against log x recover it, since
// there the log tail is close to linear in log x.
double PolishFQuantile(double x, double target, bool upper, double df1, double df2) {
    const double log_target = std::log(target);
    for (int iter = 0; iter < 60 && x > 0.0 && std::isfinite(x); ++iter) {
        const double tail = upper ? FUpperTail(x, df1, df2) : FCdf(x, df1, df2);
        if (!(tail > 0.0)) break;
        const double gap = log_target - std::log(tail);
        if (std::fabs(gap) <= 1e-15) break;
        const double slope = (upper ? -x : x) * FDensity(x, df1, df2) / tail;  // d log P / d log x
        if (!(std::fabs(slope) > 0.0) || !std::isfinite(slope)) break;
        double step = gap / slope;
        step = std::fmax(-50.0, std::fmin(50.0, step));
        x *= std::exp(step);
    }
    return x;
}
}  // namespace

double FQuantile(double p, double df1, double df2) {
    if (!ValidProbability(p) || !ValidFDf(df1, df2)) return kNaN;
    if (p == 0.0) return 0.0;
    if (p == 1.0) return kInf;
    if (df1 > kFLimitDf && df2 > kFLimitDf) return 1.0;
    if (df2 > kFLimitDf) return ChiSquaredQuantile(p, df1) / df1;
    if (df1 > kFLimitDf) return df2 / ChiSquaredUpperQuantile(p, df2);  // P(F <= x) = P(chi2 >= df2 / x)
    double w = 0.0;
    const double u = bm::ibeta_inv(0.5 * df1, 0.5 * df2, p, &w, DistPolicy());
    const double x = FFromBeta(u, w, df1, df2);
    return p < 1e-15 ? PolishFQuantile(x, p, false, df1, df2) : x;
}

double FUpperQuantile(double q, double df1, double df2) {
    if (!ValidProbability(q) || !ValidFDf(df1, df2)) return kNaN;
    if (q == 0.0) return kInf;
    if (q == 1.0) return 0.0;
    if (df1 > kFLimitDf || df2 > kFLimitDf) return FQuantile(1.0 - q, df1, df2);
    double u = 0.0;
    const double w = bm::ibeta_inv(0.5 * df2, 0.5 * df1, q, &u, DistPolicy());
    const double x = FFromBeta(u, w, df1, df2);
    return q < 1e-15 ? PolishFQuantile(x, q, true, df1, df2) : x;
}

// ---- special functions ----

double Gamma(double x) {
    if (std::isnan(x)) return kNaN;
    if (x == kInf) return kInf;
    if (x == -kInf) return kNaN;
    return bm::tgamma(x, FastPolicy());
}

double LogGamma(double x) {
    if (std::isnan(x)) return kNaN;
    if (std::isinf(x)) return x > 0 ? kInf : kNaN;
    return bm::lgamma(x, FastPolicy());
}

double Digamma(double x) {
    if (std::isnan(x)) return kNaN;
    if (std::isinf(x)) return x > 0 ? kInf : kNaN;
    return bm::digamma(x, FastPolicy());
}

}  // namespace tessel
