// FnRalsFunc: criterion and residuals from their definition, gradient against a numerical derivative
// of the criterion, the Gauss-Newton matrix against 2 sum d d' with d from numerical derivatives of e.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "host/exports.h"
#include "tests/regression/support.h"

namespace {

using namespace tessel::testing;

// u_t and e_t straight from the model equations.
struct Direct {
    std::vector<double> u, e;  // e[t] defined for t >= r2
    double rss = 0.0;
};

Direct Evaluate(const std::vector<double> &theta, const std::vector<double> &y, const Rows &X, int r1, int r2) {
    const int T = static_cast<int>(y.size()), k = static_cast<int>(X[0].size());
    Direct d;
    d.u.resize(T);
    d.e.assign(T, 0.0);
    for (int t = 0; t < T; ++t) d.u[t] = y[t] - Dot(std::vector<double>(theta.begin(), theta.begin() + k), X[t]);
    for (int t = r2; t < T; ++t) {
        double e = d.u[t];
        for (int i = r1; i <= r2; ++i) e -= theta[k + i - r1] * d.u[t - i];
        d.e[t] = e;
        d.rss += e * e;
    }
    return d;
}

struct RalsCall {
    HostValues hv;
    VelaValue rtn{};
    VelaValue *resid = nullptr, *grad = nullptr, *hess = nullptr;
    long live_before = 0, live_after = 0;
    ~RalsCall() { VelaFreeByValue(&rtn); }
    // y is a column unless `yRows` gives it another shape.
    void Run(const std::vector<double> &theta, const std::vector<double> &y, const Rows &X, int r1, int r2,
             int cArg = 8, const Rows *yRows = nullptr) {
        std::vector<VelaValue> a = {hv.Matrix(1, static_cast<int>(theta.size()), theta),
                                    yRows ? hv.Matrix(*yRows) : hv.Matrix(static_cast<int>(y.size()), 1, y),
                                    hv.Matrix(X),
                                    VelawinInt(r1),
                                    VelawinInt(r2),
                                    hv.Ref(&resid),
                                    hv.Ref(&grad),
                                    hv.Ref(&hess)};
        VelawinBeginCall("FnRalsFunc");
        live_before = VelawinLiveBlocks();
        FnRalsFunc(&rtn, a.data(), cArg);
        live_after = VelawinLiveBlocks();
    }
};

struct Model {
    std::vector<double> y, theta;
    Rows X;
};

// y = 1 + 0.5 x + u, u an AR process with the given band of lags.
Model Simulate(int T, int r1, int r2, unsigned seed) {
    Model m;
    Rows z = Normal(T, 2, seed);
    std::vector<double> alpha;
    for (int i = r1; i <= r2; ++i) alpha.push_back(0.4 / (i - r1 + 1));
    std::vector<double> u(T, 0.0);
    for (int t = 0; t < T; ++t) {
        u[t] = z[t][1];
        for (int i = r1; i <= r2; ++i)
            if (t - i >= 0) u[t] += alpha[i - r1] * u[t - i];
        m.X.push_back({1.0, z[t][0]});
        m.y.push_back(1.0 + 0.5 * z[t][0] + u[t]);
    }
    m.theta = {0.9, 0.6};  // near, not at, the true values
    for (double a : alpha) m.theta.push_back(a + 0.05);
    return m;
}

TEST(RalsFuncExport, CriterionResidualsAndDerivativesFromTheModelEquations) {
    for (auto [r1, r2] : {std::pair{1, 1}, {1, 2}, {2, 4}, {3, 3}}) {
        Model m = Simulate(120, r1, r2, 30 + r1);
        const int n = static_cast<int>(m.theta.size()), T = 120;
        RalsCall call;
        call.Run(m.theta, m.y, m.X, r1, r2);
        // Entries before r2 hold the regression residuals u_t, the rest the innovations e_t.
        Direct d = Evaluate(m.theta, m.y, m.X, r1, r2);
        ASSERT_EQ(call.rtn.type, VELA_DOUBLE);
        EXPECT_NEAR(call.rtn.data.dval, d.rss, 1e-12 * d.rss);
        ASSERT_EQ(call.resid->ival, T);
        for (int t = 0; t < T; ++t) EXPECT_NEAR(At(*call.resid, t, 0), t < r2 ? d.u[t] : d.e[t], 1e-13) << t;

        ASSERT_EQ(call.grad->ival, n);
        ASSERT_EQ(call.hess->ival, n);
        ASSERT_EQ(call.hess->cols, n);

        // e_t is bilinear in theta, so central differences are exact up to rounding.
        const double h = 1e-4;
        Rows J(T, std::vector<double>(n, 0.0));  // J[t][p] = -de_t/dtheta_p
        for (int p = 0; p < n; ++p) {
            auto up = m.theta, down = m.theta;
            up[p] += h;
            down[p] -= h;
            Direct a = Evaluate(up, m.y, m.X, r1, r2), b = Evaluate(down, m.y, m.X, r1, r2);
            EXPECT_NEAR(At(*call.grad, p, 0), (a.rss - b.rss) / (2 * h), 1e-6 * (1 + std::fabs(a.rss - b.rss) / h))
                << "theta " << p;
            for (int t = r2; t < T; ++t) J[t][p] = -(a.e[t] - b.e[t]) / (2 * h);
        }
        for (int p = 0; p < n; ++p)
            for (int q = 0; q < n; ++q) {
                double want = 0.0;
                for (int t = r2; t < T; ++t) want += 2.0 * J[t][p] * J[t][q];
                EXPECT_NEAR(At(*call.hess, p, q), want, 1e-7 * (1 + std::fabs(want))) << p << "," << q;
                EXPECT_EQ(At(*call.hess, p, q), At(*call.hess, q, p));
            }
    }
}

TEST(RalsFuncExport, SingleInnovationGivesMinusTwoDeAndTwoDDt) {
    // T = 3, r1 = r2 = 2: one innovation, at t = 2.
    Rows X = {{1.0}, {2.0}, {-1.0}};
    std::vector<double> y = {0.5, 1.0, 3.0}, theta = {0.25, 0.5};
    RalsCall call;
    call.Run(theta, y, X, 2, 2);
    const double u0 = 0.5 - 0.25, u2 = 3.0 + 0.25, e = u2 - 0.5 * u0;
    const double d[2] = {-1.0 - 0.5 * 1.0, u0};
    EXPECT_DOUBLE_EQ(call.rtn.data.dval, e * e);
    for (int p = 0; p < 2; ++p) {
        EXPECT_DOUBLE_EQ(At(*call.grad, p, 0), -2.0 * d[p] * e);
        for (int q = 0; q < 2; ++q) EXPECT_DOUBLE_EQ(At(*call.hess, p, q), 2.0 * d[p] * d[q]);
    }
}

TEST(RalsFuncExport, LastLagAtSampleLengthLeavesRegressionResiduals) {
    Model m = Simulate(6, 1, 2, 3);
    RalsCall call;
    call.Run(m.theta, m.y, m.X, 5, 6);  // r2 = T
    EXPECT_EQ(call.rtn.data.dval, 0.0);
    Direct d = Evaluate(m.theta, m.y, m.X, 5, 6);
    for (int t = 0; t < 6; ++t) EXPECT_NEAR(At(*call.resid, t, 0), d.u[t], 1e-15);
    for (int p = 0; p < 4; ++p) EXPECT_EQ(At(*call.grad, p, 0), 0.0);

    // r1 > r2: no autoregression, least squares residuals from t = r2 on.
    RalsCall plain;
    plain.Run({1.0, 0.5}, m.y, m.X, 3, 2);
    Direct p = Evaluate({1.0, 0.5}, m.y, m.X, 3, 2);
    double rss = 0.0;
    for (int t = 2; t < 6; ++t) rss += p.u[t] * p.u[t];
    EXPECT_NEAR(plain.rtn.data.dval, rss, 1e-14);
    EXPECT_EQ(plain.grad->ival, 2);
}

TEST(RalsFuncExport, OptionalOutputsMayBeLeftOff) {
    Model m = Simulate(30, 1, 1, 4);
    RalsCall only_resid, with_grad;
    only_resid.Run(m.theta, m.y, m.X, 1, 1, 6);
    with_grad.Run(m.theta, m.y, m.X, 1, 1, 7);
    EXPECT_EQ(only_resid.grad->type, VELA_EMPTY);
    EXPECT_EQ(with_grad.grad->ival, 3);
    EXPECT_EQ(with_grad.hess->type, VELA_EMPTY);
    EXPECT_EQ(only_resid.rtn.data.dval, with_grad.rtn.data.dval);
    for (int t = 0; t < 30; ++t) EXPECT_EQ(At(*only_resid.resid, t, 0), At(*with_grad.resid, t, 0));
}

TEST(RalsFuncExport, BadShapesGiveMissingAndBadLagsAreRejected) {
    Model m = Simulate(10, 1, 1, 5);
    // y with two columns, or X without T rows: the missing value, nothing allocated.
    Rows wide = {{1, 2}, {3, 4}}, shortX(5, std::vector<double>{1.0, 2.0});
    RalsCall two_columns, short_x;
    two_columns.Run(m.theta, {1, 2, 3, 4}, m.X, 1, 1, 6, &wide);
    short_x.Run(m.theta, m.y, shortX, 1, 1);
    for (RalsCall *c : {&two_columns, &short_x}) {
        EXPECT_EQ(c->rtn.type, VELA_DOUBLE);
        EXPECT_TRUE(std::isnan(c->rtn.data.dval));
        EXPECT_EQ(c->resid->type, VELA_EMPTY);
        EXPECT_EQ(c->live_after, c->live_before);
    }
    // Lags outside the sample and a theta too short for the lag band are rejected.
    for (auto [r1, r2, bad] : {std::tuple{1, 11, 4}, {1, -1, 4}, {-1, 1, 3}, {1, 2, 0}}) {
        RalsCall call;
        call.Run(m.theta, m.y, m.X, r1, r2);
        EXPECT_EQ(VelawinErrorCount(), 1);
        EXPECT_NE(std::string(VelawinLastError()).find("argument " + std::to_string(bad)), std::string::npos);
        EXPECT_EQ(call.live_after, call.live_before);
    }
    HostValues hv;
    VelaValue rtn{}, *resid;
    std::vector<VelaValue> a = {hv.Matrix(1, 3, m.theta), hv.Matrix(10, 1, m.y), hv.Matrix(m.X),
                                VelawinDouble(1.0), VelawinInt(1), hv.Ref(&resid)};
    VelawinBeginCall("FnRalsFunc");
    long before = VelawinLiveBlocks();
    FnRalsFunc(&rtn, a.data(), 6);
    EXPECT_EQ(VelawinErrorCount(), 1);
    EXPECT_EQ(VelawinLiveBlocks(), before);
    EXPECT_EQ(rtn.type, VELA_EMPTY);
}

}  // namespace
