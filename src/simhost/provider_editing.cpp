// How the management service defines machines and adds, changes and removes their devices.
#include <algorithm>

#include "simhost/hyperv_model.h"
#include "simhost/providers.h"
#include "simhost/sim_wmi.h"

namespace quorvane::sim {
namespace {

constexpr wchar_t kRemoveResources[] = L"RemoveResources";

// A request the provider turns down with a method result.
struct Refusal {
  std::uint32_t code;
};

WmiValue ValueOf(const PropertyList& properties, std::wstring_view name) {
  for (const auto& [key, value] : properties) {
    if (EqualsNoCase(key, name)) {
      return value;
    }
  }
  return WmiValue();
}

// What a client's text says, less what the provider decides itself.
PropertyList Settable(const PropertyList& properties,
                      std::initializer_list<const wchar_t*> decidedByHost) {
  PropertyList out;
  for (const auto& entry : properties) {
    if (std::none_of(decidedByHost.begin(), decidedByHost.end(),
                     [&](const wchar_t* name) { return EqualsNoCase(entry.first, name); })) {
      out.push_back(entry);
    }
  }
  return out;
}

bool IsPartOf(const Repository& repository, Repository::Id settings, Repository::Id part) {
  const auto parts = PartsOf(repository, settings);
  return std::find(parts.begin(), parts.end(), part) != parts.end();
}

// The part of the machine's settings a text's "Parent" names.
Repository::Id ParentPart(const Repository& repository, Repository::Id settings,
                          const PropertyList& properties) {
  const auto parent = repository.Find(ValueOf(properties, L"Parent").AsWideString());
  if (!parent || !IsPartOf(repository, settings, *parent)) {
    throw Refusal{kInvalidParameter};
  }
  return *parent;
}

Repository::Id AddDrive(HostCore& host, Repository::Id settings, const ParsedInstance& text,
                        bool dvd) {
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  const Repository::Id controller = ParentPart(v2, settings, text.properties);
  const std::wstring address = ValueOf(text.properties, L"AddressOnParent").AsWideString();
  const std::uint32_t slot = static_cast<std::uint32_t>(std::wcstoul(address.c_str(), nullptr, 10));
  if (address.empty() || slot >= SlotsOf(v2, controller)) {
    throw Refusal{kInvalidParameter};
  }
  if (SlotTaken(v2, settings, controller, slot)) {
    throw Refusal{kInvalidState};  // the slot holds a drive already
  }
  return CreateDrive(host, settings, controller, slot, dvd,
                     Settable(text.properties, {L"InstanceID", L"Parent", L"AddressOnParent"}));
}

Repository::Id AddMedium(HostCore& host, Repository::Id settings, const ParsedInstance& text,
                         bool dvd) {
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  const Repository::Id drive = ParentPart(v2, settings, text.properties);
  const auto files = ValueOf(text.properties, L"HostResource").AsWideStringArray();
  if (files.empty()) {
    throw Refusal{kInvalidParameter};
  }
  if (!dvd && host.Disks().Find(files.front()) == nullptr) {
    throw Refusal{kFileNotFound};
  }
  return CreateMedium(host, settings, drive, files.front(), dvd,
                      Settable(text.properties, {L"InstanceID", L"Parent", L"HostResource"}));
}

Repository::Id AddPort(HostCore& host, Repository::Id settings, const ParsedInstance& text) {
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  const std::wstring guid = host.NewGuid();
  PropertyList properties = Settable(text.properties, {L"InstanceID", L"Address"});
  properties.emplace_back(
      L"InstanceID",
      WmiValue::String(v2.Property(settings, L"InstanceID").AsWideString() + L"\\" + guid));
  properties.emplace_back(L"Address", WmiValue::String(L"00155D" + guid.substr(0, 6)));
  const auto port = v2.Create(text.cls->name, properties);
  AddPart(v2, settings, port);
  return port;
}

Repository::Id AddConnection(HostCore& host, Repository::Id settings, const ParsedInstance& text) {
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  const Repository::Id port = ParentPart(v2, settings, text.properties);
  PropertyList properties = Settable(text.properties, {L"InstanceID", L"Parent"});
  properties.emplace_back(
      L"InstanceID", WmiValue::String(v2.Property(port, L"InstanceID").AsWideString() + L"\\C"));
  properties.emplace_back(L"Parent", WmiValue::String(v2.FullPath(port)));
  const auto connection = v2.Create(text.cls->name, properties);
  AddPart(v2, settings, connection);
  return connection;
}

Repository::Id AddResource(HostCore& host, Repository::Id settings, const ParsedInstance& text) {
  const std::wstring subType = ValueOf(text.properties, L"ResourceSubType").AsWideString();
  if (subType == kScsiControllerSubType) {
    return AddScsiController(host, settings);
  }
  if (subType == kDiskDriveSubType || subType == kDvdDriveSubType) {
    return AddDrive(host, settings, text, subType == kDvdDriveSubType);
  }
  if (subType == kHardDiskSubType || subType == kDvdMediumSubType) {
    return AddMedium(host, settings, text, subType == kDvdMediumSubType);
  }
  if (subType == kPortSubType) {
    return AddPort(host, settings, text);
  }
  if (subType == kConnectionSubType) {
    return AddConnection(host, settings, text);
  }
  throw Refusal{kInvalidParameter};
}

// A device and what hangs on it: the medium in a drive, the connection of a port, the
// features of a connection.
void DeleteDevice(Repository& repository, Repository::Id device) {
  if (!repository.Contains(device)) {
    return;
  }
  const std::wstring path = repository.FullPath(device);
  for (const auto other : repository.All()) {
    const WmiValue parent = repository.Get(other).Get(L"Parent");
    if (parent.Kind() == WmiKind::String && EqualsNoCase(parent.AsWideString(), path)) {
      DeleteDevice(repository, other);
    }
  }
  for (const auto& link : repository.LinksOf(device)) {
    if (EqualsNoCase(repository.Get(link.association).cls->name,
                     L"Msvm_EthernetPortSettingDataComponent")) {
      repository.Delete(link.endpoint);
    }
  }
  repository.Delete(device);
}

std::optional<Repository::Id> SettingsAt(MethodCall& call, const wchar_t* parameter) {
  const auto id = call.repository.Find(call.In(parameter).AsWideString());
  if (!id || !EqualsNoCase(call.repository.Get(*id).cls->name, L"Msvm_VirtualSystemSettingData")) {
    return std::nullopt;
  }
  return id;
}

// Added objects exist as soon as the call returns ("ResultingResourceSettings" names them);
// the job only reports the end.
std::uint32_t AddResourceSettings(MethodCall& call) {
  const auto settings = SettingsAt(call, L"AffectedConfiguration");
  if (!settings) {
    return kInvalidParameter;
  }
  std::vector<std::wstring> made;
  try {
    for (const auto& text : call.In(L"ResourceSettings").AsWideStringArray()) {
      made.push_back(
          call.repository.FullPath(AddResource(call.host, *settings, ParseEmbeddedInstance(text))));
    }
  } catch (const Refusal& refusal) {
    return refusal.code;
  }
  call.out[L"ResultingResourceSettings"] = WmiValue::Array(made);
  return call.Complete(kJobAddResources, {});
}

std::uint32_t ModifyResourceSettings(MethodCall& call) {
  std::vector<std::pair<Repository::Id, PropertyList>> changes;
  for (const auto& text : call.In(L"ResourceSettings").AsWideStringArray()) {
    const ParsedInstance parsed = ParseEmbeddedInstance(text);
    const auto id = call.repository.Find(FormatRelativePath(
        parsed.cls->name,
        {{L"InstanceID", ValueOf(parsed.properties, L"InstanceID").AsWideString()}}));
    if (!id) {
      return kInvalidParameter;
    }
    changes.emplace_back(*id, Settable(parsed.properties, {L"InstanceID"}));
  }
  std::vector<std::wstring> paths;
  for (const auto& [id, properties] : changes) {
    for (const auto& [name, value] : properties) {
      call.repository.Set(id, name, value);
    }
    paths.push_back(call.repository.FullPath(id));
  }
  call.out[L"ResultingResourceSettings"] = WmiValue::Array(paths);
  return call.Complete(kJobModifyResources, {});
}

std::uint32_t RemoveResourceSettings(MethodCall& call) {
  Deferred removal{kRemoveResources, {}};
  for (const auto& path : call.In(L"ResourceSettings").AsWideStringArray()) {
    const auto id = call.repository.Find(path);
    if (!id) {
      return kInvalidParameter;
    }
    removal.arguments.emplace_back(L"Resource", call.repository.RelativePath(*id));
  }
  return call.Complete(kJobRemoveResources, std::move(removal));
}

void RemoveResources(JobContext& job, const Deferred& work) {
  std::vector<Repository::Id> doomed;
  for (const auto& argument : work.arguments) {
    doomed.push_back(job.ObjectAt(argument.second));
  }
  for (const auto id : doomed) {
    DeleteDevice(job.repository, id);
  }
}

std::uint32_t AddFeatureSettings(MethodCall& call) {
  const auto connection = call.repository.Find(call.In(L"AffectedConfiguration").AsWideString());
  if (!connection) {
    return kInvalidParameter;
  }
  std::vector<std::wstring> made;
  for (const auto& text : call.In(L"FeatureSettings").AsWideStringArray()) {
    const ParsedInstance parsed = ParseEmbeddedInstance(text);
    PropertyList properties = Settable(parsed.properties, {L"InstanceID"});
    properties.emplace_back(
        L"InstanceID",
        WmiValue::String(call.repository.Property(*connection, L"InstanceID").AsWideString() +
                         L"\\" + call.host.NewGuid() + L"\\" + call.host.NewGuid()));
    const auto feature = call.repository.Create(parsed.cls->name, properties);
    call.repository.Associate(L"Msvm_EthernetPortSettingDataComponent", L"GroupComponent",
                              *connection, L"PartComponent", feature);
    made.push_back(call.repository.FullPath(feature));
  }
  call.out[L"ResultingFeatureSettings"] = WmiValue::Array(made);
  return call.Complete(kJobAddFeatures, {});
}

// A new machine with the defaults Hyper-V gives: generation 1 unless the text says 2.
std::uint32_t DefineSystem(MethodCall& call) {
  const std::wstring text = call.In(L"SystemSettings").AsWideString();
  if (text.empty()) {
    return kInvalidParameter;
  }
  const ParsedInstance parsed = ParseEmbeddedInstance(text);
  MachineDefinition definition;
  definition.name = ValueOf(parsed.properties, L"ElementName").AsWideString();
  definition.generation2 = ValueOf(parsed.properties, L"VirtualSystemSubType").AsWideString() ==
                           L"Microsoft:Hyper-V:SubType:2";
  if (const auto version = ValueOf(parsed.properties, L"Version").AsWideString();
      !version.empty()) {
    if (!SupportsVersion(version)) {
      return kInvalidParameter;
    }
    definition.version = version;
  }
  if (const auto root = ValueOf(parsed.properties, L"ConfigurationDataRoot").AsWideString();
      !root.empty()) {
    definition.dataRoot = root;
  }
  const Repository::Id machine = DefineMachine(call.host, definition);
  const Repository::Id settings = *RealizedSettingsOf(call.repository, machine);
  for (const auto* property : {L"SnapshotDataRoot", L"SecureBootEnabled", L"VirtualNumaEnabled"}) {
    const WmiValue value = ValueOf(parsed.properties, property);
    if (!value.IsNull()) {
      call.repository.Set(settings, property, value);
    }
  }
  call.out[L"ResultingSystem"] = WmiValue::String(call.repository.FullPath(machine));
  return call.Complete(kJobDefineSystem,
                       {kAffectElement, {{L"Element", call.repository.RelativePath(machine)}}});
}

}  // namespace

void InstallEditingBehaviours(HostCore& host) {
  const wchar_t* service = L"Msvm_VirtualSystemManagementService";
  host.RegisterMethod(service, L"DefineSystem", DefineSystem);
  host.RegisterMethod(service, L"AddResourceSettings", AddResourceSettings);
  host.RegisterMethod(service, L"ModifyResourceSettings", ModifyResourceSettings);
  host.RegisterMethod(service, L"RemoveResourceSettings", RemoveResourceSettings);
  host.RegisterMethod(service, L"AddFeatureSettings", AddFeatureSettings);
  host.RegisterDeferred(kRemoveResources, RemoveResources);
}

}  // namespace quorvane::sim
