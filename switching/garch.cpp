#include "switching/garch.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace tessel {

namespace {

double MeanSquare(const double *y, int T) {
    double s = 0.0;
    for (int t = 0; t < T; ++t) s += y[t] * y[t];
    return s / T;
}

inline double InMean(double y, double h, int mode, double lambda) {
    switch (mode) {
    case kInMeanVariance: return y - h * lambda;
    case kInMeanStdDev: return y - std::sqrt(h) * lambda;
    case kInMeanLogVariance: return y - std::log(h) * lambda;
    default: return y;
    }
}

// The plain phase of the GARCH loop, every lag inside the sample, for any orders.
void GarchPlainPhase(const double *y, const double *c, const double *alpha, const double *beta, int t0, int T,
                     int q, int p, int mode, double lambda, double mu, double delta, double *h, double *u) {
    for (int t = t0; t < T; ++t) {
        double ht = c[t];
        for (int i = 1; i <= q; ++i) {
            double e = u[t - i] - mu;
            ht += alpha[i] * (e * e);
        }
        for (int j = 1; j <= p; ++j) ht += beta[j] * h[t - j];
        if (delta != 0.0 && mu > u[t - 1]) {
            double e = u[t - 1] - mu;
            ht += delta * (e * e);
        }
        h[t] = ht;
        u[t] = InMean(y[t], ht, mode, lambda);
    }
}

// GARCH(1,1), the common case: the previous variance and residual stay in registers, so the
// recursion's critical path is one multiply and one add; mode and threshold are fixed per loop.
template <int Mode, bool Threshold>
void Garch11PlainPhase(const double *y, const double *c, double alpha, double beta, int t0, int T, double lambda,
                       double mu, double delta, double *h, double *u) {
    double h_prev = h[t0 - 1], u_prev = u[t0 - 1];
    for (int t = t0; t < T; ++t) {
        const double e = u_prev - mu;
        double ht = c[t] + alpha * (e * e);
        ht += beta * h_prev;
        if (Threshold && mu > u_prev) ht += delta * (e * e);
        const double ut = InMean(y[t], ht, Mode, lambda);
        h[t] = ht;
        u[t] = ut;
        h_prev = ht;
        u_prev = ut;
    }
}

template <bool Threshold>
void Garch11ByMode(const double *y, const double *c, double alpha, double beta, int t0, int T, int mode,
                   double lambda, double mu, double delta, double *h, double *u) {
    switch (mode) {
    case kInMeanVariance: return Garch11PlainPhase<1, Threshold>(y, c, alpha, beta, t0, T, lambda, mu, delta, h, u);
    case kInMeanStdDev: return Garch11PlainPhase<2, Threshold>(y, c, alpha, beta, t0, T, lambda, mu, delta, h, u);
    case kInMeanLogVariance:
        return Garch11PlainPhase<3, Threshold>(y, c, alpha, beta, t0, T, lambda, mu, delta, h, u);
    default: return Garch11PlainPhase<0, Threshold>(y, c, alpha, beta, t0, T, lambda, mu, delta, h, u);
    }
}

}  // namespace

void GarchVarRecursion(const double *y, const double *c, const double *theta, int T, int p, int q, int mode,
                       double lambda, double mu, double delta, double *h, double *u) {
    const int m = std::max(p, q);
    const double s2 = MeanSquare(y, T);

    // Effective coefficients, 1-based: the first block of theta is in ARMA form.
    std::vector<double> alpha_store(q + 1), beta_store(p + 1);
    double *alpha = alpha_store.data();
    double *beta = beta_store.data();
    for (int i = 1; i <= q; ++i) alpha[i] = theta[i];
    for (int i = 1; i <= std::min(p, q); ++i) alpha[i] = theta[i] - theta[m + i];
    for (int j = 1; j <= p; ++j) beta[j] = theta[m + j];

    // Start-up phase: lags that reach before the sample read the presample value s2.
    const int startup = std::max(m, 1);
    for (int t = 0; t < startup; ++t) {
        double ht = c[t];
        for (int i = 1; i <= q; ++i) {
            double e = t - i >= 0 ? u[t - i] - mu : 0.0;
            ht += alpha[i] * (t - i >= 0 ? e * e : s2);
        }
        for (int j = 1; j <= p; ++j) ht += beta[j] * (t - j >= 0 ? h[t - j] : s2);
        if (delta != 0.0 && t >= 1 && mu > u[t - 1]) {
            double e = u[t - 1] - mu;
            ht += delta * (e * e);
        }
        h[t] = ht;
        u[t] = InMean(y[t], ht, mode, lambda);
    }

    if (p == 1 && q == 1 && delta != 0.0)
        Garch11ByMode<true>(y, c, alpha[1], beta[1], startup, T, mode, lambda, mu, delta, h, u);
    else if (p == 1 && q == 1)
        Garch11ByMode<false>(y, c, alpha[1], beta[1], startup, T, mode, lambda, mu, delta, h, u);
    else
        GarchPlainPhase(y, c, alpha, beta, startup, T, q, p, mode, lambda, mu, delta, h, u);
}

bool EgarchVarRecursion(const double *y, const double *c, int T, double theta, double gamma, double kappa,
                        const double *a, int p, const double *b, int q, int mode, double lambda, double *l,
                        double *u) {
    const double L0 = std::log(MeanSquare(y, T));
    double *g = static_cast<double *>(std::malloc(sizeof(double) * static_cast<size_t>(T)));
    if (!g) {
        std::memset(l, 0, sizeof(double) * static_cast<size_t>(T));
        std::memset(u, 0, sizeof(double) * static_cast<size_t>(T));
        return false;
    }
    const int startup = std::max(p, q);
    for (int t = 0; t < T; ++t) {
        double x = c[t];
        for (int i = 1; i <= p; ++i)
            if (t - i >= 0) x += a[i - 1] * g[t - i];
        for (int j = 1; j <= q; ++j) x += b[j - 1] * (t - j >= 0 ? l[t - j] : L0);
        const double uncapped = x;
        if (x > 709.0) x = 709.0;
        // Later lags of a start-up observation see its uncapped value; everything else the capped one.
        l[t] = t < startup ? uncapped : x;
        double ut;
        switch (mode) {
        case kInMeanVariance: ut = y[t] - lambda * std::exp(x); break;
        case kInMeanStdDev: ut = y[t] - lambda * std::exp(0.5 * x); break;
        case kInMeanLogVariance: ut = y[t] - lambda * x; break;
        default: ut = y[t]; break;
        }
        u[t] = ut;
        const double z = ut * std::exp(-0.5 * x);
        g[t] = (std::fabs(z) - kappa) * gamma + z * theta;
    }
    std::free(g);
    return true;
}

}  // namespace tessel
