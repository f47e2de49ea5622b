#include "dynamics/dyn_forecast.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "dynamics/var_system.h"
#include "numeric/kernels.h"
#include "numeric/missing.h"

namespace tessel {

namespace {

struct MatrixHolder {
    MATRIX m = nullptr;
    ~MatrixHolder() { MatFree(m); }
};

// e' S^-1 e through the Cholesky factor of a copy of S; NaN when S is not positive definite.
double ChiSquare(const double *S, const double *e, int n, MATRIX L, double *z) {
    for (int i = 0; i < n; ++i) std::copy(S + i * n, S + i * n + n, L[i]);
    if (!CholeskyOk(L, n)) return kMissing;
    double q = 0.0;
    for (int i = 0; i < n; ++i) {
        double v = e[i];
        for (int j = 0; j < i; ++j) v -= L[i][j] * z[j];
        z[i] = v / L[i][i];
        q += z[i] * z[i];
    }
    return q;
}

}  // namespace

int DynForecast(const DynForecastInput &in, const DynForecastOutput &out) {
    const int n = in.n, s = in.s, m = in.m, H = in.H;
    if (H < 1 || n < 1) return 0;
    const int ns = n * s, width = ns + m, nn = n * n;
    const long P = static_cast<long>(n) * width;

    // Path of the system: the last s observed rows, then the forecasts.
    std::vector<double> path(static_cast<size_t>(s + H) * n), w(width);
    std::copy(in.Y + static_cast<long>(in.T - s) * n, in.Y + static_cast<long>(in.T) * n, path.begin());

    // Derivatives of the forecasts with respect to vec([A B]), kept for the last s + 1 horizons.
    const bool with_param = in.V != nullptr;
    const int ring = s + 1;
    MatrixHolder D, DV, PC;
    if (with_param) {
        D.m = MatAlloc(ring * n, static_cast<int>(P));
        DV.m = MatAlloc(n, static_cast<int>(P));
        PC.m = MatAlloc(n, n);
        if (!D.m || !DV.m || !PC.m) return -1;
    }
    MatrixHolder L;
    L.m = MatAlloc(n, n);
    if (!L.m) return -1;

    std::vector<double> psi_own;
    double *psi = out.psi;
    if (!psi) {
        psi_own.resize(static_cast<size_t>(H) * nn);
        psi = psi_own.data();
    }
    DynMaMatrices(in.A, n, s, H, psi);

    std::vector<double> sigma(nn, 0.0), total(nn), work(nn), z(n), e(n);
    for (int h = 0; h < H; ++h) {
        // Regressors of step h: y at T+h-1 .. T+h-s, then z.
        for (int i = 1; i <= s; ++i)
            std::copy(path.begin() + static_cast<long>(s + h - i) * n, path.begin() + static_cast<long>(s + h - i + 1) * n,
                      w.begin() + (i - 1) * n);
        for (int j = 0; j < m; ++j) w[ns + j] = in.Z[static_cast<long>(h) * m + j];
        double *yf = path.data() + static_cast<long>(s + h) * n;
        for (int r = 0; r < n; ++r) {
            const double *a = in.A + static_cast<long>(r) * ns;
            double v = 0.0;
            for (int c = 0; c < ns; ++c) v += a[c] * w[c];
            for (int j = 0; j < m; ++j) v += in.B[static_cast<long>(r) * m + j] * w[ns + j];
            yf[r] = v;
        }
        if (out.forecast) std::copy(yf, yf + n, out.forecast + static_cast<long>(h) * n);

        // Innovation part: Sigma_(h+1) = Sigma_h + Psi_h Omega Psi_h'.
        DynAddSandwich(psi + static_cast<long>(h) * nn, in.Omega, n, sigma.data(), work.data());
        total = sigma;

        if (with_param) {
            // D_h = I (x) w' + sum over i = 1..min(h, s) of A_i D_(h-i).
            double **Dh = D.m + (h % ring) * n;
            for (int r = 0; r < n; ++r) {
                std::fill(Dh[r], Dh[r] + P, 0.0);
                std::copy(w.begin(), w.end(), Dh[r] + static_cast<long>(r) * width);
            }
            for (int i = 1; i <= std::min(h, s); ++i) {
                double **Dp = D.m + ((h - i) % ring) * n;
                for (int r = 0; r < n; ++r)
                    for (int q = 0; q < n; ++q) {
                        const double a = in.A[static_cast<long>(r) * ns + (i - 1) * n + q];
                        if (a == 0.0) continue;
                        const double *src = Dp[q];
                        double *dst = Dh[r];
                        for (long p = 0; p < P; ++p) dst[p] += a * src[p];
                    }
            }
            MatMul(Dh, n, static_cast<int>(P), in.V, static_cast<int>(P), DV.m);
            MatMulABt(DV.m, n, static_cast<int>(P), Dh, n, PC.m);
            if (in.add_param)
                for (int r = 0; r < n; ++r)
                    for (int c = 0; c < n; ++c) total[r * n + c] += PC.m[r][c];
        }

        const long row = static_cast<long>(h) * n;
        for (int i = 0; i < n; ++i) {
            if (out.se) out.se[row + i] = std::sqrt(sigma[i * n + i]);
            if (out.se_param)
                out.se_param[row + i] = with_param ? std::sqrt(sigma[i * n + i] + PC.m[i][i]) : kMissing;
        }
        if (out.cov) std::copy(total.begin(), total.end(), out.cov + static_cast<long>(h) * nn);
        if (out.error || out.std_error || out.chi2) {
            for (int i = 0; i < n; ++i) e[i] = in.actual ? in.actual[row + i] - yf[i] : kMissing;
            for (int i = 0; i < n; ++i) {
                if (out.error) out.error[row + i] = e[i];
                if (out.std_error) out.std_error[row + i] = e[i] / std::sqrt(total[i * n + i]);
            }
            if (out.chi2) out.chi2[h] = in.actual ? ChiSquare(total.data(), e.data(), n, L.m, z.data()) : kMissing;
        }
    }
    return 0;
}

}  // namespace tessel
