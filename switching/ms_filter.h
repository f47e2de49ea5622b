// Hamilton's forward filter and the backward smoothers of a Markov-switching model with p regimes.
// The transition matrix is column-stochastic: P[i][j] is the probability of moving to regime i from
// regime j. All matrices are row-pointer matrices; every routine returns 1 when it ran and 0 when it
// did nothing.
#ifndef TESSEL_SWITCHING_MS_FILTER_H
#define TESSEL_SWITCHING_MS_FILTER_H

namespace tessel {

// Filters T observations with densities eta (T x p). `prior` (p) is the predicted distribution of
// the first observation as it stands. lik (T x 1) receives each observation's likelihood on its
// natural scale; filt (T x p) the filtered probabilities when it is not null. A row of densities
// that is zero under every predicted regime gives lik 0 and non-finite probabilities from there on.
int MsFilter(const double *const *eta, const double *const *P, const double *prior, int T, int p,
             double *const *lik, double *const *filt);

// Backward smoother of the filtered probabilities (T x p) into smooth (T x p), with S (p x p) the
// summed smoothed joint probabilities of regime i at t+1 and regime j at t. Does nothing unless
// both outputs are present.
int MsSmooth(const double *const *filt, const double *const *P, int T, int p, double *const *smooth,
             double *const *S);

// As MsSmooth, but S leaves out the transition probability: S multiplied element by element by P
// is the S of MsSmooth. A null S skips the recursion altogether.
int MsSmooth2(const double *const *filt, const double *const *P, int T, int p, double *const *smooth,
              double *const *S);

// As MsSmooth2, with the back-propagation through P transposed. Meant for a symmetric P, where it
// equals MsSmooth2; for an asymmetric P its smoothed probabilities differ.
int MsSmooth2Sym(const double *const *filt, const double *const *P, int T, int p, double *const *smooth,
                 double *const *S);

}  // namespace tessel

#endif
