// The embedded-instance reader on the MSXML 3.0 DOM.
#include "platform/windows_api.h"

#include <msxml2.h>

#include "errors/status.h"
#include "platform/com_holders.h"
#include "wmi/embedded_instance_reader.h"

namespace quorvane {
namespace {

using com::ComPtr;
using com::ScopedVariant;
using com::UniqueBstr;

// 23: in-process server and handler, local and remote server.
constexpr DWORD kAllContexts = CLSCTX_ALL;
const CLSID kDomDocument30 = {
    0xF5078F32, 0xC551, 0x11D3, {0x89, 0xB9, 0x00, 0x00, 0xF8, 0x1F, 0xE2, 0x21}};
const IID kDomDocument = {
    0x2933BF81, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
const IID kDomElement = {
    0x2933BF86, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};

std::wstring TextOf(IXMLDOMNode& node) {
  UniqueBstr text;
  ThrowIfFailed(node.get_text(text.put()));
  return text.str();
}

// A BSTR variant's text; a null BSTR is a valid empty string.
std::wstring TextOfVariant(const VARIANT& value) {
  if (value.vt != VT_BSTR || value.bstrVal == nullptr) {
    return L"";
  }
  return std::wstring(value.bstrVal, SysStringLen(value.bstrVal));
}

class MsxmlEmbeddedInstanceReader final : public IEmbeddedInstanceReader {
 public:
  MsxmlEmbeddedInstanceReader() {
    ThrowIfFailed(CoCreateInstance(kDomDocument30, nullptr, kAllContexts, kDomDocument,
                                   reinterpret_cast<void**>(document_.GetAddressOf())));
  }

  void Load(const std::wstring& text) override {
    ClearProperties();
    const UniqueBstr xml(text);
    VARIANT_BOOL loaded = VARIANT_FALSE;
    ThrowIfFailed(document_->loadXML(xml.get(), &loaded));
    if (loaded != VARIANT_TRUE) {
      ThrowIfFailed(status::kFail);
    }
    const UniqueBstr query(L"INSTANCE/PROPERTY");
    ComPtr<IXMLDOMNodeList> nodes;
    ThrowIfFailed(document_->selectNodes(query.get(), nodes.GetAddressOf()));
    long count = 0;
    ThrowIfFailed(nodes->get_length(&count));
    for (long i = 0; i < count; ++i) {
      ComPtr<IXMLDOMNode> node;
      ThrowIfFailed(nodes->get_item(i, node.GetAddressOf()));
      ComPtr<IXMLDOMElement> element;
      ThrowIfFailed(
          node->QueryInterface(kDomElement, reinterpret_cast<void**>(element.GetAddressOf())));
      const UniqueBstr attribute(L"NAME");
      ScopedVariant name;
      ThrowIfFailed(element->getAttribute(attribute.get(), name.get()));
      AddProperty(TextOfVariant(name.ref()), TextOf(*node.Get()));
    }
  }

  std::vector<std::wstring> GetArray(const std::wstring& name) override {
    // A quote would end the name early and leave a query that does not compile; some XPath
    // engines do not survive being handed one, so it is refused here as the engine would.
    if (name.find(L'\'') != std::wstring::npos) {
      ThrowIfFailed(status::kFail);
    }
    const UniqueBstr query(L"/INSTANCE/PROPERTY.ARRAY[@NAME = '" + name + L"']/VALUE.ARRAY");
    ComPtr<IXMLDOMNode> list;
    ThrowIfFailed(document_->selectSingleNode(query.get(), list.GetAddressOf()));
    std::vector<std::wstring> values;
    if (!list) {
      return values;
    }
    ComPtr<IXMLDOMNodeList> children;
    ThrowIfFailed(list->get_childNodes(children.GetAddressOf()));
    long count = 0;
    ThrowIfFailed(children->get_length(&count));
    for (long i = 0; i < count; ++i) {
      ComPtr<IXMLDOMNode> child;
      ThrowIfFailed(children->get_item(i, child.GetAddressOf()));
      values.push_back(TextOf(*child.Get()));
    }
    return values;
  }

  std::wstring GetClassName() override {
    const UniqueBstr query(L"INSTANCE/@CLASSNAME");
    ComPtr<IXMLDOMNode> node;
    ThrowIfFailed(document_->selectSingleNode(query.get(), node.GetAddressOf()));
    return node ? TextOf(*node.Get()) : L"";
  }

 private:
  ComPtr<IXMLDOMDocument> document_;
};

}  // namespace

std::unique_ptr<IEmbeddedInstanceReader> CreateEmbeddedInstanceReader() {
  return std::make_unique<MsxmlEmbeddedInstanceReader>();
}

}  // namespace quorvane
