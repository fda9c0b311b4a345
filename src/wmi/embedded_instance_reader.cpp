#include "wmi/embedded_instance_reader.h"

#include <cwchar>
#include <limits>

namespace quorvane {

const std::wstring& IEmbeddedInstanceReader::GetString(const std::wstring& name) const {
  static const std::wstring kEmpty;
  const auto found = properties_.find(name);
  return found == properties_.end() ? kEmpty : found->second;
}

std::int32_t IEmbeddedInstanceReader::GetInt(const std::wstring& name) const {
  const long long value = std::wcstoll(GetString(name).c_str(), nullptr, 10);
  if (value > std::numeric_limits<std::int32_t>::max()) {
    return std::numeric_limits<std::int32_t>::max();
  }
  if (value < std::numeric_limits<std::int32_t>::min()) {
    return std::numeric_limits<std::int32_t>::min();
  }
  return static_cast<std::int32_t>(value);
}

std::int64_t IEmbeddedInstanceReader::GetInt64(const std::wstring& name) const {
  return std::wcstoll(GetString(name).c_str(), nullptr, 10);
}

}  // namespace quorvane
