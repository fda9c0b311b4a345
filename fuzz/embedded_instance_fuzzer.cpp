// The library's reader of embedded instance text (CIM-XML), as it reads what a host returns.
#include "fuzz_text.h"
#include "quorvane/exceptions.h"
#include "wmi/embedded_instance_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto reader = quorvane::CreateEmbeddedInstanceReader();
  try {
    reader->Load(quorvane::fuzz::WideText(data, size));
  } catch (const quorvane::DefaultException&) {
    return 0;
  }
  reader->GetClassName();
  reader->GetArray(L"HostResource");
  reader->GetString(L"ElementName");
  reader->GetInt(L"EnabledState");
  reader->GetInt64(L"VirtualQuantity");
  return 0;
}
