#include "scenario_lock.h"

#if defined(_WIN32)
#include "utf8.h"
#endif

namespace quorvane::cli {
namespace {

std::filesystem::path LockFileOf(const std::string& scenario) {
#if defined(_WIN32)
  return std::filesystem::path(Wide(scenario + ".lock"));  // the scenario's name is UTF-8
#else
  return std::filesystem::path(scenario + ".lock");
#endif
}

}  // namespace

ScenarioLock::ScenarioLock(const std::string& scenario)
    : lock_(LockFileOf(scenario), scenario + ".lock") {}

}  // namespace quorvane::cli
