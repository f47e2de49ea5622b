#include "regression/rals_forecast.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace tessel {

void RalsForecast(const double *theta, const double *y, const double *const *X, int k, int T, int H, int r1, int r2,
                  double sigma2, double *yf, double *se, double *uf) {
    const int lags = r2 >= r1 ? r2 - r1 + 1 : 0;
    const int back = lags > 0 ? r2 : 0;
    const double *alpha = theta + k;
    auto fitted = [&](int t) {
        double v = 0.0;
        for (int j = 0; j < k; ++j) v += theta[j] * X[t][j];
        return v;
    };
    // u over the last `back` sample periods, then its forecasts; u[back + h] is period T + h.
    std::vector<double> u(static_cast<size_t>(back) + H);
    for (int i = 0; i < back; ++i) u[i] = y[T - back + i] - fitted(T - back + i);
    for (int h = 0; h < H; ++h) {
        double v = 0.0;
        for (int i = r1; i <= r2 && lags > 0; ++i) v += alpha[i - r1] * u[back + h - i];
        u[back + h] = v;
        yf[h] = fitted(T + h) + v;
        if (uf) uf[h] = v;
    }
    if (!se) return;
    // psi_0 = 1, psi_j = sum over i = r1..min(r2, j) of alpha_i psi_(j-i).
    std::vector<double> psi(std::max(H, 1));
    const double sigma = std::sqrt(sigma2);
    double sum = 0.0;
    for (int h = 0; h < H; ++h) {
        double p = h == 0 ? 1.0 : 0.0;
        for (int i = r1; i <= std::min(r2, h) && lags > 0; ++i) p += alpha[i - r1] * psi[h - i];
        psi[h] = p;
        sum += p * p;
        se[h] = sigma * std::sqrt(sum);
    }
}

}  // namespace tessel
