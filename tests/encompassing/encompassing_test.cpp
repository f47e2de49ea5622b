#include "encompassing/encompassing.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>

#include "tests/encompassing/iv_reference.h"

using namespace tessel;
using namespace ivref;

namespace {

struct Result {
    int code, m = -1, k = -1;
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
    Result r;
    r.stats.fill(-1.0);
    r.index.assign(m1.e() + m1.z() + m2.e() + m2.z(), -1);
    r.code = EncompassingTests(Pointers(a).data(), m1.d(), m1.e(), m1.z(), Pointers(b).data(), m2.d(), m2.e(), m2.z(),
                               static_cast<int>(m1.y.size()), r.index.data(), &r.m, &r.k, r.stats.data());
    r.index.resize(std::max(r.m, 0));
    return r;
}

void ExpectStats(const Result &r, const std::vector<double> &want) {
    ASSERT_EQ(r.code, kEncompassingOk);
    for (int i = 0; i < kEncompassingStats; ++i)
        EXPECT_NEAR(r.stats[i], want[i], 1e-8 * (1.0 + std::fabs(want[i]))) << "statistic " << i;
}

// Every regressor its own instrument: ordinary least squares and the classical F tests.
TEST(EncompassingStatistics, LeastSquaresCase) {
    Model s1, s2;
    Simulated(150, 7, s1, s2);
    const Model m1{s1.y, {}, {s1.exo[0], s1.exo[1], s1.inst[0]}, {}},
        m2{s1.y, {}, {s1.exo[0], s2.exo[1], s2.inst[0], s2.inst[1]}, {}};
    const Result r = RunTests(m1, m2);
    ExpectStats(r, Statistics(m1, m2));
    auto rss = [&](const Rows &X) {
        const Series f = Project(Orthonormal(X), m1.y);
        double s = 0.0;
        for (size_t t = 0; t < f.size(); ++t) s += (m1.y[t] - f[t]) * (m1.y[t] - f[t]);
        return s;
    };
    const double rss1 = rss(m1.X()), rss2 = rss(m2.X()), rssJ = rss(Union(m1.X(), m2.X()));
    EXPECT_NEAR(r.stats[kF1], (rss1 - rssJ) / 3.0 / (rssJ / 144.0), 1e-9 * r.stats[kF1]);
    EXPECT_NEAR(r.stats[kF2], (rss2 - rssJ) / 2.0 / (rssJ / 144.0), 1e-9 * r.stats[kF2]);
    EXPECT_NEAR(r.stats[kSigma1], std::sqrt(rss1 / 147.0), 1e-12);
    EXPECT_NEAR(r.stats[kSigma2], std::sqrt(rss2 / 146.0), 1e-12);
    EXPECT_NEAR(r.stats[kSigmaJoint], std::sqrt(rssJ / 144.0), 1e-12);
}

TEST(EncompassingStatistics, TwoStageLeastSquares) {
    for (int T : {200, 1300}) {  // one pass over the data and several
        Model m1, m2;
        Simulated(T, 11, m1, m2);
        Result r = RunTests(m1, m2);
        ExpectStats(r, Statistics(m1, m2));
        EXPECT_EQ(r.index, (std::vector<int>{0, 1, 2, 3, 5, 6, 7}));  // model 2's constant pooled
        EXPECT_EQ(r.k, 5);
        EXPECT_GT(std::min(r.stats[kF1], r.stats[kF2]), 10.0);  // neither model holds all of y

        // Another series in model 2's row 0 changes only what rests on RSS2.
        for (size_t t = 0; t < m2.y.size(); ++t) m2.y[t] += 0.3 * std::sin(0.1 * t);
        const Result other = RunTests(m1, m2);
        ExpectStats(other, Statistics(m1, m2));
        for (int i : {kSargan1, kNTest12, kF1, kF2, kEricsson12, kSigma1, kSigmaJoint})
            EXPECT_NEAR(other.stats[i], r.stats[i], 1e-12 * (1.0 + std::fabs(r.stats[i])));
        EXPECT_NE(other.stats[kSigma2], r.stats[kSigma2]);
    }
}

TEST(EncompassingStatistics, ResultCodesWriteNothing) {
    Model m1, m2;
    Simulated(90, 5, m1, m2);
    const Series zero(90, 0.0);
    Model scaled = m2, zeros = m1, zero_y1 = m1, zero_y2 = m2, repeated = m1, far = m2;
    scaled.inst.push_back(m1.inst[0]);
    for (double &x : scaled.inst.back()) x *= 2.0;
    zeros.inst.push_back(zero);
    zero_y1.y = zero_y2.y = zero;
    repeated.endo.push_back(m1.endo[0]);
    for (size_t t = 0; t < 90; ++t) far.y[t] = 10.0 * (m2.y[t] + 3.0);  // RSS2 < 0: y2'X2 b2 dominates y'y
    const Model short1{m1.y, m1.endo, {m1.exo[0]}, {}}, short2{m1.y, m2.endo, {m1.exo[0]}, {m2.inst[0]}};
    const Model sub{m1.y, m1.endo, {m1.exo[0]}, m2.inst}, bare{m1.y, {}, {}, m1.inst};
    const Model twice{m1.y, {m2.endo[0], m2.endo[0]}, {m2.exo[0]}, {m2.inst[0]}};
    const struct {
        const Model &a, &b;
        int code;
    } cases[] = {{short1, short2, kEncompassingUnderIdentified},
                 {short1, short1, kEncompassingUnderIdentified},
                 {m1, m1, kEncompassingNested},
                 {m1, sub, kEncompassingNested},
                 {sub, m1, kEncompassingNested},
                 {zeros, m2, kEncompassingSingular},
                 {m1, scaled, kEncompassingSingular},
                 {repeated, m2, kEncompassingSingular},
                 {bare, twice, kEncompassingSingular},  // no regressors in model 1
                 {zero_y1, zero_y2, kEncompassingOutOfRange},
                 {m1, far, kEncompassingOutOfRange}};
    for (const auto &c : cases) {
        const Result r = RunTests(c.a, c.b);
        EXPECT_EQ(r.code, c.code) << &c - cases;
        EXPECT_EQ(r.m + r.k, -2);
        EXPECT_EQ(r.stats[0] + r.stats[10], -2.0);
    }
}

TEST(EncompassingLists, DuplicatesByExactEquality) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const Series y{1, 2, 3}, p{1, 0, -0.0}, q{0, 1, 1}, r{2, 1, 0}, s{3, 3, 1}, p0{1, 0, 0}, near{2, 1, 1e-300},
        bad{4, nan, 6};
    // A: y | p (endogenous) | q (exogenous) | r, bad.  B: y | s (endogenous) | q, p0 | r, near, bad, s.
    const Rows a{y, p, q, r, bad}, b{y, s, q, p0, r, near, bad, s};
    EncompassingLists L;
    EncompassingJoin(Pointers(a).data(), 2, 1, 2, Pointers(b).data(), 2, 2, 4, 3, L);
    // W: q r bad from A; B's p0 equals p only (0.0 == -0.0), not in W yet; near is new; B's bad
    // never matches; B's s is new in W (it is a regressor only in J).
    EXPECT_EQ(L.w_index, (std::vector<int>{0, 1, 2, 4, 6, 7, 8}));
    EXPECT_EQ(L.j, (std::vector<const double *>{a[1].data(), a[2].data(), b[1].data()}));
    EXPECT_EQ(L.x2_in_j, (std::vector<int>{2, 1, 0}));
    // A NaN series is not even the same as itself.
    EncompassingJoin(Pointers(a).data(), 1, 0, 4, Pointers(a).data(), 1, 0, 4, 3, L);
    EXPECT_EQ(L.w_index, (std::vector<int>{0, 1, 2, 3, 7}));
}

TEST(EncompassingLists, NoObservations) {
    const std::vector<const double *> rows(4, nullptr);  // nothing may be read
    std::vector<int> index(6);
    int m = -1, k = -1;
    double stats[kEncompassingStats];
    EXPECT_EQ(EncompassingTests(rows.data(), 2, 1, 1, rows.data(), 2, 1, 1, 0, index.data(), &m, &k, stats),
              kEncompassingNested);
    EXPECT_EQ(m, -1);
}

}  // namespace
