// Editing machines and defining new ones.
#include "capi/c_calls.h"

using namespace quorvane;
using namespace quorvane::capi;

extern "C" {

void qv_machine_editor_release(qv_machine_editor* editor) {
  if (editor != nullptr && editor->owned) {
    delete editor;
  }
}

qv_status qv_machine_editor_set_name(qv_machine_editor* editor, const char* name) {
  return Act(editor, [&](IMachineEditor& object) { object.SetName(WideArgument(name).get()); });
}

qv_status qv_machine_editor_set_memory_size(qv_machine_editor* editor, uint64_t megabytes) {
  return Act(editor, [&](IMachineEditor& object) { object.SetMemorySize(megabytes); });
}

qv_status qv_machine_editor_set_dynamic_memory(qv_machine_editor* editor, int enabled) {
  return Act(editor, [&](IMachineEditor& object) { object.SetDynamicMemory(enabled != 0); });
}

qv_status qv_machine_editor_set_processor_count(qv_machine_editor* editor, uint64_t count) {
  return Act(editor, [&](IMachineEditor& object) { object.SetProcessorCount(count); });
}

qv_status qv_machine_editor_add_network_adapter_with_vlan(qv_machine_editor* editor,
                                                          const char* switch_id, uint32_t vlan_id) {
  return Act(editor, [&](IMachineEditor& object) {
    object.AddNetworkAdapterWithVlan(WideArgument(switch_id).get(), vlan_id);
  });
}

qv_status qv_machine_editor_add_network_adapter(qv_machine_editor* editor, const char* switch_id) {
  return Act(editor, [&](IMachineEditor& object) {
    object.AddNetworkAdapter(WideArgument(switch_id).get());
  });
}

qv_status qv_machine_editor_add_disconnected_network_adapter(qv_machine_editor* editor) {
  return Act(editor, [](IMachineEditor& object) { object.AddDisconnectedNetworkAdapter(); });
}

qv_status qv_machine_editor_set_secure_boot(qv_machine_editor* editor, int enabled) {
  return Act(editor, [&](IMachineEditor& object) { object.SetSecureBoot(enabled != 0); });
}

qv_status qv_machine_editor_set_scsi_data_disks(qv_machine_editor* editor, int enabled) {
  return Act(editor, [&](IMachineEditor& object) { object.SetScsiDataDisks(enabled != 0); });
}

qv_status qv_machine_editor_add_disk(qv_machine_editor* editor, const char* path) {
  return Act(editor, [&](IMachineEditor& object) { object.AddDisk(WideArgument(path).get()); });
}

qv_status qv_machine_editor_commit(qv_machine_editor* editor) {
  return Act(editor, [](IMachineEditor& object) { object.Commit(); });
}

qv_status qv_machine_editor_get_machine_id(qv_machine_editor* editor, const char** out) {
  return GetText(editor, 0, &IMachineEditor::GetMachineId, out);
}

void qv_machine_builder_release(qv_machine_builder* builder) {
  delete builder;
}

qv_status qv_machine_builder_editor(qv_machine_builder* builder, qv_machine_editor** out) {
  return RunGuarded([&] {
    auto& result = OutputOf(out);
    ObjectOf(builder);
    result = &builder->editor;
  });
}

qv_status qv_machine_builder_set_version(qv_machine_builder* builder, const char* version) {
  return Act(builder,
             [&](IMachineBuilder& object) { object.SetVersion(WideArgument(version).get()); });
}

qv_status qv_machine_builder_set_generation2(qv_machine_builder* builder, int enabled) {
  return Act(builder, [&](IMachineBuilder& object) { object.SetGeneration2(enabled != 0); });
}

qv_status qv_machine_builder_set_configuration_data_root(qv_machine_builder* builder,
                                                         const char* path) {
  return Act(builder, [&](IMachineBuilder& object) {
    object.SetConfigurationDataRoot(WideArgument(path).get());
  });
}

qv_status qv_machine_builder_set_snapshot_data_root(qv_machine_builder* builder, const char* path) {
  return Act(builder, [&](IMachineBuilder& object) {
    object.SetSnapshotDataRoot(WideArgument(path).get());
  });
}

}  // extern "C"
