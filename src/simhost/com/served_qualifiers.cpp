#include "simhost/com/served_qualifiers.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "simhost/schema.h"
#include "util/case_insensitive.h"
#include "wmi/com/variant_conversion.h"

namespace quorvane::sim::com {
namespace {

using quorvane::com::ScopedVariant;
using quorvane::com::ToVariant;

using Qualifiers = std::vector<std::pair<std::wstring, WmiValue>>;

// Qualifiers cannot hold objects: nothing to wrap.
ComPtr<IUnknown> NoObjects(const WmiObjectPtr&) {
  return nullptr;
}

class ServedQualifierSet final : public ServedObject<IWbemQualifierSet> {
 public:
  ServedQualifierSet(Qualifiers qualifiers, LONG flavor)
      : qualifiers_(std::move(qualifiers)), flavor_(flavor) {}

  HRESULT STDMETHODCALLTYPE Get(LPCWSTR name, LONG, VARIANT* value, LONG* flavor) override {
    if (name == nullptr) {
      return Status(WBEM_E_INVALID_PARAMETER);
    }
    const auto found = std::find_if(qualifiers_.begin(), qualifiers_.end(),
                                    [&](const auto& q) { return EqualsNoCase(q.first, name); });
    if (found == qualifiers_.end()) {
      return Status(WBEM_E_NOT_FOUND);
    }
    return Read(*found, value, flavor);
  }
  HRESULT STDMETHODCALLTYPE Put(LPCWSTR, VARIANT*, LONG) override {
    return Status(WBEM_E_NOT_SUPPORTED);
  }
  HRESULT STDMETHODCALLTYPE Delete(LPCWSTR) override { return Status(WBEM_E_NOT_SUPPORTED); }
  HRESULT STDMETHODCALLTYPE GetNames(LONG, SAFEARRAY** names) override {
    if (names == nullptr) {
      return Status(WBEM_E_INVALID_PARAMETER);
    }
    try {
      std::vector<std::wstring> list;
      for (const auto& qualifier : qualifiers_) {
        list.push_back(qualifier.first);
      }
      ScopedVariant variant;
      ToVariant(WmiValue::Array(std::move(list)), *variant.get(), NoObjects);
      *names = variant.release().parray;
      NoteHandedOut(*names);
      return WBEM_S_NO_ERROR;
    } catch (...) {
      return E_OUTOFMEMORY;
    }
  }
  HRESULT STDMETHODCALLTYPE BeginEnumeration(LONG) override {
    next_ = 0;
    return WBEM_S_NO_ERROR;
  }
  HRESULT STDMETHODCALLTYPE Next(LONG, BSTR* name, VARIANT* value, LONG* flavor) override {
    if (!next_) {
      return Status(WBEM_E_UNEXPECTED);
    }
    if (*next_ >= qualifiers_.size()) {
      return WBEM_S_NO_MORE_DATA;
    }
    const auto& qualifier = qualifiers_[*next_];
    BSTR copy = nullptr;
    if (name != nullptr && (copy = SysAllocString(qualifier.first.c_str())) == nullptr) {
      return E_OUTOFMEMORY;
    }
    const HRESULT read = Read(qualifier, value, flavor);
    if (FAILED(read)) {
      SysFreeString(copy);
      return read;
    }
    if (name != nullptr) {
      *name = copy;
      NoteHandedOut(copy);
    }
    ++*next_;
    return WBEM_S_NO_ERROR;
  }
  HRESULT STDMETHODCALLTYPE EndEnumeration() override {
    next_.reset();
    return WBEM_S_NO_ERROR;
  }

 private:
  HRESULT Read(const std::pair<std::wstring, WmiValue>& qualifier, VARIANT* value,
               LONG* flavor) const {
    if (value != nullptr) {
      try {
        ScopedVariant variant;
        ToVariant(qualifier.second, *variant.get(), NoObjects);
        *value = variant.release();
        NoteHandedOut(*value);
      } catch (...) {
        return E_OUTOFMEMORY;
      }
    }
    if (flavor != nullptr) {
      *flavor = flavor_;
    }
    return WBEM_S_NO_ERROR;
  }

  Qualifiers qualifiers_;
  LONG flavor_;
  std::optional<std::size_t> next_;  // between Begin- and EndEnumeration
};

CIMTYPE ScalarCimType(CimType type) {
  switch (type) {
    case CimType::String:
      return CIM_STRING;
    case CimType::Boolean:
      return CIM_BOOLEAN;
    case CimType::UInt8:
      return CIM_UINT8;
    case CimType::SInt8:
      return CIM_SINT8;
    case CimType::UInt16:
      return CIM_UINT16;
    case CimType::SInt16:
      return CIM_SINT16;
    case CimType::UInt32:
      return CIM_UINT32;
    case CimType::SInt32:
      return CIM_SINT32;
    case CimType::UInt64:
      return CIM_UINT64;
    case CimType::SInt64:
      return CIM_SINT64;
    case CimType::Real32:
      return CIM_REAL32;
    case CimType::Real64:
      return CIM_REAL64;
    case CimType::Datetime:
      return CIM_DATETIME;
    case CimType::Reference:
      return CIM_REFERENCE;
    case CimType::Object:
      return CIM_OBJECT;
    case CimType::Char16:
      return CIM_CHAR16;
  }
  return CIM_STRING;
}

std::wstring CimTypeText(const MemberDef& member) {
  if (member.type == CimType::Reference) {
    return member.refClass.empty() ? L"ref" : L"ref:" + member.refClass;
  }
  if (member.type == CimType::Object) {
    return member.refClass.empty() ? L"object" : L"object:" + member.refClass;
  }
  return std::wstring(CimTypeName(member.type));
}

// Qualifiers an instance has from its class are marked as propagated.
LONG FlavorOf(bool classObject) {
  return classObject ? WBEM_FLAVOR_ORIGIN_LOCAL | WBEM_FLAVOR_FLAG_PROPAGATE_TO_INSTANCE
                     : WBEM_FLAVOR_ORIGIN_PROPAGATED | WBEM_FLAVOR_FLAG_PROPAGATE_TO_INSTANCE;
}

}  // namespace

CIMTYPE CimTypeOf(const MemberDef& member) {
  return ScalarCimType(member.type) | (member.array ? CIM_FLAG_ARRAY : 0);
}

CIMTYPE SystemPropertyType(const wchar_t* name) {
  if (EqualsNoCase(name, L"__GENUS") || EqualsNoCase(name, L"__PROPERTY_COUNT")) {
    return CIM_SINT32;
  }
  if (EqualsNoCase(name, L"__DERIVATION")) {
    return CIM_STRING | CIM_FLAG_ARRAY;
  }
  return CIM_STRING;
}

ComPtr<IWbemQualifierSet> MakePropertyQualifiers(const ClassDef* cls, const MemberDef& member,
                                                 bool classObject) {
  Qualifiers qualifiers = {{L"CIMTYPE", WmiValue::String(CimTypeText(member))}};
  if (cls != nullptr) {
    const auto keys = Schema::Instance().Keys(*cls);
    if (std::any_of(keys.begin(), keys.end(),
                    [&](const std::wstring& key) { return EqualsNoCase(key, member.name); })) {
      qualifiers.emplace_back(L"key", WmiValue::Boolean(true));
    }
  }
  return MakeServed<ServedQualifierSet>(std::move(qualifiers), FlavorOf(classObject));
}

ComPtr<IWbemQualifierSet> MakeObjectQualifiers(const ClassDef* cls, bool classObject) {
  Qualifiers qualifiers;
  if (cls != nullptr && cls->isAbstract) {
    qualifiers.emplace_back(L"Abstract", WmiValue::Boolean(true));
  }
  if (cls != nullptr && cls->isAssociation) {
    qualifiers.emplace_back(L"Association", WmiValue::Boolean(true));
  }
  return MakeServed<ServedQualifierSet>(std::move(qualifiers), FlavorOf(classObject));
}

}  // namespace quorvane::sim::com
