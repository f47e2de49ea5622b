#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "numeric/kernels.h"
#include "tests/numeric/matrix_test_util.h"

namespace tessel {
namespace {

using namespace tessel::testing;

// Every transposition case against the triple loop, at sizes that leave remainders in every
// unrolled and blocked loop and at sizes large enough to take the blocked path.
TEST(MatrixMul, AllTranspositionCasesAgreeWithTripleLoop) {
    std::mt19937 rng(2);
    const int shapes[][3] = {{1, 1, 1}, {3, 5, 7}, {4, 4, 4}, {17, 33, 9}, {2, 300, 3},
                             {130, 70, 129}, {67, 259, 45}, {200, 200, 200}};
    for (const auto &s : shapes) {
        const int m = s[0], k = s[1], n = s[2];
        OwnedMat a = Random(m, k, rng), b = Random(k, n, rng);
        OwnedMat at = Transpose(a.get(), m, k), bt = Transpose(b.get(), k, n);
        OwnedMat ref = NaiveMul(a.get(), m, k, b.get(), n);
        const double tol = 1e-13 * k;
        for (int ta = 0; ta < 2; ++ta)
            for (int tb = 0; tb < 2; ++tb) {
                OwnedMat out = Make(m, n);
                CMATRIX A = ta ? at.get() : a.get();
                CMATRIX B = tb ? bt.get() : b.get();
                MatMulGeneral(out.get(), A, ta ? k : m, ta ? m : k, B, tb ? n : k, tb ? k : n, ta, tb);
                EXPECT_LE(MaxAbsDiff(out.get(), ref.get(), m, n), tol) << m << "x" << k << "x" << n << " " << ta << tb;
            }
        OwnedMat o1 = Make(m, n), o2 = Make(m, n);
        MatMul(a.get(), m, k, b.get(), n, o1.get());
        MatMulABt(a.get(), m, k, bt.get(), n, o2.get());
        EXPECT_LE(MaxAbsDiff(o1.get(), ref.get(), m, n), tol);
        EXPECT_LE(MaxAbsDiff(o2.get(), ref.get(), m, n), tol);
    }
}

int g_hook_calls = 0;
void CountingMul(MATRIX Out, CMATRIX A, int ra, int ca, CMATRIX B, int rb, int cb, int ta, int tb) {
    ++g_hook_calls;
    MatMulGeneral(Out, A, ra, ca, B, rb, cb, ta, tb);
}

TEST(MatrixMul, CallersGoThroughTheHookAndBadShapesAreHarmless) {
    std::mt19937 rng(6);
    OwnedMat a = RandomSpd(100, rng);
    MatMulFn saved = HookMatMul;
    HookMatMul = CountingMul;
    OwnedMat small = Make(2, 2);
    MatMul(a.get(), 2, 2, a.get(), 2, small.get());
    EXPECT_EQ(MatCholeskyBlocked(a.get(), 100), 0);  // the blocked update multiplies through the hook
    HookMatMul = saved;
    EXPECT_GE(g_hook_calls, 2);

    OwnedMat out = Make(2, 2);
    MatSetNaN(out.get(), 2, 2);
    MatMulGeneral(out.get(), a.get(), 2, 3, a.get(), 2, 2, 0, 0);  // inner sizes 3 and 2 disagree
    EXPECT_TRUE(std::isnan(out.get()[0][0]));
    MatMulGeneral(out.get(), a.get(), 2, 0, a.get(), 0, 2, 0, 0);  // empty inner dimension
    EXPECT_EQ(out.get()[1][1], 0.0);
    MatMulGeneral(nullptr, a.get(), 2, 2, a.get(), 2, 2, 0, 0);
}

TEST(MatrixInner, ProductsCrossProductsAndQuadraticForms) {
    double x[7] = {1, 2, 3, 4, 5, 6, 7}, y[7] = {7, 6, 5, 4, 3, 2, 1};
    EXPECT_EQ(VecInner(x, y, 7), 84.0);
    EXPECT_EQ(VecInner(x, x, 7), 140.0);
    EXPECT_EQ(VecSumSq(x, 5), 55.0);
    EXPECT_EQ(VecInner(x, y, 0), 0.0);
    EXPECT_EQ(VecInner(x, y, -3), 0.0);

    std::mt19937 rng(1);
    const int n = 3, cols = 9;
    OwnedMat a = Random(n, cols, rng), out = Make(n, n);
    MatCrossRows(a.get(), n, 2, 7, out.get());
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
            double s = 0.0;
            for (int c = 2; c <= 7; ++c) s += a.get()[i][c] * a.get()[j][c];
            EXPECT_NEAR(out.get()[i][j], s, 1e-13);
        }

    // x' S x for column j of X, with garbage in the upper triangle of S that must not be read.
    const int k = 5;
    OwnedMat X = Random(k, 3, rng), S = RandomSpd(k, rng);
    double full = 0.0;
    for (int a1 = 0; a1 < k; ++a1)
        for (int b1 = 0; b1 < k; ++b1) full += X.get()[a1][1] * S.get()[a1][b1] * X.get()[b1][1];
    for (int a1 = 0; a1 < k; ++a1)
        for (int b1 = a1 + 1; b1 < k; ++b1) S.get()[a1][b1] = 1e300;
    EXPECT_NEAR(QuadFormLower(1, X.get(), S.get(), k), full, 1e-12 * (1.0 + std::fabs(full)));
    EXPECT_EQ(QuadFormLower(1, X.get(), S.get(), 0), 0.0);
}

}  // namespace
}  // namespace tessel
