#pragma once

/// @file
/// The exceptions the library raises. See the page "Failures a host application meets".

#include <cstdint>
#include <memory>
#include <stdexcept>

#include "quorvane/export.h"

namespace quorvane {

/// Code used for the library's own failures (as opposed to COM or WMI statuses).
inline constexpr std::uint32_t kLibraryErrorCode = 0xFFFFFFFFu;

#if defined(_MSC_VER)
// C4275 and C4251: the exported exceptions derive from std::runtime_error and hold a
// std::shared_ptr. A host that catches them shares the library's C++ runtime anyway, so these
// types are the same on both sides of the DLL boundary.
#pragma warning(push)
#pragma warning(disable : 4251 4275)
#endif

/// Root of every failure the library reports: a 32-bit code (an HRESULT when the failure came
/// from COM or WMI, a Hyper-V return value or job error code, or the library's own code) and a
/// wide message. Copies share one detail record, so the text returned by
/// GetMessageDescription() stays valid as long as any copy lives. what() gives the message as
/// narrow text.
class QUORVANE_API DefaultException : public std::runtime_error {
 public:
  /// An exception with this code and message; a null message reads as "".
  DefaultException(std::uint32_t code, const wchar_t* message);
  /// A copy that shares the detail record.
  DefaultException(const DefaultException& other);
  /// Shares the other's detail record.
  DefaultException& operator=(const DefaultException& other);
  ~DefaultException() override;

  /// The code.
  std::uint32_t GetErrorCode() const;
  /// The message; never null, valid while any copy of the exception lives.
  const wchar_t* GetMessageDescription() const;

 private:
  struct Detail;
  std::shared_ptr<const Detail> detail_;
};

/// A WMI instance that the library looked for does not exist (code 0xFFFFFFFF).
class QUORVANE_API ObjectNotFoundException : public DefaultException {
 public:
  /// An exception with this code and message; a null message reads as "".
  ObjectNotFoundException(std::uint32_t code, const wchar_t* message);
};

/// The virtual machine named by the caller does not exist (code 0xFFFFFFFF).
class QUORVANE_API VmNotFoundException : public ObjectNotFoundException {
 public:
  /// An exception with this code and message; a null message reads as "".
  VmNotFoundException(std::uint32_t code, const wchar_t* message);
};

/// The remote host's RPC server is unavailable (0x800706BA).
class QUORVANE_API CannotConnectException : public DefaultException {
 public:
  /// An exception with this code and message; a null message reads as "".
  CannotConnectException(std::uint32_t code, const wchar_t* message);
};

/// Access denied (E_ACCESSDENIED, 0x80070005).
class QUORVANE_API AccessDeniedException : public DefaultException {
 public:
  /// An exception with this code and message; a null message reads as "".
  AccessDeniedException(std::uint32_t code, const wchar_t* message);
};

/// The WMI namespace does not exist on the host: the Hyper-V role is missing (0x8004100E).
class QUORVANE_API HyperVNotFoundException : public DefaultException {
 public:
  /// An exception with this code and message; a null message reads as "".
  HyperVNotFoundException(std::uint32_t code, const wchar_t* message);
};

#if defined(_MSC_VER)
#pragma warning(pop)
#endif

/// Whether a failure means that a change tracking identifier cannot be used: it is unknown,
/// expired, malformed or another disk's, or the disk has no change tracking. A backup then
/// copies the disk whole. True for GetChangeEnumerator's refusal of a checkpoint that is not a
/// recovery checkpoint (code 0xC03A002A), for the host's change tracking statuses as the code
/// (0xC03A0029 invalid identifier, 0xC03A002A change tracking off, 0xC03A0030 no data for the
/// identifier), and for a failed "GetVirtualDiskChanges" job whose description ends with one of
/// these statuses, as Hyper-V writes it: "... (0xC03A0030)".
QUORVANE_API bool IsChangeTrackingUnusable(const DefaultException& failure);

}  // namespace quorvane
