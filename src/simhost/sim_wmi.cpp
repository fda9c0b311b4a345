#include "simhost/sim_wmi.h"

#include <algorithm>

#include "errors/status.h"
#include "platform/com_error.h"
#include "quorvane/exceptions.h"
#include "simhost/cim_value.h"
#include "simhost/instance_text.h"

namespace quorvane::sim {
namespace {

constexpr HResult kIllegalOperation = ToHResult(0x80041024);
const MemberDef kReturnValue{L"ReturnValue", CimType::UInt32, false, L""};

[[noreturn]] void Fail(HResult status) {
  ThrowForStatus(status, WmiMessageText(status));
}

std::vector<const MemberDef*> MembersOf(std::span<const MemberDef> members) {
  std::vector<const MemberDef*> out;
  for (const auto& member : members) {
    out.push_back(&member);
  }
  return out;
}

WmiValue TextOrNull(std::wstring text) {
  return text.empty() ? WmiValue() : WmiValue::String(std::move(text));
}

}  // namespace

SimService::SimService(std::shared_ptr<HostCore> host, std::wstring nameSpace)
    : host_(std::move(host)), nameSpace_(std::move(nameSpace)) {}

WmiObjectPtr SimService::GetObject(const std::wstring& path) {
  ObjectCopy copy = host_->GetObject(nameSpace_, path);
  const auto origin =
      copy.relativePath.empty() ? SimObject::Origin::ClassObject : SimObject::Origin::Stored;
  return std::make_shared<SimObject>(shared_from_this(), std::move(copy), origin);
}

WmiObjects SimService::ExecQuery(const std::wstring& wql) {
  WmiObjects objects;
  for (auto& copy : host_->ExecQuery(nameSpace_, wql)) {
    objects.push_back(std::make_shared<SimObject>(shared_from_this(), std::move(copy),
                                                  SimObject::Origin::Stored));
  }
  return objects;
}

void SimService::PutInstance(const WmiObjectPtr& object) {
  const auto* simObject = dynamic_cast<const SimObject*>(object.get());
  if (simObject == nullptr) {
    Fail(status::kWbemInvalidParameter);
  }
  host_->PutInstance(nameSpace_, simObject->Copy(), simObject->ChangedProperties());
}

// As a WMI client does it: the class object comes from the host, the instance is spawned from it.
WmiObjectPtr SimService::SpawnInstance(const std::wstring& className) {
  GetObject(className);
  return std::make_shared<SimObject>(
      shared_from_this(), host_->SpawnInstance(nameSpace_, className), SimObject::Origin::Spawned);
}

void SimService::Wait(std::uint32_t milliseconds) {
  host_->Wait(milliseconds);
}

SimObject::SimObject(std::shared_ptr<SimService> service, ObjectCopy copy, Origin origin)
    : service_(std::move(service)), copy_(std::move(copy)), origin_(origin) {
  members_ = Schema::Instance().Properties(*copy_.cls);
}

SimObject::SimObject(std::shared_ptr<SimService> service, std::vector<const MemberDef*> members,
                     PropertyMap values)
    : service_(std::move(service)), origin_(Origin::Parameters), members_(std::move(members)) {
  copy_.properties = std::move(values);
}

const MemberDef* SimObject::FindMember(std::wstring_view name) const {
  const auto found = std::find_if(members_.begin(), members_.end(),
                                  [&](const MemberDef* m) { return EqualsNoCase(m->name, name); });
  return found == members_.end() ? nullptr : *found;
}

std::optional<WmiValue> SimObject::SystemProperty(std::wstring_view name) const {
  if (name.rfind(L"__", 0) != 0) {
    return std::nullopt;
  }
  const bool stored = origin_ == Origin::Stored;
  const std::wstring className =
      copy_.cls != nullptr ? std::wstring(copy_.cls->name) : std::wstring(L"__PARAMETERS");
  const std::wstring server = service_ ? service_->Host().Settings().name : L"";
  const std::wstring nameSpace = service_ ? service_->NameSpace() : L"";
  const std::wstring relativePath = origin_ == Origin::ClassObject ? className : copy_.relativePath;
  const bool located = stored || origin_ == Origin::ClassObject;
  const auto derivation = [this] {
    return copy_.cls != nullptr ? Schema::Instance().Derivation(*copy_.cls)
                                : std::vector<std::wstring>();
  };
  if (EqualsNoCase(name, L"__CLASS"))
    return WmiValue::String(className);
  if (EqualsNoCase(name, L"__GENUS"))
    return WmiValue::Int32(origin_ == Origin::ClassObject ? 1 : 2);
  if (EqualsNoCase(name, L"__RELPATH"))
    return located ? TextOrNull(relativePath) : WmiValue();
  if (EqualsNoCase(name, L"__PATH")) {
    return located && service_ ? WmiValue::String(FormatFullPath(server, nameSpace, relativePath))
                               : WmiValue();
  }
  if (EqualsNoCase(name, L"__SERVER"))
    return located ? TextOrNull(server) : WmiValue();
  if (EqualsNoCase(name, L"__NAMESPACE"))
    return located ? TextOrNull(nameSpace) : WmiValue();
  if (EqualsNoCase(name, L"__SUPERCLASS")) {
    const auto ancestors = derivation();
    return ancestors.empty() ? WmiValue() : WmiValue::String(ancestors.front());
  }
  if (EqualsNoCase(name, L"__DYNASTY")) {
    const auto ancestors = derivation();
    return WmiValue::String(ancestors.empty() ? className : ancestors.back());
  }
  if (EqualsNoCase(name, L"__DERIVATION"))
    return WmiValue::Array(derivation());
  if (EqualsNoCase(name, L"__PROPERTY_COUNT")) {
    return WmiValue::Int32(static_cast<std::int32_t>(members_.size()));
  }
  return std::nullopt;
}

void SimObject::SetProperty(const std::wstring& name, const WmiValue& value) {
  if (SystemProperty(name)) {
    Fail(kIllegalOperation);
  }
  const MemberDef* member = FindMember(name);
  if (member == nullptr) {
    Fail(status::kWbemNotFound);
  }
  auto converted = CoerceToMember(*member, value);
  if (!converted) {
    Fail(status::kWbemTypeMismatch);
  }
  if (converted->IsNull()) {
    copy_.properties.erase(std::wstring(member->name));
  } else {
    copy_.properties[std::wstring(member->name)] = std::move(*converted);
  }
  changed_.insert(std::wstring(member->name));
}

std::vector<std::wstring> SimObject::GetPropertyNames() {
  std::vector<std::wstring> names = {
      L"__GENUS",          L"__CLASS",      L"__SUPERCLASS", L"__DYNASTY",   L"__RELPATH",
      L"__PROPERTY_COUNT", L"__DERIVATION", L"__SERVER",     L"__NAMESPACE", L"__PATH"};
  for (const MemberDef* member : members_) {
    names.emplace_back(member->name);
  }
  return names;
}

WmiValue SimObject::GetProperty(const std::wstring& name) {
  if (auto system = SystemProperty(name)) {
    return std::move(*system);
  }
  const MemberDef* member = FindMember(name);
  if (member == nullptr) {
    Fail(status::kWbemNotFound);
  }
  const auto found = copy_.properties.find(member->name);
  return found == copy_.properties.end() ? WmiValue() : found->second;
}

void SimObject::Refresh() {
  if (!service_) {
    Fail(kIllegalOperation);
  }
  auto fresh = service_->GetObject(GetRelPath());
  copy_ = std::static_pointer_cast<SimObject>(fresh)->copy_;
  changed_.clear();
}

WmiMethodPtr SimObject::CreateMethod(const std::wstring& methodName) {
  if (!service_ || copy_.cls == nullptr) {
    Fail(kIllegalOperation);
  }
  service_->GetObject(GetClass());
  const MethodDef* method = Schema::Instance().FindMethod(*copy_.cls, methodName);
  if (method == nullptr) {
    Fail(status::kWbemNotFound);
  }
  return std::make_shared<SimMethod>(service_, shared_from_this(), *method,
                                     MakeParameters(service_, method->in));
}

std::wstring SimObject::GetText() {
  if (origin_ == Origin::Parameters) {
    return ParametersToText(members_, copy_.properties);
  }
  TextSource source{*copy_.cls, copy_.properties, L"", L"", L"", nullptr};
  if (origin_ == Origin::Stored && service_) {
    source.server = service_->Host().Settings().name;
    source.nameSpace = service_->NameSpace();
    source.relativePath = copy_.relativePath;
  }
  if (origin_ == Origin::Spawned) {
    source.locallySet = &changed_;
  }
  return InstanceToText(source);
}

const WmiValue& SimObject::PropertyRef(const std::wstring& name) const {
  static const WmiValue kNull;
  const MemberDef* member = FindMember(name);
  if (member == nullptr) {
    Fail(status::kWbemNotFound);
  }
  const auto found = copy_.properties.find(member->name);
  return found == copy_.properties.end() ? kNull : found->second;
}

std::vector<std::wstring> SimObject::ChangedProperties() const {
  return {changed_.begin(), changed_.end()};
}

SimMethod::SimMethod(std::shared_ptr<SimService> service, std::shared_ptr<SimObject> target,
                     const MethodDef& definition, std::shared_ptr<SimObject> in)
    : service_(std::move(service)),
      target_(std::move(target)),
      definition_(definition),
      in_(std::move(in)) {}

void SimMethod::SetParameter(const std::wstring& name, const WmiValue& value) {
  in_->SetProperty(name, value);
}

const WmiValue& SimMethod::GetOutParameter(const std::wstring& name, std::int32_t) {
  if (!out_) {
    throw ComError(status::kPointer);  // nothing has run yet: there are no output parameters
  }
  try {
    return out_->PropertyRef(name);
  } catch (const DefaultException& e) {
    throw ComError(static_cast<HResult>(e.GetErrorCode()));
  }
}

std::uint32_t SimMethod::Execute() {
  out_ = RunMethod(service_, target_->GetPath(), definition_, in_.get());
  return static_cast<std::uint32_t>(out_->PropertyRef(L"ReturnValue").AsInteger());
}

std::shared_ptr<SimObject> MakeParameters(std::shared_ptr<SimService> service,
                                          std::span<const MemberDef> members) {
  return std::make_shared<SimObject>(std::move(service), MembersOf(members), PropertyMap{});
}

std::shared_ptr<SimObject> RunMethod(const std::shared_ptr<SimService>& service,
                                     const std::wstring& path, const MethodDef& definition,
                                     SimObject* in) {
  PropertyList inputs;
  for (const auto& member : definition.in) {
    inputs.emplace_back(member.name, in ? in->GetProperty(std::wstring(member.name)) : WmiValue());
  }
  auto result =
      service->Host().ExecMethod(service->NameSpace(), path, std::wstring(definition.name), inputs);
  std::vector<const MemberDef*> members = MembersOf(definition.out);
  members.insert(members.begin(), &kReturnValue);
  auto out = std::make_shared<SimObject>(service, members, PropertyMap{});
  for (const auto& [name, value] : result.out) {
    out->SetProperty(name, value);
  }
  out->SetProperty(L"ReturnValue", WmiValue::Int32(static_cast<std::int32_t>(result.returnValue)));
  return out;
}

WmiObjectPtr MakeDetachedObject(const ClassDef& cls, const PropertyList& properties) {
  auto object =
      std::make_shared<SimObject>(nullptr, ObjectCopy{&cls, {}, L""}, SimObject::Origin::Spawned);
  for (const auto& [name, value] : properties) {
    object->SetProperty(name, value);
  }
  return object;
}

WmiValue DetachObjects(const WmiValue& value) {
  if (value.Kind() != WmiKind::Object) {
    return value;
  }
  const auto detach = [](const WmiValue& item) {
    const auto* object = dynamic_cast<const SimObject*>(item.AsObject().get());
    if (object == nullptr || object->Copy().cls == nullptr) {
      return WmiValue();
    }
    PropertyList properties;
    for (const auto& [name, property] : object->Copy().properties) {
      properties.emplace_back(name, DetachObjects(property));
    }
    return WmiValue::Object(MakeDetachedObject(*object->Copy().cls, properties));
  };
  if (!value.IsArray()) {
    return detach(value);
  }
  std::vector<WmiObjectPtr> objects;
  for (const auto& item : value.Elements()) {
    objects.push_back(detach(item).AsObject());
  }
  return WmiValue::Array(std::move(objects));
}

ParsedInstance ParseEmbeddedInstance(std::wstring_view text) {
  return ParseInstanceText(text, [](const ParsedInstance& parsed) {
    return MakeDetachedObject(*parsed.cls, parsed.properties);
  });
}

}  // namespace quorvane::sim
