#!/usr/bin/env python3
"""Checks the dynamic symbols that liblumoipc.so defines.

Required and allowed: the exported functions (exact signatures), the log sink,
the typed calls' entry points, the installed classes (KRpcResponse, the
library object KLumoIpc, LumoIpc::PendingCall), and for every generated record what a host needs to use it by
value: its typeinfo and vtable, copy constructor, destructor, assignment,
read, write, setters and free swap. Anything else, weak template instances
included, is a leak of internals.

usage: check_exports.py <liblumoipc.so> <lumo_types.h> <public header>...

The exported functions and classes are those the public headers declare with
LUMOIPC_EXPORT: a function of the headers that the library lacks, or exports
with another number of parameters, fails the check, as does a symbol that no
header promises.
"""
import re
import subprocess
import sys

# Exported free functions: "LUMOIPC_EXPORT <result> <name>(<parameters>);" at
# namespace scope of a public header. Classes: "class LUMOIPC_EXPORT <Name>".
DECLARATION = re.compile(r"LUMOIPC_EXPORT\s+[^;{()]*?\b(\w+)\s*\(([^;]*?)\)\s*;")
CLASS = re.compile(r"class\s+LUMOIPC_EXPORT\s+(\w+)")
NAMESPACE = re.compile(r"^namespace ([\w:]+) \{$(.*?)^\} // namespace \1$", re.M | re.S)


def arity(parameters):
    """Parameters at the top level of a list, <...> and (...) kept whole."""
    depth, count, seen = 0, 0, False
    for ch in parameters:
        depth += ch in "<(" and 1 or ch in ">)" and -1 or 0
        if ch == "," and depth == 0:
            count += 1
        seen = seen or not ch.isspace()
    return count + 1 if seen else 0


def public_interface(headers):
    """{qualified function name: its number of parameters}, and the qualified
    names of the exported classes, as the headers declare them."""
    functions, classes = {}, set()
    for path in headers:
        text = open(path).read()
        spans = [(m.start(2), m.end(2), m.group(1)) for m in NAMESPACE.finditer(text)]

        def scope(at):
            inner = [name for start, end, name in spans if start <= at < end]
            return inner[-1] + "::" if inner else ""
        for m in DECLARATION.finditer(text):
            functions[scope(m.start()) + m.group(1)] = arity(m.group(2))
        classes |= {scope(m.start()) + m.group(1) for m in CLASS.finditer(text)}
    return functions, classes


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


def allowed(name, functions, classes, records):
    bare = PREFIXES.sub("", name)
    record = re.match(r"ofx::lumo::(\w+)", bare)
    swap = re.fullmatch(r"ofx::lumo::swap\(ofx::lumo::(\w+)&, ofx::lumo::\1&\)", bare)
    return (name.split("(")[0] in functions or name in LINKER_SYMBOLS
            or any(bare == c or bare.startswith(c + "::") for c in classes) or bool(record and record.group(1) in records) or bool(swap and swap.group(1) in records))


def main():
    lib, types_header, headers = sys.argv[1], sys.argv[2], sys.argv[3:]
    header = open(types_header).read()
    records = set(re.findall(r"^class (\w+)", header, re.M))
    functions, classes = public_interface(headers)
    out = subprocess.run(["nm", "-D", "--defined-only", "--demangle", lib], check=True,
                         capture_output=True, text=True).stdout
    # Qt 6's QStringList is an alias of QList<QString>, so symbols spell it so.
    out = out.replace("QList<QString>", "QStringList")
    symbols = [line.split(" ", 2)[2] for line in out.splitlines() if line.count(" ") >= 2]
    names = set(symbols) | {s.split("(")[0] for s in symbols}
    exported = {(s.split("(")[0], arity(s[s.index("(") + 1:s.rindex(")")]))
                for s in symbols if "(" in s}
    missing = sorted(record_needs(header) - names)
    missing += sorted(f"{name} with {n} parameters" for name, n in functions.items()
                      if (name, n) not in exported)
    missing += sorted(f"class {c}" for c in classes
                      if not any(s.startswith(c + "::") for s in symbols))
    leaks = [name for name in symbols if not allowed(name, functions, classes, records)]
    for line in [f"MISSING {name}" for name in missing] + [f"LEAK    {s}" for s in leaks]:
        print(line)
    print(f"{len(symbols)} symbols ({len(functions)} functions and {len(classes)} classes "
          f"of the headers), {len(missing)} missing, {len(leaks)} leaking")
    return 1 if missing or leaks else 0


if __name__ == "__main__":
    sys.exit(main())
