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
    OwnedMat gt = Transpose(g.get(), n, n);
    return NaiveMul(g.get(), n, n, gt.get(), n);
}

// L L' from the lower triangle of a factor whose upper triangle must already be zero.
OwnedMat LowerTimesTranspose(CMATRIX L, int n) {
    OwnedMat lt = Transpose(L, n, n);
    return NaiveMul(L, n, n, lt.get(), n);
}

// Rounding bound for A A^-1 - I when A is ill-conditioned: a small multiple of n eps |A| |A^-1|.
double ConditionTolerance(CMATRIX A, CMATRIX Ainv, int n) {
    return 20.0 * n * 2.220446049250313e-16 * MaxAbs(A, n, n) * MaxAbs(Ainv, n, n) * n;
}

void ExpectIdentity(CMATRIX A, CMATRIX Ainv, int n, double tol) {
    OwnedMat p = NaiveMul(A, n, n, Ainv, n);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) EXPECT_NEAR(p.get()[i][j], i == j ? 1.0 : 0.0, tol) << i << "," << j;
}

TEST(MatrixCholesky, ReconstructsPlainAndBlocked) {
    std::mt19937 rng(11);
    for (int n : {1, 3, 7, 64, 65, 129, 200}) {
        for (int blocked = 0; blocked < 2; ++blocked) {
            OwnedMat a = n % 2 ? RandomSpd(n, rng) : NearlySingularSpd(n, 1e-4, rng);
            OwnedMat l = Make(n, n);
            MatCopy(l.get(), a.get(), n, n);
            ASSERT_EQ(blocked ? MatCholeskyBlocked(l.get(), n) : MatCholesky(l.get(), n), 0) << n;
            for (int i = 0; i < n; ++i)
                for (int j = i + 1; j < n; ++j) ASSERT_EQ(l.get()[i][j], 0.0);
            OwnedMat back = LowerTimesTranspose(l.get(), n);
            EXPECT_LE(MaxAbsDiff(back.get(), a.get(), n, n), 1e-12 * MaxAbs(a.get(), n, n)) << n;
        }
    }
}

TEST(MatrixCholesky, FailuresAreReported) {
    double r0[] = {1.0, 2.0}, r1[] = {2.0, 4.0};  // singular: second pivot 0
    double *rows[] = {r0, r1};
    EXPECT_EQ(MatCholesky(rows, 2), 1);
    EXPECT_EQ(MatCholesky(nullptr, 3), 1);
    EXPECT_EQ(MatCholeskyBlocked(nullptr, 3), 1);
    EXPECT_EQ(CholeskyOk(nullptr, 3), 0);
    double one = 4.0, *single[] = {&one};
    EXPECT_EQ(MatCholeskyBlocked(single, 0), 0);
    EXPECT_EQ(CholeskyOk(single, 1), 1);
    EXPECT_EQ(one, 2.0);

    // Indefinite only in the third block: the blocked path must notice it there.
    std::mt19937 rng(5);
    const int n = 150;
    OwnedMat a = RandomSpd(n, rng);
    a.get()[140][140] = -1.0;
    EXPECT_EQ(MatCholeskyBlocked(a.get(), n), 1);
}

TEST(MatrixLdl, ReconstructsAndFlagsSingularPivots) {
    std::mt19937 rng(3);
    const int n = 9;
    OwnedMat a = RandomSpd(n, rng);
    OwnedMat f = Make(n, n);
    MatCopy(f.get(), a.get(), n, n);
    f.get()[0][5] = 123.0;  // upper triangle must be left alone
    double d[n];
    ASSERT_EQ(MatLdl(f.get(), d, n), 0);
    EXPECT_EQ(f.get()[0][5], 123.0);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j <= i; ++j) {
            double s = 0.0;
            for (int k = 0; k <= j; ++k) {
                const double lik = k == i ? 1.0 : f.get()[i][k];
                const double ljk = k == j ? 1.0 : f.get()[j][k];
                s += lik * ljk / d[k];
            }
            EXPECT_NEAR(s, a.get()[i][j], 1e-12 * MaxAbs(a.get(), n, n));
        }

    double r0[] = {1.0, 1.0, 0.0}, r1[] = {1.0, 1.0, 0.0}, r2[] = {0.0, 0.0, 2.0};
    double *rows[] = {r0, r1, r2};
    double dd[3];
    EXPECT_EQ(MatLdl(rows, dd, 3), 1);
    EXPECT_EQ(dd[1], 1.7976931348623157e308);
    EXPECT_DOUBLE_EQ(dd[2], 0.5);  // the factorisation carried on past the singular pivot
    EXPECT_EQ(MatLdl(nullptr, dd, 3), 3);
    EXPECT_EQ(MatLdl(rows, nullptr, 3), 3);
}

TEST(MatrixInvSym, InverseAndLogDeterminant) {
    std::mt19937 rng(7);
    for (int n : {1, 2, 5, 33, 80}) {
        // n = 33: condition about 1e8, so agreement to about 1e-8 relative is what rounding allows.
        OwnedMat a = n == 33 ? NearlySingularSpd(n, 1e-3, rng) : RandomSpd(n, rng);
        OwnedMat inv = Make(n, n);
        MatCopy(inv.get(), a.get(), n, n);
        double logdet = 0.0;
        ASSERT_EQ(InvSym(inv.get(), n, &logdet), 0);
        ExpectIdentity(a.get(), inv.get(), n, n == 33 ? ConditionTolerance(a.get(), inv.get(), n) : 1e-10);
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < i; ++j) ASSERT_EQ(inv.get()[i][j], inv.get()[j][i]);
        // log det from an independent Cholesky factor.
        OwnedMat l = Make(n, n);
        MatCopy(l.get(), a.get(), n, n);
        ASSERT_EQ(MatCholesky(l.get(), n), 0);
        double expect = 0.0;
        for (int i = 0; i < n; ++i) expect += 2.0 * std::log(l.get()[i][i]);
        EXPECT_NEAR(logdet, expect, (n == 33 ? 1e-6 : 1e-11) * (1.0 + std::fabs(expect)));
    }
    double r0[] = {1.0, 1.0}, r1[] = {1.0, 1.0};
    double *rows[] = {r0, r1};
    EXPECT_EQ(InvSymNoDet(rows, 2), 1);
}

TEST(MatrixInvLu, InverseWithPivotingAndSingularCases) {
    std::mt19937 rng(9);
    for (int n : {1, 4, 31, 100}) {
        OwnedMat a = Random(n, n, rng);
        a.get()[0][0] = 0.0;  // forces a row exchange
        OwnedMat inv = Make(n, n);
        MatCopy(inv.get(), a.get(), n, n);
        double rcond = 0.0;
        int nsmall = -1;
        if (n == 1) a.get()[0][0] = inv.get()[0][0] = 2.0;
        ASSERT_EQ(HookInvGeneral(inv.get(), n, &rcond, &nsmall), 0);
        ExpectIdentity(a.get(), inv.get(), n, 1e-10);
        EXPECT_GT(rcond, 0.0);
        EXPECT_LE(rcond, 1.0);
        EXPECT_EQ(nsmall, 0);
    }
    // Nearly singular, condition about 1e9: still inverted, to the accuracy the condition allows.
    {
        const int n = 12;
        OwnedMat a = NearlySingularSpd(n, 3e-5, rng);
        OwnedMat inv = Make(n, n);
        MatCopy(inv.get(), a.get(), n, n);
        double rcond = 0.0;
        ASSERT_EQ(MatInvLu(inv.get(), n, &rcond, nullptr), 0);
        EXPECT_GT(MaxAbs(inv.get(), n, n), 1e5);
        ExpectIdentity(a.get(), inv.get(), n, ConditionTolerance(a.get(), inv.get(), n));
        EXPECT_LT(rcond, 1e-6);
    }
    double r0[] = {1.0, 2.0, 3.0}, r1[] = {2.0, 4.0, 6.0}, r2[] = {0.0, 1.0, 1.0};
    double *rows[] = {r0, r1, r2};
    EXPECT_EQ(MatInvLu(rows, 3, nullptr, nullptr), 1);
    EXPECT_EQ(r1[2], 6.0);  // left unchanged on failure
    double inf_row[] = {INFINITY}, *inf_rows[] = {inf_row};
    EXPECT_EQ(MatInvLu(inf_rows, 1, nullptr, nullptr), 1);
    EXPECT_EQ(MatInvLu(nullptr, 3, nullptr, nullptr), 3);
}

}  // namespace
}  // namespace tessel
