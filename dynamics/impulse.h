// Impulse responses of a reduced-form system y_t = A_1 y_(t-1) + ... + A_s y_(t-s) + e_t,
// var(e_t) = Omega: responses Psi_h S to the shocks in the columns of an impact matrix S, their
// accumulation, delta-method standard errors from the covariance of the coefficients, the
// forecast error variance decomposition and the long-run multipliers.
#ifndef TESSEL_DYNAMICS_IMPULSE_H
#define TESSEL_DYNAMICS_IMPULSE_H

#include "numeric/matrix.h"

namespace tessel {

enum ImpulseShock {
    kShockUnit = 0,          // S = I
    kShockCholesky = 1,      // S = the Cholesky factor of Omega in the chosen ordering
    kShockGeneralised = 2,   // column j of S = Omega e_j / sqrt(omega_jj)
    kShockStdDev = 3,        // S = diag(sqrt(omega_jj))
};

// The Cholesky factor P of Omega with the variables taken in `order` (order[a] is the variable in
// position a; null for the natural order), written back in the natural order so that P P' = Omega
// and column j is the shock of variable j. Row-major n x n. Returns 0, or 1 (P set to NaN) when
// Omega is not positive definite.
int ImpulseCholesky(const double *Omega, int n, const int *order, double *P);

// The impact matrix S (n x n, row-major) of a shock type; chol is the factor from ImpulseCholesky
// (read only for kShockCholesky). Returns 0, or 1 when Omega does not allow that shock type (a
// failed factor, a variance that is not positive).
int ImpulseImpact(const double *Omega, int n, int shock, const double *chol, double *S);

struct ImpulseInput {
    const double *A = nullptr;  // n x (n s), row-major
    int n = 0, s = 0, H = 0;
    const double *S = nullptr;      // n x n impact matrix
    const double *chol = nullptr;   // n x n Cholesky factor for the decomposition (or null: NaN shares)
    bool accumulate = false;        // the responses (and standard errors) reported are accumulated ones
    CMATRIX V = nullptr;            // covariance of the row-major vec(A), P x P with P = n n s; or null
};

// Each pointer may be null. Responses are H x (n n), column i n + j the response of variable i to
// shock j at horizon h; fevd row h is the (h + 1)-step decomposition.
struct ImpulseOutput {
    double *resp = nullptr, *resp_se = nullptr;
    double *acc = nullptr, *acc_se = nullptr;
    double *fevd = nullptr;
    double *longrun = nullptr;  // n x n, (I - A_1 - ... - A_s)^-1, NaN when not stable
    double *moduli = nullptr;   // n s companion moduli, decreasing
};

// Returns 1 when the system is stable, 0 when not, -1 when working memory is short.
int ImpulseResponses(const ImpulseInput &in, const ImpulseOutput &out);

}  // namespace tessel

#endif
