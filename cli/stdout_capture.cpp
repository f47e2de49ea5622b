#include "cli/stdout_capture.h"

#include <unistd.h>

namespace tessel::cli {

StdoutCapture::StdoutCapture() {
    std::fflush(stdout);
    file_ = std::tmpfile();
    if (!file_) return;
    saved_fd_ = dup(STDOUT_FILENO);
    if (saved_fd_ < 0 || dup2(fileno(file_), STDOUT_FILENO) < 0) {
        if (saved_fd_ >= 0) close(saved_fd_);
        saved_fd_ = -1;
    }
}

StdoutCapture::~StdoutCapture() {
    Finish();
    if (file_) std::fclose(file_);
}

std::string StdoutCapture::Finish() {
    std::string text;
    if (saved_fd_ < 0) return text;
    std::fflush(stdout);
    dup2(saved_fd_, STDOUT_FILENO);
    close(saved_fd_);
    saved_fd_ = -1;
    std::rewind(file_);
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, file_)) > 0) text.append(buf, n);
    return text;
}

}  // namespace tessel::cli
