#include "regression/gls_covariance.h"

#include <cmath>
#include <new>
#include <vector>

namespace tessel {

int GlsHacLag(int T) { return static_cast<int>(4.0 * std::pow(T / 100.0, 0.2222222222222222)); }

void GlsCovariance(double **Omega, double *const *X, int k, double *const *E, int n, int T, int hac) {
    const int p = k * n;
    for (int a = 0; a < p; ++a)
        for (int b = 0; b < p; ++b) Omega[a][b] = 0.0;
    const int L = hac ? GlsHacLag(T) : 0;
    if (T < 1 || p < 1) return;

    // The weighted cross terms of observation t sum to g_t h_t' + h_t g_t' with
    // h_t = sum_l w_l g_{t-l}, so Omega = Q + Q' where Q accumulates g_t (g_t / 2 + h_t)'.
    // One rank-one update per observation instead of 2L + 1. Scores before the sample are zero.
    std::vector<double> history, weights, c;
    try {
        history.assign(static_cast<size_t>(L + 1) * p, 0.0);  // ring of the last L + 1 scores
        weights.resize(L + 1);
        c.resize(p);
    } catch (const std::bad_alloc &) {
        return;
    }
    for (int l = 1; l <= L; ++l) weights[l] = 1.0 - static_cast<double>(l) / (L + 1);

    for (int t = 0; t < T; ++t) {
        const int slot = t % (L + 1);
        double *g = &history[static_cast<size_t>(slot) * p];
        const double *x = X[t], *e = E[t];
        for (int i = 0; i < k; ++i)
            for (int j = 0; j < n; ++j) g[i * n + j] = x[i] * e[j];

        for (int b = 0; b < p; ++b) c[b] = 0.5 * g[b];
        for (int l = 1; l <= L && l <= t; ++l) {
            const double *lagged = &history[static_cast<size_t>((t - l) % (L + 1)) * p];
            const double w = weights[l];
            for (int b = 0; b < p; ++b) c[b] += w * lagged[b];
        }
        for (int a = 0; a < p; ++a) {
            const double ga = g[a];
            double *row = Omega[a];
            for (int b = 0; b < p; ++b) row[b] += ga * c[b];
        }
    }
    // Omega = Q + Q', formed in place over the pairs.
    for (int a = 0; a < p; ++a) {
        Omega[a][a] *= 2.0;
        for (int b = 0; b < a; ++b) {
            double s = Omega[a][b] + Omega[b][a];
            Omega[a][b] = s;
            Omega[b][a] = s;
        }
    }
}

}  // namespace tessel
