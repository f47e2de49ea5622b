// Reference computations for the dynamics tests, written without the library's routines.
#ifndef TESSEL_TESTS_DYNAMICS_VAR_REFERENCE_H
#define TESSEL_TESTS_DYNAMICS_VAR_REFERENCE_H

#include <vector>

namespace tessel::test {

using Vec = std::vector<double>;

// y_t = sum_i A_i y_(t-i) + B z_t (+ shock at the first step) for H steps after the s rows of
// `path`; A is n x (n s), B n x m, z H x m, row-major. Returns H x n.
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

// A P x P row-major matrix with its row pointers, entries f(a, b).
struct Square {
    Vec v;
    std::vector<const double *> rows;
    template <class F> Square(int P, F f) : v(static_cast<size_t>(P) * P) {
        for (int a = 0; a < P; ++a) {
            rows.push_back(v.data() + a * P);
            for (int b = 0; b < P; ++b) v[a * P + b] = f(a, b);
        }
    }
};

// Central-difference Jacobian J[p][k] of f at theta, and the delta-method covariance J_k' V J_l.
template <class F> std::vector<Vec> Jacobian(F f, const Vec &theta) {
    std::vector<Vec> J;
    for (size_t p = 0; p < theta.size(); ++p) {
        Vec up = theta, down = theta;
        up[p] += 1e-6, down[p] -= 1e-6;
        const Vec fu = f(up), fd = f(down);
        J.emplace_back(fu.size());
        for (size_t k = 0; k < fu.size(); ++k) J.back()[k] = (fu[k] - fd[k]) / 2e-6;
    }
    return J;
}

inline double DeltaCov(const std::vector<Vec> &J, const Square &V, int k, int l) {
    double c = 0.0;
    for (size_t p = 0; p < J.size(); ++p)
        for (size_t q = 0; q < J.size(); ++q) c += J[p][k] * V.rows[p][q] * J[q][l];
    return c;
}

}  // namespace tessel::test

#endif
