#include "dynamics/comfac.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "numeric/distributions.h"
#include "numeric/kernels.h"
#include "numeric/missing.h"

namespace tessel {

namespace {

// Sylvester-type matrix of a*(z) = z^r - a_1 z^(r-1) - ... - a_r and b*(z) = b_0 z^r + ... + b_r
// (the lag polynomials with their coefficients in the same order): r - c + 1 shifted copies of
// each, rows x cols = 2 (r - c + 1) x (2 r - c + 1). a(L) and b(L) share c factors exactly when
// this matrix has rank below its row count.
void Sylvester(const double *theta, int r, const int *pos, int j, int c, std::vector<double> &S) {
    const int shifts = r - c + 1, cols = 2 * r - c + 1;
    S.assign(static_cast<size_t>(2 * shifts) * cols, 0.0);
    for (int i = 0; i < shifts; ++i) {
        double *arow = S.data() + static_cast<long>(i) * cols + i;
        double *brow = S.data() + static_cast<long>(shifts + i) * cols + i;
        arow[0] = 1.0;
        for (int l = 1; l <= r; ++l) arow[l] = -theta[pos[l - 1]];
        const int *bpos = pos + r + j * (r + 1);
        for (int l = 0; l <= r; ++l) brow[l] = theta[bpos[l]];
    }
}

// Columns of a rows x cols matrix (rows <= cols) that complete pivoting picks in rows - 1 steps;
// false when a pivot is negligible before then.
bool PickColumns(std::vector<double> S, int rows, int cols, std::vector<int> &picked) {
    std::vector<int> colid(cols);
    for (int k = 0; k < cols; ++k) colid[k] = k;
    double scale = 0.0;
    for (double v : S) scale = std::max(scale, std::fabs(v));
    if (!(scale > 0.0)) return false;
    picked.clear();
    for (int step = 0; step + 1 < rows; ++step) {
        int pr = step, pc = step;
        double best = -1.0;
        for (int i = step; i < rows; ++i)
            for (int k = step; k < cols; ++k)
                if (std::fabs(S[i * cols + k]) > best) best = std::fabs(S[i * cols + k]), pr = i, pc = k;
        if (!(best > 1e-10 * scale)) return false;
        for (int k = 0; k < cols; ++k) std::swap(S[step * cols + k], S[pr * cols + k]);
        for (int i = 0; i < rows; ++i) std::swap(S[i * cols + step], S[i * cols + pc]);
        std::swap(colid[step], colid[pc]);
        picked.push_back(colid[step]);
        for (int i = step + 1; i < rows; ++i) {
            const double f = S[i * cols + step] / S[step * cols + step];
            for (int k = step; k < cols; ++k) S[i * cols + k] -= f * S[step * cols + k];
        }
    }
    return true;
}

// Determinant of an n x n row-major matrix by elimination with partial pivoting (destroys M).
double Determinant(std::vector<double> &M, int n) {
    double det = 1.0;
    for (int k = 0; k < n; ++k) {
        int p = k;
        for (int i = k + 1; i < n; ++i)
            if (std::fabs(M[i * n + k]) > std::fabs(M[p * n + k])) p = i;
        if (M[p * n + k] == 0.0) return 0.0;
        if (p != k) {
            for (int l = 0; l < n; ++l) std::swap(M[k * n + l], M[p * n + l]);
            det = -det;
        }
        det *= M[k * n + k];
        for (int i = k + 1; i < n; ++i) {
            const double f = M[i * n + k] / M[k * n + k];
            for (int l = k + 1; l < n; ++l) M[i * n + l] -= f * M[k * n + l];
        }
    }
    return det;
}

}  // namespace

int ComfacRestrictions(const double *theta, const double *chosen_at, int r, int m, const int *pos, int c,
                       double *g) {
    const int rows = 2 * (r - c + 1), cols = 2 * r - c + 1;
    std::vector<double> S, minor(static_cast<size_t>(rows) * rows);
    std::vector<int> picked;
    for (int j = 0; j < m; ++j) {
        // The columns of a non-singular (rows - 1)-square block at the estimate; each of the c
        // remaining columns completes it to a square minor that must vanish. Near the estimate
        // these c minors are locally equivalent to the rank condition.
        Sylvester(chosen_at, r, pos, j, c, S);
        if (!PickColumns(S, rows, cols, picked)) return 1;
        std::vector<int> rest;
        for (int k = 0; k < cols; ++k)
            if (std::find(picked.begin(), picked.end(), k) == picked.end()) rest.push_back(k);
        std::sort(picked.begin(), picked.end());
        Sylvester(theta, r, pos, j, c, S);
        for (int e = 0; e < c; ++e) {
            std::vector<int> use = picked;
            use.insert(std::upper_bound(use.begin(), use.end(), rest[e]), rest[e]);
            for (int i = 0; i < rows; ++i)
                for (int k = 0; k < rows; ++k) minor[i * rows + k] = S[static_cast<long>(i) * cols + use[k]];
            g[j * c + e] = Determinant(minor, rows);
        }
    }
    return 0;
}

int ComfacTest(const double *theta, CMATRIX V, int r, int m, const int *pos, int cmax, double *stat, double *df,
               double *pval) {
    const int np = r + m * (r + 1);
    int maxpos = 0;
    for (int q = 0; q < np; ++q) maxpos = std::max(maxpos, pos[q]);
    std::vector<double> th(theta, theta + maxpos + 1), gp, gm, g, G, M, z;
    int computed = 0;
    for (int c = 1; c <= cmax; ++c) {
        const int K = c * m;
        double W = kMissing;
        g.resize(K);
        gp.resize(K);
        gm.resize(K);
        if (ComfacRestrictions(th.data(), theta, r, m, pos, c, g.data()) == 0) {
            // Central differences; the minors are polynomials of low degree in each coefficient.
            G.assign(static_cast<size_t>(K) * np, 0.0);
            for (int q = 0; q < np; ++q) {
                const double x = th[pos[q]], h = 1e-5 * std::max(1.0, std::fabs(x));
                th[pos[q]] = x + h;
                ComfacRestrictions(th.data(), theta, r, m, pos, c, gp.data());
                th[pos[q]] = x - h;
                ComfacRestrictions(th.data(), theta, r, m, pos, c, gm.data());
                th[pos[q]] = x;
                for (int k = 0; k < K; ++k) G[k * np + q] = (gp[k] - gm[k]) / (2.0 * h);
            }
            // W = g' (G V G')^-1 g through the Cholesky factor of G V G'.
            MATRIX C = MatAlloc(K, K);
            if (C) {
                for (int a = 0; a < K; ++a)
                    for (int b = 0; b <= a; ++b) {
                        double v = 0.0;
                        for (int p = 0; p < np; ++p) {
                            const double ga = G[a * np + p];
                            if (ga == 0.0) continue;
                            double inner = 0.0;
                            for (int q = 0; q < np; ++q) inner += V[pos[p]][pos[q]] * G[b * np + q];
                            v += ga * inner;
                        }
                        C[a][b] = C[b][a] = v;
                    }
                // Scaled to unit diagonal first: the pivot tolerance is absolute, and the
                // restriction variances can be tiny.
                z.assign(K, 0.0);
                bool positive = true;
                for (int a = 0; a < K; ++a) {
                    positive = positive && C[a][a] > 0.0 && std::isfinite(C[a][a]);
                    z[a] = positive ? 1.0 / std::sqrt(C[a][a]) : 0.0;
                }
                for (int a = 0; a < K && positive; ++a)
                    for (int b = 0; b < K; ++b) C[a][b] *= z[a] * z[b];
                for (int a = 0; a < K; ++a) g[a] *= z[a];
                if (positive && CholeskyOk(C, K)) {
                    W = 0.0;
                    for (int a = 0; a < K; ++a) {
                        double v = g[a];
                        for (int b = 0; b < a; ++b) v -= C[a][b] * z[b];
                        z[a] = v / C[a][a];
                        W += z[a] * z[a];
                    }
                }
                MatFree(C);
            }
        }
        stat[c - 1] = W;
        if (df) df[c - 1] = K;
        if (pval) pval[c - 1] = IsMissing(W) ? kMissing : ChiSquaredUpperTail(W, K);
        if (!IsMissing(W)) ++computed;
    }
    return computed;
}

}  // namespace tessel
