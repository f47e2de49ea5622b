// FnLogitJD: multinomial (and conditional) logit log-likelihood with its gradient, information
// matrix, fitted probabilities, contributions and outer product of the gradients, each on request.
#include <climits>
#include <cstdint>
#include <limits>

#include "choice/logit.h"
#include "host/export_frame.h"
#include "host/likelihood_outputs.h"
#include "host/exports.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnLogitJD(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 7) || !CheckTypeRuns(pv, "3313333")) return;
    const int N = pv[1].ival, ycols = pv[1].cols;
    if (N < 0 || ycols < 1) return VelaLibArgError(1);
    const bool grouped = ycols >= 2;
    int J = pv[2].ival;
    if (grouped && J > ycols) J = ycols;
    if (J < 1) return VelaLibArgError(2);

    // Optional inputs of the wrong shape count as absent.
    auto usable = [N](const VelaValue &v) { return v.ival == N && v.cols >= 1; };
    const int kx = usable(pv[3]) ? pv[3].cols : 0;
    const int kz = usable(pv[4]) ? pv[4].cols : 0;
    const double *weights = MatrixElements(pv[5]) == N ? MatrixData(pv[5]) : nullptr;
    const bool have_offsets = usable(pv[6]);
    if (have_offsets && pv[6].cols < J) return VelaLibArgError(6);  // J offsets are read per row

    const int64_t n = MatrixElements(pv[0]);
    if (n < int64_t{J - 1} * kx + kz / J || n > INT_MAX) return VelaLibArgError(0);
    if (!grouped) {
        for (int i = 0; i < N; ++i) {
            const double c = pv[1].data.mat[i][0];
            if (!(c > -1.0 && c < J)) return VelaLibArgError(1);  // truncates to 0..J-1
        }
    }

    SetDouble(rtn, std::numeric_limits<double>::quiet_NaN());
    const int ni = static_cast<int>(n);
    PendingResult res[5] = {
        {OptionalRef(pv, cArg, 7), ni, 1},
        {OptionalRef(pv, cArg, 8), ni, ni},
        {OptionalRef(pv, cArg, 9), N, J},
        {OptionalRef(pv, cArg, 10), N, 1},
        {OptionalRef(pv, cArg, 11), ni, ni},
    };
    Guarded(
        [&] {
            if (!AllocateResults(res)) return;
            const tessel::LikOutputs out = LikelihoodOutputs(res);
            tessel::LogitData d;
            d.N = N;
            d.J = J;
            d.y = pv[1].data.mat;
            d.X = kx > 0 ? pv[3].data.mat : nullptr;
            d.kx = kx;
            d.Z = kz > 0 ? pv[4].data.mat : nullptr;
            d.kz = kz;
            d.w = weights;
            d.offset = have_offsets ? pv[6].data.mat : nullptr;
            double L = std::numeric_limits<double>::quiet_NaN();
            const double *theta = MatrixData(pv[0]);
            if (grouped) tessel::LogitLikGrouped(ni, theta, &L, out, d);
            else tessel::LogitLikChoice(ni, theta, &L, out, d);
            DeliverResults(res);
            SetDouble(rtn, L);
        },
        [&] {
            ReleaseResults(res);
            SetDouble(rtn, std::numeric_limits<double>::quiet_NaN());
        });
}
