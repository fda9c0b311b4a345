#pragma once

// The library's public surface: the root object, the factory and the exported entry points.

#include <cstdint>

#include "quorvane/destroy.h"
#include "quorvane/editing.h"
#include "quorvane/exceptions.h"
#include "quorvane/export.h"
#include "quorvane/inventory.h"
#include "quorvane/lifecycle.h"
#include "quorvane/owned.h"
#include "quorvane/snapshots.h"
#include "quorvane/version.h"

namespace quorvane {

// The connections to one Hyper-V host; every other object comes from here.
class IQuorvane : public IDestroy {
 public:
  virtual bool IsRemoteWithCredentials() = 0;
  virtual bool SupportsVersion62() = 0;
  // The highest configuration version the host supports ("" when none was found).
  virtual const wchar_t* GetMaxVersion() = 0;
  virtual IMachineBuilder* CreateMachineBuilder() = 0;
  virtual IMachineEditor* CreateMachineEditor(const wchar_t* machineId) = 0;
  virtual IEthernetSwithEnumerator* CreateSwitchEnumerator() = 0;
  virtual IMachineManagement* CreateMachineManagement(bool readLimits) = 0;
  virtual IMachineEnumerator* CreateMachineEnumerator() = 0;
  virtual ISnapshotManagement* CreateSnapshotManagement(const wchar_t* machineId) = 0;
};

class IQuorvaneFactory : public IDestroy {
 public:
  virtual IQuorvane* CreateLocal() = 0;
  virtual IQuorvane* CreateRemote(const wchar_t* host, const wchar_t* user,
                                  const wchar_t* password) = 0;
};

// Entry points that raise the library's exceptions.
QUORVANE_API IQuorvaneFactory* CreateQuorvaneFactory();
QUORVANE_API IQuorvane* CreateQuorvaneLocal();
QUORVANE_API IQuorvane* CreateQuorvaneRemote(const wchar_t* host, const wchar_t* user,
                                             const wchar_t* password);
// Reads a caught library exception's code and message; any pointer may be null.
QUORVANE_API void GetExceptionInfo(const DefaultException* exception, std::uint32_t* code,
                                   const wchar_t** message);

}  // namespace quorvane

// The same entry points under plain names, for hosts that cannot use the ones above. They
// return 0 on success, the library error code of a library exception, and 0xFFFFFFFF for
// anything else; nothing escapes them.
extern "C" {
QUORVANE_API quorvane::IQuorvaneFactory* CreateQuorvaneFactory();
QUORVANE_API std::uint32_t CreateQuorvaneLocal(quorvane::IQuorvane** out);
QUORVANE_API std::uint32_t CreateQuorvaneRemote(const wchar_t* host, const wchar_t* user,
                                                const wchar_t* password, quorvane::IQuorvane** out);
QUORVANE_API void GetExceptionInfo(const quorvane::DefaultException* exception, std::uint32_t* code,
                                   const wchar_t** message);
// quorvane::IsChangeTrackingUnusable for a caught exception; false for null.
QUORVANE_API bool IsChangeTrackingUnusable(const quorvane::DefaultException* exception);
}
