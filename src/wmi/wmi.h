#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "wmi/wmi_value.h"

// The Windows API renames these to its A/W functions; a unit that includes <windows.h> must do so
// through platform/windows_api.h, or it would see members under other names than the rest.
#if defined(GetObject) || defined(GetClassName)
#error "include platform/windows_api.h instead of <windows.h>"
#endif

namespace quorvane {

class IWmiService;
class IWmiMethod;
using WmiServicePtr = std::shared_ptr<IWmiService>;
using WmiMethodPtr = std::shared_ptr<IWmiMethod>;
using WmiObjects = std::vector<WmiObjectPtr>;

// One connection to one WMI namespace on one host. Everything above the WMI layer reaches WMI
// through this interface, so it runs unchanged on real COM and on the simulated host.
class IWmiService {
 public:
  virtual ~IWmiService() = default;

  virtual WmiObjectPtr GetObject(const std::wstring& path) = 0;
  virtual WmiObjects ExecQuery(const std::wstring& wql) = 0;
  // Writes a changed instance back; only existing instances are updated.
  virtual void PutInstance(const WmiObjectPtr& object) = 0;
  virtual WmiObjectPtr SpawnInstance(const std::wstring& className) = 0;
  // Blocks the caller for `milliseconds`. The simulated host advances its own clock instead.
  virtual void Wait(std::uint32_t milliseconds) = 0;

  WmiObjects QueryAll(const std::wstring& className);
  // The first instance of the class; ObjectNotFoundException when there is none.
  WmiObjectPtr QueryFirst(const std::wstring& className);
};

// One WMI instance or class object together with the service it came from.
class IWmiObject {
 public:
  virtual ~IWmiObject() = default;

  virtual void SetProperty(const std::wstring& name, const WmiValue& value) = 0;
  virtual std::vector<std::wstring> GetPropertyNames() = 0;
  virtual WmiValue GetProperty(const std::wstring& name) = 0;
  // Reloads the object by its relative path.
  virtual void Refresh() = 0;
  virtual WmiMethodPtr CreateMethod(const std::wstring& methodName) = 0;
  // The instance as WMI DTD 2.0 text, the form methods taking embedded instances expect.
  virtual std::wstring GetText() = 0;
  virtual WmiServicePtr GetService() = 0;

  WmiObjects GetAssociators(const std::wstring& resultClass, const std::wstring& assocClass);
  WmiObjects GetAssociatorsOfClass(const std::wstring& resultClass);
  WmiObjects GetAllAssociators();
  WmiObjects GetReferences(const std::wstring& resultClass);
  WmiObjects GetAllReferences();
  std::wstring GetClass();
  std::wstring GetRelPath();
  std::wstring GetPath();
};

// One prepared call of a WMI method on one object.
class IWmiMethod {
 public:
  virtual ~IWmiMethod() = default;

  virtual void SetParameter(const std::wstring& name, const WmiValue& value) = 0;
  // A property of the output parameters; only meaningful after Execute. The value lives as long
  // as the method object (output arrays can be large; they are not copied).
  // `flags` are those of IWbemClassObject::Get. A failure raises a COM status, which is not
  // one of the library's exceptions.
  virtual const WmiValue& GetOutParameter(const std::wstring& name, std::int32_t flags) = 0;
  const WmiValue& GetOutParameter(const std::wstring& name) { return GetOutParameter(name, 0); }
  virtual WmiObjectPtr GetInParameters() = 0;
  // Runs the method and returns its "ReturnValue".
  virtual std::uint32_t Execute() = 0;
};

// Runs a method, waits for the job it may start, and finds what the job produced.
class IWmiJob {
 public:
  virtual ~IWmiJob() = default;

  virtual void Run() = 0;
  // The first element of `resultClass` that the job affected; empty after a call that
  // completed without a job.
  virtual WmiObjectPtr GetAffectedElement(const std::wstring& resultClass) = 0;
};

}  // namespace quorvane
