#pragma once

#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "simhost/host_core.h"
#include "simhost/instance_text.h"
#include "wmi/wmi.h"

namespace quorvane::sim {

class SimObject;

// The WMI service of one namespace of a simulated host. Every operation goes to the host (and
// so into its call log); objects are client-side copies, as with real WMI.
class SimService final : public IWmiService, public std::enable_shared_from_this<SimService> {
 public:
  SimService(std::shared_ptr<HostCore> host, std::wstring nameSpace);

  WmiObjectPtr GetObject(const std::wstring& path) override;
  WmiObjects ExecQuery(const std::wstring& wql) override;
  void PutInstance(const WmiObjectPtr& object) override;
  WmiObjectPtr SpawnInstance(const std::wstring& className) override;
  void Wait(std::uint32_t milliseconds) override;

  HostCore& Host() { return *host_; }
  const std::wstring& NameSpace() const { return nameSpace_; }

 private:
  std::shared_ptr<HostCore> host_;
  std::wstring nameSpace_;
};

// A client-side copy of an instance, a class object, a spawned instance or a method's
// parameters. Reading and writing properties is local; Refresh and methods go to the host.
class SimObject final : public IWmiObject, public std::enable_shared_from_this<SimObject> {
 public:
  enum class Origin : std::uint8_t { Stored, ClassObject, Spawned, Parameters };

  SimObject(std::shared_ptr<SimService> service, ObjectCopy copy, Origin origin);
  // A parameters object with the given members (a method's in or out signature).
  SimObject(std::shared_ptr<SimService> service, std::vector<const MemberDef*> members,
            PropertyMap values);

  void SetProperty(const std::wstring& name, const WmiValue& value) override;
  std::vector<std::wstring> GetPropertyNames() override;
  WmiValue GetProperty(const std::wstring& name) override;
  void Refresh() override;
  WmiMethodPtr CreateMethod(const std::wstring& methodName) override;
  std::wstring GetText() override;
  WmiServicePtr GetService() override { return service_; }

  const ObjectCopy& Copy() const { return copy_; }
  Origin GetOrigin() const { return origin_; }
  const std::vector<const MemberDef*>& Members() const { return members_; }
  const std::shared_ptr<SimService>& Service() const { return service_; }
  std::vector<std::wstring> ChangedProperties() const;
  // A property's stored value without a copy; raises like GetProperty for an unknown name.
  const WmiValue& PropertyRef(const std::wstring& name) const;

  // The property or parameter of that name; null for none.
  const MemberDef* FindMember(std::wstring_view name) const;

 private:
  std::optional<WmiValue> SystemProperty(std::wstring_view name) const;

  std::shared_ptr<SimService> service_;
  ObjectCopy copy_;
  Origin origin_;
  std::vector<const MemberDef*> members_;
  std::set<std::wstring, LessNoCase> changed_;
};

class SimMethod final : public IWmiMethod {
 public:
  SimMethod(std::shared_ptr<SimService> service, std::shared_ptr<SimObject> target,
            const MethodDef& definition, std::shared_ptr<SimObject> in);

  void SetParameter(const std::wstring& name, const WmiValue& value) override;
  using IWmiMethod::GetOutParameter;
  const WmiValue& GetOutParameter(const std::wstring& name, std::int32_t flags) override;
  WmiObjectPtr GetInParameters() override { return in_; }
  std::uint32_t Execute() override;

 private:
  std::shared_ptr<SimService> service_;
  std::shared_ptr<SimObject> target_;
  const MethodDef& definition_;
  std::shared_ptr<SimObject> in_;
  std::shared_ptr<SimObject> out_;
};

// An empty parameters object with the given members (a method's in or out signature).
std::shared_ptr<SimObject> MakeParameters(std::shared_ptr<SimService> service,
                                          std::span<const MemberDef> members);

// Runs a method on the object at `path` with the inputs set in `in` (none when null) and
// returns its output parameters, "ReturnValue" first.
std::shared_ptr<SimObject> RunMethod(const std::shared_ptr<SimService>& service,
                                     const std::wstring& path, const MethodDef& definition,
                                     SimObject* in);

// An instance that belongs to no service: an embedded object read from text, or one a
// provider hands out (such as "cmdletOutput"). Its properties are local; it has no methods.
WmiObjectPtr MakeDetachedObject(const ClassDef& cls, const PropertyList& properties);

// The same value with every embedded object replaced by a detached copy: what the host keeps
// must not hold on to a client's service (and through it, to the host).
WmiValue DetachObjects(const WmiValue& value);

// Reads an embedded instance's text the way the provider receives it.
ParsedInstance ParseEmbeddedInstance(std::wstring_view text);

}  // namespace quorvane::sim
