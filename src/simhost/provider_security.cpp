// The security service's key protector and settings, and the Host Guardian client provider.
#include "simhost/hyperv_model.h"
#include "simhost/providers.h"
#include "simhost/sim_wmi.h"

namespace quorvane::sim {
namespace {

constexpr std::uint32_t kInvalidParameter = 32773;

std::optional<Repository::Id> SecuritySettingsIn(MethodCall& call, const wchar_t* parameter) {
  const ParsedInstance parsed = ParseEmbeddedInstance(call.In(parameter).AsWideString());
  for (const auto& [name, value] : parsed.properties) {
    if (EqualsNoCase(name, L"InstanceID")) {
      return call.repository.Find(
          FormatRelativePath(parsed.cls->name, {{L"InstanceID", value.AsWideString()}}));
    }
  }
  return std::nullopt;
}

std::uint32_t SetKeyProtector(MethodCall& call) {
  if (!SecuritySettingsIn(call, L"SecuritySettingData") ||
      call.In(L"KeyProtector").AsByteArray().empty()) {
    return kInvalidParameter;
  }
  return call.Complete(kJobModifySystem, {});
}

std::uint32_t ModifySecuritySettings(MethodCall& call) {
  const auto target = SecuritySettingsIn(call, L"SecuritySettingData");
  if (!target) {
    return kInvalidParameter;
  }
  return call.Complete(
      kJobModifySystem,
      {kApplySettingsText,
       {{L"Text", call.In(L"SecuritySettingData").AsWideString()}, {L"Keep", L"InstanceID"}}});
}

// Key material the simulated host hands out: different for every call, repeatable per run.
std::vector<std::uint8_t> NewBytes(HostCore& host, std::size_t count) {
  std::vector<std::uint8_t> bytes;
  while (bytes.size() < count) {
    for (const wchar_t c : host.NewGuid()) {
      if (c != L'-' && bytes.size() < count) {
        bytes.push_back(static_cast<std::uint8_t>(c));
      }
    }
  }
  return bytes;
}

std::uint32_t NewByGenerateCertificates(MethodCall& call) {
  const std::wstring name = call.In(L"Name").AsWideString();
  if (name.empty()) {
    return kInvalidParameter;
  }
  const PropertyList guardian = {
      {L"Name", WmiValue::String(name)},
      {L"HasPrivateSigningKey", WmiValue::Boolean(true)},
      {L"SigningCertificate", WmiValue::Array(NewBytes(call.host, 32))},
      {L"EncryptionCertificate", WmiValue::Array(NewBytes(call.host, 32))}};
  call.repository.Create(L"MSFT_HgsGuardian", guardian);
  call.out[L"cmdletOutput"] =
      WmiValue::Object(MakeDetachedObject(RequireClass(L"MSFT_HgsGuardian"), guardian));
  return 0;
}

std::uint32_t NewByGuardians(MethodCall& call) {
  const WmiValue owner = call.In(L"Owner");
  if (owner.IsNull()) {
    return kInvalidParameter;
  }
  call.out[L"cmdletOutput"] = WmiValue::Object(MakeDetachedObject(
      RequireClass(L"MSFT_HgsKeyProtector"),
      {{L"Owner", owner}, {L"RawData", WmiValue::Array(NewBytes(call.host, 64))}}));
  return 0;
}

}  // namespace

void InstallSecurityBehaviours(HostCore& host) {
  host.RegisterMethod(L"Msvm_SecurityService", L"SetKeyProtector", SetKeyProtector);
  host.RegisterMethod(L"Msvm_SecurityService", L"ModifySecuritySettings", ModifySecuritySettings);
  host.RegisterMethod(L"MSFT_HgsGuardian", L"NewByGenerateCertificates", NewByGenerateCertificates);
  host.RegisterMethod(L"MSFT_HgsKeyProtector", L"NewByGuardians", NewByGuardians);
}

}  // namespace quorvane::sim
