#include "choice/count.h"

#include <cmath>

#include <gtest/gtest.h>

#include "tests/choice/test_support.h"

namespace tessel {
namespace {

using testing::Mat;
using testing::NumGradient;
using testing::RelDiff;

enum Model { kPoisson, kTruncPoisson, kNegBin };

struct CountProblem {
    Mat y, X;
    Model model = kPoisson;
    int S = 0;
    double P = 0.0;

    CountData Data(int N = -1) {
        CountData d;
        d.N = N < 0 ? y.rows : N;
        d.y = y.p();
        d.X = X.p();
        d.k = X.cols;
        return d;
    }
    double Eval(const std::vector<double> &th, const CountOutputs &out, int N = -1) {
        const CountData d = Data(N);
        const int n = static_cast<int>(th.size());
        switch (model) {
        case kPoisson:
            return PoissonLik(th.data(), n, d, out);
        case kTruncPoisson:
            return TruncPoissonLik(th.data(), n, d, S, out);
        default:
            return NegBinLik(th.data(), n, d, S, P, out);
        }
    }
    double LogLik(const std::vector<double> &th) { return Eval(th, CountOutputs{}); }
    std::vector<double> Gradient(const std::vector<double> &th) {
        std::vector<double> g(th.size());
        CountOutputs out;
        out.grad = g.data();
        Eval(th, out);
        return g;
    }
    std::vector<double> Contributions(const std::vector<double> &th) {
        std::vector<double> c(y.rows);
        CountOutputs out;
        out.contrib = c.data();
        Eval(th, out);
        return c;
    }
};

// RAND health insurance experiment: outpatient visits on nine regressors and a constant.
CountProblem RandHie(int rows) {
    const Mat raw = testing::ReadTable("randhie.csv", ',');
    EXPECT_EQ(raw.rows, 20190);
    CountProblem p{Mat(rows, 1), Mat(rows, 10)};
    for (int i = 0; i < rows; ++i) {
        p.y[i][0] = raw[i][0];
        p.X[i][0] = 1.0;
        for (int c = 1; c < 10; ++c) p.X[i][c] = raw[i][c];
    }
    return p;
}
const std::vector<double> kRandBeta = {0.7, -0.05, -0.1, 0.05, -0.02, 0.2, 0.02, -0.03, 0.1, 0.2};

CountProblem Simulate(int N, unsigned seed, double scale = 1.0) {
    std::mt19937 rng(seed);
    std::normal_distribution<double> nd;
    CountProblem p{Mat(N, 1), Mat(N, 3)};
    for (int i = 0; i < N; ++i) {
        p.X[i][0] = 1.0;
        p.X[i][1] = nd(rng);
        p.X[i][2] = nd(rng);
        std::poisson_distribution<int> pd(scale * std::exp(0.3 + 0.4 * p.X[i][1] - 0.2 * p.X[i][2]));
        p.y[i][0] = pd(rng) + 0.7;  // the fraction is dropped
    }
    return p;
}

// Gradient against the numerical derivative of L; the matrix against the numerical Hessian (when
// `hessian`) and the outer product against per-observation numerical gradients of the contributions.
void CheckDerivatives(CountProblem &p, const std::vector<double> &theta, bool hessian, double tol = 1e-8) {
    const int n = static_cast<int>(theta.size());
    const std::vector<double> g = p.Gradient(theta);
    EXPECT_LT(RelDiff(g, NumGradient([&](const std::vector<double> &t) { return p.LogLik(t); }, theta)), tol);
    Mat info(n, n), outer(n, n);
    CountOutputs out;
    out.info = hessian ? info.p() : nullptr;
    out.outer = outer.p();
    p.Eval(theta, out);
    if (hessian) {
        for (int r = 0; r < n; ++r) {
            const std::vector<double> col =
                NumGradient([&](const std::vector<double> &t) { return -p.Gradient(t)[r]; }, theta);
            EXPECT_LT(RelDiff(std::vector<double>(info[r], info[r] + n), col), tol) << "row " << r;
        }
    }
    if (p.y.rows <= 100) {
        Mat opg(n, n);
        for (int i = 0; i < p.y.rows; ++i) {
            const std::vector<double> gi =
                NumGradient([&](const std::vector<double> &t) { return p.Contributions(t)[i]; }, theta);
            for (int r = 0; r < n; ++r)
                for (int c = 0; c < n; ++c) opg[r][c] += gi[r] * gi[c];
        }
        EXPECT_LT(RelDiff(outer.data, opg.data), tol);
    }
}

TEST(CountLik, PoissonOnRandHie) {
    CountProblem p = RandHie(3000);
    const double L = p.LogLik(kRandBeta);
    double direct = 0.0;
    for (int i = 0; i < p.y.rows; ++i) {
        double xb = 0.0;
        for (int c = 0; c < 10; ++c) xb += kRandBeta[c] * p.X[i][c];
        direct += p.y[i][0] * xb - std::exp(xb) - std::lgamma(p.y[i][0] + 1.0);
    }
    EXPECT_NEAR(L, direct, 1e-9 * std::fabs(direct));
    CheckDerivatives(p, kRandBeta, true);
}

TEST(CountLik, PoissonSimulatedOuterProductAndExtraParameters) {
    CountProblem p = Simulate(40, 1);
    std::vector<double> theta = {0.25, 0.35, -0.15};
    CheckDerivatives(p, theta, true);
    // Parameters beyond k are not used: their gradient stays zero.
    theta.push_back(4.0);
    const std::vector<double> g = p.Gradient(theta);
    EXPECT_EQ(g[3], 0.0);
    EXPECT_NE(g[0], 0.0);
}

TEST(CountLik, TruncatedPoisson) {
    CountProblem p = Simulate(40, 2);
    p.model = kTruncPoisson;
    p.S = 6;  // some counts exceed 6: evaluated by the same formula
    CheckDerivatives(p, {0.25, 0.35, -0.15}, true);

    // S = 1: the normaliser is 1 + e^xb and the truncated mean e^xb / (1 + e^xb).
    CountProblem one{Mat(1, 1, 1.0), Mat(1, 1, 1.0), kTruncPoisson, 1};
    std::vector<double> g(1);
    Mat info(1, 1);
    CountOutputs out;
    out.grad = g.data();
    out.info = info.p();
    const double xb = 0.4, E = std::exp(xb) / (1.0 + std::exp(xb));
    EXPECT_NEAR(one.Eval({xb}, out), xb - std::log1p(std::exp(xb)), 1e-15);
    EXPECT_NEAR(g[0], 1.0 - E, 1e-15);
    EXPECT_NEAR(info[0][0], E * (1.0 - E), 1e-15);
}

TEST(CountLik, TruncatedProbabilitiesSumToOneAndApproachUntruncated) {
    for (Model m : {kTruncPoisson, kNegBin}) {
        CountProblem p = Simulate(1, 3);
        p.model = m;
        p.P = 0.5;
        const std::vector<double> theta = {1.1, 0.2, 0.3, 0.4};
        for (int S : {1, 3, 12}) {
            p.S = S;
            std::vector<double> table(S + 1);
            CountOutputs out;
            out.table = table.data();
            out.K = S + 1;
            p.Eval(theta, out);
            double sum = 0.0;
            for (double t : table) sum += t;
            EXPECT_NEAR(sum, 1.0, 1e-14) << m << " " << S;
        }
        CountProblem q = Simulate(30, 4);
        q.model = m == kNegBin ? kNegBin : kPoisson;  // the untruncated model
        q.P = 0.5;
        const double Lfull = q.LogLik(theta);
        const std::vector<double> gfull = q.Gradient(theta);
        q.model = m;
        q.S = 25;
        const double L25 = q.LogLik(theta);
        q.S = 200;
        const double L200 = q.LogLik(theta);
        EXPECT_GT(L25, Lfull);  // dropping the upper tail raises every probability
        EXPECT_NEAR(L200, Lfull, 1e-11 * std::fabs(Lfull));
        EXPECT_LT(RelDiff(q.Gradient(theta), gfull), 1e-11);
    }
}

TEST(CountLik, TableSumsToNWhenItCoversTheSupport) {
    CountProblem p = Simulate(50, 5, 0.3);
    for (Model m : {kPoisson, kTruncPoisson, kNegBin}) {
        p.model = m;
        p.S = m == kTruncPoisson ? 8 : 0;
        p.P = 1.0;
        const int K = m == kTruncPoisson ? 9 : 80;
        std::vector<double> table(K);
        CountOutputs out;
        out.table = table.data();
        out.K = K;
        p.Eval({0.1, 0.2, -0.1, 0.5}, out);
        double sum = 0.0;
        for (double t : table) sum += t;
        EXPECT_NEAR(sum, 50.0, 1e-11) << m;
    }
}

// The negative binomial with P = 0 is NB2 (variance mu + mu^2 / a) and with P = 1 it is NB1
// (variance mu (1 + 1/a)); their log-likelihoods written in the usual textbook forms.
TEST(CountLik, NegBinMatchesNB2AndNB1) {
    CountProblem p = RandHie(2000);
    p.model = kNegBin;
    std::vector<double> theta = kRandBeta;
    theta.push_back(-0.4);  // a = exp(0.4)
    const double a = std::exp(0.4);
    for (double P : {0.0, 1.0}) {
        p.P = P;
        std::vector<double> contrib(p.y.rows);
        CountOutputs out;
        out.contrib = contrib.data();
        const double L = p.Eval(theta, out);
        double direct = 0.0;
        for (int i = 0; i < p.y.rows; ++i) {
            double xb = 0.0;
            for (int c = 0; c < 10; ++c) xb += kRandBeta[c] * p.X[i][c];
            const double mu = std::exp(xb), y = p.y[i][0];
            double li;
            if (P == 0.0) {  // alpha = 1/a
                li = std::lgamma(y + a) - std::lgamma(a) - std::lgamma(y + 1) + a * std::log(a / (a + mu)) +
                     y * std::log(mu / (a + mu));
            } else {  // delta = 1/a, r = mu / delta
                const double delta = 1.0 / a, r = mu / delta;
                li = std::lgamma(y + r) - std::lgamma(r) - std::lgamma(y + 1) - r * std::log1p(delta) +
                     y * std::log(delta / (1.0 + delta));
            }
            EXPECT_NEAR(contrib[i], li, 1e-11) << i;
            direct += li;
        }
        EXPECT_NEAR(L, direct, 1e-10 * std::fabs(direct));
        CheckDerivatives(p, theta, false, 1e-7);
    }
}

TEST(CountLik, NegBinGradientAndOuterProduct) {
    CountProblem p = Simulate(40, 6);
    p.model = kNegBin;
    for (double P : {0.0, 1.0, 1.6}) {
        for (int S : {0, 9}) {
            p.P = P;
            p.S = S;
            SCOPED_TRACE(::testing::Message() << "P " << P << " S " << S);
            CheckDerivatives(p, {0.2, 0.3, -0.2, 0.7}, false, 1e-7);
        }
    }
}

// One matrix is accumulated: the information slot takes the outer product when both are wanted.
TEST(CountLik, NegBinAccumulatesOneMatrix) {
    CountProblem p = Simulate(30, 7);
    p.model = kNegBin;
    p.P = 0.0;
    const std::vector<double> theta = {0.2, 0.3, -0.2, 0.7};
    Mat only_outer(4, 4), info(4, 4), outer(4, 4, 5.0);
    CountOutputs a;
    a.outer = only_outer.p();
    p.Eval(theta, a);
    CountOutputs b;
    b.info = info.p();
    b.outer = outer.p();
    p.Eval(theta, b);
    EXPECT_EQ(info.data, only_outer.data);
    for (double v : outer.data) EXPECT_EQ(v, 0.0);
}

}  // namespace
}  // namespace tessel
