#include "choice/act_fit_table.h"

#include <cmath>

namespace tessel {

int PredictedAlternative(const double *fitted, int J) {
    int best = 0;
    double best_p = 0.0;
    for (int j = 0; j < J; ++j) {
        if (fitted[j] > best_p) {
            best_p = fitted[j];
            best = j;
        }
    }
    return best;
}

void ActFitTable(const double *const *actual, bool single_column, const double *const *fitted, int N, int J,
                 double *const *table) {
    if (J < 1) return;
    for (int i = 0; i < N; ++i) {
        const int m = PredictedAlternative(fitted[i], J);
        if (single_column) {
            table[static_cast<int>(actual[i][0])][m] += 1.0;
        } else {
            for (int j = 0; j < J; ++j) table[j][m] += actual[i][j];
        }
    }
    // Totals from the integer parts of the cells; whole numbers add exactly in doubles.
    double grand = 0.0;
    for (int c = 0; c < J; ++c) {
        double col = 0.0;
        for (int r = 0; r < J; ++r) col += std::trunc(table[r][c]);
        table[J][c] = col;
        grand += col;
    }
    for (int r = 0; r < J; ++r) {
        double row = 0.0;
        for (int c = 0; c < J; ++c) row += std::trunc(table[r][c]);
        table[r][J] = row;
    }
    table[J][J] = grand;
}

}  // namespace tessel
