#include <gtest/gtest.h>
#include <cmath>
#include <random>
#include "numeric/kernels.h"
#include "tests/numeric/matrix_test_util.h"

namespace tessel {
namespace {
using namespace tessel::testing;

// G G' with the last column of G almost the first: positive definite, condition about 1 / eps^2.
OwnedMat NearlySingularSpd(int n, double eps, std::mt19937 &rng) {
    OwnedMat g = Random(n, n, rng);
    std::normal_distribution<double> nd;
    for (int i = 0; i < n; ++i) g.get()[i][n - 1] = g.get()[i][0] + eps * nd(rng);
    return NaiveMul(g.get(), n, n, g.get(), n, true);
}

OwnedMat Copy(CMATRIX a, int n) { return OwnedMat(MatDup(a, n, n)); }
// A A^-1 = I within tol, or within the rounding bound n^2 eps |A| |A^-1| (times 20) when tol is 0.
void ExpectIdentity(CMATRIX A, CMATRIX Ainv, int n, double tol = 0.0) {
    if (tol == 0.0) tol = 20.0 * n * n * 2.220446049250313e-16 * MaxAbs(A, n, n) * MaxAbs(Ainv, n, n);
    OwnedMat p = NaiveMul(A, n, n, Ainv, n);
    for (int i = 0; i < n * n; ++i) EXPECT_NEAR(p.get()[i / n][i % n], i / n == i % n ? 1.0 : 0.0, tol) << i;
}

TEST(MatrixCholesky, ReconstructsPlainAndBlockedAndReportsFailures) {
    std::mt19937 rng(11);
    for (int n : {1, 3, 7, 64, 65, 129, 200})
        for (int blocked = 0; blocked < 2; ++blocked) {
            OwnedMat a = n % 2 ? RandomSpd(n, rng) : NearlySingularSpd(n, 1e-4, rng), l = Copy(a.get(), n);
            ASSERT_EQ(blocked ? MatCholeskyBlocked(l.get(), n) : MatCholesky(l.get(), n), 0) << n;
            for (int i = 0; i < n; ++i)
                for (int j = i + 1; j < n; ++j) ASSERT_EQ(l.get()[i][j], 0.0);
            OwnedMat back = NaiveMul(l.get(), n, n, l.get(), n, true);
            EXPECT_LE(MaxAbsDiff(back.get(), a.get(), n, n), 1e-12 * MaxAbs(a.get(), n, n)) << n;
        }
    double r0[] = {1.0, 2.0}, r1[] = {2.0, 4.0}, *rows[] = {r0, r1};  // second pivot 0
    EXPECT_TRUE(MatCholesky(rows, 2) == 1 && MatCholesky(nullptr, 3) == 1 && MatCholeskyBlocked(nullptr, 3) == 1);
    EXPECT_EQ(CholeskyOk(nullptr, 3), 0);
    double one = 4.0, *single[] = {&one};
    EXPECT_TRUE(MatCholeskyBlocked(single, 0) == 0 && CholeskyOk(single, 1) == 1 && one == 2.0);
    OwnedMat a = RandomSpd(150, rng);  // indefinite only in the third block
    a.get()[140][140] = -1.0;
    EXPECT_EQ(MatCholeskyBlocked(a.get(), 150), 1);
}

TEST(MatrixLdl, ReconstructsAndFlagsSingularPivots) {
    std::mt19937 rng(3);
    const int n = 9;
    OwnedMat a = RandomSpd(n, rng), f = Copy(a.get(), n);
    f.get()[0][5] = 123.0;  // the upper triangle must be left alone
    double d[n];
    ASSERT_EQ(MatLdl(f.get(), d, n), 0);
    EXPECT_EQ(f.get()[0][5], 123.0);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j <= i; ++j) {  // d holds reciprocal pivots, L a unit diagonal
            double s = 0.0;
            for (int k = 0; k <= j; ++k) s += (k == i ? 1.0 : f.get()[i][k]) * (k == j ? 1.0 : f.get()[j][k]) / d[k];
            EXPECT_NEAR(s, a.get()[i][j], 1e-12 * MaxAbs(a.get(), n, n));
        }
    double r0[] = {1.0, 1.0, 0.0}, r1[] = {1.0, 1.0, 0.0}, r2[] = {0.0, 0.0, 2.0}, *rows[] = {r0, r1, r2}, dd[3];
    EXPECT_TRUE(MatLdl(rows, dd, 3) == 1 && dd[1] == 1.7976931348623157e308);
    EXPECT_DOUBLE_EQ(dd[2], 0.5);  // carried on past the singular pivot
    EXPECT_TRUE(MatLdl(nullptr, dd, 3) == 3 && MatLdl(rows, nullptr, 3) == 3);
}

TEST(MatrixInvSym, InverseAndLogDeterminant) {
    std::mt19937 rng(7);
    for (int n : {1, 2, 5, 33, 80}) {
        const bool ill = n == 33;  // condition about 1e8
        OwnedMat a = ill ? NearlySingularSpd(n, 1e-3, rng) : RandomSpd(n, rng), inv = Copy(a.get(), n), l = Copy(a.get(), n);
        double logdet = 0.0, expect = 0.0;
        ASSERT_EQ(InvSym(inv.get(), n, &logdet), 0);
        ExpectIdentity(a.get(), inv.get(), n, ill ? 0.0 : 1e-10);
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < i; ++j) ASSERT_EQ(inv.get()[i][j], inv.get()[j][i]);
        ASSERT_EQ(MatCholesky(l.get(), n), 0);  // log det from an independent factor
        for (int i = 0; i < n; ++i) expect += 2.0 * std::log(l.get()[i][i]);
        EXPECT_NEAR(logdet, expect, (ill ? 1e-6 : 1e-11) * (1.0 + std::fabs(expect)));
    }
    double r0[] = {1.0, 1.0}, r1[] = {1.0, 1.0}, *rows[] = {r0, r1};
    EXPECT_EQ(InvSymNoDet(rows, 2), 1);
}

TEST(MatrixInvLu, InverseWithPivotingAndSingularCases) {
    std::mt19937 rng(9);
    for (int n : {1, 4, 31, 100}) {
        OwnedMat a = Random(n, n, rng);
        a.get()[0][0] = n == 1 ? 2.0 : 0.0;  // forces a row exchange
        OwnedMat inv = Copy(a.get(), n);
        double rcond = 0.0;
        int nsmall = -1;
        ASSERT_EQ(HookInvGeneral(inv.get(), n, &rcond, &nsmall), 0);
        ExpectIdentity(a.get(), inv.get(), n, 1e-10);
        EXPECT_TRUE(rcond > 0.0 && rcond <= 1.0 && nsmall == 0) << n;
    }
    OwnedMat a = NearlySingularSpd(12, 3e-5, rng), inv = Copy(a.get(), 12);  // condition about 1e9
    double rcond = 0.0;
    ASSERT_EQ(MatInvLu(inv.get(), 12, &rcond, nullptr), 0);
    EXPECT_TRUE(MaxAbs(inv.get(), 12, 12) > 1e5 && rcond < 1e-6);
    ExpectIdentity(a.get(), inv.get(), 12);
    double r0[] = {1.0, 2.0, 3.0}, r1[] = {2.0, 4.0, 6.0}, r2[] = {0.0, 1.0, 1.0}, *rows[] = {r0, r1, r2};
    EXPECT_EQ(MatInvLu(rows, 3, nullptr, nullptr), 1);
    EXPECT_EQ(r1[2], 6.0);  // left unchanged on failure
    double inf_row[] = {INFINITY}, *inf_rows[] = {inf_row};
    EXPECT_TRUE(MatInvLu(inf_rows, 1, nullptr, nullptr) == 1 && MatInvLu(nullptr, 3, nullptr, nullptr) == 3);
}

}  // namespace
}  // namespace tessel
