#include "hyperv/machine_disks.h"

#include "hyperv/hyperv_names.h"
#include "hyperv/image_management.h"
#include "util/number_text.h"
#include "wmi/embedded_instance_reader.h"
#include "wmi/wmi_read.h"

namespace quorvane {
namespace {

std::uint32_t FormatCode(std::int32_t format) {
  switch (format) {
    case 3:
      return 1;  // VHDX
    case 4:
      return 2;  // VHD set
    default:
      return 0;
  }
}

// Identity, size and format of the disk file, and the root of its differencing chain.
void ReadDiskFile(IWmiObject& imageService, DiskDescription& disk) {
  auto reader = CreateEmbeddedInstanceReader();
  reader->Load(GetVirtualHardDiskSettingData(imageService, disk.path));
  disk.diskId = reader->GetString(L"VirtualDiskId");
  disk.maxInternalSize = reader->GetInt64(L"MaxInternalSize");
  disk.format = FormatCode(reader->GetInt(L"Format"));
  disk.baseDiskId = disk.diskId;
  disk.basePath = disk.path;
  for (std::wstring parent = reader->GetString(L"ParentPath"); !parent.empty();) {
    reader->Load(GetVirtualHardDiskSettingData(imageService, parent));
    disk.baseDiskId = reader->GetString(L"VirtualDiskId");
    disk.basePath = parent;
    parent = reader->GetString(L"ParentPath");
  }
}

void ReadPlacement(IWmiService& service, IWmiObject& allocation, DiskDescription& disk) {
  const auto drive = service.GetObject(ReadText(allocation, L"Parent"));
  disk.controllerPath = ReadText(*drive, L"Parent");
  const auto controller = service.GetObject(disk.controllerPath);
  disk.location = static_cast<std::uint32_t>(Stoi(ReadText(*drive, L"AddressOnParent")));
  const std::int64_t type = controller->GetProperty(L"ResourceType").AsInteger();
  const std::wstring subType = ReadText(*controller, L"ResourceSubType");
  if (type == hyperv::kScsiControllerType && subType == hyperv::kScsiControllerSubType) {
    disk.onScsi = true;
  } else if (type == hyperv::kIdeControllerType && subType == hyperv::kIdeControllerSubType) {
    disk.controllerAddress = static_cast<std::uint32_t>(Stoul(ReadText(*controller, L"Address")));
  }
}

}  // namespace

std::vector<DiskDescription> ListMachineDisks(IWmiService& service, IWmiObject& settings,
                                              bool includeDvd) {
  const auto imageService = service.QueryFirst(L"Msvm_ImageManagementService");
  std::vector<DiskDescription> disks;
  for (const auto& allocation :
       settings.GetAssociatorsOfClass(L"Msvm_StorageAllocationSettingData")) {
    const std::wstring subType = ReadText(*allocation, L"ResourceSubType");
    const bool dvd = subType == hyperv::kDvdDiskSubType;
    if (subType != hyperv::kHardDiskSubType && !(dvd && includeDvd)) {
      continue;
    }
    DiskDescription disk;
    const auto files = allocation->GetProperty(L"HostResource").AsWideStringArray();
    if (!files.empty()) {
      disk.path = files.front();
    }
    disk.instanceId = ReadText(*allocation, L"InstanceId");
    disk.isDvd = dvd ? 1 : 0;
    if (!dvd) {
      ReadDiskFile(*imageService, disk);
    }
    ReadPlacement(service, *allocation, disk);
    disks.push_back(std::move(disk));
  }
  return disks;
}

}  // namespace quorvane
