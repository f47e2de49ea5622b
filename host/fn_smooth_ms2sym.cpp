// FnSmoothMS2sym: Markov-switching backward smoother for a symmetric transition matrix.
#include "host/exports.h"
#include "host/ms_smooth_export.h"
#include "switching/ms_filter.h"

extern "C" VELA_EXPORT void FnSmoothMS2sym(VelaValue *rtn, VelaValue *pv, int cArg) {
    tessel::host::RunMsSmoothExport(rtn, pv, cArg, tessel::MsSmooth2Sym);
}
