// Random draws of the Algebra language from the process-wide generator. Degrees of freedom that are
// not positive set a flag and give missing without drawing.
#include <cmath>
#include <cstdint>

#include "algebra/functions.h"
#include "numeric/random.h"

namespace tessel {

namespace {

// Above this many degrees of freedom the gamma sampler's acceptance test can no longer be met in
// double precision, so the chi-squared draw is taken from its normal limit df + sqrt(2 df) z, whose
// error there is far below the draw's own resolution.
constexpr double kHugeDf = 1e17;

double ChiDraw(double df) { return df > kHugeDf ? df + std::sqrt(2.0 * df) * RanNormal() : RanChi(df); }

}  // namespace

double AlgebraFnRanU(AlgebraWorkspace *, const double *) { return RanUniform(); }
double AlgebraFnRanN(AlgebraWorkspace *, const double *) { return RanNormal(); }

double AlgebraFnRanChi(AlgebraWorkspace *ws, const double *a) {
    if (a[0] <= 0.0) {
        ws->flags |= kAlgebraFlagNonPositiveDf;
        return kMissing;
    }
    return ChiDraw(a[0]);
}

double AlgebraFnRanF(AlgebraWorkspace *ws, const double *a) {
    if (a[0] <= 0.0 || a[1] <= 0.0) {
        ws->flags |= kAlgebraFlagNonPositiveDf;
        return kMissing;
    }
    if (a[0] <= kHugeDf && a[1] <= kHugeDf) return RanF(a[0], a[1]);
    const double x = ChiDraw(a[0]);
    const double y = ChiDraw(a[1]);
    return (x / a[0]) / (y / a[1]);  // ratios first: the products can overflow
}

double AlgebraFnRanT(AlgebraWorkspace *ws, const double *a) {
    const int df = AlgebraTrunc(a[0]);
    if (df <= 0) {
        ws->flags |= kAlgebraFlagNonPositiveDf;
        return kMissing;
    }
    return RanT(df);
}

// -1 restores the current generator's default seeds, 0 reads its first seed word, anything else seeds
// it with that one word; the result is the seed in effect as a signed 32-bit number.
double AlgebraFnRanSeed(AlgebraWorkspace *, const double *a) {
    int32_t s = AlgebraTrunc(a[0]);
    if (s == -1) {
        RanSetSeed(nullptr, 0);
    } else if (s == 0) {
        uint32_t word = 0;
        RanGetSeed(&word, 1);
        s = static_cast<int32_t>(word);
    } else {
        const uint32_t word = static_cast<uint32_t>(s);
        RanSetSeed(&word, 1);
    }
    return static_cast<double>(s);
}

}  // namespace tessel
