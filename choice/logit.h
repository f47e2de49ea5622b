// Multinomial logit: log-likelihood, gradient, information matrix, outer product of the gradients,
// fitted probabilities and per-observation contributions, for individual choices or grouped counts;
// and the derivatives of one observation's probabilities with respect to its regressors.
//
// Alternatives are 0..J-1, alternative 0 the reference. theta holds the coefficients of X for
// alternatives 1..J-1, alternative by alternative with the regressor index running fastest
// (beta(j, i) = theta[(j-1)*kx + i]), then nz = kz / J coefficients gamma of Z common to all
// alternatives. Z holds nz variables per row, each as J consecutive values (variable m for
// alternative j at m*J + j). Utility: s_j = offset_j + x'beta_j (j >= 1) + sum_m z(m*J + j) gamma_m.
#ifndef TESSEL_CHOICE_LOGIT_H
#define TESSEL_CHOICE_LOGIT_H

#include "choice/lik_outputs.h"

namespace tessel {

struct LogitData {
    int N = 0, J = 0;
    const double *const *y = nullptr;  // N rows: the chosen alternative, or counts of J alternatives
    const double *const *X = nullptr;  // N x kx, null when kx = 0
    int kx = 0;
    double *const *Z = nullptr;  // N x kz, null when kz = 0; centred in place when information is wanted
    int kz = 0;
    const double *w = nullptr;               // N weights, null for unit weights
    const double *const *offset = nullptr;   // N rows of at least J values, or null
};

// Probabilities of one observation's J alternatives, each clamped to [2^-104, 1]. z and offset may
// be null (nz = 0, no offsets).
void LogitProbabilities(const double *theta, int J, const double *x, int kx, const double *z, int nz,
                        const double *offset, double *P);

// Adds observation gradients with weight w: chosen alternative c, or counts y of J alternatives
// with total T.
void LogitScoreChoice(double *g, int c, const double *P, int J, const double *x, int kx, const double *z,
                      int nz, double w);
void LogitScoreGrouped(double *g, const double *y, double T, const double *P, int J, const double *x, int kx,
                       const double *z, int nz, double w);

// Adds one observation's information contribution with weight v to the lower triangle of info.
// The observation's Z values are centred in place on their probability-weighted means, which leaves
// probabilities, gradients and information of later evaluations unchanged.
void LogitInformation(double *const *info, const double *P, int J, const double *x, int kx, double *z, int nz,
                      double v);

// Log-likelihood of chosen alternatives (y one column, truncated toward zero; each must lie in
// 0..J-1) or of counts (y at least J columns). Requested outputs are zeroed first. theta must hold
// at least (J-1)*kx + kz/J values. Returns false, *loglik untouched, when work storage cannot be had.
bool LogitLikChoice(int n, const double *theta, double *loglik, const LikOutputs &out, const LogitData &d);
bool LogitLikGrouped(int n, const double *theta, double *loglik, const LikOutputs &out, const LogitData &d);

// Derivatives of the J probabilities P with respect to the regressors: result row i < kx for x_i,
// row kx + m (m < kz / J) for variable m of Z (own-alternative effect); column j for P_j. Rows
// kx + kz/J .. kx + kz - 1 are not written.
void LogitMarginalEffects(const double *theta, const double *P, int kx, int J, int kz, double *const *result);

}  // namespace tessel

#endif
