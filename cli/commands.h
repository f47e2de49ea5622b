// The subcommands of the `tessel` host. Each registers its options on the app and returns the
// function that runs it; a command returns the process exit status.
#ifndef TESSEL_CLI_COMMANDS_H
#define TESSEL_CLI_COMMANDS_H

#include <functional>
#include <string>

#include <CLI/CLI.hpp>

namespace tessel::cli {

struct CommonOptions {
    std::string module_path;  // the module to load; beside the executable by default
};

using CommandRun = std::function<int()>;

struct Command {
    CLI::App *app;
    CommandRun run;
};

Command AddExportsCommand(CLI::App &app, const CommonOptions &common);
Command AddGarchCommand(CLI::App &app, const CommonOptions &common);
Command AddAlgebraCommand(CLI::App &app, const CommonOptions &common);
Command AddNlsCommand(CLI::App &app, const CommonOptions &common);

// The shipped quarterly data set, found beside the executable's source tree or installed copy.
std::string DefaultDataPath();

}  // namespace tessel::cli

#endif
