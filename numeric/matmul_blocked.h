// Cache-blocked multiply over packed panels, used by MatMulGeneral for large products.
#ifndef TESSEL_NUMERIC_MATMUL_BLOCKED_H
#define TESSEL_NUMERIC_MATMUL_BLOCKED_H

#include "numeric/matrix.h"

namespace tessel {

// Out (m x n) = op(A) op(B) with inner dimension k. Returns false, leaving Out untouched, when the
// product is too small to gain from blocking or the packing buffers cannot be had.
bool MatMulBlocked(MATRIX Out, CMATRIX A, CMATRIX B, int m, int k, int n, bool transA, bool transB);

}  // namespace tessel

#endif
