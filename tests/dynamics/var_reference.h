// The system iterated step by step, written without the library's routines, for the tests.
#ifndef TESSEL_TESTS_DYNAMICS_VAR_REFERENCE_H
#define TESSEL_TESTS_DYNAMICS_VAR_REFERENCE_H

#include <vector>

namespace tessel::test {

using Vec = std::vector<double>;

// y_t = sum_i A_i y_(t-i) + B z_t (+ shock at the first step) for H steps after the s rows of
// `start`; A is n x (n s), B n x m, z H x m, row-major. Returns H x n.
inline Vec IterateSystem(const Vec &A, const Vec &B, int n, int s, int m, Vec path, const Vec &z, int H,
                         const Vec &shock = {}) {
    path.resize(static_cast<size_t>(s + H) * n);
    for (int h = 0; h < H; ++h)
        for (int r = 0; r < n; ++r) {
            double v = h == 0 && !shock.empty() ? shock[r] : 0.0;
            for (int i = 1; i <= s; ++i)
                for (int q = 0; q < n; ++q) v += A[r * n * s + (i - 1) * n + q] * path[(s + h - i) * n + q];
            for (int j = 0; j < m; ++j) v += B[r * m + j] * z[h * m + j];
            path[(s + h) * n + r] = v;
        }
    return Vec(path.begin() + s * n, path.end());
}

// Response of the system at rest to `shock` at time 0: H x n.
inline Vec ShockPath(const Vec &A, int n, int s, const Vec &shock, int H) {
    return IterateSystem(A, {}, n, s, 0, Vec(static_cast<size_t>(s) * n, 0.0), {}, H, shock);
}

}  // namespace tessel::test

#endif
