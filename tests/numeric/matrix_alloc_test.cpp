#include <gtest/gtest.h>
#include <bit>
#include <cstdint>
#include "numeric/kernels.h"
#include "numeric/matrix.h"
#include "tests/numeric/matrix_test_util.h"

namespace tessel {
namespace {
TEST(MatrixAlloc, OneBlockWithRowPointersNaNFillAndNullCopies) {
    MATRIX m = MatAlloc(3, 4), empty_rows = MatAlloc(2, 0);
    ASSERT_TRUE(m != nullptr && empty_rows != nullptr);
    EXPECT_EQ(m[-1], m[0]);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(m[i], m[-1] + 4 * i);
    EXPECT_TRUE(empty_rows[-1] == nullptr && empty_rows[0] == nullptr && empty_rows[1] == nullptr);
    EXPECT_TRUE(MatAlloc(0, 3) == nullptr && MatAlloc(-2, 3) == nullptr);
    MatFree(m), MatFree(empty_rows), MatFree(nullptr);
    m = MatSetNaN(MatAlloc(2, 3), 2, 3);
    EXPECT_EQ(std::bit_cast<uint64_t>(m[1][2]), 0x7FF8000000000000ull);
    MATRIX d = MatDup(m, 2, 3);
    EXPECT_NE(d[-1], m[-1]);
    EXPECT_TRUE(MatCopy(nullptr, m, 2, 3) == nullptr && MatCopy(d, nullptr, 2, 3) == nullptr && MatDup(nullptr, 2, 3) == nullptr);
    MatFree(m), MatFree(d);
}

class MatrixCache : public ::testing::Test {
protected:
    void TearDown() override { MatCacheEnable(0, 0); }
    static const MatCache &Cache() { return *MatCacheGlobal(); }
};

TEST_F(MatrixCache, ReuseForTheSameShapeOnlyAndPlainAllocationWhenOff) {
    MATRIX m = MatAllocCached(3, 3);  // cache off
    MatFreeCached(m, 3, 3);
    EXPECT_TRUE(Cache().hits == 0 && Cache().mat[0] == nullptr);
    MatCacheEnable(4, 100);
    m = MatAllocCached(3, 5);
    MatFreeCached(m, 3, 5);
    EXPECT_EQ(MatAllocCached(3, 5), m);
    EXPECT_EQ(Cache().hits, 1);
    MatFreeCached(m, 3, 5);
    MATRIX other = MatAllocCached(5, 3);  // same element count, different shape
    EXPECT_TRUE(other != m && Cache().misses == 2);
    MatFreeCached(other, 5, 3);
    MatFreeCached(MatAllocCached(10, 10), 10, 10);  // r * c at the limit, and no columns: bypass the cache
    MatFreeCached(MatAllocCached(1024, 0), 1024, 0);
    int held = 0;
    for (int i = 0; i < Cache().slots; ++i) held += Cache().mat[i] != nullptr;
    EXPECT_TRUE(Cache().misses == 2 && held == 2);
}

TEST_F(MatrixCache, EvictionOrderAndHitSlotReuse) {
    MatCacheEnable(3, 1000);
    MATRIX a = MatAlloc(1, 1), b = MatAlloc(2, 2), c = MatAlloc(3, 3), d = MatAlloc(4, 4), e = MatAlloc(5, 5), f = MatAlloc(6, 6);
    MatFreeCached(a, 1, 1), MatFreeCached(b, 2, 2), MatFreeCached(c, 3, 3);  // slots 0, 1, 2 stamped 0, 1, 2
    MatFreeCached(d, 4, 4);  // full: the slot stamped 0 goes first
    EXPECT_TRUE(Cache().evictions == 1 && Cache().mat[0] == d);
    MatFreeCached(e, 5, 5);  // no stamp is 0 any more: slot 0 again, not the older slot 1
    EXPECT_TRUE(Cache().evictions == 2 && Cache().mat[0] == e && Cache().mat[1] == b);
    EXPECT_EQ(MatAllocCached(3, 3), c);  // a hit vacates its slot; the next free fills it without evicting
    MatFreeCached(f, 6, 6);
    EXPECT_TRUE(Cache().mat[2] == f && Cache().evictions == 2);
    MatFree(c);
}

// Kernels give their work matrices back with the shape they took, so a second call reuses them.
TEST_F(MatrixCache, KernelsRecycleTheirWorkMatrices) {
    MatCacheEnable(8, 64 * 64 + 1);
    std::mt19937 rng(3);
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(MatCholeskyBlocked(testing::RandomSpd(150, rng).get(), 150), 0);
        ASSERT_EQ(MatInvSymLdl(testing::RandomSpd(10, rng).get(), 10, nullptr), 0);
    }
    EXPECT_EQ(Cache().hits, 3);  // two 64 x 64 blocks and one 11 x 10 work matrix
    EXPECT_EQ(Cache().evictions, 0);
}

MatCache g_private;
int g_enter = 0, g_leave = 0;
MatCache *PrivateAccessor(int enter) { return ++(enter ? g_enter : g_leave), enter ? &g_private : nullptr; }
TEST_F(MatrixCache, AccessorBracketsEveryOperationAndMaySupplyItsOwnRecord) {
    g_private.slots = 2, g_private.size_limit = 50;
    MatCacheSetAccessor(PrivateAccessor);
    MATRIX m = MatAllocCached(2, 2);
    MatFreeCached(m, 2, 2);
    EXPECT_EQ(MatAllocCached(2, 2), m);
    MatCacheSetAccessor(nullptr);
    EXPECT_TRUE(g_enter == 3 && g_leave == 3 && g_private.hits == 1);
    EXPECT_EQ(Cache().hits, 0);  // the module-wide record was never touched
    MatFree(m);
}

}  // namespace
}  // namespace tessel
