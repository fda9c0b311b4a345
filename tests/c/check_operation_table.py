#!/usr/bin/env python3
"""Every operation of the C++ interfaces has a row in docs/c-interface.md, and every C function a
row names is declared by the C header. Prints the counts; fails on a gap.
  check_operation_table.py SOURCE_DIR"""
import os
import re
import sys

sys.path.insert(0, os.path.join(sys.argv[1], "tools"))
import c_functions  # noqa: E402

SOURCE = sys.argv[1]
HEADERS = ["destroy.h", "quorvane.h", "inventory.h", "lifecycle.h", "snapshots.h", "editing.h"]
FREE_FUNCTIONS = ["CreateQuorvaneFactory", "CreateQuorvaneLocal", "CreateQuorvaneRemote",
                  "GetExceptionInfo", "IsChangeTrackingUnusable", "GetVersion",
                  "DefaultException::GetErrorCode", "DefaultException::GetMessageDescription"]


def interface_operations():
    """Class::Operation for each pure virtual operation, inherited ones under each concrete
    interface that inherits them."""
    declared, bases = {}, {}
    for name in HEADERS:
        with open(os.path.join(SOURCE, "include", "quorvane", name), encoding="utf-8") as f:
            text = f.read()
        for match in re.finditer(r"class (\w+) : public (\w+) \{(.*?)\n\};", text, re.S):
            cls, base, body = match.groups()
            bases[cls] = base
            declared[cls] = re.findall(r"virtual [^;]*?\b(\w+)\([^;]*\) = 0;", body)
    operations = []
    for cls in declared:
        if cls in ("IEnumerator",):
            continue
        chain, current = [], cls
        while current in declared:
            chain.append(current)
            current = bases.get(current)
        names = []
        for link in chain:
            if link == "IMachineEditor" and cls == "IMachineBuilder":
                continue  # reached through qv_machine_builder_editor
            names += declared[link]
        names += ["Release"]
        operations += [f"{cls}::{name}" for name in dict.fromkeys(names)]
    return operations


def main():
    with open(os.path.join(SOURCE, "docs", "c-interface.md"), encoding="utf-8") as f:
        rows = dict(re.findall(r"^\| `([\w:]+)` \| `(qv_\w+)` \|", f.read(), re.M))
    with open(os.path.join(SOURCE, "include", "quorvane", "quorvane_c.h"), encoding="utf-8") as f:
        declared = set(c_functions.functions(f.read()))
    operations = interface_operations() + FREE_FUNCTIONS
    missing = [op for op in operations if op not in rows]
    undeclared = sorted({fn for fn in rows.values() if fn not in declared})
    # The exception's kind and the builder's editor view have no C++ operation of their own.
    unused = sorted(declared - set(rows.values()) - {"qv_last_error_kind",
                                                     "qv_machine_builder_editor"})
    print(f"operation table: {len(operations)} operations, {len(rows)} rows, "
          f"{len(declared)} C functions declared")
    for op in missing:
        print(f"  no C function for {op}")
    for fn in undeclared:
        print(f"  {fn} is in the table but not in quorvane_c.h")
    for fn in unused:
        print(f"  {fn} is declared but maps no operation")
    return 1 if missing or undeclared or unused else 0


if __name__ == "__main__":
    sys.exit(main())
