#include "simhost/schema.h"

#include <cstddef>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "util/text.h"

// The class table, built in from hyperv-v2-classes.json in pieces.
extern const char* const kHyperVClassTableParts[];
extern const std::size_t kHyperVClassTablePartCount;

namespace quorvane::sim {

std::wstring_view CimTypeName(CimType type) {
  switch (type) {
    case CimType::String:
      return L"string";
    case CimType::Boolean:
      return L"boolean";
    case CimType::UInt8:
      return L"uint8";
    case CimType::SInt8:
      return L"sint8";
    case CimType::UInt16:
      return L"uint16";
    case CimType::SInt16:
      return L"sint16";
    case CimType::UInt32:
      return L"uint32";
    case CimType::SInt32:
      return L"sint32";
    case CimType::UInt64:
      return L"uint64";
    case CimType::SInt64:
      return L"sint64";
    case CimType::Real32:
      return L"real32";
    case CimType::Real64:
      return L"real64";
    case CimType::Datetime:
      return L"datetime";
    case CimType::Reference:
      return L"reference";
    case CimType::Object:
      return L"object";
    case CimType::Char16:
      return L"char16";
  }
  return L"string";
}

WmiKind KindOf(CimType type) {
  switch (type) {
    case CimType::Boolean:
      return WmiKind::Boolean;
    case CimType::UInt8:
      return WmiKind::UInt8;
    case CimType::SInt8:
    case CimType::SInt16:
    case CimType::Char16:
      return WmiKind::Int16;
    case CimType::UInt16:
    case CimType::UInt32:
    case CimType::SInt32:
      return WmiKind::Int32;
    case CimType::Real32:
      return WmiKind::Real32;
    case CimType::Real64:
      return WmiKind::Real64;
    case CimType::Object:
      return WmiKind::Object;
    case CimType::String:
    case CimType::UInt64:
    case CimType::SInt64:
    case CimType::Datetime:
    case CimType::Reference:
      return WmiKind::String;
  }
  return WmiKind::String;
}

const Schema& Schema::Instance() {
  static const Schema schema;
  return schema;
}

namespace {

CimType CimTypeFromName(const std::string& name) {
  static const std::pair<const char*, CimType> kTypes[] = {
      {"string", CimType::String},     {"boolean", CimType::Boolean},
      {"uint8", CimType::UInt8},       {"sint8", CimType::SInt8},
      {"uint16", CimType::UInt16},     {"sint16", CimType::SInt16},
      {"uint32", CimType::UInt32},     {"sint32", CimType::SInt32},
      {"uint64", CimType::UInt64},     {"sint64", CimType::SInt64},
      {"real32", CimType::Real32},     {"real64", CimType::Real64},
      {"datetime", CimType::Datetime}, {"reference", CimType::Reference},
      {"object", CimType::Object},     {"char16", CimType::Char16},
  };
  for (const auto& [text, type] : kTypes) {
    if (name == text) {
      return type;
    }
  }
  throw std::logic_error("class table: unknown CIM type " + name);
}

std::vector<MemberDef> MembersFromJson(const nlohmann::json& rows) {
  std::vector<MemberDef> members;
  for (const auto& row : rows) {
    MemberDef member;
    member.name = FromUtf8(row.at(0).get<std::string>());
    member.type = CimTypeFromName(row.at(1).get<std::string>());
    member.array = row.at(2).get<bool>();
    if (row.size() > 3) {
      member.refClass = FromUtf8(row.at(3).get<std::string>());
    }
    members.push_back(std::move(member));
  }
  return members;
}

}  // namespace

// The table is part of the library (built in from hyperv-v2-classes.json); a table that does not
// parse is a build defect, not a run-time condition.
Schema::Schema() {
  std::string table;
  for (std::size_t i = 0; i < kHyperVClassTablePartCount; ++i) {
    table += kHyperVClassTableParts[i];
  }
  for (const auto& entry : nlohmann::json::parse(table)) {
    ClassDef cls;
    cls.name = FromUtf8(entry.at("name").get<std::string>());
    cls.superclass = FromUtf8(entry.at("superclass").get<std::string>());
    cls.ns = entry.at("namespace") == "hgs" ? Namespace::Hgs : Namespace::Virtualization;
    cls.isAbstract = entry.at("abstract").get<bool>();
    cls.isAssociation = entry.at("association").get<bool>();
    for (const auto& key : entry.at("keys")) {
      cls.keys.push_back(FromUtf8(key.get<std::string>()));
    }
    cls.properties = MembersFromJson(entry.at("properties"));
    for (const auto& method : entry.at("methods")) {
      cls.methods.push_back({FromUtf8(method.at("name").get<std::string>()),
                             MembersFromJson(method.at("in")), MembersFromJson(method.at("out")),
                             method.at("static").get<bool>()});
    }
    classes_.push_back(std::move(cls));
  }
  for (const auto& cls : classes_) {
    index_.emplace(cls.name, &cls);
  }
  for (auto& cls : classes_) {
    cls.parent = cls.superclass.empty() ? nullptr : FindClass(cls.superclass);
  }
  for (const auto& cls : classes_) {
    std::map<std::wstring_view, const MemberDef*, LessNoCase> byName;
    for (const ClassDef* c = &cls; c != nullptr; c = Superclass(*c)) {
      for (const auto& property : c->properties) {
        byName.emplace(property.name, &property);
      }
    }
    auto& properties = properties_[&cls];
    for (const auto& entry : byName) {
      properties.push_back(entry.second);
    }
    auto& descendants = descendants_[&cls];
    for (const auto& candidate : classes_) {
      if (IsA(candidate, cls.name)) {
        descendants.push_back(&candidate);
      }
    }
  }
}

const ClassDef* Schema::FindClass(std::wstring_view name) const {
  const auto found = index_.find(name);
  return found == index_.end() ? nullptr : found->second;
}

const ClassDef* Schema::Superclass(const ClassDef& cls) const {
  return cls.parent;
}

bool Schema::IsA(const ClassDef& cls, std::wstring_view ancestor) const {
  const ClassDef* named = FindClass(ancestor);
  return named != nullptr && IsA(cls, *named);
}

bool Schema::IsA(const ClassDef& cls, const ClassDef& ancestor) const {
  for (const ClassDef* c = &cls; c != nullptr; c = c->parent) {
    if (c == &ancestor) {
      return true;
    }
  }
  return false;
}

std::vector<std::wstring> Schema::Derivation(const ClassDef& cls) const {
  std::vector<std::wstring> names;
  for (const ClassDef* c = Superclass(cls); c != nullptr; c = Superclass(*c)) {
    names.emplace_back(c->name);
  }
  return names;
}

const std::vector<const MemberDef*>& Schema::Properties(const ClassDef& cls) const {
  return properties_.at(&cls);
}

const std::vector<const ClassDef*>& Schema::SelfAndDescendants(const ClassDef& cls) const {
  return descendants_.at(&cls);
}

const MemberDef* Schema::FindProperty(const ClassDef& cls, std::wstring_view name) const {
  for (const ClassDef* c = &cls; c != nullptr; c = Superclass(*c)) {
    for (const auto& property : c->properties) {
      if (EqualsNoCase(property.name, name)) {
        return &property;
      }
    }
  }
  return nullptr;
}

const MethodDef* Schema::FindMethod(const ClassDef& cls, std::wstring_view name) const {
  for (const ClassDef* c = &cls; c != nullptr; c = Superclass(*c)) {
    for (const auto& method : c->methods) {
      if (EqualsNoCase(method.name, name)) {
        return &method;
      }
    }
  }
  return nullptr;
}

std::span<const std::wstring> Schema::Keys(const ClassDef& cls) const {
  for (const ClassDef* c = &cls; c != nullptr; c = Superclass(*c)) {
    if (!c->keys.empty()) {
      return c->keys;
    }
  }
  return {};
}

std::wstring_view Schema::OriginOf(const ClassDef& cls, std::wstring_view property) const {
  std::wstring_view origin = cls.name;
  for (const ClassDef* c = &cls; c != nullptr; c = Superclass(*c)) {
    for (const auto& p : c->properties) {
      if (EqualsNoCase(p.name, property)) {
        origin = c->name;
      }
    }
  }
  return origin;
}

}  // namespace quorvane::sim
