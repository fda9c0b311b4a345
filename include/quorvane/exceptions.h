#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>

#include "quorvane/export.h"

namespace quorvane {

// Code used for the library's own failures (as opposed to COM or WMI statuses).
inline constexpr std::uint32_t kLibraryErrorCode = 0xFFFFFFFFu;

// Root of every failure the library reports. Copies share one detail record, so the text
// returned by GetMessageDescription stays valid as long as any copy lives.
class QUORVANE_API DefaultException : public std::runtime_error {
 public:
  DefaultException(std::uint32_t code, const wchar_t* message);
  DefaultException(const DefaultException& other);
  DefaultException& operator=(const DefaultException& other);
  ~DefaultException() override;

  std::uint32_t GetErrorCode() const;
  const wchar_t* GetMessageDescription() const;

 private:
  struct Detail;
  std::shared_ptr<const Detail> detail_;
};

// A WMI instance that was looked for does not exist.
class QUORVANE_API ObjectNotFoundException : public DefaultException {
 public:
  ObjectNotFoundException(std::uint32_t code, const wchar_t* message);
};

// The virtual machine named by the caller does not exist.
class QUORVANE_API VmNotFoundException : public ObjectNotFoundException {
 public:
  VmNotFoundException(std::uint32_t code, const wchar_t* message);
};

// The remote host's RPC server is unavailable.
class QUORVANE_API CannotConnectException : public DefaultException {
 public:
  CannotConnectException(std::uint32_t code, const wchar_t* message);
};

// Access denied (E_ACCESSDENIED).
class QUORVANE_API AccessDeniedException : public DefaultException {
 public:
  AccessDeniedException(std::uint32_t code, const wchar_t* message);
};

// The WMI namespace does not exist on the host: the Hyper-V role is missing.
class QUORVANE_API HyperVNotFoundException : public DefaultException {
 public:
  HyperVNotFoundException(std::uint32_t code, const wchar_t* message);
};

// Whether a failure means that a change tracking identifier cannot be used: it is unknown,
// expired, malformed or another disk's, or the disk has no change tracking. A backup then
// copies the disk whole. True for GetChangeEnumerator's refusal of a checkpoint that is not a
// recovery checkpoint (code 0xC03A002A), for the host's change tracking statuses as the code
// (0xC03A0029 invalid identifier, 0xC03A002A change tracking off, 0xC03A0030 no data for the
// identifier), and for a failed "GetVirtualDiskChanges" job whose description ends with one of
// these statuses, as Hyper-V writes it: "... (0xC03A0030)".
QUORVANE_API bool IsChangeTrackingUnusable(const DefaultException& failure);

}  // namespace quorvane
