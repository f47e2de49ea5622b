// The built module as a host sees it: its dynamic symbol table lists exactly the 32 exports, and a
// host that loads it by file name can find and call them.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <set>
#include <string>

#include "host/export_names.h"
#include "velawin/velawin.h"

namespace {

std::string RunCommand(const std::string &cmd) {
    std::string out;
    FILE *pipe = popen(cmd.c_str(), "r");
    if (!pipe) return out;
    std::array<char, 512> buf;
    while (fgets(buf.data(), buf.size(), pipe)) out += buf.data();
    pclose(pipe);
    return out;
}

TEST(ModuleSymbols, DynamicSymbolTableListsExactlyTheExports) {
    std::string listing = RunCommand(std::string("nm -D --defined-only ") + TESSEL_MODULE_PATH);
    ASSERT_FALSE(listing.empty()) << "nm produced nothing";
    std::set<std::string> defined;
    size_t pos = 0;
    while (pos < listing.size()) {
        size_t end = listing.find('\n', pos);
        std::string line = listing.substr(pos, end - pos);
        pos = end == std::string::npos ? listing.size() : end + 1;
        size_t space = line.rfind(' ');
        if (space != std::string::npos) defined.insert(line.substr(space + 1));
    }
    std::set<std::string> expected(std::begin(tessel::host::kExportNames), std::end(tessel::host::kExportNames));
    EXPECT_EQ(expected.size(), 32u);
    EXPECT_EQ(defined, expected);
}

TEST(ModuleSymbols, LoadedByFileNameItRunsAGarchRecursion) {
    void *handle = dlopen(TESSEL_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle, nullptr) << dlerror();
    for (const char *name : tessel::host::kExportNames) EXPECT_NE(dlsym(handle, name), nullptr) << name;
    auto garch = reinterpret_cast<VelaExportFn>(dlsym(handle, "FnGarchVar"));
    const double y[3] = {1.0, -1.0, 2.0}, c[3] = {0.5, 0.5, 0.5}, theta[3] = {0.0, 0.0, 0.0};
    VelaValue h{}, u{};
    VelaValue args[11] = {VelawinMatrix(3, 1, y), VelawinMatrix(3, 1, c), VelawinMatrix(3, 1, theta),
                          VelawinInt(1), VelawinInt(1), VelawinInt(0), VelawinDouble(0), VelawinDouble(0),
                          VelawinDouble(0), VelawinRef(&h), VelawinRef(&u)};
    VelaValue rtn{};
    garch(&rtn, args, 11);
    EXPECT_EQ(rtn.ival, 1);
    ASSERT_EQ(h.type, VELA_MATRIX);
    EXPECT_EQ(h.data.mat[2][0], 0.5);
    for (VelaValue *v : {&h, &u, &args[0], &args[1], &args[2]}) VelaFreeByValue(v);
    dlclose(handle);
}

}  // namespace
