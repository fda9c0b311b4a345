#pragma once

// Small scripted stand-ins for the WMI interfaces, for testing the layer's own logic in
// isolation. Whole-host behaviour is tested against the simulated host instead.
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "wmi/wmi.h"

namespace quorvane::testing {

class FakeObject : public IWmiObject {
 public:
  FakeObject(WmiServicePtr service, std::map<std::wstring, WmiValue> properties)
      : service_(std::move(service)), properties_(std::move(properties)) {}

  void SetProperty(const std::wstring& name, const WmiValue& value) override {
    properties_[name] = value;
  }
  std::vector<std::wstring> GetPropertyNames() override {
    std::vector<std::wstring> names;
    for (const auto& [name, value] : properties_) {
      names.push_back(name);
    }
    return names;
  }
  WmiValue GetProperty(const std::wstring& name) override {
    const auto found = properties_.find(name);
    return found == properties_.end() ? WmiValue() : found->second;
  }
  void Refresh() override {}
  WmiMethodPtr CreateMethod(const std::wstring&) override { return nullptr; }
  std::wstring GetText() override { return L""; }
  WmiServicePtr GetService() override { return service_.lock(); }

 private:
  // Weak, so that a service that keeps scripted answers does not keep itself alive.
  std::weak_ptr<IWmiService> service_;
  std::map<std::wstring, WmiValue> properties_;
};

class FakeService : public IWmiService, public std::enable_shared_from_this<FakeService> {
 public:
  std::function<WmiObjectPtr(const std::wstring&)> onGetObject;
  std::map<std::wstring, WmiObjects> queryResults;
  std::vector<std::wstring> log;
  std::uint64_t waitedMs = 0;

  WmiObjectPtr MakeObject(std::map<std::wstring, WmiValue> properties) {
    return std::make_shared<FakeObject>(shared_from_this(), std::move(properties));
  }

  WmiObjectPtr GetObject(const std::wstring& path) override {
    log.push_back(L"GetObject " + path);
    return onGetObject ? onGetObject(path) : nullptr;
  }
  WmiObjects ExecQuery(const std::wstring& wql) override {
    log.push_back(L"ExecQuery " + wql);
    return queryResults[wql];
  }
  void PutInstance(const WmiObjectPtr&) override { log.push_back(L"PutInstance"); }
  WmiObjectPtr SpawnInstance(const std::wstring& className) override {
    log.push_back(L"SpawnInstance " + className);
    return nullptr;
  }
  void Wait(std::uint32_t milliseconds) override {
    log.push_back(L"Wait " + std::to_wstring(milliseconds));
    waitedMs += milliseconds;
  }
};

class FakeMethod : public IWmiMethod {
 public:
  std::uint32_t returnValue = 0;
  std::map<std::wstring, WmiValue> outParameters;
  int executions = 0;

  void SetParameter(const std::wstring&, const WmiValue&) override {}
  using IWmiMethod::GetOutParameter;
  const WmiValue& GetOutParameter(const std::wstring& name, std::int32_t) override {
    return outParameters[name];
  }
  WmiObjectPtr GetInParameters() override { return nullptr; }
  std::uint32_t Execute() override {
    ++executions;
    return returnValue;
  }
};

}  // namespace quorvane::testing
