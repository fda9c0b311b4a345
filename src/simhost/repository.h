#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "simhost/object_path.h"
#include "simhost/schema.h"
#include "simhost/stored_values.h"
#include "util/case_insensitive.h"

namespace quorvane::sim {

struct Instance {
  const ClassDef* cls = nullptr;
  // Properties that hold a value; the rest are null.
  StoredValues properties;

  WmiValue Get(std::wstring_view name) const { return properties.Get(name); }
};

// The instances of one namespace, in the order they were created. Association instances are
// stored like any other; the repository indexes their references for ASSOCIATORS OF and
// REFERENCES OF. Failures are raised as the WMI statuses WMI itself would give.
class Repository {
 public:
  using Id = std::uint64_t;

  // An association instance that refers to an object, seen from that object.
  struct Link {
    Id association;
    std::wstring_view role;  // the reference property that names the object
    Id endpoint;             // the object at the other end
    std::wstring_view resultRole;
  };

  Repository(std::wstring server, std::wstring nameSpace);

  const std::wstring& Server() const { return server_; }
  const std::wstring& NameSpace() const { return nameSpace_; }

  // Values are converted to the schema's kinds; every key must be given and the path unique.
  Id Create(std::wstring_view className, PropertyList properties);
  // The same with the properties already looked up in the class (as a reader that checked
  // them against the schema has them).
  using MemberValues = std::vector<std::pair<const MemberDef*, WmiValue>>;
  Id Create(const ClassDef& cls, MemberValues values);
  // Creates an association between two stored objects.
  Id Associate(std::wstring_view className, std::wstring_view role1, Id end1,
               std::wstring_view role2, Id end2, const PropertyList& extra = {});
  void Set(Id id, std::wstring_view name, const WmiValue& value);
  // Stores a value of the right kind without converting or checking it (test hosts use this to
  // hand out values a real host could only send by mistake). Not for keys or references.
  void SetUnchecked(Id id, std::wstring_view name, WmiValue value);
  // Removes the instance and every association that refers to it.
  void Delete(Id id);

  // A change made of several steps: after BeginChange, every instance the repository touches
  // is remembered as it was, so that RollBack restores all of it and Commit keeps all of it.
  void BeginChange();
  void Commit();
  void RollBack();

  bool Contains(Id id) const { return FindRecord(id) != nullptr; }
  const Instance& Get(Id id) const;
  WmiValue Property(Id id, std::wstring_view name) const { return Get(id).Get(name); }
  std::optional<Id> Find(const ObjectPath& path) const;
  std::optional<Id> Find(std::wstring_view path) const;
  std::wstring RelativePath(Id id) const;
  std::wstring FullPath(Id id) const;

  // Instances of the class and its subclasses, in creation order.
  std::vector<Id> Enumerate(const ClassDef& cls) const;
  // Whether the repository keeps an index of the property's values (the identifiers clients
  // look objects up by), and the instances whose value is `value` compared without case, in
  // creation order. A superset of the exact matches, to be filtered by the caller.
  static bool IsIndexed(std::wstring_view property);
  std::vector<Id> WithValue(std::wstring_view property, std::wstring_view value) const;
  std::vector<Id> All() const;
  // Associations that refer to the object, in creation order.
  std::vector<Link> LinksOf(Id id) const;

 private:
  // Identities are compared a great deal and kept for every object, so they are kept narrow.
  using Identity = std::string;
  // An association's reference property and the stored object it named.
  struct End {
    const MemberDef* property;
    Id object;
  };
  // An association that refers to an object, and the reference property that names it.
  struct Referrer {
    Id association;
    const MemberDef* role;
  };
  struct Record {
    Instance instance;
    Identity identity;  // empty for an instance without keys
    // The objects an association's references named when it was stored.
    std::vector<End> ends;
  };

  Identity IdentityOf(const Instance& instance) const;
  Identity IdentityOfPath(ObjectPath path) const;
  // The objects an association being made refers to, by role: known, so not looked up again.
  using KnownEnds = std::vector<std::pair<std::wstring_view, Id>>;
  // Converts each value to its member's kind, in order, raising the first failure.
  static MemberValues Converted(const ClassDef& cls, PropertyList properties);
  // Stores values already converted.
  Id Store(const ClassDef& cls, MemberValues values);
  Id CreateWith(const ClassDef& cls, MemberValues values, const KnownEnds& ends);
  Identity IdentityWith(const Instance& instance, const KnownEnds& ends) const;
  // Key names with their values already in identity form.
  using NarrowKeys = std::vector<std::pair<std::wstring_view, std::string>>;
  static std::optional<Identity> JoinNarrow(std::wstring_view className, NarrowKeys keys);
  std::vector<End> ResolveEnds(const Instance& instance, const KnownEnds& known);
  void IndexReferences(Id id, const Record& record, bool add);
  void IndexReference(const Identity& identity, Referrer referrer, bool add);
  std::optional<Id> CachedEnd(const Record& association, std::wstring_view property) const;
  const Record* FindRecord(Id id) const;
  Record* FindRecord(Id id);
  const Record& RecordOf(Id id) const;
  Record& RecordOf(Id id);
  // Notes the instance as it is before the open change first touches it.
  void Remember(Id id);
  void Insert(Id id, Instance instance, Identity identity, const KnownEnds& ends = {});
  void Erase(Id id);
  void IndexValues(Id id, const Instance& instance, bool add);
  void IndexValue(Id id, std::wstring_view property, const WmiValue& value, bool add);

  std::wstring server_;
  std::wstring nameSpace_;
  Id nextId_ = 1;
  // Records by id, at id - 1; an empty place is an object deleted or an id not used yet. A
  // deque leaves records where they are as it grows: byIdentity_ views their identities.
  std::deque<std::optional<Record>> records_;
  // Views of the identities records_ keeps.
  std::unordered_map<std::string_view, Id> byIdentity_;
  // Stored object -> the associations whose references named it, and the property that did.
  // Kept while the object is away for a rollback, so untouched associations find it again.
  std::unordered_map<Id, std::vector<Referrer>> referrers_;
  // References to objects that were not stored when the association was, by their identity.
  std::unordered_multimap<Identity, Referrer> unresolved_;
  // Instances of each class, and of each indexed property (lower case) and value (folded):
  // ids in ascending (creation) order.
  std::unordered_map<const ClassDef*, std::vector<Id>> byClass_;
  std::unordered_map<std::string, std::vector<Id>> byValue_;
  struct OpenChange {
    Id nextId;
    std::map<Id, std::optional<Instance>> before;  // nothing: the instance did not exist
  };
  std::optional<OpenChange> change_;
};

// The schema's class, or the invalid-class status.
const ClassDef& RequireClass(std::wstring_view className);

}  // namespace quorvane::sim
