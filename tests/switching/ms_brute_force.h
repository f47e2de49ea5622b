// A Markov-switching model's exact results by enumerating every regime path, for small samples.
#ifndef TESSEL_TESTS_SWITCHING_MS_BRUTE_FORCE_H
#define TESSEL_TESTS_SWITCHING_MS_BRUTE_FORCE_H

#include <random>
#include <vector>

namespace ms_test {

struct Matrix {  // row-pointer view over its own storage
    int rows, cols;
    std::vector<double> data;
    std::vector<double *> ptr;
    Matrix(int r, int c, double fill = 0.0) : rows(r), cols(c), data(size_t(r) * c, fill), ptr(r) {
        for (int i = 0; i < r; ++i) ptr[i] = data.data() + size_t(i) * c;
    }
    double *operator[](int i) const { return ptr[i]; }
    double *const *out() const { return ptr.data(); }
    const double *const *in() const { return ptr.data(); }
};

// Positive densities, a column-stochastic P (symmetric on request) and a prior, with the filtered and
// smoothed probabilities, the joint probabilities of adjacent regimes summed over t, and the
// likelihoods, all from prior[s_0] eta[0][s_0] prod P[s_t][s_(t-1)] eta[t][s_t] summed over every path.
struct Model {
    Matrix eta, P, smooth, joint, filt;
    std::vector<double> prior, lik;
    Model(int T, int p, unsigned seed, bool symmetric = false)
        : eta(T, p), P(p, p), smooth(T, p), joint(p, p), filt(T, p), prior(p), lik(T) {
        std::mt19937 gen(seed);
        std::uniform_real_distribution<double> u(0.05, 1.0);
        for (double &x : eta.data) x = u(gen);
        const double a = u(gen);
        for (int j = 0; j < p; ++j) {
            double s = 0.0;
            for (int i = 0; i < p; ++i) s += (P[i][j] = symmetric ? (i == j) * a + (1 - a) / p : u(gen) + 2 * (i == j));
            for (int i = 0; i < p; ++i) P[i][j] /= s;
        }
        double s = 0.0, previous = 1.0;
        for (double &x : prior) s += (x = u(gen));
        for (double &x : prior) x /= s;
        for (int len = 1; len <= T; ++len) {  // paths of each length in turn give the filter's rows
            double total = 0.0;
            std::vector<int> r(len, 0);
            std::vector<double> ends(p, 0.0);
            for (int k = 0; k >= 0;) {
                double w = prior[r[0]] * eta[0][r[0]];
                for (int t = 1; t < len; ++t) w *= P[r[t]][r[t - 1]] * eta[t][r[t]];
                total += w;
                ends[r[len - 1]] += w;
                for (int t = 0; len == T && t < T; ++t) smooth[t][r[t]] += w;
                for (int t = 0; len == T && t + 1 < T; ++t) joint[r[t + 1]][r[t]] += w;
                for (k = len - 1; k >= 0 && ++r[k] == p; --k) r[k] = 0;
            }
            lik[len - 1] = total / previous;
            previous = total;
            for (int j = 0; j < p; ++j) filt[len - 1][j] = ends[j] / total;
        }
        for (std::vector<double> *v : {&smooth.data, &joint.data})
            for (double &x : *v) x /= previous;
    }
};

}  // namespace ms_test

#endif
