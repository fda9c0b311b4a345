// The embedded-instance reader for systems without MSXML.
#include <pugixml.hpp>

#include "errors/status.h"
#include "util/text.h"
#include "wmi/embedded_instance_reader.h"

namespace quorvane {
namespace {

// All text below a node, in document order (what a DOM's "text" of an element gives). Walks the
// tree without recursion: the document may nest as deep as its text allows.
void AppendText(const pugi::xml_node& root, std::string& out) {
  for (pugi::xml_node node = root.first_child(); node;) {
    if (node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata) {
      out += node.value();
    }
    if (node.type() == pugi::node_element && node.first_child()) {
      node = node.first_child();
      continue;
    }
    while (!node.next_sibling() && node.parent() != root) {
      node = node.parent();
    }
    node = node.next_sibling();
  }
}

std::wstring TextOf(const pugi::xml_node& node) {
  std::string text;
  AppendText(node, text);
  return FromUtf8(text);
}

class PugiEmbeddedInstanceReader final : public IEmbeddedInstanceReader {
 public:
  void Load(const std::wstring& text) override {
    ClearProperties();
    document_.reset();
    const std::string utf8 = ToUtf8(text);
    const auto parsed =
        document_.load_buffer(utf8.data(), utf8.size(), pugi::parse_default, pugi::encoding_utf8);
    if (!parsed || !HasSingleRoot()) {
      document_.reset();
      ThrowIfFailed(status::kFail);
    }
    for (const auto& selected : Select("INSTANCE/PROPERTY")) {
      const auto node = selected.node();
      AddProperty(FromUtf8(node.attribute("NAME").value()), TextOf(node));
    }
  }

  std::vector<std::wstring> GetArray(const std::wstring& name) override {
    const std::wstring query = L"/INSTANCE/PROPERTY.ARRAY[@NAME = '" + name + L"']/VALUE.ARRAY";
    const auto selected = Select(ToUtf8(query));
    std::vector<std::wstring> values;
    if (selected.empty()) {
      return values;
    }
    for (const auto& child : selected.first().node().children()) {
      if (child.type() == pugi::node_element) {
        values.push_back(TextOf(child));
      }
    }
    return values;
  }

  std::wstring GetClassName() override {
    const auto selected = Select("INSTANCE/@CLASSNAME");
    return selected.empty() ? std::wstring() : FromUtf8(selected.first().attribute().value());
  }

 private:
  // pugixml accepts fragments; a well-formed document has exactly one root element.
  bool HasSingleRoot() const {
    int roots = 0;
    for (const auto& child : document_.children()) {
      roots += child.type() == pugi::node_element ? 1 : 0;
    }
    return roots == 1;
  }

  // A query that does not compile (a name holding a quote, say) fails like the DOM would.
  pugi::xpath_node_set Select(const std::string& query) const {
    try {
      return document_.select_nodes(query.c_str());
    } catch (const pugi::xpath_exception&) {
      ThrowIfFailed(status::kFail);
      return {};
    }
  }

  pugi::xml_document document_;
};

}  // namespace

std::unique_ptr<IEmbeddedInstanceReader> CreateEmbeddedInstanceReader() {
  return std::make_unique<PugiEmbeddedInstanceReader>();
}

}  // namespace quorvane
