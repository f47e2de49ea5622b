// Captures what the module writes to standard output during a call (its default reporter prints
// there), so that the host can show the report once, on standard error, next to its own message.
#ifndef TESSEL_CLI_STDOUT_CAPTURE_H
#define TESSEL_CLI_STDOUT_CAPTURE_H

#include <cstdio>
#include <string>

namespace tessel::cli {

class StdoutCapture {
public:
    StdoutCapture();
    ~StdoutCapture();
    StdoutCapture(const StdoutCapture &) = delete;
    StdoutCapture &operator=(const StdoutCapture &) = delete;

    // Restores standard output and returns what was written meanwhile.
    std::string Finish();

private:
    int saved_fd_ = -1;
    std::FILE *file_ = nullptr;
};

}  // namespace tessel::cli

#endif
