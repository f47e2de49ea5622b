// The module's matrix type, its allocators (plain and through the small-matrix cache) and the
// elementary whole-matrix operations.
//
// A MATRIX of r rows and c columns is a pointer to r row pointers into one contiguous row-major
// block. One allocation holds the r + 1 pointers; entry 0 keeps the data block's address, the
// matrix pointer is the address of entry 1, so m[-1] is always the block and one free releases
// the whole matrix. Host matrices share the row-pointer shape, so workers can write into them.
#ifndef TESSEL_NUMERIC_MATRIX_H
#define TESSEL_NUMERIC_MATRIX_H

#include <cstdint>

namespace tessel {

using MATRIX = double **;
// Read-only view of a matrix; a MATRIX converts to it implicitly.
using CMATRIX = const double *const *;

// New r x c matrix with undefined contents. Null for r < 1 or when memory is short. For c < 1 the
// r row pointers (and the block entry) are all null.
MATRIX MatAlloc(int r, int c);
// Frees the data block m[-1] and then the pointer array; null is ignored.
void MatFree(MATRIX m);

// ---- Small-matrix cache -------------------------------------------------------------------
// Recycles small matrices instead of going to the heap. Off (zero slots) unless enabled.

inline constexpr int kMatCacheMaxSlots = 64;

struct MatCache {
    int slots = 0;           // slots in use; the cache is on when non-zero
    int64_t size_limit = 0;  // only r * c below this goes through the cache
    MATRIX mat[kMatCacheMaxSlots] = {};
    int rows[kMatCacheMaxSlots] = {};
    int cols[kMatCacheMaxSlots] = {};
    uint32_t stamp[kMatCacheMaxSlots] = {};
    int last_hit = -1;       // slot vacated by the most recent hit, -1 when none
    uint32_t clock = 0;      // running store stamp
    int64_t hits = 0;
    int64_t misses = 0;
    int64_t evictions = 0;
};

// Optional accessor: called with 1 before and 0 after each cache operation (so a host can lock
// around it); the record it returns on the call with 1 is used, the module-wide one when null.
using MatCacheAccessor = MatCache *(*)(int enter);

// Turns the module-wide cache on with the given slot count (clamped to 1..kMatCacheMaxSlots) and
// size limit on r * c, or off with slots <= 0; turning it off or resizing frees what it holds.
void MatCacheEnable(int slots, int64_t size_limit);
// Frees every matrix held by the module-wide cache and zeroes its counters; the cache stays on.
void MatCacheClear();
// The module-wide record (for counters and tests).
MatCache *MatCacheGlobal();
// Installs (or, with null, removes) the accessor; returns the previous one.
MatCacheAccessor MatCacheSetAccessor(MatCacheAccessor accessor);

// Like MatAlloc, but with the cache on and the shape admissible (1 <= r < 1024, 0 <= c < 1024,
// r * c below the limit) returns a stored matrix of exactly r x c when there is one.
MATRIX MatAllocCached(int r, int c);
// Gives m (of r x c) back to the cache, evicting a stored matrix when all slots are full, or frees
// it when the cache is off or the shape is not admissible.
void MatFreeCached(MATRIX m, int r, int c);

// ---- Elementary operations ----------------------------------------------------------------

MATRIX MatZero(MATRIX m, int r, int c);
// Every element the missing value (quiet NaN); marks results that were not computed.
MATRIX MatSetNaN(MATRIX m, int r, int c);
MATRIX MatIdentity(MATRIX m, int n);
// Element copy; null dst or src gives null.
MATRIX MatCopy(MATRIX dst, CMATRIX src, int r, int c);
// MatCopy(MatAlloc(r, c), src, r, c).
MATRIX MatDup(CMATRIX src, int r, int c);
double MatTrace(CMATRIX m, int n);

}  // namespace tessel

#endif
