// FnLogitProbDeriv: derivatives of one observation's logit probabilities with respect to its
// regressors (marginal effects), one column per alternative.
#include <cstdint>

#include "choice/logit.h"
#include "host/export_frame.h"
#include "host/exports.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnLogitProbDeriv(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 5) || !CheckTypeRuns(pv, "33111")) return;
    const int kx = pv[2].ival, J = pv[3].ival, kz = pv[4].ival;
    if (kx < 0) return VelaLibArgError(2);
    if (J < 1) return VelaLibArgError(3);
    if (kz < 0 || int64_t{kx} + kz > INT32_MAX) return VelaLibArgError(4);
    if (MatrixElements(pv[0]) < int64_t{J - 1} * kx + kz / J) return VelaLibArgError(0);
    if (MatrixElements(pv[1]) < J) return VelaLibArgError(1);
    Guarded(
        [&] {
            VelaValue result{};
            if (!VelaLibValMatMalloc(&result, kx + kz, J)) return;
            tessel::LogitMarginalEffects(MatrixData(pv[0]), MatrixData(pv[1]), kx, J, kz, result.data.mat);
            MoveInto(rtn, &result);
        },
        [] {});
}
