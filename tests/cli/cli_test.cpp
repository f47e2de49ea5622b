// The tessel command as a user runs it: exit statuses and the one-line messages on bad input.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <string>
#include <sys/wait.h>

namespace {

struct Outcome {
    int status;
    std::string output;
};

Outcome RunTessel(const std::string &args) {
    std::string cmd = std::string(TESSEL_CLI_PATH) + " " + args + " 2>&1";
    Outcome out{-1, ""};
    FILE *pipe = popen(cmd.c_str(), "r");
    if (!pipe) return out;
    std::array<char, 512> buf;
    while (fgets(buf.data(), buf.size(), pipe)) out.output += buf.data();
    int raw = pclose(pipe);
    out.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    return out;
}

std::string TempCsv(const std::string &name, const std::string &text) {
    std::string path = ::testing::TempDir() + name;
    std::ofstream(path) << text;
    return path;
}

TEST(Cli, ExportsFindsAllThirtyTwo) {
    Outcome r = RunTessel("exports");
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.output.find("32 of 32 exports found"), std::string::npos) << r.output;
}

TEST(Cli, GarchOnTheShippedDataPrintsBothModels) {
    Outcome r = RunTessel("garch --rows 3");
    EXPECT_EQ(r.status, 0) << r.output;
    EXPECT_NE(r.output.find("GARCH(1,1)"), std::string::npos);
    EXPECT_NE(r.output.find("EGARCH(1,1)"), std::string::npos);
    EXPECT_NE(r.output.find("2009Q3"), std::string::npos) << r.output;
}

TEST(Cli, BadInputEndsWithOneMessageAndStatusTwo) {
    Outcome missing = RunTessel("garch --data /nonexistent/file.csv");
    EXPECT_EQ(missing.status, 2);
    EXPECT_NE(missing.output.find("/nonexistent/file.csv: cannot open the file"), std::string::npos);

    std::string bad = TempCsv("bad.csv", "a,b\n1,2\n3,x7\n");
    Outcome cell = RunTessel("garch --data " + bad + " --column b --transform level");
    EXPECT_EQ(cell.status, 2);
    EXPECT_NE(cell.output.find(bad + ", line 3, column 2: \"x7\" is not a number"), std::string::npos) << cell.output;

    Outcome column = RunTessel("garch --data " + bad + " --column c");
    EXPECT_EQ(column.status, 2);
    EXPECT_NE(column.output.find("no column named \"c\""), std::string::npos);

    std::string gap = TempCsv("gap.csv", "a;b\n1;2\n.;3\n");
    Outcome hole = RunTessel("garch --data " + gap + " --column a --transform level");
    EXPECT_EQ(hole.status, 2);
    EXPECT_NE(hole.output.find(gap + ", line 3, column 1: missing value"), std::string::npos) << hole.output;

    EXPECT_EQ(RunTessel("garch --transform sideways").status, 2);
    EXPECT_EQ(RunTessel("nosuchcommand").status, 2);
}

}  // namespace
