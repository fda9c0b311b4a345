// ReadDatetime on any text a host could send as a CIM datetime.
#include "fuzz_text.h"
#include "quorvane/exceptions.h"
#include "wmi/datetime.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    quorvane::ReadDatetime(quorvane::WmiValue::String(quorvane::fuzz::WideText(data, size)));
  } catch (const quorvane::DefaultException&) {
  }
  return 0;
}
