// Building blocks shared by the forecasts and the impulse responses of a reduced-form system
//   y_t = A_1 y_(t-1) + ... + A_s y_(t-s) + B z_t + e_t,
// with A = [A_1 ... A_s] held row-major as n x (n s): A_i[r][c] is A[r * n s + (i - 1) n + c].
#ifndef TESSEL_DYNAMICS_VAR_SYSTEM_H
#define TESSEL_DYNAMICS_VAR_SYSTEM_H

namespace tessel {

// Moving-average matrices Psi_0 = I, Psi_h = sum over i = 1..min(h, s) of A_i Psi_(h-i), for
// h = 0..H-1; psi is H x (n n), row h the row-major Psi_h.
void DynMaMatrices(const double *A, int n, int s, int H, double *psi);

// Moduli of the eigenvalues of the companion matrix of A (n s of them), in decreasing order.
// Returns 0, or 1 when the eigenvalue iteration fails or A is not finite (moduli then NaN).
int DynCompanionModuli(const double *A, int n, int s, double *moduli);

// A system is treated as stable when its largest companion modulus is below 1 by more than the
// accuracy of a repeated eigenvalue (about the square root of the machine epsilon).
bool DynStable(const double *moduli, int count);

// C (n x n) += X (n x n) W X', all row-major; work holds n n doubles.
void DynAddSandwich(const double *X, const double *W, int n, double *C, double *work);

}  // namespace tessel

#endif
