#include "regression/rls.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

#include "numeric/kernels.h"
#include "numeric/missing.h"

namespace tessel {

namespace {

// out = S v, one inner product per row.
inline void MatTimes(CMATRIX S, const double *v, int k, double *out) {
    for (int i = 0; i < k; ++i) out[i] = VecDot(S[i], v, k);
}

}  // namespace

double RlsUpdate(const double *x, MATRIX M, int k, double *h) {
    MatTimes(M, x, k, h);
    const double f = 1.0 + VecDot(x, h, k);
    if (f <= 0.0) return f;
    // M -= g g' with g = h / sqrt(f): one product per element, and M stays exactly symmetric.
    const double scale = 1.0 / std::sqrt(f);
    for (int i = 0; i < k; ++i) h[i] *= scale;
    for (int i = 0; i < k; ++i) {
        const double gi = h[i];
        double *__restrict row = M[i];
        for (int j = 0; j < k; ++j) row[j] -= gi * h[j];
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

int RlsLogDetTerm(int n, int m, CMATRIX Omega, MATRIX OmegaWork, double *pivots, double *out) {
    for (int i = 0; i < n; ++i)
        for (int j = 0; j <= i; ++j) OmegaWork[i][j] = Omega[i][j] / m;
    // The factorisation alone gives the determinant; the inverse itself is not needed, and this
    // runs once per observation without touching the heap.
    if (MatLdl(OmegaWork, pivots, n) != 0) {
        *out = kMissing;
        return 1;
    }
    double logdet = 0.0;
    for (int i = 0; i < n; ++i) logdet -= std::log(pivots[i]);
    *out = -0.5 * logdet;
    return 1;
}

namespace {

// Work storage of one call; every matrix is freed with the record.
struct RlsState {
    MATRIX M = nullptr, XYt = nullptr, B = nullptr, Bfull = nullptr, Omega = nullptr, OmegaWork = nullptr;
    MATRIX XT = nullptr, YT = nullptr, E = nullptr;
    std::vector<double> w, olsWork, h, rssRun, pivots;

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
            h.resize(k);
            rssRun.resize(n);
            pivots.resize(n);
        } catch (const std::bad_alloc &) {
            return false;
        }
        return true;
    }
};

// Observations t1..t1+cols-1 into the first cols columns of the by-variable copy C (p rows) of
// the row-major data D, from column `from` on.
void FillByVariable(MATRIX C, CMATRIX D, int p, int t1, int from, int cols) {
    for (int s = from; s < cols; ++s) {
        const double *d = D[t1 + s];
        for (int j = 0; j < p; ++j) C[j][s] = d[j];
    }
}

}  // namespace

int RlsRun(CMATRIX y, CMATRIX X, int t1, int t2, int tRestart, int n, int k, MATRIX coef, MATRIX diagM,
           MATRIX wres, MATRIX innov, MATRIX rss, MATRIX resid, MATRIX loglik) {
    // Every output column is either written by a step or missing. The columns a step will write
    // are marked missing only when the recursion stops before them, which saves a pass over
    // outputs that can be large.
    struct MissingFill {
        MATRIX out[7];
        int rows[7];
        int next, last;
        void Fill(int from, int to) const {
            for (int o = 0; o < 7; ++o)
                if (out[o])
                    for (int i = 0; i < rows[o]; ++i) std::fill(out[o][i] + from, out[o][i] + to + 1, kMissing);
        }
        ~MissingFill() { Fill(next, last); }  // the columns not reached
    } missing{{coef, diagM, wres, innov, rss, resid, loglik}, {n * k, k, n, n, n, n, 1}, 0, t2};
    if (n < 1 || k < 1 || t1 < 0 || t2 < t1) return 0;
    const int m = t2 - t1 + 1;
    RlsState st;
    if (!st.Allocate(n, k, m)) return 0;
    if (t1 + k > t2) return 0;          // fewer than k + 1 observations
    if (2 * t1 + k - 1 > t2) return 0;  // the starting cross products would leave the sample

    // The by-variable copies that least squares works on are filled only as far as a fit needs
    // them: YT is only read, XT is overwritten by every factorisation.
    int ytFilled = 0;
    auto fit = [&](int cols, MATRIX B) {
        FillByVariable(st.YT, y, n, t1, ytFilled, cols);
        if (cols > ytFilled) ytFilled = cols;
        FillByVariable(st.XT, X, k, t1, 0, cols);
        return OlsQr(st.XT, k, cols, st.YT, n, B, st.M, nullptr, st.olsWork.data());
    };

    // Starting cross products: columns t1..t1+k-1 of copies that hold observation t1 in column 0,
    // so observations 2 t1 .. 2 t1 + k - 1 (the first k when t1 = 0).
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < k; ++j) {
            double s = 0.0;
            for (int c = t1; c < t1 + k; ++c) s += y[t1 + c][i] * X[t1 + c][j];
            st.XYt[i][j] = s;
        }
    MatZero(st.B, n, k);
    MatZero(st.Omega, n, n);
    MatZero(st.OmegaWork, n, n);

    // Initial coefficients from the first k observations; they give the first innovations.
    fit(k, st.B);

    missing.Fill(0, t1 + k - 1);  // columns before the first step are never computed
    missing.next = t1 + k;

    bool reestimate = true, fresh = true;
    double *w = st.w.data(), *rssRun = st.rssRun.data(), *h = st.h.data();
    for (int t = t1 + k; t <= t2; ++t) {
        const int s = t - t1;
        const double *xt = X[t], *yt = y[t];
        bool full = reestimate || t == tRestart;
        double f = 0.0;
        if (!full) {
            f = RlsUpdate(xt, st.M, k, h);
            fresh = false;
            full = f <= 0.0;
        }
        if (full) {
            const int r = fit(s + 1, st.Bfull);
            for (int i = 0; i < n; ++i) RlsResidualSS(y, i, X, t1, t, k, st.Bfull[i], st.E[i]);
            MatCrossRows(st.E, n, 0, s, st.Omega);
            reestimate = r != 1;
            fresh = true;
            // M already includes observation t here, unlike on the update path.
            MatTimes(st.M, xt, k, h);
            f = 1.0 + VecDot(xt, h, k);
            if (f <= 0.0) return 0;
        }
        const double rf = std::sqrt(f);
        for (int i = 0; i < n; ++i) {
            double *b = st.B[i], *xy = st.XYt[i];
            const double yi = yt[i];
            double predicted = 0.0;
            for (int j = 0; j < k; ++j) {
                predicted += b[j] * xt[j];
                xy[j] += yi * xt[j];
            }
            const double v = yi - predicted;
            MatTimes(st.M, xy, k, b);  // b = M X'y
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
            for (int j = 0; j < k; ++j) diagM[j][t] = st.M[j][j] != 0.0 ? st.M[j][j] : kMissing;
        if (loglik) {
            if (!fresh)
                for (int a = 0; a < n; ++a)
                    for (int b = 0; b < n; ++b) st.Omega[a][b] += w[a] * w[b];
            RlsLogDetTerm(n, m, st.Omega, st.OmegaWork, st.pivots.data(), &loglik[0][t]);
        }
        missing.next = t + 1;
    }
    return 1;
}

}  // namespace tessel
