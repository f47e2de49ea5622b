// End-to-end calls of the Markov-switching exports through the stand-in runtime.
#include <gtest/gtest.h>

#include <cmath>

#include "host/exports.h"
#include "tests/switching/ms_brute_force.h"
#include "velawin/velawin.h"

using ms_test::Model;

namespace {

using ExportFn = void (*)(VelaValue *, VelaValue *, int);
const ExportFn kSmoothers[] = {FnSmoothMS, FnSmoothMS2, FnSmoothMS2sym};

VelaValue Host(const ms_test::Matrix &m) { return VelawinMatrix(m.rows, m.cols, m.data.data()); }

void ExpectHostNear(const VelaValue &v, const ms_test::Matrix &want) {
    ASSERT_EQ(v.type, VELA_MATRIX);
    ASSERT_EQ(v.ival * v.cols, int(want.data.size()));
    for (size_t k = 0; k < want.data.size(); ++k)
        EXPECT_NEAR(v.data.mat[0][k], want.data[k], 1e-11 * std::fabs(want.data[k]) + 1e-14) << k;
}

struct HostModel : Model {  // the model's inputs as host values
    VelaValue eta, P, prior;
    HostModel(int T, int p, unsigned seed)
        : Model(T, p, seed), eta(Host(Model::eta)), P(Host(Model::P)), prior(VelawinMatrix(1, p, Model::prior.data())) {}
    ~HostModel() {
        for (VelaValue *v : {&eta, &P, &prior}) VelaFreeByValue(v);
    }
};

}  // namespace

TEST(FnFilterMS, FilterAndSmoothersEndToEnd) {
    HostModel m(7, 3, 2024);
    VelaValue lik{}, filt{}, rtn{}, not_a_ref = VelawinInt(7);
    VelaValue args[] = {m.eta, m.P, m.prior, VelawinRef(&lik), not_a_ref};
    FnFilterMS(&rtn, args, 5);  // argument 4 is no reference: not filled, no error
    EXPECT_EQ(rtn.ival, 1);
    EXPECT_EQ(lik.ival, 7);
    args[4] = VelawinRef(&filt);
    VelawinBeginCall("FnFilterMS");
    FnFilterMS(&rtn, args, 5);
    EXPECT_EQ(VelawinErrorCount(), 0) << VelawinLastError();
    ExpectHostNear(filt, m.filt);
    for (int k = 0; k < 2; ++k) {
        VelaValue smooth{}, S{}, r{};
        VelaValue sargs[] = {filt, m.P, VelawinRef(&smooth), VelawinRef(&S)};
        kSmoothers[k](&r, sargs, 4);
        EXPECT_EQ(r.ival, 1);
        ExpectHostNear(smooth, m.smooth);
        if (k == 0) ExpectHostNear(S, m.joint);
        VelaFreeByValue(&smooth);
        VelaFreeByValue(&S);
    }
    // An output may name the input's own variable.
    const long live = VelawinLiveBlocks();
    VelaValue S{};
    VelaValue sargs[] = {filt, m.P, VelawinRef(&filt), VelawinRef(&S)};
    FnSmoothMS(&rtn, sargs, 4);
    ExpectHostNear(filt, m.smooth);
    EXPECT_EQ(VelawinLiveBlocks(), live + 1);
    for (VelaValue *v : {&lik, &filt, &S}) VelaFreeByValue(v);
}

TEST(FnFilterMS, BadArgumentsAreReportedBeforeAnythingIsAllocated) {
    HostModel m(4, 2, 8);
    VelaValue bad_P = VelawinMatrix(2, 3, nullptr), bad_prior = VelawinMatrix(2, 1, nullptr), one = VelawinInt(1);
    VelaValue a{}, b{};
    const VelaValue filter_cases[][5] = {{one, m.P, m.prior, VelawinRef(&a), VelawinRef(&b)},
                                         {m.eta, bad_P, m.prior, VelawinRef(&a), VelawinRef(&b)},
                                         {m.eta, m.P, bad_prior, VelawinRef(&a), VelawinRef(&b)},
                                         {m.eta, m.P, m.prior, one, VelawinRef(&b)}};
    const VelaValue smooth_cases[][4] = {{one, m.P, VelawinRef(&a), VelawinRef(&b)},
                                         {m.eta, bad_P, VelawinRef(&a), VelawinRef(&b)},
                                         {m.eta, m.P, VelawinRef(&a), one}};
    const long live = VelawinLiveBlocks();
    auto expect_rejected = [&](ExportFn f, const VelaValue *args, int cArg) {
        VelaValue rtn{};
        VelawinBeginCall("FnMS");
        f(&rtn, const_cast<VelaValue *>(args), cArg);
        EXPECT_GT(VelawinErrorCount(), 0);
        EXPECT_EQ(rtn.type + a.type + b.type, VELA_EMPTY);
        EXPECT_EQ(VelawinLiveBlocks(), live);
    };
    for (auto &args : filter_cases) expect_rejected(FnFilterMS, args, 5);
    expect_rejected(FnFilterMS, filter_cases[0] + 0, 3);
    for (ExportFn f : kSmoothers) {
        for (auto &args : smooth_cases) expect_rejected(f, args, 4);
        expect_rejected(f, smooth_cases[0], 3);
    }
    for (VelaValue *v : {&bad_P, &bad_prior}) VelaFreeByValue(v);
}

TEST(FnFilterMS, EmptySampleAndHostOutOfMemoryReturnNothing) {
    HostModel m(5, 2, 4);
    VelaValue empty = VelawinMatrix(0, 2, nullptr), a{}, b{};
    const long live = VelawinLiveBlocks();
    for (int fail_after : {-1, 0, 1}) {
        VelawinBeginCall("FnMS");
        for (ExportFn f : {FnFilterMS, FnSmoothMS, FnSmoothMS2, FnSmoothMS2sym}) {
            const bool filter = f == FnFilterMS;
            VelaValue rtn{}, first = fail_after < 0 ? empty : m.eta;
            VelaValue args[] = {first, m.P, filter ? m.prior : VelawinRef(&a), filter ? VelawinRef(&a) : VelawinRef(&b),
                                VelawinRef(&b)};
            if (fail_after >= 0) VelawinFailAllocations(fail_after, 1);
            f(&rtn, args, filter ? 5 : 4);
            VelawinFailAllocations(0, 0);
            EXPECT_EQ(rtn.type + a.type + b.type, VELA_EMPTY);
            EXPECT_EQ(VelawinLiveBlocks(), live);
        }
        EXPECT_EQ(VelawinErrorCount(), 0);
    }
    VelaFreeByValue(&empty);
}
