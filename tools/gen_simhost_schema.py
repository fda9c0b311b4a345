#!/usr/bin/env python3
"""Writes the simulated host's copy of the Hyper-V v2 class table.

The simulated host keeps only what it uses of the published class table: per class its
namespace, superclass, keys, flags, properties (name, CIM type, array, referenced class) and
methods (in and out parameters). Classes the published table leaves out come from
tools/hyperv-v2-supplement.json, written from their documentation pages in the same form. Run this
again only when either changes; the test script checks that the checked-in copy is exactly what
this writes:

    tools/gen_simhost_schema.py path/to/hyperv-v2-schema.json tools/hyperv-v2-supplement.json \
        > src/simhost/hyperv-v2-classes.json
"""
import json
import sys


def cim_type(member):
    if member["type"] == "string" and member.get("maybeDatetime"):
        return "datetime"
    return member["type"]


def member(m):
    row = [m["name"], cim_type(m), bool(m["array"])]
    ref = m.get("refClass") or m.get("embeddedClass") or m.get("embeddedInstance")
    if ref:
        row.append(ref)
    return row


def main():
    classes = []
    for path in sys.argv[1:]:
        with open(path, encoding="utf-8") as source:
            classes += json.load(source)["classes"]
    entries = []
    for cls in classes:
        entry = {
            "name": cls["name"],
            "namespace": "hgs" if "hgs" in cls["namespace"].lower() else "v2",
            "superclass": cls["superclass"] or "",
            "abstract": cls["isAbstract"],
            "association": cls["isAssociation"],
            "keys": cls.get("keys") or [],
            "properties": [member(p) for p in sorted(cls["properties"], key=lambda p: p["name"].lower())],
            "methods": [
                {"name": m["name"], "static": bool(m.get("static", False)),
                 "in": [member(p) for p in m["inParameters"]],
                 "out": [member(p) for p in m["outParameters"]]}
                for m in cls.get("methods", [])
            ],
        }
        entries.append(entry)
    sys.stdout.write(json.dumps(entries, indent=2) + "\n")


if __name__ == "__main__":
    main()
