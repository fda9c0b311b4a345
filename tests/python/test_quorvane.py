"""The Python package against the simulated host."""
import gc
import threading

import pytest

import quorvane
from quorvane.simulated import FAULT_STANDARD_EXCEPTION, SimulatedHost

GIB = 1 << 30


@pytest.fixture
def host():
    with SimulatedHost.create() as simulated:
        simulated.web = simulated.add_machine("web", enabled_state=2)
        simulated.db = simulated.add_machine("db", generation2=False)
        simulated.lan = simulated.add_switch("LAN")
        simulated.add_disk_file(r"D:\web.vhdx", 40 * GIB)
        simulated.attach_disk(simulated.web, r"D:\web.vhdx")
        simulated.attach_dvd(simulated.web, r"D:\iso\setup.iso")
        yield simulated


@pytest.fixture
def root(host):
    with host.create_root() as made:
        yield made


def test_inventory(root, host):
    with root.machines() as machines:
        assert sorted(entry.name for entry in machines) == ["db", "web"]
        assert list(machines) == []  # walked to its end
        machines.reset()  # the library's machine enumerator appends on a reset
        assert len(list(machines)) == 4
    with root.machine_management() as management:
        with management.machine_info(host.web) as info, info.disks(include_dvd=True) as disks:
            assert info.name == "web" and info.memory == 1024 and info.is_generation2
            entries = list(disks)
    assert [(d.path, d.is_dvd) for d in entries] == [(r"D:\web.vhdx", False),
                                                     (r"D:\iso\setup.iso", True)]
    assert entries[0].max_internal_size == 40 * GIB
    with root.switches() as switches:
        assert [(s.name, s.id) for s in switches] == [("LAN", host.lan)]
    assert quorvane.library_version().count(".") == 2


def test_backup_road_finds_what_the_guest_wrote(root, host):
    with root.snapshot_management(host.web) as snapshots:
        level, fell_back = snapshots.create_recovery_snapshot()
        assert (level, fell_back) == (1, False)
        with snapshots.change_tracking_ids(snapshots.last_snapshot_id) as ids:
            kept = {entry.disk_id: entry.change_tracking_id for entry in ids}
    host.write_to_disk(r"D:\web.vhdx", 8192, 10)
    with root.machine_management() as management, management.machine_info(host.web) as info:
        with info.disks() as disks:
            disk = next(iter(disks))
            with disks.changes_since(kept[disk.disk_id]) as ranges:
                assert [(r.offset, r.length) for r in ranges] == [(8192, 4096)]
            host.expire_change_tracking(r"D:\web.vhdx")
            with pytest.raises(quorvane.QuorvaneError) as failure:
                disks.changes_since(kept[disk.disk_id])
    assert failure.value.change_tracking_unusable


def test_lifecycle_and_a_failed_job(root, host):
    with root.machine_management() as management:
        management.start(host.db)
        assert management.enabled_state(host.db) == 2
        host.fail_jobs("Msvm_ComputerSystem", "RequestStateChange", 0, "could not save")
        with pytest.raises(quorvane.QuorvaneError) as failure:
            management.save(host.db)
        assert failure.value.message == "could not save"
        with pytest.raises(quorvane.VmNotFoundError) as missing:
            management.enabled_state("no-such-machine")
    assert missing.value.code == 0xFFFFFFFF
    assert missing.value.message == "Cannot find machine: no-such-machine"


def test_checkpoints_and_editing(root, host):
    with root.snapshot_management(host.db) as snapshots:
        snapshots.create_standard_snapshot()
        first = snapshots.last_snapshot_id
        snapshots.rename_snapshot(first, "known good \u00e9t\u00e9")
        with snapshots.snapshot_info(first) as info:
            assert info.name == "known good \u00e9t\u00e9"
        assert [entry.id for entry in snapshots.snapshots()] == [first]
        snapshots.destroy_snapshot(first)
    with root.machine_builder() as builder:
        builder.set_generation2(True)
        builder.set_name("new")
        builder.set_processor_count(2)
        builder.add_network_adapter(host.lan, vlan_id=12)
        builder.commit()
        made = builder.machine_id
    with root.machine_management() as management, management.machine_info(made) as info:
        assert (info.name, info.processor_count) == ("new", 2)


def test_calls_are_logged_in_order(root, host):
    host.clear_call_log()
    with root.machine_management() as management:
        management.power_off(host.web)
    methods = [call.method for call in host.call_log() if call.operation == "ExecMethod"]
    assert methods == ["RequestStateChange"]
    change = next(call for call in host.call_log() if call.method == "RequestStateChange")
    assert change.input("RequestedState") == "3"


def test_failures_never_escape_as_anything_but_errors(root, host):
    host.fail_operations("ExecQuery", "", 0, 1, FAULT_STANDARD_EXCEPTION)
    with pytest.raises(quorvane.QuorvaneError) as failure:
        root.machines()
    assert failure.value.code == 0xFFFFFFFF and failure.value.message
    with pytest.raises(quorvane.QuorvaneError, match="not valid UTF-8|must not be null"):
        root.snapshot_management(host.db).rename_snapshot(host.db, None)
    with pytest.raises(quorvane.QuorvaneError) as broken:
        SimulatedHost.from_json("{", "broken.json")
    assert "broken.json" in broken.value.message
    closed = root.machines()
    closed.close()
    with pytest.raises(ValueError):
        list(closed)


def test_handles_are_released_by_the_collector(host):
    for _ in range(200):
        host.create_root().machines()
    gc.collect()
    assert host.clock_ms >= 0


def test_each_thread_reads_its_own_failure(root, host):
    wrong = []

    def fail(name):
        with root.machine_management() as management:
            for _ in range(100):
                try:
                    management.enabled_state(name)
                except quorvane.VmNotFoundError as error:
                    if error.message != "Cannot find machine: " + name:
                        wrong.append(error.message)

    threads = [threading.Thread(target=fail, args=(name,)) for name in ("one", "two")]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert wrong == []
