#include "editing/storage.h"

#include <optional>

#include "editing/resource_settings.h"
#include "hyperv/hyperv_names.h"
#include "quorvane/exceptions.h"
#include "wmi/wmi_job.h"
#include "wmi/wmi_read.h"

namespace quorvane {
namespace {

constexpr std::uint32_t kSlotsPerScsi = 64;
constexpr std::uint32_t kScsiControllers = 4;
constexpr std::uint32_t kPositions = 256;

[[noreturn]] void NotFound(const wchar_t* message) {
  throw ObjectNotFoundException(kLibraryErrorCode, message);
}

bool IsController(IWmiObject& part, std::int64_t type, const wchar_t* subType) {
  const WmiValue resourceType = part.GetProperty(L"ResourceType");
  return !resourceType.IsNull() && resourceType.AsInteger() == type &&
         ReadText(part, L"ResourceSubType") == subType;
}

// Adds one drive at the place; the drive's path, or nothing when the host refused the slot.
std::optional<std::wstring> AddDrive(const WmiServicePtr& service, IWmiObject& managementService,
                                     IWmiObject& settings, IWmiObject& driveDefaults,
                                     const std::wstring& controllerPath, std::uint32_t slot) {
  const auto drive = DefaultSettings(*service, driveDefaults);
  drive->SetProperty(L"Parent", WmiValue::String(controllerPath));
  drive->SetProperty(L"AddressOnParent", WmiValue::Int32(static_cast<std::int32_t>(slot)));
  try {
    const auto made = AddResources(service, managementService, settings, {drive->GetText()});
    return made.empty() ? std::wstring() : made.front();
  } catch (const DefaultException& e) {
    if (e.GetErrorCode() == hyperv::kInvalidState) {
      return std::nullopt;
    }
    throw;
  }
}

}  // namespace

std::pair<WmiObjectPtr, std::uint32_t> FindControllerForPosition(const WmiServicePtr& service,
                                                                 IWmiObject& managementService,
                                                                 IWmiObject& settings,
                                                                 StoragePlan plan,
                                                                 std::uint32_t position) {
  if (position >= kPositions) {
    NotFound(L"Cannot find controller");
  }
  const std::uint32_t idePositions = plan.generation2 ? 0 : (plan.scsiDataDisks ? 1 : 4);
  if (position < idePositions) {
    return {FindIdeController(settings, position / 2), position % 2};
  }
  return {FindOrCreateScsiController(service, managementService, settings,
                                     (position - idePositions) / kSlotsPerScsi),
          position % kSlotsPerScsi};
}

WmiObjectPtr FindIdeController(IWmiObject& settings, std::uint32_t number) {
  if (number >= 2) {
    NotFound(L"Cannot find Ide controller");
  }
  for (const auto& part : settings.GetAssociatorsOfClass(L"Msvm_ResourceAllocationSettingData")) {
    if (IsController(*part, hyperv::kIdeControllerType, hyperv::kIdeControllerSubType) &&
        ReadText(*part, L"Address") == std::to_wstring(number)) {
      return part;
    }
  }
  NotFound(L"Cannot find Ide controller");
}

WmiObjectPtr FindOrCreateScsiController(const WmiServicePtr& service, IWmiObject& managementService,
                                        IWmiObject& settings, std::uint32_t number) {
  if (number >= kScsiControllers) {
    NotFound(L"Cannot find Scsi controller");
  }
  std::uint32_t count = 0;
  for (const auto& part : settings.GetAssociatorsOfClass(L"Msvm_ResourceAllocationSettingData")) {
    if (IsController(*part, hyperv::kScsiControllerType, hyperv::kScsiControllerSubType) &&
        count++ == number) {
      return part;
    }
  }
  if (count >= kScsiControllers) {
    NotFound(L"Cannot find Scsi controller");
  }
  const auto controller = DefaultSettingsFor(*service, hyperv::kScsiControllerSubType);
  const auto made = AddResources(service, managementService, settings, {controller->GetText()});
  if (made.empty()) {
    throw DefaultException(kLibraryErrorCode, L"Cannot create SCSI Controller");
  }
  return service->GetObject(made.front());
}

void AttachDisks(const WmiServicePtr& service, IWmiObject& managementService, IWmiObject& settings,
                 const std::vector<DiskDescription>& disks,
                 const std::vector<DiskDescription>& knownControllers, StoragePlan plan) {
  if (disks.empty()) {
    return;
  }
  const auto driveDefaults = FindDefaultCapabilities(*service, hyperv::kDiskDriveSubType);
  const auto imageDefaults = FindDefaultCapabilities(*service, hyperv::kHardDiskSubType);
  std::size_t nextKnown = 0;
  std::uint32_t position = 0;
  std::vector<std::wstring> images;
  for (const auto& disk : disks) {
    std::optional<std::wstring> drivePath;
    while (!drivePath) {
      std::wstring controllerPath;
      std::uint32_t slot = 0;
      if (nextKnown < knownControllers.size()) {
        controllerPath = knownControllers[nextKnown].controllerPath;
        slot = knownControllers[nextKnown].location;
        ++nextKnown;
      } else {
        const auto [controller, controllerSlot] =
            FindControllerForPosition(service, managementService, settings, plan, position++);
        controllerPath = controller->GetPath();
        slot = controllerSlot;
      }
      drivePath =
          AddDrive(service, managementService, settings, *driveDefaults, controllerPath, slot);
    }
    const auto image = DefaultSettings(*service, *imageDefaults);
    image->SetProperty(L"HostResource", WmiValue::Array(std::vector<std::wstring>{disk.path}));
    image->SetProperty(L"Parent", WmiValue::String(*drivePath));
    images.push_back(image->GetText());
  }
  AddResources(service, managementService, settings, images);
}

void RemoveDisks(const WmiServicePtr& service, IWmiObject& managementService,
                 IWmiObject& settings) {
  std::vector<std::wstring> images;
  std::vector<std::wstring> drives;
  for (const auto& image : settings.GetAssociatorsOfClass(L"Msvm_StorageAllocationSettingData")) {
    if (ReadText(*image, L"ResourceSubType") == hyperv::kHardDiskSubType) {
      images.push_back(image->GetPath());
      drives.push_back(ReadText(*image, L"Parent"));
    }
  }
  RemoveResources(service, managementService, images);
  RemoveResources(service, managementService, drives);
}

}  // namespace quorvane
