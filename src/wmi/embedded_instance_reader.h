#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

// The Windows API renames these to its A/W functions; a unit that includes <windows.h> must do so
// through platform/windows_api.h, or it would see members under other names than the rest.
#if defined(GetObject) || defined(GetClassName)
#error "include platform/windows_api.h instead of <windows.h>"
#endif

namespace quorvane {

// Reads the text of an embedded instance (WMI DTD 2.0: an INSTANCE element with PROPERTY and
// PROPERTY.ARRAY children) into a table of property texts.
class IEmbeddedInstanceReader {
 public:
  virtual ~IEmbeddedInstanceReader() = default;

  // Parses `text` and fills the table; the first value of a repeated name wins.
  virtual void Load(const std::wstring& text) = 0;
  // Values of an array property, in order; empty when the document has no such array.
  virtual std::vector<std::wstring> GetArray(const std::wstring& name) = 0;
  virtual std::wstring GetClassName() = 0;

  // A missing name reads as "".
  const std::wstring& GetString(const std::wstring& name) const;
  // The text as a decimal number; text that is not a number reads as 0.
  std::int32_t GetInt(const std::wstring& name) const;
  std::int64_t GetInt64(const std::wstring& name) const;

 protected:
  void ClearProperties() { properties_.clear(); }
  void AddProperty(std::wstring name, std::wstring text) {
    properties_.emplace(std::move(name), std::move(text));
  }

 private:
  std::map<std::wstring, std::wstring> properties_;
};

// The reader for this platform: MSXML on Windows, pugixml elsewhere.
std::unique_ptr<IEmbeddedInstanceReader> CreateEmbeddedInstanceReader();

}  // namespace quorvane
