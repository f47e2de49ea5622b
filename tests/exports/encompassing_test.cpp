// FnEncompassing end to end through the stand-in runtime, against least squares and two-stage least
// squares computed from orthogonal projections (Gram-Schmidt, twice) instead of moment matrices.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "encompassing/encompassing.h"
#include "host/exports.h"
#include "tests/support/host_values.h"

using namespace tessel;

namespace {

using Series = std::vector<double>;
using Rows = std::vector<Series>;

double Dot(const Series &a, const Series &b) {
    long double s = 0.0L;
    for (size_t t = 0; t < a.size(); ++t) s += static_cast<long double>(a[t]) * b[t];
    return static_cast<double>(s);
}
void AddTo(Series &v, double c, const Series &w) {
    for (size_t t = 0; t < v.size(); ++t) v[t] += c * w[t];
}
Rows Concat(Rows a, const Rows &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
Rows Union(Rows a, const Rows &b) {  // rows of a, then those of b not already there
    for (const Series &r : b)
        if (std::find(a.begin(), a.end(), r) == a.end()) a.push_back(r);
    return a;
}

// Orthonormal rows q spanning the rows of X, with X[i] = sum over j <= i of r[i][j] q[j].
struct Span {
    Rows q, r;
    explicit Span(const Rows &X) {
        for (Series v : X) {
            Series c(X.size(), 0.0);
            for (int pass = 0; pass < 2; ++pass)
                for (size_t j = 0; j < q.size(); ++j) {
                    const double d = Dot(q[j], v);
                    c[j] += d;
                    AddTo(v, -d, q[j]);
                }
            const double norm = c[q.size()] = std::sqrt(Dot(v, v));
            for (double &e : v) e /= norm;
            q.push_back(v);
            r.push_back(c);
        }
    }
    Series Project(const Series &v) const {
        Series p(v.size(), 0.0);
        for (const Series &e : q) AddTo(p, Dot(e, v), e);
        return p;
    }
};

// A model in the host's layout: y, endogenous regressors, exogenous ones, further instruments.
struct Model {
    Series y;
    Rows endo, exo, inst;
    Rows X() const { return Concat(endo, exo); }
    Rows W() const { return Concat(exo, inst); }
};

// Two-stage least squares of y on X at the instruments W: the fitted regressors' span, y'P X b,
// the Sargan numerator u'P_W u, and the residual sum with yr for y in the cross term (y'y stays).
struct Fit { Span fitted; double f, uPu, rss; };
Fit TwoStage(const Series &y, const Rows &X, const Span &W, const Series &yr) {
    Rows Xh;
    for (const Series &x : X) Xh.push_back(W.Project(x));
    Fit fit{Span(Xh), 0, 0, 0};
    const Span &s = fit.fitted;
    Series b(X.size()), g(y.size(), 0.0), u = y;
    for (size_t i = b.size(); i-- > 0;) {  // back substitution through the triangle of the span
        b[i] = Dot(s.q[i], y);
        for (size_t j = i + 1; j < b.size(); ++j) b[i] -= s.r[j][i] * b[j];
        b[i] /= s.r[i][i];
        AddTo(g, b[i], X[i]);
    }
    AddTo(u, -1.0, g);
    const Series py = s.Project(y), pu = W.Project(u);
    fit.f = Dot(py, py);
    fit.uPu = Dot(pu, pu);
    fit.rss = Dot(u, u) + 2.0 * (Dot(y, g) - Dot(yr, g));
    return fit;
}

// The statistics record of model 1 against model 2; model 2's y enters its residual sum only.
std::vector<double> Statistics(const Model &m1, const Model &m2) {
    const Series &y = m1.y;
    const Span W(Union(m1.W(), m2.W()));
    const Rows X1 = m1.X(), X2 = m2.X(), XJ = Union(X1, X2);
    const Fit f1 = TwoStage(y, X1, W, y), f2 = TwoStage(y, X2, W, m2.y), fJ = TwoStage(y, XJ, W, y);
    const double T = double(y.size()), yy = Dot(y, y), k1 = double(X1.size()), k2 = double(X2.size()),
                 k = double(XJ.size());
    const double s1 = f1.rss / (T - k1), s2 = f2.rss / (T - k2), sJ = fJ.rss / (T - k), rt = std::sqrt(T);
    // a1 = |P2 P1 y|^2, a2 = |P1 P2 P1 y|^2, c1 = |P1 P2 y|^2, c2 = |P2 P1 P2 y|^2, Pi projecting on
    // model i's instrumented regressors.
    const Series p21 = f2.fitted.Project(f1.fitted.Project(y)), p12 = f1.fitted.Project(f2.fitted.Project(y));
    const Series p121 = f1.fitted.Project(p21), p212 = f2.fitted.Project(p12);
    const double a1 = Dot(p21, p21), a2 = Dot(p121, p121), c1 = Dot(p12, p12), c2 = Dot(p212, p212);
    return {f1.uPu / s1, f2.uPu / s2,  // model 2's Sargan numerator is still formed with model 1's y
            0.5 * rt * std::log((yy - f2.f) / (yy - a1)) / (std::sqrt((T - k1) * s1 * (a1 - a2)) / (yy - a1)),
            0.5 * rt * std::log((yy - f1.f) / (yy - c1)) / (std::sqrt((T - k2) * s2 * (c1 - c2)) / (yy - c1)),
            std::max(0.0, (fJ.f - f1.f) / ((k - k1) * sJ)), std::max(0.0, (fJ.f - f2.f) / ((k - k2) * sJ)),
            (f2.f - a1) / std::sqrt(4.0 * s1 * (a1 - a2)), (f1.f - c1) / std::sqrt(4.0 * s2 * (c1 - c2)),
            std::sqrt(s1), std::sqrt(s2), std::sqrt(sJ)};
}

// y depends on x1 (instrumented by w1, w2), x2 (by w3, w4) and c1; model 1 explains it by x1 and
// c1, model 2 by x2 and c2, each with a constant.
void Simulated(int T, unsigned seed, Model &m1, Model &m2) {
    std::mt19937_64 gen(seed);
    std::normal_distribution<double> n;
    Rows v(10, Series(T, 1.0));  // w1 w2 w3 w4 c1 c2 x1 x2 y one
    for (int t = 0; t < T; ++t) {
        for (int i = 0; i < 5; ++i) v[i][t] = n(gen);
        const double shock = n(gen);
        v[5][t] = 0.5 * v[4][t] + n(gen);
        v[6][t] = 1.0 + v[0][t] + 0.5 * v[1][t] + shock;
        v[7][t] = -1.0 + 0.7 * v[2][t] - v[3][t] + 0.5 * n(gen);
        v[8][t] = 2.0 + 0.8 * v[6][t] + 0.6 * v[7][t] + 0.3 * v[4][t] + 0.7 * shock + n(gen);
    }
    m1 = Model{v[8], {v[6]}, {v[9], v[4]}, {v[0], v[1]}};
    m2 = Model{v[8], {v[7]}, {v[9], v[5]}, {v[2], v[3]}};
}

// One call's arguments; the output variables start as the integer 77 to show whether they were touched.
struct Call {
    VelaValue args[11]{}, stats = VelawinInt(77), index = VelawinInt(77), k = VelawinInt(77), rtn{};
    Call(const Model &a, const Model &b) {
        const Model *m[] = {&a, &b};
        for (int i : {0, 1}) {
            const Rows rows = Concat(Concat(Rows{m[i]->y}, m[i]->X()), m[i]->inst);
            std::vector<double> flat;
            for (const Series &r : rows) flat.insert(flat.end(), r.begin(), r.end());
            args[4 * i] = VelawinMatrix(int(rows.size()), int(rows[0].size()), flat.data());
            const size_t counts[] = {m[i]->endo.size() + 1, m[i]->exo.size(), m[i]->inst.size()};
            for (int j : {0, 1, 2}) args[4 * i + 1 + j] = VelawinInt(int(counts[j]));
        }
        for (int j : {8, 9, 10}) args[j] = VelawinRef(j == 8 ? &stats : j == 9 ? &index : &k);
    }
    Call(const Call &) = delete;
    ~Call() {
        for (int i = 0; i < 11; ++i) Set(i, {});
        for (VelaValue *v : {&stats, &index, &k, &rtn}) VelaFreeByValue(v);
    }
    void Set(int i, VelaValue v) {
        if (args[i].type != VELA_ARRAY) VelaFreeByValue(&args[i]);
        args[i] = v;
    }
    long Invoke(int cArg = 11) {  // returns the number of blocks the call left allocated
        const long live = VelawinLiveBlocks();
        VelawinBeginCall("FnEncompassing");
        FnEncompassing(&rtn, args, cArg);
        return VelawinLiveBlocks() - live;
    }
    double Stat(int i) const { return stats.data.mat[0][i]; }
    bool Untouched() const { return stats.ival == 77 && index.ival == 77 && k.ival == 77; }
};

void ExpectStats(const Call &c, const Model &m1, const Model &m2) {
    ASSERT_EQ(c.rtn.ival, 0);
    ASSERT_EQ(c.stats.ival * c.stats.cols, kEncompassingStats);
    const std::vector<double> want = Statistics(m1, m2);
    for (int i = 0; i < kEncompassingStats; ++i)
        EXPECT_NEAR(c.Stat(i), want[i], 1e-8 * (1.0 + std::fabs(want[i]))) << "statistic " << i;
}

// Every regressor its own instrument: ordinary least squares and the classical F tests.
TEST(FnEncompassingExport, LeastSquaresCase) {
    Model s1, s2;
    Simulated(150, 7, s1, s2);
    const Model m1{s1.y, {}, {s1.exo[0], s1.exo[1], s1.inst[0]}, {}},
        m2{s1.y, {}, {s1.exo[0], s2.exo[1], s2.inst[0], s2.inst[1]}, {}};
    Call c(m1, m2);
    c.Invoke();
    ExpectStats(c, m1, m2);
    auto rss = [&](const Rows &X) {
        Series u = m1.y;
        AddTo(u, -1.0, Span(X).Project(u));
        return Dot(u, u);
    };
    const double rss1 = rss(m1.X()), rss2 = rss(m2.X()), rssJ = rss(Union(m1.X(), m2.X()));
    EXPECT_NEAR(c.Stat(kF1), (rss1 - rssJ) / 3.0 / (rssJ / 144.0), 1e-9 * c.Stat(kF1));
    EXPECT_NEAR(c.Stat(kF2), (rss2 - rssJ) / 2.0 / (rssJ / 144.0), 1e-9 * c.Stat(kF2));
    EXPECT_NEAR(c.Stat(kSigma1), std::sqrt(rss1 / 147.0), 1e-12);
    EXPECT_NEAR(c.Stat(kSigma2), std::sqrt(rss2 / 146.0), 1e-12);
    EXPECT_NEAR(c.Stat(kSigmaJoint), std::sqrt(rssJ / 144.0), 1e-12);
}

TEST(FnEncompassingExport, TwoStageLeastSquares) {
    for (int T : {200, 1300}) {  // one pass over the data and several
        Model m1, m2;
        Simulated(T, 11, m1, m2);
        Call c(m1, m2);
        EXPECT_EQ(c.Invoke(), 2);  // the statistics and the index row
        ExpectStats(c, m1, m2);
        EXPECT_EQ(test::ToVector(c.index), (std::vector<double>{0, 1, 2, 3, 5, 6, 7}));  // model 2's constant pooled
        EXPECT_EQ(c.k.ival, 5);
        EXPECT_GT(std::min(c.Stat(kF1), c.Stat(kF2)), 10.0);  // neither model holds all of y
        // Another series in model 2's row 0 changes only what rests on RSS2.
        for (size_t t = 0; t < m2.y.size(); ++t) m2.y[t] += 0.3 * std::sin(0.1 * t);
        Call other(m1, m2);
        other.Invoke();
        ExpectStats(other, m1, m2);
        for (int i : {kSargan1, kNTest12, kF1, kF2, kEricsson12, kSigma1, kSigmaJoint})
            EXPECT_NEAR(other.Stat(i), c.Stat(i), 1e-12 * (1.0 + std::fabs(c.Stat(i))));
        EXPECT_NE(other.Stat(kSigma2), c.Stat(kSigma2));
    }
}

TEST(FnEncompassingExport, CodesAndEmptyShapes) {
    Model m1, m2;
    Simulated(90, 5, m1, m2);
    const Series zero(90, 0.0);
    Model scaled = m2, zeros = m1, zero_y1 = m1, zero_y2 = m2, repeated = m1, far = m2;
    scaled.inst.push_back(m1.inst[0]);  // collinear with one of model 1's, not equal to it
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
    } cases[] = {{short1, short2, kEncompassingUnderIdentified}, {short1, short1, kEncompassingUnderIdentified},
                 {m1, m1, kEncompassingNested},          {m1, sub, kEncompassingNested},
                 {sub, m1, kEncompassingNested},         {zeros, m2, kEncompassingSingular},
                 {repeated, m2, kEncompassingSingular},    {m1, scaled, kEncompassingSingular},
                 {bare, twice, kEncompassingSingular},  // no regressors in model 1
                 {zero_y1, zero_y2, kEncompassingOutOfRange}, {m1, far, kEncompassingOutOfRange}};
    for (const auto &code : cases) {  // the statistics row is allocated, nothing else is written
        Call c(code.a, code.b);
        EXPECT_EQ(c.Invoke(), 1);
        EXPECT_EQ(c.rtn.ival, code.code) << &code - cases;
        EXPECT_EQ(c.stats.ival * c.stats.cols, 11);
        EXPECT_EQ(c.index.ival + c.k.ival, 154);
    }
    // Different numbers of observations, or no rows at all: -1 and nothing else.
    Call mismatch(m1, m2), empty(m1, m2), none(m1, m2);
    mismatch.Set(4, VelawinMatrix(6, 89, nullptr));
    empty.Set(0, VelawinMatrix(0, 0, nullptr));
    empty.Set(4, VelawinMatrix(0, 0, nullptr));
    for (Call *c : {&mismatch, &empty}) {
        EXPECT_EQ(c->Invoke(), 0);
        EXPECT_EQ(c->rtn.ival, -1);
        EXPECT_TRUE(c->Untouched());
    }
    // No observations: every series equals every other, so model 2 adds nothing.
    none.Set(0, VelawinMatrix(6, 0, nullptr));
    none.Set(4, VelawinMatrix(6, 0, nullptr));
    EXPECT_EQ(none.Invoke(), 1);
    EXPECT_EQ(none.rtn.ival, 2);
}

TEST(FnEncompassingExport, RejectsBadArgumentsBeforeAllocating) {
    Model m1, m2;
    Simulated(30, 1, m1, m2);  // both blocks: d 2, e 2, z 2 in six rows
    const struct {
        int arg;
        VelaValue value;
        int blamed;
    } bad[] = {{0, VelawinInt(3), 0},  {2, VelawinDouble(2.0), 2}, {4, VelawinString("B"), 4},
               {8, VelawinInt(0), 8},  {10, VelawinDouble(0), 10}, {1, VelawinInt(0), 1},
               {2, VelawinInt(-1), 2}, {3, VelawinInt(3), 0},      {5, VelawinInt(5), 4},
               {7, VelawinInt(-1), 7}, {6, VelawinInt(INT_MAX), 4}, {-1, {}, 10}};
    for (const auto &b : bad) {
        Call c(m1, m2);
        if (b.arg >= 0) c.Set(b.arg, b.value);
        EXPECT_EQ(c.Invoke(b.arg >= 0 ? 11 : 10), 0);  // the last case: an argument missing
        EXPECT_EQ(VelawinErrorCount(), 1);
        const std::string blamed = "argument " + std::to_string(b.blamed) + " of";
        EXPECT_TRUE(b.arg < 0 || std::string(VelawinLastError()).find(blamed) != std::string::npos) << VelawinLastError();
        EXPECT_EQ(c.rtn.type, VELA_EMPTY);
        EXPECT_TRUE(c.Untouched());
    }
}

TEST(FnEncompassingExport, HostAllocationFailures) {
    Model m1, m2;
    Simulated(40, 8, m1, m2);
    Call first(m1, m2), second(m1, m2);
    VelawinFailAllocations(0, 1);  // no statistics row: nothing is written
    EXPECT_EQ(first.Invoke(), 0);
    EXPECT_EQ(first.rtn.ival, 0);
    EXPECT_TRUE(first.Untouched());
    VelawinFailAllocations(1, 1);  // no index row: code 0, the statistics marked as not computed
    EXPECT_EQ(second.Invoke(), 1);
    VelawinFailAllocations(0, 0);
    EXPECT_EQ(second.rtn.ival, 0);
    EXPECT_TRUE(std::isnan(second.Stat(0)) && std::isnan(second.Stat(10)));
    EXPECT_EQ(second.index.ival + second.k.ival, 154);
}

}  // namespace
