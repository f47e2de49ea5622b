#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "switching/ms_filter.h"
#include "tests/switching/ms_brute_force.h"

using ms_test::Matrix;
using ms_test::Model;

namespace {

using Smoother = int (*)(const double *const *, const double *const *, int, int, double *const *, double *const *);
const Smoother kSmoothers[] = {tessel::MsSmooth, tessel::MsSmooth2, tessel::MsSmooth2Sym};

struct Smoothed {
    Matrix smooth, S;
    int result;
    Smoothed(Smoother f, const Matrix &filt, const Matrix &P) : smooth(filt.rows, filt.cols, -7), S(P.rows, P.cols, -7) {
        result = f(filt.in(), P.in(), filt.rows, filt.cols, smooth.out(), S.out());
    }
};

Matrix Of(int rows, int cols, std::vector<double> data) {
    Matrix m(rows, cols);
    std::copy(data.begin(), data.end(), m.data.begin());
    return m;
}

}  // namespace

TEST(MsRecursions, SymmetricFormBackPropagatesThroughPTransposed) {
    // Worked in exact fractions for P = [.9 .3; .1 .7] and filtered rows (.6, .4), (.2, .8).
    const Matrix P = Of(2, 2, {0.9, 0.3, 0.1, 0.7}), filt = Of(2, 2, {0.6, 0.4, 0.2, 0.8});
    Smoothed sym(tessel::MsSmooth2Sym, filt, P), plain(tessel::MsSmooth2, filt, P);
    EXPECT_NEAR(sym.smooth[0][0], 549.0 / 935.0, 1e-15);
    EXPECT_NEAR(sym.smooth[0][1], 1882.0 / 2805.0, 1e-15);
    EXPECT_NEAR(plain.smooth[0][0], 57.0 / 187.0, 1e-15);
    EXPECT_EQ(sym.S.data, plain.S.data);
    EXPECT_NEAR(sym.S[1][0], 0.8 / 0.34 * 0.6, 1e-15);
}

TEST(MsRecursions, FilterTreatsNegativesAsZeroAndDoesNotGuardAZeroSum) {
    Matrix eta = Of(3, 2, {-1.0, 2.0, 1.0, 1.0, 0.0, 0.0}), P = Of(2, 2, {0.8, 0.3, 0.2, 0.7}), lik(3, 1), filt(3, 2);
    const double prior[2] = {0.5, 1.5};  // used as it stands, not pushed through P
    tessel::MsFilter(eta.in(), P.in(), prior, 3, 2, lik.out(), filt.out());
    EXPECT_EQ(lik[0][0], 3.0);
    EXPECT_EQ(filt[0][0], 0.0);
    EXPECT_DOUBLE_EQ(filt[1][0], 0.3);
    EXPECT_EQ(lik[2][0], 0.0);
    EXPECT_TRUE(std::isnan(filt[2][0]));
    EXPECT_EQ(tessel::MsFilter(eta.in(), P.in(), prior, 3, 2, nullptr, nullptr), 0);
    // Densities so small that their sum is subnormal still give proper probabilities.
    eta.data = {1e-310, 3e-310, 1, 1, 1, 1};
    tessel::MsFilter(eta.in(), P.in(), prior, 3, 2, lik.out(), filt.out());
    EXPECT_NEAR(filt[0][0], 0.1, 1e-10);
    EXPECT_DOUBLE_EQ(filt[2][0] + filt[2][1], 1.0);
}

TEST(MsRecursions, SmootherFloorsCapsAndClamps) {
    const Matrix I = Of(2, 2, {1, 0, 0, 1});
    // A prediction of 1e-120 is replaced by 1e100 in the ratio: 0.5 * 1e100 * 1e-120, not Bayes' 0.5.
    EXPECT_DOUBLE_EQ(Smoothed(tessel::MsSmooth, Of(2, 2, {1.0, 1e-120, 0.5, 0.5}), I).smooth[0][1], 5e-21);
    for (Smoother f : kSmoothers) {  // products above 1 become 1, those at or below 1e-100 exactly 0
        Smoothed r(f, Of(2, 2, {0.5, 0.5, 1.5, 0.5e-100}), I);
        EXPECT_EQ(r.smooth[0][0], 1.0);
        EXPECT_EQ(r.smooth[0][1], 0.0);
    }
    // A prediction of exactly 0 (nothing moves to regime 1) is no division by zero.
    Smoothed z(tessel::MsSmooth, Of(2, 2, {0.25, 0.75, 1.0, 0.0}), Of(2, 2, {1, 1, 0, 0}));
    EXPECT_EQ(z.smooth.data, (std::vector<double>{0.25, 0.75, 1.0, 0.0}));
}

TEST(MsRecursions, SmoothersWithoutAnOutputWriteNothing) {
    Model m(4, 2, 5);
    Matrix smooth(4, 2, -7), S(2, 2, -7);
    for (Smoother f : kSmoothers) {  // the second forms skip even the last row when S is absent
        EXPECT_EQ(f(m.filt.in(), m.P.in(), 4, 2, smooth.out(), nullptr), 0);
        EXPECT_EQ(f(m.filt.in(), m.P.in(), 4, 2, nullptr, S.out()) + f(m.filt.in(), m.P.in(), 0, 2, smooth.out(), S.out()), 0);
    }
    EXPECT_EQ(smooth.data, std::vector<double>(8, -7));
    EXPECT_EQ(S.data, std::vector<double>(4, -7));
}
