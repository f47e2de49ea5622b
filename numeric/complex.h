// Complex numbers as plain pairs of doubles, with the operations the long-memory code needs.
// Product, sum and scaling are inline for the inner loops; the quotient and the modulus avoid
// overflow and underflow of intermediate squares.
#ifndef TESSEL_NUMERIC_COMPLEX_H
#define TESSEL_NUMERIC_COMPLEX_H

namespace tessel {

struct Complex {
    double re;
    double im;
};

inline Complex CxAdd(Complex a, Complex b) { return {a.re + b.re, a.im + b.im}; }
inline Complex CxSub(Complex a, Complex b) { return {a.re - b.re, a.im - b.im}; }
inline Complex CxMul(Complex a, Complex b) { return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re}; }
inline Complex CxScale(Complex a, double s) { return {a.re * s, a.im * s}; }

// a / b by Smith's method: the larger component of b is divided out first, so no square of a
// component of b is formed. Division by 0 gives non-finite parts, as real division does.
Complex CxDiv(Complex a, Complex b);

// |a| without forming re^2 + im^2 directly.
double CxAbs(Complex a);

}  // namespace tessel

#endif
