// FnDeSeasonalize: a copy of the data with the seasonal means of every column removed.
#include <vector>

#include "host/export_frame.h"
#include "host/exports.h"
#include "regression/diagnostics.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnDeSeasonalize(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 2) || !CheckTypeRuns(pv, "31")) return;
    const int T = pv[0].ival, k = pv[0].cols, s = pv[1].ival;
    if (T < 1 || k < 1 || s < 2) return;
    Guarded(
        [&] {
            std::vector<double> work(s);
            if (!VelaLibValMatDup(rtn, pv[0].data.mat, T, k)) return;
            tessel::DeSeasonalize(rtn->data.mat, T, k, s, work.data());
        },
        [] {});
}
