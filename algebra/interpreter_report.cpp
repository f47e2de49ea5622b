// The report of the run-time flags.
#include <cstdio>
#include <cstring>

#include "algebra/workspace.h"

namespace tessel {

namespace {

// Messages of the run-time flag bits, by bit number.
const char *const kFlagMessages[] = {
    "Stack full",
    "Overflow in exponent",
    "Logarithm of non-positive number",
    "Divide by zero",
    "Non-positive degrees of freedom",
    "Square root of negative number",
    "Arguments must be different (smooth, sortby)",
    "Stack error",
    "Logarithm of zero",
    "",
};

}  // namespace

const char *AlgebraErrorText(AlgebraWorkspace *ws) {
    char *out = ws->message;
    if (ws->flags == 0) {
        std::snprintf(out, kAlgebraMessageSize, "No errors.");
        return out;
    }
    size_t len = static_cast<size_t>(
        std::snprintf(out, kAlgebraMessageSize, "There were Algebra run-time errors:\r\n"));
    for (int bit = 0; bit < 9; ++bit) {
        if (!(ws->flags & (1u << bit))) continue;
        int n = std::snprintf(out + len, kAlgebraMessageSize - len, "    %s\r\n", kFlagMessages[bit]);
        if (n > 0) len += static_cast<size_t>(n);
    }
    return out;
}

}  // namespace tessel
