// The library bound to a simulated host directly: its WMI services are the host's own.
#include "entry/root_object.h"
#include "quorvane/simulated_host.h"
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

}  // namespace quorvane::sim
