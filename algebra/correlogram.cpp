#include "algebra/correlogram.h"

#include <cmath>
#include <complex>
#include <vector>

#include "numeric/missing.h"

namespace tessel {

namespace {

using Complex = std::complex<double>;
constexpr double kPi = 3.141592653589793;

// Plain complex product: std::complex's operator* also handles infinities, at a large cost here.
inline Complex Mul(const Complex &a, const Complex &b) {
    return Complex(a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real());
}

// Below this length lagged products are summed directly; above it they come from an FFT.
constexpr int kDirectAcfLength = 128;

int NextPow2(long long n) {
    int p = 1;
    while (p < n) p <<= 1;
    return p;
}

// Iterative radix-2 transform, n a power of two. Twiddles come from one table of n/2 values computed
// with sin/cos directly (not by repeated multiplication), for accuracy.
void Fft(std::vector<Complex> &a, int sign) {
    const int n = static_cast<int>(a.size());
    for (int i = 1, j = 0; i < n; ++i) {
        int bit = n >> 1;
        for (; j & bit; bit >>= 1) j ^= bit;
        j ^= bit;
        if (i < j) std::swap(a[i], a[j]);
    }
    std::vector<Complex> tw(static_cast<size_t>(n / 2));
    for (int k = 0; k < n / 2; ++k) {
        const double ang = sign * 2.0 * kPi * k / n;
        tw[k] = Complex(std::cos(ang), std::sin(ang));
    }
    for (int len = 2; len <= n; len <<= 1) {
        const int half = len / 2, step = n / len;
        for (int i = 0; i < n; i += len) {
            Complex *lo = &a[i], *hi = &a[i + half];
            for (int k = 0; k < half; ++k) {
                const Complex u = lo[k], v = Mul(hi[k], tw[static_cast<size_t>(k) * step]);
                lo[k] = u + v;
                hi[k] = u - v;
            }
        }
    }
}

// Deviations from the mean of the present values, zero where missing; returns the number present.
int Deviations(const double *x, int m, std::vector<double> &d) {
    d.assign(static_cast<size_t>(m), 0.0);
    double sum = 0.0;
    int n = 0;
    for (int t = 0; t < m; ++t)
        if (!IsMissing(x[t])) {
            sum += x[t];
            ++n;
        }
    if (n == 0) return 0;
    const double mean = sum / n;
    for (int t = 0; t < m; ++t)
        if (!IsMissing(x[t])) d[t] = x[t] - mean;
    return n;
}

// Lagged sums c[k] = sum_t d_t d_{t+k}, k = 0 .. m-1.
void LaggedSums(const std::vector<double> &d, std::vector<double> &c) {
    const int m = static_cast<int>(d.size());
    c.assign(static_cast<size_t>(m), 0.0);
    if (m <= kDirectAcfLength) {
        for (int k = 0; k < m; ++k) {
            double s = 0.0;
            for (int t = 0; t + k < m; ++t) s += d[t] * d[t + k];
            c[k] = s;
        }
        return;
    }
    // Zero padding to at least 2m makes the circular correlation equal the linear one.
    const int N = NextPow2(2LL * m);
    std::vector<Complex> a(static_cast<size_t>(N));
    for (int t = 0; t < m; ++t) a[t] = d[t];
    Fft(a, -1);
    for (Complex &z : a) z = std::norm(z);
    Fft(a, +1);
    for (int k = 0; k < m; ++k) c[k] = a[k].real() / N;
}

}  // namespace

void AlgebraDft(double *re, double *im, int n, int sign) {
    if (n <= 1) return;
    const int s = sign < 0 ? -1 : 1;
    if ((n & (n - 1)) == 0) {
        std::vector<Complex> a(static_cast<size_t>(n));
        for (int i = 0; i < n; ++i) a[i] = Complex(re[i], im[i]);
        Fft(a, s);
        for (int i = 0; i < n; ++i) {
            re[i] = a[i].real();
            im[i] = a[i].imag();
        }
        return;
    }
    // Bluestein: j t = (j^2 + t^2 - (j - t)^2) / 2 turns the transform into a convolution with a chirp.
    // The chirp angle uses k^2 mod 2n so that it stays exact for long series.
    const int N = NextPow2(2LL * n - 1);
    std::vector<Complex> chirp(static_cast<size_t>(n));
    for (int k = 0; k < n; ++k) {
        const long long k2 = (static_cast<long long>(k) * k) % (2LL * n);
        const double ang = s * kPi * static_cast<double>(k2) / n;
        chirp[k] = Complex(std::cos(ang), std::sin(ang));
    }
    std::vector<Complex> a(static_cast<size_t>(N)), b(static_cast<size_t>(N));
    for (int k = 0; k < n; ++k) a[k] = Mul(Complex(re[k], im[k]), chirp[k]);
    b[0] = std::conj(chirp[0]);
    for (int k = 1; k < n; ++k) b[k] = b[N - k] = std::conj(chirp[k]);
    Fft(a, -1);
    Fft(b, -1);
    for (int i = 0; i < N; ++i) a[i] = Mul(a[i], b[i]);
    Fft(a, +1);
    for (int k = 0; k < n; ++k) {
        const Complex z = Mul(a[k], chirp[k]) / static_cast<double>(N);
        re[k] = z.real();
        im[k] = z.imag();
    }
}

bool AlgebraAcf(const double *x, int m, double *r) {
    if (m <= 0) return false;
    std::vector<double> d, c;
    const int n = Deviations(x, m, d);
    if (n > 0) LaggedSums(d, c);
    if (n == 0 || !(c[0] > 0.0)) {
        for (int k = 0; k < m; ++k) r[k] = kMissing;
        return false;
    }
    r[0] = 1.0;
    for (int k = 1; k < m; ++k) r[k] = c[k] / c[0];
    return true;
}

bool AlgebraPacf(const double *x, int m, double *p) {
    if (m <= 0) return false;
    std::vector<double> r(static_cast<size_t>(m));
    if (!AlgebraAcf(x, m, r.data())) {
        for (int k = 0; k < m; ++k) p[k] = kMissing;
        return false;
    }
    const int K = m - 1 < kAlgebraPacfMaxLag ? m - 1 : kAlgebraPacfMaxLag;
    for (int k = 0; k < m; ++k) p[k] = kMissing;
    p[0] = 1.0;
    // phi holds the coefficients of the best linear predictor of order k; v its error variance
    // relative to c_0.
    std::vector<double> phi(static_cast<size_t>(K) + 1, 0.0), prev(static_cast<size_t>(K) + 1, 0.0);
    double v = 1.0;
    for (int k = 1; k <= K; ++k) {
        double num = r[k];
        for (int j = 1; j < k; ++j) num -= prev[j] * r[k - j];
        if (!(v > 1e-14)) break;
        const double a = num / v;
        phi[k] = a;
        for (int j = 1; j < k; ++j) phi[j] = prev[j] - a * prev[k - j];
        v *= (1.0 - a * a);
        p[k] = a;
        for (int j = 1; j <= k; ++j) prev[j] = phi[j];
    }
    return true;
}

bool AlgebraPeriodogram(const double *x, int m, double *I, double *w) {
    if (m <= 0) return false;
    std::vector<double> d;
    const int n = Deviations(x, m, d);
    const int half = m / 2;
    for (int j = 0; j < m; ++j) {
        I[j] = kMissing;
        w[j] = j <= half ? 2.0 * kPi * j / m : kMissing;
    }
    if (n == 0) return false;
    std::vector<double> im(static_cast<size_t>(m), 0.0);
    AlgebraDft(d.data(), im.data(), m, -1);
    const double scale = 1.0 / (2.0 * kPi * m);
    for (int j = 0; j <= half; ++j) I[j] = (d[j] * d[j] + im[j] * im[j]) * scale;
    return true;
}

}  // namespace tessel
