#include "simhost/virtual_disks.h"

#include <algorithm>
#include <cwchar>
#include <unordered_map>
#include <utility>

namespace quorvane::sim {

void VirtualDisks::Add(VirtualDisk disk, const std::wstring& trackingGuid) {
  const std::wstring path = disk.path;
  Remember(path);
  const bool tracked = disk.format != 2;
  lastAnswer_.reset();
  disks_[path] = std::move(disk);
  if (tracked) {
    ChangeLog log;
    log.trackingGuid = ToLower(trackingGuid);
    logs_[path] = std::move(log);
  }
}

void VirtualDisks::Restore(std::vector<VirtualDisk> disks,
                           std::map<std::wstring, ChangeLog, LessNoCase> logs) {
  lastAnswer_.reset();
  disks_.clear();
  for (auto& disk : disks) {
    const std::wstring path = disk.path;
    disks_[path] = std::move(disk);
  }
  logs_ = std::move(logs);
}

void VirtualDisks::Remove(const std::wstring& path) {
  Remember(path);
  lastAnswer_.reset();
  logs_.erase(path);
  disks_.erase(path);
}

const VirtualDisk* VirtualDisks::Find(const std::wstring& path) const {
  const auto found = disks_.find(path);
  return found == disks_.end() ? nullptr : &found->second;
}

VirtualDisk* VirtualDisks::Find(const std::wstring& path) {
  Remember(path);
  const auto found = disks_.find(path);
  return found == disks_.end() ? nullptr : &found->second;
}

std::vector<VirtualDisk> VirtualDisks::All() const {
  std::vector<VirtualDisk> all;
  for (const auto& entry : disks_) {
    all.push_back(entry.second);
  }
  return all;
}

std::wstring VirtualDisks::RootOf(const std::wstring& path) const {
  std::wstring current = path;
  // Bounded by the number of files, so a loop in the parents cannot hang the host.
  for (std::size_t steps = 0; steps <= disks_.size(); ++steps) {
    const VirtualDisk* disk = Find(current);
    if (disk == nullptr || disk->parentPath.empty() || Find(disk->parentPath) == nullptr) {
      return disk ? disk->path : current;
    }
    current = disk->parentPath;
  }
  return current;
}

std::wstring VirtualDisks::LeafOf(const std::wstring& path) const {
  // Each file's child, gathered once, so that a deep chain is walked in one pass.
  std::unordered_map<std::wstring_view, const std::wstring*, HashNoCase, EqualNoCase> childOf;
  for (const auto& [file, disk] : disks_) {
    if (!disk.parentPath.empty()) {
      childOf.emplace(disk.parentPath, &file);
    }
  }
  std::wstring current = path;
  for (std::size_t steps = 0; steps <= disks_.size(); ++steps) {
    const auto child = childOf.find(current);
    if (child == childOf.end()) {
      break;
    }
    current = *child->second;
  }
  return current;
}

ChangeLog* VirtualDisks::LogOf(const std::wstring& path) {
  Remember(path);
  const auto found = logs_.find(path);
  return found == logs_.end() ? nullptr : &found->second;
}

const ChangeLog* VirtualDisks::LogOf(const std::wstring& path) const {
  const auto found = logs_.find(path);
  return found == logs_.end() ? nullptr : &found->second;
}

void VirtualDisks::Write(const std::wstring& path, std::uint64_t offset, std::uint64_t length) {
  if (ChangeLog* log = LogOf(path)) {
    log->writes.push_back({offset, length, log->sequence});
  }
}

std::wstring VirtualDisks::IssueTrackingId(const std::wstring& path) {
  ChangeLog* log = LogOf(path);
  if (log == nullptr) {
    return L"";
  }
  std::wstring guid = log->trackingGuid;
  for (auto& c : guid) {
    c = c == L'-' ? L':' : c;
  }
  wchar_t number[16];
  std::swprintf(number, 16, L"%08llX", static_cast<unsigned long long>(log->sequence++));
  return L"rctX:" + guid + L":" + number;
}

VirtualDisks::Checked VirtualDisks::CheckTrackingId(const std::wstring& path,
                                                    const std::wstring& id) const {
  const ChangeLog* log = LogOf(path);
  if (log == nullptr) {
    return {std::nullopt, TrackingRefusal::Disabled};
  }
  const auto parsed = ParseTrackingId(id);
  if (!parsed) {
    return {std::nullopt, TrackingRefusal::Invalid};
  }
  if (parsed->guid != log->trackingGuid || parsed->sequence >= log->sequence ||
      parsed->sequence < log->validFrom) {
    return {std::nullopt, TrackingRefusal::Missing};
  }
  return {parsed->sequence, TrackingRefusal::Missing};
}

const std::vector<ChangedBlock>& VirtualDisks::ChangedBlocks(const std::wstring& path,
                                                             std::uint64_t sequence,
                                                             std::uint64_t blockSize,
                                                             std::uint64_t size) {
  const ChangeLog* log = std::as_const(*this).LogOf(path);
  const std::size_t writes = log == nullptr ? 0 : log->writes.size();
  if (lastAnswer_ && EqualsNoCase(lastAnswer_->path, path) && lastAnswer_->sequence == sequence &&
      lastAnswer_->blockSize == blockSize && lastAnswer_->size == size &&
      lastAnswer_->writes == writes) {
    return lastAnswer_->blocks;
  }
  std::vector<ChangedBlock> blocks;
  for (std::size_t i = 0; i < writes; ++i) {
    const auto& write = log->writes[i];
    if (write.sequence <= sequence || write.length == 0 || write.offset >= size) {
      continue;
    }
    const std::uint64_t begin = write.offset / blockSize * blockSize;
    const std::uint64_t last = write.offset + (write.length - 1);
    const std::uint64_t end = std::min(size, (last / blockSize + 1) * blockSize);
    blocks.push_back({begin, end});
  }
  std::sort(blocks.begin(), blocks.end(),
            [](const ChangedBlock& a, const ChangedBlock& b) { return a.begin < b.begin; });
  std::vector<ChangedBlock> merged;
  for (const auto& block : blocks) {
    if (!merged.empty() && block.begin <= merged.back().end) {
      merged.back().end = std::max(merged.back().end, block.end);
    } else {
      merged.push_back(block);
    }
  }
  lastAnswer_ = ChangedBlocksAnswer{path, sequence, blockSize, size, writes, std::move(merged)};
  return lastAnswer_->blocks;
}

void VirtualDisks::ExpireChain(const std::wstring& path) {
  std::wstring current = LeafOf(path);
  for (std::size_t steps = 0; steps <= disks_.size(); ++steps) {
    if (ChangeLog* log = LogOf(current)) {
      log->validFrom = log->sequence;
    }
    const VirtualDisk* disk = Find(current);
    if (disk == nullptr || disk->parentPath.empty()) {
      return;
    }
    current = disk->parentPath;
  }
}

void VirtualDisks::Merge(const std::wstring& path) {
  const VirtualDisk* file = Find(path);
  if (file == nullptr || file->parentPath.empty()) {
    return;
  }
  const std::wstring parent = file->parentPath;
  const ChangeLog* from = LogOf(path);
  ChangeLog* into = LogOf(parent);
  if (from != nullptr && into != nullptr) {
    for (const auto& write : from->writes) {
      into->writes.push_back({write.offset, write.length, into->sequence});
    }
  }
  for (auto& [otherPath, other] : disks_) {
    if (EqualsNoCase(other.parentPath, path)) {
      Remember(otherPath);
      other.parentPath = parent;
    }
  }
  Remove(path);
}

void VirtualDisks::Remember(const std::wstring& path) {
  if (!change_ || change_->count(path) != 0) {
    return;
  }
  Before before;
  if (const auto disk = disks_.find(path); disk != disks_.end()) {
    before.disk = disk->second;
  }
  if (const auto log = logs_.find(path); log != logs_.end()) {
    before.log = log->second;
  }
  change_->emplace(path, std::move(before));
}

void VirtualDisks::BeginChange() {
  change_.emplace();
}

void VirtualDisks::Commit() {
  change_.reset();
}

void VirtualDisks::RollBack() {
  if (!change_) {
    return;
  }
  auto change = std::move(*change_);
  change_.reset();
  lastAnswer_.reset();
  for (auto& [path, before] : change) {
    disks_.erase(path);
    logs_.erase(path);
    if (before.disk) {
      disks_.emplace(path, std::move(*before.disk));
    }
    if (before.log) {
      logs_.emplace(path, std::move(*before.log));
    }
  }
}

std::optional<TrackingId> ParseTrackingId(const std::wstring& text) {
  constexpr std::wstring_view kPrefix = L"rctX:";
  if (text.rfind(kPrefix, 0) != 0) {
    return std::nullopt;
  }
  const std::size_t last = text.rfind(L':');
  if (last <= kPrefix.size() || last + 1 >= text.size()) {
    return std::nullopt;
  }
  std::wstring guid = text.substr(kPrefix.size(), last - kPrefix.size());
  for (auto& c : guid) {
    c = c == L':' ? L'-' : FoldCase(c);
  }
  const std::wstring digits = text.substr(last + 1);
  wchar_t* end = nullptr;
  const unsigned long long sequence = std::wcstoull(digits.c_str(), &end, 16);
  if (end != digits.c_str() + digits.size() || guid.size() != 36) {
    return std::nullopt;
  }
  return TrackingId{guid, sequence};
}

}  // namespace quorvane::sim
