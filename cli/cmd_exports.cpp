// tessel exports: which of the module's exports the loader finds.
#include <cstdio>

#include "cli/commands.h"
#include "cli/csv_table.h"
#include "cli/module_loader.h"
#include "host/export_names.h"

namespace tessel::cli {

Command AddExportsCommand(CLI::App &app, const CommonOptions &common) {
    CLI::App *sub = app.add_subcommand("exports", "list the module's exports that the loader finds");
    return {sub, [&common] {
        Module module(common.module_path);
        if (!module.ok()) throw InputError(module.error());
        int found = 0;
        for (const char *name : tessel::host::kExportNames) {
            bool present = module.Find(name) != nullptr;
            found += present;
            std::printf("%-24s %s\n", name, present ? "found" : "MISSING");
        }
        std::printf("%d of %d exports found in %s\n", found, tessel::host::kExportCount, common.module_path.c_str());
        return found == tessel::host::kExportCount ? 0 : 1;
    }};
}

}  // namespace tessel::cli
