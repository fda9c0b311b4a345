#include "lookup.h"

#include <vector>

#include "session.h"
#include "utf8.h"
#include "util/text.h"

namespace quorvane::cli {
namespace {

bool SameId(const std::wstring& a, const std::wstring& b) {
  if (a.size() != b.size()) {
    return false;
  }
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (towlower(a[i]) != towlower(b[i])) {
      return false;
    }
  }
  return true;
}

struct Entry {
  std::wstring id;
  std::wstring name;
};

Entry Pick(const std::vector<Entry>& entries, const std::string& text, const char* kind,
           const std::string& where) {
  const std::wstring wanted = Wide(text);
  std::vector<Entry> byName;
  for (const auto& entry : entries) {
    if (SameId(entry.id, wanted)) {
      return entry;
    }
    if (entry.name == wanted) {
      byName.push_back(entry);
    }
  }
  if (byName.size() == 1) {
    return byName.front();
  }
  if (byName.empty()) {
    throw UsageError(std::string("no ") + kind + " \"" + text + "\"" + where);
  }
  std::string candidates;
  for (const auto& entry : byName) {
    candidates += (candidates.empty() ? "" : ", ") + Utf8(entry.id);
  }
  throw UsageError(std::string("several ") + kind + "s are named \"" + text + "\"" + where +
                   "; give one of their ids: " + candidates);
}

std::vector<Entry> Entries(IMachineEnumerator& list) {
  std::vector<Entry> entries;
  while (list.Next()) {
    entries.push_back({list.GetId(), list.GetName()});
  }
  return entries;
}

}  // namespace

MachineRef FindMachine(IQuorvane& root, const std::string& text) {
  auto machines = Own(root.CreateMachineEnumerator());
  const Entry found = Pick(Entries(*machines), text, "machine", "");
  return {found.id, found.name};
}

std::wstring FindCheckpoint(IQuorvane& root, const MachineRef& machine, const std::string& text) {
  auto snapshots = Own(root.CreateSnapshotManagement(machine.id.c_str()));
  auto list = Own(snapshots->EnumerateSnapshots());
  const std::vector<Entry> entries = Entries(*list);
  try {
    return Pick(entries, text, "checkpoint", " on " + Utf8(machine.name)).id;
  } catch (const UsageError&) {
    // Recovery checkpoints are not listed with the others: they are named by their id, and
    // the library takes only one of this machine's.
    const std::wstring id = Wide(text);
    if (IsGuidText(id)) {
      try {
        Own(snapshots->GetSnapshotInfo(id.c_str()));
        return id;
      } catch (const DefaultException&) {
      }
    }
    throw;
  }
}

}  // namespace quorvane::cli
