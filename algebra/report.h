// The one replaceable reporter through which the Algebra language shows errors and warnings.
#ifndef TESSEL_ALGEBRA_REPORT_H
#define TESSEL_ALGEBRA_REPORT_H

namespace tessel {

// Receives a kind ("Error" or "Warning") and a one-line message.
using AlgebraReporter = void (*)(const char *kind, const char *text);

// The current reporter; the default prints "\n%s: %s\n" to standard output. Process-wide.
extern AlgebraReporter AlgebraReportFn;

// Prints "\n%s: %s\n" to standard output.
void AlgebraDefaultReporter(const char *kind, const char *text);

// Installs `fn` (nullptr restores the default) and returns the previous reporter.
AlgebraReporter AlgebraSetReporter(AlgebraReporter fn);

void AlgebraError(const char *text);    // ("Error", text) to the reporter
void AlgebraWarning(const char *text);  // ("Warning", text) to the reporter

}  // namespace tessel

#endif
