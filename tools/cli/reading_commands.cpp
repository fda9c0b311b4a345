// What the host holds: machines, one machine, its disks and checkpoints, switches, the host.
#include <map>
#include <memory>

#include "commands.h"
#include "lookup.h"
#include "output.h"
#include "utf8.h"

namespace quorvane::cli {
namespace {

// The state names --state takes.
const std::map<std::string, std::uint32_t> kStates = {
    {"running", 2}, {"off", 3}, {"saved", 6}, {"paused", 9}};

void Machines(Session& session, const std::string& stateFilter) {
  auto management = Own(session.Root().CreateMachineManagement(false));
  auto machines = Own(session.Root().CreateMachineEnumerator());
  Table table({"NAME", "STATE", "GEN", "VERSION", "MEMORY (MB)", "CPUS", "ID"});
  Json json = Json::array();
  while (machines->Next()) {
    auto info = Own(machines->GetMachineInfo());
    const std::uint32_t state = management->GetEnabledState(info->GetConfigurationId());
    if (!stateFilter.empty() && kStates.at(stateFilter) != state) {
      continue;
    }
    const int generation = info->IsGeneration2() ? 2 : 1;
    table.Add({Utf8(info->GetName()), StateName(state), std::to_string(generation),
               Utf8(info->GetVersion()), std::to_string(info->GetMemory()),
               std::to_string(info->GetProcessorCount()), Utf8(info->GetConfigurationId())});
    json.push_back({{"name", Utf8(info->GetName())},
                    {"state", StateName(state)},
                    {"generation", generation},
                    {"version", Utf8(info->GetVersion())},
                    {"memoryMb", info->GetMemory()},
                    {"processors", info->GetProcessorCount()},
                    {"configurationId", Utf8(info->GetConfigurationId())},
                    {"machineId", Utf8(info->GetConfigurationId())}});
  }
  Emit(session, json, table);
}

void Info(Session& session, const std::string& name) {
  const MachineRef machine = FindMachine(session.Root(), name);
  auto management = Own(session.Root().CreateMachineManagement(false));
  auto info = Own(management->GetMachineInfo(machine.id.c_str()));
  const std::uint32_t state = management->GetEnabledState(machine.id.c_str());
  const Json json = {{"name", Utf8(info->GetName())},
                     {"machineId", Utf8(machine.id)},
                     {"configurationId", Utf8(info->GetConfigurationId())},
                     {"state", StateName(state)},
                     {"operationalStatus", management->GetOperationalStatus(machine.id.c_str())},
                     {"generation", info->IsGeneration2() ? 2 : 1},
                     {"version", Utf8(info->GetVersion())},
                     {"memoryMb", info->GetMemory()},
                     {"processors", info->GetProcessorCount()},
                     {"created", IsoTime(info->GetCreationTime())},
                     {"checkpoint", Utf8(info->GetParentId())},
                     {"configurationDataRoot", Utf8(info->GetConfigurationDataRoot())},
                     {"configurationFile", Utf8(info->GetConfigurationFile())},
                     {"snapshotDataRoot", Utf8(info->GetSnapshotDataRoot())},
                     {"guestStateDataRoot", Utf8(info->GetGuestStateDataRoot())},
                     {"guestStateFile", Utf8(info->GetGuestStateFile())}};
  Table table({"FIELD", "VALUE"});
  for (const auto& [field, value] : json.items()) {
    table.Add({field, value.is_string() ? value.get<std::string>() : value.dump()});
  }
  Emit(session, json, table);
}

void State(Session& session, const std::string& name) {
  const MachineRef machine = FindMachine(session.Root(), name);
  auto management = Own(session.Root().CreateMachineManagement(false));
  const std::uint32_t state = management->GetEnabledState(machine.id.c_str());
  const std::uint32_t status = management->GetOperationalStatus(machine.id.c_str());
  Table table({"NAME", "STATE", "ENABLED STATE", "OPERATIONAL STATUS"});
  table.Add({Utf8(machine.name), StateName(state), std::to_string(state), std::to_string(status)});
  Emit(session,
       Json{{"name", Utf8(machine.name)},
            {"machineId", Utf8(machine.id)},
            {"state", StateName(state)},
            {"enabledState", state},
            {"operationalStatus", status}},
       table);
}

const char* FormatName(std::uint32_t format, bool dvd) {
  if (dvd) {
    return "ISO";
  }
  return format == 1 ? "VHDX" : format == 2 ? "VHD set" : "VHD";
}

void Disks(Session& session, const std::string& name, const std::string& checkpoint) {
  const MachineRef machine = FindMachine(session.Root(), name);
  const std::wstring settings =
      checkpoint.empty() ? machine.id : FindCheckpoint(session.Root(), machine, checkpoint);
  auto management = Own(session.Root().CreateMachineManagement(false));
  auto disks = Own(Own(management->GetMachineInfo(settings.c_str()))->CreateDiskEnumerator(true));
  Table table({"CONTROLLER", "NUMBER", "LOCATION", "PATH", "BASE PATH", "SIZE (GB)", "FORMAT"});
  Json json = Json::array();
  // SCSI controllers are numbered in the order their disks come: a disk at a place not past the
  // previous one's is on the next controller.
  int scsiController = 0;
  std::int64_t lastScsiLocation = -1;
  while (disks->Next()) {
    const bool scsi = disks->IsOnScsi();
    const std::uint32_t location = disks->GetLocation();
    if (scsi) {
      scsiController += static_cast<std::int64_t>(location) <= lastScsiLocation;
      lastScsiLocation = location;
    }
    const std::uint32_t controller =
        scsi ? static_cast<std::uint32_t>(scsiController) : disks->GetControllerAddress();
    const bool dvd = disks->IsDvd() != 0;
    table.Add({scsi ? "SCSI" : "IDE", std::to_string(controller), std::to_string(location),
               Utf8(disks->GetPath()), Utf8(disks->GetBasePath()),
               dvd ? "" : Gigabytes(disks->GetMaxInternalSize()),
               FormatName(disks->GetFormat(), dvd)});
    json.push_back({{"controllerType", scsi ? "SCSI" : "IDE"},
                    {"controllerNumber", controller},
                    {"location", location},
                    {"path", Utf8(disks->GetPath())},
                    {"basePath", Utf8(disks->GetBasePath())},
                    {"sizeBytes", disks->GetMaxInternalSize()},
                    {"format", FormatName(disks->GetFormat(), dvd)},
                    {"dvd", dvd},
                    {"diskId", Utf8(disks->GetDiskId())}});
  }
  Emit(session, json, table);
}

struct CheckpointEntry {
  std::wstring id;
  std::wstring parentId;
  std::wstring name;
  std::int64_t created;
  bool recovery;
};

void AddTree(const std::vector<CheckpointEntry>& entries, const std::wstring& parent, int depth,
             Table& table) {
  for (const auto& entry : entries) {
    if (entry.parentId != parent) {
      continue;
    }
    table.Add({std::string(depth * 2, ' ') + Utf8(entry.name), Utf8(entry.id),
               IsoTime(entry.created), entry.recovery ? "yes" : ""});
    AddTree(entries, entry.id, depth + 1, table);
  }
}

void Checkpoints(Session& session, const std::string& name) {
  const MachineRef machine = FindMachine(session.Root(), name);
  auto snapshots = Own(session.Root().CreateSnapshotManagement(machine.id.c_str()));
  auto list = Own(snapshots->EnumerateSnapshots());
  std::vector<CheckpointEntry> entries;
  while (list->Next()) {
    entries.push_back(
        {list->GetId(), list->GetParentId(), list->GetName(), list->GetCreationTime(), false});
  }
  Json json = Json::array();
  for (auto& entry : entries) {
    entry.recovery = snapshots->IsRecoverySnapshot(entry.id.c_str());
    json.push_back({{"id", Utf8(entry.id)},
                    {"name", Utf8(entry.name)},
                    {"parentId", Utf8(entry.parentId)},
                    {"created", IsoTime(entry.created)},
                    {"recovery", entry.recovery}});
  }
  Table table({"NAME", "ID", "CREATED", "RECOVERY"});
  AddTree(entries, L"", 0, table);
  Emit(session, json, table);
}

void Switches(Session& session) {
  auto switches = Own(session.Root().CreateSwitchEnumerator());
  Table table({"NAME", "ID"});
  Json json = Json::array();
  while (switches->Next()) {
    table.Add({Utf8(switches->GetName()), Utf8(switches->GetId())});
    json.push_back({{"name", Utf8(switches->GetName())}, {"id", Utf8(switches->GetId())}});
  }
  Emit(session, json, table);
}

void Host(Session& session) {
  IQuorvane& root = session.Root();
  auto limits = Own(root.CreateMachineManagement(true));
  const Json json = {{"maxConfigurationVersion", Utf8(root.GetMaxVersion())},
                     {"supportsVersion62", root.SupportsVersion62()},
                     {"defaultExternalDataRoot", Utf8(limits->GetDefaultExternalDataRoot())},
                     {"defaultVirtualHardDiskPath", Utf8(limits->GetDefaultVirtualHardDiskPath())},
                     {"minimumProcessors", limits->GetMinimumProcessorCount()},
                     {"maximumProcessors", limits->GetMaximumProcessorCount()},
                     {"minimumMemoryMb", limits->GetMinimumMemory()},
                     {"maximumMemoryMb", limits->GetMaximumMemory()},
                     {"memoryIncrementMb", limits->GetMemoryIncrement()}};
  Table table({"FIELD", "VALUE"});
  for (const auto& [field, value] : json.items()) {
    table.Add({field, value.is_string() ? value.get<std::string>() : value.dump()});
  }
  Emit(session, json, table);
}

}  // namespace

void AddReadingCommands(CLI::App& app, Commands& commands) {
  auto state = std::make_shared<std::string>();
  auto* machines = app.add_subcommand("machines", "List the machines");
  machines->add_option("--state", *state, "Only machines in this state")
      ->check(CLI::IsMember({"running", "off", "saved", "paused"}));
  commands.push_back({machines, [state](Session& s) { Machines(s, *state); }});

  auto name = std::make_shared<std::string>();
  auto checkpoint = std::make_shared<std::string>();
  const auto machineArgument = [&](CLI::App* command) {
    command->add_option("machine", *name, "Name, machine id or configuration id")->required();
  };
  auto* info = app.add_subcommand("info", "Show a machine's settings");
  machineArgument(info);
  commands.push_back({info, [name](Session& s) { Info(s, *name); }});
  auto* stateCommand = app.add_subcommand("state", "Show a machine's state");
  machineArgument(stateCommand);
  commands.push_back({stateCommand, [name](Session& s) { State(s, *name); }});
  auto* disks = app.add_subcommand("disks", "List a machine's disks and DVD drives");
  machineArgument(disks);
  disks->add_option("--checkpoint", *checkpoint, "The disks of this checkpoint instead");
  commands.push_back({disks, [name, checkpoint](Session& s) { Disks(s, *name, *checkpoint); }});
  auto* checkpoints = app.add_subcommand("checkpoints", "Show a machine's checkpoints as a tree");
  machineArgument(checkpoints);
  commands.push_back({checkpoints, [name](Session& s) { Checkpoints(s, *name); }});
  commands.push_back({app.add_subcommand("switches", "List the virtual switches"), Switches});
  commands.push_back(
      {app.add_subcommand("host", "Show the host's limits, default paths and versions"), Host});
}

}  // namespace quorvane::cli
