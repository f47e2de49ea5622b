// FnKroneckerSel: selected rows and columns of the Kronecker product A (x) B, without forming it.
#include <cmath>
#include <cstdint>

#include "host/export_frame.h"
#include "host/exports.h"
#include "regression/diagnostics.h"

using namespace tessel::host;

namespace {

// Every selected index, truncated toward zero, must address a row (column) of the product.
bool IndicesInside(const double *sel, int64_t count, int64_t limit) {
    for (int64_t i = 0; i < count; ++i) {
        double v = std::trunc(sel[i]);
        if (!(v >= 0.0 && v < static_cast<double>(limit))) return false;
    }
    return true;
}

}  // namespace

extern "C" VELA_EXPORT void FnKroneckerSel(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 4) || !CheckTypeRuns(pv, "3333")) return;
    const int ra = pv[0].ival, ca = pv[0].cols, rb = pv[1].ival, cb = pv[1].cols;
    const int64_t rowsAll = int64_t{ra} * rb, colsAll = int64_t{ca} * cb;
    const int64_t nRowSel = MatrixElements(pv[2]), nColSel = MatrixElements(pv[3]);
    const double *rowSel = nRowSel > 0 ? MatrixData(pv[2]) : nullptr;
    const double *colSel = nColSel > 0 ? MatrixData(pv[3]) : nullptr;

    // Without a column selection the result has ca*cb rows and no columns, whatever the row
    // selection: all columns are had only by listing them.
    int64_t nRows = colSel ? (rowSel ? nRowSel : rowsAll) : colsAll;
    int64_t nCols = colSel ? nColSel : 0;
    if (nRows > INT32_MAX || nCols > INT32_MAX) return VelaLibArgError(nRows > INT32_MAX ? 2 : 3);
    if (nCols > 0) {
        if (rowSel && !IndicesInside(rowSel, nRowSel, rowsAll)) return VelaLibArgError(2);
        if (!IndicesInside(colSel, nColSel, colsAll)) return VelaLibArgError(3);
    }
    Guarded(
        [&] {
            if (!VelaLibValMatMalloc(rtn, static_cast<int>(nRows), static_cast<int>(nCols))) return;
            tessel::KroneckerSel(rtn->data.mat, pv[0].data.mat, ra, ca, pv[1].data.mat, rb, cb, rowSel,
                                 static_cast<int>(nRows), colSel, static_cast<int>(nCols));
        },
        [] {});
}
