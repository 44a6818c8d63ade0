#!/usr/bin/env python3
"""Checks the dynamic symbols that liblumoipc.so defines.

Allowed: the exported functions (exact signatures), the log sink, and what a
host needs to use the records by value: members, typeinfo and vtables of the
generated record classes, their free swap/operator<<, KRpcResponse, and weak
template instances (std::vector<Record> and the like) that name nothing
internal. Anything else is a leak of internals.

usage: check_exports.py <liblumoipc.so> <lumo_types.h>
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
# Symbols the linker defines in every shared object (sanitizer builds export them).
LINKER_SYMBOLS = {"__bss_start", "_edata", "_end"}
PREFIXES = re.compile(r"^((typeinfo name|typeinfo|vtable|VTT) for |(non-)?virtual thunk to )+")
INTERNAL = re.compile(r"ofx::lumoipc::|ofx::lumo::K[A-Za-z]|\bKLumo|\bKx[A-Z]|\bIKx")


def allowed(kind, name, records):
    bare = PREFIXES.sub("", name)
    record = re.match(r"ofx::lumo::(\w+)", bare)
    return (name in FUNCTIONS or name in LINKER_SYMBOLS
            or (record and record.group(1) in records)
            or (re.match(r"ofx::lumo::(swap|operator<<)\(", bare) and not INTERNAL.search(bare))
            or bare.startswith("KRpcResponse")
            or (kind in "WVu" and not INTERNAL.search(name)))


def main():
    lib, types_header = sys.argv[1], sys.argv[2]
    records = set(re.findall(r"^class (\w+)", open(types_header).read(), re.M))
    out = subprocess.run(["nm", "-D", "--defined-only", "--demangle", lib], check=True,
                         capture_output=True, text=True).stdout
    # Qt 6's QStringList is an alias of QList<QString>, so symbols spell it so.
    out = out.replace("QList<QString>", "QStringList")
    symbols = [line.split(" ", 2)[1:] for line in out.splitlines() if line.count(" ") >= 2]
    missing = sorted(FUNCTIONS - {name for _, name in symbols})
    leaks = [f"{kind} {name}" for kind, name in symbols if not allowed(kind, name, records)]
    for line in [f"MISSING {name}" for name in missing] + [f"LEAK    {s}" for s in leaks]:
        print(line)
    print(f"{len(symbols)} symbols, {len(missing)} missing, {len(leaks)} leaking")
    return 1 if missing or leaks else 0


if __name__ == "__main__":
    sys.exit(main())
