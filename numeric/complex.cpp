#include "numeric/complex.h"

#include <cmath>

namespace tessel {

Complex CxDiv(Complex a, Complex b) {
    if (std::fabs(b.re) >= std::fabs(b.im)) {
        if (b.re == 0.0 && b.im == 0.0) return {a.re / 0.0, a.im / 0.0};
        const double r = b.im / b.re;
        const double den = b.re + b.im * r;
        return {(a.re + a.im * r) / den, (a.im - a.re * r) / den};
    }
    const double r = b.re / b.im;
    const double den = b.re * r + b.im;
    return {(a.re * r + a.im) / den, (a.im * r - a.re) / den};
}

double CxAbs(Complex a) {
    const double x = std::fabs(a.re), y = std::fabs(a.im);
    if (std::isinf(x) || std::isinf(y)) return HUGE_VAL;
    const double big = x > y ? x : y, small = x > y ? y : x;
    if (big == 0.0 || big != big) return big + small;
    const double r = small / big;
    return big * std::sqrt(1.0 + r * r);
}

}  // namespace tessel
