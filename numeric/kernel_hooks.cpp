// The replaceable kernel entries and the absolute pivot tolerance.
#include "numeric/kernels.h"

namespace tessel {

CholeskyFn HookCholesky = MatCholeskyBlocked;
InvSymFn HookInvSym = MatInvSymLdl;
InvGeneralFn HookInvGeneral = MatInvLu;
MatMulFn HookMatMul = MatMulGeneral;
double PivotTolerance = kDefaultPivotTolerance;
QrPivotFn HookQrPivot = MatQrPivot;

double GetPivotTolerance() { return PivotTolerance; }

int InvSym(MATRIX A, int n, double *logdet) { return HookInvSym(A, n, logdet); }
int InvSymNoDet(MATRIX A, int n) { return HookInvSym(A, n, nullptr); }
int CholeskyOk(MATRIX A, int n) { return HookCholesky(A, n) == 0 ? 1 : 0; }

void MatMul(CMATRIX A, int r, int c, CMATRIX B, int c2, MATRIX Out) { HookMatMul(Out, A, r, c, B, c, c2, 0, 0); }
void MatMulABt(CMATRIX A, int r, int c, CMATRIX B, int r2, MATRIX Out) {
    HookMatMul(Out, A, r, c, B, r2, c, 0, 1);
}

}  // namespace tessel
