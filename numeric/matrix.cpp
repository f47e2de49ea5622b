#include "numeric/matrix.h"

#include <cstdlib>

#include "numeric/missing.h"

namespace tessel {

MATRIX MatAlloc(int r, int c) {
    if (r < 1) return nullptr;
    auto **ptrs = static_cast<double **>(std::malloc((static_cast<size_t>(r) + 1) * sizeof(double *)));
    if (!ptrs) return nullptr;
    MATRIX m = ptrs + 1;
    if (c < 1) {
        for (int i = -1; i < r; ++i) m[i] = nullptr;
        return m;
    }
    const size_t count = static_cast<size_t>(r) * static_cast<size_t>(c);
    if (count > SIZE_MAX / sizeof(double)) {
        std::free(ptrs);
        return nullptr;
    }
    auto *block = static_cast<double *>(std::malloc(count * sizeof(double)));
    if (!block) {
        std::free(ptrs);
        return nullptr;
    }
    m[-1] = block;
    for (int i = 0; i < r; ++i) m[i] = block + static_cast<size_t>(i) * c;
    return m;
}

void MatFree(MATRIX m) {
    if (!m) return;
    std::free(m[-1]);
    std::free(m - 1);
}

MATRIX MatZero(MATRIX m, int r, int c) {
    if (!m) return m;
    for (int i = 0; i < r; ++i) {
        double *row = m[i];
        for (int j = 0; j < c; ++j) row[j] = 0.0;
    }
    return m;
}

MATRIX MatSetNaN(MATRIX m, int r, int c) {
    if (!m) return m;
    for (int i = 0; i < r; ++i) {
        double *row = m[i];
        for (int j = 0; j < c; ++j) row[j] = kMissing;
    }
    return m;
}

MATRIX MatIdentity(MATRIX m, int n) {
    if (!m) return m;
    MatZero(m, n, n);
    for (int i = 0; i < n; ++i) m[i][i] = 1.0;
    return m;
}

MATRIX MatCopy(MATRIX dst, CMATRIX src, int r, int c) {
    if (!dst || !src) return nullptr;
    for (int i = 0; i < r; ++i) {
        double *d = dst[i];
        const double *s = src[i];
        for (int j = 0; j < c; ++j) d[j] = s[j];
    }
    return dst;
}

MATRIX MatDup(CMATRIX src, int r, int c) {
    if (!src) return nullptr;
    return MatCopy(MatAlloc(r, c), src, r, c);
}

double MatTrace(CMATRIX m, int n) {
    double s = 0.0;
    if (!m) return s;
    for (int i = 0; i < n; ++i) s += m[i][i];
    return s;
}

}  // namespace tessel
