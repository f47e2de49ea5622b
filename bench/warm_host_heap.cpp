// The runtime a module lives in keeps its heap: results of one call are released and the next
// call's results reuse the memory. glibc instead maps and unmaps blocks of this size on every call,
// so the benchmarks would time page faults rather than the module. Keep freed memory in the heap.
#include <malloc.h>

namespace {

const bool kWarmHeap = [] {
    mallopt(M_MMAP_THRESHOLD, 256 << 20);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    return true;
}();

}  // namespace
