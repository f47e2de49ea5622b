// Independent reference computations shared by the Algebra tests.
#ifndef TESSEL_TESTS_ALGEBRA_REFERENCE_H
#define TESSEL_TESTS_ALGEBRA_REFERENCE_H

#include <gtest/gtest.h>

#include <cmath>
#include <utility>
#include <vector>

#include "numeric/missing.h"

namespace tessel {

using Dense = std::vector<std::vector<double>>;

// Solves A X = B by Gauss-Jordan elimination with partial pivoting on dense copies.
inline Dense DenseSolve(Dense a, Dense b) {
    const size_t n = a.size();
    for (size_t c = 0; c < n; ++c) {
        size_t p = c;
        for (size_t i = c + 1; i < n; ++i)
            if (std::fabs(a[i][c]) > std::fabs(a[p][c])) p = i;
        std::swap(a[c], a[p]);
        std::swap(b[c], b[p]);
        for (size_t i = 0; i < n; ++i) {
            if (i == c) continue;
            const double f = a[i][c] / a[c][c];
            for (size_t j = c; j < n; ++j) a[i][j] -= f * a[c][j];
            for (size_t j = 0; j < b[i].size(); ++j) b[i][j] -= f * b[c][j];
        }
    }
    for (size_t i = 0; i < n; ++i)
        for (double &v : b[i]) v /= a[i][i];
    return b;
}

inline std::vector<double> DenseSolve(const Dense &a, const std::vector<double> &y) {
    Dense b;
    for (double v : y) b.push_back({v});
    std::vector<double> x;
    for (const auto &row : DenseSolve(a, b)) x.push_back(row[0]);
    return x;
}

inline void ExpectSame(double got, double want, double tol, const char *what) {
    if (IsMissing(want)) {
        EXPECT_TRUE(IsMissing(got)) << what << ": expected missing, got " << got;
    } else if (got != want) {  // equal infinities pass
        EXPECT_NEAR(got, want, tol) << what;
    }
}

// Equal element by element, two missing values counting as equal.
inline bool SameValues(const std::vector<double> &a, const std::vector<double> &b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (!(a[i] == b[i] || (IsMissing(a[i]) && IsMissing(b[i])))) return false;
    return true;
}

}  // namespace tessel

#endif
