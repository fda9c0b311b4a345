// Defining a machine, or editing one, from a small JSON description.
#include <fstream>
#include <memory>
#include <sstream>

#include "commands.h"
#include "lookup.h"
#include "output.h"
#include "progress.h"
#include "utf8.h"

namespace quorvane::cli {
namespace {

struct Arguments {
  std::string machine;
  std::string file;
};

Json ReadDescription(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    throw UsageError(file + ": cannot be opened");
  }
  std::stringstream text;
  text << in.rdbuf();
  Json description = Json::parse(text.str(), nullptr, false);
  if (!description.is_object()) {
    throw UsageError(file + ": expected a JSON object");
  }
  static const char* const kKnown[] = {"name",          "generation",   "version", "memoryMb",
                                       "dynamicMemory", "processors",   "disks",   "adapters",
                                       "secureBoot",    "scsiDataDisks"};
  for (const auto& [key, value] : description.items()) {
    if (std::find(std::begin(kKnown), std::end(kKnown), key) == std::end(kKnown)) {
      throw UsageError(file + ": unknown field \"" + key + "\"");
    }
  }
  return description;
}

// A switch's id from its name or id.
std::wstring FindSwitch(IQuorvane& root, const std::string& text) {
  const std::wstring wanted = Wide(text);
  auto switches = Own(root.CreateSwitchEnumerator());
  std::wstring found;
  while (switches->Next()) {
    if (wanted == switches->GetId()) {
      return switches->GetId();
    }
    if (wanted == switches->GetName()) {
      if (!found.empty()) {
        throw UsageError("several switches are named \"" + text + "\"; give its id");
      }
      found = switches->GetId();
    }
  }
  if (found.empty()) {
    throw UsageError("no switch \"" + text + "\"");
  }
  return found;
}

template <typename T>
T Field(const Json& description, const char* name, const std::string& file) {
  try {
    return description.at(name).get<T>();
  } catch (const Json::exception&) {
    throw UsageError(file + ": \"" + name + "\" has the wrong type");
  }
}

// Records the description's settings on an editor (or a builder).
void Describe(IQuorvane& root, const Json& description, const std::string& file,
              IMachineEditor& editor) {
  if (description.contains("name")) {
    editor.SetName(Wide(Field<std::string>(description, "name", file)).c_str());
  }
  if (description.contains("memoryMb")) {
    editor.SetMemorySize(Field<std::uint64_t>(description, "memoryMb", file));
  }
  if (description.contains("dynamicMemory")) {
    editor.SetDynamicMemory(Field<bool>(description, "dynamicMemory", file));
  }
  if (description.contains("processors")) {
    editor.SetProcessorCount(Field<std::uint64_t>(description, "processors", file));
  }
  if (description.contains("secureBoot")) {
    editor.SetSecureBoot(Field<bool>(description, "secureBoot", file));
  }
  if (description.contains("scsiDataDisks")) {
    editor.SetScsiDataDisks(Field<bool>(description, "scsiDataDisks", file));
  }
  for (const auto& disk : Field<std::vector<std::string>>(
           description.contains("disks") ? description : Json{{"disks", Json::array()}}, "disks",
           file)) {
    editor.AddDisk(Wide(disk).c_str());
  }
  for (const auto& adapter : description.value("adapters", Json::array())) {
    if (!adapter.is_object() || (adapter.contains("switch") && !adapter["switch"].is_string())) {
      throw UsageError(file + ": an adapter is {\"switch\": name, \"vlan\": id}");
    }
    if (!adapter.contains("switch")) {
      editor.AddDisconnectedNetworkAdapter();
      continue;
    }
    const std::wstring id = FindSwitch(root, adapter["switch"].get<std::string>());
    if (adapter.contains("vlan")) {
      editor.AddNetworkAdapterWithVlan(id.c_str(), Field<std::uint32_t>(adapter, "vlan", file));
    } else {
      editor.AddNetworkAdapter(id.c_str());
    }
  }
}

void Define(Session& session, const Arguments& arguments) {
  const Json description = ReadDescription(arguments.file);
  auto builder = Own(session.Root().CreateMachineBuilder());
  if (description.contains("generation")) {
    builder->SetGeneration2(Field<int>(description, "generation", arguments.file) == 2);
  }
  if (description.contains("version")) {
    builder->SetVersion(Wide(Field<std::string>(description, "version", arguments.file)).c_str());
  }
  Describe(session.Root(), description, arguments.file, *builder);
  {
    Progress progress("defining the machine", !session.Json());
    builder->Commit();
  }
  const std::string id = Utf8(builder->GetMachineId());
  Emit(session, Json{{"machineId", id}, {"name", description.value("name", "")}},
       "defined " + id + "\n");
}

void Edit(Session& session, const Arguments& arguments) {
  const MachineRef machine = FindMachine(session.Root(), arguments.machine);
  const Json description = ReadDescription(arguments.file);
  if (description.contains("generation") || description.contains("version")) {
    throw UsageError(arguments.file + ": a machine's generation and version cannot be edited");
  }
  auto editor = Own(session.Root().CreateMachineEditor(machine.id.c_str()));
  Describe(session.Root(), description, arguments.file, *editor);
  {
    Progress progress("editing " + Utf8(machine.name), !session.Json());
    editor->Commit();
  }
  Emit(session, Json{{"machineId", Utf8(machine.id)}, {"name", Utf8(machine.name)}},
       "edited " + Utf8(machine.id) + "\n");
}

}  // namespace

void AddDefiningCommands(CLI::App& app, Commands& commands) {
  auto arguments = std::make_shared<Arguments>();
  auto* define = app.add_subcommand("define", "Define a machine from a JSON description");
  define->add_option("file", arguments->file, "The description (see docs/cli.md)")->required();
  commands.push_back({define, [arguments](Session& s) { Define(s, *arguments); }});
  auto* edit = app.add_subcommand("edit", "Change a machine as a JSON description says");
  edit->add_option("machine", arguments->machine, "Name, machine id or configuration id")
      ->required();
  edit->add_option("file", arguments->file, "The description (see docs/cli.md)")->required();
  commands.push_back({edit, [arguments](Session& s) { Edit(s, *arguments); }});
}

}  // namespace quorvane::cli
