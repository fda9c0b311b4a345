#include "simhost/scenario_hand_written.h"

#include <set>
#include <string_view>
#include <vector>

#include "quorvane/exceptions.h"
#include "simhost/hyperv_model.h"
#include "simhost/scenario_reading.h"
#include "util/case_insensitive.h"
#include "util/text.h"

namespace quorvane::sim {
namespace {

using nlohmann::json;

constexpr std::uint64_t kGiB = 1ull << 30;
constexpr std::uint64_t kDefaultDiskSize = 40 * kGiB;

std::wstring Text(const json& object, const char* name, const std::string& place,
                  const std::wstring& fallback = L"") {
  if (!object.contains(name)) {
    return fallback;
  }
  if (!object.at(name).is_string()) {
    Reject(place + "/" + name, "expected a string");
  }
  return FromUtf8(object.at(name).get<std::string>());
}

void RequireObject(const json& value, const std::string& place) {
  if (!value.is_object()) {
    Reject(place, "expected an object");
  }
}

std::uint16_t StateOf(const json& machine, const std::string& place) {
  if (!machine.contains("state") || !machine.at("state").is_string()) {
    return Setting<std::uint16_t>(machine, "state", kStateOff, place);
  }
  const std::wstring state = FromUtf8(machine.at("state").get<std::string>());
  for (const auto& [name, value] :
       {std::pair{L"running", kStateRunning}, std::pair{L"off", kStateOff},
        std::pair{L"saved", kStateSaved}, std::pair{L"paused", kStatePaused}}) {
    if (EqualsNoCase(state, name)) {
      return value;
    }
  }
  Reject(place + "/state", "expected \"running\", \"off\", \"saved\" or \"paused\"");
}

constexpr char kExpectedGuid[] =
    "expected a GUID as Hyper-V writes one, such as 6B5F2E9C-1D3A-4E7B-8C9D-0A1B2C3D4E5F";
// What a machine can be given on Windows Server 2022.
constexpr std::uint64_t kLargestMemoryMb = 12ull * 1024 * 1024;
constexpr std::uint64_t kMostProcessors = 2048;

// The largest virtual disk, a VHDX of 64 TiB.
constexpr std::uint64_t kLargestDiskGb = 64 * 1024;

constexpr std::string_view kParentStep = "/parent";

// A disk file and the chain below it: a path, or {"path", "sizeGb", "parent"} with the parent
// given the same way. Files already made are reused when they stand on the same parent. Returns
// the path. The chain is walked without recursion, so that its depth costs no more than its
// length.
std::wstring MakeDiskChain(HostCore& host, const json& disk, const std::string& place) {
  std::vector<const json*> chain;  // from the top down to the base
  for (const json* entry = &disk;; entry = &entry->at("parent")) {
    chain.push_back(entry);
    if (!entry->is_object() || !entry->contains("parent")) {
      break;
    }
  }
  // The place of the entry in hand, from the base up: one step shorter each time.
  std::string where = place;
  for (std::size_t i = 1; i < chain.size(); ++i) {
    where += kParentStep;
  }
  std::wstring parent;
  for (std::size_t depth = chain.size(); depth-- > 0;) {
    const json& entry = *chain[depth];
    const bool declaresParent = depth + 1 < chain.size();
    std::wstring path;
    std::uint64_t sizeGb = 0;
    if (entry.is_string()) {
      path = FromUtf8(entry.get<std::string>());
    } else {
      RequireObject(entry, where);
      RejectUnknownKeys(entry, {"path", "sizeGb", "parent"}, where);
      path = Text(entry, "path", where);
      if (entry.contains("sizeGb")) {
        sizeGb = Setting<std::uint64_t>(entry, "sizeGb", 0, where);
        if (sizeGb == 0 || sizeGb > kLargestDiskGb) {
          Reject(where + "/sizeGb", "must be from 1 to 65536 (64 TiB, the largest VHDX)");
        }
      }
    }
    if (path.empty()) {
      Reject(entry.is_string() ? where : where + "/path", "a disk needs a path");
    }
    if (const VirtualDisk* made = host.Disks().Find(path)) {
      if (declaresParent && !EqualsNoCase(made->parentPath, parent)) {
        Reject(where, "names a file that already stands on another parent, or on itself");
      }
    } else {
      const VirtualDisk* below = parent.empty() ? nullptr : host.Disks().Find(parent);
      const std::uint64_t size = sizeGb != 0        ? sizeGb * kGiB
                                 : below != nullptr ? below->maxInternalSize
                                                    : kDefaultDiskSize;
      CreateDiskFile(host, path, size, parent);
    }
    parent = path;
    if (depth > 0) {
      where.resize(where.size() - kParentStep.size());
    }
  }
  return parent;
}

void AddMachine(HostCore& host, const json& entry, const std::string& place) {
  RequireObject(entry, place);
  RejectUnknownKeys(
      entry,
      {"name", "id", "generation", "version", "memoryMb", "processors", "dynamicMemory", "state",
       "planned", "dataRoot", "disks", "dvds", "security", "checkpoints"},
      place);
  MachineDefinition definition;
  definition.name = Text(entry, "name", place);
  if (definition.name.empty()) {
    Reject(place + "/name", "a machine needs a name");
  }
  definition.id = Text(entry, "id", place);
  if (entry.contains("id") && !IsGuidText(definition.id)) {
    Reject(place + "/id", kExpectedGuid);
  }
  const auto generation = Setting<std::uint16_t>(entry, "generation", 2, place);
  if (generation != 1 && generation != 2) {
    Reject(place + "/generation", "expected 1 or 2");
  }
  definition.generation2 = generation == 2;
  definition.version = Text(entry, "version", place, definition.version);
  if (!SupportsVersion(definition.version)) {
    Reject(place + "/version", "the host does not list this configuration version");
  }
  definition.memoryMb = Setting<std::uint64_t>(entry, "memoryMb", definition.memoryMb, place);
  if (definition.memoryMb == 0 || definition.memoryMb > kLargestMemoryMb) {
    Reject(place + "/memoryMb", "must be from 1 to 12582912 (12 TiB, the most a machine takes)");
  }
  definition.processors = Setting<std::uint64_t>(entry, "processors", definition.processors, place);
  if (definition.processors == 0 || definition.processors > kMostProcessors) {
    Reject(place + "/processors", "must be from 1 to 2048");
  }
  definition.dynamicMemory = Setting<bool>(entry, "dynamicMemory", false, place);
  definition.enabledState = StateOf(entry, place);
  definition.planned = Setting<bool>(entry, "planned", false, place);
  definition.dataRoot = Text(entry, "dataRoot", place, definition.dataRoot);
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  if (!definition.id.empty() && MachineByName(v2, definition.id)) {
    Reject(place + "/id", "another machine has this id");
  }
  const Repository::Id machine = DefineMachine(host, definition);
  const bool hasDevices = entry.contains("disks") || entry.contains("dvds") ||
                          entry.contains("checkpoints") || entry.contains("security");
  if (definition.planned) {
    if (hasDevices) {
      Reject(place, "a planned machine has no disks, DVDs, checkpoints or security here");
    }
    return;
  }
  const Repository::Id settings = *RealizedSettingsOf(v2, machine);
  const json& disks = ArrayAt(entry, "disks", place);
  for (std::size_t i = 0; i < disks.size(); ++i) {
    const std::string where = place + "/disks/" + std::to_string(i);
    AttachAtFreePlace(host, settings, MakeDiskChain(host, disks[i], where), false);
  }
  const json& dvds = ArrayAt(entry, "dvds", place);
  for (std::size_t i = 0; i < dvds.size(); ++i) {
    if (!dvds[i].is_string()) {
      Reject(place + "/dvds/" + std::to_string(i), "expected the path of an image");
    }
    AttachAtFreePlace(host, settings, FromUtf8(dvds[i].get<std::string>()), true);
  }
  if (entry.contains("security")) {
    const json& security = entry.at("security");
    const std::string where = place + "/security";
    RequireObject(security, where);
    RejectUnknownKeys(security, {"tpm", "shielding", "encryptState"}, where);
    SetSecurity(v2, v2.Property(machine, L"Name").AsWideString(),
                Setting<bool>(security, "tpm", false, where),
                Setting<bool>(security, "shielding", false, where),
                Setting<bool>(security, "encryptState", false, where));
  }
  const json& checkpoints = ArrayAt(entry, "checkpoints", place);
  for (std::size_t i = 0; i < checkpoints.size(); ++i) {
    const std::string where = place + "/checkpoints/" + std::to_string(i);
    const json& checkpoint = checkpoints[i];
    if (checkpoint.is_string()) {
      TakeSnapshot(host, machine, kSnapshotStandard, FromUtf8(checkpoint.get<std::string>()));
      continue;
    }
    RequireObject(checkpoint, where);
    RejectUnknownKeys(checkpoint, {"name", "recovery"}, where);
    const bool recovery = Setting<bool>(checkpoint, "recovery", false, where);
    TakeSnapshot(host, machine, recovery ? kSnapshotRecovery : kSnapshotStandard,
                 Text(checkpoint, "name", where));
  }
}

}  // namespace

bool IsHandWritten(const json& document) {
  return !document.contains("namespaces");
}

void ExpandHandWritten(HostCore& host, const json& document) {
  const json& switches = ArrayAt(document, "switches", "");
  std::set<std::wstring, LessNoCase> switchIds;
  for (std::size_t i = 0; i < switches.size(); ++i) {
    const std::string place = "/switches/" + std::to_string(i);
    if (switches[i].is_string()) {
      AddSwitch(host, FromUtf8(switches[i].get<std::string>()), L"");
      continue;
    }
    RequireObject(switches[i], place);
    RejectUnknownKeys(switches[i], {"name", "id"}, place);
    const std::wstring name = Text(switches[i], "name", place);
    if (name.empty()) {
      Reject(place + "/name", "a switch needs a name");
    }
    const std::wstring id = Text(switches[i], "id", place);
    if (switches[i].contains("id") && !IsGuidText(id)) {
      Reject(place + "/id", kExpectedGuid);
    }
    if (!id.empty() && !switchIds.insert(id).second) {
      Reject(place + "/id", "another switch has this id");
    }
    AddSwitch(host, name, id);
  }
  const json& machines = ArrayAt(document, "machines", "");
  for (std::size_t i = 0; i < machines.size(); ++i) {
    const std::string place = "/machines/" + std::to_string(i);
    try {
      AddMachine(host, machines[i], place);
    } catch (const DefaultException& e) {
      Reject(place, ToUtf8(e.GetMessageDescription()));
    }
  }
}

}  // namespace quorvane::sim
