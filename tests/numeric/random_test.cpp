#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>
#include "numeric/missing.h"
#include "numeric/random.h"

namespace tessel {
namespace {
using Words = std::vector<uint32_t>;

// Each test starts from the default generator with default seeds.
class Random : public ::testing::Test {
protected:
    void SetUp() override { RanReset(); }
    void TearDown() override { RanReset(); }
    static void Select(const char *name) { RanReset(), RanSelect(RanCurrent(), name); }
    static Words Seeds(int count) {
        Words w(count);
        return RanGetSeed(w.data(), count), w;
    }
    static Words Seeded(const Words &w) { return RanSetSeed(w.data(), static_cast<int>(w.size())), Seeds(RanGetSeed(nullptr, 0)); }
};

TEST_F(Random, ParkMillerIsTheMinimalStandardRecurrence) {
    Select("PM");
    EXPECT_EQ(Seeded({1}), Words{1});
    std::minstd_rand ref(1);
    uint32_t x = 0;
    for (int i = 0; i < 10000; ++i) ASSERT_EQ(x = RanInteger(), ref()) << i;
    EXPECT_EQ(x, 399268537u);
    EXPECT_DOUBLE_EQ(RanUniform(), static_cast<double>(ref()) / 2147483647.0);
    EXPECT_EQ(Seeded({0}), Words{kRanPmDefault});                        // 0: the default seed
    EXPECT_EQ(Seeded({static_cast<uint32_t>(-5)}), Words{2147483642u});  // negative: 2^31 - 1 added
}

TEST_F(Random, SeedWordsOfTheSmallGenerators) {
    Select("MWC60");
    EXPECT_EQ(Seeded({77}), (Words{77, 77}));
    EXPECT_EQ(Seeded({5, 9}), (Words{5, 9}));
    RanSetSeed(nullptr, 0);
    EXPECT_EQ(Seeds(2), (Words{362436069, 521288629}));
    Select("LFSR113");
    EXPECT_EQ(Seeded({1, 2, 3, 4}), (Words{112, 1113, 11114, 111115}));        // each word raised to its minimum
    EXPECT_EQ(Seeded({1000, 2000, 3000}), (Words{112, 1113, 11114, 111115}));  // neither one nor four words
    EXPECT_EQ(Seeded({5}), (Words{127, 127, 127, 127}));
    // Streams from a key: index j moves every word; an overflowing first word gives the defaults.
    const uint32_t key[4] = {1000, 2000, 3000, 4000}, big[4] = {0xFFFFFFF0u, 2000, 3000, 4000};
    RanSeedFromKey(key, 4, 2);
    EXPECT_EQ(Seeds(4), (Words{1003, 6000, 3003, 12000}));
    RanSeedFromKey(big, 4, 0x10);
    EXPECT_EQ(Seeds(4), (Words{112, 1118, 11126, 111238}));
}

TEST_F(Random, LagTableSeedingRoundTripAndOpenInterval) {
    Words w = Seeds(kRanLagSeedWords);
    EXPECT_EQ(w[0], 1013904223u);  // x -> 1664525 x + 1013904223 from 0
    EXPECT_TRUE(w[1] == 1664525u * 1013904223u + 1013904223u && w[256] == 255u && w[257] == 362436u);
    for (int i = 0; i < 300; ++i) RanUniform();
    w = Seeds(kRanLagSeedWords);
    std::vector<double> first(500);
    for (double &u : first) u = RanUniform();
    RanSetSeed(w.data(), kRanLagSeedWords);
    for (double u : first) ASSERT_EQ(RanUniform(), u);
    Words key(265, 0x9E3779B9u);  // stream indices from one key: different, reproducible streams
    RanSeedFromKey(key.data(), 265, 1);
    const double a1 = RanUniform();
    RanSeedFromKey(key.data(), 265, 2);
    EXPECT_NE(RanUniform(), a1);
    RanSeedFromKey(key.data(), 265, 1);
    EXPECT_EQ(RanUniform(), a1);
    RanSeedFromKey(key.data(), 3, 1);  // a short key is read only where it exists
    // With the lag table zero each step returns the carry, so the extreme words come out directly.
    Select("MWC_32");
    Words zero(kRanLagSeedWords, 0);
    for (uint32_t carry : {0x80000000u, 0x7FFFFFFFu}) {
        zero[256] = 255, zero[257] = carry;
        RanSetSeed(zero.data(), kRanLagSeedWords);
        EXPECT_EQ(RanUniform(), carry >> 31 ? std::ldexp(1.0, -33) : 1.0 - std::ldexp(1.0, -33));
    }
    Select("MWC_52");  // 52-bit draws are odd multiples of 2^-53
    for (int i = 0; i < 1000; ++i) {
        const double u = RanUniform();
        ASSERT_TRUE(u > 0.0 && u < 1.0 && std::fmod(std::ldexp(u, 53), 2.0) == 1.0) << u;
    }
}

TEST_F(Random, SelectionByNameIndependentStatesAndMatrixFills) {
    std::vector<double> ref(20);
    for (double &u : ref) u = RanUniform();  // default group after reset
    for (const char *name : {"MWC_52", "", "no such generator", "mwc_52", static_cast<const char *>(nullptr)}) {
        Select(name);
        for (double u : ref) ASSERT_EQ(RanUniform(), u) << (name ? name : "null");
    }
    Select("PM");  // switching groups and back leaves each group's sequence where it was
    const double p1 = RanUniform();
    RanSelect(RanCurrent(), "LE");
    const double l1 = RanUniform();
    RanSelect(RanCurrent(), "PM");
    const double p2 = RanUniform();
    Select("PM");
    EXPECT_TRUE(RanUniform() == p1 && RanUniform() == p2);
    RanSelect(RanCurrent(), "LFSR113");
    EXPECT_EQ(RanUniform(), l1);
    for (const char *name : {"PM", "GM", "LE", "MWC_32", "MWC_52"}) {  // fills follow the single-draw sequence
        double storage[6], *rows[2] = {storage, storage + 3}, u[6], z[3];
        Select(name);
        RanFillUniform(rows, 2, 3);
        RanFillNormal(rows, 1, 3);
        Select(name);
        for (double &v : u) v = RanUniform();
        for (double &v : z) v = RanNormal();
        EXPECT_TRUE(u[3] == storage[3] && z[2] == storage[2]) << name;
    }
}

RanState g_own;
RanState *OwnState() { return &g_own; }
TEST_F(Random, StateProviderAndUsedFlag) {
    const double global_first = RanUniform();
    RanReset();
    RanSelect(&g_own, "MWC_52");
    RanSetStateProvider(OwnState);
    RanClearUsed();
    EXPECT_FALSE(RanUsed());
    EXPECT_EQ(RanUniform(), global_first);  // the private record starts from the same defaults
    EXPECT_TRUE(RanUsed());
    RanSetStateProvider(nullptr);
    EXPECT_EQ(RanUniform(), global_first);  // the module-wide record did not move
}

// n draws: sample mean, variance, skewness, kurtosis, and sqrt(n) times the Kolmogorov-Smirnov distance.
struct Sample {
    std::vector<double> x;
    double mean = 0, var = 0, skew = 0, kurt = 0;
    template <class Draw> Sample(int n, Draw draw) : x(n) {
        for (double &v : x) v = draw(), mean += v / n;
        for (double v : x) {
            const double d = v - mean;
            var += d * d / n, skew += d * d * d / n, kurt += d * d * d * d / n;
        }
        skew /= std::pow(var, 1.5), kurt /= var * var;
    }
    template <class Cdf> double Ks(Cdf cdf) const {
        std::vector<double> s = x;
        std::sort(s.begin(), s.end());
        const double n = static_cast<double>(s.size());
        double d = 0.0;
        for (size_t i = 0; i < s.size(); ++i) d = std::max({d, (i + 1) / n - cdf(s[i]), cdf(s[i]) - i / n});
        return std::sqrt(n) * d;
    }
};

// Fixed seeds: the bounds are about four standard errors, and the KS cut is the 0.1% point.
TEST_F(Random, UniformAndNormalMomentsAndKolmogorovSmirnov) {
    const int n = 200000;
    const double r = 3.442619855899, p = std::erfc(r / std::sqrt(2.0));  // the ziggurat tail beyond r
    for (const char *name : {"PM", "GM", "LE", "MWC_32", "MWC_52"}) {
        Select(name);
        const Sample u(n, RanUniform), z(n, RanNormal);
        EXPECT_NEAR(u.mean, 0.5, 4 * std::sqrt(1.0 / 12 / n)) << name;
        EXPECT_NEAR(u.var, 1.0 / 12, 4 * 0.0745 / std::sqrt(n)) << name;
        EXPECT_LT(u.Ks([](double v) { return v; }), 1.95) << name;
        EXPECT_NEAR(z.mean, 0.0, 4 / std::sqrt(n)) << name;
        EXPECT_NEAR(z.var, 1.0, 4 * std::sqrt(2.0 / n)) << name;
        EXPECT_NEAR(z.skew, 0.0, 4 * std::sqrt(6.0 / n)) << name;
        EXPECT_NEAR(z.kurt, 3.0, 4 * std::sqrt(24.0 / n)) << name;
        EXPECT_LT(z.Ks([](double v) { return 0.5 * std::erfc(-v / std::sqrt(2.0)); }), 1.95) << name;
        const double tail = std::count_if(z.x.begin(), z.x.end(), [&](double v) { return std::fabs(v) > r; });
        EXPECT_NEAR(tail / n, p, 5 * std::sqrt(p / n)) << name;  // reached, in the right proportion
    }
}

TEST_F(Random, ReseedingDropsTheSpareNormal) {
    Select("LE");
    const uint32_t seed = 4242;
    RanSetSeed(&seed, 1);
    const double z1 = RanNormal();
    RanSetSeed(&seed, 1);  // the second polar deviate is pending here
    EXPECT_EQ(RanNormal(), z1);
}

// Sample variances are judged with the gamma fourth moment (excess kurtosis 6 / a); t and F more loosely.
TEST_F(Random, GammaFamilyMeansAndVariancesAndInvalidParameters) {
    const int n = 200000;
    for (const char *name : {"MWC_52", "PM"}) {
        Select(name);
        for (auto [a, b] : {std::pair{0.3, 1.0}, {0.9, 2.0}, {1.0, 0.5}, {1.7, 1.0}, {2.5, 3.0}, {4.0, 1.0}, {30.0, 2.0}}) {
            const Sample x(n, [&] { return RanGamma(a, b); });
            const double var = a / (b * b);
            EXPECT_NEAR(x.mean, a / b, 4 * std::sqrt(var / n)) << name << " a=" << a;
            EXPECT_NEAR(x.var, var, 4 * var * std::sqrt((2.0 + 6.0 / a) / n)) << name << " a=" << a;
            EXPECT_GT(*std::min_element(x.x.begin(), x.x.end()), 0.0);
        }
        const Sample chi(n, [] { return RanChi(4.5); }), t(n, [] { return RanT(7); }), f(n, [] { return RanF(6.0, 12.0); });
        const double fvar = 2.0 * 144.0 * 16.0 / (6.0 * 100.0 * 8.0);
        EXPECT_NEAR(chi.mean, 4.5, 4 * std::sqrt(9.0 / n));
        EXPECT_NEAR(chi.var, 9.0, 4 * 9.0 * std::sqrt((2.0 + 6.0 / 2.25) / n));
        EXPECT_NEAR(t.mean, 0.0, 4 * std::sqrt(1.4 / n));
        EXPECT_NEAR(t.var, 1.4, 0.05);
        EXPECT_NEAR(f.mean, 1.2, 4 * std::sqrt(fvar / n));
        EXPECT_NEAR(f.var, fvar, 0.1 * fvar);
    }
    for (double v : {RanGamma(0.0, 1.0), RanGamma(1.0, -1.0), RanGamma(kMissing, 1.0), RanChi(0.0), RanT(0), RanF(1.0, -2.0), RanF(0.0, 2.0)})
        EXPECT_TRUE(IsMissing(v));
}

}  // namespace
}  // namespace tessel
