#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "quorvane/quorvane.h"
#include "quorvane/simulated_host.h"

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
  // Writes the simulated host back to its scenario when asked to.
  void Finish();

 private:
  std::optional<sim::SimulatedHost> simulated_;
  Owned<IQuorvane> root_;
  std::string scenario_;
  bool save_ = false;
  bool json_ = false;
};

}  // namespace quorvane::cli
