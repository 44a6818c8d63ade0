#!/usr/bin/env python3
"""Checks the dynamic symbols that liblumoipc.so defines.

Allowed: the exported functions of the library (exact signatures), the log
sink, and what a host needs to use the records by value: members, typeinfo and
vtables of the generated record classes, their free swap/operator<<,
KRpcResponse, and weak template instances (std::vector<Record> and the like)
that name nothing internal. Anything else is a leak of internals.

usage: check_exports.py <liblumoipc.so> <lumo_types.h> [known-extra-class ...]
"""
import re
import subprocess
import sys

FUNCTIONS = {
    "LumoIpcInit(bool)",
    "LumoIpcFree()",
    "LumoIpcEventObject()",
    "LumoIpcAsynCall(QString const&, QStringList const&, QObject*, QString const&)",
    "LumoIpcAsynCallEx(QString const&, QGenericArgument const&, QObject*, QString const&)",
    "LumoIpcCancelCall(QString const&)",
    "LumoIpcIsNeedAutoLogin()",
    "LumoIpcCheckAutoLogin()",
    "LumoIpcLoginCache()",
    "LumoIpcLastLoginCache()",
    "LumoIpcCompanyCache()",
    "LumoIpcResponseLoginInfo()",
    "LumoIpcCheckLumoLogined()",
    "LumoIpcCheckLumoRunning()",
    "LumoIpcStartLumoProcess(QString const&)",
    "_nvo_log_msg(QtMsgType, char const*, QString const&)",
}
PREFIXES = ("typeinfo name for ", "typeinfo for ", "vtable for ", "VTT for ",
            "virtual thunk to ", "non-virtual thunk to ")
INTERNAL = re.compile(r"ofx::lumoipc::|ofx::lumo::K[A-Za-z]|\bKLumo|\bKx[A-Z]|\bIKx")


# Symbols the linker defines in every shared object (sanitizer builds export them).
LINKER_SYMBOLS = {"__bss_start", "_edata", "_end"}


def main():
    lib, types_header = sys.argv[1], sys.argv[2]
    known_extra = set(sys.argv[3:])
    records = set(re.findall(r"^class (\w+)", open(types_header).read(), re.M))
    out = subprocess.run(["nm", "-D", "--defined-only", "--demangle", lib], check=True,
                         capture_output=True, text=True).stdout
    seen, leaks, tolerated = set(), [], set()
    for line in out.splitlines():
        parts = line.split(" ", 2)
        if len(parts) < 3:
            continue
        kind, name = parts[1], parts[2]
        seen.add(name)
        if name in FUNCTIONS or name in LINKER_SYMBOLS:
            continue
        bare = name
        for p in PREFIXES:
            if bare.startswith(p):
                bare = bare[len(p):]
        m = re.match(r"ofx::lumo::(\w+)", bare)
        if m and m.group(1) in records:
            continue
        if re.match(r"ofx::lumo::(swap|operator<<)\(", bare):
            if not INTERNAL.search(bare):
                continue
        if bare.startswith("KRpcResponse"):
            continue
        if kind in "WVu" and not INTERNAL.search(name):
            continue
        extra = [c for c in known_extra if re.search(r"\b%s\b" % c, name)]
        if extra:
            tolerated.update(extra)
            continue
        leaks.append(f"{kind} {name}")
    missing = sorted(FUNCTIONS - seen)
    for name in missing:
        print(f"MISSING {name}")
    for name in leaks:
        print(f"LEAK    {name}")
    for name in sorted(tolerated):
        print(f"WARNING exported although internal (tracked): {name}")
    print(f"{len(seen)} symbols, {len(missing)} missing, {len(leaks)} leaking")
    return 1 if missing or leaks else 0


if __name__ == "__main__":
    sys.exit(main())
