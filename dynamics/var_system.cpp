#include "dynamics/var_system.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <functional>

#include "numeric/missing.h"

namespace tessel {

void DynMaMatrices(const double *A, int n, int s, int H, double *psi) {
    const int nn = n * n, ns = n * s;
    for (int h = 0; h < H; ++h) {
        double *P = psi + static_cast<long>(h) * nn;
        std::fill(P, P + nn, 0.0);
        if (h == 0) {
            for (int i = 0; i < n; ++i) P[i * n + i] = 1.0;
            continue;
        }
        for (int i = 1; i <= std::min(h, s); ++i) {
            const double *prev = psi + static_cast<long>(h - i) * nn;
            for (int r = 0; r < n; ++r) {
                const double *a = A + static_cast<long>(r) * ns + (i - 1) * n;
                double *out = P + r * n;
                for (int q = 0; q < n; ++q) {
                    const double aq = a[q];
                    if (aq == 0.0) continue;
                    const double *p = prev + q * n;
                    for (int c = 0; c < n; ++c) out[c] += aq * p[c];
                }
            }
        }
    }
}

int DynCompanionModuli(const double *A, int n, int s, double *moduli) {
    const int N = n * s;
    if (N < 1) return 0;
    Eigen::MatrixXd C = Eigen::MatrixXd::Zero(N, N);
    bool finite = true;
    for (int r = 0; r < n; ++r)
        for (int c = 0; c < N; ++c) {
            C(r, c) = A[static_cast<long>(r) * N + c];
            finite = finite && std::isfinite(C(r, c));
        }
    for (int r = n; r < N; ++r) C(r, r - n) = 1.0;
    if (finite) {
        Eigen::EigenSolver<Eigen::MatrixXd> solver(C, false);
        if (solver.info() == Eigen::Success) {
            for (int i = 0; i < N; ++i) moduli[i] = std::abs(solver.eigenvalues()[i]);
            std::sort(moduli, moduli + N, std::greater<double>());
            return 0;
        }
    }
    std::fill(moduli, moduli + N, kMissing);
    return 1;
}

bool DynStable(const double *moduli, int count) {
    // NaN moduli (a failed eigenvalue iteration) count as unstable.
    for (int i = 0; i < count; ++i)
        if (!(moduli[i] < 1.0 - 1e-8)) return false;
    return true;
}

void DynAddSandwich(const double *X, const double *W, int n, double *C, double *work) {
    // work = X W
    for (int r = 0; r < n; ++r) {
        double *out = work + r * n;
        std::fill(out, out + n, 0.0);
        for (int q = 0; q < n; ++q) {
            const double x = X[r * n + q];
            if (x == 0.0) continue;
            const double *w = W + q * n;
            for (int c = 0; c < n; ++c) out[c] += x * w[c];
        }
    }
    for (int r = 0; r < n; ++r)
        for (int c = 0; c < n; ++c) {
            const double *a = work + r * n, *b = X + c * n;
            double sum = 0.0;
            for (int q = 0; q < n; ++q) sum += a[q] * b[q];
            C[r * n + c] += sum;
        }
}

}  // namespace tessel
