#include <gtest/gtest.h>

#include <bit>
#include <cstdint>

#include "numeric/kernels.h"
#include "numeric/matrix.h"
#include "tests/numeric/matrix_test_util.h"

namespace tessel {
namespace {

TEST(MatrixAlloc, LayoutIsOneBlockWithRowPointers) {
    MATRIX m = MatAlloc(3, 4);
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m[-1], m[0]);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(m[i], m[-1] + 4 * i);
    MatFree(m);

    EXPECT_EQ(MatAlloc(0, 3), nullptr);
    EXPECT_EQ(MatAlloc(-2, 3), nullptr);
    MatFree(nullptr);

    MATRIX empty_rows = MatAlloc(2, 0);
    ASSERT_NE(empty_rows, nullptr);
    EXPECT_EQ(empty_rows[-1], nullptr);
    EXPECT_EQ(empty_rows[0], nullptr);
    EXPECT_EQ(empty_rows[1], nullptr);
    MatFree(empty_rows);
}

TEST(MatrixAlloc, NaNFillAndCopiesOfNull) {
    MATRIX m = MatSetNaN(MatAlloc(2, 3), 2, 3);
    EXPECT_EQ(std::bit_cast<uint64_t>(m[1][2]), 0x7FF8000000000000ull);
    MATRIX d = MatDup(m, 2, 3);
    EXPECT_NE(d[-1], m[-1]);
    EXPECT_EQ(MatCopy(nullptr, m, 2, 3), nullptr);
    EXPECT_EQ(MatCopy(d, nullptr, 2, 3), nullptr);
    EXPECT_EQ(MatDup(nullptr, 2, 3), nullptr);
    MatFree(m);
    MatFree(d);
}

class MatrixCache : public ::testing::Test {
protected:
    void TearDown() override { MatCacheEnable(0, 0); }
    static const MatCache &Cache() { return *MatCacheGlobal(); }
};

TEST_F(MatrixCache, OffMeansPlainAllocation) {
    MATRIX m = MatAllocCached(3, 3);
    ASSERT_NE(m, nullptr);
    MatFreeCached(m, 3, 3);
    EXPECT_EQ(Cache().hits, 0);
    EXPECT_EQ(Cache().mat[0], nullptr);
}

TEST_F(MatrixCache, FreedMatrixIsReusedForTheSameShapeOnly) {
    MatCacheEnable(4, 100);
    MATRIX m = MatAllocCached(3, 5);
    MatFreeCached(m, 3, 5);
    EXPECT_EQ(MatAllocCached(3, 5), m);
    EXPECT_EQ(Cache().hits, 1);
    MatFreeCached(m, 3, 5);
    MATRIX other = MatAllocCached(5, 3);  // same element count, different shape
    EXPECT_NE(other, m);
    EXPECT_EQ(Cache().misses, 2);
    MatFreeCached(other, 5, 3);

    // Shapes outside the limits bypass the cache entirely.
    MATRIX big = MatAllocCached(10, 10);  // r * c == limit
    MatFreeCached(big, 10, 10);
    MATRIX tall = MatAllocCached(1024, 0);
    MatFreeCached(tall, 1024, 0);
    EXPECT_EQ(Cache().misses, 2);
    int held = 0;
    for (int i = 0; i < Cache().slots; ++i) held += Cache().mat[i] != nullptr;
    EXPECT_EQ(held, 2);
}

TEST_F(MatrixCache, EvictionOrderAndHitSlotReuse) {
    MatCacheEnable(3, 1000);
    MATRIX a = MatAlloc(1, 1), b = MatAlloc(2, 2), c = MatAlloc(3, 3);
    MatFreeCached(a, 1, 1);  // slot 0, stamp 0
    MatFreeCached(b, 2, 2);  // slot 1, stamp 1
    MatFreeCached(c, 3, 3);  // slot 2, stamp 2
    // Full: the slot stamped 0 (the oldest) goes first.
    MATRIX d = MatAlloc(4, 4);
    MatFreeCached(d, 4, 4);
    EXPECT_EQ(Cache().evictions, 1);
    EXPECT_EQ(Cache().mat[0], d);
    // No stamp is 0 any more: slot 0 is evicted again, not the older slot 1.
    MATRIX e = MatAlloc(5, 5);
    MatFreeCached(e, 5, 5);
    EXPECT_EQ(Cache().evictions, 2);
    EXPECT_EQ(Cache().mat[0], e);
    EXPECT_EQ(Cache().mat[1], b);

    // A hit vacates its slot, and the next free fills that slot without evicting.
    EXPECT_EQ(MatAllocCached(3, 3), c);
    MATRIX f = MatAlloc(6, 6);
    MatFreeCached(f, 6, 6);
    EXPECT_EQ(Cache().mat[2], f);
    EXPECT_EQ(Cache().evictions, 2);
    MatFree(c);
}

// The kernels take their work matrices from the cache and give them back with the same shape,
// so a second factorisation reuses them.
TEST_F(MatrixCache, KernelsRecycleTheirWorkMatrices) {
    MatCacheEnable(8, 64 * 64 + 1);
    std::mt19937 rng(3);
    for (int round = 0; round < 2; ++round) {
        testing::OwnedMat a = testing::RandomSpd(150, rng);
        ASSERT_EQ(MatCholeskyBlocked(a.get(), 150), 0);
        testing::OwnedMat s = testing::RandomSpd(10, rng);
        ASSERT_EQ(MatInvSymLdl(s.get(), 10, nullptr), 0);
    }
    EXPECT_EQ(Cache().hits, 3);  // two 64 x 64 blocks and one 11 x 10 work matrix
    EXPECT_EQ(Cache().evictions, 0);
}

MatCache g_private;
int g_enter = 0, g_leave = 0;
MatCache *PrivateAccessor(int enter) {
    (enter ? g_enter : g_leave)++;
    return enter ? &g_private : nullptr;
}

TEST_F(MatrixCache, AccessorBracketsEveryOperationAndMaySupplyItsOwnRecord) {
    g_private.slots = 2;
    g_private.size_limit = 50;
    MatCacheSetAccessor(PrivateAccessor);
    MATRIX m = MatAllocCached(2, 2);
    MatFreeCached(m, 2, 2);
    EXPECT_EQ(MatAllocCached(2, 2), m);
    MatCacheSetAccessor(nullptr);
    EXPECT_EQ(g_enter, 3);
    EXPECT_EQ(g_leave, 3);
    EXPECT_EQ(g_private.hits, 1);
    EXPECT_EQ(Cache().hits, 0);  // the module-wide record was never touched
    MatFree(m);
}

}  // namespace
}  // namespace tessel
