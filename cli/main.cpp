// tessel: a command-line host for the module. It loads the module by file name and drives its
// exports through the stand-in runtime, exactly as the matrix language's runtime would.
#include <cstdio>
#include <vector>

#include "cli/algebra_session.h"
#include "cli/commands.h"
#include "cli/csv_table.h"
#include "cli/module_loader.h"

int main(int argc, char **argv) {
    using namespace tessel::cli;
    CLI::App app{"tessel: econometrics on the command line, through the tessel14_vela_64 module"};
    app.require_subcommand(1);
    CommonOptions common;
    common.module_path = DefaultModulePath();
    app.add_option("--module", common.module_path, "path of the module to load")->capture_default_str();

    const std::vector<Command> commands = {
        AddExportsCommand(app, common),
        AddGarchCommand(app, common),
        AddAlgebraCommand(app, common),
        AddNlsCommand(app, common),
    };

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        int status = app.exit(e);
        return status == 0 ? 0 : 2;
    }
    try {
        for (const Command &command : commands)
            if (command.app->parsed()) return command.run();
    } catch (const ModuleError &e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    } catch (const InputError &e) {
        std::fprintf(stderr, "tessel: %s\n", e.what());
        return 2;
    } catch (const std::exception &e) {
        std::fprintf(stderr, "tessel: %s\n", e.what());
        return 1;
    }
    return 0;
}
