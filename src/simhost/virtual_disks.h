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
  std::wstring diskId;       // a bare upper-case GUID
  std::uint16_t format = 3;  // 2 VHD, 3 VHDX, 4 VHD set
  std::uint16_t type = 3;    // 2 fixed, 3 dynamic, 4 differencing
  std::uint64_t maxInternalSize = 0;
  std::wstring parentPath;  // empty for a disk without parent
  // The checkpoint (its settings' InstanceID) whose removal merges this file into its parent.
  std::wstring mergedWith;
};

// The resilient change tracking of one file. Its identifiers count up: one is issued each time
// the host records a point in time (a reference point), and a write belongs to the identifier
// current when it was made.
struct ChangeLog {
  std::wstring trackingGuid;    // lower case GUID
  std::uint64_t sequence = 0;   // the identifier the next point in time gets
  std::uint64_t validFrom = 0;  // identifiers below this one have expired
  struct Write {
    std::uint64_t offset;
    std::uint64_t length;
    std::uint64_t sequence;
  };
  std::vector<Write> writes;
};

// A disk's changed byte ranges since one identifier: whole blocks, merged, in disk order.
struct ChangedBlock {
  std::uint64_t begin;
  std::uint64_t end;
};

// Why an identifier cannot serve as the base of a change query.
enum class TrackingRefusal {
  Disabled,  // the file keeps no change tracking (VHD format)
  Invalid,   // not an identifier at all
  Missing,   // another file's, expired, or not issued yet
};

// The host's disk files, each with its own change tracking (VHDX files only). Merging a
// differencing file hands its writes to the parent's tracking.
class VirtualDisks {
 public:
  void Add(VirtualDisk disk, const std::wstring& trackingGuid);
  void Remove(const std::wstring& path);
  const VirtualDisk* Find(const std::wstring& path) const;
  VirtualDisk* Find(const std::wstring& path);
  std::vector<VirtualDisk> All() const;
  std::size_t Count() const { return disks_.size(); }

  // The root of the chain the file belongs to.
  std::wstring RootOf(const std::wstring& path) const;
  // The file at the far end of the chain from `path`: the differencing file a machine writes to
  // while checkpoints hold the files below it.
  std::wstring LeafOf(const std::wstring& path) const;
  ChangeLog* LogOf(const std::wstring& path);
  const ChangeLog* LogOf(const std::wstring& path) const;
  const std::map<std::wstring, ChangeLog, LessNoCase>& Logs() const { return logs_; }
  // Replaces everything (scenario loading).
  void Restore(std::vector<VirtualDisk> disks, std::map<std::wstring, ChangeLog, LessNoCase> logs);

  // Records a guest write to the file.
  void Write(const std::wstring& path, std::uint64_t offset, std::uint64_t length);
  // Records the file's present state as a point in time and returns its identifier ("" for a
  // file without change tracking).
  std::wstring IssueTrackingId(const std::wstring& path);
  // The identifier's sequence when it can serve as the base of a change query of the file.
  struct Checked {
    std::optional<std::uint64_t> sequence;
    TrackingRefusal refusal = TrackingRefusal::Missing;
  };
  Checked CheckTrackingId(const std::wstring& path, const std::wstring& id) const;
  // The file's changed blocks since `sequence`, worked out once for as long as the file takes
  // no writes: a change query asks pass after pass over the same answer.
  const std::vector<ChangedBlock>& ChangedBlocks(const std::wstring& path, std::uint64_t sequence,
                                                 std::uint64_t blockSize, std::uint64_t size);
  // Makes every identifier issued so far unknown, for each file of the chain that `path` belongs
  // to, from the file a machine writes to (see LeafOf) down to the root.
  void ExpireChain(const std::wstring& path);
  // Folds a differencing file into its parent: the parent takes its writes, whatever used it
  // uses the parent, and the file is gone.
  void Merge(const std::wstring& path);

  // A change made of several steps: after BeginChange every file the host touches is
  // remembered as it was, so that RollBack restores all of it.
  void BeginChange();
  void Commit();
  void RollBack();

 private:
  void Remember(const std::wstring& path);
  struct Before {
    std::optional<VirtualDisk> disk;
    std::optional<ChangeLog> log;
  };
  std::optional<std::map<std::wstring, Before, LessNoCase>> change_;
  struct ChangedBlocksAnswer {
    std::wstring path;
    std::uint64_t sequence = 0;
    std::uint64_t blockSize = 0;
    std::uint64_t size = 0;
    std::size_t writes = 0;
    std::vector<ChangedBlock> blocks;
  };
  std::optional<ChangedBlocksAnswer> lastAnswer_;

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
