// The small-matrix cache: a handful of slots that keep freed matrices for reuse by the next
// allocation of the same shape.
#include <algorithm>

#include "numeric/matrix.h"

namespace tessel {

namespace {

MatCache g_cache;
MatCacheAccessor g_accessor = nullptr;

// Brackets one cache operation with the accessor, which may hand out its own record.
class CacheScope {
public:
    CacheScope() {
        MatCache *c = g_accessor ? g_accessor(1) : nullptr;
        cache_ = c ? c : &g_cache;
    }
    ~CacheScope() {
        if (g_accessor) g_accessor(0);
    }
    CacheScope(const CacheScope &) = delete;
    CacheScope &operator=(const CacheScope &) = delete;
    MatCache &operator*() const { return *cache_; }

private:
    MatCache *cache_;
};

// A caller-supplied record may claim more slots than it has room for.
int SlotCount(const MatCache &cache) { return std::clamp(cache.slots, 0, kMatCacheMaxSlots); }

bool Admissible(const MatCache &cache, int r, int c) {
    return cache.slots > 0 && r >= 1 && r < 1024 && c >= 0 && c < 1024 &&
           static_cast<int64_t>(r) * c < cache.size_limit;
}

void ReleaseAll(MatCache &cache) {
    for (int i = 0; i < kMatCacheMaxSlots; ++i) {
        if (cache.mat[i]) MatFree(cache.mat[i]);
        cache.mat[i] = nullptr;
        cache.rows[i] = cache.cols[i] = 0;
        cache.stamp[i] = 0;
    }
    cache.last_hit = -1;
    cache.clock = 0;
    cache.hits = cache.misses = cache.evictions = 0;
}

}  // namespace

void MatCacheEnable(int slots, int64_t size_limit) {
    CacheScope scope;
    MatCache &cache = *scope;
    ReleaseAll(cache);
    cache.slots = slots <= 0 ? 0 : std::min(slots, kMatCacheMaxSlots);
    cache.size_limit = size_limit;
}

void MatCacheClear() {
    CacheScope scope;
    ReleaseAll(*scope);
}

MatCache *MatCacheGlobal() { return &g_cache; }

MatCacheAccessor MatCacheSetAccessor(MatCacheAccessor accessor) {
    MatCacheAccessor old = g_accessor;
    g_accessor = accessor;
    return old;
}

MATRIX MatAllocCached(int r, int c) {
    {
        CacheScope scope;
        MatCache &cache = *scope;
        if (Admissible(cache, r, c)) {
            const int slots = SlotCount(cache);
            for (int i = 0; i < slots; ++i) {
                if (cache.rows[i] == r && cache.cols[i] == c && cache.mat[i]) {
                    MATRIX m = cache.mat[i];
                    cache.mat[i] = nullptr;
                    cache.rows[i] = cache.cols[i] = 0;
                    ++cache.hits;
                    cache.last_hit = i;
                    return m;
                }
            }
            ++cache.misses;
        }
    }
    return MatAlloc(r, c);
}

void MatFreeCached(MATRIX m, int r, int c) {
    if (!m) return;
    CacheScope scope;
    MatCache &cache = *scope;
    if (!Admissible(cache, r, c)) {
        MatFree(m);
        return;
    }
    const int slots = SlotCount(cache);
    int slot = -1;
    if (cache.last_hit >= 0 && cache.last_hit < slots) slot = cache.last_hit;
    cache.last_hit = -1;
    if (slot < 0) {
        for (int i = 0; i < slots; ++i) {
            if (cache.rows[i] == 0 && cache.cols[i] == 0) {
                slot = i;
                break;
            }
        }
    }
    if (slot < 0) {
        // Running minimum from 0, taking a slot at or below it: the last slot stamped 0, else slot 0.
        uint32_t lowest = 0;
        slot = 0;
        for (int i = 0; i < slots; ++i) {
            if (cache.stamp[i] <= lowest) {
                lowest = cache.stamp[i];
                slot = i;
            }
        }
    }
    if (cache.mat[slot]) {
        MatFree(cache.mat[slot]);
        ++cache.evictions;
    }
    cache.mat[slot] = m;
    cache.rows[slot] = r;
    cache.cols[slot] = c;
    cache.stamp[slot] = cache.clock++;
}

}  // namespace tessel
