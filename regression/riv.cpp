#include "regression/riv.h"

#include <cmath>
#include <new>
#include <vector>

#include "numeric/kernels.h"
#include "regression/rls.h"

namespace tessel {

namespace {

constexpr int kRefreshSteps = 50;  // bounds the drift of the rank-one updates

struct RivState {
    int ne = 0, nx = 0, nz = 0, p = 0, k = 0;
    MATRIX C = nullptr;      // cross products of data rows 0..p-1 over t1..t
    MATRIX Ainv = nullptr;   // inverse of the exogenous regressors' moment matrix (nx x nx)
    MATRIX ZZinv = nullptr;  // inverse of the instruments' moment matrix (nz x nz)
    MATRIX V = nullptr;      // k x k
    MATRIX G = nullptr;      // X_en' Z (Z'Z)^-1, ne x nz
    MATRIX K = nullptr;      // X_en' X_ex (X_ex' X_ex)^-1, ne x nx
    MATRIX S = nullptr;      // Schur complement of the exogenous block, ne x ne
    std::vector<double> b, rhs, h, column, e;

    ~RivState() {
        for (MATRIX m : {C, Ainv, ZZinv, V, G, K, S}) MatFree(m);
    }
    bool Allocate(int nEndog, int kk, int nInstr, int m) {
        k = kk;
        ne = nEndog - 1;
        nx = k - ne;
        nz = nx + nInstr;
        p = k + nInstr + 1;
        C = MatAlloc(p, p);
        ZZinv = MatAlloc(nz, nz);
        V = MatAlloc(k, k);
        if (!C || !ZZinv || !V) return false;
        if (nx > 0 && !(Ainv = MatAlloc(nx, nx))) return false;
        if (ne > 0 && (!(G = MatAlloc(ne, nz)) || !(S = MatAlloc(ne, ne)))) return false;
        if (ne > 0 && nx > 0 && !(K = MatAlloc(ne, nx))) return false;
        try {
            b.resize(k);
            rhs.resize(k);
            h.resize(nz > k ? nz : k);
            column.resize(p);
            e.resize(m);
        } catch (const std::bad_alloc &) {
            return false;
        }
        return true;
    }
    // Row indices into C: y is 0, endogenous regressor a is 1 + a, instrument c is 1 + ne + c
    // (the exogenous regressors are the first nx instruments).
    double Cz(int row, int c) const { return C[row][1 + ne + c]; }

    // Fresh inverses of the exogenous and instrument moment matrices from C.
    bool Invert() {
        for (int a = 0; a < nx; ++a)
            for (int c = 0; c < nx; ++c) Ainv[a][c] = Cz(1 + ne + a, c);
        for (int a = 0; a < nz; ++a)
            for (int c = 0; c < nz; ++c) ZZinv[a][c] = Cz(1 + ne + a, c);
        return (nx == 0 || InvSymNoDet(Ainv, nx) == 0) && InvSymNoDet(ZZinv, nz) == 0;
    }

    // V = (X' P_Z X)^-1 by partitioning X = [X_en X_ex]: since X_ex lies in Z, X' P_Z X has the blocks
    // X_en' P_Z X_en, X_en' X_ex and X_ex' X_ex, so only the Schur complement S of the exogenous
    // block needs a fresh inversion. Also forms rhs = X' P_Z y.
    bool FormV() {
        for (int c = 0; c < nx; ++c) rhs[ne + c] = Cz(0, c);
        if (ne == 0) {
            MatCopy(V, Ainv, k, k);
            return true;
        }
        for (int a = 0; a < ne; ++a)
            for (int c = 0; c < nz; ++c) {
                double s = 0.0;
                for (int d = 0; d < nz; ++d) s += Cz(1 + a, d) * ZZinv[d][c];
                G[a][c] = s;
            }
        for (int a = 0; a < ne; ++a) {
            double py = 0.0;
            for (int c = 0; c < nz; ++c) py += G[a][c] * Cz(0, c);
            rhs[a] = py;
            for (int b2 = 0; b2 <= a; ++b2) {
                double s = 0.0;
                for (int c = 0; c < nz; ++c) s += G[a][c] * Cz(1 + b2, c);
                S[a][b2] = s;
            }
        }
        for (int a = 0; a < ne; ++a)
            for (int c = 0; c < nx; ++c) {
                double s = 0.0;
                for (int d = 0; d < nx; ++d) s += Cz(1 + a, d) * Ainv[d][c];
                K[a][c] = s;
            }
        for (int a = 0; a < ne; ++a)
            for (int b2 = 0; b2 <= a; ++b2) {
                double s = S[a][b2];
                for (int c = 0; c < nx; ++c) s -= K[a][c] * Cz(1 + b2, c);
                S[a][b2] = s;
                S[b2][a] = s;
            }
        if (InvSymNoDet(S, ne) != 0) return false;
        // [S^-1, -S^-1 K; -K' S^-1, Ainv + K' S^-1 K]
        for (int a = 0; a < ne; ++a) {
            for (int b2 = 0; b2 < ne; ++b2) V[a][b2] = S[a][b2];
            for (int c = 0; c < nx; ++c) {
                double s = 0.0;
                for (int d = 0; d < ne; ++d) s += S[a][d] * K[d][c];
                V[a][ne + c] = -s;
                V[ne + c][a] = -s;
            }
        }
        for (int c = 0; c < nx; ++c)
            for (int c2 = 0; c2 <= c; ++c2) {
                double s = Ainv[c][c2];
                for (int a = 0; a < ne; ++a) s -= K[a][c] * V[a][ne + c2];
                V[ne + c][ne + c2] = s;
                V[ne + c2][ne + c] = s;
            }
        return true;
    }
};

}  // namespace

int RivRun(CMATRIX data, int nEndog, int k, int nInstr, int t1, int t2, int m0, MATRIX coef, MATRIX diagV,
           MATRIX wfore, MATRIX fore, MATRIX rss, MATRIX resid) {
    const int cols = t2 + 1;
    MatSetNaN(coef, k, cols);
    MatSetNaN(diagV, k, cols);
    for (MATRIX out : {wfore, fore, rss, resid}) MatSetNaN(out, 1, cols);
    RivState st;
    if (!st.Allocate(nEndog, k, nInstr, t2 - t1 + 1)) return 0;
    const int first = t1 + m0 - 1;
    if (first > t2) return 1;

    double *h = st.h.data(), *b = st.b.data(), *e = st.e.data();
    for (int t = first, c = 0; t <= t2; ++t, ++c) {
        if (c % kRefreshSteps == 0) {
            MatCrossRows(data, st.p, t1, t, st.C);
            if (!st.Invert()) return 0;
        } else {
            double *d = st.column.data(), *z = d + 1 + st.ne;  // the instruments of t
            for (int a = 0; a < st.p; ++a) d[a] = data[a][t];
            if (st.nx > 0) RlsUpdate(z, st.Ainv, st.nx, h);
            RlsUpdate(z, st.ZZinv, st.nz, h);
            for (int a = 0; a < st.p; ++a)
                for (int c2 = 0; c2 < st.p; ++c2) st.C[a][c2] += d[a] * d[c2];
        }
        if (!st.FormV()) return 0;

        for (int j = 0; j < k; ++j) {
            b[j] = VecDot(st.V[j], st.rhs.data(), k);
            if (coef) coef[j][t] = b[j];
        }
        // Residuals of the whole sample with the current coefficients, variable by variable.
        const int len = t - t1 + 1;
        for (int s = 0; s < len; ++s) e[s] = data[0][t1 + s];
        for (int j = 0; j < k; ++j) {
            const double bj = b[j], *x = data[1 + j] + t1;
            for (int s = 0; s < len; ++s) e[s] -= bj * x[s];
        }
        if (rss) rss[0][t] = VecSumSq(e, len);
        if (resid) resid[0][t] = e[len - 1];

        if (t < t2) {
            double f = data[0][t + 1];
            for (int j = 0; j < k; ++j) {
                h[j] = data[1 + j][t + 1];
                f -= b[j] * h[j];
            }
            double q = 0.0;
            for (int j = 0; j < k; ++j) q += h[j] * VecDot(st.V[j], h, k);
            if (wfore) wfore[0][t + 1] = f / std::sqrt(1.0 + q);
            if (fore) fore[0][t + 1] = f;
        }
        if (diagV)
            for (int j = 0; j < k; ++j) diagV[j][t] = st.V[j][j] > 0.0 ? st.V[j][j] : 0.0;
    }
    return 1;
}

}  // namespace tessel
