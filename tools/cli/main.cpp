// quorvane: a small command-line front end. By default it works on the shipped simulated host;
// --scenario loads another one from JSON.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <functional>
#include <string>

#include "quorvane/quorvane.h"
#include "quorvane/simulated_host.h"

namespace {

using quorvane::Own;

std::wstring Wide(const std::string& text) {
  return std::wstring(text.begin(), text.end());
}

void ListMachines(quorvane::IQuorvane& root) {
  auto machines = Own(root.CreateMachineEnumerator());
  while (machines->Next()) {
    auto info = Own(machines->GetMachineInfo());
    std::printf("%ls\t%ls\tgeneration %d\t%ls\t%lld MB\t%lld CPU\n", info->GetId(), info->GetName(),
                info->IsGeneration2() ? 2 : 1, info->GetVersion(),
                static_cast<long long>(info->GetMemory()),
                static_cast<long long>(info->GetProcessorCount()));
  }
}

void ListDisks(quorvane::IQuorvane& root, const std::wstring& machine) {
  auto management = Own(root.CreateMachineManagement(false));
  auto disks = Own(Own(management->GetMachineInfo(machine.c_str()))->CreateDiskEnumerator(true));
  while (disks->Next()) {
    std::printf("%ls\t%ls\t%s %u:%u\n", disks->GetPath(),
                disks->IsDvd() ? L"dvd" : disks->GetDiskId(), disks->IsOnScsi() ? "scsi" : "ide",
                disks->IsOnScsi() ? 0u : disks->GetControllerAddress(), disks->GetLocation());
  }
}

void ListSwitches(quorvane::IQuorvane& root) {
  auto switches = Own(root.CreateSwitchEnumerator());
  while (switches->Next()) {
    std::printf("%ls\t%ls\n", switches->GetId(), switches->GetName());
  }
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Inventory of a Hyper-V host (the simulated host unless told otherwise)"};
  std::string scenario;
  app.add_option("--scenario", scenario, "Load the simulated host from this JSON file");
  app.require_subcommand(1);
  auto* machines = app.add_subcommand("machines", "List the machines");
  auto* switches = app.add_subcommand("switches", "List the virtual switches");
  std::string machine;
  auto* disks = app.add_subcommand("disks", "List a machine's disks");
  disks->add_option("configuration-id", machine, "The machine's ConfigurationID")->required();
  std::string file;
  auto* save = app.add_subcommand("save", "Write the simulated host as scenario JSON");
  save->add_option("file", file, "Where to write it")->required();
  CLI11_PARSE(app, argc, argv);

  try {
    const auto host = scenario.empty() ? quorvane::sim::SimulatedHost::Default()
                                       : quorvane::sim::SimulatedHost::LoadScenario(scenario);
    if (save->parsed()) {
      host.SaveScenario(file);
      return 0;
    }
    auto root = Own(host.CreateQuorvane());
    if (machines->parsed()) {
      ListMachines(*root);
    } else if (switches->parsed()) {
      ListSwitches(*root);
    } else if (disks->parsed()) {
      ListDisks(*root, Wide(machine));
    }
    return 0;
  } catch (const quorvane::DefaultException& e) {
    std::fprintf(stderr, "quorvane: 0x%08X %s\n", e.GetErrorCode(), e.what());
    return 1;
  }
}
