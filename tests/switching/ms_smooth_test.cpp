#include <gtest/gtest.h>

#include <cmath>

#include "switching/ms_filter.h"
#include "tests/switching/ms_brute_force.h"

using ms_test::Matrix;
using ms_test::Model;

namespace {

using Smoother = int (*)(const double *const *, const double *const *, int, int, double *const *, double *const *);

struct SmoothRun {
    Matrix smooth, S;
    int result;
    SmoothRun(const Matrix &filt, const Matrix &P, Smoother f) : smooth(filt.rows, filt.cols, -7.0), S(P.rows, P.cols, -7.0) {
        result = f(filt.rows_in(), P.rows_in(), filt.rows, filt.cols, smooth.rows_out(), S.rows_out());
    }
};

Matrix Filtered(const Model &m) {
    Matrix lik(m.eta.rows, 1), filt(m.eta.rows, m.eta.cols);
    tessel::MsFilter(m.eta.rows_in(), m.P.rows_in(), m.prior.data(), m.eta.rows, m.eta.cols, lik.rows_out(),
                     filt.rows_out());
    return filt;
}

void ExpectMatrixNear(const Matrix &got, const Matrix &want, double tol, const char *what) {
    for (int i = 0; i < got.rows; ++i)
        for (int j = 0; j < got.cols; ++j)
            EXPECT_NEAR(got[i][j], want[i][j], tol * std::fabs(want[i][j]) + 1e-14) << what << " (" << i << "," << j << ")";
}

const int kShapes[][2] = {{3, 1}, {2, 2}, {5, 2}, {8, 2}, {3, 3}, {8, 3}, {6, 4}, {4, 5}};

}  // namespace

TEST(MsSmooth, SmoothedProbabilitiesAndJointWeightsMatchEnumeration) {
    unsigned seed = 11;
    for (auto [T, p] : kShapes) {
        Model m(T, p, seed++);
        auto ref = ms_test::BruteForce(m);
        SmoothRun r(Filtered(m), m.P, tessel::MsSmooth);
        ASSERT_EQ(r.result, 1);
        ExpectMatrixNear(r.smooth, ref.smooth, 1e-11, "smooth");
        ExpectMatrixNear(r.S, ref.joint, 1e-11, "S");
    }
}

TEST(MsSmooth, SecondFormsWeightsTimesPAreTheJointWeights) {
    unsigned seed = 31;
    for (auto [T, p] : kShapes) {
        Model m(T, p, seed++);
        auto ref = ms_test::BruteForce(m);
        SmoothRun r(Filtered(m), m.P, tessel::MsSmooth2);
        ASSERT_EQ(r.result, 1);
        ExpectMatrixNear(r.smooth, ref.smooth, 1e-11, "smooth");
        Matrix weighted(p, p);
        for (int i = 0; i < p; ++i)
            for (int j = 0; j < p; ++j) weighted[i][j] = r.S[i][j] * m.P[i][j];
        ExpectMatrixNear(weighted, ref.joint, 1e-11, "S * P");
    }
}

TEST(MsSmooth, SymmetricFormEqualsSecondFormForSymmetricP) {
    unsigned seed = 51;
    for (auto [T, p] : kShapes) {
        Model m(T, p, seed++, /*symmetric=*/true);
        auto ref = ms_test::BruteForce(m);
        Matrix filt = Filtered(m);
        SmoothRun sym(filt, m.P, tessel::MsSmooth2Sym), plain(filt, m.P, tessel::MsSmooth2);
        ASSERT_EQ(sym.result, 1);
        ExpectMatrixNear(sym.smooth, ref.smooth, 1e-11, "smooth");
        ExpectMatrixNear(sym.smooth, plain.smooth, 1e-13, "smooth vs MsSmooth2");
        ExpectMatrixNear(sym.S, plain.S, 1e-13, "S vs MsSmooth2");
    }
}

TEST(MsSmooth, SymmetricFormPropagatesThroughPTransposedForAsymmetricP) {
    // Worked by hand in exact fractions: P = [.9 .3; .1 .7], filtered rows (.6, .4) and (.2, .8).
    Matrix P(2, 2), filt(2, 2);
    P[0][0] = 0.9, P[0][1] = 0.3, P[1][0] = 0.1, P[1][1] = 0.7;
    filt[0][0] = 0.6, filt[0][1] = 0.4, filt[1][0] = 0.2, filt[1][1] = 0.8;
    SmoothRun sym(filt, P, tessel::MsSmooth2Sym), plain(filt, P, tessel::MsSmooth2);
    EXPECT_NEAR(sym.smooth[0][0], 549.0 / 935.0, 1e-15);
    EXPECT_NEAR(sym.smooth[0][1], 1882.0 / 2805.0, 1e-15);
    EXPECT_NEAR(plain.smooth[0][0], 57.0 / 187.0, 1e-15);
    EXPECT_NEAR(plain.smooth[0][1], 130.0 / 187.0, 1e-15);
    // S of both second forms: ratio[i] cur[j] with ratio = (.2 / .66, .8 / .34).
    const double want[2][2] = {{0.2 / 0.66 * 0.6, 0.2 / 0.66 * 0.4}, {0.8 / 0.34 * 0.6, 0.8 / 0.34 * 0.4}};
    for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 2; ++j) {
            EXPECT_NEAR(sym.S[i][j], want[i][j], 1e-15);
            EXPECT_NEAR(plain.S[i][j], want[i][j], 1e-15);
        }
    // Over a longer sample the asymmetric forms part ways in S as well.
    Model m(6, 3, 77);
    Matrix f = Filtered(m);
    SmoothRun a(f, m.P, tessel::MsSmooth2Sym), b(f, m.P, tessel::MsSmooth2);
    EXPECT_GT(std::fabs(a.smooth[0][0] - b.smooth[0][0]), 1e-6);
    EXPECT_GT(std::fabs(a.S[0][1] - b.S[0][1]), 1e-9);
}

TEST(MsSmooth, SingleObservationCopiesTheFilteredRow) {
    Matrix P(3, 3, 1.0 / 3.0), filt(1, 3);
    filt[0][0] = 0.2, filt[0][1] = 0.5, filt[0][2] = 0.3;
    for (Smoother f : {tessel::MsSmooth, tessel::MsSmooth2, tessel::MsSmooth2Sym}) {
        SmoothRun r(filt, P, f);
        EXPECT_EQ(r.result, 1);
        EXPECT_EQ(r.smooth.data, filt.data);
        for (double s : r.S.data) EXPECT_EQ(s, 0.0);
    }
}

TEST(MsSmooth, FloorsCapsAndClamps) {
    Matrix I(2, 2);
    I[0][0] = I[1][1] = 1.0;
    // A prediction of 1e-120 is capped at 1e100 in the ratio, so the smoothed probability is
    // 0.5 * 1e100 * 1e-120 = 5e-21 rather than Bayes' 0.5.
    Matrix filt(2, 2);
    filt[0][0] = 1.0, filt[0][1] = 1e-120, filt[1][0] = 0.5, filt[1][1] = 0.5;
    SmoothRun capped(filt, I, tessel::MsSmooth);
    EXPECT_DOUBLE_EQ(capped.smooth[0][1], 5e-21);
    EXPECT_DOUBLE_EQ(capped.smooth[0][0], 0.5);
    // Products above 1 are clamped to 1 and those at or below 1e-100 to exactly 0.
    filt[0][0] = 0.5, filt[0][1] = 0.5, filt[1][0] = 1.5, filt[1][1] = 0.5e-100;
    for (Smoother f : {tessel::MsSmooth, tessel::MsSmooth2, tessel::MsSmooth2Sym}) {
        SmoothRun r(filt, I, f);
        EXPECT_EQ(r.smooth[0][0], 1.0);
        EXPECT_EQ(r.smooth[0][1], 0.0);
    }
    // A prediction of exactly 0 gives the ratio 1e100 times the smoothed probability, not 0/0.
    Matrix to0(2, 2);
    to0[0][0] = to0[0][1] = 1.0;  // every regime moves to regime 0
    filt[0][0] = 0.25, filt[0][1] = 0.75, filt[1][0] = 1.0, filt[1][1] = 0.0;
    SmoothRun z(filt, to0, tessel::MsSmooth);
    EXPECT_DOUBLE_EQ(z.smooth[0][0], 0.25);
    EXPECT_DOUBLE_EQ(z.smooth[0][1], 0.75);
    for (double s : z.smooth.data) EXPECT_TRUE(std::isfinite(s));
}

TEST(MsSmooth, MissingOutputsFollowEachFormsRule) {
    Model m(4, 2, 5);
    Matrix filt = Filtered(m), smooth(4, 2, -7.0), S(2, 2, -7.0);
    // MsSmooth needs both outputs and touches neither without them.
    EXPECT_EQ(tessel::MsSmooth(filt.rows_in(), m.P.rows_in(), 4, 2, smooth.rows_out(), nullptr), 0);
    EXPECT_EQ(tessel::MsSmooth(filt.rows_in(), m.P.rows_in(), 4, 2, nullptr, S.rows_out()), 0);
    // The second forms without S do not even write the last row of smooth.
    EXPECT_EQ(tessel::MsSmooth2(filt.rows_in(), m.P.rows_in(), 4, 2, smooth.rows_out(), nullptr), 0);
    EXPECT_EQ(tessel::MsSmooth2Sym(filt.rows_in(), m.P.rows_in(), 4, 2, smooth.rows_out(), nullptr), 0);
    EXPECT_EQ(tessel::MsSmooth2(filt.rows_in(), m.P.rows_in(), 4, 2, nullptr, S.rows_out()), 0);
    for (double x : smooth.data) EXPECT_EQ(x, -7.0);
    for (double x : S.data) EXPECT_EQ(x, -7.0);
    // An empty sample has no last row to start from.
    EXPECT_EQ(tessel::MsSmooth(filt.rows_in(), m.P.rows_in(), 0, 2, smooth.rows_out(), S.rows_out()), 0);
}
