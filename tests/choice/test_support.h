// Choice-model test support: row-pointer matrices, example data, host calls, derivative checks.
#ifndef TESSEL_TESTS_CHOICE_TEST_SUPPORT_H
#define TESSEL_TESTS_CHOICE_TEST_SUPPORT_H
#include <gtest/gtest.h>
#include <array>
#include <cmath>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>
#include "velawin/velawin.h"

namespace tessel::testing {
using Vec = std::vector<double>;

struct Mat {  // row-major with row pointers, the layout the workers take
    int rows = 0, cols = 0;
    Vec v;
    std::vector<double *> rp;
    Mat(int r = 0, int c = 0, Vec d = {}) : rows(r), cols(c), v(std::move(d)) {
        v.resize(static_cast<size_t>(r) * c);
        for (int i = 0; i < r; ++i) rp.push_back(v.data() + static_cast<size_t>(i) * c);
    }
    Mat(const Mat &o) : Mat(o.rows, o.cols, o.v) {}
    Mat &operator=(const Mat &o) { return *this = Mat(o.rows, o.cols, o.v), *this; }
    Mat &operator=(Mat &&o) = default;
    double *operator[](int i) const { return rp[i]; }
    double *const *p() const { return rows ? rp.data() : nullptr; }
};

// A delimited file of numbers under a header line, from the examples folder.
inline Mat ReadTable(const std::string &name, char sep) {
    std::ifstream in(std::string(TESSEL_EXAMPLES_DIR) + "/" + name);
    std::string line, cell;
    Vec d;
    int rows = 0, cols = 0;
    for (std::getline(in, line); std::getline(in, line); ++rows) {
        std::stringstream ss(line);
        for (cols = 0; std::getline(ss, cell, sep); ++cols) d.push_back(std::stod(cell));
    }
    return Mat(rows, cols, d);
}

// Central differences with one Richardson step, steps relative to each element.
inline Vec NumGradient(const std::function<double(const Vec &)> &f, const Vec &x) {
    Vec g(x.size());
    for (size_t j = 0; j < x.size(); ++j) {
        const double h = 1e-4 * std::max(1.0, std::fabs(x[j]));
        auto at = [&](double t) { Vec y = x; y[j] += t; return f(y); };
        g[j] = (8 * (at(h) - at(-h)) - (at(2 * h) - at(-2 * h))) / (12 * h);
    }
    return g;
}

// Largest absolute difference relative to the largest magnitude in `want` (at least 1).
inline double RelDiff(const Vec &got, const Vec &want) {
    double scale = 1.0, err = 0.0;
    for (size_t i = 0; i < want.size(); ++i) scale = std::max(scale, std::fabs(want[i])), err = std::max(err, std::fabs(got[i] - want[i]));
    return err / scale;
}

// Returns L and fills whichever of gradient, information, outer product and contributions are not null.
using Lik = std::function<double(const Vec &theta, double *g, double *const *info, double *const *outer, double *contrib)>;

// Gradient against the numerical derivative of L, information against the numerical Hessian (when
// `hessian`), outer product against numerical per-observation gradients of the contributions (N <= 100).
inline void CheckDerivatives(const Lik &f, const Vec &theta, int N, bool hessian, double tol = 1e-8) {
    const int n = static_cast<int>(theta.size());
    const bool opg = N <= 100;
    auto grad = [&](const Vec &t) { Vec g(n); f(t, g.data(), nullptr, nullptr, nullptr); return g; };
    EXPECT_LT(RelDiff(grad(theta), NumGradient([&](const Vec &t) { return f(t, nullptr, nullptr, nullptr, nullptr); }, theta)), tol);
    Mat info(n, n), outer(n, n), sum_gg(n, n);
    Vec contrib(N);
    const double total = f(theta, nullptr, hessian ? info.p() : nullptr, opg ? outer.p() : nullptr, contrib.data());
    double sum = 0.0;
    for (double c : contrib) sum += c;
    EXPECT_NEAR(sum, total, 1e-10 * (1.0 + std::fabs(total)));
    for (int r = 0; hessian && r < n; ++r) {
        EXPECT_LT(RelDiff(Vec(info[r], info[r] + n), NumGradient([&](const Vec &t) { return -grad(t)[r]; }, theta)), tol) << r;
        for (int c = 0; c < n; ++c) EXPECT_EQ(info[r][c], info[c][r]);
    }
    for (int i = 0; opg && i < N; ++i) {
        const Vec gi = NumGradient([&](const Vec &t) { Vec c(N); f(t, nullptr, nullptr, nullptr, c.data()); return c[i]; }, theta);
        for (int r = 0; r < n * n; ++r) sum_gg[r / n][r % n] += gi[r / n] * gi[r % n];
    }
    EXPECT_LT(opg ? RelDiff(outer.v, sum_gg.v) : 0.0, tol);
}

// One export call: arguments and by-reference targets, all released at the end.
struct HostCall {
    std::vector<VelaValue> args;
    std::array<VelaValue, 5> target{};
    VelaValue rtn{};
    ~HostCall() {
        VelaFreeByValue(&rtn);
        for (VelaValue &a : args) VelaFreeByValue(&a);
        for (VelaValue &t : target) VelaFreeByValue(&t);
    }
    HostCall &M(int r, int c, const Vec &d) { return args.push_back(VelawinMatrix(r, c, d.empty() ? nullptr : d.data())), *this; }
    HostCall &I(int n) { return args.push_back(VelawinInt(n)), *this; }
    HostCall &D(double x) { return args.push_back(VelawinDouble(x)), *this; }
    HostCall &Refs(int count) {
        for (int t = 0; t < count; ++t) args.push_back(VelawinRef(&target[t]));
        return *this;
    }
    void Set(int i, VelaValue v) { VelaFreeByValue(&args[i]), args[i] = v; }
    void Run(const char *name, VelaExportFn fn) { VelawinBeginCall(name), fn(&rtn, args.data(), static_cast<int>(args.size())); }
    double Result() const { return rtn.type == VELA_DOUBLE ? rtn.data.dval : -12345.0; }
    double At(int t, int r, int c) const { return target[t].data.mat[r][c]; }
};

// Runs a call that must be refused: one error naming argument `index`, nothing allocated or returned.
inline void ExpectRefused(HostCall &c, const char *name, VelaExportFn fn, int index) {
    const long live = VelawinLiveBlocks();
    c.Run(name, fn);
    EXPECT_EQ(VelawinErrorCount(), 1);
    EXPECT_NE(std::string(VelawinLastError()).find("argument " + std::to_string(index) + " of"), std::string::npos);
    EXPECT_TRUE(VelawinLiveBlocks() == live && c.rtn.type == VELA_EMPTY && c.target[0].type == VELA_EMPTY) << name;
}

}  // namespace tessel::testing
#endif
