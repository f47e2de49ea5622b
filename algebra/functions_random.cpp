// Random draws of the Algebra language from the process-wide generator. Degrees of freedom that are
// not positive set a flag and give missing without drawing.
#include <cstdint>

#include "algebra/functions.h"
#include "numeric/random.h"

namespace tessel {

double AlgebraFnRanU(AlgebraWorkspace *, const double *) { return RanUniform(); }
double AlgebraFnRanN(AlgebraWorkspace *, const double *) { return RanNormal(); }

double AlgebraFnRanChi(AlgebraWorkspace *ws, const double *a) {
    if (a[0] <= 0.0) {
        ws->flags |= kAlgebraFlagNonPositiveDf;
        return kMissing;
    }
    return RanChi(a[0]);
}

double AlgebraFnRanF(AlgebraWorkspace *ws, const double *a) {
    if (a[0] <= 0.0 || a[1] <= 0.0) {
        ws->flags |= kAlgebraFlagNonPositiveDf;
        return kMissing;
    }
    return RanF(a[0], a[1]);
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
