#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "quorvane/quorvane.h"
#include "wmi/wmi_connect.h"

namespace quorvane {

// Sent as the user name when a remote host is given with an explicitly empty user.
inline constexpr wchar_t kMarkerUser[] = L"***###***fake***###***user***###***";

class Quorvane final : public IQuorvane {
 public:
  // Connects both namespaces through `connector` and reads the host's highest configuration
  // version. Raises the library's exceptions; null when memory is short.
  static Quorvane* Create(const WmiConnector& connector, const wchar_t* host, const wchar_t* user,
                          const wchar_t* password);

  Quorvane(ServiceMap services, bool remoteWithCredentials)
      : services_(std::move(services)), remoteWithCredentials_(remoteWithCredentials) {}

  void Release() override { delete this; }
  bool IsRemoteWithCredentials() override { return remoteWithCredentials_; }
  bool SupportsVersion62() override;
  const wchar_t* GetMaxVersion() override { return maxVersion_.c_str(); }
  IMachineBuilder* CreateMachineBuilder() override;
  IMachineEditor* CreateMachineEditor(const wchar_t* machineId) override;
  IEthernetSwithEnumerator* CreateSwitchEnumerator() override;
  IMachineManagement* CreateMachineManagement(bool readLimits) override;
  IMachineEnumerator* CreateMachineEnumerator() override;
  ISnapshotManagement* CreateSnapshotManagement(const wchar_t* machineId) override;

  const ServiceMap& Services() const { return services_; }

 private:
  void ReadMaxVersion();
  const WmiServicePtr& Virtualization() const { return services_.at(kVirtualizationKey); }

  ServiceMap services_;
  std::wstring maxVersion_;
  bool remoteWithCredentials_;
};

// What the plain entry points return: 0, the library code of a library exception, or
// 0xFFFFFFFF for a null `out` or anything else. Nothing escapes.
template <typename Create>
std::uint32_t CreateIntoOut(IQuorvane** out, Create create) noexcept {
  if (out == nullptr) {
    return kLibraryErrorCode;
  }
  try {
    *out = create();
    return 0;
  } catch (const DefaultException& e) {
    return e.GetErrorCode();
  } catch (...) {
    return kLibraryErrorCode;
  }
}

}  // namespace quorvane
