#include "encompassing/encompassing.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

#include "tests/encompassing/iv_reference.h"

using namespace tessel;
using ivref::Model;
using ivref::Rows;
using ivref::Series;

namespace {

constexpr double kUnset = -12345.0;

struct Result {
    int code = -99;
    int m = -1, k = -1;
    std::vector<int> index;
    std::array<double, kEncompassingStats> stats;
};

std::vector<const double *> Pointers(const Rows &rows) {
    std::vector<const double *> p;
    for (const Series &r : rows) p.push_back(r.data());
    return p;
}

Result RunTests(const Model &m1, const Model &m2) {
    const Rows a = m1.Block(), b = m2.Block();
    const std::vector<const double *> pa = Pointers(a), pb = Pointers(b);
    Result r;
    r.stats.fill(kUnset);
    r.index.assign(m1.e() + m1.z() + m2.e() + m2.z() + 1, -1);
    r.code = EncompassingTests(pa.data(), m1.d(), m1.e(), m1.z(), pb.data(), m2.d(), m2.e(), m2.z(),
                               static_cast<int>(m1.y.size()), r.index.data(), &r.m, &r.k, r.stats.data());
    return r;
}

void ExpectNothingWritten(const Result &r) {
    EXPECT_EQ(r.m, -1);
    EXPECT_EQ(r.k, -1);
    for (double s : r.stats) EXPECT_EQ(s, kUnset);
}

void ExpectClose(const std::array<double, kEncompassingStats> &got, const std::vector<double> &want, double rel) {
    for (int i = 0; i < kEncompassingStats; ++i)
        EXPECT_NEAR(got[i], want[i], rel * (1.0 + std::fabs(want[i]))) << "statistic " << i;
}

Series Scaled(const Series &x, double c) {
    Series out = x;
    for (double &v : out) v *= c;
    return out;
}

// Every regressor is its own instrument: the IV estimates are least squares and the F statistics
// are the classical tests of each model against the joint regression.
TEST(EncompassingLeastSquares, MatchesClassicalTests) {
    Model iv1, iv2;
    ivref::Simulated(150, 7, iv1, iv2);
    const Series one = iv1.exogenous[0];
    Model m1{iv1.y, {}, {one, iv1.exogenous[1], iv1.instruments[0]}, {}};
    Model m2{iv1.y, {}, {one, iv2.exogenous[1], iv2.instruments[0], iv2.instruments[1]}, {}};
    const Result r = RunTests(m1, m2);
    ASSERT_EQ(r.code, kEncompassingOk);
    EXPECT_EQ(r.m, 6);
    EXPECT_EQ(r.k, 6);

    const Rows X1 = m1.Regressors(), X2 = m2.Regressors(), XJ = ivref::Union(X1, X2);
    const double T = 150, k1 = 3, k2 = 4, k = 6;
    const double rss1 = ivref::OlsRss(m1.y, X1), rss2 = ivref::OlsRss(m1.y, X2), rssJ = ivref::OlsRss(m1.y, XJ);
    const double sJsq = rssJ / (T - k);
    EXPECT_NEAR(r.stats[kF1], (rss1 - rssJ) / (k - k1) / sJsq, 1e-9 * r.stats[kF1]);
    EXPECT_NEAR(r.stats[kF2], (rss2 - rssJ) / (k - k2) / sJsq, 1e-9 * r.stats[kF2]);
    EXPECT_NEAR(r.stats[kSigma1], std::sqrt(rss1 / (T - k1)), 1e-10);
    EXPECT_NEAR(r.stats[kSigma2], std::sqrt(rss2 / (T - k2)), 1e-10);
    EXPECT_NEAR(r.stats[kSigmaJoint], std::sqrt(sJsq), 1e-10);
    // With the joint regressors as instruments, y'Py - f1 is RSS1 - RSSJ.
    EXPECT_NEAR(r.stats[kSargan1], (rss1 - rssJ) / (rss1 / (T - k1)), 1e-8 * r.stats[kSargan1]);
    ExpectClose(r.stats, ivref::Statistics(m1, m2), 1e-8);
}

// y lies in model 1's span plus a part orthogonal to every regressor, so the joint model adds
// nothing to model 1: F1 is zero up to rounding and is never reported negative.
TEST(EncompassingLeastSquares, FAgainstAnEncompassingModelIsZeroNotNegative) {
    const int T = 60;
    Series one(T, 1.0), c(T), x(T), e(T), y(T);
    for (int t = 0; t < T; ++t) {
        c[t] = std::sin(0.7 * t);
        x[t] = std::cos(1.3 * t) + 0.1 * t;
        e[t] = (t % 2 ? 1.0 : -1.0) * (1.0 + 0.01 * t);
    }
    // Remove from e its projection on {one, c, x}, then build y.
    const Series pe = ivref::Project(ivref::Orthonormalise({one, c, x}), e);
    for (int t = 0; t < T; ++t) y[t] = 1.0 + 2.0 * c[t] + (e[t] - pe[t]);
    for (int flip = 0; flip < 8; ++flip) {
        Model m1{y, {}, {one, Scaled(c, 1.0 + flip)}, {}};
        Model m2{y, {}, {one, x}, {}};
        const Result r = RunTests(m1, m2);
        ASSERT_EQ(r.code, kEncompassingOk);
        EXPECT_GE(r.stats[kF1], 0.0);
        EXPECT_LT(r.stats[kF1], 1e-9);
        EXPECT_GT(r.stats[kF2], 10.0);
    }
}

TEST(EncompassingIv, MatchesTwoStageLeastSquares) {
    // A short sample and a long one whose sums run over several passes of the data.
    for (int T : {200, 1300}) {
        Model m1, m2;
        ivref::Simulated(T, 11, m1, m2);
        const Result r = RunTests(m1, m2);
        ASSERT_EQ(r.code, kEncompassingOk);
        EXPECT_EQ(r.m, 7);  // model 2's constant is pooled with model 1's
        EXPECT_EQ(r.k, 5);
        EXPECT_EQ(std::vector<int>(r.index.begin(), r.index.begin() + r.m), (std::vector<int>{0, 1, 2, 3, 5, 6, 7}));
        ExpectClose(r.stats, ivref::Statistics(m1, m2), 1e-8);

        // Sargan and the equation standard error straight from the 2SLS residuals of model 1.
        const ivref::Basis W = ivref::Orthonormalise(ivref::Union(m1.Instruments(), m2.Instruments()));
        const ivref::IvFit fit = ivref::FitIv(m1.y, m1.Regressors(), W);
        Series u = m1.y;
        const Rows X1 = m1.Regressors();
        for (size_t i = 0; i < X1.size(); ++i)
            for (size_t t = 0; t < u.size(); ++t) u[t] -= fit.beta[i] * X1[i][t];
        const double s1sq = ivref::Dot(u, u) / (T - 3);
        const Series pu = ivref::Project(W, u);
        EXPECT_NEAR(r.stats[kSigma1], std::sqrt(s1sq), 1e-10);
        EXPECT_NEAR(r.stats[kSargan1], ivref::Dot(pu, pu) / s1sq, 1e-8);
        // The data are generated by neither model alone: both F tests reject clearly.
        EXPECT_GT(r.stats[kF1], 10.0);
        EXPECT_GT(r.stats[kF2], 10.0);
    }
}

TEST(EncompassingIv, Model2DependentRowEntersOnlyItsResidualSum) {
    Model m1, m2;
    ivref::Simulated(120, 5, m1, m2);
    const Result same = RunTests(m1, m2);
    ASSERT_EQ(same.code, kEncompassingOk);
    for (size_t t = 0; t < m2.y.size(); ++t) m2.y[t] += 0.3 * std::sin(0.1 * t);
    const Result other = RunTests(m1, m2);
    ASSERT_EQ(other.code, kEncompassingOk);
    ExpectClose(other.stats, ivref::Statistics(m1, m2), 1e-8);
    for (int i : {kSargan1, kNTest12, kF1, kF2, kEricsson12, kSigma1, kSigmaJoint})
        EXPECT_NEAR(other.stats[i], same.stats[i], 1e-12 * (1.0 + std::fabs(same.stats[i]))) << i;
    for (int i : {kSargan2, kNTest21, kEricsson21, kSigma2}) EXPECT_NE(other.stats[i], same.stats[i]) << i;
}

TEST(EncompassingIv, MoreRegressorsAndSharedEndogenousRegressor) {
    // Both models instrument the same endogenous x1; model 2 adds x2 and further instruments.
    Model s1, s2;
    ivref::Simulated(300, 23, s1, s2);
    Model m1{s1.y, {s1.endogenous[0]}, {s1.exogenous[0], s1.exogenous[1]}, {s1.instruments[0], s1.instruments[1]}};
    Model m2{s1.y, {s1.endogenous[0], s2.endogenous[0]}, {s1.exogenous[0], s2.exogenous[1]},
             {s1.instruments[0], s2.instruments[0], s2.instruments[1]}};
    const Result r = RunTests(m1, m2);
    ASSERT_EQ(r.code, kEncompassingOk);
    EXPECT_EQ(r.k, 5);
    EXPECT_EQ(r.m, 7);
    EXPECT_EQ(std::vector<int>(r.index.begin(), r.index.begin() + r.m), (std::vector<int>{0, 1, 2, 3, 5, 7, 8}));
    ExpectClose(r.stats, ivref::Statistics(m1, m2), 1e-8);
}

// ---- Result codes ------------------------------------------------------------------------------

TEST(EncompassingCodes, FewerInstrumentsThanRegressors) {
    Model s1, s2;
    ivref::Simulated(80, 3, s1, s2);
    Model m1{s1.y, {s1.endogenous[0]}, {s1.exogenous[0]}, {}};
    Model m2{s1.y, {s2.endogenous[0]}, {s1.exogenous[0]}, {s2.instruments[0]}};
    const Result r = RunTests(m1, m2);  // W: one, w3; J: x1, one, x2
    EXPECT_EQ(r.code, kEncompassingUnderIdentified);
    ExpectNothingWritten(r);
    // Under-identification is decided before nesting: the same model twice still gives 1.
    EXPECT_EQ(RunTests(m1, m1).code, kEncompassingUnderIdentified);
}

TEST(EncompassingCodes, CoveringLists) {
    Model m1, m2;
    ivref::Simulated(80, 4, m1, m2);
    const Result same = RunTests(m1, m1);
    EXPECT_EQ(same.code, kEncompassingNested);
    ExpectNothingWritten(same);
    // Model 2's regressors all in model 1's (k = k1), with instruments of its own.
    Model sub{m1.y, {m1.endogenous[0]}, {m1.exogenous[0]}, {m2.instruments[0], m2.instruments[1]}};
    EXPECT_EQ(RunTests(m1, sub).code, kEncompassingNested);
    EXPECT_EQ(RunTests(sub, m1).code, kEncompassingNested);
    // Different regressors but model 2's instruments all among model 1's (m = e1 + z1).
    Model wide{m1.y, {m1.endogenous[0]}, {m1.exogenous[0], m1.exogenous[1]},
               {m1.instruments[0], m1.instruments[1], m2.exogenous[1], m2.instruments[0], m2.instruments[1]}};
    Model inside{m1.y, {m2.endogenous[0]}, {m1.exogenous[0], m2.exogenous[1]}, {m2.instruments[0]}};
    EXPECT_EQ(RunTests(wide, inside).code, kEncompassingNested);
    EXPECT_EQ(RunTests(inside, wide).code, kEncompassingNested);
}

TEST(EncompassingCodes, SingularMomentMatrices) {
    Model m1, m2;
    ivref::Simulated(90, 5, m1, m2);
    // An instrument that is zero throughout makes W W' singular.
    Model zero = m1;
    zero.instruments.push_back(Series(90, 0.0));
    Result r = RunTests(zero, m2);
    EXPECT_EQ(r.code, kEncompassingSingular);
    ExpectNothingWritten(r);
    // So does an instrument of model 2 that is twice one of model 1's.
    Model twice = m2;
    twice.instruments.push_back(Scaled(m1.instruments[0], 2.0));
    EXPECT_EQ(RunTests(m1, twice).code, kEncompassingSingular);
    // Model 1 naming its endogenous regressor twice makes its own moment matrix singular.
    Model repeated = m1;
    repeated.endogenous.push_back(m1.endogenous[0]);
    EXPECT_EQ(RunTests(repeated, m2).code, kEncompassingSingular);
}

TEST(EncompassingCodes, VarianceOutOfRange) {
    Model m1, m2;
    ivref::Simulated(90, 6, m1, m2);
    // y = 0: every residual sum is zero.
    Model z1 = m1, z2 = m2;
    z1.y.assign(90, 0.0);
    z2.y.assign(90, 0.0);
    Result r = RunTests(z1, z2);
    EXPECT_EQ(r.code, kEncompassingOutOfRange);
    ExpectNothingWritten(r);
    // Model 2's own y far along its fitted values makes RSS2 negative while model 1 is fine.
    const ivref::Basis W = ivref::Orthonormalise(ivref::Union(m1.Instruments(), m2.Instruments()));
    const ivref::IvFit fit2 = ivref::FitIv(m1.y, m2.Regressors(), W);
    const Rows X2 = m2.Regressors();
    Model far = m2;
    for (size_t t = 0; t < far.y.size(); ++t) {
        double fitted = 0.0;
        for (size_t i = 0; i < X2.size(); ++i) fitted += fit2.beta[i] * X2[i][t];
        far.y[t] = 10.0 * fitted;
    }
    EXPECT_EQ(RunTests(m1, far).code, kEncompassingOutOfRange);
    EXPECT_EQ(RunTests(m1, m2).code, kEncompassingOk);
}

// ---- Pooled lists ----------------------------------------------------------------------------

struct Lists {
    EncompassingLists lists;
    Lists(const Rows &a, int d1, int e1, int z1, const Rows &b, int d2, int e2, int z2) {
        const std::vector<const double *> pa = Pointers(a), pb = Pointers(b);
        EncompassingJoin(pa.data(), d1, e1, z1, pb.data(), d2, e2, z2, static_cast<int>(a[0].size()), lists);
    }
};

TEST(EncompassingLists, RepeatedRowsArePooledOnce) {
    const Series y{1, 2, 3, 4}, p{1, 0, 0, 1}, q{0, 1, 1, 0}, r{2, 1, 0, 5}, s{3, 3, 1, 0}, v{9, 8, 7, 6};
    // A: y | p (endogenous) | q (exogenous) | r ; B: y | v (endogenous) | q, p (exogenous) | r, s, r
    const Lists L({y, p, q, r}, 2, 1, 1, {y, v, q, p, r, s, r}, 2, 2, 3);
    ASSERT_EQ(L.lists.w.size(), 4u);  // q, r from A; B adds p (an instrument only in B) and s
    EXPECT_EQ(L.lists.w_index, (std::vector<int>{0, 1, 3, 5}));
    // J: p, q from A; B's v new, q and p repeated.
    ASSERT_EQ(L.lists.j.size(), 3u);
    EXPECT_EQ(L.lists.x2_in_j, (std::vector<int>{2, 1, 0}));
}

TEST(EncompassingLists, NaNRowsAreNeverPooled) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const Series y{1, 2, 3}, x{1, nan, 3}, w{4, 5, 6};
    // The same series with a NaN in both models, even the very same memory, is kept twice.
    Rows a{y, x, w}, b{y, x, w};
    const Lists copies(a, 1, 2, 0, b, 1, 2, 0);
    EXPECT_EQ(copies.lists.w_index, (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(copies.lists.x2_in_j, (std::vector<int>{2, 1}));
    const std::vector<const double *> pa = Pointers(a);
    EncompassingLists self;
    EncompassingJoin(pa.data(), 1, 2, 0, pa.data(), 1, 2, 0, 3, self);
    EXPECT_EQ(self.w.size(), 3u);
    EXPECT_EQ(self.j.size(), 3u);
}

TEST(EncompassingLists, EqualityIsExactAsDoubles) {
    const Series y{1, 2, 3}, zero{0.0, 1.0, 2.0}, negzero{-0.0, 1.0, 2.0}, near{0.0, 1.0, std::nextafter(2.0, 3.0)};
    // -0.0 equals 0.0; one ulp apart is another series.
    const Lists L({y, zero}, 1, 1, 0, {y, negzero, near}, 1, 2, 0);
    EXPECT_EQ(L.lists.w_index, (std::vector<int>{0, 2}));
    EXPECT_EQ(L.lists.x2_in_j, (std::vector<int>{0, 1}));
}

// ---- Degenerate shapes -----------------------------------------------------------------------

TEST(EncompassingDegenerate, EmptySampleAndEmptyModel) {
    // No observations: every row equals every other, nothing is read.
    const std::vector<const double *> pa(3, nullptr), pb(4, nullptr);
    std::vector<int> index(8);
    int m = -1, k = -1;
    double stats[kEncompassingStats];
    const int code = EncompassingTests(pa.data(), 1, 2, 0, pb.data(), 1, 3, 0, 0, index.data(), &m, &k, stats);
    EXPECT_EQ(code, kEncompassingNested);
    EXPECT_EQ(m, -1);

    // Model 1 without regressors against a model 2 that repeats a regressor: the routine must get
    // through the empty products without touching memory, and it cannot succeed.
    Model s1, s2;
    ivref::Simulated(40, 9, s1, s2);
    Model bare{s1.y, {}, {}, {s1.instruments[0], s1.instruments[1]}};
    Model twice{s1.y, {s2.endogenous[0], s2.endogenous[0]}, {s2.exogenous[0]}, {s2.instruments[0]}};
    const Result r = RunTests(bare, twice);
    EXPECT_NE(r.code, kEncompassingOk);
    ExpectNothingWritten(r);
}

}  // namespace
