#include "cli/module_loader.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>

#include "velawin/velawin.h"

namespace tessel::cli {

Module::Module(const std::string &path) {
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle_) {
        const char *why = dlerror();
        error_ = why ? why : ("cannot load " + path);
    }
}

Module::~Module() {
    if (handle_) dlclose(handle_);
}

VelaExportFn Module::Find(const char *name) const {
    if (!handle_) return nullptr;
    return reinterpret_cast<VelaExportFn>(dlsym(handle_, name));
}

bool Module::Call(const char *name, VelaValue *rtn, VelaValue *pv, int cArg) const {
    VelaExportFn fn = Find(name);
    if (!fn) return false;
    VelawinBeginCall(name);
    fn(rtn, pv, cArg);
    return VelawinErrorCount() == 0;
}

std::string DefaultModulePath() {
    char buf[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
    std::string dir = ".";
    if (n > 0) {
        buf[n] = '\0';
        std::string exe(buf);
        auto slash = exe.rfind('/');
        if (slash != std::string::npos) dir = exe.substr(0, slash);
    }
    return dir + "/tessel14_vela_64.so";
}

}  // namespace tessel::cli
