// Saving a scenario never leaves a broken file: a saver killed at any moment leaves the old
// file or the new one, whole.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "quorvane/simulated_host.h"

namespace quorvane::sim {
namespace {

std::string Contents(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// Two hosts of a few megabytes each, so that a save takes long enough to be interrupted.
SimulatedHost HostWithMachines(const std::wstring& prefix) {
  auto host = SimulatedHost::Create();
  for (int i = 0; i < 300; ++i) {
    host.AddMachine({.name = prefix + std::to_wstring(i)});
  }
  return host;
}

TEST(ScenarioSavingTest, AKilledSaverLeavesTheOldFileOrTheNew) {
  const auto folder =
      std::filesystem::temp_directory_path() / ("quorvane-saving-" + std::to_string(::getpid()));
  std::filesystem::create_directories(folder);
  const auto file = folder / "host.json";
  const auto first = HostWithMachines(L"first-");
  const auto second = HostWithMachines(L"second-");
  first.SaveScenario(file);
  const std::string firstText = Contents(file);
  const std::string secondText = second.ToJson() + "\n";

  // Kill moments spread over a save's length, the same every run.
  for (int round = 0; round < 24; ++round) {
    const pid_t saver = ::fork();
    ASSERT_GE(saver, 0);
    if (saver == 0) {
      for (;;) {
        second.SaveScenario(file);
        first.SaveScenario(file);
      }
    }
    std::this_thread::sleep_for(std::chrono::microseconds(500 + 2500 * round));
    ::kill(saver, SIGKILL);
    ::waitpid(saver, nullptr, 0);
    const std::string left = Contents(file);
    EXPECT_TRUE(left == firstText || left == secondText)
        << "round " << round << ": " << left.size() << " bytes";
    EXPECT_NO_THROW(SimulatedHost::LoadScenario(file));
  }
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace quorvane::sim
