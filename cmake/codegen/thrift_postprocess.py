#!/usr/bin/env python3
"""Post-processes the Thrift compiler's C++ output in place.

1. With no_ostream_operators the compiler still declares a record's
   operator<< in the header, but defines none: a host would find it there and
   fail to link. The declarations go.
2. The compiler writes every definition of an interface into one file, which
   one compiler process then works through alone while the other cores idle.
   A generated file is a preamble (its #includes and the namespace opening), a
   run of top-level definitions, each closed by a '}' in column 0, and the
   namespace closing. Each part repeats the preamble and the closing around a
   share of the definitions of about equal size, cut only between definitions.
3. For each service the compiler writes interfaces, factories, null
   handlers, two synchronous clients, a callback client and two processors.
   A program uses one or two of them; --keep=<service>:<kind>,... names
   those, and the other classes and their definitions go, so they cost
   neither compile time nor a place in the headers. The same goes for the
   four records the compiler writes per method (args and result for a
   processor, pargs and presult for a client): when --keep names any of
   them, the others go.

usage: thrift_postprocess.py <gen-cpp dir> [--keep=<service>:<kind>,...]... <name>:<parts>...
       reads <name>.h and <name>.cpp, writes <name>_part1.cpp ... <name>_part<parts>.cpp
       <kind> is the class name's suffix after the service's: CobClient, AsyncProcessor...,
       or a method's record: args, pargs, result, presult
"""
import os
import re
import sys

OPENING = "namespace ofx { namespace lumo {\n"
CLOSING = "}} // namespace\n"
STREAM_DECLARATION = re.compile(r"^std::ostream& operator<<\(std::ostream& out, const \w+& obj\);\n")


# Every class the compiler writes for a service, by the suffix of its name.
SERVICE_CLASSES = ("If", "IfFactory", "IfSingletonFactory", "Null", "Client", "Processor",
                   "ProcessorFactory", "Multiface", "ConcurrentClient", "CobClIf", "CobSvIf",
                   "CobSvIfFactory", "CobSvIfSingletonFactory", "CobSvNull", "CobClient",
                   "AsyncProcessor", "AsyncProcessorFactory")

# The records of each method <service>_<method>_<kind>.
METHOD_RECORDS = ("args", "pargs", "result", "presult")


def unused_class_names(service, kept):
    names = [service + kind for kind in SERVICE_CLASSES if kind not in kept]
    if any(kind in kept for kind in METHOD_RECORDS):
        names += [service + r"_\w+_" + kind for kind in METHOD_RECORDS if kind not in kept]
    return "|".join(names)


def drop_classes(lines, service, kept):
    """The header without the unused classes' definitions (and their __isset structs)."""
    names = unused_class_names(service, kept)
    start = re.compile(r"^(class (%s)\b[^;]*|typedef struct _(%s)__isset \{)$" % (names, names))
    out, skipping = [], False
    for line in lines:
        if not skipping and start.match(line):
            skipping = True
        if not skipping:
            out.append(line)
        elif line.startswith("}"):
            skipping = False
    return out


def drop_definitions(lines, service, kept):
    """The source without the unused classes' member definitions."""
    member = re.compile(r"^[^(]*\b(%s)::" % unused_class_names(service, kept))
    begin = lines.index(OPENING) + 1
    end = len(lines) - 1 - lines[::-1].index(CLOSING)
    out, definition = lines[:begin], []
    for line in lines[begin:end]:
        definition.append(line)
        if line.startswith("}"):
            head = next((l for l in definition if l.strip()), "")
            if not member.match(head):
                out += definition
            definition = []
    return out + definition + lines[end:]


def split(lines, parts):
    begin = lines.index(OPENING) + 1
    end = len(lines) - 1 - lines[::-1].index(CLOSING)
    total = sum(len(line) for line in lines[begin:end])
    chunks, start, size = [], begin, 0
    for i in range(begin, end):
        size += len(lines[i])
        full = size * parts >= total * (len(chunks) + 1)
        if lines[i].startswith("}") and full and len(chunks) < parts - 1:
            chunks.append(lines[start:i + 1])
            start = i + 1
    chunks.append(lines[start:end])
    chunks += [[]] * (parts - len(chunks))
    return [lines[:begin] + chunk + [CLOSING] for chunk in chunks]


def rewrite(path, lines):
    with open(path, "w") as out:
        out.writelines(lines)


def main():
    folder = sys.argv[1]
    keep = dict(a.split("=", 1)[1].split(":") for a in sys.argv[2:] if a.startswith("--keep="))
    for entry in (a for a in sys.argv[2:] if not a.startswith("--")):
        name, parts = entry.split(":")
        kept = keep[name].split(",") if name in keep else None
        header = os.path.join(folder, name + ".h")
        with open(header) as f:
            lines = [line for line in f if not STREAM_DECLARATION.match(line)]
        if kept:
            lines = drop_classes(lines, name, kept)
        rewrite(header, lines)
        with open(os.path.join(folder, name + ".cpp")) as f:
            lines = f.readlines()
        if kept:
            lines = drop_definitions(lines, name, kept)
        for n, text in enumerate(split(lines, int(parts)), 1):
            rewrite(os.path.join(folder, f"{name}_part{n}.cpp"), text)


if __name__ == "__main__":
    main()
