#include "regression/jackknife.h"

#include <vector>

#include "numeric/kernels.h"

namespace tessel {

namespace {

// x' Q x from the lower triangle of Q.
inline double Leverage(CMATRIX Q, const double *x, int k) {
    double diag = 0.0, off = 0.0;
    for (int i = 0; i < k; ++i) {
        const double *q = Q[i];
        double s = 0.0;
        for (int j = 0; j < i; ++j) s += q[j] * x[j];
        off += x[i] * s;
        diag += x[i] * x[i] * q[i];
    }
    return diag + 2.0 * off;
}

}  // namespace

int JackknifeCov(CMATRIX X, int first, int last, int k, CMATRIX Q, const double *e, MATRIX Gwork, MATRIX V) {
    std::vector<double> a(k, 0.0);
    MatZero(Gwork, k, k);
    for (int t = first; t <= last; ++t) {
        const double *x = X[t];
        const double room = 1.0 - Leverage(Q, x, k);
        if (room <= 0.0) return 0;
        const double u = e[t] / room, u2 = u * u;
        for (int i = 0; i < k; ++i) {
            a[i] += u * x[i];
            const double gi = u2 * x[i];
            double *row = Gwork[i];
            for (int j = 0; j <= i; ++j) row[j] += gi * x[j];
        }
    }
    const double T = last - first + 1;
    const double scale = (T - 1.0) / T;
    for (int i = 0; i < k; ++i)
        for (int j = 0; j <= i; ++j) {
            const double g = scale * (Gwork[i][j] - a[i] * a[j] / T);
            Gwork[i][j] = g;
            Gwork[j][i] = g;
        }
    // V = Q Omega Q; the second product goes back into Gwork, then into V.
    MatMul(Q, k, k, Gwork, k, V);
    MatMul(V, k, k, Q, k, Gwork);
    MatCopy(V, Gwork, k, k);
    return 1;
}

}  // namespace tessel
