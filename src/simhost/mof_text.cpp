#include "simhost/mof_text.h"

#include <cwchar>
#include <memory>
#include <type_traits>
#include <utility>

#include "simhost/schema.h"
#include "simhost/sim_wmi.h"

namespace quorvane::sim {
namespace {

// The escape of a character that cannot stand as it is inside a MOF string; null for others.
const wchar_t* EscapeOf(wchar_t c) {
  static constexpr std::pair<wchar_t, const wchar_t*> kEscapes[] = {
      {L'"', L"\\\""}, {L'\\', L"\\\\"}, {L'\n', L"\\n"}, {L'\r', L"\\r"}, {L'\t', L"\\t"}};
  for (const auto& [character, escape] : kEscapes) {
    if (c == character) {
      return escape;
    }
  }
  return nullptr;
}

void AppendQuoted(std::wstring& out, const std::wstring& text) {
  out += L'"';
  for (const wchar_t c : text) {
    if (const wchar_t* escape = EscapeOf(c)) {
      out += escape;
    } else {
      out += c;
    }
  }
  out += L'"';
}

// 64-bit integers are held as text; their MOF is the number itself.
bool IsNumber(CimType type) {
  return type != CimType::String && type != CimType::Boolean && type != CimType::Datetime &&
         type != CimType::Reference && type != CimType::Object && type != CimType::Char16;
}

void AppendInstance(std::wstring& out, const SimObject& object, const std::wstring& indent);

void AppendScalar(std::wstring& out, const WmiValue& value, const MemberDef& member,
                  const std::wstring& indent) {
  std::visit(
      [&](const auto& v) {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, bool>) {
          out += v ? L"TRUE" : L"FALSE";
        } else if constexpr (std::is_same_v<T, float> || std::is_same_v<T, double>) {
          wchar_t text[40];
          std::swprintf(text, 40, L"%.*g", std::is_same_v<T, float> ? 9 : 17,
                        static_cast<double>(v));
          out += text;
        } else if constexpr (std::is_arithmetic_v<T>) {
          out += std::to_wstring(v);
        } else if constexpr (std::is_same_v<T, std::wstring>) {
          if (IsNumber(member.type)) {
            out += v;
          } else {
            AppendQuoted(out, v);
          }
        } else if constexpr (std::is_same_v<T, WmiObjectPtr>) {
          const auto* embedded = dynamic_cast<const SimObject*>(v.get());
          if (embedded != nullptr) {
            AppendInstance(out, *embedded, indent + L'\t');
          }
        }
      },
      value.Get());
}

void AppendValue(std::wstring& out, const WmiValue& value, const MemberDef& member,
                 const std::wstring& indent) {
  if (!value.IsArray()) {
    AppendScalar(out, value, member, indent);
    return;
  }
  out += L'{';
  bool first = true;
  for (const WmiValue& element : value.Elements()) {
    out += first ? L"" : L", ";
    first = false;
    AppendScalar(out, element, member, indent);
  }
  out += L'}';
}

void AppendInstance(std::wstring& out, const SimObject& object, const std::wstring& indent) {
  const ObjectCopy& copy = object.Copy();
  out += L"\n" + indent + L"instance of " +
         (copy.cls != nullptr ? copy.cls->name : std::wstring(L"__PARAMETERS")) + L"\n" + indent +
         L"{\n";
  for (const MemberDef* member : object.Members()) {
    const auto found = copy.properties.find(member->name);
    if (found == copy.properties.end() || found->second.IsNull()) {
      continue;
    }
    out += indent + L'\t' + member->name + L" = ";
    AppendValue(out, found->second, *member, indent);
    out += L";\n";
  }
  out += indent + L"};\n";
}

std::wstring TypeText(const MemberDef& member) {
  if (member.type == CimType::Reference) {
    return (member.refClass.empty() ? std::wstring(L"object") : member.refClass) + L" ref";
  }
  return std::wstring(CimTypeName(member.type));
}

std::wstring DeclarationText(const MemberDef& member) {
  return TypeText(member) + L' ' + member.name + (member.array ? L"[]" : L"");
}

std::wstring ClassText(const ClassDef& cls) {
  std::wstring out = L"\n";
  if (cls.isAbstract || cls.isAssociation) {
    out += std::wstring(L"[") + (cls.isAbstract ? L"Abstract" : L"") +
           (cls.isAbstract && cls.isAssociation ? L", " : L"") +
           (cls.isAssociation ? L"Association" : L"") + L"]\n";
  }
  out += L"class " + cls.name + (cls.superclass.empty() ? L"" : L" : " + cls.superclass) + L"\n{\n";
  for (const MemberDef& member : cls.properties) {
    const bool key = std::any_of(cls.keys.begin(), cls.keys.end(), [&](const std::wstring& k) {
      return EqualsNoCase(k, member.name);
    });
    out += std::wstring(L"\t") + (key ? L"[key] " : L"") + DeclarationText(member) + L";\n";
  }
  for (const MethodDef& method : cls.methods) {
    std::wstring parameters;
    for (const MemberDef& in : method.in) {
      parameters +=
          (parameters.empty() ? L"" : L", ") + std::wstring(L"[in] ") + DeclarationText(in);
    }
    std::wstring returned = L"uint32";
    for (const MemberDef& out_ : method.out) {
      if (EqualsNoCase(out_.name, L"ReturnValue")) {
        returned = TypeText(out_);
        continue;
      }
      parameters +=
          (parameters.empty() ? L"" : L", ") + std::wstring(L"[out] ") + DeclarationText(out_);
    }
    out += std::wstring(L"\t") + (method.isStatic ? L"[static] " : L"") + returned + L' ' +
           method.name + L'(' + parameters + L");\n";
  }
  return out + L"};\n";
}

}  // namespace

std::wstring MofText(const SimObject& object) {
  if (object.GetOrigin() == SimObject::Origin::ClassObject && object.Copy().cls != nullptr) {
    return ClassText(*object.Copy().cls);
  }
  std::wstring out;
  AppendInstance(out, object, L"");
  return out;
}

}  // namespace quorvane::sim
