#pragma once

#include <string>
#include <vector>

#include "hyperv/machine_disks.h"
#include "quorvane/inventory.h"
#include "util/enumerator_base.h"
#include "wmi/wmi.h"

namespace quorvane {

// The disks of one machine or checkpoint; Reset reads them again and replaces the list.
class DiskEnumerator final : public EnumeratorBase<IDiskEnumerator, DiskDescription> {
 public:
  static DiskEnumerator* Create(WmiServicePtr service, std::wstring configurationId,
                                bool includeDvd);

  DiskEnumerator(WmiServicePtr service, std::wstring configurationId, bool includeDvd)
      : service_(std::move(service)), id_(std::move(configurationId)), includeDvd_(includeDvd) {}

  void Reset() override;
  const wchar_t* GetDiskId() override { return TextOf(Current(), &DiskDescription::diskId); }
  const wchar_t* GetPath() override { return TextOf(Current(), &DiskDescription::path); }
  const wchar_t* GetBaseDiskId() override {
    return TextOf(Current(), &DiskDescription::baseDiskId);
  }
  const wchar_t* GetBasePath() override { return TextOf(Current(), &DiskDescription::basePath); }
  std::int64_t GetMaxInternalSize() override {
    return NumberOf(Current(), &DiskDescription::maxInternalSize);
  }
  std::uint32_t IsDvd() override { return NumberOf(Current(), &DiskDescription::isDvd); }
  std::uint32_t GetFormat() override { return NumberOf(Current(), &DiskDescription::format); }
  bool IsOnScsi() override { return NumberOf(Current(), &DiskDescription::onScsi); }
  std::uint32_t GetControllerAddress() override {
    return NumberOf(Current(), &DiskDescription::controllerAddress);
  }
  std::uint32_t GetLocation() override { return NumberOf(Current(), &DiskDescription::location); }
  IDiskChangeEnumerator* GetDiskChangeEnumerator(const wchar_t* changeTrackingId) override;

 private:
  WmiServicePtr service_;
  std::wstring id_;
  bool includeDvd_;
};

}  // namespace quorvane
