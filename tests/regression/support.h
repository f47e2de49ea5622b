// Test helpers for the regression exports: host argument lists that clean up after themselves,
// dense reference least squares in long double, and simulated data.
#ifndef TESSEL_TESTS_REGRESSION_SUPPORT_H
#define TESSEL_TESTS_REGRESSION_SUPPORT_H

#include <cmath>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "velawin/velawin.h"

namespace tessel::testing {

using Rows = std::vector<std::vector<double>>;

// Host values owned by a test; every value that is not a reference is released at the end.
struct HostValues {
    std::vector<VelaValue *> owned;
    ~HostValues() {
        for (VelaValue *v : owned) {
            VelaFreeByValue(v);
            delete v;
        }
    }
    VelaValue *New(VelaValue v) {
        owned.push_back(new VelaValue(v));
        return owned.back();
    }
    VelaValue Matrix(const Rows &rows) {
        const int r = static_cast<int>(rows.size()), c = r ? static_cast<int>(rows[0].size()) : 0;
        std::vector<double> flat;
        for (const auto &row : rows) flat.insert(flat.end(), row.begin(), row.end());
        return *New(VelawinMatrix(r, c, flat.data()));
    }
    VelaValue Matrix(int r, int c, const std::vector<double> &flat) {
        return *New(VelawinMatrix(r, c, flat.empty() ? nullptr : flat.data()));
    }
    // A fresh empty variable and a reference to it.
    VelaValue Ref(VelaValue **target) {
        *target = New(VelaValue{});
        return VelawinRef(*target);
    }
};

inline double At(const VelaValue &m, int i, int j) { return m.data.mat[i][j]; }

// Solves A z = b by Gauss-Jordan elimination with partial pivoting in long double; A is square.
inline std::vector<long double> Solve(std::vector<std::vector<long double>> A, std::vector<long double> b) {
    const size_t n = A.size();
    for (size_t c = 0; c < n; ++c) {
        size_t p = c;
        for (size_t r = c + 1; r < n; ++r)
            if (std::fabs(A[r][c]) > std::fabs(A[p][c])) p = r;
        std::swap(A[p], A[c]);
        std::swap(b[p], b[c]);
        for (size_t r = 0; r < n; ++r) {
            if (r == c) continue;
            long double f = A[r][c] / A[c][c];
            for (size_t j = c; j < n; ++j) A[r][j] -= f * A[c][j];
            b[r] -= f * b[c];
        }
    }
    for (size_t c = 0; c < n; ++c) b[c] /= A[c][c];
    return b;
}

// Inverse of a square matrix, column by column through Solve.
inline Rows Inverse(const Rows &A) {
    const size_t n = A.size();
    std::vector<std::vector<long double>> L(n, std::vector<long double>(n));
    for (size_t i = 0; i < n; ++i)
        for (size_t j = 0; j < n; ++j) L[i][j] = A[i][j];
    Rows inv(n, std::vector<double>(n));
    for (size_t c = 0; c < n; ++c) {
        std::vector<long double> e(n, 0.0L);
        e[c] = 1.0L;
        auto z = Solve(L, e);
        for (size_t r = 0; r < n; ++r) inv[r][c] = static_cast<double>(z[r]);
    }
    return inv;
}

// Cross products A'B over rows from..to (inclusive) of two row-major data sets.
inline Rows CrossProducts(const Rows &A, const Rows &B, int from, int to) {
    const size_t p = A[0].size(), q = B[0].size();
    Rows out(p, std::vector<double>(q, 0.0));
    for (int t = from; t <= to; ++t)
        for (size_t i = 0; i < p; ++i)
            for (size_t j = 0; j < q; ++j) out[i][j] += A[t][i] * B[t][j];
    return out;
}

// Least-squares coefficients of column `eq` of Y on X over rows from..to, by the normal equations
// in long double.
inline std::vector<double> OlsFit(const Rows &X, const Rows &Y, int eq, int from, int to) {
    const size_t k = X[0].size();
    std::vector<std::vector<long double>> A(k, std::vector<long double>(k, 0.0L));
    std::vector<long double> b(k, 0.0L);
    for (int t = from; t <= to; ++t)
        for (size_t i = 0; i < k; ++i) {
            b[i] += static_cast<long double>(X[t][i]) * Y[t][eq];
            for (size_t j = 0; j < k; ++j) A[i][j] += static_cast<long double>(X[t][i]) * X[t][j];
        }
    auto z = Solve(A, b);
    return std::vector<double>(z.begin(), z.end());
}

inline double Dot(const std::vector<double> &a, const std::vector<double> &b) {
    double s = 0.0;
    for (size_t i = 0; i < a.size(); ++i) s += a[i] * b[i];
    return s;
}

inline Rows Normal(int r, int c, unsigned seed, double sd = 1.0) {
    std::mt19937_64 gen(seed);
    std::normal_distribution<double> z(0.0, sd);
    Rows out(r, std::vector<double>(c));
    for (auto &row : out)
        for (auto &x : row) x = z(gen);
    return out;
}

// The numeric columns of the shipped quarterly data (year and quarter left out), in file order.
inline Rows MacroData() {
    std::ifstream in(std::string(TESSEL_EXAMPLES_DIR) + "/macrodata.csv");
    std::string line;
    std::getline(in, line);  // names
    Rows rows;
    while (std::getline(in, line)) {
        std::stringstream ls(line);
        std::string cell;
        std::vector<double> row;
        for (int c = 0; std::getline(ls, cell, ','); ++c)
            if (c >= 2) row.push_back(std::stod(cell));
        if (!row.empty()) rows.push_back(row);
    }
    return rows;
}

}  // namespace tessel::testing

#endif
