// The frame shared by the three Markov-switching smoother exports.
#ifndef TESSEL_HOST_MS_SMOOTH_EXPORT_H
#define TESSEL_HOST_MS_SMOOTH_EXPORT_H

#include "host/vela_api.h"

namespace tessel::host {

using MsSmoother = int (*)(const double *const *filt, const double *const *P, int T, int p,
                           double *const *smooth, double *const *S);

// Checks (filt, P, &smooth, &S), allocates smooth (T x p) and S (p x p) and runs `smoother`.
void RunMsSmoothExport(VelaValue *rtn, VelaValue *pv, int cArg, MsSmoother smoother);

}  // namespace tessel::host

#endif
