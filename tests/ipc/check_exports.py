#!/usr/bin/env python3
"""Checks the dynamic symbols that liblumoipc.so defines.

Required and allowed: the exported functions (exact signatures), the log sink,
the typed calls' entry points, the installed classes (KRpcResponse, the
library object KLumoIpc, LumoIpc::PendingCall), and for every generated record what a host needs to use it by
value: its typeinfo and vtable, copy constructor, destructor, assignment,
read, write, setters and free swap. Anything else, weak template instances
included, is a leak of internals.

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
    "KRpcResponse::value(QString const&, QString const&) const",
    "LumoIpc::events()",
    "LumoIpcPrivate::start(LumoIpcPrivate::Method const&, void const*, QObject*, "
    "std::unique_ptr<LumoIpcPrivate::ResultHandler, "
    "std::default_delete<LumoIpcPrivate::ResultHandler> >)",
    "LumoIpcPrivate::startGeneric(QString const&, QStringList const&, QObject*, "
    "std::unique_ptr<LumoIpcPrivate::ResultHandler, "
    "std::default_delete<LumoIpcPrivate::ResultHandler> >)",
    "LumoIpc::PendingCall::id() const",
    "LumoIpc::PendingCall::cancel()",
    "ofx::lumo::KLumoIpc::staticMetaObject",
    "ofx::lumo::KLumoIpc::signal_notifyFileAction(ofx::lumo::NotifyFileActionArg const&)",
}
# Classes a host uses whole: every member, their typeinfo and vtable.
CLASSES = ("KRpcResponse", "ofx::lumo::KLumoIpc", "LumoIpc::PendingCall")
# Symbols the linker defines in every shared object (sanitizer builds export them).
LINKER_SYMBOLS = {"__bss_start", "_edata", "_end"}
PREFIXES = re.compile(r"^((typeinfo name|typeinfo|vtable) for )+")


def record_needs(header):
    """The names (up to the argument list) a host needs of each record."""
    needs = set()
    for name, body in re.findall(r"^class (\w+) :[^\n]*\n(.*?)^};", header, re.M | re.S):
        r = f"ofx::lumo::{name}"
        needs |= {f"vtable for {r}", f"typeinfo for {r}", f"{r}::{name}", f"{r}::~{name}",
                  f"{r}::operator=", f"{r}::read", f"{r}::write", f"ofx::lumo::swap({r}&, {r}&)"}
        needs |= {f"{r}::{setter}" for setter in re.findall(r"\b(__set_\w+)\(", body)}
    return needs


def allowed(name, records):
    bare = PREFIXES.sub("", name)
    record = re.match(r"ofx::lumo::(\w+)", bare)
    swap = re.fullmatch(r"ofx::lumo::swap\(ofx::lumo::(\w+)&, ofx::lumo::\1&\)", bare)
    return (name in FUNCTIONS or name in LINKER_SYMBOLS
            or any(bare == c or bare.startswith(c + "::") for c in CLASSES) or bool(record and record.group(1) in records) or bool(swap and swap.group(1) in records))


def main():
    lib, types_header = sys.argv[1], sys.argv[2]
    header = open(types_header).read()
    records = set(re.findall(r"^class (\w+)", header, re.M))
    out = subprocess.run(["nm", "-D", "--defined-only", "--demangle", lib], check=True,
                         capture_output=True, text=True).stdout
    # Qt 6's QStringList is an alias of QList<QString>, so symbols spell it so.
    out = out.replace("QList<QString>", "QStringList")
    symbols = [line.split(" ", 2)[2] for line in out.splitlines() if line.count(" ") >= 2]
    names = set(symbols) | {s.split("(")[0] for s in symbols}
    missing = sorted((FUNCTIONS | record_needs(header)) - names)
    leaks = [name for name in symbols if not allowed(name, records)]
    for line in [f"MISSING {name}" for name in missing] + [f"LEAK    {s}" for s in leaks]:
        print(line)
    print(f"{len(symbols)} symbols, {len(missing)} missing, {len(leaks)} leaking")
    return 1 if missing or leaks else 0


if __name__ == "__main__":
    sys.exit(main())
