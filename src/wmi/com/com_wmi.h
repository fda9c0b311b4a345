#pragma once

// The WMI layer on real COM: one connected namespace, its objects and method calls.
#include "platform/com_holders.h"  // the Windows API first

#include <wbemidl.h>

#include <map>
#include <memory>
#include <string>

#include "platform/com_holders.h"
#include "wmi/wmi.h"
#include "wmi/wmi_connect.h"

namespace quorvane::com {

class WmiService final : public IWmiService, public std::enable_shared_from_this<WmiService> {
 public:
  // Connects at once; raises what the locator or ConnectServer report.
  static std::shared_ptr<WmiService> Connect(const ConnectionRequest& request);

  explicit WmiService(bool remote) : remote_(remote) {}
  WmiService(const WmiService&) = delete;
  WmiService& operator=(const WmiService&) = delete;
  ~WmiService() override;

  WmiObjectPtr GetObject(const std::wstring& path) override;
  WmiObjects ExecQuery(const std::wstring& wql) override;
  void PutInstance(const WmiObjectPtr& object) override;
  WmiObjectPtr SpawnInstance(const std::wstring& className) override;
  void Wait(std::uint32_t milliseconds) override;

  // A wrapper for a COM object; it holds nothing when the object is not an IWbemClassObject.
  WmiObjectPtr WrapObject(IUnknown* object);
  // The connection for the calling thread, from the global interface table.
  ComPtr<IWbemServices> Services() const;
  // Sets the connection's security blanket on a proxy (the result is not checked).
  void SetBlanket(IUnknown* proxy) const;

 private:
  void Register(IWbemServices* services);

  bool remote_;
  DWORD cookie_ = 0;
  bool registeredAsUnknown_ = false;
  ComPtr<IGlobalInterfaceTable> table_;
};

class WmiObject final : public IWmiObject, public std::enable_shared_from_this<WmiObject> {
 public:
  WmiObject(std::shared_ptr<WmiService> service, ComPtr<IWbemClassObject> object)
      : service_(std::move(service)), object_(std::move(object)) {}

  void SetProperty(const std::wstring& name, const WmiValue& value) override;
  std::vector<std::wstring> GetPropertyNames() override;
  WmiValue GetProperty(const std::wstring& name) override;
  void Refresh() override;
  WmiMethodPtr CreateMethod(const std::wstring& methodName) override;
  std::wstring GetText() override;
  WmiServicePtr GetService() override { return service_; }

  // The wrapped object with a reference of its own.
  ComPtr<IWbemClassObject> GetRawObject() const;

 private:
  IWbemClassObject& Object() const;

  std::shared_ptr<WmiService> service_;
  ComPtr<IWbemClassObject> object_;
};

class WmiMethod final : public IWmiMethod {
 public:
  WmiMethod(std::wstring name, std::shared_ptr<WmiObject> target,
            std::shared_ptr<WmiService> service, ComPtr<IWbemClassObject> in)
      : name_(std::move(name)),
        target_(std::move(target)),
        service_(std::move(service)),
        in_(std::move(in)) {}

  void SetParameter(const std::wstring& name, const WmiValue& value) override;
  using IWmiMethod::GetOutParameter;
  const WmiValue& GetOutParameter(const std::wstring& name, std::int32_t flags) override;
  WmiObjectPtr GetInParameters() override;
  std::uint32_t Execute() override;

 private:
  std::wstring name_;
  std::shared_ptr<WmiObject> target_;
  std::shared_ptr<WmiService> service_;
  ComPtr<IWbemClassObject> in_;
  ComPtr<IWbemClassObject> out_;
  std::map<std::wstring, WmiValue> outValues_;
};

}  // namespace quorvane::com
