#include "choice/count.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "numeric/distributions.h"

namespace tessel {
namespace {

// log c! for the counts of one call: tabulated for small counts, LogGamma beyond.
class LogFactorials {
  public:
    explicit LogFactorials(int size) : table_(std::max(size, 1)) {
        for (int s = 0; s < static_cast<int>(table_.size()); ++s) table_[s] = LogGamma(s + 1.0);
    }
    double operator()(double c) const {
        return (c >= 0.0 && c < static_cast<double>(table_.size())) ? table_[static_cast<size_t>(c)]
                                                                    : LogGamma(c + 1.0);
    }

  private:
    std::vector<double> table_;
};

double LinearIndex(const double *theta, const double *x, int k) {
    double xb = 0.0;
    for (int j = 0; j < k; ++j) xb += theta[j] * x[j];
    return xb;
}

// Adds f x x' to the lower triangle (rows and columns below k) of A.
void AddLowerScaled(double *const *A, double f, const double *__restrict x, int k) {
    for (int r = 0; r < k; ++r) {
        const double fr = f * x[r];
        double *__restrict row = A[r];
        for (int c = 0; c <= r; ++c) row[c] += fr * x[c];
    }
}

void AddGradient(double *g, double f, const double *x, int k) {
    for (int j = 0; j < k; ++j) g[j] += f * x[j];
}

void MirrorLowerTriangle(double *const *A, int n) {
    for (int r = 0; r < n; ++r)
        for (int c = r + 1; c < n; ++c) A[r][c] = A[c][r];
}

void FinishMatrices(const CountOutputs &out, int n) {
    if (out.info) MirrorLowerTriangle(out.info, n);
    if (out.outer) MirrorLowerTriangle(out.outer, n);
}

constexpr int kLogFactorialTable = 256;

// Adds p_s for s = 0..K-1 to the table, with log p_0 = log_p0 and p_s / p_(s-1) = ratio(s). The
// product recurrence costs one exp per observation; when p_0 is too small to start it (it would
// underflow although later terms need not), the terms are formed in logs instead.
template <class Ratio>
void AddTerms(double *table, int K, double log_p0, Ratio ratio) {
    if (K < 1) return;
    if (log_p0 > -650.0) {
        double p = std::exp(log_p0);
        table[0] += p;
        for (int s = 1; s < K; ++s) {
            p *= ratio(s);
            table[s] += p;
        }
    } else {
        double log_p = log_p0;
        table[0] += std::exp(log_p);
        for (int s = 1; s < K; ++s) {
            log_p += std::log(ratio(s));
            table[s] += std::exp(log_p);
        }
    }
}

}  // namespace

void ZeroCountOutputs(const CountOutputs &out, int n) {
    if (out.grad) std::fill(out.grad, out.grad + n, 0.0);
    for (double *const *m : {out.info, out.outer})
        if (m)
            for (int r = 0; r < n; ++r) std::fill(m[r], m[r] + n, 0.0);
    if (out.table) std::fill(out.table, out.table + out.K, 0.0);
}

double PoissonLik(const double *theta, int n, const CountData &d, const CountOutputs &out) {
    ZeroCountOutputs(out, n);
    const LogFactorials lf(kLogFactorialTable);
    const int k = d.k;
    double L = 0.0;
    for (int i = 0; i < d.N; ++i) {
        const double *x = d.X[i];
        const double c = std::trunc(d.y[i][0]);
        const double xb = LinearIndex(theta, x, k);
        const double mu = std::exp(xb);
        const double li = c * xb - mu - lf(c);
        L += li;
        if (out.contrib) out.contrib[i] = li;
        if (out.table) AddTerms(out.table, out.K, -mu, [mu](int s) { return mu / s; });
        const double e = c - mu;
        if (out.grad) AddGradient(out.grad, e, x, k);
        if (out.outer) AddLowerScaled(out.outer, e * e, x, k);
        if (out.info) AddLowerScaled(out.info, mu, x, k);
    }
    FinishMatrices(out, n);
    return L;
}

double TruncPoissonLik(const double *theta, int n, const CountData &d, int S, const CountOutputs &out) {
    ZeroCountOutputs(out, n);
    const LogFactorials lf(kLogFactorialTable);
    const int k = d.k;
    double L = 0.0;
    for (int i = 0; i < d.N; ++i) {
        const double *x = d.X[i];
        const double c = std::trunc(d.y[i][0]);
        const double xb = LinearIndex(theta, x, k);
        // Terms mu^s / s! for s = 0..S are summed relative to the largest one, at the mode
        // min(S, floor(mu)), so that neither a large mu nor a large S overflows.
        const double mode = std::min(static_cast<double>(S), std::max(0.0, std::floor(std::exp(xb))));
        const double shift = mode * xb - lf(mode);
        double A0 = 0.0, A1 = 0.0, A2 = 0.0, log_fact = 0.0;
        for (int s = 0; s <= S; ++s) {
            if (s > 0) log_fact += std::log(static_cast<double>(s));
            const double e = std::exp(s * xb - log_fact - shift);
            A0 += e;
            A1 += s * e;
            A2 += static_cast<double>(s) * s * e;
        }
        const double log_norm = shift + std::log(A0);  // log of sum over s <= S of mu^s / s!
        const double E = A1 / A0;                       // truncated mean
        const double V = A2 / A0 - E * E;               // truncated variance
        const double li = c * xb - log_norm - lf(c);
        L += li;
        if (out.contrib) out.contrib[i] = li;
        if (out.table) AddTerms(out.table, out.K, -log_norm, [mu = std::exp(xb)](int s) { return mu / s; });
        const double e = c - E;
        if (out.grad) AddGradient(out.grad, e, x, k);
        if (out.outer) AddLowerScaled(out.outer, e * e, x, k);
        if (out.info) AddLowerScaled(out.info, V, x, k);
    }
    FinishMatrices(out, n);
    return L;
}

double NegBinLik(const double *theta, int n, const CountData &d, int S, double P, const CountOutputs &out) {
    ZeroCountOutputs(out, n);
    const LogFactorials lf(kLogFactorialTable);
    const int k = d.k;
    const double log_a = -theta[k];
    double *const *M = out.info ? out.info : out.outer;
    const bool truncated = S >= 1;
    double L = 0.0;
    for (int i = 0; i < d.N; ++i) {
        const double *x = d.X[i];
        const double c = std::trunc(d.y[i][0]);
        const double xb = LinearIndex(theta, x, k);
        const double mu = std::exp(xb);
        const double r = std::exp(log_a + P * xb);  // a mu^P
        const double Lq = log_a + (P - 1.0) * xb;   // log q, q = a mu^(P-1) = r / mu
        const double q = std::exp(Lq);
        const double L1 = std::log1p(q);
        const double lg_r = LogGamma(r);
        const double lg_cr = LogGamma(c + r);
        const double psi_cr = Digamma(c + r);
        double li, gb, gk;
        if (!truncated) {
            li = lg_cr - lf(c) - lg_r - (c + r) * L1 + r * Lq;
            // Probabilities of s = 0..K-1 by the ratio (s - 1 + r) / (s (1 + q)) of successive terms.
            if (out.table)
                AddTerms(out.table, out.K, r * (Lq - L1), [r, q](int s) { return (s - 1 + r) / (s * (1.0 + q)); });
            const double D1 = psi_cr - Digamma(r) - L1;
            gb = r * P * D1 - (c + r) * (P - 1.0) * q / (q + 1.0) + (P * Lq + P - 1.0) * r;
            gk = -(D1 - (c + r) / (mu + r) + Lq + 1.0) * r;
        } else {
            // t_s = Gamma(s + r) / (Gamma(r) s!) (1 + q)^-s for s = 0..S, summed relative to the
            // largest term (at s <= (r - 1) / q) to keep clear of overflow; the shift cancels in
            // every ratio below.
            const double mode = std::min(static_cast<double>(S), std::max(0.0, std::floor((r - 1.0) / q)));
            const double shift = mode > 0.0 ? LogGamma(mode + r) - lg_r - lf(mode) - mode * L1 : 0.0;
            double D = 0.0, B = 0.0, W = 0.0, log_t = 0.0, psi = Digamma(r);
            for (int s = 0; s <= S; ++s) {
                if (s > 0) {
                    log_t += std::log((s - 1 + r) / s) - L1;
                    psi += 1.0 / (s - 1 + r);
                }
                const double t = std::exp(log_t - shift);
                D += t;
                B += (c - s) * t;
                W += psi * t;
            }
            B /= (1.0 + q);
            const double log_D = shift + std::log(D);
            li = lg_cr - lf(c) - lg_r - c * L1 - log_D;
            if (out.table)
                AddTerms(out.table, out.K, -log_D, [r, q](int s) { return (s - 1 + r) / (s * (1.0 + q)); });
            gb = P * r * psi_cr - ((P - 1.0) * q * B + P * r * W) / D;
            gk = -r * psi_cr + (r * W + q * B) / D;
        }
        L += li;
        if (out.contrib) out.contrib[i] = li;
        if (out.grad) {
            AddGradient(out.grad, gb, x, k);
            out.grad[k] += gk;
        }
        if (M) {
            AddLowerScaled(M, gb * gb, x, k);
            AddGradient(M[k], gk * gb, x, k);
            M[k][k] += gk * gk;
        }
    }
    if (M) MirrorLowerTriangle(M, n);
    return L;
}

}  // namespace tessel
