#include "regression/rls.h"

#include <cmath>
#include <new>
#include <vector>

#include "numeric/kernels.h"
#include "numeric/missing.h"

namespace tessel {

double RlsUpdate(CMATRIX XT, MATRIX M, int k, int s, double *h) {
    double *x = h + k;
    for (int j = 0; j < k; ++j) x[j] = XT[j][s];
    double q = 0.0;
    for (int i = 0; i < k; ++i) {
        h[i] = VecDot(M[i], x, k);
        q += x[i] * h[i];
    }
    const double f = 1.0 + q;
    if (f <= 0.0) return f;
    const double finv = 1.0 / f;
    // (h_i h_j) / f keeps M exactly symmetric.
    for (int i = 0; i < k; ++i) {
        const double hi = h[i];
        double *row = M[i];
        for (int j = 0; j < k; ++j) row[j] -= (hi * h[j]) * finv;
    }
    return f;
}

double RlsResidualSS(CMATRIX y, int i, CMATRIX X, int from, int to, int k, const double *b, double *e) {
    double ss = 0.0;
    for (int t = from; t <= to; ++t) {
        const double r = y[t][i] - VecDot(b, X[t], k);
        if (e) e[t - from] = r;
        ss += r * r;
    }
    return ss;
}

int RlsLogDetTerm(int n, int m, CMATRIX Omega, MATRIX OmegaWork, double *out) {
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) OmegaWork[i][j] = Omega[i][j] / m;
    double logdet = 0.0;
    *out = InvSym(OmegaWork, n, &logdet) == 0 ? -0.5 * logdet : kMissing;
    return 1;
}

namespace {

// Work storage of one call; every matrix is freed with the record.
struct RlsState {
    MATRIX M = nullptr, XYt = nullptr, B = nullptr, Bfull = nullptr, Omega = nullptr, OmegaWork = nullptr;
    MATRIX XT = nullptr, YT = nullptr, E = nullptr;
    std::vector<double> w, olsWork, h, rssRun;

    ~RlsState() {
        for (MATRIX m : {M, XYt, B, Bfull, Omega, OmegaWork, XT, YT, E}) MatFree(m);
    }
    bool Allocate(int n, int k, int m) {
        M = MatAlloc(k, k);
        XYt = MatAlloc(n, k);
        B = MatAlloc(n, k);
        Bfull = MatAlloc(n, k);
        Omega = MatAlloc(n, n);
        OmegaWork = MatAlloc(n, n);
        XT = MatAlloc(k, m);
        YT = MatAlloc(n, m);
        E = MatAlloc(n, m);
        if (!M || !XYt || !B || !Bfull || !Omega || !OmegaWork || !XT || !YT || !E) return false;
        try {
            w.resize(n);
            olsWork.resize(OlsQrWorkSize(k, m));
            h.resize(2 * k);
            rssRun.resize(n);
        } catch (const std::bad_alloc &) {
            return false;
        }
        return true;
    }
};

// Regressors of observations t1..t1+cols-1 into the first cols columns of XT, by variable.
void FillXT(MATRIX XT, CMATRIX X, int t1, int cols, int k) {
    for (int j = 0; j < k; ++j) {
        double *row = XT[j];
        for (int s = 0; s < cols; ++s) row[s] = X[t1 + s][j];
    }
}

}  // namespace

int RlsRun(CMATRIX y, CMATRIX X, int t1, int t2, int tRestart, int n, int k, MATRIX coef, MATRIX diagM,
           MATRIX wres, MATRIX innov, MATRIX rss, MATRIX resid, MATRIX loglik) {
    const int cols = t2 + 1;
    for (auto [out, rows] : {std::pair{coef, n * k}, {diagM, k}, {wres, n}, {innov, n}, {rss, n}, {resid, n},
                             {loglik, 1}})
        MatSetNaN(out, rows, cols);
    if (n < 1 || k < 1 || t1 < 0 || t2 < t1) return 0;
    const int m = t2 - t1 + 1;
    RlsState st;
    if (!st.Allocate(n, k, m)) return 0;
    if (t1 + k > t2) return 0;          // fewer than k + 1 observations
    if (2 * t1 + k - 1 > t2) return 0;  // the starting cross products would leave the sample

    // Both copies are by variable over t1..t2; least squares only reads YT.
    MATRIX YT = st.YT;
    for (int i = 0; i < n; ++i)
        for (int s = 0; s < m; ++s) YT[i][s] = y[t1 + s][i];
    FillXT(st.XT, X, t1, m, k);

    // Starting cross products: columns t1..t1+k-1 of the copies, which hold observation t1 in
    // column 0; for t1 > 0 that is observations 2 t1 .. 2 t1 + k - 1.
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < k; ++j) {
            double s = 0.0;
            for (int c = t1; c < t1 + k; ++c) s += YT[i][c] * st.XT[j][c];
            st.XYt[i][j] = s;
        }
    MatZero(st.B, n, k);
    MatZero(st.Omega, n, n);
    MatZero(st.OmegaWork, n, n);

    // Initial coefficients from the first k observations; they give the first innovations.
    OlsQr(st.XT, k, k, YT, n, st.B, st.M, nullptr, st.olsWork.data());
    FillXT(st.XT, X, t1, k, k);

    bool reestimate = true, fresh = true;
    double *w = st.w.data(), *rssRun = st.rssRun.data();
    for (int t = t1 + k; t <= t2; ++t) {
        const int s = t - t1;
        const double *xt = X[t], *yt = y[t];
        bool full = reestimate || t == tRestart;
        double f = 0.0;
        if (!full) {
            f = RlsUpdate(st.XT, st.M, k, s, st.h.data());
            fresh = false;
            full = f <= 0.0;
        }
        if (full) {
            const int r = OlsQr(st.XT, k, s + 1, YT, n, st.Bfull, st.M, nullptr, st.olsWork.data());
            FillXT(st.XT, X, t1, s + 1, k);
            for (int i = 0; i < n; ++i) RlsResidualSS(y, i, X, t1, t, k, st.Bfull[i], st.E[i]);
            MatCrossRows(st.E, n, 0, s, st.Omega);
            reestimate = r != 1;
            fresh = true;
            // M already includes observation t here, unlike on the update path.
            f = 1.0 + QuadFormLower(s, st.XT, st.M, k);
            if (f <= 0.0) return 0;
        }
        const double rf = std::sqrt(f);
        for (int i = 0; i < n; ++i) {
            double *b = st.B[i], *xy = st.XYt[i];
            const double yi = yt[i];
            double fit = 0.0;
            for (int j = 0; j < k; ++j) {
                fit += b[j] * xt[j];
                xy[j] += yi * xt[j];
            }
            const double v = yi - fit;
            for (int j = 0; j < k; ++j) b[j] = VecDot(st.M[j], xy, k);
            const double e = yi - VecDot(b, xt, k);
            w[i] = v / rf;
            if (resid) resid[i][t] = e;
            if (innov) innov[i][t] = v;
            if (wres) wres[i][t] = w[i];
            rssRun[i] = fresh ? RlsResidualSS(y, i, X, t1, t, k, b, nullptr) : rssRun[i] + w[i] * w[i];
            if (rss) rss[i][t] = rssRun[i];
            if (coef)
                for (int j = 0; j < k; ++j) coef[i * k + j][t] = b[j];
        }
        if (diagM)
            for (int j = 0; j < k; ++j)
                if (st.M[j][j] != 0.0) diagM[j][t] = st.M[j][j];
        if (loglik) {
            if (!fresh)
                for (int a = 0; a < n; ++a)
                    for (int b = 0; b < n; ++b) st.Omega[a][b] += w[a] * w[b];
            RlsLogDetTerm(n, m, st.Omega, st.OmegaWork, &loglik[0][t]);
        }
    }
    return 1;
}

}  // namespace tessel
