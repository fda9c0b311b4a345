#include "simhost/instance_text.h"

#include <pugixml.hpp>

#include "errors/status.h"
#include "simhost/cim_value.h"
#include "util/text.h"
#include "wmi/wmi.h"

namespace quorvane::sim {
namespace {

void AppendEscaped(std::wstring& out, std::wstring_view text, bool attribute) {
  for (const wchar_t c : text) {
    switch (c) {
      case L'&':
        out += L"&amp;";
        break;
      case L'<':
        out += L"&lt;";
        break;
      case L'>':
        out += L"&gt;";
        break;
      case L'"':
        if (attribute) {
          out += L"&quot;";
          break;
        }
        [[fallthrough]];
      default:
        out.push_back(c);
    }
  }
}

class TextWriter {
 public:
  explicit TextWriter(std::wstring_view className) {
    out_ = L"<INSTANCE CLASSNAME=\"";
    AppendEscaped(out_, className, true);
    out_ += L"\">";
  }

  void Property(std::wstring_view name, std::wstring_view origin, bool propagated, CimType type,
                bool array, const WmiValue& value) {
    const std::wstring element = array ? L"PROPERTY.ARRAY" : L"PROPERTY";
    out_ += L"<" + element + L" NAME=\"";
    AppendEscaped(out_, name, true);
    out_ += L"\"";
    if (!origin.empty()) {
      out_ += L" CLASSORIGIN=\"";
      AppendEscaped(out_, origin, true);
      out_ += L"\"";
    }
    if (propagated) {
      out_ += L" PROPAGATED=\"true\"";
    }
    out_ += L" TYPE=\"";
    out_ += CimTypeName(type);
    out_ += L"\">";
    if (!value.IsNull()) {
      if (array) {
        out_ += L"<VALUE.ARRAY>";
        for (const auto& item : value.Elements()) {
          Value(type, item);
        }
        out_ += L"</VALUE.ARRAY>";
      } else {
        Value(type, value);
      }
    }
    out_ += L"</" + element + L">";
  }

  void SystemProperty(std::wstring_view name, const WmiValue& value, CimType type = CimType::String,
                      bool array = false) {
    Property(name, L"___SYSTEM", false, type, array, value);
  }

  std::wstring Finish() { return std::move(out_) + L"</INSTANCE>"; }

 private:
  void Value(CimType type, const WmiValue& value) {
    out_ += L"<VALUE>";
    if (value.Kind() == WmiKind::Object) {
      const auto object = value.AsObject();
      AppendEscaped(out_, object ? object->GetText() : L"", false);
    } else {
      AppendEscaped(out_, ScalarToCimText(type, value), false);
    }
    out_ += L"</VALUE>";
  }

  std::wstring out_;
};

WmiValue TextOrNull(const std::wstring& text) {
  return text.empty() ? WmiValue() : WmiValue::String(text);
}

[[noreturn]] void Fail(HResult status) {
  ThrowForStatus(status, WmiMessageText(status));
}

std::wstring Text(const pugi::xml_node& node) {
  std::string text;
  for (const auto& child : node.children()) {
    if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) {
      text += child.value();
    }
  }
  return FromUtf8(text);
}

class InstanceReader {
 public:
  explicit InstanceReader(const std::function<WmiObjectPtr(ParsedInstance)>& makeObject)
      : makeObject_(makeObject) {}

  ParsedInstance Read(const pugi::xml_node& instance) const {
    ParsedInstance parsed;
    parsed.cls = Schema::Instance().FindClass(FromUtf8(instance.attribute("CLASSNAME").value()));
    if (parsed.cls == nullptr) {
      Fail(status::kWbemInvalidClass);
    }
    for (const auto& node : instance.children()) {
      const std::string element = node.name();
      if (element.rfind("PROPERTY", 0) != 0) {
        continue;  // qualifiers and anything else carry no values
      }
      const std::wstring name = FromUtf8(node.attribute("NAME").value());
      if (name.rfind(L"__", 0) == 0 || node.attribute("PROPAGATED").as_bool()) {
        continue;
      }
      const MemberDef* member = Schema::Instance().FindProperty(*parsed.cls, name);
      if (member == nullptr) {
        Fail(status::kWbemNotFound);
      }
      parsed.properties.emplace_back(std::wstring(member->name), ReadValue(*member, node));
    }
    return parsed;
  }

 private:
  WmiValue ReadValue(const MemberDef& member, const pugi::xml_node& node) const {
    if (!member.array) {
      const auto value = node.child("VALUE");
      return value ? ReadScalar(member, value) : WmiValue();
    }
    const auto list = node.child("VALUE.ARRAY");
    if (!list) {
      return WmiValue();
    }
    std::vector<WmiValue> items;
    for (const auto& value : list.children("VALUE")) {
      items.push_back(ReadScalar(member, value));
    }
    auto converted = CoerceElements(member, items);
    if (!converted) {
      Fail(status::kWbemTypeMismatch);
    }
    return std::move(*converted);
  }

  WmiValue ReadScalar(const MemberDef& member, const pugi::xml_node& value) const {
    const std::wstring text = Text(value);
    if (member.type == CimType::Object) {
      return WmiValue::Object(makeObject_(ParseInstanceText(text, makeObject_)));
    }
    const MemberDef scalar{member.name, member.type, false, member.refClass};
    auto converted = CoerceToMember(scalar, WmiValue::String(text));
    if (!converted) {
      Fail(status::kWbemTypeMismatch);
    }
    return std::move(*converted);
  }

  const std::function<WmiObjectPtr(ParsedInstance)>& makeObject_;
};

}  // namespace

std::wstring InstanceToText(const TextSource& source) {
  const Schema& schema = Schema::Instance();
  const auto derivation = schema.Derivation(source.cls);
  const auto properties = schema.Properties(source.cls);
  const bool stored = !source.relativePath.empty();

  TextWriter writer(source.cls.name);
  writer.SystemProperty(L"__PATH", stored
                                       ? WmiValue::String(FormatFullPath(
                                             source.server, source.nameSpace, source.relativePath))
                                       : WmiValue());
  writer.SystemProperty(L"__NAMESPACE", stored ? TextOrNull(source.nameSpace) : WmiValue());
  writer.SystemProperty(L"__SERVER", stored ? TextOrNull(source.server) : WmiValue());
  writer.SystemProperty(L"__DERIVATION", WmiValue::Array(derivation), CimType::String, true);
  writer.SystemProperty(L"__PROPERTY_COUNT",
                        WmiValue::Int32(static_cast<std::int32_t>(properties.size())),
                        CimType::SInt32);
  writer.SystemProperty(L"__RELPATH", stored ? WmiValue::String(source.relativePath) : WmiValue());
  writer.SystemProperty(
      L"__DYNASTY",
      WmiValue::String(derivation.empty() ? std::wstring(source.cls.name) : derivation.back()));
  writer.SystemProperty(L"__SUPERCLASS", TextOrNull(std::wstring(source.cls.superclass)));
  writer.SystemProperty(L"__CLASS", WmiValue::String(std::wstring(source.cls.name)));
  writer.SystemProperty(L"__GENUS", WmiValue::Int32(2), CimType::SInt32);
  for (const MemberDef* property : properties) {
    const bool propagated =
        source.locallySet != nullptr && source.locallySet->count(property->name) == 0;
    const auto found = source.properties.find(property->name);
    writer.Property(property->name, schema.OriginOf(source.cls, property->name), propagated,
                    property->type, property->array,
                    found == source.properties.end() ? WmiValue() : found->second);
  }
  return writer.Finish();
}

std::wstring InstanceToLeanText(const ClassDef& cls, const PropertyMap& properties) {
  TextWriter writer(cls.name);
  for (const MemberDef* property : Schema::Instance().Properties(cls)) {
    const auto found = properties.find(property->name);
    const WmiValue value = found == properties.end() ? WmiValue() : found->second;
    writer.Property(property->name, L"", value.IsNull(), property->type, property->array, value);
  }
  return writer.Finish();
}

std::wstring ParametersToText(const std::vector<const MemberDef*>& members,
                              const PropertyMap& values) {
  TextWriter writer(L"__PARAMETERS");
  for (const MemberDef* member : members) {
    const auto found = values.find(member->name);
    writer.Property(member->name, L"__PARAMETERS", false, member->type, member->array,
                    found == values.end() ? WmiValue() : found->second);
  }
  return writer.Finish();
}

ParsedInstance ParseInstanceText(std::wstring_view text,
                                 const std::function<WmiObjectPtr(ParsedInstance)>& makeObject) {
  // WS-Management clients wrap the instance in CDATA; take it out.
  constexpr std::wstring_view kCdataOpen = L"<![CDATA[";
  constexpr std::wstring_view kCdataClose = L"]]>";
  const auto first = text.find_first_not_of(L" \t\r\n");
  const auto last = text.find_last_not_of(L" \t\r\n");
  if (first != std::wstring_view::npos && text.substr(first).rfind(kCdataOpen, 0) == 0 &&
      last + 1 >= first + kCdataOpen.size() + kCdataClose.size() &&
      text.substr(last + 1 - kCdataClose.size(), kCdataClose.size()) == kCdataClose) {
    text = text.substr(first + kCdataOpen.size(),
                       last + 1 - kCdataClose.size() - first - kCdataOpen.size());
  }
  pugi::xml_document document;
  const std::string utf8 = ToUtf8(text);
  if (!document.load_buffer(utf8.data(), utf8.size(), pugi::parse_default | pugi::parse_cdata,
                            pugi::encoding_utf8)) {
    Fail(status::kWbemInvalidParameter);
  }
  pugi::xml_node instance = document.child("INSTANCE");
  if (!instance) {
    instance = document.find_node(
        [](const pugi::xml_node& node) { return std::string_view(node.name()) == "INSTANCE"; });
  }
  if (!instance) {
    Fail(status::kWbemInvalidParameter);
  }
  return InstanceReader(makeObject).Read(instance);
}

}  // namespace quorvane::sim
