// The missing value: one quiet NaN for writing, any NaN counts as missing when reading.
#ifndef TESSEL_NUMERIC_MISSING_H
#define TESSEL_NUMERIC_MISSING_H

#include <bit>
#include <cstdint>
#include <limits>

namespace tessel {

inline constexpr double kMissing = std::numeric_limits<double>::quiet_NaN();
static_assert(std::bit_cast<uint64_t>(kMissing) == 0x7FF8000000000000ull, "missing value must be the default quiet NaN");

inline bool IsMissing(double x) { return x != x; }

}  // namespace tessel

#endif
