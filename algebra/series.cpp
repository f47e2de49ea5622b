#include "algebra/series.h"

#include <cmath>
#include <memory>
#include <new>

#include "numeric/banded_toeplitz.h"
#include "numeric/missing.h"

namespace tessel {

namespace {

// Truncation toward zero, bounded so that window arithmetic stays in 64 bits.
long long TruncBounded(double v) {
    if (!(v == v)) return 0;
    if (v > 4e9) return 4000000000LL;
    if (v < -4e9) return -4000000000LL;
    return static_cast<long long>(v);
}

double Clip01(double v) { return v < 0.0 ? 0.0 : (v > 1.0 ? 1.0 : v); }

}  // namespace

int HpFilter(const double *y, int n, double lambda, double *tau, bool exact) {
    if (!y || !tau || n < 3) return 0;
    if (lambda <= 1e-20) lambda = 1600.0;
    const int m = n - 2;
    // Uninitialised work storage: every element is written before it is read.
    std::unique_ptr<double[]> c(new (std::nothrow) double[static_cast<size_t>(n) + 2]);
    std::unique_ptr<double[]> work(new (std::nothrow) double[2 * static_cast<size_t>(m)]);
    if (!c || !work) return 0;
    // c[2 .. n-1] holds the second differences d[1 .. n-2] and then the solution; c[0], c[1], c[n],
    // c[n+1] stay zero so that the trend step needs no edge cases.
    double *cs = c.get() + 2;
    c[0] = c[1] = c[n] = c[n + 1] = 0.0;
    for (int i = 1; i <= n - 2; ++i) cs[i - 1] = y[i + 1] - 2.0 * y[i] + y[i - 1];
    const double a[3] = {exact ? 6.0 * lambda + 1.0 : 6.0 * lambda + 2.0 / 3.0,
                         exact ? -4.0 * lambda : 1.0 / 6.0 - 4.0 * lambda, lambda};
    if (MatSolveSymBandToeplitz(a, 2, m, cs, cs, work.get()) != 0) return 0;
    const double *p = c.get();
    for (int i = 0; i < n; ++i) tau[i] = y[i] - lambda * (p[i] - 2.0 * p[i + 1] + p[i + 2]);
    return 1;
}

int Ewma(const double *y, int n, double alpha, double beta, double *out) {
    if (!y || !out || n < 3) return 0;
    alpha = Clip01(alpha);
    beta = Clip01(beta);
    double level = 0.0, trend = 0.0, h = 1.0;
    long k = 0;
    for (int i = 0; i < n; ++i) {
        const double v = y[i];
        if (!IsMissing(v)) {
            if (k == 0) {
                level = v;
                trend = 0.0;
                out[i] = v;
                k = 1;
            } else if (k == 1 && beta > 0.0) {
                out[i] = v;
                trend = v - level;
                level = v;
                k = 2;
            } else {
                const double l0 = level;
                level = (trend + l0) * (1.0 - alpha) + alpha * v;
                out[i] = level;
                trend = (level - l0) * beta + (1.0 - beta) * trend;
                h = 1.0;
                ++k;
            }
        } else if (k >= 1) {
            out[i] = h * trend + level;
            h += 1.0;
        } else {
            out[i] = v;
        }
    }
    return 1;
}

int Ewmc(const double *x, const double *y, int n, double lambda, bool zeroMean, double *out) {
    if (!x || !y || !out || n < 4) return 0;
    lambda = Clip01(lambda);
    double sxx = 0.0, syy = 0.0, sxy = 0.0, sumx = 0.0, sumy = 0.0;
    long k = 0;
    for (int i = 0; i < n; ++i) {
        double xi = x[i], yi = y[i];
        if (!IsMissing(xi) && !IsMissing(yi)) {
            ++k;
            if (!zeroMean) {
                sumx += xi;
                sumy += yi;
                xi -= sumx / static_cast<double>(k);
                yi -= sumy / static_cast<double>(k);
            }
            syy = yi * yi + lambda * syy;
            sxx = xi * xi + lambda * sxx;
            sxy = xi * yi + lambda * sxy;
        }
        out[i] = k > 2 ? sxy / std::sqrt(sxx * syy) : kMissing;
    }
    return 1;
}

namespace {

// Window t-lag .. t+lead must lie inside 0 .. min(t2, nobs-1).
bool WindowUsable(int nobs, int t2, long long lo, long long hi) {
    const long long top = t2 < nobs - 1 ? t2 : nobs - 1;
    return lo >= 0 && hi <= top && lo <= hi;
}

}  // namespace

double AlgebraMovingAvg(const double *x, int nobs, int t, int t2, double lag, double lead) {
    const long long L = TruncBounded(lag), F = TruncBounded(lead);
    const long long lo = t - L, hi = t + F;
    if (lo > hi) return 0.0;
    if (!x || !WindowUsable(nobs, t2, lo, hi)) return kMissing;
    const double div = lead + lag + 1.0;
    double s = 0.0;
    for (long long j = lo; j <= hi; ++j) {
        if (IsMissing(x[j])) return kMissing;
        s += x[j] / div;
    }
    return s;
}

double AlgebraMovingSd(const double *x, int nobs, int t, int t2, double lag, double lead, double mean) {
    const long long L = TruncBounded(lag), F = TruncBounded(lead);
    const long long lo = t - L, hi = t + F;
    if (lo > hi) return 0.0;
    if (!x || !WindowUsable(nobs, t2, lo, hi)) return kMissing;
    const double div = lead + lag + 1.0;
    double s = 0.0;
    for (long long j = lo; j <= hi; ++j) {
        if (IsMissing(x[j])) return kMissing;
        const double e = x[j] - mean;
        s += e * e / div;
    }
    return std::sqrt(s);
}

double AlgebraAlmon(const double *x, int nobs, int t, int t2, double lag, double power) {
    const long long L = TruncBounded(lag);
    if (!x) return kMissing;
    if (L >= 0 && !WindowUsable(nobs, t2, t - L, t)) return kMissing;
    double sw = 0.0, s = 0.0;
    for (long long i = 0; i <= L; ++i) {
        const double v = x[t - i];
        if (IsMissing(v)) return kMissing;
        const double w = std::pow(static_cast<double>(L + 1 - i), power);
        sw += w;
        s += w * v;
    }
    return s / sw;
}

double AlgebraCum(const double *x, int nobs, int t1, int t) {
    if (!x || t < 0 || t >= nobs) return kMissing;
    int f = t1 < 0 ? 0 : t1;
    while (f <= t && IsMissing(x[f])) ++f;
    if (f > t) return kMissing;
    double s = 0.0;
    for (int j = f; j <= t; ++j) {
        if (IsMissing(x[j])) return kMissing;
        s += x[j];
    }
    return s;
}

int AlgebraSpanWithoutMissing(const double *x, int nobs, int t1, int t2, int *first, int *last) {
    int f = 0, l = -1;
    if (x && nobs > 0) {
        if (t1 < 0) t1 = 0;
        if (t2 > nobs - 1) t2 = nobs - 1;
        f = t1;
        while (f <= t2 && IsMissing(x[f])) ++f;
        l = f - 1;
        while (l + 1 <= t2 && !IsMissing(x[l + 1])) ++l;
        if (l < f) f = 0, l = -1;
    }
    if (first) *first = f;
    if (last) *last = l;
    return l - f + 1;
}

}  // namespace tessel
