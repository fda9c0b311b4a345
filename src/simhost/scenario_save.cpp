#include <nlohmann/json.hpp>

#include "simhost/cim_value.h"
#include "simhost/scenario.h"
#include "simhost/sim_wmi.h"
#include "util/text.h"

namespace quorvane::sim {
namespace {

using nlohmann::json;

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

json DeferredToJson(const Deferred& work) {
  json arguments = json::array();
  for (const auto& [name, text] : work.arguments) {
    arguments.push_back({ToUtf8(name), ToUtf8(text)});
  }
  return {{"kind", ToUtf8(work.kind)}, {"arguments", std::move(arguments)}};
}

// Jobs that have not ended and timers, so that they go on after loading.
json UnderWayToJson(HostCore& host) {
  json jobs = json::array();
  for (const auto& [path, pending] : host.PendingJobs()) {
    json job = {{"namespace", ToUtf8(pending.nameSpace)},
                {"job", ToUtf8(path)},
                {"finishAtMs", pending.finishAtMs},
                {"effect", DeferredToJson(pending.effect)}};
    if (!pending.onFailure.kind.empty()) {
      job["onFailure"] = DeferredToJson(pending.onFailure);
    }
    if (pending.failure) {
      job["failure"] = {{"errorCode", pending.failure->code},
                        {"description", ToUtf8(pending.failure->description)}};
    }
    jobs.push_back(std::move(job));
  }
  json timers = json::array();
  for (const auto& [dueAtMs, timer] : host.Timers()) {
    timers.push_back({{"namespace", ToUtf8(timer.nameSpace)},
                      {"dueAtMs", dueAtMs},
                      {"work", DeferredToJson(timer.work)}});
  }
  // Calls whose outputs wait for a call made after their job (changesOutputsAfterJob).
  json held = json::array();
  Repository& v2 = host.Namespace(kVirtualizationNamespace);
  for (const auto& [call, job] : host.HeldAnswers()) {
    if (v2.Contains(job)) {
      held.push_back({ToUtf8(call), ToUtf8(v2.RelativePath(job))});
    }
  }
  return {
      {"jobs", std::move(jobs)}, {"timers", std::move(timers)}, {"heldAnswers", std::move(held)}};
}

}  // namespace

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
      {"format", kScenarioFormat},
      {"version", kScenarioVersion},
      {"host",
       {{"name", ToUtf8(settings.name)},
        {"hostGuardian", settings.hostGuardian},
        {"capabilities", settings.capabilities},
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
        {"changesOutputsAfterJob", settings.changesOutputsAfterJob},
        {"defaultTemplatesLast", settings.defaultTemplatesLast},
        {"changeTrackingFailsThroughJob", settings.changeTrackingFailsThroughJob},
        {"changeTrackingFailureCode", settings.changeTrackingFailureCode},
        {"clockMs", host.ClockMs()},
        {"guidSeed", host.GuidSeed()},
        {"synchronousMethods", std::move(synchronous)}}},
      {"namespaces", std::move(namespaces)},
      {"storage", DisksToJson(host.Disks())},
      {"underWay", UnderWayToJson(host)},
  };
  return document.dump(2);
}

}  // namespace quorvane::sim
