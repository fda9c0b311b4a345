#include <limits>
#include <nlohmann/json.hpp>
#include <type_traits>

#include "errors/status.h"
#include "quorvane/exceptions.h"
#include "simhost/cim_value.h"
#include "simhost/scenario.h"
#include "simhost/sim_wmi.h"
#include "util/text.h"

namespace quorvane::sim {
namespace {

using nlohmann::json;

constexpr const char* kFormat = "quorvane-simulated-host";
constexpr int kVersion = 1;
constexpr std::int32_t kMaxUtcOffsetMinutes = 14 * 60;

// A scenario problem: where it is (a JSON pointer) and what is wrong.
struct ScenarioError {
  std::string place;
  std::string problem;
};

[[noreturn]] void Reject(const std::string& place, const std::string& problem) {
  throw ScenarioError{place, problem};
}

json ScalarToJson(const MemberDef& member, const WmiValue& value);

json ObjectToJson(const WmiObjectPtr& object) {
  const auto* simObject = dynamic_cast<const SimObject*>(object.get());
  if (simObject == nullptr || simObject->Copy().cls == nullptr) {
    return nullptr;
  }
  const ObjectCopy& copy = simObject->Copy();
  json properties = json::object();
  for (const MemberDef* member : Schema::Instance().Properties(*copy.cls)) {
    const auto found = copy.properties.find(member->name);
    if (found == copy.properties.end()) {
      continue;
    }
    if (member->array) {
      json items = json::array();
      for (const auto& item : found->second.Elements()) {
        items.push_back(ScalarToJson(*member, item));
      }
      properties[ToUtf8(member->name)] = std::move(items);
    } else {
      properties[ToUtf8(member->name)] = ScalarToJson(*member, found->second);
    }
  }
  return json{{"class", ToUtf8(copy.cls->name)}, {"properties", std::move(properties)}};
}

json ScalarToJson(const MemberDef& member, const WmiValue& value) {
  switch (member.type) {
    case CimType::Boolean:
      return value.AsBoolean();
    case CimType::Real32:
    case CimType::Real64:
      return std::stod(ScalarToCimText(value));
    case CimType::Object:
      return ObjectToJson(value.AsObject());
    case CimType::UInt64:
      return std::stoull(value.AsWideString());
    case CimType::UInt32:
      return static_cast<std::uint32_t>(value.AsInteger());
    case CimType::String:
    case CimType::Datetime:
    case CimType::Reference:
      return ToUtf8(value.AsWideString());
    default:
      return value.AsInteger();
  }
}

json PropertiesToJson(const Instance& instance) {
  json properties = json::object();
  for (const MemberDef* member : Schema::Instance().Properties(*instance.cls)) {
    const WmiValue value = instance.Get(member->name);
    if (value.IsNull()) {
      continue;
    }
    if (member->array) {
      json items = json::array();
      for (const auto& item : value.Elements()) {
        items.push_back(ScalarToJson(*member, item));
      }
      properties[ToUtf8(member->name)] = std::move(items);
    } else {
      properties[ToUtf8(member->name)] = ScalarToJson(*member, value);
    }
  }
  return properties;
}

WmiValue ScalarFromJson(const MemberDef& member, const json& value, const std::string& place);

PropertyList PropertiesFromJson(const ClassDef& cls, const json& properties,
                                const std::string& place) {
  if (!properties.is_object()) {
    Reject(place, "expected an object of properties");
  }
  PropertyList list;
  for (const auto& [name, value] : properties.items()) {
    const std::string where = place + "/" + name;
    const MemberDef* member = Schema::Instance().FindProperty(cls, FromUtf8(name));
    if (member == nullptr) {
      Reject(where, "class " + ToUtf8(cls.name) + " has no such property");
    }
    if (value.is_null()) {
      continue;
    }
    if (!member->array) {
      list.emplace_back(std::wstring(member->name), ScalarFromJson(*member, value, where));
      continue;
    }
    if (!value.is_array()) {
      Reject(where, "expected an array");
    }
    std::vector<WmiValue> items;
    for (std::size_t i = 0; i < value.size(); ++i) {
      items.push_back(ScalarFromJson(*member, value[i], where + "/" + std::to_string(i)));
    }
    auto array = CoerceElements(*member, items);
    if (!array) {
      Reject(where, "array elements do not fit the property's type");
    }
    list.emplace_back(std::wstring(member->name), std::move(*array));
  }
  return list;
}

const ClassDef& ClassFromJson(const json& entry, const std::string& place) {
  if (!entry.is_object() || !entry.contains("class") || !entry["class"].is_string()) {
    Reject(place, "expected an object with a \"class\" name");
  }
  const ClassDef* cls = Schema::Instance().FindClass(FromUtf8(entry["class"].get<std::string>()));
  if (cls == nullptr) {
    Reject(place + "/class", "unknown class " + entry["class"].get<std::string>());
  }
  return *cls;
}

WmiValue ScalarFromJson(const MemberDef& member, const json& value, const std::string& place) {
  const MemberDef scalar{member.name, member.type, false, member.refClass};
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
        converted = WmiValue::String(FromUtf8(value.get<std::string>()));
      }
      break;
    case CimType::Real32:
    case CimType::Real64:
      if (value.is_number()) {
        converted = CoerceToMember(scalar, WmiValue::String(FromUtf8(value.dump())));
      }
      break;
    case CimType::Object: {
      const ClassDef& cls = ClassFromJson(value, place);
      converted = WmiValue::Object(
          MakeDetachedObject(cls, PropertiesFromJson(cls, value.value("properties", json::object()),
                                                     place + "/properties")));
      break;
    }
    default:
      // Integers; 64-bit ones may also be written as decimal text.
      if (value.is_number_integer() || value.is_string()) {
        const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
        converted = CoerceToMember(scalar, WmiValue::String(FromUtf8(text)));
      }
  }
  if (!converted) {
    Reject(place, "expected a " + ToUtf8(CimTypeName(member.type)) + " value");
  }
  return std::move(*converted);
}

template <typename T>
T Setting(const json& host, const char* name, T fallback, const std::string& place) {
  if (!host.contains(name)) {
    return fallback;
  }
  const json& value = host.at(name);
  if constexpr (std::is_integral_v<T> && !std::is_same_v<T, bool>) {
    // JSON converts a negative or fractional number to any integer type without a word.
    if (!value.is_number()) {
      Reject(place + "/" + name, "has the wrong type");
    }
    const bool whole = value.is_number_integer();
    const bool fits =
        whole && (value.is_number_unsigned()
                      ? value.get<std::uint64_t>() <=
                            static_cast<std::uint64_t>(std::numeric_limits<T>::max())
                      : value.get<std::int64_t>() >=
                                static_cast<std::int64_t>(std::numeric_limits<T>::min()) &&
                            value.get<std::int64_t>() <=
                                static_cast<std::int64_t>(std::numeric_limits<T>::max()));
    if (!fits) {
      Reject(place + "/" + name,
             whole ? "is out of range" : "has the wrong type (expected a whole number)");
    }
  }
  try {
    return value.get<T>();
  } catch (const json::exception&) {
    Reject(place + "/" + name, "has the wrong type");
  }
}

json DisksToJson(const VirtualDisks& disks) {
  json files = json::array();
  for (const auto& disk : disks.All()) {
    files.push_back({{"path", ToUtf8(disk.path)},
                     {"diskId", ToUtf8(disk.diskId)},
                     {"format", disk.format},
                     {"type", disk.type},
                     {"maxInternalSize", disk.maxInternalSize},
                     {"parentPath", ToUtf8(disk.parentPath)},
                     {"mergedWith", ToUtf8(disk.mergedWith)}});
  }
  json logs = json::array();
  for (const auto& [path, log] : disks.Logs()) {
    json writes = json::array();
    for (const auto& write : log.writes) {
      writes.push_back({write.offset, write.length, write.sequence});
    }
    logs.push_back({{"path", ToUtf8(path)},
                    {"trackingGuid", ToUtf8(log.trackingGuid)},
                    {"sequence", log.sequence},
                    {"validFrom", log.validFrom},
                    {"writes", std::move(writes)}});
  }
  return {{"files", std::move(files)}, {"changeTracking", std::move(logs)}};
}

void DisksFromJson(const json& storage, VirtualDisks& disks) {
  std::vector<VirtualDisk> files;
  std::map<std::wstring, ChangeLog, LessNoCase> logs;
  try {
    for (const auto& file : storage.value("files", json::array())) {
      VirtualDisk disk;
      disk.path = FromUtf8(file.at("path").get<std::string>());
      disk.diskId = FromUtf8(file.at("diskId").get<std::string>());
      disk.format = file.value("format", std::uint16_t{3});
      disk.type = file.value("type", std::uint16_t{3});
      disk.maxInternalSize = file.at("maxInternalSize").get<std::uint64_t>();
      disk.parentPath = FromUtf8(file.value("parentPath", std::string()));
      disk.mergedWith = FromUtf8(file.value("mergedWith", std::string()));
      files.push_back(std::move(disk));
    }
    for (const auto& entry : storage.value("changeTracking", json::array())) {
      ChangeLog log;
      log.trackingGuid = FromUtf8(entry.at("trackingGuid").get<std::string>());
      log.sequence = entry.value("sequence", std::uint64_t{0});
      log.validFrom = entry.value("validFrom", std::uint64_t{0});
      for (const auto& write : entry.value("writes", json::array())) {
        log.writes.push_back({write.at(0).get<std::uint64_t>(), write.at(1).get<std::uint64_t>(),
                              write.at(2).get<std::uint64_t>()});
      }
      logs[FromUtf8(entry.at("path").get<std::string>())] = std::move(log);
    }
  } catch (const json::exception& e) {
    Reject("/storage", std::string("is not a valid list of disk files: ") + e.what());
  }
  disks.Restore(std::move(files), std::move(logs));
}

// One scripted failure: {"operation": "GetObject", "match": "...", "status": ...},
// {"class": ..., "method": ..., "returnValue": ...} or {"class": ..., "method": ...,
// "errorCode": ..., "description": ...}; with "nth" it hits that matching call alone, else the
// next "count" (1 when not given, below 0 every one).
void FaultFromJson(const json& entry, const std::string& place, FaultPlan& plan) {
  if (!entry.is_object()) {
    Reject(place, "expected an object");
  }
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

std::shared_ptr<HostCore> Build(const json& document) {
  if (!document.is_object()) {
    Reject("", "expected a JSON object");
  }
  if (document.value("format", std::string()) != kFormat) {
    Reject("/format", std::string("expected \"") + kFormat + "\"");
  }
  if (document.value("version", 0) != kVersion) {
    Reject("/version", "expected " + std::to_string(kVersion));
  }
  const json host = document.value("host", json::object());
  HostSettings settings;
  settings.name = FromUtf8(Setting<std::string>(host, "name", "HV-HOST01", "/host"));
  settings.hostGuardian = Setting<bool>(host, "hostGuardian", true, "/host");
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
  core->SetGuidSeed(Setting<std::uint64_t>(host, "guidSeed", 1, "/host"));
  for (const auto& entry : host.value("synchronousMethods", json::array())) {
    if (!entry.is_object() || !entry.value("class", json()).is_string() ||
        !entry.value("method", json()).is_string()) {
      Reject("/host/synchronousMethods", "expected {\"class\": ..., \"method\": ...} entries");
    }
    core->SetSynchronous(FromUtf8(entry["class"].get<std::string>()),
                         FromUtf8(entry["method"].get<std::string>()), true);
  }

  const json faults = document.value("faults", json::array());
  if (!faults.is_array()) {
    Reject("/faults", "expected an array of faults");
  }
  for (std::size_t i = 0; i < faults.size(); ++i) {
    FaultFromJson(faults[i], "/faults/" + std::to_string(i), core->Faults());
  }

  const json namespaces = document.value("namespaces", json::object());
  if (!namespaces.is_object()) {
    Reject("/namespaces", "expected an object keyed by namespace");
  }
  for (const auto& [name, instances] : namespaces.items()) {
    const std::string place = "/namespaces/" + name;
    if (!core->HasNamespace(FromUtf8(name))) {
      Reject(place, "the host has no such namespace");
    }
    if (!instances.is_array()) {
      Reject(place, "expected an array of instances");
    }
    Repository& repository = core->Namespace(FromUtf8(name));
    for (std::size_t i = 0; i < instances.size(); ++i) {
      const std::string where = place + "/" + std::to_string(i);
      const ClassDef& cls = ClassFromJson(instances[i], where);
      const PropertyList properties = PropertiesFromJson(
          cls, instances[i].value("properties", json::object()), where + "/properties");
      try {
        repository.Create(cls.name, properties);
      } catch (const DefaultException& e) {
        Reject(where, ToUtf8(e.GetMessageDescription()) + "(the instance cannot be stored)");
      }
    }
  }
  DisksFromJson(document.value("storage", json::object()), core->Disks());
  InstallProviderBehaviours(*core);
  return core;
}

}  // namespace

std::shared_ptr<HostCore> HostFromJson(const std::string& text, const std::string& sourceName) {
  try {
    return Build(json::parse(text));
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

std::string HostToJson(HostCore& host) {
  std::lock_guard lock(host.mutex_);
  const HostSettings& settings = host.Settings();
  json synchronous = json::array();
  for (const auto& [className, method] : host.SynchronousMethods()) {
    synchronous.push_back({{"class", ToUtf8(className)}, {"method", ToUtf8(method)}});
  }
  json namespaces = json::object();
  for (const wchar_t* name : {kVirtualizationNamespace, kHgsNamespace}) {
    if (!host.HasNamespace(name)) {
      continue;
    }
    Repository& repository = host.Namespace(name);
    json instances = json::array();
    for (const auto id : repository.All()) {
      const Instance& instance = repository.Get(id);
      instances.push_back(
          {{"class", ToUtf8(instance.cls->name)}, {"properties", PropertiesToJson(instance)}});
    }
    namespaces[ToUtf8(name)] = std::move(instances);
  }
  json document = {
      {"format", kFormat},
      {"version", kVersion},
      {"host",
       {{"name", ToUtf8(settings.name)},
        {"hostGuardian", settings.hostGuardian},
        {"jobDurationMs", settings.jobDurationMs},
        {"user", ToUtf8(settings.user)},
        {"password", ToUtf8(settings.password)},
        {"utcOffsetMinutes", settings.utcOffsetMinutes},
        {"waitLimitMs", settings.waitLimitMs},
        {"mergeDurationMs", settings.mergeDurationMs},
        {"changeTrackingBlockSize", settings.changeTrackingBlockSize},
        {"changeRangesPerPass", settings.changeRangesPerPass},
        {"refuseDuringMerge", settings.refuseDuringMerge},
        {"refuseMergeWithReferencePoint", settings.refuseMergeWithReferencePoint},
        {"refusePutInstance", settings.refusePutInstance},
        {"referencePointHoldsAllocationIds", settings.referencePointHoldsAllocationIds},
        {"refuseFullLengthChanges", settings.refuseFullLengthChanges},
        {"changeTrackingFailsThroughJob", settings.changeTrackingFailsThroughJob},
        {"changeTrackingFailureCode", settings.changeTrackingFailureCode},
        {"clockMs", host.ClockMs()},
        {"guidSeed", host.GuidSeed()},
        {"synchronousMethods", std::move(synchronous)}}},
      {"namespaces", std::move(namespaces)},
      {"storage", DisksToJson(host.Disks())},
  };
  return document.dump(2);
}

}  // namespace quorvane::sim
