#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "numeric/random.h"

namespace tessel {
namespace {

// Each test starts from the default generator with default seeds.
class RandomUniform : public ::testing::Test {
protected:
    void SetUp() override { RanReset(); }
    void TearDown() override { RanReset(); }
    static void Select(const char *name) { RanSelect(RanCurrent(), name); }
};

TEST_F(RandomUniform, ParkMillerIsTheMinimalStandardRecurrence) {
    Select("PM");
    const uint32_t one = 1;
    RanSetSeed(&one, 1);
    std::minstd_rand ref(1);
    uint32_t x = 0;
    for (int i = 0; i < 10000; ++i) {
        x = RanInteger();
        ASSERT_EQ(x, ref()) << i;
    }
    EXPECT_EQ(x, 399268537u);
    EXPECT_DOUBLE_EQ(RanUniform(), static_cast<double>(ref()) / 2147483647.0);

    // Seed 0 means the default seed; a negative seed word gets 2^31 - 1 added.
    const uint32_t zero = 0, minus_five = static_cast<uint32_t>(-5);
    uint32_t word = 0;
    RanSetSeed(&zero, 1);
    EXPECT_EQ(RanGetSeed(&word, 1), 1);
    EXPECT_EQ(word, kRanPmDefault);
    RanSetSeed(&minus_five, 1);
    RanGetSeed(&word, 1);
    EXPECT_EQ(word, 2147483642u);
}

std::vector<uint32_t> Seeds(int count) {
    std::vector<uint32_t> w(count);
    RanGetSeed(w.data(), count);
    return w;
}
using Words = std::vector<uint32_t>;

TEST_F(RandomUniform, SeedWordsOfTheSmallGenerators) {
    Select("MWC60");
    const uint32_t s1 = 77, two[2] = {5, 9};
    RanSetSeed(&s1, 1);
    EXPECT_EQ(RanGetSeed(nullptr, 0), 2);
    EXPECT_EQ(Seeds(2), (Words{77, 77}));
    RanSetSeed(two, 2);
    EXPECT_EQ(Seeds(2), (Words{5, 9}));
    RanSetSeed(nullptr, 0);
    EXPECT_EQ(Seeds(2), (Words{362436069, 521288629}));

    Select("LFSR113");
    const uint32_t four[4] = {1, 2, 3, 4}, three[3] = {1000, 2000, 3000}, small = 5;
    RanSetSeed(four, 4);  // each word raised to its minimum
    EXPECT_EQ(RanGetSeed(nullptr, 0), 4);
    EXPECT_EQ(Seeds(4), (Words{112, 1113, 11114, 111115}));
    RanSetSeed(three, 3);  // neither one nor four words: unchanged
    EXPECT_EQ(Seeds(4), (Words{112, 1113, 11114, 111115}));
    RanSetSeed(&small, 1);
    EXPECT_EQ(Seeds(4), (Words{127, 127, 127, 127}));
    // Streams from a key: index j moves every word, and an overflowing first word gives the defaults.
    const uint32_t key[4] = {1000, 2000, 3000, 4000}, big[4] = {0xFFFFFFF0u, 2000, 3000, 4000};
    RanSeedFromKey(key, 4, 2);
    EXPECT_EQ(Seeds(4), (Words{1003, 6000, 3003, 12000}));
    RanSeedFromKey(big, 4, 0x10);
    EXPECT_EQ(Seeds(4), (Words{112, 1118, 11126, 111238}));
}

TEST_F(RandomUniform, LagTableSeedingAndRoundTrip) {
    uint32_t words[kRanLagSeedWords];
    EXPECT_EQ(RanGetSeed(words, kRanLagSeedWords), kRanLagSeedWords);
    EXPECT_EQ(words[0], 1013904223u);  // first step of x -> 1664525 x + 1013904223 from 0
    EXPECT_EQ(words[1], 1664525u * 1013904223u + 1013904223u);
    EXPECT_EQ(words[256], 255u);
    EXPECT_EQ(words[257], 362436u);

    for (int i = 0; i < 300; ++i) RanUniform();
    RanGetSeed(words, kRanLagSeedWords);
    std::vector<double> first(500);
    for (double &u : first) u = RanUniform();
    RanSetSeed(words, kRanLagSeedWords);
    for (double u : first) ASSERT_EQ(RanUniform(), u);

    // Different stream indices from one key give different, reproducible streams.
    std::vector<uint32_t> key(265, 0x9E3779B9u);
    RanSeedFromKey(key.data(), 265, 1);
    const double a1 = RanUniform();
    RanSeedFromKey(key.data(), 265, 2);
    const double b1 = RanUniform();
    RanSeedFromKey(key.data(), 265, 1);
    EXPECT_EQ(RanUniform(), a1);
    EXPECT_NE(a1, b1);
    RanSeedFromKey(key.data(), 3, 1);  // a short key is read only where it exists
}

TEST_F(RandomUniform, LagUniformsStayInsideTheOpenInterval) {
    // With the lag table zero, each step returns the carry: the extreme words come out directly.
    uint32_t words[kRanLagSeedWords] = {};
    words[256] = 255;
    Select("MWC_32");
    words[257] = 0x80000000u;
    RanSetSeed(words, kRanLagSeedWords);
    const double lowest = RanUniform();
    EXPECT_GT(lowest, 0.0);
    EXPECT_EQ(lowest, std::ldexp(1.0, -33));
    words[257] = 0x7FFFFFFFu;
    RanSetSeed(words, kRanLagSeedWords);
    const double highest = RanUniform();
    EXPECT_LT(highest, 1.0);
    EXPECT_EQ(highest, 1.0 - std::ldexp(1.0, -33));

    // 52-bit draws are odd multiples of 2^-53.
    Select("MWC_52");
    for (int i = 0; i < 1000; ++i) {
        const double u = RanUniform();
        ASSERT_GT(u, 0.0);
        ASSERT_LT(u, 1.0);
        ASSERT_EQ(std::fmod(std::ldexp(u, 53), 2.0), 1.0);
    }
}

TEST_F(RandomUniform, SelectionByNameAndIndependentStates) {
    std::vector<double> ref(20);
    for (double &u : ref) u = RanUniform();  // default group after reset
    for (const char *name : {"MWC_52", "", "no such generator", "mwc_52"}) {
        RanReset();
        Select(name);
        for (double u : ref) ASSERT_EQ(RanUniform(), u) << name;
    }
    RanReset();
    Select(nullptr);
    EXPECT_EQ(RanUniform(), ref[0]);

    // Switching to another group and back leaves each group's sequence where it was.
    RanReset();
    Select("PM");
    const double p1 = RanUniform();
    Select("LE");
    const double l1 = RanUniform();
    Select("PM");
    const double p2 = RanUniform();
    RanReset();
    Select("PM");
    EXPECT_EQ(RanUniform(), p1);
    EXPECT_EQ(RanUniform(), p2);
    Select("LFSR113");
    EXPECT_EQ(RanUniform(), l1);
}

TEST_F(RandomUniform, MatrixFillsFollowTheSingleDrawSequence) {
    for (const char *name : {"PM", "GM", "LE", "MWC_32", "MWC_52"}) {
        RanReset();
        Select(name);
        double storage[6], *rows[2] = {storage, storage + 3};
        RanFillUniform(rows, 2, 3);
        RanFillNormal(rows, 1, 3);
        const double last_normal = rows[0][2];
        RanReset();
        Select(name);
        for (int i = 0; i < 3; ++i) RanUniform();
        EXPECT_EQ(RanUniform(), storage[3]) << name;
        RanUniform();
        RanUniform();
        RanNormal();
        RanNormal();
        EXPECT_EQ(RanNormal(), last_normal) << name;
    }
}

RanState g_own;
RanState *OwnState() { return &g_own; }

TEST_F(RandomUniform, StateProviderAndUsedFlag) {
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

}  // namespace
}  // namespace tessel
