// Encompassing statistics of two instrumental-variables models at their pooled instruments.
//
// Every sum over observations comes from one cross-product matrix of the distinct rows in use
// (y, the joint regressors, the pooled instruments, and model 2's y when it differs), taken in one
// sweep over the data; all that follows works on moment matrices whose size does not depend on T. Model 1's and model 2's moments are sub-blocks of the joint model's: their regressors are
// rows of J.
#include "encompassing/encompassing.h"

#include <cmath>
#include <exception>

#include "numeric/kernels.h"

namespace tessel {

namespace {

// A work matrix that is released on every way out of the routine. Empty shapes hold no matrix;
// the helpers below never touch one.
struct Work {
    MATRIX p = nullptr;
    Work() = default;
    Work(const Work &) = delete;
    Work &operator=(const Work &) = delete;
    ~Work() { MatFree(p); }
    // False when memory is short.
    bool Alloc(int r, int c) {
        if (r < 1 || c < 1) return true;
        p = MatAlloc(r, c);
        return p != nullptr;
    }
    double *Row() const { return p ? p[0] : nullptr; }
};

// Out (r x c2) = X (r x c) Y (c x c2); zeros for an empty inner dimension.
void Mul(CMATRIX X, int r, int c, CMATRIX Y, int c2, MATRIX Out) {
    if (r < 1 || c2 < 1) return;
    if (c < 1) {
        MatZero(Out, r, c2);
        return;
    }
    MatMul(X, r, c, Y, c2, Out);
}

// Out (r x r2) = X (r x c) Y' with Y of r2 x c; zeros for an empty inner dimension.
void MulABt(CMATRIX X, int r, int c, CMATRIX Y, int r2, MATRIX Out) {
    if (r < 1 || r2 < 1) return;
    if (c < 1) {
        MatZero(Out, r, r2);
        return;
    }
    MatMulABt(X, r, c, Y, r2, Out);
}

double Dot(const double *x, const double *y, int n) { return n < 1 ? 0.0 : VecDot(x, y, n); }

// In place, through the general-inverse hook; an empty matrix is its own inverse.
bool Invert(MATRIX M, int n) { return n < 1 || HookInvGeneral(M, n, nullptr, nullptr) == 0; }

// Columns per pass of the cross products: a block of every row in use stays in cache while all
// pairs of rows are summed over it.
constexpr int kColumnBlock = 512;

// G (u x u) = the cross products of the rows over t = 0 .. T-1, block by block; part is u x u
// scratch, needed only when T exceeds one block.
void CrossProducts(CMATRIX rows, int u, int T, MATRIX G, MATRIX part) {
    MatCrossRows(rows, u, 0, (T < kColumnBlock ? T : kColumnBlock) - 1, G);
    for (int from = kColumnBlock; from < T; from += kColumnBlock) {
        const int to = (T - from > kColumnBlock ? from + kColumnBlock : T) - 1;
        MatCrossRows(rows, u, from, to, part);
        for (int i = 0; i < u; ++i)
            for (int j = 0; j < u; ++j) G[i][j] += part[i][j];
    }
}

// Residual sum of squares y'y - 2 (y'X) b' + b (X'X) b' from the cross products G of the rows in
// use: y is row py of G and regressor i row pos[i].
double ResidualSS(CMATRIX G, double yy, int py, const int *pos, const double *b, int n) {
    double cross = 0.0, quad = 0.0;
    for (int i = 0; i < n; ++i) {
        const double *gi = G[pos[i]];
        cross += b[i] * gi[py];
        double row = 0.0;
        for (int j = 0; j < n; ++j) row += gi[pos[j]] * b[j];
        quad += b[i] * row;
    }
    return yy - 2.0 * cross + quad;
}

// q M b' and q M M b' for a row vector q (1 x n) and b (1 x n); t1, t2 are 1 x n scratch.
void TwoSteps(CMATRIX q, CMATRIX M, const double *b, int n, MATRIX t1, MATRIX t2, double &once, double &twice) {
    Mul(q, 1, n, M, n, t1);
    Mul(t1, 1, n, M, n, t2);
    once = n < 1 ? 0.0 : Dot(t1[0], b, n);
    twice = n < 1 ? 0.0 : Dot(t2[0], b, n);
}

int Run(CMATRIX A, int d1, int e1, int z1, CMATRIX B, int d2, int e2, int z2, int T, int *index, int *m_out, int *k_out,
        double *stats) {
    const int k1 = d1 + e1 - 1, k2 = d2 + e2 - 1, n1 = e1 + z1, n2 = e2 + z2;

    EncompassingLists lists;
    EncompassingJoin(A, d1, e1, z1, B, d2, e2, z2, T, lists);
    const int m = static_cast<int>(lists.w.size()), k = static_cast<int>(lists.j.size());
    if (m < k) return kEncompassingUnderIdentified;
    if (m == n1 || k == k1 || m == n2 || k == k2) return kEncompassingNested;

    // The distinct rows in use: y, model 2's y when it is another series, J, then the instruments
    // that are not regressors of J (J's own rows are recognised by address).
    std::vector<const double *> rows;
    rows.reserve(2 + k + m);
    rows.push_back(A[0]);
    int py2 = 0;
    if (!EncompassingSameRow(B[0], A[0], T)) {
        py2 = 1;
        rows.push_back(B[0]);
    }
    std::vector<int> pj(k), pw(m), p2(k2 > 0 ? k2 : 0);
    for (int i = 0; i < k; ++i) {
        pj[i] = static_cast<int>(rows.size());
        rows.push_back(lists.j[i]);
    }
    for (int a = 0; a < m; ++a) {
        int at = -1;
        for (int i = 0; i < k && at < 0; ++i)
            if (lists.j[i] == lists.w[a]) at = pj[i];
        if (at < 0) {
            at = static_cast<int>(rows.size());
            rows.push_back(lists.w[a]);
        }
        pw[a] = at;
    }
    for (int i = 0; i < k2; ++i) p2[i] = pj[lists.x2_in_j[i]];
    const int u = static_cast<int>(rows.size());

    Work G, part, Q, r, rQ;
    if (!G.Alloc(u, u) || (T > kColumnBlock && !part.Alloc(u, u)) || !Q.Alloc(m, m) || !r.Alloc(1, m) ||
        !rQ.Alloc(1, m))
        return kEncompassingOk;
    CrossProducts(rows.data(), u, T, G.p, part.p);
    const double yy = G.p[0][0];

    // Q = (W W')^-1, r = y'W, y'P y = r Q r'.
    for (int a = 0; a < m; ++a) {
        for (int b = 0; b < m; ++b) Q.p[a][b] = G.p[pw[a]][pw[b]];
        r.p[0][a] = G.p[0][pw[a]];
    }
    if (!Invert(Q.p, m)) return kEncompassingSingular;
    Mul(r.p, 1, m, Q.p, m, rQ.p);
    const double yPy = Dot(rQ.Row(), r.Row(), m);

    Work GJ, HJ, SJ, qJ, V1, V2, q1, q2, b1, b2, C12, L1, L2, M1, M2, t1, t2, VJ, bJ;
    const int kk = k1 > k2 ? k1 : k2;
    if (!GJ.Alloc(k, m) || !HJ.Alloc(k, m) || !SJ.Alloc(k, k) || !qJ.Alloc(1, k) || !V1.Alloc(k1, k1) ||
        !V2.Alloc(k2, k2) || !q1.Alloc(1, k1) || !q2.Alloc(1, k2) || !b1.Alloc(1, k1) || !b2.Alloc(1, k2) ||
        !C12.Alloc(k1, k2) || !L1.Alloc(k1, k2) || !L2.Alloc(k2, k1) || !M1.Alloc(k1, k1) || !M2.Alloc(k2, k2) ||
        !t1.Alloc(1, kk) || !t2.Alloc(1, kk) || !VJ.Alloc(k, k) || !bJ.Alloc(1, k))
        return kEncompassingOk;

    // The joint model's moments at the instruments: GJ = XJ'W, HJ = GJ Q, SJ = XJ'P XJ, qJ = y'P XJ.
    for (int i = 0; i < k; ++i)
        for (int a = 0; a < m; ++a) GJ.p[i][a] = G.p[pj[i]][pw[a]];
    Mul(GJ.p, k, m, Q.p, m, HJ.p);
    MulABt(HJ.p, k, m, GJ.p, k, SJ.p);
    MulABt(r.p, 1, m, HJ.p, k, qJ.p);

    // Model 1's regressors are J's first k1 rows, model 2's the rows x2_in_j.
    const std::vector<int> &x2 = lists.x2_in_j;
    for (int i = 0; i < k1; ++i) {
        for (int j = 0; j < k1; ++j) V1.p[i][j] = SJ.p[i][j];
        for (int j = 0; j < k2; ++j) C12.p[i][j] = SJ.p[i][x2[j]];
        q1.p[0][i] = qJ.p[0][i];
    }
    if (!Invert(V1.p, k1)) return kEncompassingSingular;
    for (int i = 0; i < k2; ++i) {
        for (int j = 0; j < k2; ++j) V2.p[i][j] = SJ.p[x2[i]][x2[j]];
        q2.p[0][i] = qJ.p[0][x2[i]];
    }
    if (!Invert(V2.p, k2)) return kEncompassingSingular;

    Mul(q1.p, 1, k1, V1.p, k1, b1.p);
    Mul(q2.p, 1, k2, V2.p, k2, b2.p);
    const double f1 = Dot(b1.Row(), q1.Row(), k1), f2 = Dot(b2.Row(), q2.Row(), k2);

    Mul(V1.p, k1, k1, C12.p, k2, L1.p);
    MulABt(V2.p, k2, k2, C12.p, k1, L2.p);
    Mul(L1.p, k1, k2, L2.p, k1, M1.p);
    Mul(L2.p, k2, k1, L1.p, k2, M2.p);
    double a1, a2, c1, c2;
    TwoSteps(q1.p, M1.p, b1.Row(), k1, t1.p, t2.p, a1, a2);
    TwoSteps(q2.p, M2.p, b2.Row(), k2, t1.p, t2.p, c1, c2);

    // Residual sums at the IV coefficients over the raw data; model 2's with its own y.
    const double rss1 = ResidualSS(G.p, yy, 0, pj.data(), b1.Row(), k1);
    const double rss2 = ResidualSS(G.p, yy, py2, p2.data(), b2.Row(), k2);
    const double s1sq = rss1 / (T - k1), s2sq = rss2 / (T - k2);
    if (s1sq <= 0.0 || s2sq <= 0.0 || f2 >= yy || a1 >= yy || f1 >= yy || c1 >= yy || a2 >= a1 || c2 >= c1)
        return kEncompassingOutOfRange;

    const double root_t = std::sqrt(static_cast<double>(T));
    const double n12 =
        0.5 * root_t * std::log((yy - f2) / (yy - a1)) / (std::sqrt((T - k1) * s1sq * (a1 - a2)) / (yy - a1));
    const double n21 =
        0.5 * root_t * std::log((yy - f1) / (yy - c1)) / (std::sqrt((T - k2) * s2sq * (c1 - c2)) / (yy - c1));
    const double e12 = (f2 - a1) / std::sqrt(4.0 * s1sq * (a1 - a2));
    const double e21 = (f1 - c1) / std::sqrt(4.0 * s2sq * (c1 - c2));

    // The joint model.
    for (int i = 0; i < k; ++i)
        for (int j = 0; j < k; ++j) VJ.p[i][j] = SJ.p[i][j];
    if (!Invert(VJ.p, k)) return kEncompassingSingular;
    Mul(qJ.p, 1, k, VJ.p, k, bJ.p);
    const double fJ = Dot(bJ.Row(), qJ.Row(), k);
    const double sJsq = ResidualSS(G.p, yy, 0, pj.data(), bJ.Row(), k) / (T - k);
    if (sJsq <= 0.0) return kEncompassingOutOfRange;
    double F1 = (fJ - f1) / ((k - k1) * sJsq), F2 = (fJ - f2) / ((k - k2) * sJsq);
    if (F1 <= 0.0) F1 = 0.0;
    if (F2 <= 0.0) F2 = 0.0;

    *m_out = m;
    *k_out = k;
    for (int a = 0; a < m; ++a) index[a] = lists.w_index[a];
    stats[kSargan1] = (yPy - f1) / s1sq;
    stats[kSargan2] = (yPy - f2) / s2sq;
    stats[kNTest12] = n12;
    stats[kNTest21] = n21;
    stats[kF1] = F1;
    stats[kF2] = F2;
    stats[kEricsson12] = e12;
    stats[kEricsson21] = e21;
    stats[kSigma1] = std::sqrt(s1sq);
    stats[kSigma2] = std::sqrt(s2sq);
    stats[kSigmaJoint] = std::sqrt(sJsq);
    return kEncompassingOk;
}

}  // namespace

int EncompassingTests(CMATRIX A, int d1, int e1, int z1, CMATRIX B, int d2, int e2, int z2, int T, int *index, int *m,
                      int *k, double *stats) {
    try {
        return Run(A, d1, e1, z1, B, d2, e2, z2, T, index, m, k, stats);
    } catch (const std::exception &) {  // list storage short: nothing computed, nothing written
        return kEncompassingOk;
    }
}

}  // namespace tessel
