#include "editing/security.h"

#include "editing/resource_settings.h"
#include "quorvane/exceptions.h"
#include "util/text.h"
#include "wmi/wmi_job.h"

namespace quorvane {
namespace {

constexpr wchar_t kGuardianName[] = L"UntrustedGuardian";

[[noreturn]] void NotFound(const wchar_t* message) {
  throw ObjectNotFoundException(kLibraryErrorCode, message);
}

WmiValue Flag(bool value) {
  return WmiValue::Int32(value ? 1 : 0);
}

bool ReadFlag(IWmiObject& object, const wchar_t* name) {
  const WmiValue value = object.GetProperty(name);
  return !value.IsNull() && value.AsBoolean();
}

// Runs a static method of a Host Guardian class and gives its "cmdletOutput".
WmiObjectPtr RunCmdlet(const WmiServicePtr& hostGuardian, const wchar_t* className,
                       const wchar_t* methodName,
                       const std::vector<std::pair<const wchar_t*, WmiValue>>& inputs) {
  const auto method = hostGuardian->GetObject(className)->CreateMethod(methodName);
  for (const auto& [name, value] : inputs) {
    method->SetParameter(name, value);
  }
  WmiJob(hostGuardian, method).Run();
  return method->GetOutParameter(L"cmdletOutput").AsObject();
}

WmiObjectPtr FindOrMakeGuardian(const WmiServicePtr& hostGuardian) {
  const auto found = hostGuardian->ExecQuery(L"SELECT * FROM MSFT_HgsGuardian WHERE Name = " +
                                             QuotedLiteral(kGuardianName));
  if (!found.empty()) {
    return found.front();
  }
  auto guardian = RunCmdlet(
      hostGuardian, L"MSFT_HgsGuardian", L"NewByGenerateCertificates",
      {{L"Name", WmiValue::String(kGuardianName)}, {L"GenerateCertificates", WmiValue::Int32(1)}});
  if (!guardian) {
    NotFound(L"Cannot create MSFT_HgsGuardian");
  }
  return guardian;
}

void SetKeyProtector(const WmiServicePtr& service, IWmiObject& securityService,
                     const WmiServicePtr& hostGuardian, const std::wstring& settingsText) {
  const auto method = securityService.CreateMethod(L"SetKeyProtector");
  method->SetParameter(L"SecuritySettingData", WmiValue::String(settingsText));
  method->SetParameter(L"KeyProtector", WmiValue::Array(MakeKeyProtector(hostGuardian)));
  WmiJob(service, method).Run();
}

}  // namespace

std::vector<std::uint8_t> MakeKeyProtector(const WmiServicePtr& hostGuardian) {
  const auto guardian = FindOrMakeGuardian(hostGuardian);
  const auto protector = RunCmdlet(
      hostGuardian, L"MSFT_HgsKeyProtector", L"NewByGuardians",
      {{L"Owner", WmiValue::Object(guardian)}, {L"AllowUntrustedRoot", WmiValue::Int32(1)}});
  if (!protector) {
    NotFound(L"Cannot get MSFT_HgsKeyProtector");
  }
  auto bytes = protector->GetProperty(L"RawData").AsByteArray();
  if (bytes.empty()) {
    NotFound(L"Cannot get key protector");
  }
  return bytes;
}

void ApplySecurity(const WmiServicePtr& service, const WmiServicePtr& hostGuardian,
                   IWmiObject& settings) {
  const auto current = settings.GetAssociatorsOfClass(L"Msvm_SecuritySettingData");
  if (current.empty()) {
    return;
  }
  const bool tpm = ReadFlag(*current.front(), L"TpmEnabled");
  const bool shielding = ReadFlag(*current.front(), L"ShieldingRequested");
  if (!tpm && !shielding) {
    return;
  }
  const auto securityService = service->QueryFirst(L"Msvm_SecurityService");
  if (!hostGuardian) {
    NotFound(L"Cannot get Hgs service");
  }
  const auto written = FirstOrNew(*service, settings, L"Msvm_SecuritySettingData");
  written->SetProperty(L"TpmEnabled", Flag(tpm));
  if (tpm) {
    written->SetProperty(L"EncryptStateAndVmMigrationTraffic",
                         Flag(ReadFlag(*current.front(), L"EncryptStateAndVmMigrationTraffic")));
  }
  written->SetProperty(L"ShieldingRequested", Flag(shielding));
  SetKeyProtector(service, *securityService, hostGuardian, written->GetText());
  const auto method = securityService->CreateMethod(L"ModifySecuritySettings");
  method->SetParameter(L"SecuritySettingData", WmiValue::String(written->GetText()));
  WmiJob(service, method).Run();
}

}  // namespace quorvane
