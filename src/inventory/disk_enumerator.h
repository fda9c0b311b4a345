#pragma once

#include <string>
#include <vector>

#include "quorvane/inventory.h"
#include "util/enumerator_base.h"
#include "wmi/wmi.h"

namespace quorvane {

inline constexpr std::uint32_t kNoControllerAddress = 0xFFFFFFFF;

// One disk of a machine, as listed for the host and as the builder and editor place disks.
struct DiskDescription {
  std::wstring diskId;
  std::wstring path;
  std::wstring instanceId;
  std::wstring baseDiskId;
  std::wstring basePath;
  std::int64_t maxInternalSize = 0;
  std::uint32_t isDvd = 0;
  std::uint32_t format = 0;
  bool onScsi = false;
  std::wstring controllerPath;
  std::uint32_t controllerAddress = kNoControllerAddress;
  std::uint32_t location = 0;
};

// The virtual hard disks (and, when asked, DVD media) of a machine's settings object, with
// the root of each differencing chain and the disk's place on its controller.
std::vector<DiskDescription> ListMachineDisks(IWmiService& service, IWmiObject& settings,
                                              bool includeDvd);

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
