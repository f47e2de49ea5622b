// Shared pieces of the generator implementation: the ziggurat tables and steps, the polar normal,
// and the group tables. Not for use outside numeric/.
#ifndef TESSEL_NUMERIC_RANDOM_INTERNAL_H
#define TESSEL_NUMERIC_RANDOM_INTERNAL_H

#include <cmath>
#include <cstdint>

#include "numeric/random.h"

namespace tessel {

inline constexpr int kZigLayers = 128;
inline constexpr double kZigR = 3.442619855899;
inline constexpr double kZigV = 9.91256303526217e-3;

// Layer i spans x in [0, zig_x[i]); zig_ratio[i] = zig_x[i + 1] / zig_x[i] is the part of it that
// lies wholly under the density. Layer 0 is the base strip including the tail.
struct ZigTables {
    double x[kZigLayers + 1];
    double ratio[kZigLayers];
};
extern ZigTables g_zig;
void ZigBuild();

// Fast path: accepts u * x[i] when it falls inside the layer's inner rectangle.
inline bool ZigTryLayer(double u, uint32_t i, double *out) {
    if (std::fabs(u) < g_zig.ratio[i]) {
        *out = u * g_zig.x[i];
        return true;
    }
    return false;
}

// Tail (layer 0) and wedge tests; uniform draws come from the given generator.
bool ZigSlowPath(double u, uint32_t i, RanState *s, double (*uniform)(RanState *), double *out);

// Polar (Marsaglia) normal on the group's uniform, keeping the second deviate as the spare.
double RanPolarNormal(RanState *s);

// Default seeds of every group, the lag table filled from seed 0.
void RanInitUniformState(RanState *s);
// Operation table of the named group (the 52-bit lag-256 group for unknown names).
const RanOps &RanGroupOps(const char *name);

}  // namespace tessel

#endif
