// Cross-tabulation of actual outcomes against the outcome with the highest fitted probability.
#ifndef TESSEL_CHOICE_ACT_FIT_TABLE_H
#define TESSEL_CHOICE_ACT_FIT_TABLE_H

namespace tessel {

// The predicted alternative: the first column holding the largest probability, 0 when none exceeds 0.
int PredictedAlternative(const double *fitted, int J);

// Adds N observations to the (J+1) x (J+1) table (zeroed by the caller) and fills its margins.
// actual has one column (the chosen alternative, truncated; each must lie in 0..J-1) when
// single_column, else J columns of counts or shares. Row and column totals are sums of the integer
// parts of the cells, so shares are cut cell by cell before they are totalled.
void ActFitTable(const double *const *actual, bool single_column, const double *const *fitted, int N, int J,
                 double *const *table);

}  // namespace tessel

#endif
