// Helpers shared by the exports: argument presence and type checks in the host's order, optional
// by-reference outputs, moving a result into a referenced variable, and the guard that keeps every
// C++ exception inside the module.
#ifndef TESSEL_HOST_EXPORT_FRAME_H
#define TESSEL_HOST_EXPORT_FRAME_H

#include <cstddef>
#include <cstdint>
#include <new>

#include "host/vela_api.h"

namespace tessel::host {

// Reports the first missing argument when fewer than `required` were passed.
bool RequireArgs(int cArg, int required);

// Checks pv[first], pv[first+1], ... against the type digits in `codes` ('1'..'5'), one
// VelaLibCheckType call per run of equal digits, in argument order. The caller has made sure that
// these arguments were passed.
bool CheckTypeRuns(VelaValue *pv, const char *codes, int first = 0);

// The variable that pv[index] designates, or nullptr when that argument was not passed or is no
// reference. Optional outputs are never type-checked: their presence is their type.
VelaValue *OptionalRef(VelaValue *pv, int cArg, int index);

// The target of a by-reference argument that passed its type check; reports a null reference.
VelaValue *RequiredRef(VelaValue *pv, int index);

// The matrix's elements as one run of rows*cols doubles (nullptr for a matrix with no elements).
inline double *MatrixData(const VelaValue &v) {
    return (v.ival > 0 && v.cols > 0 && v.data.mat) ? v.data.mat[0] : nullptr;
}
inline int64_t MatrixElements(const VelaValue &v) {
    return (v.type == VELA_MATRIX && v.ival > 0 && v.cols > 0) ? int64_t{v.ival} * v.cols : 0;
}

// Sets a value to a double (the host API has setters for integers and strings only).
void SetDouble(VelaValue *value, double x);

// Releases what `target` holds and moves the whole record of `local` into it; `local` is left empty.
void MoveInto(VelaValue *target, VelaValue *local);

// A by-reference result built in a local value and moved into the caller's variable only once every
// result of the call exists, so that a failed allocation leaves the caller's variables as they were.
struct PendingResult {
    VelaValue *target = nullptr;  // nullptr: not wanted
    int rows = 0, cols = 0;
    VelaValue local{};
    double *data() const { return target ? MatrixData(local) : nullptr; }
    double **rows_ptr() const { return target ? local.data.mat : nullptr; }
};

// Allocates every wanted result; false, with all of them released, when one allocation fails.
bool AllocateResults(PendingResult *results, size_t count);
// Moves every wanted result into its variable.
void DeliverResults(PendingResult *results, size_t count);
void ReleaseResults(PendingResult *results, size_t count);

template <size_t N>
bool AllocateResults(PendingResult (&results)[N]) { return AllocateResults(results, N); }
template <size_t N>
void DeliverResults(PendingResult (&results)[N]) { DeliverResults(results, N); }
template <size_t N>
void ReleaseResults(PendingResult (&results)[N]) { ReleaseResults(results, N); }

// Runs an export body; any exception that escapes it is handed to `on_failure`, which must not throw.
template <class Body, class OnFailure>
void Guarded(Body &&body, OnFailure &&on_failure) noexcept {
    try {
        body();
    } catch (const std::bad_alloc &) {
        on_failure();
    } catch (...) {
        on_failure();
    }
}

}  // namespace tessel::host

#endif
