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
3. For a service named with --client-only, the compiler also writes a
   synchronous client, a concurrent client and two processors: more than half
   of its code, none of it used by a program that only calls the service
   through the callback client. Their classes and definitions go, so they cost
   neither compile time nor a place in the headers.

usage: thrift_postprocess.py <gen-cpp dir> [--client-only=<service>]... <name>:<parts>...
       reads <name>.h and <name>.cpp, writes <name>_part1.cpp ... <name>_part<parts>.cpp
"""
import os
import re
import sys

OPENING = "namespace ofx { namespace lumo {\n"
CLOSING = "}} // namespace\n"
STREAM_DECLARATION = re.compile(r"^std::ostream& operator<<\(std::ostream& out, const \w+& obj\);\n")


UNUSED_CLASSES = ("Client", "ConcurrentClient", "Processor", "ProcessorFactory", "Multiface",
                  "AsyncProcessor", "AsyncProcessorFactory")


def unused_class_names(service):
    return "|".join(service + suffix for suffix in UNUSED_CLASSES)


def drop_classes(lines, service):
    """The header without the unused classes' definitions."""
    start = re.compile(r"^class (%s)\b[^;]*$" % unused_class_names(service))
    out, skipping = [], False
    for line in lines:
        if not skipping and start.match(line):
            skipping = True
        if not skipping:
            out.append(line)
        elif line.startswith("};"):
            skipping = False
    return out


def drop_definitions(lines, service):
    """The source without the unused classes' member definitions."""
    member = re.compile(r"^[^(]*\b(%s)::" % unused_class_names(service))
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
    client_only = [a.split("=", 1)[1] for a in sys.argv[2:] if a.startswith("--client-only=")]
    for entry in (a for a in sys.argv[2:] if not a.startswith("--")):
        name, parts = entry.split(":")
        header = os.path.join(folder, name + ".h")
        with open(header) as f:
            lines = [line for line in f if not STREAM_DECLARATION.match(line)]
        if name in client_only:
            lines = drop_classes(lines, name)
        rewrite(header, lines)
        with open(os.path.join(folder, name + ".cpp")) as f:
            lines = f.readlines()
        if name in client_only:
            lines = drop_definitions(lines, name)
        for n, text in enumerate(split(lines, int(parts)), 1):
            rewrite(os.path.join(folder, f"{name}_part{n}.cpp"), text)


if __name__ == "__main__":
    main()
