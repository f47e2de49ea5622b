// FnRalsFunc: criterion and residuals from the model equations, gradient against a numerical derivative
// of the criterion, the Gauss-Newton matrix against 2 sum d d' with d from numerical derivatives of e.
#include "tests/regression/support.h"

namespace {
using namespace tessel::regtest;

// u_t = y_t - x_t'b and e_t = u_t - sum_{i=r1..r2} a_i u_{t-i} (t >= r2) straight from the model.
struct Direct {
    std::vector<double> u, e;
    double rss = 0.0;
    Direct(const std::vector<double> &theta, const std::vector<double> &y, const Rows &X, int r1, int r2) {
        const int T = static_cast<int>(y.size()), k = static_cast<int>(X[0].size());
        const std::vector<double> b(theta.begin(), theta.begin() + k);
        for (int t = 0; t < T; ++t) u.push_back(y[t] - Dot(b, X[t]));
        e = u;
        for (int t = r2; t < T; ++t) {
            for (int i = r1; i <= r2; ++i) e[t] -= theta[k + i - r1] * u[t - i];
            rss += e[t] * e[t];
        }
    }
};

// y = 1 + 0.5 x + u, u autoregressive on lags r1..r2; theta near, not at, the true values.
struct Model {
    std::vector<double> y, theta{0.9, 0.6};
    Rows X;
    Model(int T, int r1, int r2, unsigned seed) {
        Rows z = Normal(T, 2, seed);
        std::vector<double> u(T);
        for (int i = r1; i <= r2; ++i) theta.push_back(0.4 / (i - r1 + 1) + 0.05);
        for (int t = 0; t < T; ++t) {
            u[t] = z[t][1];
            for (int i = r1; i <= r2 && i <= t; ++i) u[t] += (theta[2 + i - r1] - 0.05) * u[t - i];
            X.push_back({1.0, z[t][0]});
            y.push_back(1.0 + 0.5 * z[t][0] + u[t]);
        }
    }
};

struct Rals : Call {
    VelaValue *resid, *grad, *hess;
    // y is a column unless yRows gives it another shape.
    Rals(const std::vector<double> &theta, const std::vector<double> &y, const Rows &X, int r1, int r2,
         int cArg = 8, int yRows = -1) {
        const int ty = static_cast<int>(y.size()), ry = yRows < 0 ? ty : yRows;
        Run("FnRalsFunc", FnRalsFunc,
            {M(1, static_cast<int>(theta.size()), theta), M(ry, ty / ry, y), M(X), VelawinInt(r1), VelawinInt(r2),
             Ref(&resid), Ref(&grad), Ref(&hess)},
            cArg);
    }
};

TEST(RalsFuncExport, ModelEquationsEdgeLagBandsAndBadArguments) {
    for (auto [r1, r2] : {std::pair{1, 1}, {1, 2}, {2, 4}, {3, 3}}) {
        const Model m(120, r1, r2, 30 + r1);
        const int n = static_cast<int>(m.theta.size()), T = 120;
        Rals call(m.theta, m.y, m.X, r1, r2);
        Direct d(m.theta, m.y, m.X, r1, r2);
        ASSERT_TRUE(call.rtn.type == VELA_DOUBLE && call.resid->ival == T && call.grad->ival == n);
        ASSERT_EQ(call.hess->cols, n);
        EXPECT_NEAR(call.rtn.data.dval, d.rss, 1e-12 * d.rss);
        // Entries before r2 hold the regression residuals u_t, the rest the innovations e_t.
        for (int t = 0; t < T; ++t) EXPECT_NEAR(At(*call.resid, t, 0), t < r2 ? d.u[t] : d.e[t], 1e-13) << t;
        // e_t is bilinear in theta, so central differences are exact up to rounding.
        const double h = 1e-4;
        Rows J(T, std::vector<double>(n, 0.0));  // J[t][p] = -de_t/dtheta_p
        for (int p = 0; p < n; ++p) {
            auto up = m.theta, down = m.theta;
            up[p] += h, down[p] -= h;
            Direct a(up, m.y, m.X, r1, r2), b(down, m.y, m.X, r1, r2);
            EXPECT_NEAR(At(*call.grad, p, 0), (a.rss - b.rss) / (2 * h), 1e-6 * (1 + std::fabs(a.rss - b.rss) / h));
            for (int t = r2; t < T; ++t) J[t][p] = -(a.e[t] - b.e[t]) / (2 * h);
        }
        Rows want = CrossProducts(J, J, r2, T - 1);
        for (int p = 0; p < n; ++p)
            for (int q = 0; q < n; ++q) {
                EXPECT_NEAR(At(*call.hess, p, q), 2 * want[p][q], 1e-7 * (1 + std::fabs(2 * want[p][q]))) << p << q;
                EXPECT_EQ(At(*call.hess, p, q), At(*call.hess, q, p));
            }
    }
    const Model m(6, 1, 2, 3);
    // r2 = T: no innovations, the residuals are the regression residuals. r1 > r2: no autoregression.
    Rals edge(m.theta, m.y, m.X, 5, 6), plain({1.0, 0.5}, m.y, m.X, 3, 2);
    Direct d(m.theta, m.y, m.X, 5, 6), p({1.0, 0.5}, m.y, m.X, 3, 2);
    ASSERT_TRUE(edge.rtn.type == VELA_DOUBLE && edge.rtn.data.dval == 0.0 && plain.grad->ival == 2);
    for (int t = 0; t < 6; ++t) EXPECT_NEAR(At(*edge.resid, t, 0), d.u[t], 1e-15);
    for (int p = 0; p < 4; ++p) EXPECT_EQ(At(*edge.grad, p, 0), 0.0);
    EXPECT_NEAR(plain.rtn.data.dval, p.u[2] * p.u[2] + p.u[3] * p.u[3] + p.u[4] * p.u[4] + p.u[5] * p.u[5], 1e-14);
    // Gradient and matrix may be left off.
    Rals only_resid(m.theta, m.y, m.X, 1, 1, 6), with_grad(m.theta, m.y, m.X, 1, 1, 7);
    EXPECT_TRUE(only_resid.grad->type == VELA_EMPTY && with_grad.grad->ival == 4 && with_grad.hess->type == VELA_EMPTY);
    EXPECT_EQ(only_resid.rtn.data.dval, with_grad.rtn.data.dval);
    for (int t = 0; t < 6; ++t) EXPECT_EQ(At(*only_resid.resid, t, 0), At(*with_grad.resid, t, 0));
    // y with two columns, or X without T rows: the missing value, nothing allocated.
    Rals wide(m.theta, {1, 2, 3, 4}, m.X, 1, 1, 6, 2), short_x(m.theta, m.y, Rows(3, {1.0, 2.0}), 1, 1);
    for (Rals *c : {&wide, &short_x})
        EXPECT_TRUE(c->rtn.type == VELA_DOUBLE && std::isnan(c->rtn.data.dval) && c->resid->type == VELA_EMPTY &&
                    c->live_after == c->live_before);
    // Lags outside the sample (r2 > T would read before the data) and a theta too short for the band.
    for (auto [r1, r2, bad] : {std::tuple{1, 7, 4}, {1, -1, 4}, {-1, 1, 3}, {1, 3, 0}}) {
        Rals call(m.theta, m.y, m.X, r1, r2);
        EXPECT_TRUE(call.Rejected(bad, VELA_DOUBLE) && std::isnan(call.rtn.data.dval)) << r1 << " " << r2;
    }
    Call c;
    VelaValue *resid;
    c.Run("FnRalsFunc", FnRalsFunc,
          {c.M(1, 4, m.theta), c.M(6, 1, m.y), c.M(m.X), VelawinDouble(1.0), VelawinInt(1), c.Ref(&resid)});
    EXPECT_TRUE(c.Rejected(3));
}

}  // namespace
