// Loads the module by file name at run time and looks its exports up by name, as the runtime does.
#ifndef TESSEL_CLI_MODULE_LOADER_H
#define TESSEL_CLI_MODULE_LOADER_H

#include <string>

#include "host/vela_api.h"

namespace tessel::cli {

class Module {
public:
    // Opens the module at `path`; on failure `error()` says why.
    explicit Module(const std::string &path);
    ~Module();
    Module(const Module &) = delete;
    Module &operator=(const Module &) = delete;

    bool ok() const { return handle_ != nullptr; }
    const std::string &error() const { return error_; }
    // The export named `name`, or nullptr.
    VelaExportFn Find(const char *name) const;
    // Calls the export `name` after naming it to the runtime; false when the export is missing or
    // the runtime reported an argument error.
    bool Call(const char *name, VelaValue *rtn, VelaValue *pv, int cArg) const;

private:
    void *handle_ = nullptr;
    std::string error_;
};

// The module's file beside the running executable.
std::string DefaultModulePath();

}  // namespace tessel::cli

#endif
