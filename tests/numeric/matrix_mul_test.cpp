#include <gtest/gtest.h>
#include <cmath>
#include <random>
#include "numeric/kernels.h"
#include "tests/numeric/matrix_test_util.h"

namespace tessel {
namespace {
using namespace tessel::testing;

// Sizes leave remainders in every unrolled and blocked loop; the larger ones take the blocked path.
TEST(MatrixMul, AllTranspositionCasesAgreeWithTripleLoop) {
    std::mt19937 rng(2);
    const int shapes[][3] = {{1, 1, 1}, {3, 5, 7}, {4, 4, 4}, {17, 33, 9}, {2, 300, 3}, {130, 70, 129}, {67, 259, 45}, {200, 200, 200}};
    for (const auto &[m, k, n] : shapes) {
        OwnedMat a = Random(m, k, rng), b = Random(k, n, rng), ref = NaiveMul(a.get(), m, k, b.get(), n);
        OwnedMat at = Transpose(a.get(), m, k), bt = Transpose(b.get(), k, n), o1 = Make(m, n), o2 = Make(m, n);
        for (int ta = 0; ta < 2; ++ta)
            for (int tb = 0; tb < 2; ++tb) {
                OwnedMat out = Make(m, n);
                MatMulGeneral(out.get(), ta ? at.get() : a.get(), ta ? k : m, ta ? m : k, tb ? bt.get() : b.get(), tb ? n : k,
                              tb ? k : n, ta, tb);
                EXPECT_LE(MaxAbsDiff(out.get(), ref.get(), m, n), 1e-13 * k) << m << "x" << k << "x" << n << " " << ta << tb;
            }
        MatMul(a.get(), m, k, b.get(), n, o1.get());
        MatMulABt(a.get(), m, k, bt.get(), n, o2.get());
        EXPECT_LE(MaxAbsDiff(o1.get(), ref.get(), m, n) + MaxAbsDiff(o2.get(), ref.get(), m, n), 1e-13 * k);
    }
}

int g_hook_calls = 0;
void CountingMul(MATRIX Out, CMATRIX A, int ra, int ca, CMATRIX B, int rb, int cb, int ta, int tb) {
    ++g_hook_calls;
    MatMulGeneral(Out, A, ra, ca, B, rb, cb, ta, tb);
}

TEST(MatrixMul, CallersGoThroughTheHookAndBadShapesAreHarmless) {
    std::mt19937 rng(6);
    OwnedMat a = RandomSpd(100, rng), out = Make(2, 2);
    MatMulFn saved = HookMatMul;
    HookMatMul = CountingMul;
    MatMul(a.get(), 2, 2, a.get(), 2, out.get());
    EXPECT_EQ(MatCholeskyBlocked(a.get(), 100), 0);  // the blocked update multiplies through the hook
    HookMatMul = saved;
    EXPECT_GE(g_hook_calls, 2);
    MatSetNaN(out.get(), 2, 2);
    MatMulGeneral(out.get(), a.get(), 2, 3, a.get(), 2, 2, 0, 0);  // inner sizes 3 and 2 disagree
    EXPECT_TRUE(std::isnan(out.get()[0][0]));
    MatMulGeneral(out.get(), a.get(), 2, 0, a.get(), 0, 2, 0, 0);  // empty inner dimension
    EXPECT_EQ(out.get()[1][1], 0.0);
    MatMulGeneral(nullptr, a.get(), 2, 2, a.get(), 2, 2, 0, 0);
}

TEST(MatrixInner, ProductsCrossProductsAndQuadraticForms) {
    double x[7] = {1, 2, 3, 4, 5, 6, 7}, y[7] = {7, 6, 5, 4, 3, 2, 1};
    EXPECT_TRUE(VecInner(x, y, 7) == 84.0 && VecInner(x, x, 7) == 140.0 && VecSumSq(x, 5) == 55.0);
    EXPECT_TRUE(VecInner(x, y, 0) == 0.0 && VecInner(x, y, -3) == 0.0);
    std::mt19937 rng(1);
    OwnedMat a = Random(3, 9, rng), out = Make(3, 3);
    MatCrossRows(a.get(), 3, 2, 7, out.get());  // columns 2..7 only
    for (int i = 0; i < 9; ++i) {
        double s = 0.0;
        for (int c = 2; c <= 7; ++c) s += a.get()[i / 3][c] * a.get()[i % 3][c];
        EXPECT_NEAR(out.get()[i / 3][i % 3], s, 1e-13);
    }
    // x' S x for column 1 of X, with garbage in the upper triangle of S that must not be read.
    const int k = 5;
    OwnedMat X = Random(k, 3, rng), S = RandomSpd(k, rng);
    double full = 0.0;
    for (int i = 0; i < k * k; ++i) full += X.get()[i / k][1] * S.get()[i / k][i % k] * X.get()[i % k][1];
    for (int i = 0; i < k * k; ++i)
        if (i % k > i / k) S.get()[i / k][i % k] = 1e300;
    EXPECT_NEAR(QuadFormLower(1, X.get(), S.get(), k), full, 1e-12 * (1.0 + std::fabs(full)));
    EXPECT_EQ(QuadFormLower(1, X.get(), S.get(), 0), 0.0);
}

}  // namespace
}  // namespace tessel
