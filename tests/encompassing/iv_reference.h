// Reference computations for the encompassing tests, by orthogonal projections instead of moment
// matrices: Gram-Schmidt with re-orthogonalisation gives an orthonormal basis of each span, and
// every quantity is a norm of a projected vector. Also the data sets the tests share.
#ifndef TESSEL_TESTS_ENCOMPASSING_IV_REFERENCE_H
#define TESSEL_TESTS_ENCOMPASSING_IV_REFERENCE_H

#include <cmath>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace ivref {

using Series = std::vector<double>;
using Rows = std::vector<Series>;

inline double Dot(const Series &a, const Series &b) {
    long double s = 0.0L;
    for (size_t t = 0; t < a.size(); ++t) s += static_cast<long double>(a[t]) * b[t];
    return static_cast<double>(s);
}

// Orthonormal basis of the span of `rows` (linearly independent rows expected) with the triangular
// factor: rows[i] = sum over j <= i of R[j][i] basis[j].
struct Basis {
    Rows q;
    std::vector<Series> R;
};

inline Basis Orthonormalise(const Rows &rows) {
    Basis b;
    const size_t n = rows.size();
    b.R.assign(n, Series(n, 0.0));
    for (size_t i = 0; i < n; ++i) {
        Series v = rows[i];
        for (int pass = 0; pass < 2; ++pass)
            for (size_t j = 0; j < b.q.size(); ++j) {
                double c = Dot(b.q[j], v);
                b.R[j][i] += c;
                for (size_t t = 0; t < v.size(); ++t) v[t] -= c * b.q[j][t];
            }
        double norm = std::sqrt(Dot(v, v));
        b.R[i][i] = norm;
        for (double &x : v) x /= norm;
        b.q.push_back(v);
    }
    return b;
}

inline Series Project(const Basis &b, const Series &v) {
    Series p(v.size(), 0.0);
    for (const Series &q : b.q) {
        double c = Dot(q, v);
        for (size_t t = 0; t < v.size(); ++t) p[t] += c * q[t];
    }
    return p;
}

// Coefficients of the least-squares fit of v on the rows of the basis' span.
inline Series Coefficients(const Basis &b, const Series &v) {
    const size_t n = b.q.size();
    Series c(n), beta(n);
    for (size_t j = 0; j < n; ++j) c[j] = Dot(b.q[j], v);
    for (size_t i = n; i-- > 0;) {
        double s = c[i];
        for (size_t j = i + 1; j < n; ++j) s -= b.R[i][j] * beta[j];
        beta[i] = s / b.R[i][i];
    }
    return beta;
}

// Instrumental-variables fit of y on X with instruments W.
struct IvFit {
    Basis fitted;  // span of P_W X
    Series beta;
    double rss;     // of y - X beta over the raw data
    double s2;      // rss / (T - k)
    double sargan;  // u'P_W u / s2
    double f;       // y'P_W X beta
};

inline IvFit FitIv(const Series &y, const Rows &X, const Basis &W, const Series *rss_y = nullptr) {
    IvFit fit;
    Rows Xhat;
    for (const Series &x : X) Xhat.push_back(Project(W, x));
    fit.fitted = Orthonormalise(Xhat);
    fit.beta = Coefficients(fit.fitted, y);
    const Series &yr = rss_y ? *rss_y : y;
    Series u = yr;
    for (size_t i = 0; i < X.size(); ++i)
        for (size_t t = 0; t < u.size(); ++t) u[t] -= fit.beta[i] * X[i][t];
    // With another y for the residuals, y'y is still the first one's.
    fit.rss = Dot(u, u) - Dot(yr, yr) + Dot(y, y);
    fit.s2 = fit.rss / static_cast<double>(y.size() - X.size());
    Series pu = Project(W, u);
    fit.sargan = Dot(pu, pu) / fit.s2;
    Series py = Project(fit.fitted, y);
    fit.f = Dot(py, py);
    return fit;
}

// The eleven statistics in the order of the record, from projections alone.
inline std::vector<double> Statistics(const Series &y, const Rows &X1, const Rows &X2, const Rows &XJ, const Rows &W,
                                      const Series *y2 = nullptr) {
    const Basis bw = Orthonormalise(W);
    const IvFit m1 = FitIv(y, X1, bw), m2 = FitIv(y, X2, bw), mj = FitIv(y, XJ, bw);
    const double T = static_cast<double>(y.size());
    const double yy = Dot(y, y);
    // a1 = |P2 P1 y|^2, a2 = |P1 P2 P1 y|^2, c1 = |P1 P2 y|^2, c2 = |P2 P1 P2 y|^2 with Pi the
    // projections on the instrumented regressors.
    Series p1y = Project(m1.fitted, y), p2y = Project(m2.fitted, y);
    Series p21 = Project(m2.fitted, p1y), p121 = Project(m1.fitted, p21);
    Series p12 = Project(m1.fitted, p2y), p212 = Project(m2.fitted, p12);
    const double a1 = Dot(p21, p21), a2 = Dot(p121, p121), c1 = Dot(p12, p12), c2 = Dot(p212, p212);
    const double k1 = static_cast<double>(X1.size()), k2 = static_cast<double>(X2.size()),
                 k = static_cast<double>(XJ.size());
    double s2sq = m2.s2, sargan2 = m2.sargan;
    if (y2) {
        IvFit other = FitIv(y, X2, bw, y2);
        s2sq = other.s2;
        sargan2 = m2.sargan * m2.s2 / other.s2;
    }
    std::vector<double> s(11);
    s[0] = m1.sargan;
    s[1] = sargan2;
    s[2] = 0.5 * std::sqrt(T) * std::log((yy - m2.f) / (yy - a1)) /
           (std::sqrt((T - k1) * m1.s2 * (a1 - a2)) / (yy - a1));
    s[3] = 0.5 * std::sqrt(T) * std::log((yy - m1.f) / (yy - c1)) /
           (std::sqrt((T - k2) * s2sq * (c1 - c2)) / (yy - c1));
    s[4] = std::max(0.0, (mj.f - m1.f) / ((k - k1) * mj.s2));
    s[5] = std::max(0.0, (mj.f - m2.f) / ((k - k2) * mj.s2));
    s[6] = (m2.f - a1) / std::sqrt(4.0 * m1.s2 * (a1 - a2));
    s[7] = (m1.f - c1) / std::sqrt(4.0 * s2sq * (c1 - c2));
    s[8] = std::sqrt(m1.s2);
    s[9] = std::sqrt(s2sq);
    s[10] = std::sqrt(mj.s2);
    return s;
}

// Ordinary least squares residual sum of squares of y on X.
inline double OlsRss(const Series &y, const Rows &X) {
    Series f = Project(Orthonormalise(X), y);
    double rss = 0.0;
    for (size_t t = 0; t < y.size(); ++t) rss += (y[t] - f[t]) * (y[t] - f[t]);
    return rss;
}

// Two models as blocks of rows in the host layout: y, endogenous, exogenous, further instruments.
struct Model {
    Series y;
    Rows endogenous, exogenous, instruments;
    int d() const { return 1 + static_cast<int>(endogenous.size()); }
    int e() const { return static_cast<int>(exogenous.size()); }
    int z() const { return static_cast<int>(instruments.size()); }
    Rows Block() const {
        Rows b{y};
        b.insert(b.end(), endogenous.begin(), endogenous.end());
        b.insert(b.end(), exogenous.begin(), exogenous.end());
        b.insert(b.end(), instruments.begin(), instruments.end());
        return b;
    }
    Rows Regressors() const {
        Rows x = endogenous;
        x.insert(x.end(), exogenous.begin(), exogenous.end());
        return x;
    }
    Rows Instruments() const {
        Rows w = exogenous;
        w.insert(w.end(), instruments.begin(), instruments.end());
        return w;
    }
};

// Appends the rows of `more` that are not already in `list` by value.
inline Rows Union(Rows list, const Rows &more) {
    for (const Series &r : more) {
        bool seen = false;
        for (const Series &l : list) seen = seen || l == r;
        if (!seen) list.push_back(r);
    }
    return list;
}

inline std::vector<double> Statistics(const Model &m1, const Model &m2) {
    const Rows X1 = m1.Regressors(), X2 = m2.Regressors();
    const Series *y2 = m1.y == m2.y ? nullptr : &m2.y;
    return Statistics(m1.y, X1, X2, Union(X1, X2), Union(m1.Instruments(), m2.Instruments()), y2);
}

// Two non-nested simultaneous-equation models on simulated data: y depends on x1 (instrumented by
// w1, w2) and on x2 (instrumented by w3, w4); model 1 explains y by x1 and c1, model 2 by x2 and c2.
inline void Simulated(int T, unsigned seed, Model &m1, Model &m2) {
    std::mt19937_64 gen(seed);
    std::normal_distribution<double> n01;
    Series one(T, 1.0), w1(T), w2(T), w3(T), w4(T), c1(T), c2(T), x1(T), x2(T), y(T);
    for (int t = 0; t < T; ++t) {
        w1[t] = n01(gen);
        w2[t] = n01(gen);
        w3[t] = n01(gen);
        w4[t] = n01(gen);
        c1[t] = n01(gen);
        c2[t] = 0.5 * c1[t] + n01(gen);
        double v = n01(gen);
        x1[t] = 1.0 + w1[t] + 0.5 * w2[t] + v;
        x2[t] = -1.0 + 0.7 * w3[t] - w4[t] + 0.5 * n01(gen);
        y[t] = 2.0 + 0.8 * x1[t] + 0.6 * x2[t] + 0.3 * c1[t] + 0.7 * v + n01(gen);
    }
    m1 = Model{y, {x1}, {one, c1}, {w1, w2}};
    m2 = Model{y, {x2}, {one, c2}, {w3, w4}};
}

// Flattens a block of rows into row-major data.
inline std::vector<double> Flatten(const Rows &rows) {
    std::vector<double> out;
    for (const Series &r : rows) out.insert(out.end(), r.begin(), r.end());
    return out;
}

// The quarterly macro data, one Series per column named in `names`.
inline Rows MacroColumns(const std::string &path, const std::vector<std::string> &names) {
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    std::vector<std::string> header;
    {
        std::stringstream ss(line);
        std::string cell;
        while (std::getline(ss, cell, ',')) {
            if (cell.size() >= 2 && cell.front() == '"') cell = cell.substr(1, cell.size() - 2);
            header.push_back(cell);
        }
    }
    std::vector<int> pick;
    for (const std::string &n : names)
        for (size_t c = 0; c < header.size(); ++c)
            if (header[c] == n) pick.push_back(static_cast<int>(c));
    Rows out(pick.size());
    while (std::getline(in, line)) {
        std::stringstream ss(line);
        std::string cell;
        std::vector<double> values;
        while (std::getline(ss, cell, ',')) values.push_back(std::stod(cell));
        for (size_t i = 0; i < pick.size(); ++i) out[i].push_back(values[pick[i]]);
    }
    return out;
}

}  // namespace ivref

#endif
