// FnSeasonalRsq: R-squared against the seasonal means of the differenced dependent variable.
#include "host/export_frame.h"
#include "host/exports.h"
#include "regression/diagnostics.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnSeasonalRsq(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 4) || !CheckTypeRuns(pv, "3125")) return;
    const int T = pv[0].ival, s = pv[1].ival;
    if (T < 1 || pv[0].cols > 1 || s < 2) return;
    if (pv[0].cols < 1) return VelaLibArgError(0);  // no values to read
    VelaValue *means_target = RequiredRef(pv, 3);
    if (!means_target) return;

    VelaValue means{};
    Guarded(
        [&] {
            if (!VelaLibValMatMalloc(&means, 1, s)) return;
            double r = tessel::SeasonalRsq(pv[2].data.dval, T, MatrixData(pv[0]), s, MatrixData(means));
            MoveInto(means_target, &means);
            SetDouble(rtn, r);
        },
        [&] { VelaFreeByValue(&means); });
}
