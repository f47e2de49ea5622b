// The process-wide generator record, selection and seeding, normal draws and the gamma family.
#include "numeric/random.h"

#include <cmath>

#include "numeric/missing.h"
#include "numeric/random_internal.h"

namespace tessel {

ZigTables g_zig;

namespace {

RanState g_state{};
double g_spare = 0.0;  // second deviate of the polar method; its flag lives in the record
RanStateProvider g_provider = nullptr;
bool g_used = false;
bool g_zig_built = false;

inline RanState *Active() {
    RanState *s = g_provider ? g_provider() : nullptr;
    if (!s) s = &g_state;
    if (!s->ops.uniform) RanSelect(s, "MWC_52");
    g_used = true;
    return s;
}

inline double Uniform(RanState *s) { return s->ops.uniform(s); }

}  // namespace

void ZigBuild() {
    double f = std::exp(-0.5 * kZigR * kZigR);
    g_zig.x[0] = kZigV / f;
    g_zig.x[1] = kZigR;
    g_zig.x[kZigLayers] = 0.0;
    for (int i = 2; i < kZigLayers; ++i) {
        // Equal areas: x[i-1] (f(x[i]) - f(x[i-1])) = v.
        g_zig.x[i] = std::sqrt(-2.0 * std::log(kZigV / g_zig.x[i - 1] + f));
        f = std::exp(-0.5 * g_zig.x[i] * g_zig.x[i]);
    }
    for (int i = 0; i < kZigLayers; ++i) g_zig.ratio[i] = g_zig.x[i + 1] / g_zig.x[i];
    g_zig_built = true;
}

bool ZigSlowPath(double u, uint32_t i, RanState *s, double (*uniform)(RanState *), double *out) {
    if (i == 0) {
        // Tail beyond r (Marsaglia): exponential proposals accepted against the normal.
        double x, y;
        do {
            x = std::log(uniform(s)) / kZigR;
            y = std::log(uniform(s));
        } while (-2.0 * y < x * x);
        *out = u < 0.0 ? x - kZigR : kZigR - x;
        return true;
    }
    const double x = u * g_zig.x[i];
    const double f0 = std::exp(-0.5 * (g_zig.x[i] * g_zig.x[i] - x * x));
    const double f1 = std::exp(-0.5 * (g_zig.x[i + 1] * g_zig.x[i + 1] - x * x));
    if (f1 + uniform(s) * (f0 - f1) < 1.0) {
        *out = x;
        return true;
    }
    return false;
}

double RanPolarNormal(RanState *s) {
    if (s->normal_spare) {
        s->normal_spare = 0;
        return g_spare;
    }
    double u1, u2, q;
    do {
        u1 = 2.0 * Uniform(s) - 1.0;
        u2 = 2.0 * Uniform(s) - 1.0;
        q = u2 * u2 + u1 * u1;
    } while (q >= 1.0 || q == 0.0);
    const double f = std::sqrt(-2.0 * std::log(q) / q);
    g_spare = u2 * f;
    s->normal_spare = 1;
    return u1 * f;
}

void RanInit(RanState *state) {
    if (!state) return;
    RanInitUniformState(state);
    state->normal_spare = 0;
    ZigBuild();
}

void RanSelect(RanState *state, const char *name) {
    if (!state) return;
    if (state->pm_seed == 0) RanInit(state);
    if (!g_zig_built) ZigBuild();
    state->normal_spare = 0;
    state->ops = RanGroupOps(name);
}

void RanReset() {
    RanState *s = g_provider ? g_provider() : nullptr;
    if (!s) s = &g_state;
    RanSelect(s, "MWC_52");
    RanInit(s);
}

RanStateProvider RanSetStateProvider(RanStateProvider provider) {
    RanStateProvider old = g_provider;
    g_provider = provider;
    return old;
}

RanState *RanCurrent() { return Active(); }
bool RanUsed() { return g_used; }
void RanClearUsed() { g_used = false; }

uint32_t RanInteger() {
    RanState *s = Active();
    return s->ops.integer(s);
}

double RanUniform() {
    RanState *s = Active();
    return s->ops.uniform(s);
}

double RanNormal() {
    RanState *s = Active();
    return s->ops.normal(s);
}

void RanFillUniform(MATRIX m, int r, int c) {
    RanState *s = Active();
    s->ops.fill_uniform(s, m, r, c);
}

void RanFillNormal(MATRIX m, int r, int c) {
    RanState *s = Active();
    s->ops.fill_normal(s, m, r, c);
}

void RanSetSeed(const uint32_t *seeds, int count) {
    RanState *s = Active();
    s->normal_spare = 0;
    s->ops.set_seed(s, seeds, seeds ? count : 0);
}

int RanGetSeed(uint32_t *dest, int count) {
    RanState *s = Active();
    return s->ops.get_seed(s, dest, dest ? count : 0);
}

void RanSeedFromKey(const uint32_t *key, int count, uint32_t index) {
    RanState *s = Active();
    s->normal_spare = 0;
    s->ops.seed_key(s, key, key ? count : 0, index);
}

namespace {

// Standard gamma with shape a on the generator of s.
double StandardGamma(RanState *s, double a) {
    if (a == 1.0) return -std::log(Uniform(s));
    if (a > 1.0) {
        // Cheng and Feast's ratio-of-uniforms method, with the squeeze for larger shapes.
        const double c1 = a - 1.0;
        const double c2 = (a - 1.0 / (6.0 * a)) / c1;
        const double c3 = 2.0 / c1;
        const double c4 = c3 + 2.0;
        const double c5 = 1.0 / std::sqrt(a);
        for (;;) {
            double u1 = Uniform(s);
            const double u2 = Uniform(s);
            if (a > 2.5) {
                u1 = u2 + c5 * (1.0 - 1.86 * u1);
                if (!(u1 > 0.0 && u1 < 1.0)) continue;
            }
            const double w = c2 * u2 / u1;
            if (c3 * u1 + w + 1.0 / w < c4) return c1 * w;
            if (c3 * std::log(u1) - std::log(w) + w < 1.0) return c1 * w;
        }
    }
    // Ahrens and Dieter's method for shapes below 1.
    const double e = 2.718281828459045;
    const double c = (a + e) / e;
    for (;;) {
        const double p = c * Uniform(s);
        const double u2 = Uniform(s);
        if (p <= 1.0) {
            const double x = std::pow(p, 1.0 / a);
            if (-std::log(u2) >= x) return x;
        } else {
            const double x = -std::log((c - p) / a);
            if (u2 <= std::pow(x, a - 1.0)) return x;
        }
    }
}

}  // namespace

double RanGamma(double a, double b) {
    if (!(a > 0.0) || !(b > 0.0)) return kMissing;
    RanState *s = Active();
    return StandardGamma(s, a) / b;
}

double RanChi(double df) {
    if (!(df > 0.0)) return kMissing;
    return RanGamma(0.5 * df, 0.5);
}

double RanT(int df) {
    if (df <= 0) return kMissing;
    const double z = RanNormal();
    const double c = RanGamma(0.5 * df, 0.5);
    return z * std::sqrt(df / c);
}

double RanF(double df1, double df2) {
    if (!(df1 > 0.0) || !(df2 > 0.0)) return kMissing;
    const double a = RanGamma(0.5 * df1, 0.5);
    const double b = RanGamma(0.5 * df2, 0.5);
    return (a * df2) / (b * df1);
}

}  // namespace tessel
