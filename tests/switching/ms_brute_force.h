// Reference results of a Markov-switching model by enumerating every regime path, and small
// builders of row-pointer matrices for the tests.
#ifndef TESSEL_TESTS_SWITCHING_MS_BRUTE_FORCE_H
#define TESSEL_TESTS_SWITCHING_MS_BRUTE_FORCE_H

#include <random>
#include <vector>

namespace ms_test {

struct Matrix {
    int rows = 0, cols = 0;
    std::vector<double> data;
    std::vector<double *> ptr;
    Matrix(int r, int c, double fill = 0.0) : rows(r), cols(c), data(size_t(r) * c, fill), ptr(r) {
        for (int i = 0; i < r; ++i) ptr[i] = data.data() + size_t(i) * c;
    }
    double *operator[](int i) { return ptr[i]; }
    const double *operator[](int i) const { return ptr[i]; }
    double *const *rows_out() { return ptr.data(); }
    const double *const *rows_in() const { return ptr.data(); }
};

// A column-stochastic p x p transition matrix, a prior and T x p positive densities.
struct Model {
    Matrix eta, P;
    std::vector<double> prior;
    Model(int T, int p, unsigned seed, bool symmetric = false) : eta(T, p), P(p, p), prior(p) {
        std::mt19937 gen(seed);
        std::uniform_real_distribution<double> u(0.05, 1.0);
        for (int t = 0; t < T; ++t)
            for (int j = 0; j < p; ++j) eta[t][j] = u(gen) * (j + 1);
        if (symmetric) {
            // Symmetric and doubly stochastic: a mixture of the identity and the uniform matrix.
            const double a = u(gen);
            for (int i = 0; i < p; ++i)
                for (int j = 0; j < p; ++j) P[i][j] = (i == j ? a : 0.0) + (1.0 - a) / p;
        } else {
            for (int j = 0; j < p; ++j) {
                double s = 0.0;
                for (int i = 0; i < p; ++i) s += (P[i][j] = u(gen) + (i == j ? 2.0 : 0.0));
                for (int i = 0; i < p; ++i) P[i][j] /= s;
            }
        }
        double s = 0.0;
        for (int j = 0; j < p; ++j) s += (prior[j] = u(gen));
        for (int j = 0; j < p; ++j) prior[j] /= s;
    }
};

struct Reference {
    std::vector<double> lik;  // T
    Matrix filt, smooth, joint;  // T x p, T x p, p x p (summed over t: regime i at t+1, j at t)
    Reference(int T, int p) : lik(T), filt(T, p), smooth(T, p), joint(p, p) {}
};

// Visits every path s_0..s_(len-1), calling f(path, weight) with the weight
// prior[s_0] eta[0][s_0] prod_t P[s_t][s_(t-1)] eta[t][s_t].
template <class F>
void ForEachPath(const Model &m, int len, F &&f) {
    const int p = m.P.cols;
    std::vector<int> s(len, 0);
    for (;;) {
        double w = m.prior[s[0]] * m.eta[0][s[0]];
        for (int t = 1; t < len; ++t) w *= m.P[s[t]][s[t - 1]] * m.eta[t][s[t]];
        f(s, w);
        int k = len - 1;
        while (k >= 0 && ++s[k] == p) s[k--] = 0;
        if (k < 0) return;
    }
}

inline Reference BruteForce(const Model &m) {
    const int T = m.eta.rows, p = m.eta.cols;
    Reference r(T, p);
    double previous = 1.0;
    for (int t = 0; t < T; ++t) {
        double total = 0.0;
        std::vector<double> ends(p, 0.0);
        ForEachPath(m, t + 1, [&](const std::vector<int> &s, double w) {
            total += w;
            ends[s[t]] += w;
        });
        r.lik[t] = total / previous;
        previous = total;
        for (int j = 0; j < p; ++j) r.filt[t][j] = ends[j] / total;
    }
    double total = 0.0;
    ForEachPath(m, T, [&](const std::vector<int> &s, double w) {
        total += w;
        for (int t = 0; t < T; ++t) r.smooth[t][s[t]] += w;
        for (int t = 0; t + 1 < T; ++t) r.joint[s[t + 1]][s[t]] += w;
    });
    for (double &x : r.smooth.data) x /= total;
    for (double &x : r.joint.data) x /= total;
    return r;
}

}  // namespace ms_test

#endif
