#include "encompassing/encompassing.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

using namespace tessel;

namespace {

using Series = std::vector<double>;
using Rows = std::vector<Series>;

std::vector<const double *> Pointers(const Rows &rows) {
    std::vector<const double *> p;
    for (const Series &r : rows) p.push_back(r.data());
    return p;
}

TEST(EncompassingLists, DuplicatesByExactEquality) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const Series y{1, 2, 3}, p{1, 0, -0.0}, q{0, 1, 1}, r{2, 1, 0}, s{3, 3, 1}, p0{1, 0, 0}, near{2, 1, 1e-300},
        bad{4, nan, 6};
    // A: y | p (endogenous) | q (exogenous) | r, bad.  B: y | s (endogenous) | q, p0 | r, near, bad, s.
    const Rows a{y, p, q, r, bad}, b{y, s, q, p0, r, near, bad, s};
    EncompassingLists L;
    EncompassingJoin(Pointers(a).data(), 2, 1, 2, Pointers(b).data(), 2, 2, 4, 3, L);
    // W: q r bad from A; B's p0 equals p only (0.0 == -0.0), not in W yet; near is new; B's bad
    // never matches; B's s is new in W (it is a regressor only in J).
    EXPECT_EQ(L.w_index, (std::vector<int>{0, 1, 2, 4, 6, 7, 8}));
    EXPECT_EQ(L.j, (std::vector<const double *>{a[1].data(), a[2].data(), b[1].data()}));
    EXPECT_EQ(L.x2_in_j, (std::vector<int>{2, 1, 0}));
    // A NaN series is not even the same as itself.
    EncompassingJoin(Pointers(a).data(), 1, 0, 4, Pointers(a).data(), 1, 0, 4, 3, L);
    EXPECT_EQ(L.w_index, (std::vector<int>{0, 1, 2, 3, 7}));
}

TEST(EncompassingLists, NoObservations) {
    const std::vector<const double *> rows(4, nullptr);  // nothing may be read
    std::vector<int> index(4);
    int m = -1, k = -1;
    double stats[kEncompassingStats];
    EXPECT_EQ(EncompassingTests(rows.data(), 2, 1, 1, rows.data(), 2, 1, 1, 0, index.data(), &m, &k, stats),
              kEncompassingNested);
    EXPECT_EQ(m + k, -2);
}

}  // namespace
