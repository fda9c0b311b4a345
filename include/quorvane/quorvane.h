#pragma once

/// @file
/// The library's public surface: the root object, the factory and the exported entry points.
/// Including it includes every other public header but the simulated host's.

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

/// The connections to one Hyper-V host, to "root\virtualization\v2" and (when the host has
/// it) "root\microsoft\windows\hgs"; every other object comes from here and shares them, so it
/// may outlive the root. The factory functions run no WMI call unless they say so; the objects
/// they make raise on their first use when the host fails.
class IQuorvane : public IDestroy {
 public:
  /// Whether the root connected to a remote host with a user name.
  virtual bool IsRemoteWithCredentials() = 0;
  /// Whether the host supports configuration version 6.2 or later (GetMaxVersion() is
  /// "6.2" or above, compared as text).
  virtual bool SupportsVersion62() = 0;
  /// The highest configuration version the host supports, read once when the root was made
  /// ("" when none was found). Valid while the root lives.
  virtual const wchar_t* GetMaxVersion() = 0;
  /// A builder that defines a new machine on Commit.
  virtual IMachineBuilder* CreateMachineBuilder() = 0;
  /// An editor of the machine whose "VirtualSystemIdentifier" (its Msvm_ComputerSystem "Name")
  /// is `machineId`. Raises DefaultException for null; an unknown machine raises
  /// VmNotFoundException on Commit.
  virtual IMachineEditor* CreateMachineEditor(const wchar_t* machineId) = 0;
  /// The host's virtual Ethernet switches, read now: raises the WMI status of a failed query.
  virtual IEthernetSwithEnumerator* CreateSwitchEnumerator() = 0;
  /// Power state, deletion and machine records. With `readLimits`, the host's processor and
  /// memory limits and default paths are read now (several queries; raises
  /// ObjectNotFoundException "Cannot find SettingsDefineCapabilities" or "Cannot find allocation
  /// capabilities" when the host does not publish them); without, those accessors give 0 and "".
  virtual IMachineManagement* CreateMachineManagement(bool readLimits) = 0;
  /// The host's machines (planned ones included), read now.
  virtual IMachineEnumerator* CreateMachineEnumerator() = 0;
  /// The checkpoints of the machine whose "VirtualSystemIdentifier" is `machineId`. Raises
  /// DefaultException for null. Nothing is read until an operation runs; ISnapshotManagement
  /// says what an unknown machine raises.
  virtual ISnapshotManagement* CreateSnapshotManagement(const wchar_t* machineId) = 0;
};

/// Makes roots; what CreateQuorvaneFactory() returns, and what a simulated host hands out.
class IQuorvaneFactory : public IDestroy {
 public:
  /// As CreateQuorvaneLocal().
  virtual IQuorvane* CreateLocal() = 0;
  /// As CreateQuorvaneRemote().
  virtual IQuorvane* CreateRemote(const wchar_t* host, const wchar_t* user,
                                  const wchar_t* password) = 0;
};

/// A factory of roots on the real host's WMI; null when memory is exhausted. Never raises.
QUORVANE_API IQuorvaneFactory* CreateQuorvaneFactory();
/// A root on the local host, with the caller's own credentials. Initialises COM for the
/// calling thread. Raises HyperVNotFoundException when Hyper-V is not installed,
/// AccessDeniedException, or the WMI status of a failed connection or query.
QUORVANE_API IQuorvane* CreateQuorvaneLocal();
/// A root on `host` (null or "" for the local host) as `user` with `password` (either may be
/// null). Raises CannotConnectException when the host cannot be reached, and as
/// CreateQuorvaneLocal() otherwise; credentials refused on a local connection (0x80041064) are
/// dropped and the connection made again.
QUORVANE_API IQuorvane* CreateQuorvaneRemote(const wchar_t* host, const wchar_t* user,
                                             const wchar_t* password);
/// Reads a caught library exception's code and message; any pointer may be null. The message
/// lives as long as the exception.
QUORVANE_API void GetExceptionInfo(const DefaultException* exception, std::uint32_t* code,
                                   const wchar_t** message);

}  // namespace quorvane

/// @name Plain entry points
/// The same entry points under unmangled names, for hosts that cannot use the ones above. They
/// return 0 on success, the library error code of a library exception, and 0xFFFFFFFF for
/// anything else; nothing escapes them. A failed call leaves `*out` null.
/// @{
extern "C" {
/// As quorvane::CreateQuorvaneFactory().
QUORVANE_API quorvane::IQuorvaneFactory* CreateQuorvaneFactory();
/// As quorvane::CreateQuorvaneLocal(), the root in `*out`.
QUORVANE_API std::uint32_t CreateQuorvaneLocal(quorvane::IQuorvane** out);
/// As quorvane::CreateQuorvaneRemote(), the root in `*out`.
QUORVANE_API std::uint32_t CreateQuorvaneRemote(const wchar_t* host, const wchar_t* user,
                                                const wchar_t* password, quorvane::IQuorvane** out);
/// As quorvane::GetExceptionInfo().
QUORVANE_API void GetExceptionInfo(const quorvane::DefaultException* exception, std::uint32_t* code,
                                   const wchar_t** message);
/// quorvane::IsChangeTrackingUnusable for a caught exception; false for null.
QUORVANE_API bool IsChangeTrackingUnusable(const quorvane::DefaultException* exception);
}
/// @}
