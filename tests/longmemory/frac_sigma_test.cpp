#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <vector>

#include <boost/math/quadrature/tanh_sinh.hpp>

#include "longmemory/frac_sigma.h"

namespace {

using C = std::complex<double>;

struct Arfima { double d; std::vector<double> phi, psi; };

std::vector<double> Acov(const Arfima &m, double sigma2, int n, int expect_status = 0) {
    std::vector<double> theta{m.d}, g(n, -99.0);
    theta.insert(theta.end(), m.phi.begin(), m.phi.end());
    theta.insert(theta.end(), m.psi.begin(), m.psi.end());
    const std::vector<double> before = theta;
    EXPECT_EQ(tessel::FracSigma(theta.data(), int(m.phi.size()), int(m.psi.size()), sigma2, n, g.data()), expect_status);
    EXPECT_EQ(std::memcmp(theta.data(), before.data(), theta.size() * sizeof(double)), 0) << "theta changed";
    return g;
}

// sigma2 / pi * integral over (0, pi) of |Theta|^2 / |Phi|^2 (2 sin(l/2))^(-2d) cos(h l), by
// double-exponential quadrature, which absorbs the singularity of the spectrum at frequency 0.
double SpectralAcov(const Arfima &m, double sigma2, int h) {
    auto f = [&](double l) {
        C th = 1.0, ph = 1.0, z = std::polar(1.0, l), zk = 1.0;
        for (size_t k = 0; k < std::max(m.phi.size(), m.psi.size()); ++k) {
            zk *= z;
            if (k < m.psi.size()) th += m.psi[k] * zk;
            if (k < m.phi.size()) ph -= m.phi[k] * zk;
        }
        return std::norm(th) / std::norm(ph) * std::pow(2.0 * std::sin(0.5 * l), -2.0 * m.d) * std::cos(h * l);
    };
    return sigma2 / M_PI * boost::math::quadrature::tanh_sinh<double>(15).integrate(f, 0.0, M_PI, 1e-13);
}

// sigma2 * sum of w_k w_(k+h) over the MA(infinity) weights of Theta(L) / Phi(L).
double ArmaAcov(const Arfima &m, double sigma2, int h) {
    std::vector<double> w(6000);
    double g = 0.0;
    for (int k = 0; k < int(w.size()); ++k) {
        w[k] = k == 0 ? 1.0 : k <= int(m.psi.size()) ? m.psi[k - 1] : 0.0;
        for (int i = 1; i <= std::min<int>(k, m.phi.size()); ++i) w[k] += m.phi[i - 1] * w[k - i];
        if (k >= h) g += w[k - h] * w[k];
    }
    return sigma2 * g;
}

}  // namespace

TEST(FracSigma, FractionalNoiseAndPureMovingAverage) {
    for (double d : {-0.45, -0.2, 0.1, 0.3, 0.45}) {
        auto g = Acov({d, {}, {}}, 2.5, 300);
        const double g0 = 2.5 * std::tgamma(1 - 2 * d) / std::pow(std::tgamma(1 - d), 2);
        for (int h = 0; h < 300; h += 23) {  // Gamma(h + d) Gamma(1 - d) / (Gamma(h + 1 - d) Gamma(d))
            const double rho = h == 0 ? 1 : std::exp(std::lgamma(h + d) - std::lgamma(h + 1 - d)) * std::tgamma(1 - d) / std::tgamma(d);
            EXPECT_NEAR(g[h], g0 * rho, 1e-12 * std::fabs(g0 * rho)) << d << " " << h;
        }
    }
    // d below 1e-11 without AR part: the MA autocovariances, and no more than n of them.
    auto g = Acov({5e-12, {}, {0.5, -0.3, 0.2}}, 2.0, 5);
    const double want[] = {2 * 1.38, 2 * 0.29, 2 * -0.2, 2 * 0.2, 0.0};
    for (int h = 0; h < 5; ++h) EXPECT_NEAR(g[h], want[h], 1e-15);
    EXPECT_NEAR(Acov({0.0, {}, {0.5, -0.3, 0.2}}, 2.0, 2)[1], 0.58, 1e-15);
}

TEST(FracSigma, ArmaMatchesMaInfinityWeightsAndArfimaTheSpectrum) {
    // AR(2) {2 r cos(a), -r^2} has the complex reciprocal roots r e^(+-ia); the AR(3) parts have a
    // real root and a complex pair, except {0.6, 0.24, -0.064} with roots 0.8, -0.4, 0.2.
    const struct {
        Arfima m;
        int n = 25;
    } cases[] = {{{0.0, {-0.7}, {0.4}}},  // d = 0: against the MA(infinity) weights
                 {{0.0, {0.72, -0.64}, {0.3, -0.2}}},
                 {{0.0, {-0.15, 0.455, 0.441}, {0.2, 0.1, 0.05}}},
                 {{0.3, {0.5}, {}}},  // d != 0: against the spectrum
                 {{-0.35, {-0.6}, {0.4}}},
                 {{0.2, {0.84, -0.36}, {0.3, -0.2}}},
                 {{0.45, {-0.06, -0.21, 0.245}, {-0.5}}},
                 {{-0.45, {0.6, 0.24, -0.064}, {0.5, 0.25}}},
                 {{-0.1, {0.0}, {0.6}}},  // a root at zero
                 // The hypergeometric tail starts at a lag that grows with n; the backward
                 // recursion from there must give the same leading values.
                 {{0.3, {1.496, -0.7225}, {0.4, 0.2}}, 2000}};
    for (const auto &c : cases) {
        const auto g = Acov(c.m, 0.8, c.n);
        for (int h = 0; h < 25; ++h) {
            const double want = c.m.d == 0.0 ? ArmaAcov(c.m, 0.8, h) : SpectralAcov(c.m, 0.8, h);
            EXPECT_NEAR(g[h], want, 1e-9 * std::fabs(want)) << "d=" << c.m.d << " lag " << h;
        }
        if (c.n == 2000) {  // the h^(2d - 1) decay far out
            EXPECT_NEAR(g[1999] / g[999], std::pow(1999.0 / 999.0, 2 * 0.3 - 1), 2e-3);
        }
    }
}

TEST(FracSigma, StatusCodesLeaveZeros) {
    const std::vector<double> zeros(3, 0.0);
    EXPECT_EQ(Acov({5.01, {0.3}, {}}, 1.0, 3, tessel::kFracBadD), zeros);
    Acov({-5.0, {}, {}}, 1.0, 3, tessel::kFracOk);  // |d| = 5 passes
    EXPECT_EQ(Acov({0.2, {0.3}, {}}, 0.0001, 3, tessel::kFracBadSigma2), zeros);
    EXPECT_EQ(Acov({0.2, {0.9999}, {}}, 1.0, 3, tessel::kFracNonStationary), zeros);
    Acov({0.2, {1.08, -0.9999000025}, {}}, 1.0, 3, tessel::kFracNonStationary);  // a complex pair of modulus 0.99995
    EXPECT_EQ(Acov({0.2, {0.0, 0.0}, {0.3}}, 1.0, 3, tessel::kFracCoincidingRoots), zeros);
    EXPECT_EQ(Acov({0.2, {NAN, 0.1}, {}}, 1.0, 3, tessel::kFracRootsFailed), zeros);
    double theta[] = {0.1, -0.0}, out[1];  // the sign of a zero survives negation and its undoing
    EXPECT_EQ(tessel::FracSigma(theta, 1, 0, 1.0, 1, out), tessel::kFracOk);
    EXPECT_TRUE(std::signbit(theta[1]));
}

TEST(FracHyper, WarnsAndReturnsThePartialSumWhenCutShort) {
    for (tessel::Complex z : {tessel::Complex{0.99999, 0.0}, tessel::Complex{0.7, 0.71}}) {
        testing::internal::CaptureStdout();
        const tessel::Complex f = tessel::FracHyper(1, 1, z);  // the geometric series in z
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "hyper: end of loop reached!\n");
        const C partial = (1.0 - std::pow(C(z.re, z.im), 10001)) / (1.0 - C(z.re, z.im));
        EXPECT_LT(std::abs(C(f.re, f.im) - partial), 1e-8 * std::abs(partial));
    }
}
