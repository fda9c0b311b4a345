// Platform functions for Windows: the system's and WMI's message texts, local time, GUIDs.
#include "platform/windows_api.h"

#include <rpc.h>
#include <wbemcli.h>

#include "platform/com_holders.h"
#include "platform/platform.h"

namespace quorvane::platform {
namespace {

// 23: in-process server and handler, local and remote server.
constexpr DWORD kAllContexts = CLSCTX_ALL;
const CLSID kStatusTextClass = {
    0xEB87E1BD, 0x3233, 0x11D2, {0xAE, 0xC9, 0x00, 0xC0, 0x4F, 0xB6, 0x88, 0x20}};
const IID kStatusTextInterface = {
    0xEB87E1BC, 0x3233, 0x11D2, {0xAE, 0xC9, 0x00, 0xC0, 0x4F, 0xB6, 0x88, 0x20}};

}  // namespace

std::optional<std::wstring> SystemMessage(HResult status) {
  wchar_t* buffer = nullptr;
  const DWORD length = FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, static_cast<DWORD>(status), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
      reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
  if (length == 0 || buffer == nullptr) {
    return std::nullopt;
  }
  std::wstring text(buffer, length);
  LocalFree(buffer);
  return text;
}

std::optional<std::wstring> WmiStatusText(HResult status) {
  com::ComPtr<IWbemStatusCodeText> source;
  if (FAILED(CoCreateInstance(kStatusTextClass, nullptr, kAllContexts, kStatusTextInterface,
                              reinterpret_cast<void**>(source.GetAddressOf())))) {
    return std::nullopt;
  }
  com::UniqueBstr text;
  if (FAILED(source->GetErrorCodeText(status, 0, 0, text.put())) || text.get() == nullptr) {
    return std::nullopt;
  }
  return text.str();
}

std::uint32_t LastOsError() {
  return GetLastError();
}

std::wstring NewGuidText() {
  GUID guid{};
  CoCreateGuid(&guid);
  RPC_WSTR text = nullptr;
  if (UuidToStringW(&guid, &text) != RPC_S_OK || text == nullptr) {
    return L"";
  }
  std::wstring result(reinterpret_cast<wchar_t*>(text));
  RpcStringFreeW(&text);
  return result;
}

std::int64_t LocalFileTimeToUtc(std::int64_t localFileTime) {
  FILETIME local{};
  local.dwLowDateTime = static_cast<DWORD>(localFileTime & 0xFFFFFFFF);
  local.dwHighDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(localFileTime) >> 32);
  FILETIME utc{};
  if (!LocalFileTimeToFileTime(&local, &utc)) {
    return localFileTime;
  }
  return static_cast<std::int64_t>((static_cast<std::uint64_t>(utc.dwHighDateTime) << 32) |
                                   utc.dwLowDateTime);
}

}  // namespace quorvane::platform
