// The library bound to a simulated host directly: its WMI services are the host's own.
#include "capi/c_errors.h"
#include "capi/c_handles.h"
#include "entry/root_object.h"
#include "quorvane/simulated_host.h"
#include "simhost/c_root_binding.h"
#include "simhost/host_core.h"

namespace quorvane::sim {
namespace {

WmiConnector ConnectorTo(std::shared_ptr<HostCore> core) {
  return [core](const ConnectionRequest& request) {
    return core->Connect(request.host, request.user, request.password, request.nameSpace);
  };
}

}  // namespace

IQuorvane* SimulatedHost::CreateQuorvane(const wchar_t* host, const wchar_t* user,
                                         const wchar_t* password) const {
  return Quorvane::Create(ConnectorTo(core_), host, user, password);
}

std::uint32_t SimulatedHost::CreateQuorvane(const wchar_t* host, const wchar_t* user,
                                            const wchar_t* password, IQuorvane** out) const {
  return CreateIntoOut(out, [&] { return CreateQuorvane(host, user, password); });
}

qv_status CreateRootHandle(const SimulatedHost& host, const char* hostName, const char* user,
                           const char* password, qv_root** out) noexcept {
  return capi::RunGuarded([&] {
    auto& result = capi::OutputOf(out);
    const capi::WideArgument wideHost(hostName), wideUser(user), widePassword(password);
    result = capi::NewHandle<qv_root>(
        host.CreateQuorvane(wideHost.get(), wideUser.get(), widePassword.get()));
  });
}

}  // namespace quorvane::sim
