#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <complex>
#include <vector>
#include "numeric/polyroots.h"

namespace {
using C = std::complex<double>;

// Roots of the monic polynomial with roots `want`: each matched by a distinct computed root within tol.
void ExpectRoots(std::vector<C> want, double tol) {
    std::vector<C> c{1.0}, got;
    for (const C &r : want) {
        c.push_back(0.0);
        for (size_t i = c.size() - 1; i > 0; --i) c[i] -= r * c[i - 1];
    }
    std::vector<double> coef, re(want.size()), im(want.size());
    for (const C &x : c) coef.push_back(x.real());
    ASSERT_EQ(tessel::PolyRoots(coef.data(), int(want.size()), re.data(), im.data()), 0);
    for (size_t i = 0; i < want.size(); ++i) got.emplace_back(re[i], im[i]);
    for (const C &w : want) {
        auto best = std::min_element(got.begin(), got.end(), [&](C a, C b) { return std::abs(a - w) < std::abs(b - w); });
        EXPECT_LT(std::abs(*best - w), tol) << w << " nearest " << *best;
        got.erase(best);
    }
}

TEST(PolyRoots, RealComplexRepeatedAndScaled) {
    ExpectRoots({2.0}, 1e-15);
    ExpectRoots({C(0.5, 0.75), C(0.5, -0.75)}, 1e-14);
    ExpectRoots({0.0, 1.5, -2.5, C(0.25, 1.0), C(0.25, -1.0)}, 1e-13);
    ExpectRoots({1, 2, 3, 4, 5, 6, 7, 8}, 1e-8);
    ExpectRoots({0.5, 0.5}, 1e-7);  // multiplicity m: determined only to about eps^(1/m)
    ExpectRoots({-1.0, -1.0, -1.0, 2.0}, 1e-4);
    ExpectRoots({0.0, 0.0}, 1e-300);
    double re[2], im[2];
    const double scaled[] = {-2.0, 2.0, 4.0}, zero_lead[] = {0.0, 1.0, 2.0}, nan_coef[] = {1.0, NAN, 2.0};
    ASSERT_EQ(tessel::PolyRoots(scaled, 2, re, im), 0);  // -2 (z - 2)(z + 1)
    EXPECT_NEAR(std::max(re[0], re[1]), 2.0, 1e-14);
    EXPECT_NEAR(std::min(re[0], re[1]), -1.0, 1e-14);
    EXPECT_NE(tessel::PolyRoots(zero_lead, 2, re, im), 0);
    EXPECT_NE(tessel::PolyRoots(nan_coef, 2, re, im), 0);
    EXPECT_NE(tessel::PolyRoots(scaled, 0, re, im), 0);
}

}  // namespace
