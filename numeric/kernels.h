// Inner products, matrix multiplication, factorisations and inversions, and least squares by QR.
//
// Symmetric matrices are held in full; the factorisations read and write the lower triangle
// (diagonal included) and say what they do with the upper one. The heavy kernels are reached
// through the hook table below, so a tuned implementation can replace them without touching any
// caller; nothing in the module changes the table.
#ifndef TESSEL_NUMERIC_KERNELS_H
#define TESSEL_NUMERIC_KERNELS_H

#include "numeric/matrix.h"

namespace tessel {

// ---- Hook table ---------------------------------------------------------------------------

using CholeskyFn = int (*)(MATRIX A, int n);
using InvSymFn = int (*)(MATRIX A, int n, double *logdet);
using InvGeneralFn = int (*)(MATRIX A, int n, double *rcond, int *nsmall);
using MatMulFn = void (*)(MATRIX Out, CMATRIX A, int ra, int ca, CMATRIX B, int rb, int cb, int transA,
                          int transB);
using QrPivotFn = int (*)(MATRIX XT, int k, int T, int *perm, double *work);

extern CholeskyFn HookCholesky;      // MatCholeskyBlocked
extern InvSymFn HookInvSym;          // MatInvSymLdl
extern InvGeneralFn HookInvGeneral;  // MatInvLu
extern MatMulFn HookMatMul;          // MatMulGeneral
extern double PivotTolerance;        // 2.220446049250313e-13, absolute
extern QrPivotFn HookQrPivot;        // MatQrPivot

inline constexpr double kDefaultPivotTolerance = 2.220446049250313e-13;
// Marks a pivot at or below the tolerance in the reciprocal-pivot vector of MatLdl.
inline constexpr double kHugePivotInverse = 1.7976931348623157e308;

double GetPivotTolerance();

// ---- Inner products -----------------------------------------------------------------------

// Four terms at a time in separate sums, then the remainder one by one. Defined here so the
// factorisations' many short inner products are inlined.
inline double VecDot(const double *x, const double *y, int n) {
    double s0 = 0.0, s1 = 0.0, s2 = 0.0, s3 = 0.0;
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        s0 += x[i] * y[i];
        s1 += x[i + 1] * y[i + 1];
        s2 += x[i + 2] * y[i + 2];
        s3 += x[i + 3] * y[i + 3];
    }
    double s = (s0 + s1) + (s2 + s3);
    for (; i < n; ++i) s += x[i] * y[i];
    return s;
}

inline double VecSumSq(const double *x, int n) {
    double s0 = 0.0, s1 = 0.0, s2 = 0.0, s3 = 0.0;
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        s0 += x[i] * x[i];
        s1 += x[i + 1] * x[i + 1];
        s2 += x[i + 2] * x[i + 2];
        s3 += x[i + 3] * x[i + 3];
    }
    double s = (s0 + s1) + (s2 + s3);
    for (; i < n; ++i) s += x[i] * x[i];
    return s;
}

// 0.0 for n < 1; the sum of squares when x and y are the same array, else the dot product. Every
// factorisation takes its inner products from here.
inline double VecInner(const double *x, const double *y, int n) {
    if (n < 1) return 0.0;
    return x == y ? VecSumSq(x, n) : VecDot(x, y, n);
}

// ---- Multiplication -----------------------------------------------------------------------

// Out (r x c2) = A (r x c) B (c x c2), through HookMatMul.
void MatMul(CMATRIX A, int r, int c, CMATRIX B, int c2, MATRIX Out);
// Out (r x r2) = A (r x c) B' with B of r2 x c, through HookMatMul.
void MatMulABt(CMATRIX A, int r, int c, CMATRIX B, int r2, MATRIX Out);
// Out = op(A) op(B), op the transpose when its flag is 1; A is ra x ca and B is rb x cb as stored.
// Out must not alias A or B. Mismatched inner dimensions or null matrices leave Out untouched.
void MatMulGeneral(MATRIX Out, CMATRIX A, int ra, int ca, CMATRIX B, int rb, int cb, int transA, int transB);

// Out (n x n)[i][j] = sum over s = from..to of A[i][s] A[j][s]; an empty range gives zeros.
void MatCrossRows(CMATRIX A, int n, int from, int to, MATRIX Out);
// x' S x with x the column j of the k-row matrix X and S symmetric, read from its lower triangle.
// 0.0 for k < 1.
double QuadFormLower(int j, CMATRIX X, CMATRIX S, int k);

// ---- Symmetric factorisations -------------------------------------------------------------

// A = L D L' in place in the lower triangle (unit diagonal implied); d[i] = 1 / pivot i. Returns 3
// for a null A or d, 0 on success, 1 when some pivot is at or below PivotTolerance: that d[i] is
// set to kHugePivotInverse and the factorisation goes on. The strict upper triangle is not touched.
int MatLdl(MATRIX A, double *d, int n);
// Inverse of a symmetric A in place (formed in the lower triangle and mirrored into the upper).
// logdet, when not null, receives log det A. Returns MatLdl's non-zero code with A partly
// overwritten, 1 when working memory is short, 0 on success.
int MatInvSymLdl(MATRIX A, int n, double *logdet);
// The call forms of HookInvSym.
int InvSym(MATRIX A, int n, double *logdet);
int InvSymNoDet(MATRIX A, int n);

// A = L L' in place: L in the lower triangle, the strict upper triangle set to 0. Returns 1 for a
// null A or a pivot at or below PivotTolerance (A partly overwritten), 0 on success.
int MatCholesky(MATRIX A, int n);
// The same contract, in 64 x 64 blocks for n > 64 (work matrices from the cache). 0 for n = 0.
int MatCholeskyBlocked(MATRIX A, int n);
// 1 when HookCholesky succeeded on A, 0 when it failed.
int CholeskyOk(MATRIX A, int n);

// ---- General inversion --------------------------------------------------------------------

// Inverse of a square A in place, by LU factorisation of a copy with row pivoting. Returns 0 on
// success, 1 when A is singular (a pivot at or below PivotTolerance times the largest element of
// A, or not finite), 3 for a null A, -1 when working memory is short; A is unchanged on failure.
// rcond, when not null, receives the ratio of the smallest to the largest absolute pivot (1.0
// before the factorisation); nsmall, when not null, the number of pivots below sqrt(machine
// epsilon) times the largest (0 before).
int MatInvLu(MATRIX A, int n, double *rcond, int *nsmall);

// ---- QR and least squares -----------------------------------------------------------------

// Scratch length for MatQrPivot's work argument.
inline constexpr int MatQrWorkSize(int k) { return 2 * (k > 0 ? k : 0); }

// Householder QR with column pivoting of X (T x k), held by variables: row j of XT is variable j
// over T observations. On return variable j of the pivoted order is row j of XT, and perm[j] is
// its original index; XT[j][0..j] holds column j of R (so row i read up to i is R', and XT[i][i]
// is the i-th diagonal of R); XT[j][j+1..T-1] and work[j] hold the j-th Householder reflection.
// Columns whose remaining norm falls to 2.220446049250313e-14 of their original norm are treated
// as negligible and moved to the end. work needs MatQrWorkSize(k) doubles. Returns 1 on success,
// 0 for a bad argument (null, k < 1, T < 1).
int MatQrPivot(MATRIX XT, int k, int T, int *perm, double *work);

// Rank of the triangular factor left in R (k x T, R' read row by row as above). Returns -1 with
// rank 0 when R is zero; otherwise 1 (full rank) or 2 (full rank but ill-conditioned), negated
// when a diagonal element before the last one falls below the threshold (a failure of the last
// one alone leaves the result positive with rank k - 1); rank counts the leading diagonal
// elements above it.
int MatRankR(CMATRIX R, int k, int T, int *rank);

// Scratch length for OlsQr's work argument.
inline constexpr int OlsQrWorkSize(int k, int T) { return 3 * (k > 0 ? k : 0) + (T > 0 ? T : 0); }

// Least squares of the n variables in YT (n x T) on the k variables in XT (k x T): HookQrPivot,
// MatRankR, then the coefficients B (n x k, row i for variable i of YT, in the original order of
// the regressors), (X'X)^-1 into XtXinv (k x k) when not null, and residuals into resid (n x T)
// when not null. XT is overwritten by the factorisation, YT is left as it is. With a deficient
// rank, the regressors beyond the rank in pivot order get coefficient 0 and zero rows and columns
// in XtXinv. work is scratch of OlsQrWorkSize(k, T) doubles, or null to take it from the heap.
// Returns 0 when memory is short or the factorisation fails, else MatRankR's result.
int OlsQr(MATRIX XT, int k, int T, CMATRIX YT, int n, MATRIX B, MATRIX XtXinv, MATRIX resid, double *work);

}  // namespace tessel

#endif
