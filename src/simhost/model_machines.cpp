#include <algorithm>

#include "simhost/hyperv_model.h"
#include "util/case_insensitive.h"

namespace quorvane::sim {
namespace {

constexpr wchar_t kMemorySuffix[] = L"\\4764334d-e001-4176-82ee-5594ec9b530e";
constexpr wchar_t kProcessorSuffix[] = L"\\b637f346-6a0e-4dec-af52-bd70cb80a21d\\0";

// "web - (5/30/2026 - 2:27:45 AM)", as Hyper-V names a new checkpoint: the host's local time,
// month, day and hour without leading zeros.
std::wstring SnapshotName(const std::wstring& machineName, const std::wstring& localNow) {
  const auto number = [&](std::size_t at) { return std::stoi(localNow.substr(at, 2)); };
  const int hour = number(8);
  const std::wstring time = std::to_wstring(hour % 12 == 0 ? 12 : hour % 12) + L":" +
                            localNow.substr(10, 2) + L":" + localNow.substr(12, 2) +
                            (hour < 12 ? L" AM" : L" PM");
  return machineName + L" - (" + std::to_wstring(number(4)) + L"/" + std::to_wstring(number(6)) +
         L"/" + localNow.substr(0, 4) + L" - " + time + L")";
}

// A path to a part of one settings object, moved to the same part of another.
std::wstring Rebase(const Repository& repository, const std::wstring& path,
                    const std::wstring& from, const std::wstring& to) {
  auto parsed = ParseObjectPath(path);
  if (!parsed) {
    return path;
  }
  for (auto& [key, value] : parsed->keys) {
    if (value.rfind(from, 0) == 0) {
      value = to + value.substr(from.size());
    }
  }
  return FormatFullPath(repository.Server(), repository.NameSpace(),
                        FormatRelativePath(parsed->className, parsed->keys));
}

bool IsHardDisk(const Instance& part) {
  return part.Get(L"ResourceSubType") == WmiValue::String(kHardDiskSubType);
}

// A checkpoint freezes the machine's disks: the machine goes on in new differencing files whose
// parents are the files the checkpoint keeps.
void StartDifferencingDisks(HostCore& host, Repository::Id realized, const std::wstring& snapshotId,
                            const std::wstring& snapshotInstance) {
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  for (const auto part : PartsOf(v2, realized)) {
    if (!IsHardDisk(v2.Get(part))) {
      continue;
    }
    const auto files = v2.Property(part, L"HostResource").AsWideStringArray();
    if (files.empty() || host.Disks().Find(files.front()) == nullptr) {
      continue;
    }
    const std::wstring& parent = files.front();
    // Hyper-V names a differencing file after the chain's base file: "system_<GUID>.avhdx".
    const std::wstring base = host.Disks().RootOf(parent);
    const std::size_t dot = base.find_last_of(L'.');
    const std::wstring child =
        (dot == std::wstring::npos ? base : base.substr(0, dot)) + L"_" + snapshotId + L".avhdx";
    VirtualDisk& file =
        CreateDiskFile(host, child, host.Disks().Find(parent)->maxInternalSize, parent);
    file.mergedWith = snapshotInstance;
    // The guest must see the same disk through a checkpoint, so the differencing file keeps
    // the identity of the file below it.
    file.diskId = host.Disks().Find(parent)->diskId;
    v2.Set(part, L"HostResource", WmiValue::Array(std::vector<std::wstring>{child}));
  }
}

}  // namespace

void SetMachineStatus(Repository& repository, Repository::Id machine,
                      const std::vector<std::int32_t>& statuses) {
  std::vector<std::wstring> texts;
  for (const auto status : statuses) {
    texts.emplace_back(MachineStatusText(status));
  }
  repository.Set(machine, L"OperationalStatus", WmiValue::Array(statuses));
  repository.Set(machine, L"StatusDescriptions", WmiValue::Array(std::move(texts)));
}

std::vector<Repository::Id> PartsOf(const Repository& repository, Repository::Id settings) {
  return LinkedEnds(repository, settings, L"Msvm_VirtualSystemSettingDataComponent",
                    L"GroupComponent");
}

Repository::Id DefineMachine(HostCore& host, const MachineDefinition& definition) {
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  const std::wstring id = definition.id.empty() ? host.NewGuid() : definition.id;
  const std::wstring now = host.Now();
  const std::wstring root = definition.dataRoot;
  const std::wstring instance = L"Microsoft:" + id;

  const auto settings = v2.Create(
      L"Msvm_VirtualSystemSettingData",
      {{L"InstanceID", WmiValue::String(instance)},
       {L"ConfigurationID", WmiValue::String(id)},
       {L"VirtualSystemIdentifier", WmiValue::String(id)},
       {L"VirtualSystemType",
        WmiValue::String(definition.planned ? kPlannedSystem : kRealizedSystem)},
       {L"VirtualSystemSubType",
        WmiValue::String(definition.generation2 ? L"Microsoft:Hyper-V:SubType:2"
                                                : L"Microsoft:Hyper-V:SubType:1")},
       {L"ElementName", WmiValue::String(definition.name)},
       {L"Caption", WmiValue::String(L"Virtual Machine Settings")},
       {L"Description", WmiValue::String(L"Active settings for the virtual machine")},
       {L"Version", WmiValue::String(definition.version)},
       {L"CreationTime", WmiValue::String(now)},
       {L"ConfigurationDataRoot", WmiValue::String(root)},
       {L"ConfigurationFile", WmiValue::String(root + L"\\Virtual Machines\\" + id + L".vmcx")},
       {L"SnapshotDataRoot", WmiValue::String(root)},
       {L"SuspendDataRoot", WmiValue::String(root)},
       {L"SwapFileDataRoot", WmiValue::String(root)},
       {L"LogDataRoot", WmiValue::String(root)},
       {L"GuestStateDataRoot", WmiValue::String(root + L"\\Virtual Machines")},
       {L"GuestStateFile", WmiValue::String(id + L".vmgs")},
       {L"SecureBootEnabled", WmiValue::Boolean(definition.generation2)},
       {L"VirtualNumaEnabled", WmiValue::Boolean(true)}});
  const auto memory =
      v2.Create(L"Msvm_MemorySettingData",
                {{L"InstanceID", WmiValue::String(instance + kMemorySuffix)},
                 {L"Caption", WmiValue::String(L"Memory")},
                 {L"ElementName", WmiValue::String(L"Memory")},
                 {L"ResourceType", WmiValue::Int32(4)},
                 {L"ResourceSubType", WmiValue::String(kMemorySubType)},
                 {L"AllocationUnits", WmiValue::String(L"byte * 2^20")},
                 {L"VirtualQuantity", WmiValue::UInt64(definition.memoryMb)},
                 {L"Reservation", WmiValue::UInt64(definition.memoryMb)},
                 {L"Limit", WmiValue::UInt64(1048576)},
                 {L"DynamicMemoryEnabled", WmiValue::Boolean(definition.dynamicMemory)}});
  const auto processor = v2.Create(L"Msvm_ProcessorSettingData",
                                   {{L"InstanceID", WmiValue::String(instance + kProcessorSuffix)},
                                    {L"Caption", WmiValue::String(L"Processor")},
                                    {L"ElementName", WmiValue::String(L"Processor")},
                                    {L"ResourceType", WmiValue::Int32(3)},
                                    {L"ResourceSubType", WmiValue::String(kProcessorSubType)},
                                    {L"VirtualQuantity", WmiValue::UInt64(definition.processors)},
                                    {L"Limit", WmiValue::UInt64(100000)},
                                    {L"Reservation", WmiValue::UInt64(0)},
                                    {L"Weight", WmiValue::Int32(100)}});
  AddPart(v2, settings, memory);
  AddPart(v2, settings, processor);
  AddPart(v2, settings,
          v2.Create(L"Msvm_SecuritySettingData",
                    {{L"InstanceID", WmiValue::String(instance + L"\\SecuritySettingData")},
                     {L"TpmEnabled", WmiValue::Boolean(false)},
                     {L"ShieldingRequested", WmiValue::Boolean(false)},
                     {L"EncryptStateAndVmMigrationTraffic", WmiValue::Boolean(false)}}));
  AddDefaultControllers(host, settings, definition.generation2);
  if (definition.planned) {
    return settings;
  }
  const auto machine =
      v2.Create(L"Msvm_ComputerSystem",
                {{L"CreationClassName", WmiValue::String(L"Msvm_ComputerSystem")},
                 {L"Name", WmiValue::String(id)},
                 {L"ElementName", WmiValue::String(definition.name)},
                 {L"Caption", WmiValue::String(L"Virtual Machine")},
                 {L"Description", WmiValue::String(L"Microsoft Virtual Machine")},
                 {L"EnabledState", WmiValue::Int32(definition.enabledState)},
                 {L"RequestedState", WmiValue::Int32(kRequestedNoChange)},
                 {L"EnabledDefault", WmiValue::Int32(kStateRunning)},
                 {L"Status", WmiValue::String(L"OK")},
                 {L"HealthState", WmiValue::Int32(5)},
                 {L"EnhancedSessionModeState", WmiValue::Int32(3)},
                 {L"InstallDate", WmiValue::String(now)},
                 {L"TimeOfLastStateChange", WmiValue::String(now)},
                 {L"TimeOfLastConfigurationChange", WmiValue::String(now)},
                 {L"OnTimeInMilliseconds", WmiValue::UInt64(0)},
                 {L"NumberOfNumaNodes", WmiValue::Int32(1)},
                 {L"ResetCapability", WmiValue::Int32(1)},
                 {L"ReplicationState", WmiValue::Int32(0)},
                 {L"ReplicationHealth", WmiValue::Int32(0)},
                 {L"ReplicationMode", WmiValue::Int32(0)},
                 {L"FailedOverReplicationType", WmiValue::Int32(0)},
                 {L"LastReplicationType", WmiValue::Int32(0)},
                 {L"LastReplicationTime", WmiValue::String(kNeverDatetime)},
                 {L"LastApplicationConsistentReplicationTime", WmiValue::String(kNeverDatetime)}});
  SetMachineStatus(v2, machine,
                   {definition.operationalStatus.begin(), definition.operationalStatus.end()});
  v2.Associate(L"Msvm_SettingsDefineState", L"ManagedElement", machine, L"SettingData", settings);
  const auto merge =
      v2.Create(L"Msvm_DiskMergeSettingData",
                {{L"InstanceID", WmiValue::String(instance + L"\\DiskMergeSettingData")},
                 {L"Caption", WmiValue::String(L"Disk Merge Setting Data")},
                 {L"EnabledState", WmiValue::Int32(1)}});
  v2.Associate(L"Msvm_ElementSettingData", L"ManagedElement", machine, L"SettingData", merge);
  if (definition.enabledState == kStateRunning) {
    host.MarkRunning(v2, machine, true);
  }
  return machine;
}

Repository::Id TakeSnapshot(HostCore& host, Repository::Id machine, std::uint16_t snapshotType,
                            const std::wstring& name) {
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  const Repository::Id realized = *RealizedSettingsOf(v2, machine);
  const std::wstring id = host.NewGuid();
  const std::wstring instance = L"Microsoft:" + id;
  const bool recovery = snapshotType == 32768;
  const std::wstring now = host.Now();

  PropertyList copy = v2.Get(realized).properties.List();
  const std::wstring parentPath = v2.Property(realized, L"Parent").AsWideString();
  const auto replace = [&copy](const wchar_t* property, WmiValue value) {
    for (auto& entry : copy) {
      if (EqualsNoCase(entry.first, property)) {
        entry.second = std::move(value);
        return;
      }
    }
    copy.emplace_back(property, std::move(value));
  };
  replace(L"InstanceID", WmiValue::String(instance));
  replace(L"ConfigurationID", WmiValue::String(id));
  // A checkpoint's files are its own, in the machine's Snapshots folder, named by its id.
  const std::wstring snapshots =
      v2.Property(realized, L"SnapshotDataRoot").AsWideString() + L"\\Snapshots";
  replace(L"ConfigurationFile", WmiValue::String(snapshots + L"\\" + id + L".vmcx"));
  replace(L"GuestStateDataRoot", WmiValue::String(snapshots));
  replace(L"GuestStateFile", WmiValue::String(id + L".vmgs"));
  replace(L"VirtualSystemType", WmiValue::String(recovery ? kRecoverySnapshot : kRealizedSnapshot));
  replace(L"ElementName",
          WmiValue::String(name.empty()
                               ? SnapshotName(v2.Property(realized, L"ElementName").AsWideString(),
                                              host.LocalNow())
                               : name));
  replace(L"Description", WmiValue::String(L"Snapshot settings for the virtual machine"));
  replace(L"CreationTime", WmiValue::String(now));
  replace(L"Parent", parentPath.empty() ? WmiValue() : WmiValue::String(parentPath));
  const auto snapshot = v2.Create(L"Msvm_VirtualSystemSettingData", copy);

  const std::wstring realizedPrefix = v2.Property(realized, L"InstanceID").AsWideString();
  for (const auto part : PartsOf(v2, realized)) {
    const Instance& original = v2.Get(part);
    PropertyList partCopy = original.properties.List();
    for (auto& [property, value] : partCopy) {
      if (EqualsNoCase(property, L"InstanceID")) {
        value = WmiValue::String(instance + value.AsWideString().substr(realizedPrefix.size()));
      } else if (EqualsNoCase(property, L"Parent")) {
        value = WmiValue::String(Rebase(v2, value.AsWideString(), realizedPrefix, instance));
      }
    }
    AddPart(v2, snapshot, v2.Create(original.cls->name, partCopy));
  }
  StartDifferencingDisks(host, realized, id, instance);

  v2.Associate(L"Msvm_SnapshotOfVirtualSystem", L"Antecedent", machine, L"Dependent", snapshot);
  if (const auto parent = v2.Find(parentPath)) {
    v2.Associate(L"Msvm_ParentChildSettingData", L"Antecedent", *parent, L"Dependent", snapshot);
  }
  // A recovery checkpoint stays outside the machine's checkpoint tree: the machine does not
  // descend from it.
  if (!recovery) {
    for (const auto& link : v2.LinksOf(realized)) {
      if (EqualsNoCase(v2.Get(link.association).cls->name, L"Msvm_ParentChildSettingData")) {
        v2.Delete(link.association);
      }
    }
    for (const auto& link : v2.LinksOf(machine)) {
      if (EqualsNoCase(v2.Get(link.association).cls->name, L"Msvm_MostCurrentSnapshotInBranch")) {
        v2.Delete(link.association);
      }
    }
    v2.Set(realized, L"Parent", WmiValue::String(v2.FullPath(snapshot)));
    v2.Associate(L"Msvm_ParentChildSettingData", L"Antecedent", snapshot, L"Dependent", realized);
    v2.Associate(L"Msvm_MostCurrentSnapshotInBranch", L"Antecedent", machine, L"Dependent",
                 snapshot);
  }
  return snapshot;
}

Repository::Id AddSwitch(HostCore& host, const std::wstring& name, std::wstring id) {
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  if (id.empty()) {
    id = host.NewGuid();
  }
  const auto ethernetSwitch =
      v2.Create(L"Msvm_VirtualEthernetSwitch",
                {{L"CreationClassName", WmiValue::String(L"Msvm_VirtualEthernetSwitch")},
                 {L"Name", WmiValue::String(id)},
                 {L"ElementName", WmiValue::String(name)},
                 {L"Caption", WmiValue::String(L"Virtual Switch")},
                 {L"Description", WmiValue::String(L"Microsoft Virtual Switch")},
                 {L"EnabledState", WmiValue::Int32(2)}});
  const auto settings =
      v2.Create(L"Msvm_VirtualEthernetSwitchSettingData",
                {{L"InstanceID", WmiValue::String(L"Microsoft:" + id)},
                 {L"VirtualSystemIdentifier", WmiValue::String(id)},
                 {L"ElementName", WmiValue::String(name)},
                 {L"Caption", WmiValue::String(L"Virtual Ethernet Switch Settings")}});
  v2.Associate(L"Msvm_SettingsDefineState", L"ManagedElement", ethernetSwitch, L"SettingData",
               settings);
  return ethernetSwitch;
}

std::optional<Repository::Id> RealizedSettingsOf(const Repository& repository,
                                                 Repository::Id machine) {
  const auto settings =
      LinkedEnds(repository, machine, L"Msvm_SettingsDefineState", L"ManagedElement");
  return settings.empty() ? std::nullopt : std::optional(settings.front());
}

std::optional<Repository::Id> MachineByName(const Repository& repository,
                                            const std::wstring& name) {
  return repository.Find(FormatRelativePath(
      L"Msvm_ComputerSystem", {{L"CreationClassName", L"Msvm_ComputerSystem"}, {L"Name", name}}));
}

bool SetSecurity(Repository& repository, const std::wstring& machineId, bool tpm, bool shielding,
                 bool encryptState) {
  const auto id = repository.Find(
      FormatRelativePath(L"Msvm_SecuritySettingData",
                         {{L"InstanceID", L"Microsoft:" + machineId + L"\\SecuritySettingData"}}));
  if (!id) {
    return false;
  }
  repository.Set(*id, L"TpmEnabled", WmiValue::Boolean(tpm));
  repository.Set(*id, L"ShieldingRequested", WmiValue::Boolean(shielding));
  repository.Set(*id, L"EncryptStateAndVmMigrationTraffic", WmiValue::Boolean(encryptState));
  return true;
}

}  // namespace quorvane::sim
