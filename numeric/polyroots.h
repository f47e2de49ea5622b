// Roots of a real polynomial, found as the eigenvalues of its companion matrix.
#ifndef TESSEL_NUMERIC_POLYROOTS_H
#define TESSEL_NUMERIC_POLYROOTS_H

namespace tessel {

// The `degree` roots of coef[0] z^degree + coef[1] z^(degree-1) + ... + coef[degree], written to
// re[0..degree-1] and im[0..degree-1] (complex roots come in conjugate pairs). Returns 0 on
// success; non-zero when degree < 1, the leading coefficient is 0, a coefficient is not finite, or
// the eigenvalue iteration fails (re and im are then undefined).
int PolyRoots(const double *coef, int degree, double *re, double *im);

}  // namespace tessel

#endif
