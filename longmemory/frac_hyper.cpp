#include <cmath>
#include <cstdio>

#include "longmemory/frac_sigma.h"

namespace tessel {

namespace {
constexpr double kTermTolerance = 1e-14;
constexpr int kMaxTerms = 10000;
}  // namespace

Complex FracHyper(double a, double b, Complex z) {
    if (z.im == 0.0) {
        double t = a / b, sum = t;
        for (int k = 1; k <= kMaxTerms; ++k) {
            t = t * (k + a) * z.re / (k + b);
            sum += t;
            if (std::fabs(t) < kTermTolerance) return {sum, 0.0};
        }
        std::fputs("hyper: end of loop reached!\n", stdout);
        return {sum, 0.0};
    }
    Complex t{a / b, 0.0}, sum = t;
    for (int k = 1; k <= kMaxTerms; ++k) {
        t = CxScale(CxMul(t, z), (k + a) / (k + b));
        sum = CxAdd(sum, t);
        if (CxAbs(t) < kTermTolerance) return sum;
    }
    std::fputs("hyper: end of loop reached!\n", stdout);
    return sum;
}

}  // namespace tessel
