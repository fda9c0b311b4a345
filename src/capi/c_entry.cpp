// The C entry points, the version and the root.
#include "capi/c_calls.h"
#include "quorvane/version.h"

using namespace quorvane;
using namespace quorvane::capi;

extern "C" {

const char* qv_version(void) {
  return GetVersion();
}

qv_status qv_factory_create(qv_factory** out) {
  return RunGuarded(
      [&] { OutputOf(out) = NewHandle<qv_factory>(quorvane::CreateQuorvaneFactory()); });
}

qv_status qv_factory_create_local(qv_factory* factory, qv_root** out) {
  return MakeHandle(factory, out, [](IQuorvaneFactory& object) { return object.CreateLocal(); });
}

qv_status qv_factory_create_remote(qv_factory* factory, const char* host, const char* user,
                                   const char* password, qv_root** out) {
  return MakeHandle(factory, out, [&](IQuorvaneFactory& object) {
    const WideArgument wideHost(host), wideUser(user), widePassword(password);
    return object.CreateRemote(wideHost.get(), wideUser.get(), widePassword.get());
  });
}

void qv_factory_release(qv_factory* factory) {
  delete factory;
}

qv_status qv_create_local(qv_root** out) {
  return RunGuarded([&] { OutputOf(out) = NewHandle<qv_root>(quorvane::CreateQuorvaneLocal()); });
}

qv_status qv_create_remote(const char* host, const char* user, const char* password,
                           qv_root** out) {
  return RunGuarded([&] {
    auto& result = OutputOf(out);
    const WideArgument wideHost(host), wideUser(user), widePassword(password);
    result = NewHandle<qv_root>(
        quorvane::CreateQuorvaneRemote(wideHost.get(), wideUser.get(), widePassword.get()));
  });
}

void qv_root_release(qv_root* root) {
  delete root;
}

qv_status qv_root_is_remote_with_credentials(qv_root* root, int* out) {
  return GetValue(root, &IQuorvane::IsRemoteWithCredentials, out);
}

qv_status qv_root_supports_version_62(qv_root* root, int* out) {
  return GetValue(root, &IQuorvane::SupportsVersion62, out);
}

qv_status qv_root_get_max_version(qv_root* root, const char** out) {
  return GetText(root, 0, &IQuorvane::GetMaxVersion, out);
}

qv_status qv_root_create_machine_builder(qv_root* root, qv_machine_builder** out) {
  return MakeHandle(root, out, [](IQuorvane& object) { return object.CreateMachineBuilder(); });
}

qv_status qv_root_create_machine_editor(qv_root* root, const char* machine_id,
                                        qv_machine_editor** out) {
  return MakeHandle(root, out, [&](IQuorvane& object) {
    return object.CreateMachineEditor(WideArgument(machine_id).get());
  });
}

qv_status qv_root_create_switch_enumerator(qv_root* root, qv_switch_enumerator** out) {
  return MakeHandle(root, out, [](IQuorvane& object) { return object.CreateSwitchEnumerator(); });
}

qv_status qv_root_create_machine_management(qv_root* root, int read_limits,
                                            qv_machine_management** out) {
  return MakeHandle(root, out, [&](IQuorvane& object) {
    return object.CreateMachineManagement(read_limits != 0);
  });
}

qv_status qv_root_create_machine_enumerator(qv_root* root, qv_machine_enumerator** out) {
  return MakeHandle(root, out, [](IQuorvane& object) { return object.CreateMachineEnumerator(); });
}

qv_status qv_root_create_snapshot_management(qv_root* root, const char* machine_id,
                                             qv_snapshot_management** out) {
  return MakeHandle(root, out, [&](IQuorvane& object) {
    return object.CreateSnapshotManagement(WideArgument(machine_id).get());
  });
}

}  // extern "C"
