#include "simhost/repository.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "errors/status.h"
#include "simhost/cim_value.h"
#include "util/text.h"

namespace quorvane::sim {
namespace {

constexpr HResult kAlreadyExists = ToHResult(0x80041019);
// Starts the narrow form of text that is not plain ASCII; never the first byte of ASCII text.
constexpr char kWideMark = '\x80';

const MemberDef& RequireProperty(const ClassDef& cls, std::wstring_view name) {
  const MemberDef* property = Schema::Instance().FindProperty(cls, name);
  if (property == nullptr) {
    ThrowIfWmiFailed(status::kWbemNotFound);
  }
  return *property;
}

WmiValue Coerce(const MemberDef& property, WmiValue value) {
  auto converted = CoerceToMember(property, std::move(value));
  if (!converted) {
    ThrowIfWmiFailed(status::kWbemTypeMismatch);
  }
  return std::move(*converted);
}

bool IsKey(const ClassDef& cls, std::wstring_view name) {
  const auto keys = Schema::Instance().Keys(cls);
  return std::any_of(keys.begin(), keys.end(), [&](auto key) { return EqualsNoCase(key, name); });
}

// A key for comparing text, one byte a character when the text is ASCII, and the text's whole
// code units behind a mark otherwise, so that no two texts share a key.
std::string KeyText(std::wstring_view text) {
  if (IsAscii(text)) {
    return std::string(text.begin(), text.end());
  }
  std::string key(1, kWideMark);
  key.append(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
  return key;
}

std::wstring TextOfKey(std::string_view key) {
  if (key.empty() || key.front() != kWideMark) {
    return std::wstring(key.begin(), key.end());
  }
  std::wstring text((key.size() - 1) / sizeof(wchar_t), L'\0');
  std::copy(key.begin() + 1, key.end(), reinterpret_cast<char*>(text.data()));
  return text;
}

std::string ValueKey(std::wstring_view property, std::wstring_view value) {
  std::string key;
  key.reserve(property.size() + 1 + value.size());
  for (const auto part : {property, std::wstring_view(L"\n"), value}) {
    for (const wchar_t c : part) {
      if (static_cast<std::uint32_t>(c) >= 0x80) {
        return KeyText(ToLower(property) + L'\n' + ToLower(value));
      }
      key.push_back(static_cast<char>(FoldCase(c)));
    }
  }
  return key;
}

void InsertSorted(std::vector<std::uint64_t>& ids, std::uint64_t id) {
  if (ids.empty() || ids.back() < id) {
    ids.push_back(id);  // the usual case: ids grow as objects are made
    return;
  }
  const auto at = std::lower_bound(ids.begin(), ids.end(), id);
  if (at == ids.end() || *at != id) {
    ids.insert(at, id);
  }
}

// Drops the id; true when none are left.
bool EraseSorted(std::vector<std::uint64_t>& ids, std::uint64_t id) {
  const auto at = std::lower_bound(ids.begin(), ids.end(), id);
  if (at != ids.end() && *at == id) {
    ids.erase(at);
  }
  return ids.empty();
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

Repository::Id Repository::Create(std::wstring_view className, PropertyList properties) {
  const ClassDef& cls = RequireClass(className);
  return Store(cls, Converted(cls, std::move(properties)));
}

Repository::Id Repository::Create(const ClassDef& cls, MemberValues values) {
  for (auto& [property, value] : values) {
    value = Coerce(*property, std::move(value));
  }
  return Store(cls, std::move(values));
}

Repository::MemberValues Repository::Converted(const ClassDef& cls, PropertyList properties) {
  MemberValues values;
  values.reserve(properties.size());
  for (auto& [name, value] : properties) {
    const MemberDef& property = RequireProperty(cls, name);
    values.emplace_back(&property, Coerce(property, std::move(value)));
  }
  return values;
}

Repository::Id Repository::Store(const ClassDef& cls, MemberValues values) {
  if (!cls.isAssociation) {
    return CreateWith(cls, std::move(values), {});
  }
  // The ends an association's references name, each looked up once. A reference that names
  // its object by another class than the object's own is left to be read back as written.
  KnownEnds ends;
  for (const auto& [property, value] : values) {
    if (property->type != CimType::Reference || value.IsNull()) {
      continue;
    }
    const auto path = ParseObjectPath(value.AsWideString());
    const auto end = path ? Find(*path) : std::nullopt;
    if (end && EqualsNoCase(Get(*end).cls->name, path->className)) {
      ends.emplace_back(property->name, *end);
    }
  }
  return CreateWith(cls, std::move(values), ends);
}

Repository::Id Repository::CreateWith(const ClassDef& cls, MemberValues values,
                                      const KnownEnds& ends) {
  Instance instance;
  instance.cls = &cls;
  instance.properties.Reserve(values.size());
  for (auto& [property, value] : values) {
    instance.properties.Set(*property, std::move(value));
  }
  for (const auto& key : Schema::Instance().Keys(*instance.cls)) {
    if (!instance.properties.Has(key)) {
      ThrowIfWmiFailed(status::kWbemInvalidParameter);
    }
  }
  Identity identity = IdentityWith(instance, ends);
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
Repository::Identity Repository::IdentityWith(const Instance& instance,
                                              const KnownEnds& ends) const {
  NarrowKeys keys;
  for (const auto& key : Schema::Instance().Keys(*instance.cls)) {
    const auto end = std::find_if(ends.begin(), ends.end(), [&](const auto& known) {
      return EqualsNoCase(known.first, key);
    });
    if (end == ends.end()) {
      return IdentityOf(instance);
    }
    keys.emplace_back(key, RecordOf(end->second).identity);
  }
  if (keys.empty()) {
    return IdentityOf(instance);
  }
  if (auto identity = JoinNarrow(instance.cls->name, keys)) {
    return std::move(*identity);
  }
  std::vector<std::pair<std::wstring, std::wstring>> wide;
  for (const auto& [name, value] : keys) {
    wide.emplace_back(ToLower(name), TextOfKey(value));
  }
  return KeyText(JoinIdentity(instance.cls->name, false, std::move(wide)));
}

// Most identities are plain ASCII: those are joined one byte a character, the way JoinIdentity
// joins them, without a round trip through wide text. Nothing when a part is not plain.
std::optional<Repository::Identity> Repository::JoinNarrow(std::wstring_view className,
                                                           NarrowKeys keys) {
  const auto plain = [](std::string_view text) {
    return text.empty() || text.front() != kWideMark;
  };
  Identity identity = KeyText(ToLower(className));
  if (!plain(identity) ||
      !std::all_of(keys.begin(), keys.end(), [&](const auto& key) { return plain(key.second); })) {
    return std::nullopt;
  }
  std::sort(keys.begin(), keys.end(),
            [](const auto& a, const auto& b) { return CompareNoCase(a.first, b.first) < 0; });
  for (const auto& [name, value] : keys) {
    const Identity folded = KeyText(ToLower(name));
    if (!plain(folded)) {
      return std::nullopt;
    }
    identity.append(1, '|').append(folded).append(1, '=').append(value);
  }
  return identity;
}

void Repository::Insert(Id id, Instance instance, Identity identity, const KnownEnds& ends) {
  if (records_.size() < id) {
    records_.resize(id);
  }
  Record& record = records_[id - 1].emplace(Record{std::move(instance), std::move(identity), {}});
  InsertSorted(byClass_[record.instance.cls], id);
  IndexValues(id, record.instance, true);
  if (!record.identity.empty()) {
    byIdentity_.emplace(record.identity, id);
  }
  record.ends = ResolveEnds(record.instance, ends);
  IndexReferences(id, record, true);
}

void Repository::Erase(Id id) {
  const Record& record = *FindRecord(id);
  IndexReferences(id, record, false);
  byIdentity_.erase(record.identity);
  if (EraseSorted(byClass_[record.instance.cls], id)) {
    byClass_.erase(record.instance.cls);
  }
  IndexValues(id, record.instance, false);
  records_[id - 1].reset();
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

void Repository::IndexValue(Id id, std::wstring_view property, const WmiValue& value, bool add) {
  if (value.IsNull() || value.IsArray() || !IsIndexed(property)) {
    return;
  }
  std::string key = ValueKey(property, value.AsWideString());
  if (add) {
    InsertSorted(byValue_[std::move(key)], id);
  } else if (const auto found = byValue_.find(key); found != byValue_.end()) {
    if (EraseSorted(found->second, id)) {
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
  return found == byValue_.end() ? std::vector<Id>{} : found->second;
}

void Repository::Remember(Id id) {
  if (!change_ || change_->before.count(id) != 0) {
    return;
  }
  const Record* record = FindRecord(id);
  change_->before.emplace(
      id, record == nullptr ? std::nullopt : std::optional<Instance>(record->instance));
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
        Identity identity = IdentityOf(*before);
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
  const ClassDef& cls = RequireClass(className);
  return CreateWith(cls, Converted(cls, std::move(properties)), {{role1, end1}, {role2, end2}});
}

void Repository::Set(Id id, std::wstring_view name, const WmiValue& value) {
  Record& record = RecordOf(id);
  Instance& instance = record.instance;
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
    IndexReferences(id, record, false);
  }
  IndexValue(id, property.name, instance.Get(property.name), false);
  IndexValue(id, property.name, converted, true);
  instance.properties.Set(property, std::move(converted));
  if (reference) {
    record.ends = ResolveEnds(instance, {});
    IndexReferences(id, record, true);
  }
}

void Repository::SetUnchecked(Id id, std::wstring_view name, WmiValue value) {
  Instance& instance = RecordOf(id).instance;
  const MemberDef& property = RequireProperty(*instance.cls, name);
  Remember(id);
  IndexValue(id, name, instance.Get(name), false);
  IndexValue(id, name, value, true);
  instance.properties.Set(property, std::move(value));
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

const Repository::Record* Repository::FindRecord(Id id) const {
  return id >= 1 && id <= records_.size() && records_[id - 1] ? &*records_[id - 1] : nullptr;
}

Repository::Record* Repository::FindRecord(Id id) {
  return const_cast<Record*>(std::as_const(*this).FindRecord(id));
}

const Repository::Record& Repository::RecordOf(Id id) const {
  const Record* record = FindRecord(id);
  if (record == nullptr) {
    ThrowIfWmiFailed(status::kWbemNotFound);
  }
  return *record;
}

Repository::Record& Repository::RecordOf(Id id) {
  return const_cast<Record&>(std::as_const(*this).RecordOf(id));
}

const Instance& Repository::Get(Id id) const {
  return RecordOf(id).instance;
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
  // A path may name the object by one of its base classes. An identity is its class's name
  // followed by its keys', so the keys' part is worked out once.
  named.className.clear();
  const std::wstring keysPart = PathIdentity(named);
  for (const ClassDef* candidate : Schema::Instance().SelfAndDescendants(*cls)) {
    const auto found = byIdentity_.find(KeyText(ToLower(candidate->name) + keysPart));
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
  for (Id id = 1; id <= records_.size(); ++id) {
    if (records_[id - 1]) {
      ids.push_back(id);
    }
  }
  return ids;
}

std::optional<Repository::Id> Repository::CachedEnd(const Record& association,
                                                    std::wstring_view property) const {
  for (const auto& end : association.ends) {
    if (EqualsNoCase(end.property->name, property) && Contains(end.object)) {
      return end.object;
    }
  }
  return std::nullopt;
}

std::vector<Repository::Link> Repository::LinksOf(Id id) const {
  const Record& record = RecordOf(id);  // raises for an unknown object
  std::vector<Referrer> referring;
  if (const auto found = referrers_.find(id); found != referrers_.end()) {
    referring = found->second;
  }
  if (!record.identity.empty()) {
    const auto range = unresolved_.equal_range(record.identity);
    for (auto it = range.first; it != range.second; ++it) {
      referring.push_back(it->second);
    }
  }
  std::sort(referring.begin(), referring.end(), [](const Referrer& a, const Referrer& b) {
    return a.association != b.association ? a.association < b.association
                                          : a.role->name < b.role->name;
  });
  std::vector<Link> links;
  for (const auto& [association, role] : referring) {
    const Record& link = RecordOf(association);
    for (const MemberDef* property : Schema::Instance().Properties(*link.instance.cls)) {
      if (property->type != CimType::Reference || EqualsNoCase(property->name, role->name)) {
        continue;
      }
      auto endpoint = CachedEnd(link, property->name);
      if (!endpoint) {
        endpoint = Find(link.instance.Get(property->name).AsWideString());
      }
      if (endpoint) {
        links.push_back({association, role->name, *endpoint, property->name});
      }
    }
  }
  return links;
}

Repository::Identity Repository::IdentityOf(const Instance& instance) const {
  ObjectPath path;
  path.className = std::wstring(instance.cls->name);
  for (const auto& key : Schema::Instance().Keys(*instance.cls)) {
    path.keys.emplace_back(key, instance.Get(key).AsWideString());
  }
  if (path.keys.empty()) {
    return Identity();
  }
  // Plain identifiers (no '=' that could make them a path) join narrow straight away.
  const bool plain = std::none_of(path.keys.begin(), path.keys.end(), [](const auto& key) {
    return key.second.find(L'=') != std::wstring::npos;
  });
  if (plain) {
    NarrowKeys narrow;
    for (const auto& [name, value] : path.keys) {
      narrow.emplace_back(name, KeyText(ToLower(value)));
    }
    if (auto identity = JoinNarrow(instance.cls->name, std::move(narrow))) {
      return std::move(*identity);
    }
  }
  return IdentityOfPath(std::move(path));
}

// Server and namespace do not take part: a repository holds one namespace of one host.
Repository::Identity Repository::IdentityOfPath(ObjectPath path) const {
  path.server.clear();
  path.nameSpace.clear();
  return KeyText(PathIdentity(path));
}

std::vector<Repository::End> Repository::ResolveEnds(const Instance& instance,
                                                     const KnownEnds& known) {
  std::vector<End> ends;
  if (!instance.cls->isAssociation) {
    return ends;
  }
  for (const MemberDef* property : Schema::Instance().Properties(*instance.cls)) {
    if (property->type != CimType::Reference) {
      continue;
    }
    const auto end = std::find_if(known.begin(), known.end(), [&](const auto& each) {
      return EqualsNoCase(each.first, property->name);
    });
    if (end != known.end()) {
      ends.push_back({property, end->second});
    } else if (const auto found = Find(instance.Get(property->name).AsWideString())) {
      ends.push_back({property, *found});
    }
  }
  return ends;
}

// A reference to a stored object is indexed by the object; one to an object that was not
// stored, by the identity of the path it holds.
void Repository::IndexReferences(Id id, const Record& record, bool add) {
  if (!record.instance.cls->isAssociation) {
    return;
  }
  for (const MemberDef* property : Schema::Instance().Properties(*record.instance.cls)) {
    if (property->type != CimType::Reference) {
      continue;
    }
    const Referrer referrer{id, property};
    const auto end = std::find_if(record.ends.begin(), record.ends.end(),
                                  [&](const End& each) { return each.property == property; });
    if (end == record.ends.end()) {
      const auto target = ParseObjectPath(record.instance.Get(property->name).AsWideString());
      if (target) {
        IndexReference(IdentityOfPath(*target), referrer, add);
      }
      continue;
    }
    auto& referring = referrers_[end->object];
    if (add) {
      referring.push_back(referrer);
      continue;
    }
    const auto stale = std::find_if(referring.begin(), referring.end(), [&](const Referrer& each) {
      return each.association == id && each.role == property;
    });
    if (stale != referring.end()) {
      referring.erase(stale);
    }
    if (referring.empty()) {
      referrers_.erase(end->object);
    }
  }
}

void Repository::IndexReference(const Identity& identity, Referrer referrer, bool add) {
  if (add) {
    unresolved_.emplace(identity, referrer);
    return;
  }
  const auto range = unresolved_.equal_range(identity);
  for (auto it = range.first; it != range.second; ++it) {
    if (it->second.association == referrer.association && it->second.role == referrer.role) {
      unresolved_.erase(it);
      return;
    }
  }
}

}  // namespace quorvane::sim
