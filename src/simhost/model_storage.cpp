#include <algorithm>
#include <cwchar>

#include "quorvane/exceptions.h"
#include "simhost/hyperv_model.h"

namespace quorvane::sim {
namespace {

// "Format" as Hyper-V gives it for the file's extension: 2 VHD, 4 VHD Set, otherwise 3 VHDX.
std::uint16_t FormatOfExtension(const std::wstring& path) {
  const auto dot = path.rfind(L'.');
  const std::wstring extension = dot == std::wstring::npos ? L"" : path.substr(dot);
  if (EqualsNoCase(extension, L".vhd")) {
    return 2;
  }
  return EqualsNoCase(extension, L".vhds") ? 4 : 3;
}

constexpr wchar_t kIdeControllerGuid[] = L"83F8638B-8DCA-4152-9EDA-2CA8B33039B4";
constexpr std::int32_t kIdeType = 5;
constexpr std::int32_t kScsiType = 6;
constexpr std::uint32_t kIdeSlots = 2;
constexpr std::uint32_t kScsiSlots = 64;
constexpr std::size_t kMaxScsiControllers = 4;

bool IsController(const Instance& part) {
  const auto type = part.Get(L"ResourceType");
  return !type.IsNull() && (type.AsInteger() == kIdeType || type.AsInteger() == kScsiType);
}

// Slots of a controller that hold a drive.
std::vector<std::uint32_t> UsedSlots(const Repository& repository, Repository::Id settings,
                                     Repository::Id controller) {
  std::vector<std::uint32_t> used;
  for (const auto part : PartsOf(repository, settings)) {
    const Instance& instance = repository.Get(part);
    const auto parent = repository.Find(instance.Get(L"Parent").AsWideString());
    if (parent == controller && !instance.Get(L"AddressOnParent").IsNull()) {
      const std::wstring address = instance.Get(L"AddressOnParent").AsWideString();
      used.push_back(static_cast<std::uint32_t>(std::wcstoul(address.c_str(), nullptr, 10)));
    }
  }
  return used;
}

std::optional<std::uint32_t> FirstFreeSlot(const Repository& repository, Repository::Id settings,
                                           Repository::Id controller, std::uint32_t slots) {
  const auto used = UsedSlots(repository, settings, controller);
  for (std::uint32_t slot = 0; slot < slots; ++slot) {
    if (std::find(used.begin(), used.end(), slot) == used.end()) {
      return slot;
    }
  }
  return std::nullopt;
}

// The last value given for a property wins.
PropertyList Deduplicated(const PropertyList& properties) {
  PropertyMap last;
  for (const auto& [name, value] : properties) {
    last[name] = value;
  }
  return {last.begin(), last.end()};
}

}  // namespace

std::vector<Repository::Id> LinkedEnds(const Repository& repository, Repository::Id from,
                                       std::wstring_view association, std::wstring_view role) {
  std::vector<Repository::Id> ends;
  for (const auto& link : repository.LinksOf(from)) {
    if (EqualsNoCase(repository.Get(link.association).cls->name, association) &&
        EqualsNoCase(link.role, role)) {
      ends.push_back(link.endpoint);
    }
  }
  return ends;
}

void AddPart(Repository& repository, Repository::Id settings, Repository::Id part) {
  repository.Associate(L"Msvm_VirtualSystemSettingDataComponent", L"GroupComponent", settings,
                       L"PartComponent", part);
}

std::vector<Repository::Id> ControllersOf(const Repository& repository, Repository::Id settings) {
  std::vector<Repository::Id> controllers;
  for (const auto part : PartsOf(repository, settings)) {
    if (IsController(repository.Get(part))) {
      controllers.push_back(part);
    }
  }
  return controllers;
}

Repository::Id AddScsiController(HostCore& host, Repository::Id settings) {
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  const std::wstring instance =
      v2.Property(settings, L"InstanceID").AsWideString() + L"\\" + host.NewGuid() + L"\\0";
  const auto controller =
      v2.Create(L"Msvm_ResourceAllocationSettingData",
                {{L"InstanceID", WmiValue::String(instance)},
                 {L"ElementName", WmiValue::String(L"SCSI Controller")},
                 {L"ResourceType", WmiValue::Int32(kScsiType)},
                 {L"ResourceSubType", WmiValue::String(kScsiControllerSubType)}});
  AddPart(v2, settings, controller);
  return controller;
}

void AddDefaultControllers(HostCore& host, Repository::Id settings, bool generation2) {
  if (generation2) {
    AddScsiController(host, settings);
    return;
  }
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  const std::wstring prefix =
      v2.Property(settings, L"InstanceID").AsWideString() + L"\\" + kIdeControllerGuid + L"\\";
  for (const wchar_t* address : {L"0", L"1"}) {
    const auto controller =
        v2.Create(L"Msvm_ResourceAllocationSettingData",
                  {{L"InstanceID", WmiValue::String(prefix + address)},
                   {L"ElementName", WmiValue::String(L"IDE Controller " + std::wstring(address))},
                   {L"ResourceType", WmiValue::Int32(kIdeType)},
                   {L"ResourceSubType", WmiValue::String(kIdeControllerSubType)},
                   {L"Address", WmiValue::String(address)}});
    AddPart(v2, settings, controller);
  }
}

namespace {

std::pair<Repository::Id, std::uint32_t> FreePlace(HostCore& host, Repository::Id settings) {
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  std::vector<Repository::Id> scsi;
  for (const auto controller : ControllersOf(v2, settings)) {
    const bool ide = v2.Property(controller, L"ResourceType").AsInteger() == kIdeType;
    if (!ide) {
      scsi.push_back(controller);
    } else if (const auto slot = FirstFreeSlot(v2, settings, controller, kIdeSlots)) {
      return {controller, *slot};
    }
  }
  for (const auto controller : scsi) {
    if (const auto slot = FirstFreeSlot(v2, settings, controller, kScsiSlots)) {
      return {controller, *slot};
    }
  }
  // Every SCSI controller is full: Hyper-V gives a machine up to four.
  if (scsi.size() >= kMaxScsiControllers) {
    throw DefaultException(kLibraryErrorCode, L"The machine has no free place for a drive");
  }
  return {AddScsiController(host, settings), 0};
}

}  // namespace

Repository::Id AttachAtFreePlace(HostCore& host, Repository::Id settings, const std::wstring& path,
                                 bool dvd) {
  const auto [controller, slot] = FreePlace(host, settings);
  return AttachDrive(host, settings, controller, slot, path, dvd);
}

Repository::Id CreateDrive(HostCore& host, Repository::Id settings, Repository::Id controller,
                           std::uint32_t slot, bool dvd, PropertyList properties) {
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  const std::wstring place =
      v2.Property(controller, L"InstanceID").AsWideString() + L"\\" + std::to_wstring(slot);
  properties.insert(
      properties.begin(),
      {{L"ElementName", WmiValue::String(dvd ? L"DVD Drive" : L"Hard Drive")},
       {L"ResourceType", WmiValue::Int32(dvd ? 16 : 17)},
       {L"ResourceSubType", WmiValue::String(dvd ? kDvdDriveSubType : kDiskDriveSubType)}});
  properties.emplace_back(L"InstanceID", WmiValue::String(place + L"\\D"));
  properties.emplace_back(L"Parent", WmiValue::String(v2.FullPath(controller)));
  properties.emplace_back(L"AddressOnParent", WmiValue::String(std::to_wstring(slot)));
  const auto drive = v2.Create(L"Msvm_ResourceAllocationSettingData", Deduplicated(properties));
  AddPart(v2, settings, drive);
  return drive;
}

Repository::Id CreateMedium(HostCore& host, Repository::Id settings, Repository::Id drive,
                            const std::wstring& path, bool dvd, PropertyList properties) {
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  std::wstring place = v2.Property(drive, L"InstanceID").AsWideString();
  place = place.substr(0, place.size() - 1) + L"L";
  properties.insert(
      properties.begin(),
      {{L"ElementName", WmiValue::String(dvd ? L"ISO Disk Image" : L"Hard Disk Image")},
       {L"ResourceType", WmiValue::Int32(31)},
       {L"ResourceSubType", WmiValue::String(dvd ? kDvdMediumSubType : kHardDiskSubType)}});
  properties.emplace_back(L"InstanceID", WmiValue::String(place));
  properties.emplace_back(L"HostResource", WmiValue::Array(std::vector<std::wstring>{path}));
  properties.emplace_back(L"Parent", WmiValue::String(v2.FullPath(drive)));
  const auto medium = v2.Create(L"Msvm_StorageAllocationSettingData", Deduplicated(properties));
  AddPart(v2, settings, medium);
  return medium;
}

Repository::Id AttachDrive(HostCore& host, Repository::Id settings, Repository::Id controller,
                           std::uint32_t slot, const std::wstring& path, bool dvd) {
  const auto drive = CreateDrive(host, settings, controller, slot, dvd, {});
  return CreateMedium(host, settings, drive, path, dvd, {});
}

bool SlotTaken(const Repository& repository, Repository::Id settings, Repository::Id controller,
               std::uint32_t slot) {
  const auto used = UsedSlots(repository, settings, controller);
  return std::find(used.begin(), used.end(), slot) != used.end();
}

std::uint32_t SlotsOf(const Repository& repository, Repository::Id controller) {
  return repository.Property(controller, L"ResourceType").AsInteger() == kIdeType ? kIdeSlots
                                                                                  : kScsiSlots;
}

VirtualDisk& CreateDiskFile(HostCore& host, const std::wstring& path, std::uint64_t size,
                            const std::wstring& parentPath) {
  VirtualDisk disk;
  disk.path = path;
  disk.diskId = host.NewGuid();  // a bare GUID, as real hosts give it
  disk.maxInternalSize = size;
  disk.parentPath = parentPath;
  disk.type = parentPath.empty() ? 3 : 4;
  disk.format = FormatOfExtension(path);
  host.Disks().Add(std::move(disk), host.NewGuid());
  return *host.Disks().Find(path);
}

}  // namespace quorvane::sim
