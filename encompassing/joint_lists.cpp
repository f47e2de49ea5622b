// The pooled instrument list and the joint regressor list of two models.
#include "encompassing/encompassing.h"

namespace tessel {

bool EncompassingSameRow(const double *a, const double *b, int T) {
    for (int t = 0; t < T; ++t)
        if (!(a[t] == b[t])) return false;  // false for a NaN on either side
    return true;
}

namespace {

// Position of the row in `list` that holds the same series as `row`, or -1. The newest rows are
// looked at first: a repeated series usually repeats one added shortly before.
int FindSameRow(const std::vector<const double *> &list, const double *row, int T) {
    for (int i = static_cast<int>(list.size()) - 1; i >= 0; --i)
        if (EncompassingSameRow(list[i], row, T)) return i;
    return -1;
}

}  // namespace

void EncompassingJoin(CMATRIX A, int d1, int e1, int z1, CMATRIX B, int d2, int e2, int z2, int T,
                      EncompassingLists &lists) {
    const int k1 = d1 + e1 - 1, k2 = d2 + e2 - 1, n1 = e1 + z1, n2 = e2 + z2;
    lists.w.clear();
    lists.w_index.clear();
    lists.j.clear();
    lists.x2_in_j.clear();
    lists.w.reserve(n1 + n2);
    lists.w_index.reserve(n1 + n2);
    lists.j.reserve(k1 + k2);
    lists.x2_in_j.reserve(k2);

    for (int i = 0; i < n1; ++i) {
        lists.w.push_back(A[d1 + i]);
        lists.w_index.push_back(i);
    }
    for (int i = 0; i < n2; ++i) {
        const double *row = B[d2 + i];
        if (FindSameRow(lists.w, row, T) >= 0) continue;
        lists.w.push_back(row);
        lists.w_index.push_back(n1 + i);
    }

    for (int i = 1; i <= k1; ++i) lists.j.push_back(A[i]);
    for (int i = 1; i <= k2; ++i) {
        const double *row = B[i];
        int at = FindSameRow(lists.j, row, T);
        if (at < 0) {
            at = static_cast<int>(lists.j.size());
            lists.j.push_back(row);
        }
        lists.x2_in_j.push_back(at);
    }
}

}  // namespace tessel
