#include <gtest/gtest.h>
#include <cmath>
#include <random>
#include <vector>
#include "numeric/kernels.h"
#include "tests/numeric/matrix_test_util.h"

namespace tessel {
namespace {
using namespace tessel::testing;

TEST(MatrixQr, TriangularFactorMatchesGramMatrixOfPivotedColumns) {
    std::mt19937 rng(21);
    const int k = 6, T = 40;
    OwnedMat x = Random(k, T, rng);
    for (int t = 0; t < T; ++t) x.get()[4][t] *= 30.0;  // the biggest column must come first
    OwnedMat f(MatDup(x.get(), k, T));
    int perm[k];
    double work[MatQrWorkSize(k)];
    ASSERT_EQ(HookQrPivot(f.get(), k, T, perm, work), 1);
    EXPECT_EQ(perm[0], 4);
    for (int a = 0; a < k; ++a) {  // R'R = (X P)'(X P), R[a][b] = f[b][a] for a <= b
        const int prev = a ? a - 1 : 0;  // diagonal of R non-increasing in magnitude
        EXPECT_LE(std::fabs(f.get()[a][a]), std::fabs(f.get()[prev][prev]) * (1 + 1e-12));
        for (int b = 0; b <= a; ++b) {
            double rr = 0.0, xx = 0.0;
            for (int c = 0; c <= b; ++c) rr += f.get()[a][c] * f.get()[b][c];
            for (int t = 0; t < T; ++t) xx += x.get()[perm[a]][t] * x.get()[perm[b]][t];
            EXPECT_NEAR(rr, xx, 1e-10 * (1.0 + std::fabs(xx)));
        }
    }
    EXPECT_EQ(MatQrPivot(nullptr, k, T, perm, work), 0);
    EXPECT_EQ(MatQrPivot(f.get(), 0, T, perm, work), 0);
}

// Rank r (r < k) built as random combinations of r series, and the rank codes of MatRankR.
TEST(MatrixRank, DecisionsOnMatricesOfKnownRank) {
    std::mt19937 rng(4);
    const int k = 7, T = 50;
    int perm[k], rank = -1;
    double work[MatQrWorkSize(k)];
    struct Case { int r; double tiny; int code; };
    for (const Case &c : {Case{7, 1, 1}, {5, 1, -1}, {3, 1, -1}, {1, 1, -1}, {6, 1, 1}, {7, 1e-8, 2}, {0, 1, -1}}) {
        // Rank k - 1: only the last diagonal fails and the code stays 1; a tiny column: code 2.
        OwnedMat w = Random(k, c.r, rng), s = Random(c.r, T, rng), x = c.r ? NaiveMul(w.get(), k, c.r, s.get(), T) : Make(k, T);
        if (!c.r) MatZero(x.get(), k, T);
        for (int t = 0; t < T; ++t) x.get()[2][t] *= c.tiny;
        ASSERT_EQ(MatQrPivot(x.get(), k, T, perm, work), 1);
        EXPECT_EQ(MatRankR(x.get(), k, T, &rank), c.code) << c.r;
        EXPECT_EQ(rank, c.r);
    }
}

// X'(y - X b) = 0 (the normal equations), e = y - X b within tol and X'e = 0 within tol_xe.
void ExpectOlsFit(CMATRIX x, int k, int T, CMATRIX y, int n, CMATRIX b, CMATRIX e, double tol, double tol_xe) {
    for (int v = 0; v < n; ++v) {
        std::vector<double> r(T);
        for (int t = 0; t < T; ++t) {
            r[t] = y[v][t];
            for (int i = 0; i < k; ++i) r[t] -= b[v][i] * x[i][t];
            EXPECT_NEAR(e[v][t], r[t], tol);
        }
        for (int i = 0; i < k; ++i) {
            double s = 0.0, xy = 0.0, xe = 0.0;
            for (int t = 0; t < T; ++t) s += x[i][t] * r[t], xy += x[i][t] * y[v][t], xe += x[i][t] * e[v][t];
            EXPECT_NEAR(s, 0.0, 1e-11 * (1.0 + std::fabs(xy)));
            EXPECT_NEAR(xe, 0.0, tol_xe);
        }
    }
}

TEST(MatrixOlsQr, AgreesWithNormalEquations) {
    std::mt19937 rng(8);
    const int n = 2;
    for (const auto &[k, T] : {std::pair{5, 60}, std::pair{70, 120}}) {  // more than 64 regressors too
        OwnedMat x = Random(k, T, rng), y = Random(n, T, rng), b = Make(n, k), inv = Make(k, k), e = Make(n, T), b2 = Make(n, k);
        for (int t = 0; t < T; ++t) x.get()[0][t] = 1.0;
        OwnedMat xt(MatDup(x.get(), k, T)), xx = NaiveMul(x.get(), k, T, x.get(), k, true);
        ASSERT_EQ(OlsQr(xt.get(), k, T, y.get(), n, b.get(), inv.get(), e.get(), nullptr), 1);
        ExpectOlsFit(x.get(), k, T, y.get(), n, b.get(), e.get(), 1e-12, 1e-11);
        OwnedMat id = NaiveMul(xx.get(), k, k, inv.get(), k);
        for (int i = 0; i < k * k; ++i) EXPECT_NEAR(id.get()[i / k][i % k], i / k == i % k ? 1.0 : 0.0, 1e-12);
        std::vector<double> work(OlsQrWorkSize(k, T));  // optional outputs absent, caller-supplied work
        MatCopy(xt.get(), x.get(), k, T);
        ASSERT_EQ(OlsQr(xt.get(), k, T, y.get(), n, b2.get(), nullptr, nullptr, work.data()), 1);
        EXPECT_LE(MaxAbsDiff(b.get(), b2.get(), n, k), 1e-13);
    }
}

TEST(MatrixOlsQr, RankDeficientRegressors) {
    std::mt19937 rng(12);
    const int k = 5, T = 30;
    OwnedMat x = Random(k, T, rng), y = Random(1, T, rng), b = Make(1, k), inv = Make(k, k), e = Make(1, T);
    for (int t = 0; t < T; ++t) x.get()[3][t] = x.get()[0][t] - 2.0 * x.get()[1][t], x.get()[4][t] = 0.5 * x.get()[1][t];
    OwnedMat xt(MatDup(x.get(), k, T));
    EXPECT_EQ(OlsQr(xt.get(), k, T, y.get(), 1, b.get(), inv.get(), e.get(), nullptr), -1);
    int zeros = 0;  // two coefficients dropped; the fit still solves the problem on the column space
    for (int i = 0; i < k; ++i) zeros += b.get()[0][i] == 0.0;
    EXPECT_EQ(zeros, 2);
    ExpectOlsFit(x.get(), k, T, y.get(), 1, b.get(), e.get(), 1e-11, 1e-10);
    // More regressors than observations, and bad arguments.
    OwnedMat wide = Random(4, 2, rng), yw = Random(1, 2, rng), bw = Make(1, 4), ew = Make(1, 2);
    EXPECT_LT(OlsQr(wide.get(), 4, 2, yw.get(), 1, bw.get(), nullptr, ew.get(), nullptr), 0);
    EXPECT_NEAR(ew.get()[0][0], 0.0, 1e-12);
    EXPECT_EQ(OlsQr(nullptr, 4, 2, yw.get(), 1, bw.get(), nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(OlsQr(wide.get(), 4, 0, yw.get(), 1, bw.get(), nullptr, nullptr, nullptr), 0);
}

}  // namespace
}  // namespace tessel
