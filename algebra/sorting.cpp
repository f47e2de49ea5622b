#include "algebra/sorting.h"

#include <algorithm>
#include <numeric>

#include "numeric/missing.h"

namespace tessel {

void AlgebraSortValues(double *x, int n) {
    if (n <= 1) return;
    // NaN breaks the strict weak order that std::sort needs, so partition the missing values off first.
    double *end = std::stable_partition(x, x + n, [](double v) { return !IsMissing(v); });
    std::sort(x, end);
}

void AlgebraSortOrder(const double *key, int n, std::vector<int> &order) {
    order.resize(n > 0 ? static_cast<size_t>(n) : 0);
    std::iota(order.begin(), order.end(), 0);
    auto end = std::stable_partition(order.begin(), order.end(), [key](int i) { return !IsMissing(key[i]); });
    std::stable_sort(order.begin(), end, [key](int a, int b) { return key[a] < key[b]; });
}

void AlgebraApplyOrder(double *x, const std::vector<int> &order, std::vector<double> &work) {
    const size_t n = order.size();
    work.resize(n);
    for (size_t i = 0; i < n; ++i) work[i] = x[order[i]];
    std::copy(work.begin(), work.end(), x);
}

}  // namespace tessel
