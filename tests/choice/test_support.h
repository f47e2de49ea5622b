// Shared by the choice-model tests: row-pointer matrices, the example data sets, and numerical
// derivatives for checking analytic ones.
#ifndef TESSEL_TESTS_CHOICE_TEST_SUPPORT_H
#define TESSEL_TESTS_CHOICE_TEST_SUPPORT_H

#include <cmath>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace tessel::testing {

// A row-major matrix with row pointers, the layout the workers take.
struct Mat {
    int rows = 0, cols = 0;
    std::vector<double> data;
    std::vector<double *> ptr;

    Mat() = default;
    Mat(int r, int c, double fill = 0.0) : rows(r), cols(c), data(static_cast<size_t>(r) * c, fill) { Index(); }
    Mat(const Mat &o) : rows(o.rows), cols(o.cols), data(o.data) { Index(); }
    Mat &operator=(const Mat &o) {
        rows = o.rows;
        cols = o.cols;
        data = o.data;
        Index();
        return *this;
    }
    void Index() {
        ptr.resize(rows);
        for (int i = 0; i < rows; ++i) ptr[i] = data.data() + static_cast<size_t>(i) * cols;
    }
    double *operator[](int i) { return ptr[i]; }
    const double *operator[](int i) const { return ptr[i]; }
    double *const *p() { return ptr.data(); }
};

// Numeric columns of a delimited file with a header line; an empty matrix when the file is missing.
inline Mat ReadTable(const std::string &name, char sep) {
    std::ifstream in(std::string(TESSEL_EXAMPLES_DIR) + "/" + name);
    std::string line;
    Mat m;
    if (!std::getline(in, line)) return m;
    std::vector<double> values;
    int cols = 0, rows = 0;
    while (std::getline(in, line)) {
        if (line.empty()) continue;
        std::stringstream ss(line);
        std::string cell;
        int c = 0;
        while (std::getline(ss, cell, sep)) {
            values.push_back(std::stod(cell));
            ++c;
        }
        cols = c;
        ++rows;
    }
    m.rows = rows;
    m.cols = cols;
    m.data = std::move(values);
    m.Index();
    return m;
}

// Central difference with one Richardson step: error O(h^4).
inline double Derivative(const std::function<double(double)> &f, double x, double h) {
    const double d1 = (f(x + h) - f(x - h)) / (2 * h);
    const double d2 = (f(x + 2 * h) - f(x - 2 * h)) / (4 * h);
    return (4 * d1 - d2) / 3;
}

// Numerical gradient of f at theta, steps scaled to each element.
inline std::vector<double> NumGradient(const std::function<double(const std::vector<double> &)> &f,
                                       const std::vector<double> &theta, double rel = 1e-4) {
    std::vector<double> g(theta.size());
    for (size_t j = 0; j < theta.size(); ++j) {
        const double h = rel * std::max(1.0, std::fabs(theta[j]));
        g[j] = Derivative(
            [&](double t) {
                std::vector<double> th = theta;
                th[j] = t;
                return f(th);
            },
            theta[j], h);
    }
    return g;
}

// Largest absolute difference scaled by the largest magnitude of `want` (at least `floor`).
inline double RelDiff(const std::vector<double> &got, const std::vector<double> &want, double floor = 1.0) {
    double scale = floor, err = 0.0;
    for (double w : want) scale = std::max(scale, std::fabs(w));
    for (size_t i = 0; i < got.size(); ++i) err = std::max(err, std::fabs(got[i] - want[i]));
    return err / scale;
}

}  // namespace tessel::testing

#endif
