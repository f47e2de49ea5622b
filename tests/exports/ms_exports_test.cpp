// End-to-end calls of the Markov-switching exports through the stand-in runtime.
#include <gtest/gtest.h>

#include <cmath>

#include "host/exports.h"
#include "tests/support/host_values.h"
#include "tests/switching/ms_brute_force.h"
#include "velawin/velawin.h"

namespace {

using ExportFn = void (*)(VelaValue *, VelaValue *, int);
const ExportFn kSmoothers[] = {FnSmoothMS, FnSmoothMS2, FnSmoothMS2sym};

void ExpectHostNear(const VelaValue &v, const ms_test::Matrix &want) {
    ASSERT_EQ(v.type, VELA_MATRIX);
    ASSERT_EQ(v.ival * v.cols, int(want.data.size()));
    for (size_t k = 0; k < want.data.size(); ++k)
        EXPECT_NEAR(v.data.mat[0][k], want.data[k], 1e-11 * std::fabs(want.data[k]) + 1e-14) << k;
}

struct HostModel : ms_test::Model {  // the model's inputs as host values
    VelaValue eta, P, prior;
    HostModel(int T, int p, unsigned seed, bool symmetric = false)
        : Model(T, p, seed, symmetric), eta(VelawinMatrix(T, p, Model::eta.data.data())),
          P(VelawinMatrix(p, p, Model::P.data.data())), prior(VelawinMatrix(1, p, Model::prior.data())) {}
    ~HostModel() { for (VelaValue *v : {&eta, &P, &prior}) VelaFreeByValue(v); }
};

}  // namespace

TEST(FnFilterMS, FilterAndSmoothersMatchEnumerationOfEveryRegimePath) {
    const int shapes[][2] = {{3, 1}, {1, 2}, {5, 2}, {8, 2}, {1, 3}, {8, 3}, {6, 4}, {4, 5}};
    unsigned seed = 1;
    for (bool symmetric : {false, true})
        for (auto [T, p] : shapes) {
            SCOPED_TRACE(testing::Message() << "T=" << T << " p=" << p << " symmetric=" << symmetric);
            HostModel m(T, p, seed++, symmetric);
            VelaValue lik{}, filt{}, rtn{};
            VelaValue args[] = {m.eta, m.P, m.prior, VelawinRef(&lik), VelawinInt(7)};
            FnFilterMS(&rtn, args, 5);  // argument 4 is no reference: not filled, no error
            EXPECT_EQ(rtn.ival + filt.type, 1);
            const std::vector<double> lik_only = tessel::test::ToVector(lik);
            args[4] = VelawinRef(&filt);
            VelawinBeginCall("FnFilterMS");
            FnFilterMS(&rtn, args, 5);
            EXPECT_EQ(VelawinErrorCount(), 0) << VelawinLastError();
            for (int t = 0; t < T; ++t) EXPECT_NEAR(lik.data.mat[t][0], m.lik[t], 1e-12 * m.lik[t]);
            EXPECT_EQ(tessel::test::ToVector(lik), lik_only);
            ExpectHostNear(filt, m.filt);
            for (int k = 0; k < 3; ++k) {
                VelaValue smooth{}, S{}, r{};
                VelaValue sargs[] = {filt, m.P, VelawinRef(&smooth), VelawinRef(&S)};
                kSmoothers[k](&r, sargs, 4);
                EXPECT_EQ(r.ival, 1);
                for (int i = 0; k > 0 && i < p * p; ++i) S.data.mat[0][i] *= m.P.data.mat[0][i];  // S times P
                if (k < 2 || symmetric) {  // the symmetric form back-propagates through P transposed
                    ExpectHostNear(smooth, m.smooth);
                    ExpectHostNear(S, m.joint);
                }
                for (VelaValue *v : {&smooth, &S}) VelaFreeByValue(v);
            }
            VelaValue S{}, sargs[] = {filt, m.P, VelawinRef(&filt), VelawinRef(&S)};  // an output naming an input
            const long live = VelawinLiveBlocks();
            FnSmoothMS(&rtn, sargs, 4);
            ExpectHostNear(filt, m.smooth);
            EXPECT_EQ(VelawinLiveBlocks(), live + 1);
            for (VelaValue *v : {&lik, &filt, &S}) VelaFreeByValue(v);
        }
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
