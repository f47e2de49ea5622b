#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <vector>

#include "numeric/polyroots.h"

namespace {

using C = std::complex<double>;

// Monic coefficients (leading first) of the product of (z - r) over the given roots.
std::vector<double> FromRoots(const std::vector<C> &roots) {
    std::vector<C> c{1.0};
    for (const C &r : roots) {
        c.push_back(0.0);
        for (size_t i = c.size() - 1; i > 0; --i) c[i] -= r * c[i - 1];
    }
    std::vector<double> out;
    for (const C &x : c) out.push_back(x.real());
    return out;
}

std::vector<C> Roots(const std::vector<double> &coef, int *status) {
    const int n = static_cast<int>(coef.size()) - 1;
    std::vector<double> re(std::max(n, 1)), im(std::max(n, 1));
    *status = tessel::PolyRoots(coef.data(), n, re.data(), im.data());
    std::vector<C> out;
    for (int i = 0; i < n; ++i) out.emplace_back(re[i], im[i]);
    return out;
}

// Every expected root is matched by a distinct computed one within tol.
void ExpectSameRoots(std::vector<C> got, const std::vector<C> &want, double tol) {
    ASSERT_EQ(got.size(), want.size());
    for (const C &w : want) {
        auto best = std::min_element(got.begin(), got.end(), [&](C a, C b) { return std::abs(a - w) < std::abs(b - w); });
        EXPECT_LT(std::abs(*best - w), tol) << "root " << w << " nearest " << *best;
        got.erase(best);
    }
}

}  // namespace

TEST(PolyRoots, KnownRootsOfBuiltPolynomials) {
    const std::vector<std::vector<C>> sets = {
        {C(2.0)},
        {C(1.0), C(-3.0)},
        {C(0.5, 0.75), C(0.5, -0.75)},
        {C(-0.9), C(0.3, 0.6), C(0.3, -0.6)},
        {C(0.0), C(1.5), C(-2.5), C(0.25, 1.0), C(0.25, -1.0)},
        {C(1.0), C(2.0), C(3.0), C(4.0), C(5.0), C(6.0), C(7.0), C(8.0)},
    };
    for (const auto &roots : sets) {
        int status = -1;
        auto got = Roots(FromRoots(roots), &status);
        ASSERT_EQ(status, 0);
        ExpectSameRoots(got, roots, 1e-9 * 8.0);
    }
}

TEST(PolyRoots, ComplexRootsComeInConjugatePairs) {
    int status = -1;
    auto got = Roots({1.0, 0.0, 0.0, 1.0}, &status);  // z^3 + 1
    ASSERT_EQ(status, 0);
    ExpectSameRoots(got, {C(-1.0), std::polar(1.0, M_PI / 3), std::polar(1.0, -M_PI / 3)}, 1e-12);
    for (const C &r : got) {
        if (r.imag() != 0.0) {
            EXPECT_EQ(std::count(got.begin(), got.end(), std::conj(r)), 1);
        }
    }
}

TEST(PolyRoots, RepeatedRootsToTheirConditioning) {
    // A root of multiplicity m is only determined to about eps^(1/m).
    int status = -1;
    ExpectSameRoots(Roots(FromRoots({C(0.5), C(0.5)}), &status), {C(0.5), C(0.5)}, 1e-7);
    EXPECT_EQ(status, 0);
    ExpectSameRoots(Roots(FromRoots({C(-1.0), C(-1.0), C(-1.0), C(2.0)}), &status), {C(-1.0), C(-1.0), C(-1.0), C(2.0)},
                    1e-4);
    EXPECT_EQ(status, 0);
    ExpectSameRoots(Roots({1.0, 0.0, 0.0}, &status), {C(0.0), C(0.0)}, 1e-300);  // z^2
}

TEST(PolyRoots, LeadingCoefficientNeedNotBeOne) {
    int status = -1;
    ExpectSameRoots(Roots({-2.0, 2.0, 4.0}, &status), {C(2.0), C(-1.0)}, 1e-13);  // -2 (z - 2)(z + 1)
    EXPECT_EQ(status, 0);
}

TEST(PolyRoots, FailuresAreNonZero) {
    double re[3], im[3];
    const double zero_lead[] = {0.0, 1.0, 2.0};
    const double nan_coef[] = {1.0, NAN, 2.0};
    const double inf_coef[] = {1.0, 1.0, INFINITY};
    EXPECT_NE(tessel::PolyRoots(zero_lead, 2, re, im), 0);
    EXPECT_NE(tessel::PolyRoots(nan_coef, 2, re, im), 0);
    EXPECT_NE(tessel::PolyRoots(inf_coef, 2, re, im), 0);
    EXPECT_NE(tessel::PolyRoots(zero_lead, 0, re, im), 0);
    EXPECT_NE(tessel::PolyRoots(nullptr, 2, re, im), 0);
}
