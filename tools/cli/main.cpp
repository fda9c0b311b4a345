// quorvane: the command-line tool of an administrator or a backup engineer, on a real Hyper-V
// host (Windows) or on a simulated one from a scenario, built on the library's public API.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <nlohmann/json.hpp>

#include "arguments.h"
#include "commands.h"
#include "session.h"
#include "utf8.h"

namespace {

using quorvane::cli::Commands;
using quorvane::cli::Options;
using quorvane::cli::Session;

constexpr int kSuccess = 0;
constexpr int kLibraryFailure = 1;
constexpr int kUsage = 2;

int Fail(int code, const std::string& message) {
  std::fprintf(stderr, "quorvane: %s\n", message.c_str());
  return code;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{
      "Machines, checkpoints and change tracking of a Hyper-V host. Without --scenario (and, on "
      "Windows, without --host) it works on the shipped simulated host; on Windows, on the "
      "local host."};
  app.set_version_flag("--version", std::string("quorvane ") + quorvane::GetVersion());
  Options options;
  app.add_option("--scenario", options.scenario, "Work on the simulated host of this scenario");
  app.add_flag("--save", options.save, "Write the simulated host back to its scenario afterwards");
  app.add_flag("--json", options.json, "Print JSON for scripts instead of tables");
  app.add_option("--host", options.host,
                 "A remote Hyper-V host (Windows); the password comes from QUORVANE_PASSWORD or "
                 "is asked for");
  app.add_option("--user", options.user, "The user on the remote host");
  app.require_subcommand(1);
  app.fallthrough();                       // the options above may also follow the command
  app.allow_windows_style_options(false);  // "/path" is a path, not an option

  Commands commands;
  quorvane::cli::AddReadingCommands(app, commands);
  quorvane::cli::AddActingCommands(app, commands);
  quorvane::cli::AddBackupCommands(app, commands);
  quorvane::cli::AddDefiningCommands(app, commands);

  try {
    quorvane::cli::Utf8Arguments arguments(argc, argv);
    app.parse(arguments.Count(), arguments.Values());
  } catch (const CLI::Success& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    app.exit(e);
    return kUsage;
  }

  try {
    Session session(options);
    for (const auto& command : commands) {
      if (command.parsed->parsed()) {
        command.run(session);
      }
    }
    session.Finish();
    return kSuccess;
  } catch (const quorvane::cli::UsageError& e) {
    return Fail(kUsage, e.what());
  } catch (const quorvane::DefaultException& e) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%08X", e.GetErrorCode());
    return Fail(kLibraryFailure,
                std::string(code) + " " + quorvane::cli::Utf8(e.GetMessageDescription()));
  } catch (const std::exception& e) {
    return Fail(kLibraryFailure, e.what());
  } catch (...) {
    return Fail(kLibraryFailure, "unknown failure");
  }
}
