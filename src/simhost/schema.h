#pragma once

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "util/case_insensitive.h"
#include "wmi/wmi_value.h"

namespace quorvane::sim {

enum class CimType : std::uint8_t {
  String,
  Boolean,
  UInt8,
  SInt8,
  UInt16,
  SInt16,
  UInt32,
  SInt32,
  UInt64,
  SInt64,
  Real32,
  Real64,
  Datetime,
  Reference,
  Object,
  Char16,
};

enum class Namespace : std::uint8_t { Virtualization, Hgs };

// A property or a method parameter.
struct MemberDef {
  std::wstring name;
  CimType type = CimType::String;
  bool array = false;
  // The referenced or embedded class, when the member names one.
  std::wstring refClass;
};

struct MethodDef {
  std::wstring name;
  std::vector<MemberDef> in;
  std::vector<MemberDef> out;
  bool isStatic = false;
};

// One class as declared: its own properties and methods only; Schema walks the ancestry.
struct ClassDef {
  std::wstring name;
  std::wstring superclass;
  Namespace ns = Namespace::Virtualization;
  bool isAbstract = false;
  bool isAssociation = false;
  std::vector<std::wstring> keys;
  std::vector<MemberDef> properties;
  std::vector<MethodDef> methods;
  const ClassDef* parent = nullptr;  // the superclass, resolved once the table is read
};

// The CIM type's text in CIM-XML and MOF ("uint16", "datetime", "object", ...).
std::wstring_view CimTypeName(CimType type);
// The kind in which WMI hands a value of this type over.
WmiKind KindOf(CimType type);

// Class lookups over the table. Names are matched case-insensitively, as WMI does.
class Schema {
 public:
  static const Schema& Instance();

  const ClassDef* FindClass(std::wstring_view name) const;
  // Whether `cls` is `ancestor` or derives from it.
  bool IsA(const ClassDef& cls, std::wstring_view ancestor) const;
  bool IsA(const ClassDef& cls, const ClassDef& ancestor) const;
  const ClassDef* Superclass(const ClassDef& cls) const;
  // Superclass names, nearest first.
  std::vector<std::wstring> Derivation(const ClassDef& cls) const;
  // Own and inherited properties in alphabetical order; a subclass's declaration wins.
  const std::vector<const MemberDef*>& Properties(const ClassDef& cls) const;
  // The class and every class derived from it, in the table's order.
  const std::vector<const ClassDef*>& SelfAndDescendants(const ClassDef& cls) const;
  const MemberDef* FindProperty(const ClassDef& cls, std::wstring_view name) const;
  // The nearest declaration of the method along the ancestry.
  const MethodDef* FindMethod(const ClassDef& cls, std::wstring_view name) const;
  // Key property names (inherited from the declaring ancestor).
  std::span<const std::wstring> Keys(const ClassDef& cls) const;
  // The class that defines a property (for CLASSORIGIN).
  std::wstring_view OriginOf(const ClassDef& cls, std::wstring_view property) const;

 private:
  Schema();

  std::vector<ClassDef> classes_;
  std::unordered_map<std::wstring_view, const ClassDef*, HashNoCase, EqualNoCase> index_;
  // Worked out once: objects are made and paths resolved all the time.
  std::map<const ClassDef*, std::vector<const MemberDef*>> properties_;
  std::map<const ClassDef*, std::vector<const ClassDef*>> descendants_;
};

}  // namespace quorvane::sim
