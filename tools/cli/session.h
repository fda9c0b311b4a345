#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "quorvane/quorvane.h"
#include "quorvane/simulated_host.h"
#include "scenario_lock.h"

namespace quorvane::cli {

// A command line that names nothing valid: exit code 2.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Options {
  std::string scenario;  // a simulated host from this file
  bool save = false;     // write the simulated host back to the file after the command
  bool json = false;
  std::string host;  // a real host (Windows)
  std::string user;
};

// The host a command works on and the root bound to it: a simulated host from a scenario (or
// the shipped one), or on Windows a real host, local or remote.
class Session {
 public:
  explicit Session(const Options& options);
  IQuorvane& Root() { return *root_; }
  bool Json() const { return json_; }
  // The simulated host, for the commands that play its guests; UsageError on a real host.
  sim::SimulatedHost& Simulated();
  // Adds to what the run prints. It is held until the run ends well, so that a step is reported
  // only once its scenario is saved.
  void Print(const std::string& text) { report_ += text; }
  // Writes the simulated host back to its scenario when asked to, then prints the report.
  void Finish();

 private:
  // Taken before the scenario is read, when the run will write it back.
  std::optional<ScenarioLock> lock_;
  std::optional<sim::SimulatedHost> simulated_;
  Owned<IQuorvane> root_;
  std::string scenario_;
  bool save_ = false;
  bool json_ = false;
  std::string report_;
};

}  // namespace quorvane::cli
