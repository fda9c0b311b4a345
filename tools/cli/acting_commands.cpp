// Changing the host: power state, deletion and checkpoints.
#include <memory>

#include "commands.h"
#include "lookup.h"
#include "output.h"
#include "progress.h"
#include "utf8.h"

namespace quorvane::cli {
namespace {

struct Arguments {
  std::string machine;
  std::string checkpoint;
  std::string name;
  bool recovery = false;
  bool noFallback = false;
  bool subtree = false;
};

using PowerAction = void (IMachineManagement::*)(const wchar_t*);

void Power(Session& session, const std::string& name, PowerAction action, const char* doing) {
  const MachineRef machine = FindMachine(session.Root(), name);
  auto management = Own(session.Root().CreateMachineManagement(false));
  {
    Progress progress(std::string(doing) + " " + Utf8(machine.name), !session.Json());
    ((*management).*action)(machine.id.c_str());
  }
  const std::string state = StateName(management->GetEnabledState(machine.id.c_str()));
  Emit(session,
       Json{{"name", Utf8(machine.name)}, {"machineId", Utf8(machine.id)}, {"state", state}},
       Utf8(machine.name) + ": " + state + "\n");
}

void Delete(Session& session, const std::string& name) {
  const MachineRef machine = FindMachine(session.Root(), name);
  {
    Progress progress("deleting " + Utf8(machine.name), !session.Json());
    Own(session.Root().CreateMachineManagement(false))->DeleteMachine(machine.id.c_str());
  }
  Emit(session,
       Json{{"name", Utf8(machine.name)}, {"machineId", Utf8(machine.id)}, {"deleted", true}},
       Utf8(machine.name) + ": deleted\n");
}

void TakeCheckpoint(Session& session, const Arguments& arguments) {
  const MachineRef machine = FindMachine(session.Root(), arguments.machine);
  auto snapshots = Own(session.Root().CreateSnapshotManagement(machine.id.c_str()));
  bool applicationConsistentFailed = false;
  std::int32_t level = 0;
  {
    Progress progress("checkpointing " + Utf8(machine.name), !session.Json());
    if (arguments.recovery) {
      level =
          snapshots->CreateRecoverySnapshot(!arguments.noFallback, &applicationConsistentFailed);
    } else {
      snapshots->CreateStandardSnapshot();
    }
  }
  const std::string id = Utf8(snapshots->GetLastSnapshotId());
  Json json = {
      {"machineId", Utf8(machine.id)}, {"checkpointId", id}, {"recovery", arguments.recovery}};
  std::string text = Utf8(machine.name) + ": checkpoint " + id;
  if (arguments.recovery) {
    json["consistencyLevel"] = level;
    json["applicationConsistentFailed"] = applicationConsistentFailed;
    text += level == 1 ? " (recovery, application consistent)" : " (recovery, crash consistent)";
  }
  Emit(session, json, text + "\n");
}

void Apply(Session& session, const Arguments& arguments) {
  const MachineRef machine = FindMachine(session.Root(), arguments.machine);
  const std::wstring checkpoint = FindCheckpoint(session.Root(), machine, arguments.checkpoint);
  {
    Progress progress("applying a checkpoint to " + Utf8(machine.name), !session.Json());
    Own(session.Root().CreateSnapshotManagement(machine.id.c_str()))
        ->ApplySnapshot(checkpoint.c_str());
  }
  Emit(session, Json{{"machineId", Utf8(machine.id)}, {"checkpointId", Utf8(checkpoint)}},
       Utf8(machine.name) + ": applied " + Utf8(checkpoint) + "\n");
}

void Rename(Session& session, const Arguments& arguments) {
  const MachineRef machine = FindMachine(session.Root(), arguments.machine);
  const std::wstring checkpoint = FindCheckpoint(session.Root(), machine, arguments.checkpoint);
  Own(session.Root().CreateSnapshotManagement(machine.id.c_str()))
      ->RenameSnapshot(checkpoint.c_str(), Wide(arguments.name).c_str());
  Emit(session,
       Json{{"machineId", Utf8(machine.id)},
            {"checkpointId", Utf8(checkpoint)},
            {"name", arguments.name}},
       Utf8(checkpoint) + ": renamed " + arguments.name + "\n");
}

void Remove(Session& session, const Arguments& arguments) {
  const MachineRef machine = FindMachine(session.Root(), arguments.machine);
  const std::wstring checkpoint = FindCheckpoint(session.Root(), machine, arguments.checkpoint);
  {
    Progress progress("removing a checkpoint of " + Utf8(machine.name), !session.Json());
    Own(session.Root().CreateSnapshotManagement(machine.id.c_str()))
        ->DestroySnapshot(checkpoint.c_str(), arguments.subtree);
  }
  Emit(session,
       Json{{"machineId", Utf8(machine.id)},
            {"checkpointId", Utf8(checkpoint)},
            {"subtree", arguments.subtree}},
       Utf8(checkpoint) + (arguments.subtree ? ": removed with its subtree\n" : ": removed\n"));
}

}  // namespace

void AddActingCommands(CLI::App& app, Commands& commands) {
  auto arguments = std::make_shared<Arguments>();
  const auto machineArgument = [&](CLI::App* command) {
    command->add_option("machine", arguments->machine, "Name, machine id or configuration id")
        ->required();
  };
  const auto checkpointArgument = [&](CLI::App* command) {
    command->add_option("checkpoint", arguments->checkpoint, "Name or id of the checkpoint")
        ->required();
  };
  const struct {
    const char* name;
    const char* help;
    PowerAction action;
    const char* doing;
  } powers[] = {{"start", "Start a machine", &IMachineManagement::Start, "starting"},
                {"stop", "Turn a machine off (hard)", &IMachineManagement::PowerOff, "stopping"},
                {"save", "Save a machine's state", &IMachineManagement::Save, "saving"}};
  for (const auto& power : powers) {
    auto* command = app.add_subcommand(power.name, power.help);
    machineArgument(command);
    const PowerAction action = power.action;
    const char* doing = power.doing;
    commands.push_back({command, [arguments, action, doing](Session& s) {
                          Power(s, arguments->machine, action, doing);
                        }});
  }
  auto* remove = app.add_subcommand("delete", "Delete a machine");
  machineArgument(remove);
  commands.push_back({remove, [arguments](Session& s) { Delete(s, arguments->machine); }});

  auto* checkpoint = app.add_subcommand("checkpoint", "Take a checkpoint of a machine");
  machineArgument(checkpoint);
  checkpoint->add_flag("--recovery", arguments->recovery,
                       "A recovery checkpoint, the one a backup copies from");
  checkpoint->add_flag("--no-fallback", arguments->noFallback,
                       "With --recovery: fail rather than fall back to crash consistent");
  commands.push_back({checkpoint, [arguments](Session& s) { TakeCheckpoint(s, *arguments); }});
  auto* apply = app.add_subcommand("apply", "Revert a machine to a checkpoint");
  machineArgument(apply);
  checkpointArgument(apply);
  commands.push_back({apply, [arguments](Session& s) { Apply(s, *arguments); }});
  auto* rename = app.add_subcommand("rename", "Rename a checkpoint");
  machineArgument(rename);
  checkpointArgument(rename);
  rename->add_option("name", arguments->name, "The new name")->required();
  commands.push_back({rename, [arguments](Session& s) { Rename(s, *arguments); }});
  auto* destroy = app.add_subcommand("remove", "Remove a checkpoint");
  machineArgument(destroy);
  checkpointArgument(destroy);
  destroy->add_flag("--subtree", arguments->subtree, "With every checkpoint taken from it");
  commands.push_back({destroy, [arguments](Session& s) { Remove(s, *arguments); }});
}

}  // namespace quorvane::cli
