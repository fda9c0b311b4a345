#!/usr/bin/env python3
"""Plants one-line faults in the library, one at a time, and runs the tests against each.

Each fault of the list in scripts/planted_faults/faults.py replaces one exact text of a source
file (found exactly once) with a wrong one: a comparison turned, a bound off by one, a code or
a text changed, a call left out, two calls swapped, a flag inverted, a property written or left
out. The script copies the checkout to a scratch folder, builds it there once, and then for
every fault writes it in, rebuilds (only what depends on the file), runs the tests and puts the
file back. A fault is caught when at least one test fails or times out.

    scripts/planted-faults.py                 # every Linux fault, tests on Linux
    scripts/planted-faults.py --only merge vlan   # the faults whose name holds "merge" or "vlan"
    scripts/planted-faults.py --windows       # also the COM layer's faults, tested under Wine
    scripts/planted-faults.py --list          # the list, without running anything
    scripts/planted-faults.py --check         # every fault still applies (the test command runs this)
    scripts/planted-faults.py --revision HEAD~3   # the same list against an older commit

How long it takes, on 2 cores: the first build of the scratch copy about 4 minutes (less with
ccache's cache warm), then 11 to 20 seconds a fault (a rebuild and ctest's 200-odd tests), so
about 25 minutes for the Linux list. With --windows the scratch copy is also cross-built
(about 10 more minutes) and each COM fault takes a minute or two. The test command runs only
--check.
"""

import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from planted_faults.faults import FAULTS  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parent.parent


def git(*arguments):
    return subprocess.run(["git", *arguments], cwd=ROOT, check=True,
                          capture_output=True).stdout


def source_files(revision):
    """The files of the checkout, or of a commit, with a way to read each."""
    if revision:
        names = git("ls-tree", "-r", "-z", "--name-only", revision).decode().split("\0")
        return {name: (lambda n=name: git("show", f"{revision}:{n}")) for name in names if name}
    listing = git("ls-files", "-z", "--cached", "--others", "--exclude-standard").decode()
    return {name: (ROOT / name).read_bytes for name in listing.split("\0")
            if name and (ROOT / name).is_file()}


def sync_copy(scratch_src, revision):
    """Copies the sources, writing only files that differ, so the scratch build stays valid."""
    files = source_files(revision)
    wanted = set(files)
    for name, read in files.items():
        target = scratch_src / name
        content = read()
        if target.is_file() and target.read_bytes() == content:
            continue
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_bytes(content)
        if (ROOT / name).is_file():
            target.chmod((ROOT / name).stat().st_mode)
    for path in scratch_src.rglob("*"):
        name = path.relative_to(scratch_src)
        if path.is_file() and name.parts[0] != "build-deps" and str(name) not in wanted:
            path.unlink()
    deps = ROOT / "build-deps" / "pugixml"
    if deps.is_dir() and not (scratch_src / "build-deps" / "pugixml").exists():
        shutil.copytree(deps, scratch_src / "build-deps" / "pugixml")


def run(command, cwd, log, timeout=None):
    with open(log, "w") as out:
        try:
            return subprocess.run(command, cwd=cwd, stdout=out, stderr=subprocess.STDOUT,
                                  timeout=timeout).returncode
        except subprocess.TimeoutExpired:
            return -1


class Target:
    """One build of the scratch copy and the tests that judge a fault in it."""

    def __init__(self, name, scratch, configure, jobs):
        self.name = name
        self.source = scratch / "src"
        self.build = scratch / name
        self.logs = scratch / "logs"
        self.configure = configure
        self.jobs = jobs

    def prepare(self):
        launcher = ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"] if shutil.which("ccache") else []
        command = ["cmake", "-S", str(self.source), "-B", str(self.build), "-G", "Ninja",
                   "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON"] + launcher + self.configure
        if run(command, self.source, self.logs / f"{self.name}-configure.log") != 0:
            sys.exit(f"{self.name}: configuring the scratch copy failed; see {self.logs}")
        if not self.rebuild("baseline"):
            sys.exit(f"{self.name}: the unchanged scratch copy does not build; see {self.logs}")
        failed = self.failing_tests("baseline")
        if failed:
            sys.exit(f"{self.name}: tests fail without any fault: {', '.join(failed)}")

    def rebuild(self, label):
        command = ["cmake", "--build", str(self.build), "--parallel", str(self.jobs)]
        return run(command, self.source, self.logs / f"{label}-build.log") == 0


class LinuxTarget(Target):
    def __init__(self, scratch, jobs):
        super().__init__("linux", scratch, ["-DCMAKE_BUILD_TYPE=RelWithDebInfo",
                                            "-DQUORVANE_BUILD_BENCHMARKS=OFF"], jobs)

    def failing_tests(self, label):
        log = self.logs / f"{label}-tests.log"
        status = run(["ctest", "--test-dir", str(self.build), "--parallel", str(self.jobs),
                      "--timeout", "60"], self.source, log)
        text = log.read_text(errors="replace")
        _, marker, failed = text.partition("The following tests FAILED:")
        if not marker:
            return ["ctest"] if status != 0 else []
        return re.findall(r"^\s*\d+ - (\S+)", failed, re.M)


class WindowsTarget(Target):
    """The COM layer: the cross-built unit tests and the public suite through COM, under Wine."""

    TESTS = [("quorvane_windows_tests.exe", None),
             ("quorvane_public_tests_com.exe",
              "ComBackendTest.*:BackupTest.*:EditingTest.*:RootTest.*")]

    def __init__(self, scratch, jobs):
        super().__init__("windows", scratch, [
            "-DCMAKE_BUILD_TYPE=RelWithDebInfo",
            f"-DCMAKE_TOOLCHAIN_FILE={scratch / 'src' / 'cmake' / 'mingw-w64-x86_64.cmake'}",
            "-DQUORVANE_BUILD_BENCHMARKS=OFF", "-DQUORVANE_BUILD_CLI=OFF",
            "-DQUORVANE_BUILD_EXAMPLES=OFF"], jobs)

    def failing_tests(self, label):
        failed = []
        for exe, tests in self.TESTS:
            command = [str(self.source / "scripts" / "run-wine-test.sh"),
                       str(self.build / "wineprefix"), str(self.build / "bin" / exe)]
            if tests:
                command.append(f"--gtest_filter={tests}")
            log = self.logs / f"{label}-{exe}.log"
            status = run(command, self.source, log, timeout=900)
            names = re.findall(r"^\[  FAILED  \] (\S+\.\S+)", log.read_text(errors="replace"), re.M)
            failed += sorted(set(names)) or ([exe] if status != 0 else [])
        return failed


def plant(fault, source):
    path = source / fault.path
    text = path.read_text()
    count = text.count(fault.before)
    if count != 1:
        raise ValueError(f"{fault.name}: the text to replace occurs {count} times in {fault.path}")
    path.write_text(text.replace(fault.before, fault.after))
    return text


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--scratch", type=pathlib.Path,
                        default=pathlib.Path(os.environ.get("TMPDIR", "/tmp")) /
                        "quorvane-planted-faults")
    parser.add_argument("--revision", help="plant the faults in this commit instead of the "
                        "checkout (the list is the checkout's)")
    parser.add_argument("--only", nargs="+", metavar="TEXT",
                        help="run only the faults whose name holds one of these texts")
    parser.add_argument("--windows", action="store_true", help="also the COM layer's faults")
    parser.add_argument("--list", action="store_true", help="print the list and stop")
    parser.add_argument("--check", action="store_true",
                        help="only check that every fault still applies to the checkout")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 2)
    parser.add_argument("--report", type=pathlib.Path, help="also write the table to this file")
    args = parser.parse_args()

    faults = [f for f in FAULTS if (args.windows or not f.windows) and
              (not args.only or any(text in f.name for text in args.only))]
    if args.check:
        stale = []
        for fault in faults:
            count = (ROOT / fault.path).read_text().count(fault.before)
            if count != 1:
                stale.append(f"{fault.name}: its text occurs {count} times in {fault.path}")
        print("\n".join(stale) or f"{len(faults)} faults apply to the checkout")
        return 1 if stale else 0
    if args.list:
        for fault in faults:
            print(f"{fault.name:40} {fault.folder:12} {fault.kind:10} {fault.what}")
        print(f"{len(faults)} faults")
        return 0

    started = time.monotonic()
    source = args.scratch / "src"
    (args.scratch / "logs").mkdir(parents=True, exist_ok=True)
    sync_copy(source, args.revision)
    targets = {}
    if any(not f.windows for f in faults):
        targets["linux"] = LinuxTarget(args.scratch, args.jobs)
    if any(f.windows for f in faults):
        targets["windows"] = WindowsTarget(args.scratch, args.jobs)
    for target in targets.values():
        target.prepare()
    print(f"scratch copy built and tested in {time.monotonic() - started:.0f} s", flush=True)

    rows = []
    for number, fault in enumerate(faults, 1):
        target = targets["windows" if fault.windows else "linux"]
        began = time.monotonic()
        try:
            original = plant(fault, source)
        except ValueError as error:
            rows.append((fault, False, f"DOES NOT APPLY: {error}"))
            print(f"{number:3}/{len(faults)} {fault.name:40} does not apply: {error}", flush=True)
            continue
        try:
            if not target.rebuild(fault.name):
                result, caught = "DOES NOT BUILD", False
            else:
                failed = target.failing_tests(fault.name)
                caught = bool(failed)
                if caught:
                    more = f" and {len(failed) - 1} more" if len(failed) > 1 else ""
                    result = f"caught by {failed[0]}{more}"
                elif fault.unobservable:
                    result = f"missed, unobservable: {fault.unobservable}"
                else:
                    result = "MISSED"
        finally:
            (source / fault.path).write_text(original)
        rows.append((fault, caught, result))
        print(f"{number:3}/{len(faults)} {fault.name:40} {result} "
              f"({time.monotonic() - began:.0f} s)", flush=True)
    for target in targets.values():
        target.rebuild("restored")

    lines = ["| fault | folder | kind | what | result |", "|---|---|---|---|---|"]
    for fault, _, result in rows:
        lines.append(f"| {fault.name} | {fault.folder} | {fault.kind} | {fault.what} | {result} |")
    caught = sum(1 for _, c, _ in rows if c)
    unobservable = sum(1 for f, c, _ in rows if not c and f.unobservable)
    broken = sum(1 for _, _, r in rows if r.startswith("DOES NOT"))
    minutes = (time.monotonic() - started) / 60
    lines.append("")
    lines.append(f"caught {caught} of {len(rows)} ({100 * caught / max(len(rows), 1):.0f}%); "
                 f"missed {len(rows) - caught}, of them {unobservable} marked unobservable"
                 f"{f', {broken} not applying or not building' if broken else ''}; "
                 f"run time {minutes:.1f} min")
    table = "\n".join(lines)
    print(table)
    if args.report:
        args.report.write_text(table + "\n")
    return 1 if broken else 0


if __name__ == "__main__":
    sys.exit(main())
