#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <vector>

#include "session.h"

namespace quorvane::cli {

// A subcommand and what it does once the host is open.
struct Command {
  CLI::App* parsed;
  std::function<void(Session&)> run;
};
using Commands = std::vector<Command>;

// Each adds its subcommands to the application.
void AddReadingCommands(CLI::App& app, Commands& commands);
void AddActingCommands(CLI::App& app, Commands& commands);
void AddBackupCommands(CLI::App& app, Commands& commands);
void AddDefiningCommands(CLI::App& app, Commands& commands);

}  // namespace quorvane::cli
