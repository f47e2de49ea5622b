// The uniform generator groups: recurrences, seeding and their operation tables.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "numeric/random_internal.h"

namespace tessel {

namespace {

// ---- Park-Miller, multiplier 48271 modulo 2^31 - 1 -----------------------------------------

constexpr uint32_t kPmModulus = 2147483647u;

inline uint32_t PmStep(RanState *s) {
    // 2^31 = 1 modulo 2^31 - 1, so the high part of the product folds onto the low part.
    const uint64_t p = 48271ull * s->pm_seed;
    uint32_t x = static_cast<uint32_t>((p & kPmModulus) + (p >> 31));
    if (x >= kPmModulus) x -= kPmModulus;
    if (x < 1) x += kPmModulus;
    s->pm_seed = x;
    return x;
}

uint32_t PmInteger(RanState *s) { return PmStep(s); }
double PmUniform(RanState *s) { return PmStep(s) * 4.656612875245797e-10; }

void PmSetSeed(RanState *s, const uint32_t *seeds, int count) {
    if (count < 1 || !seeds || seeds[0] == 0) {
        s->pm_seed = kRanPmDefault;
        return;
    }
    int32_t v = static_cast<int32_t>(seeds[0]);
    if (v < 0) v += static_cast<int32_t>(kPmModulus);
    s->pm_seed = static_cast<uint32_t>(v);
}

int PmGetSeed(RanState *s, uint32_t *dest, int count) {
    if (dest && count >= 1) dest[0] = s->pm_seed;
    return 1;
}

void PmSeedKey(RanState *s, const uint32_t *key, int count, uint32_t index) {
    const uint32_t word = (key && count > 0 ? key[0] : kRanPmDefault) + index;
    PmSetSeed(s, &word, 1);
}

// ---- Two 16-bit multiply-with-carry ---------------------------------------------------------

constexpr uint32_t kGmZ = 362436069u, kGmW = 521288629u;

inline uint32_t GmStep(RanState *s) {
    s->gm_z = 36969u * (s->gm_z & 0xFFFFu) + (s->gm_z >> 16);
    s->gm_w = 18000u * (s->gm_w & 0xFFFFu) + (s->gm_w >> 16);
    return (s->gm_z << 16) + (s->gm_w & 0xFFFFu);
}

uint32_t GmInteger(RanState *s) { return GmStep(s); }
double GmUniform(RanState *s) { return GmStep(s) * 2.32830643708e-10; }

void GmSetSeed(RanState *s, const uint32_t *seeds, int count) {
    if (count < 1 || !seeds || seeds[0] == 0) {
        s->gm_z = kGmZ;
        s->gm_w = kGmW;
    } else if (count == 1) {
        s->gm_z = s->gm_w = seeds[0];
    } else {
        s->gm_z = seeds[0];
        s->gm_w = seeds[1];
    }
}

int GmGetSeed(RanState *s, uint32_t *dest, int count) {
    if (dest && count >= 1) dest[0] = s->gm_z;
    if (dest && count >= 2) dest[1] = s->gm_w;
    return 2;
}

void GmSeedKey(RanState *s, const uint32_t *key, int count, uint32_t index) {
    uint32_t words[2] = {key && count > 0 ? key[0] : kGmZ, key && count > 1 ? key[1] : kGmW};
    words[0] += index;
    words[1] ^= index * 2654435769u;  // spread neighbouring streams apart
    GmSetSeed(s, words, 2);
}

// ---- L'Ecuyer LFSR113 -----------------------------------------------------------------------

constexpr uint32_t kLe[4] = {112u, 1118u, 11126u, 111238u};

inline uint32_t LeStep(RanState *s) {
    uint32_t b;
    b = ((s->le_z1 << 6) ^ s->le_z1) >> 13;
    s->le_z1 = ((s->le_z1 & ~1u) << 18) ^ b;
    b = ((s->le_z2 << 2) ^ s->le_z2) >> 27;
    s->le_z2 = ((s->le_z2 & ~7u) << 2) ^ b;
    b = ((s->le_z3 << 13) ^ s->le_z3) >> 21;
    s->le_z3 = ((s->le_z3 & ~15u) << 7) ^ b;
    b = ((s->le_z4 << 3) ^ s->le_z4) >> 12;
    s->le_z4 = ((s->le_z4 & ~127u) << 13) ^ b;
    return s->le_z1 ^ s->le_z2 ^ s->le_z3 ^ s->le_z4;
}

uint32_t LeInteger(RanState *s) { return LeStep(s); }
double LeUniform(RanState *s) { return LeStep(s) * 2.3283064365387e-10; }

// Each component needs enough set high bits to leave the all-zero state.
void LeStore(RanState *s, uint32_t z1, uint32_t z2, uint32_t z3, uint32_t z4) {
    s->le_z1 = z1 < 2u ? z1 + 111u : z1;
    s->le_z2 = z2 < 8u ? z2 + 1111u : z2;
    s->le_z3 = z3 < 16u ? z3 + 11111u : z3;
    s->le_z4 = z4 < 128u ? z4 + 111111u : z4;
}

void LeSetSeed(RanState *s, const uint32_t *seeds, int count) {
    if (count < 1 || !seeds || seeds[0] == 0) {
        LeStore(s, kLe[0], kLe[1], kLe[2], kLe[3]);
    } else if (count == 1) {
        const uint32_t v = std::max(seeds[0], 127u);
        s->le_z1 = s->le_z2 = s->le_z3 = s->le_z4 = v;
    } else if (count == 4) {
        LeStore(s, seeds[0], seeds[1], seeds[2], seeds[3]);
    }
}

int LeGetSeed(RanState *s, uint32_t *dest, int count) {
    const uint32_t z[4] = {s->le_z1, s->le_z2, s->le_z3, s->le_z4};
    for (int i = 0; dest && i < count && i < 4; ++i) dest[i] = z[i];
    return 4;
}

void LeSeedKey(RanState *s, const uint32_t *key, int count, uint32_t index) {
    uint32_t base[4];
    for (int i = 0; i < 4; ++i) base[i] = key && count > i ? key[i] : kLe[i];
    if (static_cast<uint64_t>(base[0]) + index >= 0xFFFFFFFFull) {
        LeStore(s, kLe[0], kLe[1], kLe[2], kLe[3]);
        return;
    }
    const uint32_t j1 = index + 1u;
    LeStore(s, base[0] + j1, base[1] * j1, base[2] + j1, base[3] * j1);
}

// ---- Lag-256 multiply-with-carry --------------------------------------------------------------

constexpr uint32_t kMwcCarry = 362436u;

inline uint32_t MwcStep(RanState *s) {
    const uint32_t i = (s->mwc_index + 1u) & 255u;
    s->mwc_index = i;
    const uint64_t t = 809430660ull * s->mwc_lag[i] + s->mwc_carry;
    s->mwc_lag[i] = static_cast<uint32_t>(t);
    s->mwc_carry = static_cast<uint32_t>(t >> 32);
    return static_cast<uint32_t>(t);
}

// Two steps with the index and carry held in registers (a store into the lag table could
// otherwise alias them and force reloads).
inline void MwcTwoSteps(RanState *s, uint32_t *a, uint32_t *b) {
    uint32_t i = (s->mwc_index + 1u) & 255u;
    uint64_t t = 809430660ull * s->mwc_lag[i] + s->mwc_carry;
    s->mwc_lag[i] = *a = static_cast<uint32_t>(t);
    i = (i + 1u) & 255u;
    t = 809430660ull * s->mwc_lag[i] + (t >> 32);
    s->mwc_lag[i] = *b = static_cast<uint32_t>(t);
    s->mwc_index = i;
    s->mwc_carry = static_cast<uint32_t>(t >> 32);
}

constexpr double kTwoM32 = 1.0 / 4294967296.0;
constexpr double kTwoM52 = kTwoM32 / 1048576.0;
constexpr double kHalfM33 = 0.5 + kTwoM32 / 2.0;
constexpr double kHalfM53 = 0.5 + kTwoM52 / 2.0;

inline double Mwc32FromWord(uint32_t a) { return static_cast<int32_t>(a) * kTwoM32 + kHalfM33; }
inline double Mwc52FromWords(uint32_t a, uint32_t b) {
    return static_cast<int32_t>(a) * kTwoM32 + kHalfM53 + static_cast<int32_t>(b & 0xFFFFFu) * kTwoM52;
}

uint32_t MwcInteger(RanState *s) { return MwcStep(s); }
double Mwc32Uniform(RanState *s) { return Mwc32FromWord(MwcStep(s)); }
double Mwc52Uniform(RanState *s) {
    uint32_t a, b;
    MwcTwoSteps(s, &a, &b);
    return Mwc52FromWords(a, b);
}

// Ziggurat normals. The 52-bit draw leaves bits 20..26 of its second word unused; they pick the
// layer, so each normal costs two steps of the recurrence instead of three. The rare slow path
// (wedges, tail, rejection) sits out of line so the common path needs no stack frame.
inline void Mwc52Signed(RanState *s, double *u, uint32_t *layer) {
    uint32_t a, b;
    MwcTwoSteps(s, &a, &b);
    // 2 U - 1 for the 52-bit uniform U of these words, built exactly from one 52-bit integer.
    const int64_t v = static_cast<int64_t>(static_cast<int32_t>(a)) * 1048576 + (b & 0xFFFFFu);
    *u = static_cast<double>(v) * (2.0 * kTwoM52) + kTwoM52;
    *layer = (b >> 20) & 127u;
}

inline void Mwc32Signed(RanState *s, double *u, uint32_t *layer) {
    uint32_t a, b;
    MwcTwoSteps(s, &a, &b);
    *u = 2.0 * Mwc32FromWord(a) - 1.0;
    *layer = b & 127u;
}

#if defined(_MSC_VER)
#define TESSEL_NOINLINE __declspec(noinline)
#else
#define TESSEL_NOINLINE __attribute__((noinline))
#endif

template <void (*Signed)(RanState *, double *, uint32_t *), double (*Uniform)(RanState *)>
TESSEL_NOINLINE double ZigSlow(RanState *s, double u, uint32_t layer) {
    for (;;) {
        double x;
        if (ZigSlowPath(u, layer, s, Uniform, &x)) return x;
        Signed(s, &u, &layer);
        if (ZigTryLayer(u, layer, &x)) return x;
    }
}

double Mwc52Normal(RanState *s) {
    double u, x;
    uint32_t layer;
    Mwc52Signed(s, &u, &layer);
    if (ZigTryLayer(u, layer, &x)) return x;
    return ZigSlow<Mwc52Signed, Mwc52Uniform>(s, u, layer);
}

double Mwc32Normal(RanState *s) {
    double u, x;
    uint32_t layer;
    Mwc32Signed(s, &u, &layer);
    if (ZigTryLayer(u, layer, &x)) return x;
    return ZigSlow<Mwc32Signed, Mwc32Uniform>(s, u, layer);
}

// Fills the lag table from the linear congruential recurrence, skipping zero words; key words,
// when given, are mixed in from position 264 downwards.
void MwcFillFrom(RanState *s, uint32_t x, const uint32_t *key, int count) {
    s->mwc_index = 255u;
    s->mwc_carry = kMwcCarry;
    int stored = 0;
    int pos = 264;
    while (stored < 256) {
        x = 1664525u * x + 1013904223u;
        uint32_t v = x;
        if (key) {
            if (pos >= 0 && pos < count) v ^= key[pos];
            --pos;
        }
        if (v != 0) s->mwc_lag[stored++] = v;
    }
}

void MwcSetSeed(RanState *s, const uint32_t *seeds, int count) {
    if (!seeds || count < 2) {
        MwcFillFrom(s, seeds && count == 1 ? seeds[0] : 0u, nullptr, 0);
        return;
    }
    s->mwc_index = 255u;
    s->mwc_carry = kMwcCarry;
    std::memcpy(s->mwc_lag, seeds, sizeof(uint32_t) * std::min(count, 256));
    if (count >= kRanLagSeedWords) {
        s->mwc_index = seeds[256] & 255u;
        s->mwc_carry = seeds[257];
    }
}

int MwcGetSeed(RanState *s, uint32_t *dest, int count) {
    if (dest && count > 0) {
        std::memcpy(dest, s->mwc_lag, sizeof(uint32_t) * std::min(count, 256));
        if (count >= kRanLagSeedWords) {
            dest[256] = s->mwc_index;
            dest[257] = s->mwc_carry;
        }
    }
    return kRanLagSeedWords;
}

void MwcSeedKey(RanState *s, const uint32_t *key, int count, uint32_t index) {
    MwcFillFrom(s, index, key, key ? count : 0);
}

// ---- Matrix fills: the same sequence as repeated single draws, row by row ----------------------

template <double (*Draw)(RanState *)>
void Fill(RanState *s, MATRIX m, int r, int c) {
    if (!m) return;
    for (int i = 0; i < r; ++i) {
        double *row = m[i];
        for (int j = 0; j < c; ++j) row[j] = Draw(s);
    }
}

constexpr RanOps kPmOps = {PmInteger,         PmUniform, RanPolarNormal, Fill<PmUniform>, Fill<RanPolarNormal>,
                           PmSetSeed,         PmGetSeed, PmSeedKey};
constexpr RanOps kGmOps = {GmInteger,         GmUniform, RanPolarNormal, Fill<GmUniform>, Fill<RanPolarNormal>,
                           GmSetSeed,         GmGetSeed, GmSeedKey};
constexpr RanOps kLeOps = {LeInteger,         LeUniform, RanPolarNormal, Fill<LeUniform>, Fill<RanPolarNormal>,
                           LeSetSeed,         LeGetSeed, LeSeedKey};
constexpr RanOps kMwc32Ops = {MwcInteger, Mwc32Uniform, Mwc32Normal, Fill<Mwc32Uniform>, Fill<Mwc32Normal>,
                              MwcSetSeed, MwcGetSeed,   MwcSeedKey};
constexpr RanOps kMwc52Ops = {MwcInteger, Mwc52Uniform, Mwc52Normal, Fill<Mwc52Uniform>, Fill<Mwc52Normal>,
                              MwcSetSeed, MwcGetSeed,   MwcSeedKey};

}  // namespace

void RanInitUniformState(RanState *s) {
    s->pm_seed = kRanPmDefault;
    s->gm_z = kGmZ;
    s->gm_w = kGmW;
    s->le_z1 = kLe[0];
    s->le_z2 = kLe[1];
    s->le_z3 = kLe[2];
    s->le_z4 = kLe[3];
    MwcFillFrom(s, 0u, nullptr, 0);
}

const RanOps &RanGroupOps(const char *name) {
    auto is = [name](const char *candidate) { return std::strcmp(name, candidate) == 0; };
    if (!name || !*name) return kMwc52Ops;
    if (is("PM") || is("LCG31")) return kPmOps;
    if (is("GM") || is("MWC60")) return kGmOps;
    if (is("LE") || is("LFSR113")) return kLeOps;
    if (is("MWC_32") || is("MWC8222") || is("MWC32")) return kMwc32Ops;
    return kMwc52Ops;
}

}  // namespace tessel
