// Ascending sorts of data columns that may hold missing values; missing values go last.
#ifndef TESSEL_ALGEBRA_SORTING_H
#define TESSEL_ALGEBRA_SORTING_H

#include <vector>

namespace tessel {

// Sorts x[0 .. n-1] ascending in place, missing values after all present ones.
void AlgebraSortValues(double *x, int n);

// The stable ascending order of key[0 .. n-1] (missing keys last, in their original order):
// order[i] is the position whose value goes to position i.
void AlgebraSortOrder(const double *key, int n, std::vector<int> &order);

// Rearranges x[0 .. n-1] so that x[i] becomes the old x[order[i]]; work holds n doubles.
void AlgebraApplyOrder(double *x, const std::vector<int> &order, std::vector<double> &work);

}  // namespace tessel

#endif
