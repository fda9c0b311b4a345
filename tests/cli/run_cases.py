#!/usr/bin/env python3
"""Runs the command-line tool's cases and compares what it prints with the expected files.

A case is cases/NAME.cmd: one command per line (the tool's arguments, split as a shell would),
run in order on a fresh copy of the case's scenario. {host} stands for that copy of
tests/cli/host.json, {lab} for a copy of examples/scenarios/lab.json, {dir} for the case's
scratch folder, and {cases} for the cases folder. What the commands print on stdout, then on
stderr, then their exit codes, is compared with cases/NAME.out. The tool runs in the C locale,
so names in any language must come out right whatever the locale.

    run_cases.py TOOL [--regenerate]
"""
import os
import shlex
import shutil
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
CASES = os.path.join(HERE, "cases")


def run_case(tool, name):
    with tempfile.TemporaryDirectory() as scratch:
        places = {
            "{host}": os.path.join(scratch, "host.json"),
            "{lab}": os.path.join(scratch, "lab.json"),
            "{dir}": scratch,
            "{cases}": CASES,
        }
        shutil.copy(os.path.join(HERE, "host.json"), places["{host}"])
        shutil.copy(os.path.join(ROOT, "examples", "scenarios", "lab.json"), places["{lab}"])
        env = dict(os.environ, LC_ALL="C", LANG="C")
        out = []
        with open(os.path.join(CASES, name + ".cmd"), encoding="utf-8") as commands:
            for line in commands:
                line = line.strip()
                if not line or line.startswith("#"):
                    continue
                for key, value in places.items():
                    line = line.replace(key, value)
                done = subprocess.run([tool] + shlex.split(line), capture_output=True, env=env)
                text = done.stdout.decode("utf-8") + done.stderr.decode("utf-8")
                shown = "$ quorvane " + line + "\n" + text
                for key in ("{dir}", "{cases}"):
                    shown = shown.replace(places[key], key)
                out.append(shown + "[exit " + str(done.returncode) + "]\n")
        return "".join(out)


def main():
    tool = sys.argv[1]
    regenerate = "--regenerate" in sys.argv or os.environ.get("QUORVANE_REGENERATE_CLI") == "1"
    names = sorted(f[:-4] for f in os.listdir(CASES) if f.endswith(".cmd"))
    failed = []
    for name in names:
        got = run_case(tool, name)
        expected_file = os.path.join(CASES, name + ".out")
        if regenerate:
            with open(expected_file, "w", encoding="utf-8") as f:
                f.write(got)
            continue
        with open(expected_file, encoding="utf-8") as f:
            expected = f.read()
        if got != expected:
            failed.append(name)
            print("--- " + name + ": expected\n" + expected + "--- got\n" + got)
    print("%d cases, %d failed%s" % (len(names), len(failed), (": " + ", ".join(failed)) if failed else ""))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
