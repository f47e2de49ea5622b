// Owned matrices, random fills and naive reference products for the kernel tests.
#ifndef TESSEL_TESTS_NUMERIC_MATRIX_TEST_UTIL_H
#define TESSEL_TESTS_NUMERIC_MATRIX_TEST_UTIL_H
#include <cmath>
#include <memory>
#include <random>
#include "numeric/matrix.h"

namespace tessel::testing {
struct MatDeleter {
    void operator()(double **m) const { MatFree(m); }
};
using OwnedMat = std::unique_ptr<double *, MatDeleter>;

inline OwnedMat Make(int r, int c) { return OwnedMat(MatAlloc(r, c)); }
inline OwnedMat Random(int r, int c, std::mt19937 &rng) {
    OwnedMat m = Make(r, c);
    std::normal_distribution<double> nd;
    for (int i = 0; i < r * c; ++i) m.get()[i / c][i % c] = nd(rng);
    return m;
}

// A B (or A B' when bt) by the textbook triple loop in long double.
inline OwnedMat NaiveMul(CMATRIX A, int r, int k, CMATRIX B, int c, bool bt = false) {
    OwnedMat out = Make(r, c);
    for (int i = 0; i < r; ++i)
        for (int j = 0; j < c; ++j) {
            long double s = 0;
            for (int p = 0; p < k; ++p) s += static_cast<long double>(A[i][p]) * (bt ? B[j][p] : B[p][j]);
            out.get()[i][j] = static_cast<double>(s);
        }
    return out;
}

inline OwnedMat Transpose(CMATRIX A, int r, int c) {
    OwnedMat t = Make(c, r);
    for (int i = 0; i < r * c; ++i) t.get()[i % c][i / c] = A[i / c][i % c];
    return t;
}

// Symmetric positive definite G G' + shift I.
inline OwnedMat RandomSpd(int n, std::mt19937 &rng, double shift = 1.0) {
    OwnedMat g = Random(n, n, rng), a = NaiveMul(g.get(), n, n, g.get(), n, true);
    for (int i = 0; i < n; ++i) a.get()[i][i] += shift;
    return a;
}

// Largest |A - B|, or largest |A| when B is null.
inline double MaxAbsDiff(CMATRIX A, CMATRIX B, int r, int c) {
    double m = 0.0;
    for (int i = 0; i < r * c; ++i) m = std::fmax(m, std::fabs(A[i / c][i % c] - (B ? B[i / c][i % c] : 0.0)));
    return m;
}

inline double MaxAbs(CMATRIX A, int r, int c) { return MaxAbsDiff(A, nullptr, r, c); }

}  // namespace tessel::testing
#endif
