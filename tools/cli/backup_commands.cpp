// The road of an incremental backup: change tracking identifiers of a recovery checkpoint, the
// byte ranges changed since one, and (on the simulated host) the guest's writes between them.
#include <filesystem>
#include <memory>

#include "commands.h"
#include "lookup.h"
#include "output.h"
#include "progress.h"
#include "utf8.h"
#include "util/file_replace.h"

namespace quorvane::cli {
namespace {

struct Arguments {
  std::string machine;
  std::string checkpoint;
  std::string file;
  std::string disk;
  std::string since;
  std::uint64_t offset = 0;
  std::uint64_t length = 0;
};

void ChangeTrackingIds(Session& session, const Arguments& arguments) {
  const MachineRef machine = FindMachine(session.Root(), arguments.machine);
  const std::wstring checkpoint = FindCheckpoint(session.Root(), machine, arguments.checkpoint);
  auto snapshots = Own(session.Root().CreateSnapshotManagement(machine.id.c_str()));
  Owned<IChangeEnumerator> ids;
  {
    Progress progress("reading change tracking of " + Utf8(machine.name), !session.Json());
    ids = Own(snapshots->GetChangeEnumerator(checkpoint.c_str()));
  }
  Table table({"DISK", "CHANGE TRACKING ID"});
  Json json = Json::array();
  while (ids->Next()) {
    table.Add({Utf8(ids->GetDiskId()), Utf8(ids->GetChangeTrackingId())});
    json.push_back({{"diskId", Utf8(ids->GetDiskId())},
                    {"changeTrackingId", Utf8(ids->GetChangeTrackingId())}});
  }
  if (!arguments.file.empty()) {
    if (!ReplaceFileContents(std::u8string(arguments.file.begin(), arguments.file.end()),
                             json.dump(2) + "\n")) {
      throw std::runtime_error(arguments.file + ": cannot be written");
    }
  }
  Emit(session, json, table);
}

// The machine's disks, standing on the one named by its path, base path or disk id.
Owned<IDiskEnumerator> FindDisk(IQuorvane& root, const MachineRef& machine,
                                const std::string& text) {
  const std::wstring wanted = Wide(text);
  auto management = Own(root.CreateMachineManagement(false));
  auto disks =
      Own(Own(management->GetMachineInfo(machine.id.c_str()))->CreateDiskEnumerator(false));
  while (disks->Next()) {
    if (wanted == disks->GetPath() || wanted == disks->GetBasePath() ||
        wanted == disks->GetDiskId()) {
      return disks;
    }
  }
  throw UsageError("no disk \"" + text + "\" on " + Utf8(machine.name));
}

void Changes(Session& session, const Arguments& arguments) {
  const MachineRef machine = FindMachine(session.Root(), arguments.machine);
  auto disks = FindDisk(session.Root(), machine, arguments.disk);
  const std::wstring path = disks->GetPath();
  Owned<IDiskChangeEnumerator> ranges;
  {
    Progress progress("reading the changes of " + Utf8(path), !session.Json());
    ranges = Own(disks->GetDiskChangeEnumerator(Wide(arguments.since).c_str()));
  }
  Table table({"OFFSET", "LENGTH"});
  Json list = Json::array();
  std::uint64_t total = 0;
  std::size_t count = 0;
  while (ranges->Next()) {
    table.Add({std::to_string(ranges->GetOffset()), std::to_string(ranges->GetLength())});
    list.push_back({{"offset", ranges->GetOffset()}, {"length", ranges->GetLength()}});
    total += ranges->GetLength();
    ++count;
  }
  Emit(session,
       Json{{"path", Utf8(path)},
            {"since", arguments.since},
            {"ranges", list},
            {"totalBytes", total}},
       table.Render() + "total: " + std::to_string(total) + " bytes in " + std::to_string(count) +
           (count == 1 ? " range\n" : " ranges\n"));
}

void Write(Session& session, const Arguments& arguments) {
  session.Simulated().WriteToDisk(Wide(arguments.disk), arguments.offset, arguments.length);
  Emit(session,
       Json{{"path", arguments.disk}, {"offset", arguments.offset}, {"length", arguments.length}},
       arguments.disk + ": the guest wrote " + std::to_string(arguments.length) + " bytes at " +
           std::to_string(arguments.offset) + "\n");
}

// A count of bytes as digits only: a minus sign would wrap round to a huge number.
CLI::Validator ByteCount() {
  return CLI::Validator(
      [](std::string& text) -> std::string {
        if (!text.empty() && text.find_first_not_of("0123456789") == std::string::npos) {
          return "";
        }
        return "expected a whole number of bytes, not \"" + text + "\"";
      },
      "BYTES");
}

}  // namespace

void AddBackupCommands(CLI::App& app, Commands& commands) {
  auto arguments = std::make_shared<Arguments>();
  auto* rct = app.add_subcommand(
      "rct", "Print the change tracking id of each disk, from a recovery checkpoint");
  rct->add_option("machine", arguments->machine, "Name, machine id or configuration id")
      ->required();
  rct->add_option("checkpoint", arguments->checkpoint, "The recovery checkpoint (name or id)")
      ->required();
  rct->add_option("--save", arguments->file, "Also write them to this file (JSON)");
  commands.push_back({rct, [arguments](Session& s) { ChangeTrackingIds(s, *arguments); }});

  auto* changes = app.add_subcommand("changes",
                                     "Print the byte ranges of a disk changed since a "
                                     "change tracking id, and their total");
  changes->add_option("machine", arguments->machine, "Name, machine id or configuration id")
      ->required();
  changes->add_option("disk", arguments->disk, "The disk: its path, base path or id")->required();
  changes->add_option("--since", arguments->since, "The change tracking id")->required();
  commands.push_back({changes, [arguments](Session& s) { Changes(s, *arguments); }});

  auto* write = app.add_subcommand("write", "Simulated host: the guest writes to a disk");
  write->add_option("path", arguments->disk, "The disk file (its chain's newest file is written)")
      ->required();
  write->add_option("offset", arguments->offset, "Byte offset")->required()->check(ByteCount());
  write->add_option("length", arguments->length, "Byte length")->required()->check(ByteCount());
  commands.push_back({write, [arguments](Session& s) { Write(s, *arguments); }});
}

}  // namespace quorvane::cli
