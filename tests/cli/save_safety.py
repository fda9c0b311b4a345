#!/usr/bin/env python3
"""Saving a scenario with the tool never loses it: killed at any moment, the tool leaves the old
scenario or the new one, whole; two runs that save the same scenario at once both keep their step.

    save_safety.py TOOL [ROUNDS]
"""
import json
import os
import random
import signal
import subprocess
import sys
import tempfile
import threading
import time


def scenario(machines):
    return {
        "format": "quorvane-simulated-host",
        "version": 1,
        "host": {"name": "HV-SAVE01", "guidSeed": 7},
        "machines": [
            {"name": "m%d" % i, "disks": ["D:\\VMs\\m%d\\system.vhdx" % i]} for i in range(machines)
        ],
    }


def run(tool, *arguments):
    return subprocess.run([tool, *arguments], capture_output=True, text=True)


def killed_saves(tool, folder, rounds):
    path = os.path.join(folder, "big.json")
    with open(path, "w") as out:
        json.dump(scenario(1500), out)
    # One whole run first, to know how long a run takes here: kills fall within that time.
    started = time.monotonic()
    first = run(tool, "--scenario", path, "--save", "machines")
    assert first.returncode == 0, first.stderr
    span = time.monotonic() - started
    chooser = random.Random(20261124)
    killed = 0
    for round_number in range(rounds):
        with open(path, "rb") as before:
            old = before.read()
        process = subprocess.Popen([tool, "--scenario", path, "--save", "checkpoint", "m1"],
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            process.wait(timeout=chooser.uniform(0.0, span))
        except subprocess.TimeoutExpired:
            process.send_signal(signal.SIGKILL)
            process.wait()
            killed += 1
        with open(path, "rb") as after:
            now = after.read()
        if now != old:
            json.loads(now)  # a new scenario, whole
            listed = run(tool, "--scenario", path, "checkpoints", "m1")
            assert listed.returncode == 0, "round %d: %s" % (round_number, listed.stderr)
        for name in os.listdir(folder):
            if name.startswith("big.json") and name not in ("big.json", "big.json.lock"):
                os.remove(os.path.join(folder, name))  # what a killed save left beside it
    print("killed saves: %d rounds over %.2f s runs, %d killed, the scenario always whole" %
          (rounds, span, killed))


def concurrent_saves(tool, folder):
    path = os.path.join(folder, "small.json")
    with open(path, "w") as out:
        json.dump(scenario(3), out)
    results = [None, None]

    def take(index):
        results[index] = run(tool, "--scenario", path, "--save", "checkpoint", "m%d" % index)

    threads = [threading.Thread(target=take, args=(i,)) for i in range(2)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    for result in results:
        assert result.returncode == 0, result.stderr
    for index in range(2):
        listed = run(tool, "--scenario", path, "checkpoints", "m%d" % index, "--json")
        assert listed.returncode == 0, listed.stderr
        assert len(json.loads(listed.stdout)) == 1, "m%d lost its checkpoint" % index
    print("concurrent saves: both steps kept")


def main():
    tool = sys.argv[1]
    rounds = int(sys.argv[2]) if len(sys.argv) > 2 else 12
    with tempfile.TemporaryDirectory() as folder:
        concurrent_saves(tool, folder)
        killed_saves(tool, folder, rounds)


if __name__ == "__main__":
    main()
