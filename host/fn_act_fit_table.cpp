// FnActFitTable: actual against predicted outcomes of a discrete-choice model, with margins.
#include "choice/act_fit_table.h"
#include "host/export_frame.h"
#include "host/exports.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnActFitTable(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 2) || !CheckTypeRuns(pv, "33")) return;
    const int N = pv[0].ival, J = pv[1].cols;
    const bool single_column = pv[0].cols == 1;
    if (J >= 1 && N > 0) {
        if (pv[1].ival < N) return VelaLibArgError(1);
        if (single_column) {
            for (int i = 0; i < N; ++i) {
                const double a = pv[0].data.mat[i][0];
                if (!(a > -1.0 && a < J)) return VelaLibArgError(0);  // truncates to 0..J-1
            }
        } else if (pv[0].cols < J) {
            return VelaLibArgError(0);
        }
    }
    Guarded(
        [&] {
            VelaValue table{};
            const int size = J >= 1 ? J + 1 : 1;
            if (!VelaLibValMatMalloc(&table, size, size)) return;
            for (int r = 0; r < size; ++r)
                for (int c = 0; c < size; ++c) table.data.mat[r][c] = 0.0;
            if (J >= 1) tessel::ActFitTable(pv[0].data.mat, single_column, pv[1].data.mat, N, J, table.data.mat);
            MoveInto(rtn, &table);
        },
        [] {});
}
