// End-to-end calls of the Markov-switching exports through the stand-in runtime.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "host/exports.h"
#include "tests/switching/ms_brute_force.h"
#include "velawin/velawin.h"

using ms_test::Model;

namespace {

VelaValue HostMatrix(const ms_test::Matrix &m) { return VelawinMatrix(m.rows, m.cols, m.data.data()); }

void ExpectHostMatrixNear(const VelaValue &v, const ms_test::Matrix &want, double tol) {
    ASSERT_EQ(v.type, VELA_MATRIX);
    ASSERT_EQ(v.ival, want.rows);
    ASSERT_EQ(v.cols, want.cols);
    for (int i = 0; i < want.rows; ++i)
        for (int j = 0; j < want.cols; ++j)
            EXPECT_NEAR(v.data.mat[i][j], want[i][j], tol * std::fabs(want[i][j]) + 1e-14) << i << "," << j;
}

// The inputs of one model as host values, released at the end of the test.
struct HostModel {
    VelaValue eta, P, prior;
    explicit HostModel(const Model &m)
        : eta(HostMatrix(m.eta)), P(HostMatrix(m.P)), prior(VelawinMatrix(1, m.P.cols, m.prior.data())) {}
    ~HostModel() {
        VelaFreeByValue(&eta);
        VelaFreeByValue(&P);
        VelaFreeByValue(&prior);
    }
};

using ExportFn = void (*)(VelaValue *, VelaValue *, int);
const ExportFn kSmoothers[] = {FnSmoothMS, FnSmoothMS2, FnSmoothMS2sym};
const char *const kSmootherNames[] = {"FnSmoothMS", "FnSmoothMS2", "FnSmoothMS2sym"};

}  // namespace

TEST(FnFilterMS, FilterThenSmoothersMatchEnumeration) {
    Model m(8, 3, 2024);
    auto ref = ms_test::BruteForce(m);
    HostModel h(m);
    VelaValue lik{}, filt{}, rtn{};
    VelaValue args[] = {h.eta, h.P, h.prior, VelawinRef(&lik), VelawinRef(&filt)};
    VelawinBeginCall("FnFilterMS");
    FnFilterMS(&rtn, args, 5);
    EXPECT_EQ(VelawinErrorCount(), 0) << VelawinLastError();
    EXPECT_EQ(rtn.type, VELA_INT);
    EXPECT_EQ(rtn.ival, 1);
    ms_test::Matrix want_lik(8, 1);
    for (int t = 0; t < 8; ++t) want_lik[t][0] = ref.lik[t];
    ExpectHostMatrixNear(lik, want_lik, 1e-12);
    ExpectHostMatrixNear(filt, ref.filt, 1e-12);

    for (int k = 0; k < 3; ++k) {
        VelaValue smooth{}, S{}, r{};
        VelaValue sargs[] = {filt, h.P, VelawinRef(&smooth), VelawinRef(&S)};
        VelawinBeginCall(kSmootherNames[k]);
        kSmoothers[k](&r, sargs, 4);
        EXPECT_EQ(r.ival, 1) << kSmootherNames[k];
        if (k < 2) ExpectHostMatrixNear(smooth, ref.smooth, 1e-11);  // P is asymmetric
        if (k == 0) ExpectHostMatrixNear(S, ref.joint, 1e-11);
        if (k == 1) {
            for (int i = 0; i < 3; ++i)
                for (int j = 0; j < 3; ++j) EXPECT_NEAR(S.data.mat[i][j] * m.P[i][j], ref.joint[i][j], 1e-11);
        }
        if (k == 2) {
            EXPECT_GT(std::fabs(smooth.data.mat[0][0] - ref.smooth[0][0]), 1e-6);
        }
        VelaFreeByValue(&smooth);
        VelaFreeByValue(&S);
    }
    VelaFreeByValue(&lik);
    VelaFreeByValue(&filt);
}

TEST(FnFilterMS, SymmetricTransitionsGiveTheSameSecondAndSymmetricSmoother) {
    Model m(7, 2, 99, /*symmetric=*/true);
    auto ref = ms_test::BruteForce(m);
    VelaValue filt = HostMatrix(ref.filt), P = HostMatrix(m.P);
    VelaValue out[2][2] = {};
    for (int k = 0; k < 2; ++k) {
        VelaValue r{};
        VelaValue args[] = {filt, P, VelawinRef(&out[k][0]), VelawinRef(&out[k][1])};
        (k == 0 ? FnSmoothMS2 : FnSmoothMS2sym)(&r, args, 4);
        ExpectHostMatrixNear(out[k][0], ref.smooth, 1e-11);
    }
    for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 2; ++j) EXPECT_NEAR(out[0][1].data.mat[i][j], out[1][1].data.mat[i][j], 1e-13);
    for (auto &pair : out)
        for (auto &v : pair) VelaFreeByValue(&v);
    VelaFreeByValue(&filt);
    VelaFreeByValue(&P);
}

TEST(FnFilterMS, FilteredOutputOnlyWhenPassedByReference) {
    Model m(5, 2, 3);
    HostModel h(m);
    VelaValue lik{}, rtn{};
    VelaValue args[] = {h.eta, h.P, h.prior, VelawinRef(&lik), VelawinInt(7)};
    for (int cArg : {4, 5}) {
        VelawinBeginCall("FnFilterMS");
        FnFilterMS(&rtn, args, cArg);
        EXPECT_EQ(VelawinErrorCount(), 0);
        EXPECT_EQ(rtn.ival, 1);
        EXPECT_EQ(lik.ival, 5);
        EXPECT_EQ(args[4].type, VELA_INT);
        EXPECT_EQ(args[4].ival, 7);
    }
    VelaFreeByValue(&lik);
}

TEST(FnFilterMS, BadArgumentsAreReportedBeforeAnythingIsAllocated) {
    Model m(4, 2, 8);
    HostModel h(m);
    VelaValue wrong_P = VelawinMatrix(2, 3, nullptr), wrong_prior = VelawinMatrix(2, 1, nullptr);
    VelaValue lik{}, filt{}, one = VelawinInt(1);
    struct Case {
        VelaValue args[5];
        int cArg;
    } cases[] = {
        {{one, h.P, h.prior, VelawinRef(&lik), VelawinRef(&filt)}, 5},
        {{h.eta, wrong_P, h.prior, VelawinRef(&lik), VelawinRef(&filt)}, 5},
        {{h.eta, h.P, wrong_prior, VelawinRef(&lik), VelawinRef(&filt)}, 5},
        {{h.eta, h.P, h.prior, h.eta, VelawinRef(&filt)}, 5},
        {{h.eta, h.P, h.prior, VelawinRef(nullptr), VelawinRef(&filt)}, 5},
        {{h.eta, h.P, h.prior, VelawinRef(&lik), VelawinRef(&filt)}, 3},
    };
    const long live = VelawinLiveBlocks();
    for (auto &c : cases) {
        VelaValue rtn{};
        VelawinBeginCall("FnFilterMS");
        FnFilterMS(&rtn, c.args, c.cArg);
        EXPECT_GT(VelawinErrorCount(), 0);
        EXPECT_EQ(rtn.type, VELA_EMPTY);
        EXPECT_EQ(lik.type, VELA_EMPTY);
        EXPECT_EQ(filt.type, VELA_EMPTY);
        EXPECT_EQ(VelawinLiveBlocks(), live);
    }
    VelaFreeByValue(&wrong_P);
    VelaFreeByValue(&wrong_prior);
}

TEST(FnSmoothMS, BadArgumentsAreReportedBeforeAnythingIsAllocated) {
    Model m(4, 2, 8);
    VelaValue filt = HostMatrix(m.eta), P = HostMatrix(m.P), wrong_P = VelawinMatrix(3, 3, nullptr);
    VelaValue smooth{}, S{}, x = VelawinDouble(0.5);
    struct Case {
        VelaValue args[4];
        int cArg;
    } cases[] = {
        {{x, P, VelawinRef(&smooth), VelawinRef(&S)}, 4},
        {{filt, x, VelawinRef(&smooth), VelawinRef(&S)}, 4},
        {{filt, wrong_P, VelawinRef(&smooth), VelawinRef(&S)}, 4},
        {{filt, P, filt, VelawinRef(&S)}, 4},
        {{filt, P, VelawinRef(&smooth), x}, 4},
        {{filt, P, VelawinRef(&smooth), VelawinRef(&S)}, 3},
    };
    const long live = VelawinLiveBlocks();
    for (int k = 0; k < 3; ++k) {
        for (auto &c : cases) {
            VelaValue rtn{};
            VelawinBeginCall(kSmootherNames[k]);
            kSmoothers[k](&rtn, c.args, c.cArg);
            EXPECT_GT(VelawinErrorCount(), 0) << kSmootherNames[k];
            EXPECT_EQ(rtn.type, VELA_EMPTY);
            EXPECT_EQ(smooth.type, VELA_EMPTY);
            EXPECT_EQ(S.type, VELA_EMPTY);
            EXPECT_EQ(VelawinLiveBlocks(), live);
        }
    }
    VelaFreeByValue(&filt);
    VelaFreeByValue(&P);
    VelaFreeByValue(&wrong_P);
}

TEST(FnSmoothMS, DegenerateSamples) {
    // One observation: the filtered row is copied and S stays zero.
    const double row[3] = {0.2, 0.3, 0.5};
    VelaValue filt = VelawinMatrix(1, 3, row), P = VelawinMatrix(3, 3, nullptr);
    for (int i = 0; i < 3; ++i) P.data.mat[i][i] = 1.0;
    for (int k = 0; k < 3; ++k) {
        VelaValue smooth{}, S{}, rtn{};
        VelaValue args[] = {filt, P, VelawinRef(&smooth), VelawinRef(&S)};
        kSmoothers[k](&rtn, args, 4);
        EXPECT_EQ(rtn.ival, 1);
        for (int j = 0; j < 3; ++j) EXPECT_EQ(smooth.data.mat[0][j], row[j]);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) EXPECT_EQ(S.data.mat[i][j], 0.0);
        VelaFreeByValue(&smooth);
        VelaFreeByValue(&S);
    }
    // No observations: the outputs have no data, so nothing is run and no value is returned.
    VelaValue empty = VelawinMatrix(0, 3, nullptr), prior = VelawinMatrix(1, 3, row);
    const long live = VelawinLiveBlocks();
    for (int k = 0; k < 4; ++k) {
        VelaValue a{}, b{}, rtn{};
        VelawinBeginCall("FnSmoothMS");
        if (k < 3) {
            VelaValue args[] = {empty, P, VelawinRef(&a), VelawinRef(&b)};
            kSmoothers[k](&rtn, args, 4);
        } else {
            VelaValue args[] = {empty, P, prior, VelawinRef(&a), VelawinRef(&b)};
            FnFilterMS(&rtn, args, 5);
        }
        EXPECT_EQ(rtn.type, VELA_EMPTY);
        EXPECT_EQ(VelawinLiveBlocks(), live);
    }
    VelaFreeByValue(&empty);
    VelaFreeByValue(&prior);
    VelaFreeByValue(&filt);
    VelaFreeByValue(&P);
}

TEST(FnSmoothMS, OutputMayReplaceTheInputVariable) {
    Model m(6, 2, 17);
    auto ref = ms_test::BruteForce(m);
    VelaValue var = HostMatrix(ref.filt), P = HostMatrix(m.P), S{}, rtn{};
    VelaValue args[] = {var, P, VelawinRef(&var), VelawinRef(&S)};
    const long live = VelawinLiveBlocks();
    FnSmoothMS(&rtn, args, 4);
    EXPECT_EQ(rtn.ival, 1);
    ExpectHostMatrixNear(var, ref.smooth, 1e-11);
    EXPECT_EQ(VelawinLiveBlocks(), live + 1);  // the old filtered matrix released, S added
    VelaFreeByValue(&var);
    VelaFreeByValue(&P);
    VelaFreeByValue(&S);
}

TEST(FnFilterMS, HostOutOfMemoryLeavesNoResultAndNoLeak) {
    Model m(5, 2, 4);
    HostModel h(m);
    const long live = VelawinLiveBlocks();
    for (int after = 0; after < 2; ++after) {
        VelaValue lik{}, filt{}, rtn{};
        VelaValue args[] = {h.eta, h.P, h.prior, VelawinRef(&lik), VelawinRef(&filt)};
        VelawinFailAllocations(after, 1);
        FnFilterMS(&rtn, args, 5);
        VelawinFailAllocations(0, 0);
        EXPECT_EQ(rtn.type, VELA_EMPTY);
        EXPECT_EQ(lik.type, VELA_EMPTY);
        EXPECT_EQ(VelawinLiveBlocks(), live);

        VelaValue smooth{}, S{};
        VelaValue sargs[] = {h.eta, h.P, VelawinRef(&smooth), VelawinRef(&S)};
        VelawinFailAllocations(after, 1);
        FnSmoothMS(&rtn, sargs, 4);
        VelawinFailAllocations(0, 0);
        EXPECT_EQ(rtn.type, VELA_EMPTY);
        EXPECT_EQ(VelawinLiveBlocks(), live);
    }
}
