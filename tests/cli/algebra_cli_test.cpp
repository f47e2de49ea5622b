// tessel algebra and tessel nls as a user runs them: results checked against computations done here,
// and every error path of the command line.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace {

struct Outcome {
    int status = -1;
    std::string out;  // standard output and standard error together
};

Outcome Tessel(const std::string &args) {
    Outcome o;
    FILE *pipe = popen((std::string(TESSEL_CLI_PATH) + " " + args + " 2>&1").c_str(), "r");
    if (!pipe) return o;
    std::array<char, 512> buf;
    while (fgets(buf.data(), buf.size(), pipe)) o.out += buf.data();
    int raw = pclose(pipe);
    o.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    return o;
}

std::string WriteFile(const std::string &name, const std::string &text) {
    std::string path = ::testing::TempDir() + name;
    std::ofstream(path) << text;
    return path;
}

// Column `name` of a CSV file the command wrote; empty cells are NaN.
std::vector<double> CsvColumn(const std::string &path, const std::string &name) {
    std::ifstream in(path);
    std::string line, cell;
    std::getline(in, line);
    std::stringstream header(line);
    int col = -1;
    for (int i = 0; std::getline(header, cell, ','); ++i)
        if (cell == name) col = i;
    std::vector<double> out;
    while (col >= 0 && std::getline(in, line)) {
        std::stringstream row(line + ",");
        for (int i = 0; i <= col; ++i) std::getline(row, cell, ',');
        out.push_back(cell.empty() ? NAN : std::stod(cell));
    }
    return out;
}

// The estimate and standard error printed for parameter &n.
std::pair<double, double> Estimate(const std::string &out, int n) {
    std::istringstream lines(out);
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream fields(line);
        char amp = 0;
        int number = -1;
        double start, estimate, se;
        if (fields >> amp >> number >> start >> estimate >> se && amp == '&' && number == n) return {estimate, se};
    }
    return {NAN, NAN};
}

TEST(CliAlgebra, TransformsASmallQuarterlyFile) {
    const std::string data = WriteFile("q.csv", "year;quarter;x\n2000;3;1\n2000;4;2\n2001;1;4\n2001;2;\n2001;3;16\n");
    const std::string out = ::testing::TempDir() + "q_out.csv";
    Outcome r = Tessel("algebra --data " + data + " --output " + out +
                       " --code 'y = 2 * x; z = x[-1]; q = year() + period() / 10; s = cum(x);'");
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("5 observations, 3 variables, frequency 4, starting 2000(3)"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("created 4 variables"), std::string::npos);
    std::vector<double> y = CsvColumn(out, "y"), z = CsvColumn(out, "z"), q = CsvColumn(out, "q");
    ASSERT_EQ(y.size(), 5u);
    EXPECT_EQ(y[2], 8.0);
    EXPECT_TRUE(std::isnan(y[3]));
    EXPECT_TRUE(std::isnan(z[0]));
    EXPECT_EQ(z[3], 4.0);
    EXPECT_TRUE(std::isnan(z[4]));  // x at 2001(2) is missing
    EXPECT_DOUBLE_EQ(q[0], 2000.3);
    EXPECT_DOUBLE_EQ(q[2], 2001.1);
    EXPECT_EQ(CsvColumn(out, "x")[1], 2.0);  // the original columns are written too
}

TEST(CliAlgebra, DatesColumnBecomesDayNumbers) {
    const std::string data = WriteFile("d.csv", "when,v\n2000-01-01,1\n2024-03-31 12:00,2\n");
    const std::string out = ::testing::TempDir() + "d_out.csv";
    Outcome r = Tessel("algebra --data " + data + " --dates when --output " + out +
                       " --code 'w = dayofweek(); e = iseaster(0); h = hours();'");
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_EQ(CsvColumn(out, "when")[0], 2451545.0);
    EXPECT_EQ(CsvColumn(out, "w")[0], 7.0);  // Saturday
    EXPECT_EQ(CsvColumn(out, "e")[1], 1.0);  // Easter Sunday 2024
    EXPECT_EQ(CsvColumn(out, "h")[1], 12.0);
}

TEST(CliAlgebra, ErrorPathsAndTheirStatuses) {
    const std::string good = WriteFile("g.csv", "a,b\n1,2\n3,4\n");
    Outcome missing = Tessel("algebra --data /no/such.csv --code 'x = 1;'");
    EXPECT_EQ(missing.status, 2);
    EXPECT_NE(missing.out.find("/no/such.csv: cannot open the file"), std::string::npos);

    const std::string bad = WriteFile("m.csv", "a,b\n1,2\n3,4x\n");
    Outcome number = Tessel("algebra --data " + bad + " --code 'x = a;'");
    EXPECT_EQ(number.status, 2);
    EXPECT_NE(number.out.find(bad + ", line 3, column 2: \"4x\" is not a number"), std::string::npos) << number.out;

    Outcome dates = Tessel("algebra --data " + good + " --dates a --code 'x = 1;'");
    EXPECT_EQ(dates.status, 2);
    EXPECT_NE(dates.out.find("line 2, column 1: \"\" is not a date"), std::string::npos) << dates.out;

    EXPECT_EQ(Tessel("algebra --data " + good + " --bogus --code 'x = 1;'").status, 2);
    EXPECT_EQ(Tessel("algebra --data " + good).status, 2);  // no program

    Outcome parse = Tessel("algebra --data " + good + " --code 'x = a +;'");
    EXPECT_EQ(parse.status, 1);
    EXPECT_NE(parse.out.find("Parse error: ; Out of place on line 1"), std::string::npos) << parse.out;

    Outcome run = Tessel("algebra --data " + good + " --code 'x = log(a - 2);'");
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.out.find("Logarithm of non-positive number"), std::string::npos) << run.out;
}

TEST(CliNls, RecoversSimulatedParametersWithinTheirStandardErrors) {
    std::mt19937 gen(7);
    std::normal_distribution<double> noise(0.0, 0.05);
    std::uniform_real_distribution<double> u(1.0, 5.0);
    std::ostringstream csv;
    csv << "x,y\n";
    for (int t = 0; t < 300; ++t) {
        double x = u(gen);
        csv << x << ',' << 2.0 + 0.5 * std::pow(x, 1.5) + noise(gen) << '\n';
    }
    const std::string data = WriteFile("sim.csv", csv.str());
    Outcome r = Tessel("nls --data " + data + " --code '&0 = 1; &1 = 1; &2 = 1; actual = y; fitted = &0 + &1 * x ^ &2;'");
    ASSERT_EQ(r.status, 0) << r.out;
    const double truth[3] = {2.0, 0.5, 1.5};
    for (int i = 0; i < 3; ++i) {
        auto [estimate, se] = Estimate(r.out, i);
        EXPECT_LT(std::fabs(estimate - truth[i]), 3.0 * se) << "&" << i << "\n" << r.out;
    }
    EXPECT_NE(r.out.find("converged"), std::string::npos);
}

TEST(CliNls, LinearModelAgreesWithClosedFormLeastSquares) {
    const std::vector<double> x = {1, 2, 3, 4, 5, 6, 7, 8}, y = {2.1, 3.9, 6.2, 7.8, 10.1, 12.2, 13.8, 16.1};
    std::ostringstream csv;
    csv << "x,y\n";
    for (size_t t = 0; t < x.size(); ++t) csv << x[t] << ',' << y[t] << '\n';
    const std::string data = WriteFile("lin.csv", csv.str());
    Outcome r = Tessel("nls --data " + data + " --code '&0 = 0; &1 = 0; actual = y; fitted = &0 + &1 * x;'");
    ASSERT_EQ(r.status, 0) << r.out;
    double mx = 0, my = 0;
    for (size_t t = 0; t < x.size(); ++t) mx += x[t] / x.size(), my += y[t] / x.size();
    double sxy = 0, sxx = 0, rss = 0;
    for (size_t t = 0; t < x.size(); ++t) sxy += (x[t] - mx) * (y[t] - my), sxx += (x[t] - mx) * (x[t] - mx);
    const double b = sxy / sxx, a = my - b * mx;
    for (size_t t = 0; t < x.size(); ++t) rss += (y[t] - a - b * x[t]) * (y[t] - a - b * x[t]);
    const double s2 = rss / (x.size() - 2);
    EXPECT_NEAR(Estimate(r.out, 0).first, a, 1e-7);
    EXPECT_NEAR(Estimate(r.out, 1).first, b, 1e-7);
    EXPECT_NEAR(Estimate(r.out, 1).second, std::sqrt(s2 / sxx), 1e-6);
}

TEST(CliNls, SaysPlainlyWhenTheModelIsMissingOrUnusable) {
    const std::string data = WriteFile("n.csv", "x,y\n1,2\n2,4\n3,6\n4,8\n");
    Outcome lagged = Tessel("nls --data " + data + " --first 0 --code '&0 = 1; actual = y; fitted = &0 * x[-1];'");
    EXPECT_EQ(lagged.status, 1);
    EXPECT_NE(lagged.out.find("fitted is missing at observation 0"), std::string::npos) << lagged.out;

    Outcome nofit = Tessel("nls --data " + data + " --code '&0 = 1; actual = y;'");
    EXPECT_EQ(nofit.status, 1);
    EXPECT_NE(nofit.out.find("must create the variables actual and fitted"), std::string::npos) << nofit.out;

    Outcome nostart = Tessel("nls --data " + data + " --code '&0 = 1; actual = y; fitted = &0 * x + &1;'");
    EXPECT_EQ(nostart.status, 1);
    EXPECT_NE(nostart.out.find("Error: Need starting values for all parameters"), std::string::npos);

    EXPECT_EQ(Tessel("nls --data " + data + " --first 3 --last 1 --code '&0 = 1; actual = y; fitted = &0 * x;'").status, 2);
}

}  // namespace
