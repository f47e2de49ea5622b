#include "dynamics/impulse.h"

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

// Out (n x n) = X (n x n) S (n x n), row-major.
void MulSquare(const double *X, const double *S, int n, double *Out) {
    for (int r = 0; r < n; ++r) {
        double *o = Out + r * n;
        std::fill(o, o + n, 0.0);
        for (int q = 0; q < n; ++q) {
            const double x = X[r * n + q];
            if (x == 0.0) continue;
            for (int c = 0; c < n; ++c) o[c] += x * S[q * n + c];
        }
    }
}

// se[ij] = sqrt(G[.][ij]' V G[.][ij]) for the P x nn gradient matrix G; VG is P x nn work.
void DeltaSe(CMATRIX V, CMATRIX G, int P, int nn, MATRIX VG, double *se) {
    MatMul(V, P, P, G, nn, VG);
    for (int k = 0; k < nn; ++k) se[k] = 0.0;
    for (int p = 0; p < P; ++p)
        for (int k = 0; k < nn; ++k) se[k] += G[p][k] * VG[p][k];
    for (int k = 0; k < nn; ++k) se[k] = std::sqrt(std::max(se[k], 0.0));
}

// se[a n + b] = sqrt(sum over p of wide[a][p n + b]^2): the forms |L' g|^2 of gradients already
// carried through L'.
void NormSe(CMATRIX wide, int n, int P, double *se) {
    for (int a = 0; a < n; ++a)
        for (int b = 0; b < n; ++b) {
            double v = 0.0;
            for (int p = 0; p < P; ++p) v += wide[a][p * n + b] * wide[a][p * n + b];
            se[a * n + b] = std::sqrt(v);
        }
}

void LongRun(const double *A, int n, int s, double *out) {
    MatrixHolder M;
    M.m = MatAlloc(n, n);
    bool ok = M.m != nullptr;
    if (ok) {
        for (int r = 0; r < n; ++r)
            for (int c = 0; c < n; ++c) {
                double v = r == c ? 1.0 : 0.0;
                for (int i = 0; i < s; ++i) v -= A[static_cast<long>(r) * n * s + i * n + c];
                M.m[r][c] = v;
            }
        ok = HookInvGeneral(M.m, n, nullptr, nullptr) == 0;
    }
    for (int r = 0; r < n; ++r)
        for (int c = 0; c < n; ++c) out[r * n + c] = ok ? M.m[r][c] : kMissing;
}

}  // namespace

int ImpulseCholesky(const double *Omega, int n, const int *order, double *P) {
    MatrixHolder L;
    L.m = MatAlloc(n, n);
    auto at = [&](int a) { return order ? order[a] : a; };
    bool ok = L.m != nullptr;
    if (ok) {
        for (int a = 0; a < n; ++a)
            for (int b = 0; b < n; ++b) L.m[a][b] = Omega[at(a) * n + at(b)];
        ok = CholeskyOk(L.m, n) != 0;
    }
    for (int a = 0; a < n; ++a)
        for (int b = 0; b < n; ++b) P[at(a) * n + at(b)] = ok ? L.m[a][b] : kMissing;
    return ok ? 0 : 1;
}

int ImpulseImpact(const double *Omega, int n, int shock, const double *chol, double *S) {
    const int nn = n * n;
    if (shock == kShockCholesky) {
        std::copy(chol, chol + nn, S);
        for (int k = 0; k < nn; ++k)
            if (IsMissing(S[k])) return 1;
        return 0;
    }
    std::fill(S, S + nn, 0.0);
    for (int j = 0; j < n; ++j) {
        const double v = Omega[j * n + j];
        if (shock != kShockUnit && !(v > 0.0)) return 1;
        if (shock == kShockUnit) S[j * n + j] = 1.0;
        else if (shock == kShockStdDev) S[j * n + j] = std::sqrt(v);
        else
            for (int i = 0; i < n; ++i) S[i * n + j] = Omega[i * n + j] / std::sqrt(v);
    }
    return 0;
}

int ImpulseResponses(const ImpulseInput &in, const ImpulseOutput &out) {
    const int n = in.n, s = in.s, H = in.H, nn = n * n, ns = n * s;
    std::vector<double> moduli(ns);
    DynCompanionModuli(in.A, n, s, moduli.data());  // a failure leaves NaN: treated as unstable
    const bool stable = DynStable(moduli.data(), ns);
    if (out.moduli) std::copy(moduli.begin(), moduli.end(), out.moduli);
    if (out.longrun) {
        if (stable) LongRun(in.A, n, s, out.longrun);
        else std::fill(out.longrun, out.longrun + nn, kMissing);
    }
    if (H < 1) return stable ? 1 : 0;

    std::vector<double> psi(static_cast<size_t>(H) * nn), thetas(static_cast<size_t>(H) * nn), acc(nn, 0.0), orth(nn),
        msq(nn, 0.0);
    DynMaMatrices(in.A, n, s, H, psi.data());
    double *plain = in.accumulate ? nullptr : out.resp;
    double *summed = in.accumulate ? out.resp : nullptr;
    for (int h = 0; h < H; ++h) {
        const double *Ph = psi.data() + static_cast<long>(h) * nn;
        const long row = static_cast<long>(h) * nn;
        double *theta = thetas.data() + row;
        MulSquare(Ph, in.S, n, theta);
        for (int k = 0; k < nn; ++k) acc[k] += theta[k];
        if (plain) std::copy(theta, theta + nn, plain + row);
        if (summed) std::copy(acc.begin(), acc.end(), summed + row);
        if (out.acc) std::copy(acc.begin(), acc.end(), out.acc + row);
        if (out.fevd) {
            if (!in.chol) {
                std::fill(out.fevd + row, out.fevd + row + nn, kMissing);
                continue;
            }
            // Shares of the orthogonalised shocks in the (h + 1)-step error variance.
            MulSquare(Ph, in.chol, n, orth.data());
            for (int k = 0; k < nn; ++k) msq[k] += orth[k] * orth[k];
            for (int i = 0; i < n; ++i) {
                double total = 0.0;
                for (int j = 0; j < n; ++j) total += msq[i * n + j];
                for (int j = 0; j < n; ++j) out.fevd[row + i * n + j] = msq[i * n + j] / total;
            }
        }
    }

    const bool want_plain_se = in.accumulate ? false : out.resp_se != nullptr;
    const bool want_acc_se = out.acc_se != nullptr || (in.accumulate && out.resp_se);
    if (!in.V) {
        if (out.resp_se) std::fill(out.resp_se, out.resp_se + static_cast<long>(H) * nn, kMissing);
        if (out.acc_se) std::fill(out.acc_se, out.acc_se + static_cast<long>(H) * nn, kMissing);
        return stable ? 1 : 0;
    }
    if (!want_plain_se && !want_acc_se) return stable ? 1 : 0;

    // Derivatives of Theta_h = Psi_h S with respect to the coefficients p = (r, (i-1) n + q) of
    // A_i[r][q] follow the recursion of Psi itself:
    //   dTheta_h = E_rq Theta_(h-i) + sum over l = 1..min(h, s) of A_l dTheta_(h-l).
    // All P of them side by side form one n x (P n) matrix per horizon (column p n + b), so the
    // lag sum runs over long rows; the last s + 1 horizons are kept. The lag sum acts on the rows
    // and a transformation of the gradients on the column blocks, so with V = L L' the recursion
    // can carry L' g instead of g from the start, and each variance is a plain sum of squares.
    const int P = n * ns, ring = s + 1, width = P * n;
    MatrixHolder D, Dacc, G, VG, L;
    D.m = MatAlloc(ring * n, width);
    Dacc.m = MatAlloc(n, width);
    if (!D.m || !Dacc.m) return -1;
    MatZero(Dacc.m, n, width);
    L.m = MatDup(in.V, P, P);
    if (L.m && !CholeskyOk(L.m, P)) {
        // A singular (or badly scaled) V: plain gradients and the product V G.
        MatFree(L.m);
        L.m = nullptr;
        G.m = MatAlloc(P, nn);
        VG.m = MatAlloc(P, nn);
        if (!G.m || !VG.m) return -1;
    }
    if (!L.m && !G.m) return -1;
    std::vector<double> se(nn);
    auto variances = [&](CMATRIX wide) {
        if (L.m) return NormSe(wide, n, P, se.data());
        for (int p = 0; p < P; ++p)
            for (int a = 0; a < n; ++a) std::copy(wide[a] + p * n, wide[a] + p * n + n, G.m[p] + a * n);
        DeltaSe(in.V, G.m, P, nn, VG.m, se.data());
    };
    for (int h = 0; h < H; ++h) {
        double **Dh = D.m + (h % ring) * n;
        MatZero(Dh, n, width);
        for (int l = 1; l <= std::min(h, s); ++l) {
            double *const *Dl = D.m + ((h - l) % ring) * n;
            for (int a = 0; a < n; ++a) {
                const double *arow = in.A + static_cast<long>(a) * ns + (l - 1) * n;
                double *o = Dh[a];
                for (int b = 0; b < n; ++b) {
                    const double x = arow[b];
                    if (x == 0.0) continue;
                    const double *src = Dl[b];
                    for (int k = 0; k < width; ++k) o[k] += x * src[k];
                }
            }
        }
        // The direct term E_rq Theta_(h-i): in block p, or spread over the blocks p' <= p with the
        // weights L'[p'][p] = L[p][p'].
        for (int p = 0; p < P; ++p) {
            const int r = p / ns, c = p % ns, i = c / n + 1, q = c % n;
            if (h < i) continue;
            const double *src = thetas.data() + static_cast<long>(h - i) * nn + q * n;
            for (int t = L.m ? 0 : p; t <= p; ++t) {
                const double w = L.m ? L.m[p][t] : 1.0;
                double *o = Dh[r] + t * n;
                for (int b = 0; b < n; ++b) o[b] += w * src[b];
            }
        }
        for (int a = 0; a < n; ++a)
            for (int k = 0; k < width; ++k) Dacc.m[a][k] += Dh[a][k];
        const long row = static_cast<long>(h) * nn;
        if (want_plain_se) {
            variances(Dh);
            std::copy(se.begin(), se.end(), out.resp_se + row);
        }
        if (want_acc_se) {
            variances(Dacc.m);
            if (out.acc_se) std::copy(se.begin(), se.end(), out.acc_se + row);
            if (in.accumulate && out.resp_se) std::copy(se.begin(), se.end(), out.resp_se + row);
        }
    }
    return stable ? 1 : 0;
}

}  // namespace tessel
