#include "session.h"

#include <cstdio>
#include <cstdlib>

#include "password.h"
#include "simulated_host_module.h"
#include "utf8.h"

namespace quorvane::cli {

Session::Session(const Options& options)
    : scenario_(options.scenario), save_(options.save), json_(options.json) {
  if (options.save && options.scenario.empty()) {
    throw UsageError("--save writes a simulated host back to its scenario: give --scenario");
  }
  if (!options.host.empty() || !options.user.empty()) {
#if defined(_WIN32)
    const std::wstring host = Wide(options.host);
    const std::wstring user = Wide(options.user);
    const std::wstring password = Wide(ReadPassword(options.user));
    root_ = Own(CreateQuorvaneRemote(host.c_str(), user.empty() ? nullptr : user.c_str(),
                                     password.c_str()));
    return;
#else
    throw UsageError("--host and --user reach a real Hyper-V host, from Windows only");
#endif
  }
#if defined(_WIN32)
  if (options.scenario.empty()) {
    root_ = Own(CreateQuorvaneLocal());
    return;
  }
#endif
  RequireSimulatedHost();
  if (save_) {
    lock_.emplace(scenario_);
  }
  simulated_ = options.scenario.empty() ? sim::SimulatedHost::Default()
                                        : sim::SimulatedHost::LoadScenario(options.scenario);
  root_ = Own(simulated_->CreateQuorvane());
}

sim::SimulatedHost& Session::Simulated() {
  if (!simulated_) {
    throw UsageError("this command plays a guest of the simulated host: give --scenario");
  }
  return *simulated_;
}

void Session::Finish() {
  if (save_ && simulated_) {
    simulated_->SaveScenario(scenario_);
  }
  std::fwrite(report_.data(), 1, report_.size(), stdout);
  report_.clear();
}

}  // namespace quorvane::cli
