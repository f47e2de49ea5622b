// Reference values for the encompassing tests from orthogonal projections (Gram-Schmidt, twice)
// instead of moment matrices, and simulated models that the tests share.
#ifndef TESSEL_TESTS_ENCOMPASSING_IV_REFERENCE_H
#define TESSEL_TESTS_ENCOMPASSING_IV_REFERENCE_H

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace ivref {

using Series = std::vector<double>;
using Rows = std::vector<Series>;

inline double Dot(const Series &a, const Series &b) {
    long double s = 0.0L;
    for (size_t t = 0; t < a.size(); ++t) s += static_cast<long double>(a[t]) * b[t];
    return static_cast<double>(s);
}

// Orthonormal rows q spanning the rows of X, with X[i] = sum over j <= i of r[i][j] q[j].
struct Span {
    Rows q, r;
};

inline Span Orthonormal(const Rows &X) {
    Span s;
    for (const Series &x : X) {
        Series v = x, c(X.size(), 0.0);
        for (int pass = 0; pass < 2; ++pass)
            for (size_t j = 0; j < s.q.size(); ++j) {
                const double d = Dot(s.q[j], v);
                c[j] += d;
                for (size_t t = 0; t < v.size(); ++t) v[t] -= d * s.q[j][t];
            }
        c[s.q.size()] = std::sqrt(Dot(v, v));
        for (double &e : v) e /= c[s.q.size()];
        s.q.push_back(v);
        s.r.push_back(c);
    }
    return s;
}

inline Series Project(const Span &s, const Series &v) {
    Series p(v.size(), 0.0);
    for (const Series &q : s.q) {
        const double c = Dot(q, v);
        for (size_t t = 0; t < v.size(); ++t) p[t] += c * q[t];
    }
    return p;
}

// Least-squares coefficients of v on the rows that s spans.
inline Series Coefficients(const Span &s, const Series &v) {
    const size_t n = s.q.size();
    Series b(n);
    for (size_t i = n; i-- > 0;) {
        double x = Dot(s.q[i], v);
        for (size_t j = i + 1; j < n; ++j) x -= s.r[j][i] * b[j];
        b[i] = x / s.r[i][i];
    }
    return b;
}

// Rows of `a`, then those of `b` not already there.
inline Rows Union(Rows a, const Rows &b) {
    for (const Series &r : b)
        if (std::find(a.begin(), a.end(), r) == a.end()) a.push_back(r);
    return a;
}

inline Rows Concat(Rows a, const Rows &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// A model in the host's layout: y, endogenous regressors, exogenous ones, further instruments.
struct Model {
    Series y;
    Rows endo, exo, inst;
    int d() const { return 1 + static_cast<int>(endo.size()); }
    int e() const { return static_cast<int>(exo.size()); }
    int z() const { return static_cast<int>(inst.size()); }
    Rows X() const { return Concat(endo, exo); }
    Rows W() const { return Concat(exo, inst); }
    Rows Block() const { return Concat(Concat(Rows{y}, X()), inst); }
};

// Two-stage least squares of y on X at the instruments W: the fitted regressors' span, y'P X b,
// the Sargan numerator u'P_W u, and the residual sum with yr for y in the cross term (y'y stays).
struct Fit {
    Span fitted;
    double f, uPu, rss;
};

inline Fit TwoStage(const Series &y, const Rows &X, const Span &W, const Series &yr) {
    Rows Xh;
    for (const Series &x : X) Xh.push_back(Project(W, x));
    Fit fit{Orthonormal(Xh), 0, 0, 0};
    const Series b = Coefficients(fit.fitted, y), py = Project(fit.fitted, y);
    Series g(y.size(), 0.0), u = y;
    for (size_t i = 0; i < X.size(); ++i)
        for (size_t t = 0; t < y.size(); ++t) g[t] += b[i] * X[i][t];
    for (size_t t = 0; t < y.size(); ++t) u[t] -= g[t];
    const Series pu = Project(W, u);
    fit.f = Dot(py, py);
    fit.uPu = Dot(pu, pu);
    fit.rss = Dot(u, u) + 2.0 * (Dot(y, g) - Dot(yr, g));
    return fit;
}

// The statistics record of model 1 against model 2; model 2's y enters its residual sum only.
inline std::vector<double> Statistics(const Model &m1, const Model &m2) {
    const Series &y = m1.y;
    const Span W = Orthonormal(Union(m1.W(), m2.W()));
    const Rows X1 = m1.X(), X2 = m2.X(), XJ = Union(X1, X2);
    const Fit f1 = TwoStage(y, X1, W, y), f2 = TwoStage(y, X2, W, m2.y), fJ = TwoStage(y, XJ, W, y);
    const double T = static_cast<double>(y.size()), yy = Dot(y, y);
    const double k1 = static_cast<double>(X1.size()), k2 = static_cast<double>(X2.size()),
                 k = static_cast<double>(XJ.size());
    const double s1 = f1.rss / (T - k1), s2 = f2.rss / (T - k2), sJ = fJ.rss / (T - k);
    // a1 = |P2 P1 y|^2, a2 = |P1 P2 P1 y|^2, c1 = |P1 P2 y|^2, c2 = |P2 P1 P2 y|^2, Pi projecting on
    // model i's instrumented regressors.
    const Series p21 = Project(f2.fitted, Project(f1.fitted, y)), p12 = Project(f1.fitted, Project(f2.fitted, y));
    const Series p121 = Project(f1.fitted, p21), p212 = Project(f2.fitted, p12);
    const double a1 = Dot(p21, p21), a2 = Dot(p121, p121), c1 = Dot(p12, p12), c2 = Dot(p212, p212);
    const double rt = std::sqrt(T);
    return {f1.uPu / s1,
            // model 2's Sargan numerator is still formed with model 1's y
            f2.uPu / s2,
            0.5 * rt * std::log((yy - f2.f) / (yy - a1)) / (std::sqrt((T - k1) * s1 * (a1 - a2)) / (yy - a1)),
            0.5 * rt * std::log((yy - f1.f) / (yy - c1)) / (std::sqrt((T - k2) * s2 * (c1 - c2)) / (yy - c1)),
            std::max(0.0, (fJ.f - f1.f) / ((k - k1) * sJ)), std::max(0.0, (fJ.f - f2.f) / ((k - k2) * sJ)),
            (f2.f - a1) / std::sqrt(4.0 * s1 * (a1 - a2)), (f1.f - c1) / std::sqrt(4.0 * s2 * (c1 - c2)), std::sqrt(s1),
            std::sqrt(s2), std::sqrt(sJ)};
}

// y depends on x1 (instrumented by w1, w2), x2 (by w3, w4) and c1; model 1 explains it by x1 and
// c1, model 2 by x2 and c2, each with a constant.
inline void Simulated(int T, unsigned seed, Model &m1, Model &m2) {
    std::mt19937_64 gen(seed);
    std::normal_distribution<double> n;
    Rows v(10, Series(T));  // w1 w2 w3 w4 c1 c2 x1 x2 y one
    for (int t = 0; t < T; ++t) {
        for (int i = 0; i < 5; ++i) v[i][t] = n(gen);
        const double shock = n(gen);
        v[5][t] = 0.5 * v[4][t] + n(gen);
        v[6][t] = 1.0 + v[0][t] + 0.5 * v[1][t] + shock;
        v[7][t] = -1.0 + 0.7 * v[2][t] - v[3][t] + 0.5 * n(gen);
        v[8][t] = 2.0 + 0.8 * v[6][t] + 0.6 * v[7][t] + 0.3 * v[4][t] + 0.7 * shock + n(gen);
        v[9][t] = 1.0;
    }
    m1 = Model{v[8], {v[6]}, {v[9], v[4]}, {v[0], v[1]}};
    m2 = Model{v[8], {v[7]}, {v[9], v[5]}, {v[2], v[3]}};
}

}  // namespace ivref

#endif
