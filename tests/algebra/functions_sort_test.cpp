// Sorting with missing values against std::sort and std::stable_sort on the present values.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "algebra/sorting.h"
#include "numeric/missing.h"

namespace tessel {
namespace {

std::vector<double> WithGaps(int n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_int_distribution<int> v(-5, 5);  // many ties
    std::vector<double> x(n);
    for (int i = 0; i < n; ++i) x[i] = (i % 7 == 3) ? kMissing : v(gen) * 0.5;
    return x;
}

TEST(AlgebraSorting, ValuesAscendWithMissingLast) {
    for (int n : {0, 1, 2, 10, 257}) {
        std::vector<double> x = WithGaps(n, n + 1);
        std::vector<double> present;
        for (double v : x)
            if (!IsMissing(v)) present.push_back(v);
        std::sort(present.begin(), present.end());
        AlgebraSortValues(x.data(), n);
        for (size_t i = 0; i < present.size(); ++i) EXPECT_EQ(x[i], present[i]);
        for (size_t i = present.size(); i < x.size(); ++i) EXPECT_TRUE(IsMissing(x[i]));
    }
    double all_missing[3] = {kMissing, kMissing, kMissing};
    AlgebraSortValues(all_missing, 3);
    EXPECT_TRUE(IsMissing(all_missing[0]));
}

TEST(AlgebraSorting, OrderIsStableAndCarriesACompanionColumn) {
    const int n = 60;
    std::vector<double> key = WithGaps(n, 7);
    std::vector<double> tag(n);
    for (int i = 0; i < n; ++i) tag[i] = i;
    std::vector<int> order;
    AlgebraSortOrder(key.data(), n, order);
    // Expected: stable sort of present positions by key, then missing positions in order.
    std::vector<int> want;
    for (int i = 0; i < n; ++i)
        if (!IsMissing(key[i])) want.push_back(i);
    std::stable_sort(want.begin(), want.end(), [&](int a, int b) { return key[a] < key[b]; });
    for (int i = 0; i < n; ++i)
        if (IsMissing(key[i])) want.push_back(i);
    ASSERT_EQ(order, want);
    std::vector<double> work;
    const std::vector<double> old = key;
    AlgebraApplyOrder(key.data(), order, work);
    AlgebraApplyOrder(tag.data(), order, work);
    for (int i = 0; i < n; ++i) {
        EXPECT_EQ(tag[i], want[i]);
        if (!IsMissing(key[i])) {
            EXPECT_EQ(key[i], old[want[i]]);
        }
    }
}

}  // namespace
}  // namespace tessel
