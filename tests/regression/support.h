// Helpers for the regression export tests: export calls that release what they made, reference
// least squares in long double, simulated and shipped data.
#ifndef TESSEL_TESTS_REGRESSION_SUPPORT_H
#define TESSEL_TESTS_REGRESSION_SUPPORT_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <numeric>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "host/exports.h"
#include "velawin/velawin.h"

namespace tessel::regtest {

using Rows = std::vector<std::vector<double>>;

// One export call; its arguments, the targets of its references and its result are released with it.
struct Call {
    std::vector<VelaValue *> owned;
    VelaValue rtn{};
    long live_before = 0, live_after = 0;
    Call() = default;
    Call(const Call &) = delete;
    ~Call() {
        VelaFreeByValue(&rtn);
        for (VelaValue *v : owned) VelaFreeByValue(v), delete v;
    }
    VelaValue M(int r, int c, const std::vector<double> &flat) {
        owned.push_back(new VelaValue(VelawinMatrix(r, c, flat.empty() ? nullptr : flat.data())));
        return *owned.back();
    }
    VelaValue M(const Rows &rows) {
        std::vector<double> flat;
        for (const auto &row : rows) flat.insert(flat.end(), row.begin(), row.end());
        return M(static_cast<int>(rows.size()), rows.empty() ? 0 : static_cast<int>(rows[0].size()), flat);
    }
    VelaValue Ref(VelaValue **target) { return owned.push_back(*target = new VelaValue{}), VelawinRef(*target); }
    void Run(const char *name, VelaExportFn fn, std::vector<VelaValue> args, int cArg = -1) {
        VelawinBeginCall(name);
        live_before = VelawinLiveBlocks();
        fn(&rtn, args.data(), cArg < 0 ? static_cast<int>(args.size()) : cArg);
        live_after = VelawinLiveBlocks();
    }
    // Nothing allocated, no return value (or one of `type`), no error or one about argument `arg`.
    bool Silent() const { return VelawinErrorCount() == 0 && live_after == live_before && rtn.type == VELA_EMPTY; }
    bool Rejected(int arg = -1, int type = VELA_EMPTY) const {
        const std::string msg = VelawinLastError();
        return VelawinErrorCount() == 1 && live_after == live_before && rtn.type == type &&
               (arg < 0 || msg.find("argument " + std::to_string(arg)) != std::string::npos);
    }
};

inline double At(const VelaValue &m, int i, int j) { return m.data.mat[i][j]; }

inline double Dot(const std::vector<double> &a, const std::vector<double> &b) {
    return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

// Solves A Z = B (A square) by Gauss-Jordan elimination with partial pivoting in long double.
inline Rows Solve(const Rows &A, const Rows &B) {
    const size_t n = A.size(), m = B[0].size();
    std::vector<std::vector<long double>> W(n);
    for (size_t i = 0; i < n; ++i)
        W[i].assign(A[i].begin(), A[i].end()), W[i].insert(W[i].end(), B[i].begin(), B[i].end());
    for (size_t c = 0; c < n; ++c) {
        size_t p = c;
        for (size_t r = c + 1; r < n; ++r)
            if (std::fabs(W[r][c]) > std::fabs(W[p][c])) p = r;
        std::swap(W[p], W[c]);
        for (size_t r = 0; r < n; ++r)
            for (size_t j = n + m; r != c && j-- > c;) W[r][j] -= W[r][c] / W[c][c] * W[c][j];
    }
    Rows Z(n, std::vector<double>(m));
    for (size_t i = 0; i < n; ++i)
        for (size_t j = 0; j < m; ++j) Z[i][j] = static_cast<double>(W[i][n + j] / W[i][i]);
    return Z;
}

// A'B over rows from..to (inclusive).
inline Rows CrossProducts(const Rows &A, const Rows &B, int from, int to) {
    Rows out(A[0].size(), std::vector<double>(B[0].size(), 0.0));
    for (int t = from; t <= to; ++t)
        for (size_t i = 0; i < out.size(); ++i)
            for (size_t j = 0; j < out[i].size(); ++j) out[i][j] += A[t][i] * B[t][j];
    return out;
}

inline Rows Mul(const Rows &A, const Rows &B) {
    Rows out(A.size(), std::vector<double>(B[0].size(), 0.0));
    for (size_t i = 0; i < A.size(); ++i)
        for (size_t l = 0; l < B.size(); ++l)
            for (size_t j = 0; j < B[0].size(); ++j) out[i][j] += A[i][l] * B[l][j];
    return out;
}

inline Rows Inverse(const Rows &A) {
    Rows I(A.size(), std::vector<double>(A.size(), 0.0));
    for (size_t i = 0; i < A.size(); ++i) I[i][i] = 1.0;
    return Solve(A, I);
}

// Least-squares coefficients of column `eq` of Y on X over rows from..to.
inline std::vector<double> OlsFit(const Rows &X, const Rows &Y, int eq, int from, int to) {
    Rows b = Solve(CrossProducts(X, X, from, to), CrossProducts(X, Y, from, to));
    std::vector<double> out;
    for (const auto &row : b) out.push_back(row[eq]);
    return out;
}

inline Rows Normal(int r, int c, unsigned seed) {
    std::mt19937_64 gen(seed);
    std::normal_distribution<double> z(0.0, 1.0);
    Rows out(r, std::vector<double>(c));
    for (auto &row : out) std::generate(row.begin(), row.end(), [&] { return z(gen); });
    return out;
}

// The shipped quarterly data without year and quarter: realgdp, realcons, realinv, realgovt, realdpi,
// cpi, m1, tbilrate, unemp, pop, infl, realint.
inline Rows MacroData() {
    std::ifstream in(std::string(TESSEL_EXAMPLES_DIR) + "/macrodata.csv");
    std::string line, cell;
    Rows rows;
    for (std::getline(in, line); std::getline(in, line);) {
        std::stringstream ls(line);
        rows.emplace_back();
        for (int c = 0; std::getline(ls, cell, ','); ++c)
            if (c >= 2) rows.back().push_back(std::stod(cell));
    }
    return rows;
}

}  // namespace tessel::regtest

#endif
