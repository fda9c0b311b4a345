#include <algorithm>

#include "lifecycle/machine_management.h"
#include "util/number_text.h"
#include "util/text.h"
#include "wmi/wmi_read.h"

namespace quorvane {
namespace {

// The first settings object of `className` with this caption, if any.
WmiObjectPtr Template(IWmiService& service, const wchar_t* className, const wchar_t* caption) {
  const auto found = service.ExecQuery(std::wstring(L"Select * from ") + className +
                                       L" where Caption=" + QuotedLiteral(caption));
  return found.empty() ? nullptr : found.front();
}

// A number read as text; compared as unsigned so that a negative text never wins.
std::uint64_t Number(IWmiObject& object, const wchar_t* property) {
  return static_cast<std::uint64_t>(Stoll(ReadText(object, property)));
}

void KeepIfNonZero(std::uint64_t value, std::uint64_t& field) {
  if (value != 0) {
    field = value;
  }
}

// The minimum, the smallest of the maximum's two bounds and the default's limit.
void ReadRange(IWmiService& service, const wchar_t* className, const wchar_t* kind,
               const wchar_t* perNumaNode, std::uint64_t& minimum, std::uint64_t& maximum) {
  const std::wstring prefix(kind);
  if (const auto low = Template(service, className, (prefix + L" Minimum Settings").c_str())) {
    KeepIfNonZero(Number(*low, L"VirtualQuantity"), minimum);
  }
  std::uint64_t bound = maximum;
  if (const auto high = Template(service, className, (prefix + L" Maximum Settings").c_str())) {
    const std::uint64_t quantity = Number(*high, L"VirtualQuantity");
    bound = std::min(quantity, Number(*high, perNumaNode));
  }
  std::uint64_t limit = bound;
  if (const auto normal = Template(service, className, (prefix + L" Default Settings").c_str())) {
    limit = Number(*normal, L"Limit");
  }
  KeepIfNonZero(std::min(limit, bound), maximum);
}

}  // namespace

void ReadHostCapabilities(IWmiService& service, bool readLimits, HostCapabilities& capabilities) {
  const auto settings = service.QueryAll(L"Msvm_VirtualSystemManagementServiceSettingData");
  if (!settings.empty()) {
    capabilities.defaultExternalDataRoot = ReadText(*settings.front(), L"DefaultExternalDataRoot");
    capabilities.defaultVirtualHardDiskPath =
        ReadText(*settings.front(), L"DefaultVirtualHardDiskPath");
  }
  if (!readLimits) {
    return;
  }
  ReadRange(service, L"Msvm_ProcessorSettingData", L"Processor", L"MaxProcessorsPerNumaNode",
            capabilities.minimumProcessors, capabilities.maximumProcessors);
  ReadRange(service, L"Msvm_MemorySettingData", L"Memory", L"MaxMemoryBlocksPerNumaNode",
            capabilities.minimumMemory, capabilities.maximumMemory);
  if (const auto step =
          Template(service, L"Msvm_MemorySettingData", L"Memory Incremental Settings")) {
    KeepIfNonZero(Number(*step, L"VirtualQuantity"), capabilities.memoryIncrement);
  }
}

}  // namespace quorvane
