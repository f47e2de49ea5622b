#include <gtest/gtest.h>

#include <cmath>

#include "switching/ms_filter.h"
#include "tests/switching/ms_brute_force.h"

using ms_test::Matrix;
using ms_test::Model;

namespace {

void ExpectClose(double got, double want, const char *what, int t, int j) {
    EXPECT_NEAR(got, want, 1e-12 * std::fabs(want) + 1e-15) << what << " at t=" << t << ", j=" << j;
}

}  // namespace

TEST(MsFilter, MatchesEnumerationOfAllRegimePaths) {
    const int shapes[][2] = {{3, 1}, {1, 2}, {2, 2}, {5, 2}, {8, 2}, {1, 3}, {4, 3}, {8, 3}, {6, 4}, {4, 5}};
    unsigned seed = 1;
    for (auto [T, p] : shapes) {
        Model m(T, p, seed++);
        auto ref = ms_test::BruteForce(m);
        Matrix lik(T, 1), filt(T, p);
        ASSERT_EQ(tessel::MsFilter(m.eta.rows_in(), m.P.rows_in(), m.prior.data(), T, p, lik.rows_out(),
                                   filt.rows_out()),
                  1);
        for (int t = 0; t < T; ++t) {
            ExpectClose(lik[t][0], ref.lik[t], "lik", t, 0);
            for (int j = 0; j < p; ++j) ExpectClose(filt[t][j], ref.filt[t][j], "filt", t, j);
        }
    }
}

TEST(MsFilter, LikelihoodsAloneWhenFilteredOutputIsAbsent) {
    Model m(6, 3, 42);
    Matrix with(6, 1), without(6, 1), filt(6, 3);
    tessel::MsFilter(m.eta.rows_in(), m.P.rows_in(), m.prior.data(), 6, 3, with.rows_out(), filt.rows_out());
    ASSERT_EQ(tessel::MsFilter(m.eta.rows_in(), m.P.rows_in(), m.prior.data(), 6, 3, without.rows_out(), nullptr), 1);
    EXPECT_EQ(with.data, without.data);
}

TEST(MsFilter, PriorIsTheFirstPredictionAsItStands) {
    // An unnormalised prior is not pushed through P: lik[0] is sum of prior[j] eta[0][j].
    Matrix eta(1, 2), P(2, 2), lik(1, 1), filt(1, 2);
    eta[0][0] = 2.0, eta[0][1] = 3.0;
    P[0][0] = 0.0, P[0][1] = 1.0, P[1][0] = 1.0, P[1][1] = 0.0;  // always switches
    const double prior[2] = {0.5, 1.5};
    tessel::MsFilter(eta.rows_in(), P.rows_in(), prior, 1, 2, lik.rows_out(), filt.rows_out());
    EXPECT_DOUBLE_EQ(lik[0][0], 0.5 * 2.0 + 1.5 * 3.0);
    EXPECT_DOUBLE_EQ(filt[0][0], 1.0 / 5.5);
}

TEST(MsFilter, NegativeDensitiesCountAsZero) {
    Matrix eta(2, 2), P(2, 2), lik(2, 1), filt(2, 2);
    eta[0][0] = -1.0, eta[0][1] = 2.0, eta[1][0] = 1.0, eta[1][1] = 1.0;
    P[0][0] = 0.8, P[1][0] = 0.2, P[0][1] = 0.3, P[1][1] = 0.7;
    const double prior[2] = {0.5, 0.5};
    tessel::MsFilter(eta.rows_in(), P.rows_in(), prior, 2, 2, lik.rows_out(), filt.rows_out());
    EXPECT_DOUBLE_EQ(lik[0][0], 1.0);
    EXPECT_EQ(filt[0][0], 0.0);
    EXPECT_EQ(filt[0][1], 1.0);
    EXPECT_DOUBLE_EQ(filt[1][0], 0.3);  // the prediction from regime 1
}

TEST(MsFilter, ImpossibleObservationPoisonsTheRestOfTheSample) {
    Model m(4, 2, 7);
    m.eta[1][0] = m.eta[1][1] = 0.0;
    Matrix lik(4, 1), filt(4, 2);
    tessel::MsFilter(m.eta.rows_in(), m.P.rows_in(), m.prior.data(), 4, 2, lik.rows_out(), filt.rows_out());
    EXPECT_GT(lik[0][0], 0.0);
    EXPECT_EQ(lik[1][0], 0.0);
    for (int t = 1; t < 4; ++t)
        for (int j = 0; j < 2; ++j) EXPECT_FALSE(std::isfinite(filt[t][j])) << t << "," << j;
    EXPECT_TRUE(std::isfinite(filt[0][0]));
}

TEST(MsFilter, DoesNothingWithoutItsInputsOrRegimes) {
    Model m(2, 2, 3);
    Matrix lik(2, 1, -1.0);
    EXPECT_EQ(tessel::MsFilter(m.eta.rows_in(), m.P.rows_in(), m.prior.data(), 2, 2, nullptr, nullptr), 0);
    EXPECT_EQ(tessel::MsFilter(m.eta.rows_in(), m.P.rows_in(), m.prior.data(), 2, 0, lik.rows_out(), nullptr), 0);
    EXPECT_EQ(lik[0][0], -1.0);
}
