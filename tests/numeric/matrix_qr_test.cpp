#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "numeric/kernels.h"
#include "tests/numeric/matrix_test_util.h"

namespace tessel {
namespace {

using namespace tessel::testing;

// XT (k x T) of rank r: every variable is a random combination of r random series.
OwnedMat OfRank(int k, int T, int r, std::mt19937 &rng) {
    OwnedMat f = Random(r, T, rng);
    OwnedMat w = Random(k, r, rng);
    return NaiveMul(w.get(), k, r, f.get(), T);
}

TEST(MatrixQr, TriangularFactorMatchesGramMatrixOfPivotedColumns) {
    std::mt19937 rng(21);
    const int k = 6, T = 40;
    OwnedMat x = Random(k, T, rng);
    for (int t = 0; t < T; ++t) x.get()[4][t] *= 30.0;  // the biggest column must come first
    OwnedMat f = Make(k, T);
    MatCopy(f.get(), x.get(), k, T);
    int perm[k];
    double work[MatQrWorkSize(k)];
    ASSERT_EQ(HookQrPivot(f.get(), k, T, perm, work), 1);
    EXPECT_EQ(perm[0], 4);
    // R'R = (X P)'(X P), R[a][b] = f[b][a] for a <= b.
    for (int a = 0; a < k; ++a) {
        if (a > 0) {
            EXPECT_LE(std::fabs(f.get()[a][a]), std::fabs(f.get()[a - 1][a - 1]) * (1 + 1e-12));
        }
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

TEST(MatrixRank, DecisionsOnMatricesOfKnownRank) {
    std::mt19937 rng(4);
    const int k = 7, T = 50;
    int perm[k], rank = -1;
    double work[MatQrWorkSize(k)];
    for (int r : {7, 5, 3, 1}) {
        OwnedMat x = OfRank(k, T, r, rng);
        ASSERT_EQ(MatQrPivot(x.get(), k, T, perm, work), 1);
        const int code = MatRankR(x.get(), k, T, &rank);
        EXPECT_EQ(rank, r);
        EXPECT_EQ(code, r == k ? 1 : -1) << r;
    }
    // Only the last diagonal element fails: rank k - 1, result left positive.
    {
        OwnedMat x = OfRank(k, T, k - 1, rng);
        ASSERT_EQ(MatQrPivot(x.get(), k, T, perm, work), 1);
        EXPECT_EQ(MatRankR(x.get(), k, T, &rank), 1);
        EXPECT_EQ(rank, k - 1);
    }
    // A column of tiny scale: full rank, but ill-conditioned.
    {
        OwnedMat x = Random(k, T, rng);
        for (int t = 0; t < T; ++t) x.get()[2][t] *= 1e-8;
        ASSERT_EQ(MatQrPivot(x.get(), k, T, perm, work), 1);
        EXPECT_EQ(MatRankR(x.get(), k, T, &rank), 2);
        EXPECT_EQ(rank, k);
    }
    OwnedMat zero = Make(k, T);
    MatZero(zero.get(), k, T);
    ASSERT_EQ(MatQrPivot(zero.get(), k, T, perm, work), 1);
    EXPECT_EQ(MatRankR(zero.get(), k, T, &rank), -1);
    EXPECT_EQ(rank, 0);
}

// A small problem and one with more than 64 regressors.
TEST(MatrixOlsQr, AgreesWithNormalEquations) {
    std::mt19937 rng(8);
    const int n = 2;
    for (const auto &[k, T] : {std::pair{5, 60}, std::pair{70, 120}}) {
        OwnedMat x = Random(k, T, rng);
        for (int t = 0; t < T; ++t) x.get()[0][t] = 1.0;
        OwnedMat y = Random(n, T, rng);
        OwnedMat xt = Make(k, T), b = Make(n, k), inv = Make(k, k), e = Make(n, T);
        MatCopy(xt.get(), x.get(), k, T);
        ASSERT_EQ(OlsQr(xt.get(), k, T, y.get(), n, b.get(), inv.get(), e.get(), nullptr), 1);

        // Normal equations X'X b = X'y and (X'X) (X'X)^-1 = I, with X'X summed directly.
        std::vector<std::vector<double>> xx(k, std::vector<double>(k));
        for (int i = 0; i < k; ++i)
            for (int j = 0; j < k; ++j)
                for (int t = 0; t < T; ++t) xx[i][j] += x.get()[i][t] * x.get()[j][t];
        for (int i = 0; i < k; ++i) {
            for (int j = 0; j < k; ++j) {
                double s = 0.0;
                for (int c = 0; c < k; ++c) s += xx[i][c] * inv.get()[c][j];
                EXPECT_NEAR(s, i == j ? 1.0 : 0.0, 1e-12);
            }
            for (int v = 0; v < n; ++v) {
                double xxb = 0.0, xy = 0.0, xe = 0.0;
                for (int c = 0; c < k; ++c) xxb += xx[i][c] * b.get()[v][c];
                for (int t = 0; t < T; ++t) xy += x.get()[i][t] * y.get()[v][t], xe += x.get()[i][t] * e.get()[v][t];
                EXPECT_NEAR(xxb, xy, 1e-11 * (1.0 + std::fabs(xy)));
                EXPECT_NEAR(xe, 0.0, 1e-11);  // residuals orthogonal to every regressor
            }
        }
        for (int v = 0; v < n; ++v)
            for (int t = 0; t < T; ++t) {
                double fit = 0.0;
                for (int i = 0; i < k; ++i) fit += b.get()[v][i] * x.get()[i][t];
                EXPECT_NEAR(e.get()[v][t], y.get()[v][t] - fit, 1e-12);
            }
        // Optional outputs absent, caller-supplied work.
        std::vector<double> work(OlsQrWorkSize(k, T));
        MatCopy(xt.get(), x.get(), k, T);
        OwnedMat b2 = Make(n, k);
        ASSERT_EQ(OlsQr(xt.get(), k, T, y.get(), n, b2.get(), nullptr, nullptr, work.data()), 1);
        EXPECT_LE(MaxAbsDiff(b.get(), b2.get(), n, k), 1e-13);
    }
}

TEST(MatrixOlsQr, RankDeficientRegressors) {
    std::mt19937 rng(12);
    const int k = 5, T = 30;
    OwnedMat x = Random(k, T, rng);
    for (int t = 0; t < T; ++t) {
        x.get()[3][t] = x.get()[0][t] - 2.0 * x.get()[1][t];
        x.get()[4][t] = 0.5 * x.get()[1][t];
    }
    OwnedMat y = Random(1, T, rng);
    OwnedMat xt = Make(k, T), b = Make(1, k), inv = Make(k, k), e = Make(1, T);
    MatCopy(xt.get(), x.get(), k, T);
    EXPECT_EQ(OlsQr(xt.get(), k, T, y.get(), 1, b.get(), inv.get(), e.get(), nullptr), -1);
    // Two coefficients dropped; the fit still solves the problem on the column space.
    int zeros = 0;
    for (int i = 0; i < k; ++i) zeros += b.get()[0][i] == 0.0;
    EXPECT_EQ(zeros, 2);
    for (int i = 0; i < k; ++i) {
        double s = 0.0;
        for (int t = 0; t < T; ++t) s += x.get()[i][t] * e.get()[0][t];
        EXPECT_NEAR(s, 0.0, 1e-10);
    }
    for (int t = 0; t < T; ++t) {
        double fit = 0.0;
        for (int i = 0; i < k; ++i) fit += b.get()[0][i] * x.get()[i][t];
        EXPECT_NEAR(e.get()[0][t], y.get()[0][t] - fit, 1e-11);
    }

    // More regressors than observations, and bad arguments.
    OwnedMat wide = Random(4, 2, rng), yw = Random(1, 2, rng), bw = Make(1, 4), ew = Make(1, 2);
    EXPECT_LT(OlsQr(wide.get(), 4, 2, yw.get(), 1, bw.get(), nullptr, ew.get(), nullptr), 0);
    EXPECT_NEAR(ew.get()[0][0], 0.0, 1e-12);
    EXPECT_EQ(OlsQr(nullptr, 4, 2, yw.get(), 1, bw.get(), nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(OlsQr(wide.get(), 4, 0, yw.get(), 1, bw.get(), nullptr, nullptr, nullptr), 0);
}

}  // namespace
}  // namespace tessel
