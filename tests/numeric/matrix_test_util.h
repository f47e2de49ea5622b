// Helpers for the kernel tests: owned matrices, random fills and naive reference products.
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
    for (int i = 0; i < r; ++i)
        for (int j = 0; j < c; ++j) m.get()[i][j] = nd(rng);
    return m;
}

// Out = A B by the textbook triple loop.
inline OwnedMat NaiveMul(CMATRIX A, int r, int k, CMATRIX B, int c) {
    OwnedMat out = Make(r, c);
    for (int i = 0; i < r; ++i)
        for (int j = 0; j < c; ++j) {
            long double s = 0;
            for (int p = 0; p < k; ++p) s += static_cast<long double>(A[i][p]) * B[p][j];
            out.get()[i][j] = static_cast<double>(s);
        }
    return out;
}

inline OwnedMat Transpose(CMATRIX A, int r, int c) {
    OwnedMat t = Make(c, r);
    for (int i = 0; i < r; ++i)
        for (int j = 0; j < c; ++j) t.get()[j][i] = A[i][j];
    return t;
}

// Symmetric positive definite: G G' + shift I.
inline OwnedMat RandomSpd(int n, std::mt19937 &rng, double shift = 1.0) {
    OwnedMat g = Random(n, n, rng);
    OwnedMat gt = Transpose(g.get(), n, n);
    OwnedMat a = NaiveMul(g.get(), n, n, gt.get(), n);
    for (int i = 0; i < n; ++i) a.get()[i][i] += shift;
    return a;
}

inline double MaxAbsDiff(CMATRIX A, CMATRIX B, int r, int c) {
    double m = 0.0;
    for (int i = 0; i < r; ++i)
        for (int j = 0; j < c; ++j) m = std::fmax(m, std::fabs(A[i][j] - B[i][j]));
    return m;
}

inline double MaxAbs(CMATRIX A, int r, int c) {
    double m = 0.0;
    for (int i = 0; i < r; ++i)
        for (int j = 0; j < c; ++j) m = std::fmax(m, std::fabs(A[i][j]));
    return m;
}

}  // namespace tessel::testing

#endif
