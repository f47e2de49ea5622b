// Encompassing tests between two non-nested single-equation instrumental-variables models of the
// same dependent variable, estimated with the instruments of both models pooled.
//
// Each model is a block of rows, one variable per row over T observations:
//   row 0                  the dependent variable y
//   rows 1 .. d-1          endogenous regressors
//   rows d .. d+e-1        exogenous regressors (also instruments)
//   rows d+e .. d+e+z-1    further instruments
// so a model has k = d + e - 1 regressors (rows 1 .. k) and e + z instruments (rows d ..).
#ifndef TESSEL_ENCOMPASSING_ENCOMPASSING_H
#define TESSEL_ENCOMPASSING_ENCOMPASSING_H

#include <vector>

#include "numeric/matrix.h"

namespace tessel {

// Result codes of EncompassingTests.
enum EncompassingCode {
    kEncompassingOk = 0,               // also returned, with nothing computed, when storage is short
    kEncompassingUnderIdentified = 1,  // fewer joint instruments than joint regressors
    kEncompassingNested = 2,           // one model's lists cover the other's
    kEncompassingSingular = 3,         // a moment matrix could not be inverted
    kEncompassingOutOfRange = 4,       // a variance or a sum of squares out of range
};

// Positions in the statistics record.
enum EncompassingStat {
    kSargan1 = 0,
    kSargan2,
    kNTest12,
    kNTest21,
    kF1,
    kF2,
    kEricsson12,
    kEricsson21,
    kSigma1,
    kSigma2,
    kSigmaJoint,
    kEncompassingStats  // 11
};

// Two rows are the same series when all T values compare equal as doubles (so a NaN never matches).
bool EncompassingSameRow(const double *a, const double *b, int T);

// The pooled instrument list W and the joint regressor list J of two models. W holds model 1's
// instruments, then each of model 2's that is not already in W; w_index[i] numbers W's rows over
// both instrument lists in turn, model 2's dropped rows counted too. J holds model 1's regressors,
// then each of model 2's that is not already in J; x2_in_j[i] is the position in J of model 2's
// regressor i (its own or the one it repeats).
struct EncompassingLists {
    std::vector<const double *> w;
    std::vector<int> w_index;
    std::vector<const double *> j;
    std::vector<int> x2_in_j;
};

// Builds the joint lists. Throws std::bad_alloc when memory is short.
void EncompassingJoin(CMATRIX A, int d1, int e1, int z1, CMATRIX B, int d2, int e2, int z2, int T,
                      EncompassingLists &lists);

// Sargan, N-test, F and Ericsson statistics and the three equation standard errors of model 1
// (rows of A), model 2 (rows of B) and their joint model, all at the pooled instruments, written
// into stats[0..10] in the order of EncompassingStat. Returns an EncompassingCode. On code 0 after
// a complete computation, *m and *k receive the lengths of W and J and index[0 .. m-1] W's
// indices; index needs room for (e1 + z1) + (e2 + z2) entries. When work storage is short the call
// returns 0 without writing stats, *m or *k. The caller guarantees d >= 1, e >= 0, z >= 0, that A
// holds d1 + e1 + z1 rows and B d2 + e2 + z2, each of T values. y is row 0 of A throughout, except
// that model 2's residual sum of squares is taken with row 0 of B.
int EncompassingTests(CMATRIX A, int d1, int e1, int z1, CMATRIX B, int d2, int e2, int z2, int T, int *index, int *m,
                      int *k, double *stats);

}  // namespace tessel

#endif
