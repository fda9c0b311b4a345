#pragma once

#include <cstdint>
#include <vector>

#include "wmi/wmi.h"

namespace quorvane {

// For a machine with TPM or shielding: writes its security settings back with a new key
// protector from the local untrusted guardian. Nothing for other machines. `hostGuardian` is
// null when the host has no Host Guardian namespace.
void ApplySecurity(const WmiServicePtr& service, const WmiServicePtr& hostGuardian,
                   IWmiObject& settings);

// The raw bytes of a new key protector owned by the "UntrustedGuardian" guardian, which is
// made once and reused.
std::vector<std::uint8_t> MakeKeyProtector(const WmiServicePtr& hostGuardian);

}  // namespace quorvane
