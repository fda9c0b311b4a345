#include "inventory/machine_info.h"

#include <cwchar>

#include "hyperv/hyperv_names.h"
#include "hyperv/machine_lookup.h"
#include "inventory/disk_enumerator.h"
#include "util/creation.h"
#include "util/number_text.h"
#include "wmi/datetime.h"
#include "wmi/wmi_read.h"

namespace quorvane {
namespace {

// "VirtualQuantity" of the first associated settings object of `resultClass`; 0 when none.
std::int64_t FirstQuantity(IWmiObject& settings, const wchar_t* resultClass) {
  const auto associated = settings.GetAssociatorsOfClass(resultClass);
  return associated.empty() ? 0 : Stoll(ReadText(*associated.front(), L"VirtualQuantity"));
}

}  // namespace

bool IsVersion62OrLater(const std::wstring& version) {
  unsigned major = 0;
  unsigned minor = 0;
  std::swscanf(version.c_str(), L"%u.%u", &major, &minor);
  return major > 6 || (major == 6 && minor >= 2);
}

MachineInfo* MachineInfo::Create(WmiServicePtr service, std::wstring configurationId,
                                 std::optional<std::wstring> checkpointOf) {
  return CreateLoaded<MachineInfo>([](MachineInfo& info) { info.Load(); }, std::move(service),
                                   std::move(configurationId), std::move(checkpointOf));
}

void MachineInfo::Load() {
  const auto settings = checkpointOf_ ? FindCheckpointSettings(*service_, id_, *checkpointOf_)
                                      : FindSettingsByConfigurationId(*service_, id_);
  name_ = ReadText(*settings, L"ElementName");
  memory_ = FirstQuantity(*settings, L"Msvm_MemorySettingData");
  processors_ = FirstQuantity(*settings, L"Msvm_ProcessorSettingData");
  version_ = ReadText(*settings, L"Version");
  configurationId_ = ReadText(*settings, L"ConfigurationID");
  parentId_ = ReadParentSnapshotId(*service_, *settings);
  snapshotDataRoot_ = ReadText(*settings, L"SnapshotDataRoot");
  guestStateFile_ = ReadText(*settings, L"GuestStateFile");
  guestStateDataRoot_ = ReadText(*settings, L"GuestStateDataRoot");
  configurationFile_ = ReadText(*settings, L"ConfigurationFile");
  configurationDataRoot_ = ReadText(*settings, L"ConfigurationDataRoot");
  isGeneration2_ = ReadText(*settings, L"VirtualSystemSubType") == hyperv::kGeneration2SubType;
  creationTime_ = ReadDatetime(settings->GetProperty(L"CreationTime"));
}

IDiskEnumerator* MachineInfo::CreateDiskEnumerator(bool includeDvd) {
  return DiskEnumerator::Create(service_, id_, includeDvd);
}

}  // namespace quorvane
