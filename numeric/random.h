// Uniform pseudo-random generators sharing one state record, selected by name, with normal draws
// on top of them and gamma, chi-squared, t and F draws built from a gamma draw.
//
// Generator groups (names matched exactly; empty, null or unknown names select "MWC_52"):
//   "PM", "LCG31"                  Park-Miller minimal standard (multiplier 48271), polar normals
//   "GM", "MWC60"                  two 16-bit multiply-with-carry, polar normals
//   "LE", "LFSR113"                L'Ecuyer LFSR113, polar normals
//   "MWC_32", "MWC8222", "MWC32"   lag-256 multiply-with-carry, 32-bit uniforms, ziggurat normals
//   "MWC_52"                       lag-256 multiply-with-carry, 52-bit uniforms, ziggurat normals
// Each group keeps its state in its own fields, so switching does not disturb the others.
#ifndef TESSEL_NUMERIC_RANDOM_H
#define TESSEL_NUMERIC_RANDOM_H

#include <cstdint>

#include "numeric/matrix.h"

namespace tessel {

struct RanState;

// The operations of one generator group.
struct RanOps {
    uint32_t (*integer)(RanState *s);
    double (*uniform)(RanState *s);
    double (*normal)(RanState *s);
    void (*fill_uniform)(RanState *s, MATRIX m, int r, int c);
    void (*fill_normal)(RanState *s, MATRIX m, int r, int c);
    void (*set_seed)(RanState *s, const uint32_t *seeds, int count);
    int (*get_seed)(RanState *s, uint32_t *dest, int count);  // returns the generator's seed word count
    void (*seed_key)(RanState *s, const uint32_t *key, int count, uint32_t index);
};

struct RanState {
    uint32_t pm_seed;                 // Park-Miller
    uint32_t gm_z, gm_w;              // two 16-bit multiply-with-carry
    uint32_t le_z1, le_z2, le_z3, le_z4;  // LFSR113
    uint32_t mwc_index, mwc_carry;    // lag-256 multiply-with-carry
    uint32_t mwc_lag[256];
    uint32_t normal_spare;            // set while the polar method holds a second deviate
    RanOps ops;
};

inline constexpr uint32_t kRanPmDefault = 198195252u;
inline constexpr int kRanLagSeedWords = 258;  // 256 lag words, then the index and the carry

// Every default seed, the lag table filled from seed 0, the spare cleared; builds the ziggurat.
void RanInit(RanState *state);
// Initialises the record when its Park-Miller seed is 0, clears the spare and installs the named
// group's operations.
void RanSelect(RanState *state, const char *name);
// The default generator with default seeds on the record in use.
void RanReset();

// Optional provider of the record to use; null (or a provider returning null) means the
// module-wide record. Returns the previous provider.
using RanStateProvider = RanState *(*)();
RanStateProvider RanSetStateProvider(RanStateProvider provider);
// The record the draws below use (initialised with the default generator on first use).
RanState *RanCurrent();
// Set by every draw and seeding call; cleared by RanClearUsed.
bool RanUsed();
void RanClearUsed();

uint32_t RanInteger();
double RanUniform();
double RanNormal();
void RanFillUniform(MATRIX m, int r, int c);
void RanFillNormal(MATRIX m, int r, int c);
// Clears the spare normal, then seeds the current generator from count words (count 0: defaults).
void RanSetSeed(const uint32_t *seeds, int count);
// Copies up to count seed words of the current generator; returns how many it has.
int RanGetSeed(uint32_t *dest, int count);
// Seeds the current generator from a key of count words and a stream index.
void RanSeedFromKey(const uint32_t *key, int count, uint32_t index);

// Standard gamma with shape a divided by the rate b; missing for a <= 0 or b <= 0.
double RanGamma(double a, double b);
double RanChi(double df);
double RanT(int df);
double RanF(double df1, double df2);

}  // namespace tessel

#endif
