#include <gtest/gtest.h>

#include <cmath>

#include "switching/ms_filter.h"
#include "tests/switching/ms_brute_force.h"

using ms_test::Matrix;
using ms_test::Model;

namespace {

using Smoother = int (*)(const double *const *, const double *const *, int, int, double *const *, double *const *);
const Smoother kSmoothers[] = {tessel::MsSmooth, tessel::MsSmooth2, tessel::MsSmooth2Sym};

void ExpectNear(const Matrix &got, const Matrix &want, const char *what) {
    for (size_t k = 0; k < want.data.size(); ++k)
        EXPECT_NEAR(got.data[k], want.data[k], 1e-11 * std::fabs(want.data[k]) + 1e-14) << what << " element " << k;
}

struct Smoothed {
    Matrix smooth, S;
    int result;
    Smoothed(Smoother f, const Matrix &filt, const Matrix &P) : smooth(filt.rows, filt.cols, -7), S(P.rows, P.cols, -7) {
        result = f(filt.in(), P.in(), filt.rows, filt.cols, smooth.out(), S.out());
    }
};

}  // namespace

TEST(MsRecursions, MatchEnumerationOfEveryRegimePath) {
    const int shapes[][2] = {{3, 1}, {1, 2}, {5, 2}, {8, 2}, {1, 3}, {8, 3}, {6, 4}, {4, 5}};
    unsigned seed = 1;
    for (bool symmetric : {false, true})
        for (auto [T, p] : shapes) {
            SCOPED_TRACE(testing::Message() << "T=" << T << " p=" << p << " symmetric=" << symmetric);
            Model m(T, p, seed++, symmetric);
            Matrix lik(T, 1), filt(T, p), lik_only(T, 1);
            ASSERT_EQ(tessel::MsFilter(m.eta.in(), m.P.in(), m.prior.data(), T, p, lik.out(), filt.out()), 1);
            tessel::MsFilter(m.eta.in(), m.P.in(), m.prior.data(), T, p, lik_only.out(), nullptr);
            for (int t = 0; t < T; ++t) EXPECT_NEAR(lik[t][0], m.lik[t], 1e-12 * m.lik[t]);
            EXPECT_EQ(lik.data, lik_only.data);
            ExpectNear(filt, m.filt, "filtered");

            Smoothed s1(tessel::MsSmooth, filt, m.P), s2(tessel::MsSmooth2, filt, m.P), sym(tessel::MsSmooth2Sym, filt, m.P);
            ASSERT_EQ(s1.result + s2.result + sym.result, 3);
            ExpectNear(s1.smooth, m.smooth, "MsSmooth");
            ExpectNear(s1.S, m.joint, "MsSmooth S");
            ExpectNear(s2.smooth, m.smooth, "MsSmooth2");
            for (int k = 0; k < p * p; ++k) s2.S.data[k] *= m.P.data[k];
            ExpectNear(s2.S, m.joint, "MsSmooth2 S times P");
            if (symmetric) ExpectNear(sym.smooth, m.smooth, "MsSmooth2Sym");
        }
}

TEST(MsRecursions, SymmetricFormBackPropagatesThroughPTransposed) {
    // Worked in exact fractions for P = [.9 .3; .1 .7] and filtered rows (.6, .4), (.2, .8).
    Matrix P(2, 2), filt(2, 2);
    P.data = {0.9, 0.3, 0.1, 0.7};
    filt.data = {0.6, 0.4, 0.2, 0.8};
    Smoothed sym(tessel::MsSmooth2Sym, filt, P), plain(tessel::MsSmooth2, filt, P);
    EXPECT_NEAR(sym.smooth[0][0], 549.0 / 935.0, 1e-15);
    EXPECT_NEAR(sym.smooth[0][1], 1882.0 / 2805.0, 1e-15);
    EXPECT_NEAR(plain.smooth[0][0], 57.0 / 187.0, 1e-15);
    EXPECT_EQ(sym.S.data, plain.S.data);
    EXPECT_NEAR(sym.S[1][0], 0.8 / 0.34 * 0.6, 1e-15);
}

TEST(MsRecursions, FilterTreatsNegativesAsZeroAndDoesNotGuardAZeroSum) {
    Matrix eta(3, 2), P(2, 2), lik(3, 1), filt(3, 2);
    eta.data = {-1.0, 2.0, 1.0, 1.0, 0.0, 0.0};
    P.data = {0.8, 0.3, 0.2, 0.7};
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
    Matrix I(2, 2), filt(2, 2), to0(2, 2);
    I.data = {1, 0, 0, 1};
    // A prediction of 1e-120 is replaced by 1e100 in the ratio: 0.5 * 1e100 * 1e-120, not Bayes' 0.5.
    filt.data = {1.0, 1e-120, 0.5, 0.5};
    EXPECT_DOUBLE_EQ(Smoothed(tessel::MsSmooth, filt, I).smooth[0][1], 5e-21);
    // Products above 1 become 1, those at or below 1e-100 exactly 0.
    filt.data = {0.5, 0.5, 1.5, 0.5e-100};
    for (Smoother f : kSmoothers) {
        Smoothed r(f, filt, I);
        EXPECT_EQ(r.smooth[0][0], 1.0);
        EXPECT_EQ(r.smooth[0][1], 0.0);
    }
    // A prediction of exactly 0 (nothing moves to regime 1) is no division by zero.
    to0.data = {1, 1, 0, 0};
    filt.data = {0.25, 0.75, 1.0, 0.0};
    Smoothed z(tessel::MsSmooth, filt, to0);
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
