#include "simhost/repository.h"

#include <algorithm>

#include "errors/status.h"
#include "simhost/cim_value.h"

namespace quorvane::sim {
namespace {

constexpr HResult kAlreadyExists = ToHResult(0x80041019);

const MemberDef& RequireProperty(const ClassDef& cls, std::wstring_view name) {
  const MemberDef* property = Schema::Instance().FindProperty(cls, name);
  if (property == nullptr) {
    ThrowIfWmiFailed(status::kWbemNotFound);
  }
  return *property;
}

WmiValue Coerce(const MemberDef& property, const WmiValue& value) {
  auto converted = CoerceToMember(property, value);
  if (!converted) {
    ThrowIfWmiFailed(status::kWbemTypeMismatch);
  }
  return std::move(*converted);
}

bool IsKey(const ClassDef& cls, std::wstring_view name) {
  const auto keys = Schema::Instance().Keys(cls);
  return std::any_of(keys.begin(), keys.end(), [&](auto key) { return EqualsNoCase(key, name); });
}

}  // namespace

const ClassDef& RequireClass(std::wstring_view className) {
  const ClassDef* cls = Schema::Instance().FindClass(className);
  if (cls == nullptr) {
    ThrowIfWmiFailed(status::kWbemInvalidClass);
  }
  return *cls;
}

Repository::Repository(std::wstring server, std::wstring nameSpace)
    : server_(std::move(server)), nameSpace_(std::move(nameSpace)) {}

Repository::Id Repository::Create(std::wstring_view className, const PropertyList& properties) {
  const ClassDef& cls = RequireClass(className);
  if (!cls.isAssociation) {
    return CreateWith(className, properties, {});
  }
  // The ends an association's references name, each looked up once. A reference that names
  // its object by another class than the object's own is left to be read back as written.
  KnownEnds ends;
  for (const auto& [name, value] : properties) {
    const MemberDef* property = Schema::Instance().FindProperty(cls, name);
    if (property == nullptr || property->type != CimType::Reference || value.IsNull()) {
      continue;
    }
    const auto path = ParseObjectPath(value.AsWideString());
    const auto end = path ? Find(*path) : std::nullopt;
    if (end && EqualsNoCase(Get(*end).cls->name, path->className)) {
      ends.emplace_back(property->name, *end);
    }
  }
  return CreateWith(className, properties, ends);
}

Repository::Id Repository::CreateWith(std::wstring_view className, const PropertyList& properties,
                                      const KnownEnds& ends) {
  Instance instance;
  instance.cls = &RequireClass(className);
  instance.properties.Reserve(properties.size());
  for (const auto& [name, value] : properties) {
    const MemberDef& property = RequireProperty(*instance.cls, name);
    instance.properties.Set(property, Coerce(property, value));
  }
  for (const auto& key : Schema::Instance().Keys(*instance.cls)) {
    if (instance.Get(key).IsNull()) {
      ThrowIfWmiFailed(status::kWbemInvalidParameter);
    }
  }
  std::wstring identity = IdentityWith(instance, ends);
  if (!identity.empty() && byIdentity_.count(identity) != 0) {
    ThrowIfWmiFailed(kAlreadyExists);
  }
  const Id id = nextId_++;
  Remember(id);
  Insert(id, std::move(instance), std::move(identity), ends);
  return id;
}

// An association whose keys are the references to its ends is identified by the ends'
// identities, the same text IdentityOf works out by reading the references back.
std::wstring Repository::IdentityWith(const Instance& instance, const KnownEnds& ends) const {
  std::vector<std::pair<std::wstring, std::wstring>> keys;
  for (const auto& key : Schema::Instance().Keys(*instance.cls)) {
    const auto end = std::find_if(ends.begin(), ends.end(), [&](const auto& known) {
      return EqualsNoCase(known.first, key);
    });
    if (end == ends.end()) {
      return IdentityOf(instance);
    }
    keys.emplace_back(ToLower(key), identities_.at(end->second));
  }
  return keys.empty() ? IdentityOf(instance)
                      : JoinIdentity(instance.cls->name, false, std::move(keys));
}

void Repository::Insert(Id id, Instance instance, std::wstring identity, const KnownEnds& ends) {
  byClass_[instance.cls].insert(id);
  IndexValues(id, instance, true);
  instances_.emplace(id, std::move(instance));
  const std::wstring& kept = identities_.emplace(id, std::move(identity)).first->second;
  if (!kept.empty()) {
    byIdentity_.emplace(kept, id);
  }
  IndexReferences(id, true, ends);
}

void Repository::Erase(Id id) {
  IndexReferences(id, false);
  const Instance& instance = instances_.at(id);
  byIdentity_.erase(identities_.at(id));
  identities_.erase(id);
  byClass_[instance.cls].erase(id);
  IndexValues(id, instance, false);
  instances_.erase(id);
}

bool Repository::IsIndexed(std::wstring_view property) {
  for (const wchar_t* indexed :
       {L"InstanceID", L"Name", L"ConfigurationID", L"VirtualSystemIdentifier", L"DeviceID",
        L"ElementName", L"Caption"}) {
    if (EqualsNoCase(property, indexed)) {
      return true;
    }
  }
  return false;
}

namespace {

std::wstring ValueKey(std::wstring_view property, std::wstring_view value) {
  return ToLower(std::wstring(property)) + L'\n' + ToLower(std::wstring(value));
}

}  // namespace

void Repository::IndexValue(Id id, std::wstring_view property, const WmiValue& value, bool add) {
  if (value.IsNull() || value.IsArray() || !IsIndexed(property)) {
    return;
  }
  const std::wstring key = ValueKey(property, value.AsWideString());
  if (add) {
    byValue_[key].insert(id);
  } else if (const auto found = byValue_.find(key); found != byValue_.end()) {
    found->second.erase(id);
    if (found->second.empty()) {
      byValue_.erase(found);
    }
  }
}

void Repository::IndexValues(Id id, const Instance& instance, bool add) {
  instance.properties.ForEach([&](const MemberDef& property, const WmiValue& value) {
    IndexValue(id, property.name, value, add);
  });
}

std::vector<Repository::Id> Repository::WithValue(std::wstring_view property,
                                                  std::wstring_view value) const {
  const auto found = byValue_.find(ValueKey(property, value));
  return found == byValue_.end() ? std::vector<Id>{}
                                 : std::vector<Id>(found->second.begin(), found->second.end());
}

void Repository::Remember(Id id) {
  if (!change_ || change_->before.count(id) != 0) {
    return;
  }
  const auto found = instances_.find(id);
  change_->before.emplace(
      id, found == instances_.end() ? std::nullopt : std::optional<Instance>(found->second));
}

void Repository::BeginChange() {
  change_ = OpenChange{nextId_, {}};
}

void Repository::Commit() {
  change_.reset();
}

void Repository::RollBack() {
  if (!change_) {
    return;
  }
  OpenChange change = std::move(*change_);
  change_.reset();
  for (const auto& [id, before] : change.before) {
    if (Contains(id)) {
      Erase(id);
    }
  }
  // Objects first, so that associations index references to objects that are back.
  for (const bool associations : {false, true}) {
    for (auto& [id, before] : change.before) {
      if (before && before->cls->isAssociation == associations) {
        std::wstring identity = IdentityOf(*before);
        Insert(id, std::move(*before), std::move(identity));
      }
    }
  }
  nextId_ = change.nextId;
}

Repository::Id Repository::Associate(std::wstring_view className, std::wstring_view role1, Id end1,
                                     std::wstring_view role2, Id end2, const PropertyList& extra) {
  PropertyList properties = extra;
  properties.emplace_back(role1, WmiValue::String(FullPath(end1)));
  properties.emplace_back(role2, WmiValue::String(FullPath(end2)));
  return CreateWith(className, properties, {{role1, end1}, {role2, end2}});
}

void Repository::Set(Id id, std::wstring_view name, const WmiValue& value) {
  auto found = instances_.find(id);
  if (found == instances_.end()) {
    ThrowIfWmiFailed(status::kWbemNotFound);
  }
  Instance& instance = found->second;
  const MemberDef& property = RequireProperty(*instance.cls, name);
  WmiValue converted = Coerce(property, value);
  Remember(id);
  if (IsKey(*instance.cls, property.name)) {
    if (!(converted == instance.Get(property.name))) {
      ThrowIfWmiFailed(status::kWbemInvalidParameter);  // keys name the object; they stay
    }
    return;
  }
  const bool reference = property.type == CimType::Reference && instance.cls->isAssociation;
  if (reference) {
    IndexReferences(id, false);
  }
  IndexValue(id, property.name, instance.Get(property.name), false);
  IndexValue(id, property.name, converted, true);
  instance.properties.Set(property, std::move(converted));
  if (reference) {
    IndexReferences(id, true);
  }
}

void Repository::SetUnchecked(Id id, std::wstring_view name, WmiValue value) {
  const auto found = instances_.find(id);
  if (found == instances_.end()) {
    ThrowIfWmiFailed(status::kWbemNotFound);
  }
  const MemberDef& property = RequireProperty(*found->second.cls, name);
  Remember(id);
  IndexValue(id, name, found->second.Get(name), false);
  IndexValue(id, name, value, true);
  found->second.properties.Set(property, std::move(value));
}

void Repository::Delete(Id id) {
  if (!Contains(id)) {
    return;
  }
  for (const auto& link : LinksOf(id)) {
    if (Contains(link.association) && link.association != id) {
      Delete(link.association);
    }
  }
  Remember(id);
  Erase(id);
}

const Instance& Repository::Get(Id id) const {
  const auto found = instances_.find(id);
  if (found == instances_.end()) {
    ThrowIfWmiFailed(status::kWbemNotFound);
  }
  return found->second;
}

std::optional<Repository::Id> Repository::Find(const ObjectPath& path) const {
  if (path.IsClassPath() || path.singleton) {
    return std::nullopt;
  }
  if (!path.nameSpace.empty() && !EqualsNoCase(path.nameSpace, nameSpace_)) {
    return std::nullopt;
  }
  const ClassDef* cls = Schema::Instance().FindClass(path.className);
  if (cls == nullptr) {
    return std::nullopt;
  }
  ObjectPath named = path;
  const auto keys = Schema::Instance().Keys(*cls);
  if (named.keys.size() == 1 && named.keys[0].first.empty() && keys.size() == 1) {
    named.keys[0].first = keys[0];
  }
  // A path may name the object by one of its base classes.
  for (const ClassDef* candidate : Schema::Instance().SelfAndDescendants(*cls)) {
    named.className = candidate->name;
    const auto found = byIdentity_.find(IdentityOfPath(named));
    if (found != byIdentity_.end()) {
      return found->second;
    }
  }
  return std::nullopt;
}

std::optional<Repository::Id> Repository::Find(std::wstring_view path) const {
  const auto parsed = ParseObjectPath(path);
  return parsed ? Find(*parsed) : std::nullopt;
}

std::wstring Repository::RelativePath(Id id) const {
  const Instance& instance = Get(id);
  std::vector<std::pair<std::wstring, std::wstring>> keys;
  for (const auto& key : Schema::Instance().Keys(*instance.cls)) {
    keys.emplace_back(key, instance.Get(key).AsWideString());
  }
  return FormatRelativePath(instance.cls->name, std::move(keys));
}

std::wstring Repository::FullPath(Id id) const {
  return FormatFullPath(server_, nameSpace_, RelativePath(id));
}

std::vector<Repository::Id> Repository::Enumerate(const ClassDef& cls) const {
  std::vector<Id> ids;
  for (const ClassDef* each : Schema::Instance().SelfAndDescendants(cls)) {
    if (const auto found = byClass_.find(each); found != byClass_.end()) {
      ids.insert(ids.end(), found->second.begin(), found->second.end());
    }
  }
  std::sort(ids.begin(), ids.end());
  return ids;
}

std::vector<Repository::Id> Repository::All() const {
  std::vector<Id> ids;
  ids.reserve(instances_.size());
  for (const auto& entry : instances_) {
    ids.push_back(entry.first);
  }
  return ids;
}

std::optional<Repository::Id> Repository::CachedEnd(Id association,
                                                    std::wstring_view property) const {
  const auto found = endsOf_.find(association);
  if (found == endsOf_.end()) {
    return std::nullopt;
  }
  for (const auto& [name, end] : found->second) {
    if (EqualsNoCase(name, property) && Contains(end)) {
      return end;
    }
  }
  return std::nullopt;
}

std::vector<Repository::Link> Repository::LinksOf(Id id) const {
  Get(id);  // raises for an unknown object
  const std::wstring& identity = identities_.at(id);
  std::vector<std::pair<Id, std::wstring_view>> referring;
  const auto range = referencedBy_.equal_range(identity);
  for (auto it = range.first; it != range.second; ++it) {
    referring.push_back(it->second);
  }
  std::sort(referring.begin(), referring.end());
  std::vector<Link> links;
  for (const auto& [association, role] : referring) {
    const Instance& link = Get(association);
    for (const MemberDef* property : Schema::Instance().Properties(*link.cls)) {
      if (property->type != CimType::Reference || EqualsNoCase(property->name, role)) {
        continue;
      }
      auto endpoint = CachedEnd(association, property->name);
      if (!endpoint) {
        endpoint = Find(link.Get(property->name).AsWideString());
      }
      if (endpoint) {
        links.push_back({association, std::wstring(role), *endpoint, std::wstring(property->name)});
      }
    }
  }
  return links;
}

std::wstring Repository::IdentityOf(const Instance& instance) const {
  ObjectPath path;
  path.className = std::wstring(instance.cls->name);
  for (const auto& key : Schema::Instance().Keys(*instance.cls)) {
    path.keys.emplace_back(key, instance.Get(key).AsWideString());
  }
  return path.keys.empty() ? std::wstring() : IdentityOfPath(std::move(path));
}

// Server and namespace do not take part: a repository holds one namespace of one host.
std::wstring Repository::IdentityOfPath(ObjectPath path) const {
  path.server.clear();
  path.nameSpace.clear();
  return PathIdentity(path);
}

void Repository::IndexReferences(Id id, bool add, const KnownEnds& ends) {
  const Instance& instance = instances_.at(id);
  if (!instance.cls->isAssociation) {
    return;
  }
  if (!add) {
    endsOf_.erase(id);
  }
  for (const MemberDef* property : Schema::Instance().Properties(*instance.cls)) {
    if (property->type != CimType::Reference) {
      continue;
    }
    const auto known = std::find_if(ends.begin(), ends.end(), [&](const auto& end) {
      return EqualsNoCase(end.first, property->name);
    });
    std::wstring identity;
    std::optional<Id> resolved;
    if (known != ends.end()) {
      resolved = known->second;
      identity = identities_.at(known->second);
    } else {
      const auto target = ParseObjectPath(instance.Get(property->name).AsWideString());
      if (!target) {
        continue;
      }
      resolved = Find(*target);
      identity = resolved ? identities_.at(*resolved) : IdentityOfPath(*target);
    }
    if (add && resolved) {
      endsOf_[id].emplace_back(property->name, *resolved);
    }
    if (add) {
      referencedBy_.emplace(identity, std::make_pair(id, std::wstring_view(property->name)));
      continue;
    }
    const auto range = referencedBy_.equal_range(identity);
    for (auto it = range.first; it != range.second; ++it) {
      if (it->second.first == id) {
        referencedBy_.erase(it);
        break;
      }
    }
  }
}

}  // namespace quorvane::sim
