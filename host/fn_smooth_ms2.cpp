// FnSmoothMS2: Markov-switching backward smoother; S without the transition probabilities.
#include "host/exports.h"
#include "host/ms_smooth_export.h"
#include "switching/ms_filter.h"

extern "C" VELA_EXPORT void FnSmoothMS2(VelaValue *rtn, VelaValue *pv, int cArg) {
    tessel::host::RunMsSmoothExport(rtn, pv, cArg, tessel::MsSmooth2);
}
