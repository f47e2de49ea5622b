#include "longmemory/frac_sigma.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <stdexcept>
#include <vector>

#include "numeric/distributions.h"
#include "numeric/polyroots.h"

namespace tessel {

namespace {

constexpr double kMaxAbsD = 5.0;
constexpr double kMinSigma2 = 0.0001;
constexpr double kZeroD = 1e-11;         // below this d counts as zero
constexpr double kMaxRootModulus = 0.9999;
constexpr double kMinRootProduct = 1e-11;

// Negates phi_1..phi_p on construction and again on destruction, so that the caller's theta is
// restored on every return path. The routine works with 1 + a_1 L + ... + a_p L^p, a_i = -phi_i.
struct NegatedAr {
    double *a;
    int p;
    NegatedAr(double *a_, int p_) : a(a_), p(p_) {
        for (int i = 0; i < p; ++i) a[i] = -a[i];
    }
    ~NegatedAr() {
        for (int i = 0; i < p; ++i) a[i] = -a[i];
    }
    NegatedAr(const NegatedAr &) = delete;
    NegatedAr &operator=(const NegatedAr &) = delete;
};

struct Work {
    std::vector<double> ma;       // c_0..c_q
    std::vector<double> rho;      // fractional autocorrelations at lags 0..H
    std::vector<double> acf;      // AR-fractional autocorrelations at lags 0..n-1+q (unscaled)
    std::vector<double> coef;     // 1, a_1..a_p
    std::vector<double> root_re, root_im;
    std::vector<Complex> roots, zeta;
    std::vector<Complex> tail;    // G(m) for m = -H..H, shifted by H
};

// Scale of the fractional autocorrelations: the variance of fractional noise,
// sigma2 Gamma(1 - 2d) / Gamma(1 - d)^2, written to stay finite near d = 0.
double FractionalVariance(double sigma2, double d) {
    const double g = Gamma(2.0 - d);
    return sigma2 * Gamma(2.0 - 2.0 * d) / (g * g) * (1.0 - d) * (1.0 - d) / (1.0 - 2.0 * d);
}

// The MA(infinity) weights of 1 / Phi(L) summed against the fractional autocorrelations: for each
// reciprocal root r_j with partial-fraction weight zeta_j, the autocovariance at lag m of the
// AR-fractional part is the real part of the sum over j of
//   zeta_j r_j^(p-1) (G_j(m) + G_j(-m) - rho(m)),  G_j(m) = sum over k >= 0 of r_j^k rho(m + k),
// which is Sowell's formula written symmetrically in the lag (it needs no division by a root).
// G_j(H) comes from the hypergeometric series; the lower G_j follow by the backward recursion
// G(m) = rho(m) + r G(m + 1), which is stable because |r| < 1.
void AddArTerms(Work &w, int p, int64_t H, int64_t lags, double d) {
    const auto rho_at = [&](int64_t m) { return w.rho[static_cast<size_t>(m < 0 ? -m : m)]; };
    std::fill(w.acf.begin(), w.acf.end(), 0.0);
    for (int j = 0; j < p; ++j) {
        const Complex r = w.roots[j];
        Complex weight = w.zeta[j];
        for (int k = 1; k < p; ++k) weight = CxMul(weight, r);
        Complex *G = w.tail.data() + H;
        const Complex top = FracHyper(d - 1.0 + static_cast<double>(H), static_cast<double>(H) - d, r);
        G[H] = CxScale(top, rho_at(H - 1));
        for (int64_t m = H - 1; m >= -H; --m) {
            const Complex g = CxMul(r, G[m + 1]);
            G[m] = {rho_at(m) + g.re, g.im};
        }
        for (int64_t m = 0; m < lags; ++m) {
            const Complex both = {G[m].re + G[-m].re - rho_at(m), G[m].im + G[-m].im};
            w.acf[static_cast<size_t>(m)] += weight.re * both.re - weight.im * both.im;
        }
    }
}

int Compute(Work &w, double *theta, int p, int q, double sigma2, int n, double *gamma) {
    const double d = theta[0];
    const double *psi = theta + 1 + p;
    std::fill(gamma, gamma + n, 0.0);
    if (std::fabs(d) > kMaxAbsD) return kFracBadD;
    if (sigma2 <= kMinSigma2) return kFracBadSigma2;

    // Autocovariances of the unit-variance MA part.
    double c0 = 1.0;
    for (int j = 0; j < q; ++j) c0 += psi[j] * psi[j];
    w.ma[0] = c0;
    for (int j = 1; j <= q; ++j) {
        double c = psi[j - 1];
        for (int i = 1; i <= q - j; ++i) c += psi[i - 1] * psi[i + j - 1];
        w.ma[j] = c;
    }
    if (std::fabs(d) < kZeroD && p == 0) {
        const int m = std::min(n, q + 1);  // never past the caller's n values
        for (int j = 0; j < m; ++j) gamma[j] = sigma2 * w.ma[j];
        return kFracOk;
    }

    // Fractional autocorrelations rho(0..H), rho(-h) = rho(h).
    const int64_t lags = int64_t{n} + q;  // lags 0..n-1+q are needed
    const int64_t H = std::max<int64_t>(lags - 1, 1);
    w.rho[0] = 1.0;
    for (int64_t k = 0; k < H; ++k) w.rho[k + 1] = w.rho[k] * (k + d) / (k + 1 - d);
    const double s = FractionalVariance(sigma2, d);

    const double *acf = w.rho.data();
    if (p > 0) {
        NegatedAr negated(theta + 1, p);
        w.coef[0] = 1.0;
        for (int i = 1; i <= p; ++i) w.coef[i] = theta[i];
        if (PolyRoots(w.coef.data(), p, w.root_re.data(), w.root_im.data()) != 0) return kFracRootsFailed;
        for (int j = 0; j < p; ++j) {
            w.roots[j] = {w.root_re[j], w.root_im[j]};
            if (CxAbs(w.roots[j]) >= kMaxRootModulus) return kFracNonStationary;
        }
        for (int j = 0; j < p; ++j) {
            const Complex rj = w.roots[j];
            Complex prod{1.0, 0.0};
            for (int i = 0; i < p; ++i) prod = CxMul(prod, CxSub({1.0, 0.0}, CxMul(w.roots[i], rj)));
            for (int i = 0; i < p; ++i)
                if (i != j) prod = CxMul(prod, CxSub(rj, w.roots[i]));
            if (CxAbs(prod) < kMinRootProduct) return kFracCoincidingRoots;
            w.zeta[j] = CxDiv({1.0, 0.0}, prod);
        }
        AddArTerms(w, p, H, lags, d);
        acf = w.acf.data();
    }

    for (int h = 0; h < n; ++h) {
        double g = w.ma[0] * acf[h];
        for (int l = 1; l <= q; ++l) g += w.ma[l] * (acf[h + l] + acf[std::abs(h - l)]);
        gamma[h] = s * g;
    }
    return kFracOk;
}

}  // namespace

int FracSigma(double *theta, int p, int q, double sigma2, int n, double *gamma) {
    if (!theta || !gamma || n < 1 || p < 0 || q < 0) return kFracNoMemory;
    Work w;
    try {
        const size_t lags = static_cast<size_t>(n) + static_cast<size_t>(q);
        const size_t H = std::max<size_t>(lags - 1, 1);
        w.ma.resize(static_cast<size_t>(q) + 1);
        w.rho.resize(H + 1);
        if (p > 0) {
            w.acf.resize(lags);
            w.coef.resize(static_cast<size_t>(p) + 1);
            w.root_re.resize(p);
            w.root_im.resize(p);
            w.roots.resize(p);
            w.zeta.resize(p);
            w.tail.resize(2 * H + 1);
        }
    } catch (const std::bad_alloc &) {
        return kFracNoMemory;
    } catch (const std::length_error &) {
        return kFracNoMemory;
    }
    return Compute(w, theta, p, q, sigma2, n, gamma);
}

}  // namespace tessel
