#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "quorvane/exceptions.h"
#include "quorvane/simulated_host.h"
#include "simhost/host_core_access.h"
#include "status_of.h"
#include "wmi/wmi.h"

namespace quorvane::sim {

// A simulated host with a connected "root\virtualization\v2" service and a few machines.
class SimHostTest : public ::testing::Test {
 protected:
  SimHostTest() : host_(SimulatedHost::Create(WithoutCapabilities())) {
    service_ = Core().Connect(L"", L"", L"", kVirtualizationNamespace);
  }

  static HostOptions WithoutCapabilities() {
    HostOptions options;
    options.capabilities = false;
    return options;
  }

  HostCore& Core() { return CoreOf(host_); }
  Repository& V2() { return Core().Namespace(kVirtualizationNamespace); }

  // A machine with its realized settings, linked the way Hyper-V links them.
  Repository::Id AddMachine(const std::wstring& guid, const std::wstring& name,
                            std::int32_t enabledState = 3) {
    const auto vm = V2().Create(L"Msvm_ComputerSystem",
                                {{L"CreationClassName", WmiValue::String(L"Msvm_ComputerSystem")},
                                 {L"Name", WmiValue::String(guid)},
                                 {L"ElementName", WmiValue::String(name)},
                                 {L"Caption", WmiValue::String(L"Virtual Machine")},
                                 {L"EnabledState", WmiValue::Int32(enabledState)},
                                 {L"OnTimeInMilliseconds", WmiValue::UInt64(5000000000ull)}});
    const auto settings =
        V2().Create(L"Msvm_VirtualSystemSettingData",
                    {{L"InstanceID", WmiValue::String(L"Microsoft:" + guid)},
                     {L"ElementName", WmiValue::String(name)},
                     {L"VirtualSystemType", WmiValue::String(L"Microsoft:Hyper-V:System:Realized")},
                     {L"VirtualSystemIdentifier", WmiValue::String(guid)},
                     {L"Notes", WmiValue::Array(std::vector<std::wstring>{L"first", L"x & <y>"})}});
    V2().Associate(L"Msvm_SettingsDefineState", L"ManagedElement", vm, L"SettingData", settings);
    return vm;
  }

  WmiObjects Query(const std::wstring& wql) { return service_->ExecQuery(wql); }

  static std::uint32_t StatusOf(const std::function<void()>& action) {
    return testing::StatusOf(action);
  }

  SimulatedHost host_;
  WmiServicePtr service_;
};

}  // namespace quorvane::sim
