#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "util/case_insensitive.h"

namespace quorvane::sim {

// A virtual hard disk file on the host.
struct VirtualDisk {
  std::wstring path;
  std::wstring diskId;       // "{GUID}", upper case
  std::uint16_t format = 3;  // 2 VHD, 3 VHDX, 4 VHD set
  std::uint16_t type = 3;    // 2 fixed, 3 dynamic, 4 differencing
  std::uint64_t maxInternalSize = 0;
  std::wstring parentPath;  // empty for a disk without parent
  // The checkpoint (its settings' InstanceID) whose removal merges this file into its parent.
  std::wstring mergedWith;
  // The change sequence number when the file was made (a checkpoint's point in time).
  std::uint64_t createdAtSequence = 0;
};

// The guest writes to one disk chain, for resilient change tracking.
struct ChangeLog {
  std::wstring trackingGuid;  // lower case GUID
  std::uint64_t sequence = 0;
  std::uint64_t validFrom = 0;  // identifiers below this sequence have expired
  struct Write {
    std::uint64_t offset;
    std::uint64_t length;
    std::uint64_t sequence;
  };
  std::vector<Write> writes;
};

// The host's disk files and their change tracking. Change tracking belongs to a chain: writes
// to any file of a differencing chain count for the chain's root.
class VirtualDisks {
 public:
  void Add(VirtualDisk disk, const std::wstring& trackingGuid);
  void Remove(const std::wstring& path);
  const VirtualDisk* Find(const std::wstring& path) const;
  VirtualDisk* Find(const std::wstring& path);
  std::vector<VirtualDisk> All() const;

  // The root of the chain the file belongs to.
  std::wstring RootOf(const std::wstring& path) const;
  ChangeLog* LogOf(const std::wstring& path);
  const std::map<std::wstring, ChangeLog, LessNoCase>& Logs() const { return logs_; }
  // Replaces everything (scenario loading).
  void Restore(std::vector<VirtualDisk> disks, std::map<std::wstring, ChangeLog, LessNoCase> logs);

  // Records a guest write; the write goes to the chain's log.
  void Write(const std::wstring& path, std::uint64_t offset, std::uint64_t length);
  // The identifier that stands for the chain's state at `sequence`.
  std::wstring TrackingId(const std::wstring& path, std::uint64_t sequence) const;

 private:
  std::map<std::wstring, VirtualDisk, LessNoCase> disks_;
  std::map<std::wstring, ChangeLog, LessNoCase> logs_;
};

// "rctX:<guid with colons>:<8 hex digits>" read back; nothing for other text.
struct TrackingId {
  std::wstring guid;
  std::uint64_t sequence;
};
std::optional<TrackingId> ParseTrackingId(const std::wstring& text);

}  // namespace quorvane::sim
