#include "choice/logit.h"

#include <cmath>
#include <map>

#include <gtest/gtest.h>

#include "tests/choice/test_support.h"

namespace tessel {
namespace {

using testing::Mat;
using testing::NumGradient;
using testing::RelDiff;

// A simulated multinomial / conditional logit problem with offsets and weights.
struct Problem {
    int N, J, kx, nz;
    Mat y, X, Z, w, off;
    std::vector<double> theta;
    bool grouped = false;

    LogitData Data(Mat &z) {
        LogitData d;
        d.N = N;
        d.J = J;
        d.y = y.p();
        d.X = kx ? X.p() : nullptr;
        d.kx = kx;
        d.Z = nz ? z.p() : nullptr;
        d.kz = nz * J;
        d.w = w.rows ? w.data.data() : nullptr;
        d.offset = off.rows ? off.p() : nullptr;
        return d;
    }
    int n() const { return (J - 1) * kx + nz; }
    // Evaluates with the requested outputs, on a copy of Z unless `z` is given.
    double Eval(const std::vector<double> &th, const LikOutputs &out, Mat *z = nullptr) {
        Mat zc = Z;
        Mat &zz = z ? *z : zc;
        double L = NAN;
        LogitData d = Data(zz);
        if (grouped) EXPECT_TRUE(LogitLikGrouped(n(), th.data(), &L, out, d));
        else EXPECT_TRUE(LogitLikChoice(n(), th.data(), &L, out, d));
        return L;
    }
    double LogLik(const std::vector<double> &th) { return Eval(th, LikOutputs{}); }
    std::vector<double> Gradient(const std::vector<double> &th) {
        std::vector<double> g(n());
        LikOutputs out;
        out.grad = g.data();
        Eval(th, out);
        return g;
    }
};

Problem Simulate(int N, int J, int kx, int nz, bool weights, bool offsets, bool grouped, unsigned seed) {
    std::mt19937 rng(seed);
    std::normal_distribution<double> nd;
    std::uniform_real_distribution<double> ud(0.0, 1.0);
    Problem p{N, J, kx, nz, Mat(N, grouped ? J : 1), Mat(N, kx), Mat(N, nz * J), Mat(), Mat(), {}, grouped};
    for (int i = 0; i < N; ++i) {
        for (int c = 0; c < kx; ++c) p.X[i][c] = c == 0 ? 1.0 : nd(rng);
        for (int c = 0; c < nz * J; ++c) p.Z[i][c] = 2.0 + nd(rng);
    }
    if (weights) {
        p.w = Mat(N, 1);
        for (int i = 0; i < N; ++i) p.w[i][0] = 0.5 + ud(rng);
    }
    if (offsets) {
        p.off = Mat(N, J);
        for (int i = 0; i < N; ++i)
            for (int j = 0; j < J; ++j) p.off[i][j] = 0.3 * nd(rng);
    }
    p.theta.resize(p.n());
    for (double &t : p.theta) t = 0.4 * nd(rng);
    for (int i = 0; i < N; ++i) {
        if (grouped) {
            for (int j = 0; j < J; ++j) p.y[i][j] = std::floor(4.0 * ud(rng));
        } else {
            p.y[i][0] = std::floor(J * ud(rng)) + 0.5;  // fractional part is dropped
        }
    }
    return p;
}

// Gradient against the numerical derivative of the log-likelihood; information (minus the Hessian)
// against the numerical derivative of the gradient; outer product against per-observation gradients
// taken numerically from the contributions.
void CheckDerivatives(Problem &p) {
    const int n = p.n();
    const std::vector<double> g = p.Gradient(p.theta);
    const std::vector<double> gnum = NumGradient([&](const std::vector<double> &t) { return p.LogLik(t); }, p.theta);
    EXPECT_LT(RelDiff(g, gnum), 1e-8);

    Mat info(n, n), outer(n, n), prob(p.N, p.J);
    std::vector<double> contrib(p.N);
    LikOutputs out;
    out.info = info.p();
    out.outer = outer.p();
    out.prob = prob.p();
    out.contrib = contrib.data();
    const double L = p.Eval(p.theta, out);
    EXPECT_NEAR(L, p.LogLik(p.theta), 1e-12 * std::fabs(L));
    double sum = 0.0;
    for (double c : contrib) sum += c;
    EXPECT_NEAR(sum, L, 1e-10 * std::fabs(L));

    for (int r = 0; r < n; ++r) {
        const std::vector<double> col = NumGradient(
            [&](const std::vector<double> &t) { return -p.Gradient(t)[r]; }, p.theta);
        EXPECT_LT(RelDiff(std::vector<double>(info[r], info[r] + n), col), 1e-8) << "row " << r;
        for (int c = 0; c < n; ++c) EXPECT_EQ(info[r][c], info[c][r]);
    }

    Mat opg(n, n);
    for (int i = 0; i < p.N; ++i) {
        auto li = [&](const std::vector<double> &t) {
            std::vector<double> cc(p.N);
            LikOutputs o;
            o.contrib = cc.data();
            p.Eval(t, o);
            return cc[i];
        };
        const std::vector<double> gi = NumGradient(li, p.theta);
        for (int r = 0; r < n; ++r)
            for (int c = 0; c < n; ++c) opg[r][c] += gi[r] * gi[c];
    }
    EXPECT_LT(RelDiff(outer.data, opg.data), 1e-8);

    for (int i = 0; i < p.N; ++i) {
        double s = 0.0;
        for (int j = 0; j < p.J; ++j) s += prob[i][j];
        EXPECT_NEAR(s, 1.0, 1e-14);
    }
}

TEST(LogitLik, ChoiceDerivativesMultinomialAndConditional) {
    Problem p = Simulate(40, 4, 3, 2, false, false, false, 11);
    CheckDerivatives(p);
    Problem weighted = Simulate(35, 3, 2, 1, true, true, false, 12);
    CheckDerivatives(weighted);
    Problem x_only = Simulate(30, 5, 3, 0, true, false, false, 13);
    CheckDerivatives(x_only);
    Problem z_only = Simulate(30, 3, 0, 3, false, true, false, 14);
    CheckDerivatives(z_only);
}

TEST(LogitLik, GroupedDerivativesWithCountsAndShares) {
    Problem counts = Simulate(30, 4, 2, 2, true, true, true, 21);
    CheckDerivatives(counts);
    Problem shares = Simulate(30, 3, 3, 1, false, false, true, 22);
    for (int i = 0; i < shares.N; ++i) {
        double t = 0.0;
        for (int j = 0; j < 3; ++j) t += shares.y[i][j] + 0.25;
        for (int j = 0; j < 3; ++j) shares.y[i][j] = (shares.y[i][j] + 0.25) / t;
    }
    CheckDerivatives(shares);
}

TEST(LogitLik, GroupedOneHotEqualsChoiceAndWeightsActAsReplication) {
    Problem c = Simulate(25, 4, 2, 1, false, true, false, 31);
    Problem g = c;
    g.grouped = true;
    g.y = Mat(c.N, c.J);
    for (int i = 0; i < c.N; ++i) g.y[i][static_cast<int>(c.y[i][0])] = 1.0;
    EXPECT_NEAR(g.LogLik(c.theta), c.LogLik(c.theta), 1e-12);
    EXPECT_LT(RelDiff(g.Gradient(c.theta), c.Gradient(c.theta)), 1e-13);

    // A weight of 3 is three copies of the observation (for L, gradient and information alike).
    Problem w = c;
    w.w = Mat(c.N, 1, 1.0);
    w.w[0][0] = 3.0;
    Problem rep = c;
    rep.N = c.N + 2;
    auto grow = [&](Mat &m) {
        if (m.rows == 0) return;
        Mat b(m.rows + 2, m.cols);
        std::copy(m.data.begin(), m.data.end(), b.data.begin());
        for (int k = 0; k < 2; ++k) std::copy(m[0], m[0] + m.cols, b[m.rows + k]);
        m = b;
    };
    grow(rep.y), grow(rep.X), grow(rep.Z), grow(rep.off);
    EXPECT_NEAR(w.LogLik(c.theta), rep.LogLik(c.theta), 1e-11);
    const int n = c.n();
    Mat iw(n, n), ir(n, n);
    LikOutputs ow, orr;
    ow.info = iw.p();
    orr.info = ir.p();
    w.Eval(c.theta, ow);
    rep.Eval(c.theta, orr);
    EXPECT_LT(RelDiff(iw.data, ir.data), 1e-13);
}

TEST(LogitLik, InformationCentresZInPlaceWithoutChangingResults) {
    Problem p = Simulate(20, 3, 2, 2, false, false, false, 41);
    const int n = p.n();
    Mat z = p.Z, info(n, n), prob(p.N, p.J);
    std::vector<double> g1(n), g2(n);
    LikOutputs out;
    out.info = info.p();
    out.prob = prob.p();
    out.grad = g1.data();
    const double L1 = p.Eval(p.theta, out, &z);
    for (int i = 0; i < p.N; ++i)
        for (int m = 0; m < p.nz; ++m) {
            double mean = 0.0;
            for (int j = 0; j < p.J; ++j) mean += prob[i][j] * z[i][m * p.J + j];
            EXPECT_NEAR(mean, 0.0, 1e-13);
            EXPECT_NE(z[i][m * p.J], p.Z[i][m * p.J]);
        }
    // Centred Z gives the same answers, and is left alone when no information is asked for.
    Mat info2(n, n), z_before = z;
    out.grad = g2.data();
    out.info = info2.p();
    EXPECT_NEAR(p.Eval(p.theta, out, &z), L1, 1e-12 * std::fabs(L1));
    EXPECT_LT(RelDiff(g2, g1), 1e-13);
    EXPECT_LT(RelDiff(info2.data, info.data), 1e-13);
    LikOutputs plain;
    plain.grad = g2.data();
    Mat z2 = p.Z;
    p.Eval(p.theta, plain, &z2);
    EXPECT_EQ(z2.data, p.Z.data);
}

TEST(LogitLik, ProbabilityFloorAndUnderflow) {
    const double theta[2] = {-200.0, 5.0};  // alternatives 1 and 2 against the reference, one regressor
    const double x[1] = {1.0};
    double P[3];
    LogitProbabilities(theta, 3, x, 1, nullptr, 0, nullptr, P);
    EXPECT_EQ(P[1], 0x1p-104);  // about 1e-89, floored
    EXPECT_NEAR(P[2], 1.0 / (1.0 + std::exp(-5.0)), 1e-15);
    EXPECT_NEAR(std::log(P[1]), -72.0873067782343, 1e-12);
    // Every utility far below 0 (the shift starts at 0): nothing survives exp, no rescue.
    const double off[3] = {-800.0, -800.0, -800.0};
    const double zero[2] = {0.0, 0.0};
    LogitProbabilities(zero, 3, x, 1, nullptr, 0, off, P);
    EXPECT_FALSE(std::isfinite(P[0]));
    // Large positive utilities do not overflow.
    const double big[2] = {900.0, 899.0};
    LogitProbabilities(big, 3, x, 1, nullptr, 0, nullptr, P);
    EXPECT_NEAR(P[1], 1.0 / (1.0 + std::exp(-1.0)), 1e-15);
    EXPECT_EQ(P[0], 0x1p-104);
}

TEST(LogitMarginalEffects, MatchNumericalDerivativesOfProbabilities) {
    const int J = 4, kx = 3, nz = 2, kz = nz * J;
    std::mt19937 rng(5);
    std::normal_distribution<double> nd;
    std::vector<double> theta((J - 1) * kx + nz), x(kx), z(kz);
    for (double &t : theta) t = 0.5 * nd(rng);
    for (double &v : x) v = nd(rng);
    for (double &v : z) v = nd(rng);
    std::vector<double> P(J);
    LogitProbabilities(theta.data(), J, x.data(), kx, z.data(), nz, nullptr, P.data());
    Mat me(kx + kz, J, -7.0);
    LogitMarginalEffects(theta.data(), P.data(), kx, J, kz, me.p());
    for (int j = 0; j < J; ++j) {
        auto prob_j = [&](std::vector<double> xv, std::vector<double> zv) {
            std::vector<double> Q(J);
            LogitProbabilities(theta.data(), J, xv.data(), kx, zv.data(), nz, nullptr, Q.data());
            return Q[j];
        };
        for (int i = 0; i < kx; ++i) {
            const double d = testing::Derivative(
                [&](double t) {
                    std::vector<double> xv = x;
                    xv[i] = t;
                    return prob_j(xv, z);
                },
                x[i], 1e-4);
            EXPECT_NEAR(me[i][j], d, 1e-10) << i << "," << j;
        }
        for (int m = 0; m < nz; ++m) {  // own-alternative change of variable m
            const double d = testing::Derivative(
                [&](double t) {
                    std::vector<double> zv = z;
                    zv[m * J + j] = t;
                    return prob_j(x, zv);
                },
                z[m * J + j], 1e-4);
            EXPECT_NEAR(me[kx + m][j], d, 1e-10) << m << "," << j;
        }
    }
    // Effects of each regressor on the probabilities sum to zero; rows past kx + nz are untouched.
    for (int i = 0; i < kx; ++i) {
        double s = 0.0;
        for (int j = 0; j < J; ++j) s += me[i][j];
        EXPECT_NEAR(s, 0.0, 1e-15);
    }
    for (int r = kx + nz; r < kx + kz; ++r)
        for (int j = 0; j < J; ++j) EXPECT_EQ(me[r][j], -7.0);
}

// The travel-mode data: 210 travellers choosing among air, train, bus and car. Conditional logit on
// generalised cost and terminal time with mode constants and income for air; Newton steps with the
// analytic gradient and information must converge to a point where the gradient vanishes.
TEST(LogitLik, ModeChoiceConditionalLogitConverges) {
    const Mat raw = testing::ReadTable("modechoice.csv", ';');
    ASSERT_EQ(raw.rows, 840);
    const int N = 210, J = 4;
    Problem p{N, J, 2, 2, Mat(N, 1), Mat(N, 2), Mat(N, 2 * J), Mat(), Mat(), {}, false};
    for (int i = 0; i < N; ++i) {
        p.X[i][0] = 1.0;
        for (int j = 0; j < J; ++j) {
            const double *row = raw[4 * i + j];  // individual, mode, choice, ttme, invc, invt, gc, hinc, psize
            if (row[2] == 1.0) p.y[i][0] = j;
            p.Z[i][0 * J + j] = row[6] / 100.0;  // generalised cost, in hundreds
            p.Z[i][1 * J + j] = row[3] / 100.0;  // terminal time, in hundreds of minutes
            p.X[i][1] = row[7] / 100.0;          // household income
        }
    }
    // Alternatives reordered so that car (mode 4) is the reference.
    for (int i = 0; i < N; ++i) {
        p.y[i][0] = std::fmod(p.y[i][0] + 1.0, 4.0);
        for (int m = 0; m < 2; ++m) std::rotate(p.Z[i] + m * J, p.Z[i] + m * J + 3, p.Z[i] + m * J + 4);
    }
    const int n = p.n();
    p.theta.assign(n, 0.0);
    CheckDerivatives(p);
    double L = 0.0;
    for (int it = 0; it < 30; ++it) {
        Mat info(n, n);
        std::vector<double> g(n);
        LikOutputs out;
        out.info = info.p();
        out.grad = g.data();
        L = p.Eval(p.theta, out);
        // Solve info * step = g by Gaussian elimination (info is positive definite here).
        std::vector<double> step = g;
        for (int c = 0; c < n; ++c)
            for (int r = c + 1; r < n; ++r) {
                const double f = info[r][c] / info[c][c];
                for (int k = c; k < n; ++k) info[r][k] -= f * info[c][k];
                step[r] -= f * step[c];
            }
        for (int r = n - 1; r >= 0; --r) {
            for (int k = r + 1; k < n; ++k) step[r] -= info[r][k] * step[k];
            step[r] /= info[r][r];
        }
        for (int j = 0; j < n; ++j) p.theta[j] += step[j];
    }
    const std::vector<double> g = p.Gradient(p.theta);
    for (double v : g) EXPECT_NEAR(v, 0.0, 1e-8);
    EXPECT_LT(L, -100.0);
    EXPECT_GT(L, -291.2);  // better than equal shares, 210 log(1/4)
    EXPECT_LT(p.theta[(J - 1) * 2], 0.0);  // higher cost lowers the chance of a mode
    EXPECT_LT(p.theta[(J - 1) * 2 + 1], 0.0);
}

}  // namespace
}  // namespace tessel
