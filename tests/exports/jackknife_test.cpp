// FnJackknifeHCSE against the jackknife built from T leave-one-out regressions.
#include "tests/regression/support.h"

namespace {
using namespace tessel::regtest;

struct Jackknife : Call {
    Jackknife(const Rows &X, const std::vector<double> &e, const Rows &Q) {
        Run("FnJackknifeHCSE", FnJackknifeHCSE, {M(X), M(1, static_cast<int>(e.size()), e), M(Q)});
    }
};

// (T-1)/T sum_t (b_(t) - mean)(b_(t) - mean)' over the fits that leave out one observation each.
Rows LeaveOneOut(const Rows &X, const Rows &Y) {
    const int T = static_cast<int>(X.size()), k = static_cast<int>(X[0].size());
    Rows fits;
    std::vector<double> mean(k, 0.0);
    for (int t = 0; t < T; ++t) {
        Rows Xt = X, Yt = Y;
        Xt.erase(Xt.begin() + t), Yt.erase(Yt.begin() + t);
        fits.push_back(OlsFit(Xt, Yt, 0, 0, T - 2));
        for (int j = 0; j < k; ++j) mean[j] += fits.back()[j] / T;
    }
    for (auto &b : fits)
        for (int j = 0; j < k; ++j) b[j] = std::sqrt((T - 1.0) / T) * (b[j] - mean[j]);
    return CrossProducts(fits, fits, 0, T - 1);
}

TEST(JackknifeHcseExport, LeaveOneOutRegressionsDegenerateSamplesAndBadArguments) {
    // Heteroskedastic errors with a few high-leverage points, and inflation on the bill rate and
    // unemployment in the quarterly data.
    Rows X = Normal(60, 3, 21), Y = Normal(60, 1, 22), Xq, Yq;
    for (int t = 0; t < 60; ++t) {
        X[t][0] = 1.0;
        if (t % 17 == 0) X[t][1] *= 4.0;
        Y[t][0] = 1.0 + 2.0 * X[t][1] - X[t][2] + (0.5 + std::fabs(X[t][1])) * Y[t][0];
    }
    for (const auto &r : MacroData()) Xq.push_back({1.0, r[7], r[9]}), Yq.push_back({r[10]});
    for (auto [Xs, Ys, rel] : {std::tuple{&X, &Y, 1e-9}, {&Xq, &Yq, 1e-8}}) {
        const int T = static_cast<int>(Xs->size());
        auto b = OlsFit(*Xs, *Ys, 0, 0, T - 1);
        std::vector<double> e;
        for (int t = 0; t < T; ++t) e.push_back((*Ys)[t][0] - Dot(b, (*Xs)[t]));
        Jackknife c(*Xs, e, Inverse(CrossProducts(*Xs, *Xs, 0, T - 1)));
        Rows want = LeaveOneOut(*Xs, *Ys);
        ASSERT_TRUE(c.rtn.ival == 3 && c.rtn.cols == 3);
        for (int i = 0; i < 9; ++i) {
            const int a = i / 3, b = i % 3;
            EXPECT_NEAR(At(c.rtn, a, b), want[a][b], rel * std::sqrt(want[a][a] * want[b][b]));
        }
    }
    // One observation: the factor (T-1)/T makes the result zero. Zero residuals: a zero matrix.
    // A leverage of one or more: an empty matrix. No observations: no result.
    Jackknife one({{2.0}}, {0.7}, {{0.1}});
    ASSERT_EQ(one.rtn.ival, 1);
    EXPECT_EQ(At(one.rtn, 0, 0), 0.0);
    Rows Z = Normal(12, 2, 23), Q = {{1.0, 0.0}, {0.0, 1.0}};
    Jackknife zero(Z, std::vector<double>(12, 0.0), Inverse(CrossProducts(Z, Z, 0, 11)));
    for (int i = 0; i < 4; ++i) EXPECT_EQ(At(zero.rtn, i / 2, i % 2), 0.0);
    Jackknife lev(Z, std::vector<double>(12, 1.0), {{100.0, 0.0}, {0.0, 100.0}});
    EXPECT_TRUE(lev.rtn.type == VELA_MATRIX && lev.rtn.ival == 0 && lev.rtn.cols == 0);
    EXPECT_TRUE(Jackknife({}, {}, {}).Silent());
    // Residuals shorter than T, Q of the wrong order, residuals of the wrong type.
    EXPECT_TRUE(Jackknife(Z, std::vector<double>(11, 1.0), Q).Rejected(1));
    EXPECT_TRUE(Jackknife(Z, std::vector<double>(12, 1.0), {{1.0}}).Rejected(2));
    Call c;
    c.Run("FnJackknifeHCSE", FnJackknifeHCSE, {c.M(Z), VelawinDouble(1.0), c.M(Q)});
    EXPECT_TRUE(c.Rejected(1));
}

}  // namespace
