// FnFracSigma: exact ARFIMA(p, d, q) autocovariances at lags 0..n-1, with a status code.
#include <cstdint>

#include "host/export_frame.h"
#include "host/exports.h"
#include "longmemory/frac_sigma.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnFracSigma(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 6) || !CheckTypeRuns(pv, "311215")) return;
    const int p = pv[1].ival, q = pv[2].ival, n = pv[4].ival;
    if (q < 0) return VelaLibArgError(2);
    if (p < 0 || pv[0].ival != 1 || int64_t{pv[0].cols} < int64_t{p} + q + 1) return VelaLibArgError(1);
    VelaValue *target = RequiredRef(pv, 5);
    if (!target) return;

    // Built aside and moved in last: the output may name theta's own variable.
    VelaValue row{};
    Guarded(
        [&] {
            if (n < 0 || !VelaLibValMatMalloc(&row, 1, n)) {
                VelaValSetInt(rtn, tessel::kFracNoMemory);
                return;
            }
            double *theta = MatrixData(pv[0]);
            double *gamma = MatrixData(row);
            const int status = (theta && gamma)
                                   ? tessel::FracSigma(theta, p, q, pv[3].data.dval, n, gamma)
                                   : static_cast<int>(tessel::kFracNoMemory);
            MoveInto(target, &row);
            VelaValSetInt(rtn, status);
        },
        [&] {
            VelaFreeByValue(&row);
            VelaValSetInt(rtn, tessel::kFracNoMemory);
        });
}
