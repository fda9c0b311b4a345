#include <nlohmann/json.hpp>

#include <functional>
#include <set>
#include <unordered_map>
#include <vector>

#include "errors/status.h"
#include "quorvane/exceptions.h"
#include "simhost/cim_value.h"
#include "simhost/scenario.h"
#include "simhost/scenario_hand_written.h"
#include "simhost/scenario_reading.h"
#include "simhost/sim_wmi.h"
#include "util/case_insensitive.h"
#include "util/text.h"

namespace quorvane::sim {
namespace {

using nlohmann::json;

constexpr std::int32_t kMaxUtcOffsetMinutes = 14 * 60;

// Where in the document a value is, worked out when it is needed.
using Place = std::function<std::string()>;

WmiValue ScalarFromJson(const MemberDef& member, const json& value, const Place& place);

// The "properties" of an instance entry; an entry without them has none.
const json& PropertiesOf(const json& entry) {
  static const json none = json::object();
  const auto found = entry.find("properties");
  return found == entry.end() ? none : *found;
}

using MemberValues = Repository::MemberValues;

MemberValues PropertiesFromJson(const ClassDef& cls, const json& properties, const Place& place) {
  if (!properties.is_object()) {
    Reject(place(), "expected an object of properties");
  }
  MemberValues list;
  list.reserve(properties.size());
  for (const auto& item : properties.items()) {
    const std::string& name = item.key();
    const json& value = item.value();
    // Where a problem is, worked out only when there is one: fleet-sized scenarios hold
    // millions of values.
    const auto where = [&place, &name] { return place() + "/" + name; };
    const MemberDef* member = Schema::Instance().FindProperty(cls, FromUtf8(name));
    if (member == nullptr) {
      Reject(where(), "class " + ToUtf8(cls.name) + " has no such property");
    }
    if (value.is_null()) {
      continue;
    }
    if (!member->array) {
      list.emplace_back(member, ScalarFromJson(*member, value, where));
      continue;
    }
    if (!value.is_array()) {
      Reject(where(), "expected an array");
    }
    std::vector<WmiValue> items;
    items.reserve(value.size());
    for (std::size_t i = 0; i < value.size(); ++i) {
      items.push_back(
          ScalarFromJson(*member, value[i], [&] { return where() + "/" + std::to_string(i); }));
    }
    auto array = CoerceElements(*member, items);
    if (!array) {
      Reject(where(), "array elements do not fit the property's type");
    }
    list.emplace_back(member, std::move(*array));
  }
  return list;
}

const ClassDef& ClassFromJson(const json& entry, const Place& place) {
  const auto name = entry.is_object() ? entry.find("class") : entry.end();
  if (!entry.is_object() || name == entry.end() || !name->is_string()) {
    Reject(place(), "expected an object with a \"class\" name");
  }
  RejectUnknownKeys(entry, {"class", "properties"}, place());
  const std::string& text = name->get_ref<const std::string&>();
  const ClassDef* cls = Schema::Instance().FindClass(FromUtf8(text));
  if (cls == nullptr) {
    Reject(place() + "/class", "unknown class " + text);
  }
  return *cls;
}

WmiValue ScalarFromJson(const MemberDef& member, const json& value, const Place& place) {
  std::optional<WmiValue> converted;
  switch (member.type) {
    case CimType::Boolean:
      if (value.is_boolean()) {
        converted = WmiValue::Boolean(value.get<bool>());
      }
      break;
    case CimType::String:
    case CimType::Datetime:
    case CimType::Reference:
      if (value.is_string()) {
        converted = WmiValue::String(FromUtf8(value.get_ref<const std::string&>()));
      }
      break;
    case CimType::Real32:
    case CimType::Real64:
      if (value.is_number()) {
        converted = CoerceScalar(member.type, WmiValue::String(FromUtf8(value.dump())));
      }
      break;
    case CimType::Object: {
      const ClassDef& cls = ClassFromJson(value, place);
      PropertyList properties;
      for (auto& [property, each] :
           PropertiesFromJson(cls, PropertiesOf(value), [&] { return place() + "/properties"; })) {
        properties.emplace_back(property->name, std::move(each));
      }
      converted = WmiValue::Object(MakeDetachedObject(cls, properties));
      break;
    }
    default:
      // Integers; 64-bit ones may also be written as decimal text.
      if (value.is_number_integer() || value.is_string()) {
        const std::string text =
            value.is_string() ? value.get_ref<const std::string&>() : value.dump();
        converted = CoerceScalar(member.type, WmiValue::String(FromUtf8(text)));
      }
  }
  if (!converted) {
    Reject(place(), "expected a " + ToUtf8(CimTypeName(member.type)) + " value");
  }
  return std::move(*converted);
}

VirtualDisk FileFromJson(const json& file, const std::string& place) {
  RejectUnknownKeys(
      file, {"path", "diskId", "format", "type", "maxInternalSize", "parentPath", "mergedWith"},
      place);
  VirtualDisk disk;
  disk.path = FromUtf8(Required<std::string>(file, "path", place));
  disk.diskId = FromUtf8(Required<std::string>(file, "diskId", place));
  disk.format = Setting<std::uint16_t>(file, "format", 3, place);
  disk.type = Setting<std::uint16_t>(file, "type", 3, place);
  disk.maxInternalSize = Required<std::uint64_t>(file, "maxInternalSize", place);
  disk.parentPath = FromUtf8(Setting<std::string>(file, "parentPath", "", place));
  disk.mergedWith = FromUtf8(Setting<std::string>(file, "mergedWith", "", place));
  return disk;
}

using ChangeLogs = std::map<std::wstring, ChangeLog, LessNoCase>;

void AddLogFromJson(const json& entry, const std::string& place, ChangeLogs& logs) {
  RejectUnknownKeys(entry, {"path", "trackingGuid", "sequence", "validFrom", "writes"}, place);
  ChangeLog log;
  log.trackingGuid = FromUtf8(Required<std::string>(entry, "trackingGuid", place));
  log.sequence = Setting<std::uint64_t>(entry, "sequence", 0, place);
  log.validFrom = Setting<std::uint64_t>(entry, "validFrom", 0, place);
  const json& writes = ArrayAt(entry, "writes", place);
  log.writes.reserve(writes.size());
  for (std::size_t w = 0; w < writes.size(); ++w) {
    // [offset, length, sequence]
    const std::string where = place + "/writes/" + std::to_string(w);
    if (!writes[w].is_array() || writes[w].size() != 3) {
      Reject(where, "expected [offset, length, sequence]");
    }
    log.writes.push_back({ValueAs<std::uint64_t>(writes[w][0], where + "/0"),
                          ValueAs<std::uint64_t>(writes[w][1], where + "/1"),
                          ValueAs<std::uint64_t>(writes[w][2], where + "/2")});
  }
  logs[FromUtf8(Required<std::string>(entry, "path", place))] = std::move(log);
}

// A file whose chain of parents comes back to a file of the chain would make every walk down
// the chain endless. Each file is walked once.
void RejectParentLoops(const std::vector<VirtualDisk>& files) {
  std::unordered_map<std::wstring, std::size_t, HashNoCase, EqualNoCase> byPath;
  for (std::size_t i = 0; i < files.size(); ++i) {
    byPath.emplace(files[i].path, i);
  }
  enum class Walk { NotYet, OnThisWalk, Done };
  std::vector<Walk> walked(files.size(), Walk::NotYet);
  for (std::size_t start = 0; start < files.size(); ++start) {
    std::vector<std::size_t> chain;
    for (std::size_t at = start; walked[at] == Walk::NotYet;) {
      walked[at] = Walk::OnThisWalk;
      chain.push_back(at);
      const auto parent = byPath.find(files[at].parentPath);
      if (parent == byPath.end()) {
        break;
      }
      if (walked[parent->second] == Walk::OnThisWalk) {
        Reject("/storage/files/" + std::to_string(parent->second) + "/parentPath",
               "the chain of parents comes back to this file");
      }
      at = parent->second;
    }
    for (const std::size_t at : chain) {
      walked[at] = Walk::Done;
    }
  }
}

// The disk files and change logs of the storage section, read entry by entry. A problem is
// kept, not raised, until the section's turn comes, so that a scenario with several problems
// is refused for the same one however it was read.
class StorageReader {
 public:
  void AddFile(const json& file) {
    const std::string place = "/storage/files/" + std::to_string(filesRead_++);
    Guard(fileProblem_, [&] { files_.push_back(FileFromJson(file, place)); });
  }
  void AddLog(const json& entry) {
    const std::string place = "/storage/changeTracking/" + std::to_string(logsRead_++);
    Guard(logProblem_, [&] { AddLogFromJson(entry, place, logs_); });
  }

  // Reads what was left in the section itself, and hands everything to the disks.
  void Finish(const json& storage, VirtualDisks& disks) {
    if (!storage.is_object()) {
      Reject("/storage", "expected an object with \"files\" and \"changeTracking\"");
    }
    RejectUnknownKeys(storage, {"files", "changeTracking"}, "/storage");
    for (const json& file : ArrayAt(storage, "files", "/storage")) {
      AddFile(file);
    }
    RaiseIfAny(fileProblem_);
    RejectParentLoops(files_);
    for (const json& entry : ArrayAt(storage, "changeTracking", "/storage")) {
      AddLog(entry);
    }
    RaiseIfAny(logProblem_);
    disks.Restore(std::move(files_), std::move(logs_));
  }

 private:
  template <typename Read>
  static void Guard(std::optional<ScenarioError>& problem, Read read) {
    if (problem) {
      return;  // the first problem is the one told
    }
    try {
      read();
    } catch (const ScenarioError& e) {
      problem = e;
    }
  }
  static void RaiseIfAny(const std::optional<ScenarioError>& problem) {
    if (problem) {
      throw *problem;
    }
  }

  std::vector<VirtualDisk> files_;
  ChangeLogs logs_;
  std::size_t filesRead_ = 0;
  std::size_t logsRead_ = 0;
  std::optional<ScenarioError> fileProblem_;
  std::optional<ScenarioError> logProblem_;
};

// One scripted failure: {"operation": "GetObject", "match": "...", "status": ...},
// {"class": ..., "method": ..., "returnValue": ...} or {"class": ..., "method": ...,
// "errorCode": ..., "description": ...}; with "nth" it hits that matching call alone, else the
// next "count" (1 when not given, below 0 every one).
void FaultFromJson(const json& entry, const std::string& place, FaultPlan& plan) {
  if (!entry.is_object()) {
    Reject(place, "expected an object");
  }
  RejectUnknownKeys(entry,
                    {"operation", "match", "status", "class", "method", "returnValue", "errorCode",
                     "description", "nth", "count"},
                    place);
  const int nth = Setting<int>(entry, "nth", 0, place);
  if (entry.contains("nth") && nth < 1) {
    Reject(place + "/nth", "counts from 1");
  }
  const int count = nth > 0 ? 1 : Setting<int>(entry, "count", 1, place);
  const int skip = nth > 0 ? nth - 1 : 0;
  if (entry.contains("operation")) {
    const auto operation =
        ParseOperationName(FromUtf8(Setting<std::string>(entry, "operation", "", place)));
    if (!operation) {
      Reject(place + "/operation", "is not a WMI operation");
    }
    plan.FailOperation(*operation, FromUtf8(Setting<std::string>(entry, "match", "", place)),
                       static_cast<HResult>(Setting<std::uint32_t>(entry, "status", 0, place)),
                       count, FailureKind::WmiStatus, skip);
    return;
  }
  const std::wstring cls = FromUtf8(Setting<std::string>(entry, "class", "", place));
  const std::wstring method = FromUtf8(Setting<std::string>(entry, "method", "", place));
  if (cls.empty() || method.empty()) {
    Reject(place, "expected an \"operation\", or a \"class\" and a \"method\"");
  }
  if (entry.contains("returnValue")) {
    plan.FailMethod(cls, method, Setting<std::uint32_t>(entry, "returnValue", 0, place), count,
                    skip);
  } else if (entry.contains("errorCode")) {
    plan.FailJob(cls, method, Setting<std::uint16_t>(entry, "errorCode", 0, place),
                 FromUtf8(Setting<std::string>(entry, "description", "", place)), count, skip);
  } else {
    Reject(place, "expected a \"returnValue\" or an \"errorCode\"");
  }
}

// `[first, second]`, two texts; `expected` names them for the refusal.
std::pair<std::wstring, std::wstring> TextPair(const json& entry, const std::string& place,
                                               const char* expected) {
  if (!entry.is_array() || entry.size() != 2 || !entry[0].is_string() || !entry[1].is_string()) {
    Reject(place, expected);
  }
  return {FromUtf8(entry[0].get<std::string>()), FromUtf8(entry[1].get<std::string>())};
}

// The namespace an entry of "underWay" runs in, which the host must have.
std::wstring NamespaceOfEntry(const json& entry, const std::string& place, HostCore& core) {
  std::wstring name = FromUtf8(Required<std::string>(entry, "namespace", place));
  if (!core.HasNamespace(name)) {
    Reject(place + "/namespace", "the host has no such namespace");
  }
  return name;
}

Deferred DeferredFromJson(const json& entry, const std::string& place) {
  if (!entry.is_object()) {
    Reject(place, "expected {\"kind\": ..., \"arguments\": [[name, text], ...]}");
  }
  RejectUnknownKeys(entry, {"kind", "arguments"}, place);
  Deferred work{FromUtf8(Required<std::string>(entry, "kind", place)), {}};
  const json& arguments = ArrayAt(entry, "arguments", place);
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    work.arguments.push_back(
        TextPair(arguments[i], place + "/arguments/" + std::to_string(i), "expected [name, text]"));
  }
  return work;
}

// What was under way when the host was saved: jobs that had not ended, and timers.
void ResumeUnderWay(const json& underWay, HostCore& core) {
  if (!underWay.is_object()) {
    Reject("/underWay", "expected an object with \"jobs\" and \"timers\"");
  }
  RejectUnknownKeys(underWay, {"jobs", "timers", "heldAnswers"}, "/underWay");
  const json& jobs = ArrayAt(underWay, "jobs", "/underWay");
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    const std::string place = "/underWay/jobs/" + std::to_string(i);
    RejectUnknownKeys(jobs[i], {"namespace", "job", "finishAtMs", "effect", "onFailure", "failure"},
                      place);
    HostCore::PendingJob pending{
        NamespaceOfEntry(jobs[i], place, core),
        Required<std::uint64_t>(jobs[i], "finishAtMs", place), std::nullopt,
        DeferredFromJson(jobs[i].value("effect", json::object()), place + "/effect"),
        jobs[i].contains("onFailure")
            ? DeferredFromJson(jobs[i].at("onFailure"), place + "/onFailure")
            : Deferred{}};
    if (jobs[i].contains("failure")) {
      const json& failure = jobs[i].at("failure");
      RejectUnknownKeys(failure, {"errorCode", "description"}, place + "/failure");
      pending.failure = FaultPlan::JobError{
          Required<std::uint16_t>(failure, "errorCode", place + "/failure"),
          FromUtf8(Setting<std::string>(failure, "description", "", place + "/failure"))};
    }
    const std::wstring job = FromUtf8(Required<std::string>(jobs[i], "job", place));
    if (!core.Namespace(pending.nameSpace).Find(job)) {
      Reject(place + "/job", "names no job of the scenario");
    }
    core.ResumeJob(job, std::move(pending));
  }
  const json& timers = ArrayAt(underWay, "timers", "/underWay");
  for (std::size_t i = 0; i < timers.size(); ++i) {
    const std::string place = "/underWay/timers/" + std::to_string(i);
    RejectUnknownKeys(timers[i], {"namespace", "dueAtMs", "work"}, place);
    HostCore::Timer timer{
        NamespaceOfEntry(timers[i], place, core),
        DeferredFromJson(timers[i].value("work", json::object()), place + "/work")};
    core.ResumeTimer(Required<std::uint64_t>(timers[i], "dueAtMs", place), std::move(timer));
  }
  const json& held = ArrayAt(underWay, "heldAnswers", "/underWay");
  for (std::size_t i = 0; i < held.size(); ++i) {
    const std::string place = "/underWay/heldAnswers/" + std::to_string(i);
    const auto [call, jobPath] = TextPair(held[i], place, "expected [call, job path]");
    const auto job = core.Namespace(kVirtualizationNamespace).Find(jobPath);
    if (!job) {
      Reject(place + "/1", "names no job of the scenario");
    }
    core.HeldAnswers()[call] = *job;
  }
}

std::shared_ptr<HostCore> CoreFromHost(const json& host) {
  if (!host.is_object()) {
    Reject("/host", "expected an object of settings");
  }
  RejectUnknownKeys(host,
                    {"name",
                     "hostGuardian",
                     "capabilities",
                     "jobDurationMs",
                     "user",
                     "password",
                     "utcOffsetMinutes",
                     "waitLimitMs",
                     "mergeDurationMs",
                     "changeTrackingBlockSize",
                     "changeRangesPerPass",
                     "refuseDuringMerge",
                     "refuseMergeWithReferencePoint",
                     "refusePutInstance",
                     "referencePointHoldsAllocationIds",
                     "refuseFullLengthChanges",
                     "changesOutputsAfterJob",
                     "defaultTemplatesLast",
                     "changeTrackingFailsThroughJob",
                     "changeTrackingFailureCode",
                     "clockMs",
                     "guidSeed",
                     "synchronousMethods"},
                    "/host");
  HostSettings settings;
  settings.name = FromUtf8(Setting<std::string>(host, "name", "HV-HOST01", "/host"));
  settings.hostGuardian = Setting<bool>(host, "hostGuardian", true, "/host");
  settings.capabilities = Setting<bool>(host, "capabilities", true, "/host");
  settings.jobDurationMs = Setting<std::uint32_t>(host, "jobDurationMs", 300, "/host");
  settings.user = FromUtf8(Setting<std::string>(host, "user", "", "/host"));
  settings.password = FromUtf8(Setting<std::string>(host, "password", "", "/host"));
  settings.utcOffsetMinutes = Setting<std::int32_t>(host, "utcOffsetMinutes", 0, "/host");
  settings.waitLimitMs = Setting<std::uint64_t>(host, "waitLimitMs", 3600000, "/host");
  settings.mergeDurationMs = Setting<std::uint32_t>(host, "mergeDurationMs", 15000, "/host");
  settings.changeTrackingBlockSize =
      Setting<std::uint32_t>(host, "changeTrackingBlockSize", 4096, "/host");
  settings.changeRangesPerPass =
      Setting<std::uint32_t>(host, "changeRangesPerPass", 16384, "/host");
  settings.refuseDuringMerge = Setting<bool>(host, "refuseDuringMerge", true, "/host");
  settings.refuseMergeWithReferencePoint =
      Setting<bool>(host, "refuseMergeWithReferencePoint", false, "/host");
  settings.refusePutInstance = Setting<bool>(host, "refusePutInstance", false, "/host");
  settings.referencePointHoldsAllocationIds =
      Setting<bool>(host, "referencePointHoldsAllocationIds", false, "/host");
  settings.refuseFullLengthChanges = Setting<bool>(host, "refuseFullLengthChanges", false, "/host");
  settings.changesOutputsAfterJob = Setting<bool>(host, "changesOutputsAfterJob", false, "/host");
  settings.defaultTemplatesLast = Setting<bool>(host, "defaultTemplatesLast", false, "/host");
  settings.changeTrackingFailsThroughJob =
      Setting<bool>(host, "changeTrackingFailsThroughJob", true, "/host");
  settings.changeTrackingFailureCode =
      Setting<std::uint16_t>(host, "changeTrackingFailureCode", 32768, "/host");
  if (settings.utcOffsetMinutes < -kMaxUtcOffsetMinutes ||
      settings.utcOffsetMinutes > kMaxUtcOffsetMinutes) {
    Reject("/host/utcOffsetMinutes", "must be within 14 hours of UTC");
  }
  if (settings.name.empty()) {
    Reject("/host/name", "must not be empty");
  }

  auto core = std::make_shared<HostCore>(settings);
  core->SetClockMs(Setting<std::uint64_t>(host, "clockMs", 0, "/host"));
  if (host.contains("guidSeed")) {
    core->SetGuidSeed(Setting<std::uint64_t>(host, "guidSeed", 0, "/host"));
  }
  const json& synchronous = ArrayAt(host, "synchronousMethods", "/host");
  for (std::size_t i = 0; i < synchronous.size(); ++i) {
    const json& entry = synchronous[i];
    const std::string place = "/host/synchronousMethods/" + std::to_string(i);
    if (!entry.is_object() || !entry.value("class", json()).is_string() ||
        !entry.value("method", json()).is_string()) {
      Reject(place, "expected {\"class\": ..., \"method\": ...}");
    }
    RejectUnknownKeys(entry, {"class", "method"}, place);
    core->SetSynchronous(FromUtf8(entry["class"].get<std::string>()),
                         FromUtf8(entry["method"].get<std::string>()), true);
  }
  return core;
}

Repository& NamespaceOf(HostCore& core, const std::string& nameSpace) {
  const std::wstring name = FromUtf8(nameSpace);
  if (!core.HasNamespace(name)) {
    Reject("/namespaces/" + nameSpace, "the host has no such namespace");
  }
  return core.Namespace(name);
}

void AddInstance(Repository& repository, const std::string& nameSpace, std::size_t index,
                 const json& entry) {
  const auto where = [&] { return "/namespaces/" + nameSpace + "/" + std::to_string(index); };
  const ClassDef& cls = ClassFromJson(entry, where);
  MemberValues properties =
      PropertiesFromJson(cls, PropertiesOf(entry), [&] { return where() + "/properties"; });
  try {
    repository.Create(cls, std::move(properties));
  } catch (const DefaultException& e) {
    Reject(where(), ToUtf8(e.GetMessageDescription()) + "(the instance cannot be stored)");
  }
}

// Follows the parser through the document to refuse a key given twice in one object, which the
// parser would otherwise settle silently by keeping the last value.
class DuplicateKeyGuard {
 public:
  void OnEvent(json::parse_event_t event, const json& parsed) {
    using Event = json::parse_event_t;
    switch (event) {
      case Event::object_start:
      case Event::array_start:
        CountElement();
        frames_.push_back({event == Event::array_start, 0, {}, {}});
        break;
      case Event::object_end:
      case Event::array_end:
        frames_.pop_back();
        break;
      case Event::key:
        frames_.back().key = parsed.get<std::string>();
        if (!frames_.back().keys.insert(frames_.back().key).second) {
          Reject(Place(), "is given twice");
        }
        break;
      case Event::value:
        CountElement();
        break;
    }
  }

 private:
  struct Frame {
    bool isArray;
    std::size_t elements;  // of an array, those begun so far
    std::string key;       // of an object, the one whose value is being read
    std::set<std::string> keys;
  };

  void CountElement() {
    if (!frames_.empty() && frames_.back().isArray) {
      ++frames_.back().elements;
    }
  }

  std::string Place() const {
    std::string place;
    for (const Frame& frame : frames_) {
      place += "/" + (frame.isArray ? std::to_string(frame.elements - 1) : frame.key);
    }
    return place;
  }

  std::vector<Frame> frames_;
};

// Loads a scenario while the parser reads it. A saved scenario names its format and the host's
// settings before its instances, so each instance is stored as soon as its text ends and its
// JSON is dropped: a fleet-sized scenario never sits in memory as a whole document. Instances
// that come before the settings are kept and stored once the document is read.
class ScenarioLoader {
 public:
  // From text, or straight from a file so that its text is never held whole either.
  template <typename Input>
  std::shared_ptr<HostCore> Load(Input&& input) {
    const json document = json::parse(std::forward<Input>(input),
                                      [this](int depth, json::parse_event_t event, json& parsed) {
                                        return OnEvent(depth, event, parsed);
                                      });
    return Finish(document);
  }

 private:
  bool OnEvent(int depth, json::parse_event_t event, json& parsed) {
    using Event = json::parse_event_t;
    duplicates_.OnEvent(event, parsed);
    if (depth == 1 && event == Event::key) {
      topKey_ = parsed.get<std::string>();
    } else if (depth == 1 && event == Event::value && topKey_ == "format") {
      formatKnown_ = parsed.is_string() && parsed.get<std::string>() == kScenarioFormat;
    } else if (depth == 1 && event == Event::object_end && topKey_ == "host" && formatKnown_) {
      core_ = CoreFromHost(parsed);
    } else if (topKey_ == "namespaces" && depth == 2 && event == Event::key) {
      nameSpace_ = parsed.get<std::string>();
      repository_ = nullptr;
      next_ = 0;
    } else if (topKey_ == "namespaces" && depth == 2) {
      inArray_ = event == Event::array_start;
    } else if (topKey_ == "namespaces" && depth == 3 && inArray_ && EndsValue(event)) {
      const std::size_t index = next_++;
      if (core_) {
        if (repository_ == nullptr) {
          repository_ = &NamespaceOf(*core_, nameSpace_);
        }
        AddInstance(*repository_, nameSpace_, index, parsed);
        return false;
      }
    } else if (topKey_ == "storage" && depth == 2 && event == Event::key) {
      storageKey_ = parsed.get<std::string>();
    } else if (topKey_ == "storage" && depth == 2) {
      inArray_ = event == Event::array_start;
    } else if (topKey_ == "storage" && depth == 3 && inArray_ && EndsValue(event) && formatKnown_) {
      // Kept entries would make every later one cost more: the parser looks through the
      // array each time an object in it ends.
      if (storageKey_ == "files") {
        storage_.AddFile(parsed);
        return false;
      }
      if (storageKey_ == "changeTracking") {
        storage_.AddLog(parsed);
        return false;
      }
    }
    return true;
  }

  static bool EndsValue(json::parse_event_t event) {
    using Event = json::parse_event_t;
    return event == Event::object_end || event == Event::array_end || event == Event::value;
  }

  std::shared_ptr<HostCore> Finish(const json& document) {
    if (!document.is_object()) {
      Reject("", "expected a JSON object");
    }
    RejectUnknownKeys(document,
                      {"format", "version", "host", "faults", "namespaces", "storage", "underWay",
                       "machines", "switches"},
                      "");
    if (Setting<std::string>(document, "format", "", "") != kScenarioFormat) {
      Reject("/format", std::string("expected \"") + kScenarioFormat + "\"");
    }
    if (Setting<int>(document, "version", 0, "") != kScenarioVersion) {
      Reject("/version", "expected " + std::to_string(kScenarioVersion));
    }
    if (!core_) {
      core_ = CoreFromHost(document.value("host", json::object()));
    }
    const json faults = document.value("faults", json::array());
    if (!faults.is_array()) {
      Reject("/faults", "expected an array of faults");
    }
    for (std::size_t i = 0; i < faults.size(); ++i) {
      FaultFromJson(faults[i], "/faults/" + std::to_string(i), core_->Faults());
    }
    if (IsHandWritten(document)) {
      for (const char* saved : {"storage", "underWay"}) {
        if (document.contains(saved)) {
          Reject(std::string("/") + saved, "belongs to a saved scenario, which has \"namespaces\"");
        }
      }
      if (!document.value("host", json::object()).contains("synchronousMethods")) {
        SetDefaultSynchronousMethods(*core_);
      }
      AddHostObjects(*core_);
      ExpandHandWritten(*core_, document);
      InstallProviderBehaviours(*core_);
      return std::move(core_);
    }
    for (const char* handWritten : {"machines", "switches"}) {
      if (document.contains(handWritten)) {
        Reject(std::string("/") + handWritten,
               "belongs to a hand-written scenario, which has no \"namespaces\"");
      }
    }
    const auto found = document.find("namespaces");
    const json none = json::object();
    const json& namespaces = found != document.end() ? *found : none;
    if (!namespaces.is_object()) {
      Reject("/namespaces", "expected an object keyed by namespace");
    }
    // What the parser kept: namespaces read before the settings, and any left empty.
    for (const auto& [name, instances] : namespaces.items()) {
      Repository& repository = NamespaceOf(*core_, name);
      if (!instances.is_array()) {
        Reject("/namespaces/" + name, "expected an array of instances");
      }
      for (std::size_t i = 0; i < instances.size(); ++i) {
        AddInstance(repository, name, i, instances[i]);
      }
    }
    const auto storage = document.find("storage");
    storage_.Finish(storage != document.end() ? *storage : json::object(), core_->Disks());
    ResumeUnderWay(document.value("underWay", json::object()), *core_);
    InstallProviderBehaviours(*core_);
    return std::move(core_);
  }

  std::shared_ptr<HostCore> core_;
  DuplicateKeyGuard duplicates_;
  std::string topKey_;
  bool formatKnown_ = false;
  std::string nameSpace_;
  Repository* repository_ = nullptr;  // nameSpace_'s, once an instance of it is read
  bool inArray_ = false;
  std::size_t next_ = 0;
  std::string storageKey_;
  StorageReader storage_;
};

template <typename Input>
std::shared_ptr<HostCore> LoadNamingTheSource(Input&& input, const std::string& sourceName) {
  try {
    return ScenarioLoader().Load(std::forward<Input>(input));
  } catch (const json::exception& e) {
    // Parse errors, and numbers too large for the parser.
    throw DefaultException(kLibraryErrorCode,
                           FromUtf8(sourceName + ": not valid JSON: " + e.what()).c_str());
  } catch (const ScenarioError& e) {
    const std::string message =
        sourceName + ": " + (e.place.empty() ? "/" : e.place) + ": " + e.problem;
    throw DefaultException(kLibraryErrorCode, FromUtf8(message).c_str());
  }
}

}  // namespace

std::shared_ptr<HostCore> HostFromJson(const std::string& text, const std::string& sourceName) {
  return LoadNamingTheSource(text, sourceName);
}

std::shared_ptr<HostCore> HostFromStream(std::istream& in, const std::string& sourceName) {
  return LoadNamingTheSource(in, sourceName);
}

}  // namespace quorvane::sim
