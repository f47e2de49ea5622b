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

struct Arfima {
    double d;
    std::vector<double> phi, psi;
    std::vector<double> Theta() const {
        std::vector<double> t{d};
        t.insert(t.end(), phi.begin(), phi.end());
        t.insert(t.end(), psi.begin(), psi.end());
        return t;
    }
};

// phi of (1 - r_1 L)...(1 - r_p L) = 1 - phi_1 L - ... - phi_p L^p for reciprocal roots r.
std::vector<double> ArFromRoots(const std::vector<C> &roots) {
    std::vector<C> c{1.0};
    for (const C &r : roots) {
        c.push_back(0.0);
        for (size_t i = c.size() - 1; i > 0; --i) c[i] -= r * c[i - 1];
    }
    std::vector<double> phi;
    for (size_t i = 1; i < c.size(); ++i) phi.push_back(-c[i].real());
    return phi;
}

std::vector<double> Acov(const Arfima &m, double sigma2, int n, int *status = nullptr) {
    auto theta = m.Theta();
    std::vector<double> g(n, -99.0);
    const int s = tessel::FracSigma(theta.data(), int(m.phi.size()), int(m.psi.size()), sigma2, n, g.data());
    if (status) *status = s;
    EXPECT_EQ(std::memcmp(theta.data(), m.Theta().data(), theta.size() * sizeof(double)), 0) << "theta not restored";
    return g;
}

// gamma(h) = sigma2 / pi * integral over (0, pi) of |Theta|^2 / |Phi|^2 (2 sin(l/2))^(-2d) cos(h l):
// the spectral density integrated with double-exponential quadrature, which absorbs the
// integrable singularity at frequency 0.
double SpectralAcov(const Arfima &m, double sigma2, int h) {
    auto f = [&](double l) {
        const C z = std::polar(1.0, l);
        C th = 1.0, ph = 1.0, zk = 1.0;
        for (size_t k = 0; k < std::max(m.phi.size(), m.psi.size()); ++k) {
            zk *= z;
            if (k < m.psi.size()) th += m.psi[k] * zk;
            if (k < m.phi.size()) ph -= m.phi[k] * zk;
        }
        return std::norm(th) / std::norm(ph) * std::pow(2.0 * std::sin(0.5 * l), -2.0 * m.d) * std::cos(h * l);
    };
    boost::math::quadrature::tanh_sinh<double> integrator(15);
    return sigma2 / M_PI * integrator.integrate(f, 0.0, M_PI, 1e-13);
}

// ARMA autocovariances from the MA(infinity) weights of Theta(L) / Phi(L).
std::vector<double> ArmaAcov(const Arfima &m, double sigma2, int n) {
    const int K = 6000;
    std::vector<double> w(K, 0.0);
    for (int k = 0; k < K; ++k) {
        double v = k == 0 ? 1.0 : (k <= int(m.psi.size()) ? m.psi[k - 1] : 0.0);
        for (int i = 1; i <= int(m.phi.size()) && i <= k; ++i) v += m.phi[i - 1] * w[k - i];
        w[k] = v;
    }
    std::vector<double> g(n, 0.0);
    for (int h = 0; h < n; ++h)
        for (int k = 0; k + h < K; ++k) g[h] += sigma2 * w[k] * w[k + h];
    return g;
}

double FractionalNoiseAcov(double d, double sigma2, int h) {
    const double g0 = sigma2 * std::tgamma(1.0 - 2.0 * d) / std::pow(std::tgamma(1.0 - d), 2);
    // rho(h) = Gamma(h + d) Gamma(1 - d) / (Gamma(h + 1 - d) Gamma(d)), in logarithms for large h.
    if (h == 0) return g0;
    return g0 * std::exp(std::lgamma(h + d) - std::lgamma(h + 1 - d)) * std::tgamma(1.0 - d) / std::tgamma(d);
}

void ExpectRelative(const std::vector<double> &got, const std::vector<double> &want, double tol, const char *what) {
    ASSERT_EQ(got.size(), want.size());
    for (size_t h = 0; h < got.size(); ++h)
        EXPECT_NEAR(got[h], want[h], tol * std::fabs(want[h])) << what << " lag " << h;
}

}  // namespace

TEST(FracSigma, FractionalNoiseMatchesTheGammaFunctionForm) {
    for (double d : {-0.45, -0.2, 0.1, 0.3, 0.45}) {
        const int n = 200;
        std::vector<double> want(n);
        for (int h = 0; h < n; ++h) want[h] = FractionalNoiseAcov(d, 2.5, h);
        ExpectRelative(Acov({d, {}, {}}, 2.5, n), want, 1e-12, "fractional noise");
    }
    auto g = Acov({0.4, {}, {}}, 1.0, 3);
    EXPECT_NEAR(g[0], std::tgamma(0.2) / std::pow(std::tgamma(0.6), 2), 1e-13 * g[0]);
    EXPECT_NEAR(g[1], g[0] * 0.4 / 0.6, 1e-14 * g[0]);
}

TEST(FracSigma, PureMovingAverageTakesTheShortCut) {
    auto g = Acov({0.0, {}, {0.6}}, 2.0, 5);
    EXPECT_DOUBLE_EQ(g[0], 2.0 * (1.0 + 0.36));
    EXPECT_DOUBLE_EQ(g[1], 2.0 * 0.6);
    for (int h = 2; h < 5; ++h) EXPECT_EQ(g[h], 0.0);
    // MA(3): c_1 = psi_1 + psi_1 psi_2 + psi_2 psi_3, c_3 = psi_3.
    g = Acov({5e-12, {}, {0.5, -0.3, 0.2}}, 1.0, 6);
    EXPECT_NEAR(g[0], 1.0 + 0.25 + 0.09 + 0.04, 1e-15);
    EXPECT_NEAR(g[1], 0.5 - 0.15 - 0.06, 1e-15);
    EXPECT_NEAR(g[2], -0.3 + 0.1, 1e-15);
    EXPECT_NEAR(g[3], 0.2, 1e-15);
    EXPECT_EQ(g[4], 0.0);
    // Fewer lags asked for than the MA order: only those are written.
    g = Acov({0.0, {}, {0.5, -0.3, 0.2}}, 1.0, 2);
    EXPECT_EQ(g.size(), 2u);
    EXPECT_NEAR(g[1], 0.29, 1e-15);
}

TEST(FracSigma, ArmaWithoutFractionalPartMatchesMaInfinityWeights) {
    const Arfima models[] = {
        {0.0, {0.5}, {}},
        {0.0, {-0.7}, {0.4}},
        {0.0, ArFromRoots({std::polar(0.8, 1.1), std::polar(0.8, -1.1)}), {0.3, -0.2}},
        {0.0, ArFromRoots({0.6, std::polar(0.7, 2.4), std::polar(0.7, -2.4)}), {-0.5}},
        {0.0, ArFromRoots({0.9, -0.5, 0.2}), {0.2, 0.1, 0.05}},
    };
    for (const auto &m : models) ExpectRelative(Acov(m, 1.7, 40), ArmaAcov(m, 1.7, 40), 1e-9, "ARMA");
}

TEST(FracSigma, ArfimaMatchesIntegratedSpectralDensity) {
    const Arfima models[] = {
        {0.3, {0.5}, {}},
        {-0.35, {-0.6}, {0.4}},
        {0.2, ArFromRoots({std::polar(0.6, 0.8), std::polar(0.6, -0.8)}), {0.3, -0.2}},
        {0.1, ArFromRoots({0.9, -0.3}), {}},
        {0.45, ArFromRoots({0.5, std::polar(0.7, 2.0), std::polar(0.7, -2.0)}), {-0.5}},
        {-0.45, ArFromRoots({0.8, -0.4, 0.2}), {0.5, 0.25}},
        {0.25, {}, {0.4, -0.3}},
        {-0.1, {0.0}, {0.6}},  // a zero root
    };
    for (const auto &m : models) {
        const int n = 25;
        std::vector<double> want(n);
        for (int h = 0; h < n; ++h) want[h] = SpectralAcov(m, 0.8, h);
        ExpectRelative(Acov(m, 0.8, n), want, 1e-9, "spectral");
    }
}

TEST(FracSigma, LeadingLagsDoNotDependOnHowManyAreAsked) {
    // The hypergeometric tail is started at a lag that grows with n; the recursion below it must
    // give the same leading autocovariances.
    const Arfima m{0.3, ArFromRoots({std::polar(0.85, 0.5), std::polar(0.85, -0.5)}), {0.4, 0.2}};
    auto shortrun = Acov(m, 1.0, 3), longrun = Acov(m, 1.0, 2000);
    ExpectRelative(std::vector<double>(longrun.begin(), longrun.begin() + 3), shortrun, 1e-12, "n = 3 vs 2000");
    auto one = Acov({0.2, {0.5}, {}}, 1.0, 1), more = Acov({0.2, {0.5}, {}}, 1.0, 10);
    EXPECT_NEAR(one[0], more[0], 1e-13 * more[0]);
    // Long memory: lag 1999 still decays like h^(2d - 1) from lag 999.
    EXPECT_NEAR(longrun[1999] / longrun[999], std::pow(1999.0 / 999.0, -0.4), 2e-3);
}

TEST(FracSigma, StatusCodesLeaveZerosAndThetaIntact) {
    int status = -1;
    auto all_zero = [](const std::vector<double> &g) {
        return std::all_of(g.begin(), g.end(), [](double x) { return x == 0.0; });
    };
    auto g = Acov({5.5, {0.3}, {}}, 1.0, 4, &status);
    EXPECT_EQ(status, tessel::kFracBadD);
    EXPECT_TRUE(all_zero(g));
    g = Acov({-5.0, {}, {}}, 1.0, 4, &status);
    EXPECT_EQ(status, tessel::kFracOk);  // |d| = 5 passes the first test
    g = Acov({0.2, {0.3}, {}}, 0.0001, 4, &status);
    EXPECT_EQ(status, tessel::kFracBadSigma2);
    EXPECT_TRUE(all_zero(g));
    g = Acov({0.2, {0.9999}, {}}, 1.0, 4, &status);
    EXPECT_EQ(status, tessel::kFracNonStationary);
    EXPECT_TRUE(all_zero(g));
    g = Acov({0.2, ArFromRoots({std::polar(0.99995, 1.0), std::polar(0.99995, -1.0)}), {0.3}}, 1.0, 4, &status);
    EXPECT_EQ(status, tessel::kFracNonStationary);
    g = Acov({0.2, {0.0, 0.0}, {0.3}}, 1.0, 4, &status);  // two roots at zero coincide
    EXPECT_EQ(status, tessel::kFracCoincidingRoots);
    EXPECT_TRUE(all_zero(g));
    g = Acov({0.2, {NAN, 0.1}, {}}, 1.0, 4, &status);
    EXPECT_EQ(status, tessel::kFracRootsFailed);
    EXPECT_TRUE(all_zero(g));
    // Negative zero survives the negation and its undoing.
    std::vector<double> theta{0.1, -0.0, 0.5};
    std::vector<double> out(3);
    EXPECT_EQ(tessel::FracSigma(theta.data(), 1, 1, 1.0, 3, out.data()), tessel::kFracOk);
    EXPECT_TRUE(std::signbit(theta[1]));
    EXPECT_EQ(tessel::FracSigma(theta.data(), 1, 1, 1.0, 0, out.data()), tessel::kFracNoMemory);
}

TEST(FracHyper, SumsTheHypergeometricSeries) {
    // (a/b) F(a+1, 1; b+1; z): a = b = 1 gives 1/(1 - z); a = 1, b = 2 gives (-log(1 - z) - z) / z^2.
    for (C z : {C(0.5), C(-0.8), C(0.3, 0.6), C(-0.2, -0.9)}) {
        const tessel::Complex f1 = tessel::FracHyper(1.0, 1.0, {z.real(), z.imag()});
        const C w1 = 1.0 / (1.0 - z);
        EXPECT_NEAR(f1.re, w1.real(), 1e-13);
        EXPECT_NEAR(f1.im, w1.imag(), 1e-13);
        const tessel::Complex f2 = tessel::FracHyper(1.0, 2.0, {z.real(), z.imag()});
        const C w2 = (-std::log(1.0 - z) - z) / (z * z);
        EXPECT_NEAR(f2.re, w2.real(), 1e-13);
        EXPECT_NEAR(f2.im, w2.imag(), 1e-13);
    }
}

TEST(FracHyper, WarnsAndReturnsThePartialSumWhenTheSeriesIsSlow) {
    const double z = 0.99999;
    testing::internal::CaptureStdout();
    const tessel::Complex f = tessel::FracHyper(1.0, 1.0, {z, 0.0});
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "hyper: end of loop reached!\n");
    EXPECT_NEAR(f.re, (1.0 - std::pow(z, 10001)) / (1.0 - z), 1e-7);
    testing::internal::CaptureStdout();
    tessel::FracHyper(1.0, 1.0, {0.7, 0.71});
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "hyper: end of loop reached!\n");
}
